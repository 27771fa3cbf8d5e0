// Times a whole hot pixel detection on ten dark frames of 1.3, 5 and 20
// megapixels, monochrome and Bayer, beside two references on the same frames:
// a plain single-pass loop (the memory bound of the job) and, if available,
// the same arithmetic with OpenCV whole-image operations. Every run of each
// allocates its own working memory, as a detection in the program does.
//
// BM_Detect takes turns: each iteration runs detect (the timed part), then
// the plain loop and OpenCV untimed, and reports the median CPU time of each
// (detect_ms, plain_ms, opencv_ms) and the ratios detect_per_plain and
// detect_per_opencv, so that a change in the machine's load between them
// doesn't skew the ratios. opencv_ms is 0 when built without OpenCV.
//
//   bench_detection [benchmark options]   the timings
//   bench_detection --peak-memory         peak resident memory of a 20 MP run
#include "detection/hotpixeldetector.h"
#include "hotpixel/badpixellistmodel.h"

#include <benchmark/benchmark.h>

#ifdef SPECKMEND_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

#include <QImage>
#include <QVector>

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <vector>

namespace {

constexpr int FrameCount = 10;
constexpr unsigned Threshold = 40;
constexpr int Mono = 6;
constexpr int Bayer = 11;

struct Size
{
    int width;
    int height;
};

// 1.3, 5 and 20 megapixels.
constexpr Size Sizes[] = {{1280, 1024}, {2592, 1944}, {5472, 3648}};

// Ten dark frames: noise of 0 to 15 and about one hot pixel in 10000.
QVector<QImage> makeFrames(int width, int height)
{
    QVector<QImage> frames;
    std::uint32_t state = 2463534242u;
    auto next = [&state] {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    };
    for (int i = 0; i < FrameCount; ++i) {
        QImage image(width, height, QImage::Format_Indexed8);
        for (int y = 0; y < height; ++y) {
            uchar *line = image.scanLine(y);
            for (int x = 0; x < width; ++x)
                line[x] = uchar(next() & 15);
        }
        frames.append(image);
    }
    // The same hot pixels in every frame.
    std::uint32_t hot = 12345u;
    for (int n = 0; n < width / 100 * height / 100; ++n) {
        hot = hot * 1664525u + 1013904223u;
        const int x = int(hot % unsigned(width));
        const int y = int((hot >> 8) % unsigned(height));
        for (QImage &image : frames)
            image.scanLine(y)[x] = 200;
    }
    return frames;
}

const QVector<QImage> &frames(int sizeIndex)
{
    static std::map<int, QVector<QImage>> cache;
    auto it = cache.find(sizeIndex);
    if (it == cache.end())
        it = cache.emplace(sizeIndex, makeFrames(Sizes[sizeIndex].width, Sizes[sizeIndex].height))
                     .first;
    return it->second;
}

void setLabel(benchmark::State &state, int sizeIndex, int colorMode, long found)
{
    const Size s = Sizes[sizeIndex];
    state.SetLabel(QStringLiteral("%1x%2 %3, %4 found")
                           .arg(s.width)
                           .arg(s.height)
                           .arg(colorMode == Mono ? "mono" : "bayer")
                           .arg(found)
                           .toStdString());
    state.SetBytesProcessed(std::int64_t(state.iterations()) * FrameCount * s.width * s.height);
}

// One pass over the ten frames for the per-position averages and the plane
// sums, one over the averages for the decision. Phase p is (x & 1, y & 1);
// a monochrome sensor has one plane.
long plainLoop(const QVector<QImage> &images, int colorMode)
{
    const int width = images[0].width();
    const int height = images[0].height();
    const bool bayer = colorMode == Bayer;
    const uchar *bits[FrameCount];
    for (int i = 0; i < FrameCount; ++i)
        bits[i] = images[i].constBits();
    const int stride = images[0].bytesPerLine();
    std::vector<uchar> average(std::size_t(width) * height);

    std::uint64_t planeSum[4] = {0, 0, 0, 0};
    std::vector<std::uint16_t> sum(static_cast<std::size_t>(width));
    for (int y = 0; y < height; ++y) {
        uchar *out = average.data() + std::size_t(width) * y;
        const std::size_t offset = std::size_t(stride) * y;
        const uchar *first = bits[0] + offset;
        for (int x = 0; x < width; ++x)
            sum[std::size_t(x)] = first[x];
        for (int i = 1; i < FrameCount; ++i) {
            const uchar *line = bits[i] + offset;
            for (int x = 0; x < width; ++x)
                sum[std::size_t(x)] = std::uint16_t(sum[std::size_t(x)] + line[x]);
        }
        for (int x = 0; x < width; ++x)
            out[x] = uchar(sum[std::size_t(x)] / FrameCount);
        std::uint64_t even = 0, odd = 0;
        for (int x = 0; x + 1 < width; x += 2) {
            even += out[x];
            odd += out[x + 1];
        }
        planeSum[(y & 1) * 2] += even;
        planeSum[(y & 1) * 2 + 1] += odd;
    }

    unsigned limit[4];
    if (bayer) {
        const std::uint64_t count = std::uint64_t(width / 2) * (height / 2);
        for (int p = 0; p < 4; ++p)
            limit[p] = unsigned(planeSum[p] / count) + Threshold;
    } else {
        const std::uint64_t total = planeSum[0] + planeSum[1] + planeSum[2] + planeSum[3];
        limit[0] = limit[1] = limit[2] = limit[3]
                = unsigned(total / (std::uint64_t(width) * height)) + Threshold;
    }

    long found = 0;
    for (int y = 0; y < height; ++y) {
        const uchar *line = average.data() + std::size_t(width) * y;
        const unsigned *l = limit + (y & 1) * 2;
        for (int x = 0; x < width; ++x)
            found += line[x] > l[x & 1];
    }
    benchmark::DoNotOptimize(average.data());
    return found;
}

void BM_PlainLoop(benchmark::State &state)
{
    const int sizeIndex = int(state.range(0));
    const int colorMode = int(state.range(1));
    const QVector<QImage> &images = frames(sizeIndex);
    long found = 0;
    for (auto _ : state)
        found = plainLoop(images, colorMode);
    setLabel(state, sizeIndex, colorMode, found);
}

#ifdef SPECKMEND_HAVE_OPENCV
// The same arithmetic with whole-image operations: sum, divide (OpenCV rounds
// where the detector truncates), plane means, compare, count.
long openCvRun(const std::vector<cv::Mat> &mats, int colorMode)
{
    const int width = mats[0].cols;
    const int height = mats[0].rows;
    cv::Mat sum, average, mask;
    mats[0].convertTo(sum, CV_16U);
    for (int i = 1; i < FrameCount; ++i)
        cv::add(sum, mats[std::size_t(i)], sum, cv::noArray(), CV_16U);
    sum.convertTo(average, CV_8U, 1.0 / FrameCount);
    long found = 0;
    if (colorMode == Bayer) {
        // A row of the even or odd lines as pairs: channel 0 the even
        // columns, channel 1 the odd ones.
        for (int py = 0; py < 2; ++py) {
            cv::Mat phases(height / 2, width / 2, CV_8UC2, average.data + py * average.step,
                           average.step * 2);
            const cv::Scalar m = cv::mean(phases);
            const cv::Scalar limit(unsigned(m[0]) + Threshold, unsigned(m[1]) + Threshold);
            cv::compare(phases, limit, mask, cv::CMP_GT);
            found += cv::countNonZero(mask.reshape(1));
        }
    } else {
        const double limit = unsigned(cv::mean(average)[0]) + Threshold;
        cv::compare(average, limit, mask, cv::CMP_GT);
        found = cv::countNonZero(mask);
    }
    return found;
}

std::vector<cv::Mat> openCvFrames(const QVector<QImage> &images)
{
    std::vector<cv::Mat> mats;
    for (const QImage &image : images)
        mats.emplace_back(image.height(), image.width(), CV_8UC1,
                          const_cast<uchar *>(image.constBits()),
                          std::size_t(image.bytesPerLine()));
    return mats;
}

void BM_OpenCV(benchmark::State &state)
{
    const int sizeIndex = int(state.range(0));
    const int colorMode = int(state.range(1));
    const std::vector<cv::Mat> mats = openCvFrames(frames(sizeIndex));
    long found = 0;
    for (auto _ : state)
        found = openCvRun(mats, colorMode);
    setLabel(state, sizeIndex, colorMode, found);
}
#endif

double cpuMs()
{
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) * 1e-6;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

long detectRun(const QVector<QImage> &images, int colorMode)
{
    BadpixelListModel model;
    HotpixelDetector detector(Threshold);
    detector.setInput(colorMode, &images);
    detector.detect(model);
    return model.rowCount();
}

// The detector as the program runs it, taking turns with the references.
void BM_Detect(benchmark::State &state)
{
    const int sizeIndex = int(state.range(0));
    const int colorMode = int(state.range(1));
    const QVector<QImage> &images = frames(sizeIndex);
#ifdef SPECKMEND_HAVE_OPENCV
    const std::vector<cv::Mat> mats = openCvFrames(images);
#endif
    std::vector<double> detectMs, plainMs, openCvMs;
    long found = 0;
    for (auto _ : state) {
        double start = cpuMs();
        found = detectRun(images, colorMode);
        detectMs.push_back(cpuMs() - start);

        state.PauseTiming();
        start = cpuMs();
        benchmark::DoNotOptimize(plainLoop(images, colorMode));
        plainMs.push_back(cpuMs() - start);
#ifdef SPECKMEND_HAVE_OPENCV
        start = cpuMs();
        benchmark::DoNotOptimize(openCvRun(mats, colorMode));
        openCvMs.push_back(cpuMs() - start);
#endif
        state.ResumeTiming();
    }
    setLabel(state, sizeIndex, colorMode, found);
    const double detect = median(detectMs), plain = median(plainMs), openCv = median(openCvMs);
    state.counters["detect_ms"] = detect;
    state.counters["plain_ms"] = plain;
    state.counters["opencv_ms"] = openCv;
    state.counters["detect_per_plain"] = plain > 0 ? detect / plain : 0.0;
    state.counters["detect_per_opencv"] = openCv > 0 ? detect / openCv : 0.0;
}

void arguments(benchmark::internal::Benchmark *b)
{
    for (int size = 0; size < 3; ++size) {
        for (int mode : {Mono, Bayer})
            b->Args({size, mode});
    }
    b->Unit(benchmark::kMillisecond)->MinTime(0.5);
}

BENCHMARK(BM_Detect)->Apply(arguments);
BENCHMARK(BM_PlainLoop)->Apply(arguments);
#ifdef SPECKMEND_HAVE_OPENCV
BENCHMARK(BM_OpenCV)->Apply(arguments);
#endif

long maxRssKiB()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Peak resident memory of one 20 MP run of each mode, above the frames.
int peakMemory()
{
    const QVector<QImage> &images = frames(2);
    const long withFrames = maxRssKiB();
    std::printf("20 MP: ten frames held: peak %ld MiB\n", withFrames / 1024);
    for (int mode : {Mono, Bayer}) {
        const long found = detectRun(images, mode);
        std::printf("after a %s run: peak %ld MiB (%ld pixels found)\n",
                    mode == Mono ? "monochrome" : "Bayer", maxRssKiB() / 1024, found);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--peak-memory") == 0)
            return peakMemory();
    }
#ifdef SPECKMEND_HAVE_OPENCV
    benchmark::AddCustomContext("opencv_reference", CV_VERSION);
#else
    benchmark::AddCustomContext("opencv_reference",
                                "missing: built without OpenCV's CMake package (libopencv-dev)");
#endif
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
