// Matrix, the iterators' walks, and HotpixelDetector on made frames.
#include "detection/hotpixeldetector.h"

#include <QtTest>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

namespace {

constexpr int Bayer = 11;
constexpr int Mono = 6;

// Records each position reported with its element, as "x,y=element ".
struct Recorder final : BadpixelDetector::PixelPosIterator
{
    void report(unsigned &e, unsigned x, unsigned y) override
    {
        walk += QStringLiteral("%1,%2=%3 ").arg(x).arg(y).arg(e);
    }
    QString walk;
};

// Ten frames, value(x, y, frame) at each pixel.
QVector<QImage> frames(int width, int height, const std::function<int(int, int, int)> &value)
{
    QVector<QImage> result(10, QImage(width, height, QImage::Format_Indexed8));
    for (int i = 0; i < 10; ++i) {
        for (int p = 0; p < width * height; ++p)
            result[i].scanLine(p / width)[p % width] = uchar(value(p % width, p / width, i));
    }
    return result;
}

QVector<QImage> hotAt(int w, int h, const QVector<QPoint> &points)
{
    return frames(w, h, [&](int x, int y, int) { return points.contains({x, y}) ? 255 : 0; });
}

// A detection into an empty list: its failure text, then the pixels found as
// "x,y" in the order they reached the list, and a note unless it finished once.
QString run(unsigned threshold, int colorMode, const QVector<QImage> &images)
{
    HotpixelDetector detector(threshold);
    QSignalSpy finished(&detector, &HotpixelDetector::detectionFinished);
    detector.setInput(colorMode, &images);
    BadpixelListModel model;
    QStringList result;
    try {
        detector.detect(model);
    } catch (const std::exception &e) {
        result << QString::fromLatin1(e.what());
    }
    for (const BadpixelEntry &e : model.pixels())
        result << QStringLiteral("%1,%2").arg(e.x).arg(e.y);
    if (finished.count() != 1)
        result << QStringLiteral("finished %1 times").arg(finished.count());
    return result.join(QLatin1Char(' '));
}

// The first element of quotients that is not the value's quotient, in words; empty when none.
QString wrongQuotient(const unsigned *quotients, const std::vector<unsigned> &values,
                      unsigned divisor)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (quotients[i] != values[i] / divisor)
            return QStringLiteral("%1 / %2 gave %3").arg(values[i]).arg(divisor).arg(quotients[i]);
    }
    return QString();
}

// Opens the averaged planes and their means to the test.
struct OpenDetector final : HotpixelDetector
{
    OpenDetector()
        : HotpixelDetector(40)
    { }
    using HotpixelDetector::prepareMatrices;

    std::vector<Matrix<unsigned> *> planes() const
    {
        if (m_colorMode == Mono)
            return {m_mono.get()};
        return {m_phase00.get(), m_phase01.get(), m_phase10.get(), m_phase11.get()};
    }
    const MeanIterator &planeMean(int plane) const { return m_means[plane]; }
};

} // namespace

class tst_HotpixelDetector : public QObject
{
    Q_OBJECT

private slots:
    void matrix()
    {
        // Above 0x3FFFFFFF elements the allocation itself must fail.
        QVERIFY_EXCEPTION_THROWN(Matrix<unsigned>(0x4000, 0x10000), std::bad_alloc);
        Matrix<unsigned> m(2, 3);
        m.data[4] = 7;
        QCOMPARE(m(1, 1), 7u); // element in the row, then row
        QVERIFY_EXCEPTION_THROWN(m(3, 0), Matrix<unsigned>::out_of_range);
        QVERIFY_EXCEPTION_THROWN(m(0, 2), Matrix<unsigned>::out_of_range);
        BadpixelDetector::DivIterator div(1);
        QVERIFY_EXCEPTION_THROWN(m.forEach(div, 0, 7), Matrix<unsigned>::out_of_range);
    }

    // The walk of positions in runs of a line gives each element the position
    // and the byte that the walk one element at a time gives it.
    void positions_data()
    {
        QTest::addColumn<QVector<int>>("grid"); // width, height, x, y, stepX, stepY
        QTest::addColumn<QString>("walk"); // positions with the byte (its offset) read

        // A line has width + 1 positions and is width long: at width 6 the filler is read.
        QTest::newRow("4x2 all") << QVector<int> {4, 2, 0, 0, 1, 1}
                                 << QString("0,0=0 1,0=1 2,0=2 3,0=3 4,0=4 0,1=4 1,1=5 2,1=6");
        QTest::newRow("4x4 phase 00")
                << QVector<int> {4, 4, 0, 0, 2, 2} << QString("0,0=0 2,0=2 4,0=4 0,2=8");
        QTest::newRow("4x4 phase 10")
                << QVector<int> {4, 4, 1, 0, 2, 2} << QString("1,0=1 3,0=3 1,2=9 3,2=11");
        QTest::newRow("6x2 all") << QVector<int> {6, 2, 0, 0, 1, 1}
                                 << QString("0,0=0 1,0=1 2,0=2 3,0=3 4,0=4 5,0=5 6,0=6 0,1=6 "
                                            "1,1=7 2,1=8 3,1=9 4,1=10");
        QTest::newRow("37x5 all") << QVector<int> {37, 5, 0, 0, 1, 1} << QString();
        QTest::newRow("41x8 phase 10") << QVector<int> {41, 8, 1, 0, 2, 2} << QString();
        QTest::newRow("41x8 phase 01") << QVector<int> {41, 8, 0, 1, 2, 2} << QString();
        QTest::newRow("30x12 step 3") << QVector<int> {30, 12, 2, 0, 3, 3} << QString();
    }

    void positions()
    {
        QFETCH(QVector<int>, grid);
        QFETCH(QString, walk);
        QImage image(grid[0], grid[1], QImage::Format_Indexed8); // each byte holds its offset
        for (qsizetype i = 0; i < image.sizeInBytes(); ++i)
            image.bits()[i] = uchar(i);
        const PixelGrid pixelGrid
                = {uchar(grid[2]), uchar(grid[3]), uchar(grid[4]), uchar(grid[5])};
        Matrix<unsigned> m(unsigned(grid[1] / grid[5]), unsigned(grid[0] / grid[4]));
        BadpixelDetector::CopyIterator copy;
        BadpixelDetector::ImageValueIterator bytes(&image, &pixelGrid, &copy);
        m.forEach(static_cast<Matrix<unsigned>::Iterator &>(bytes));

        Recorder expected, found;
        BadpixelDetector::ImagePosIterator single(&image, &pixelGrid, &expected);
        m.forEach(static_cast<Matrix<unsigned>::Iterator &>(single));
        BadpixelDetector::ImagePosIterator runs(&image, &pixelGrid, &found);
        m.forEach(runs);
        QCOMPARE(found.walk, expected.walk);
        QVERIFY2(walk.isEmpty() || expected.walk.trimmed() == walk, qPrintable(expected.walk));
    }

    // The divide pass multiplies by a reciprocal; its quotients must be those of
    // the division, also next to multiples of the divisor and at the top of the range.
    void divide_data()
    {
        QTest::addColumn<unsigned>("divisor");

        for (unsigned d : {1u, 2u, 3u, 7u, 10u, 16u, 641u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u,
                           0xFFFFFFFEu, 0xFFFFFFFFu})
            QTest::addRow("%u", d) << d;
    }

    void divide()
    {
        QFETCH(unsigned, divisor);
        std::vector<unsigned> values = {0u, 1u, 0xFFFFFFFFu, 0xFFFFFFFEu, 0x80000000u};
        for (unsigned k : {1u, 2u, 3u, 40u, 41u, 409u, 0xFFFFu, 0x10000u, 0x7FFFFFFFu}) {
            const std::uint64_t m = std::uint64_t(k) * divisor;
            for (std::uint64_t v : {m - 1, m, m + 1}) {
                if (v <= 0xFFFFFFFFu)
                    values.push_back(unsigned(v));
            }
        }
        Matrix<unsigned> m(1, unsigned(values.size()));
        std::copy(values.begin(), values.end(), m.data);
        BadpixelDetector::DivIterator div(divisor);
        m.forEach(div);
        QCOMPARE(wrongQuotient(m.data, values, divisor), QString());
    }

    // The averaged planes and their means, however the frames are summed, are
    // those of the walk one element at a time through the virtual visit().
    void average_data()
    {
        QTest::addColumn<int>("colorMode");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("frameCount");

        for (int mode : {Mono, Bayer}) {
            const char *name = mode == Mono ? "mono" : "bayer";
            QTest::addRow("%s 10 of 2592x1944", name) << mode << 2592 << 1944 << 10;
            QTest::addRow("%s 10 of 131x37", name) << mode << 131 << 37 << 10;
            // Into the matrix in pieces that end inside a line.
            QTest::addRow("%s 1 of 390x200", name) << mode << 390 << 200 << 1;
            QTest::addRow("%s 3 of 202x45", name) << mode << 202 << 45 << 3;
            QTest::addRow("%s 257 of 22x7", name) << mode << 22 << 7 << 257;
            QTest::addRow("%s 258 of 22x7", name) << mode << 22 << 7 << 258;
        }
    }

    void average()
    {
        QFETCH(int, colorMode);
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(int, frameCount);
        // Bytes over the whole range, a few of them at the top in every frame.
        QVector<QImage> images(frameCount, QImage(width, height, QImage::Format_Indexed8));
        std::uint32_t state = 12345u;
        for (int i = 0; i < frameCount; ++i) {
            uchar *bits = images[i].bits();
            for (qsizetype b = 0; b < images[i].sizeInBytes(); ++b) {
                state = state * 1664525u + 1013904223u;
                bits[b] = b % 97 == 5 ? 255 : uchar(state >> 24);
            }
        }
        OpenDetector detector;
        detector.setInput(colorMode, &images);
        detector.prepareMatrices();
        detector.prepareMatrices(); // a second run on the same detector starts afresh

        const PixelGrid mono = {0, 0, 1, 1};
        const PixelGrid phases[] = {{0, 0, 2, 2}, {0, 1, 2, 2}, {1, 0, 2, 2}, {1, 1, 2, 2}};
        const std::vector<Matrix<unsigned> *> planes = detector.planes();
        for (int p = 0; p < int(planes.size()); ++p) {
            const PixelGrid *grid = colorMode == Mono ? &mono : &phases[p];
            Matrix<unsigned> expected(planes[p]->sizeY, planes[p]->sizeX);
            BadpixelDetector::CopyIterator copy;
            BadpixelDetector::SumIterator sum;
            for (int i = 0; i < frameCount; ++i) {
                BadpixelDetector::ImageValueIterator walk(
                        &images[i], grid,
                        i == 0 ? static_cast<BadpixelDetector::PixelValIterator *>(&copy) : &sum);
                expected.forEach(static_cast<Matrix<unsigned>::Iterator &>(walk));
            }
            BadpixelDetector::DivIterator div {unsigned(frameCount)};
            expected.forEach(static_cast<Matrix<unsigned>::Iterator &>(div));
            HotpixelDetector::MeanIterator mean;
            expected.forEach(static_cast<Matrix<unsigned>::Iterator &>(mean));

            const std::size_t size = std::size_t(expected.sizeX) * expected.sizeY;
            QCOMPARE(std::vector<unsigned>(planes[p]->data, planes[p]->data + size),
                     std::vector<unsigned>(expected.data, expected.data + size));
            QCOMPARE(detector.planeMean(p).sum, mean.sum);
            QCOMPARE(detector.planeMean(p).count, mean.count);
        }
    }

    // The 16-bit division of the averaging: wherever it says it is exact, it
    // gives every quotient, and it is for the sums of up to a hundred frames.
    void sumDivide()
    {
        for (unsigned divisor = 1; divisor <= 300; ++divisor) {
            const unsigned maxSum = std::min(255u * divisor, 0xFFFFu);
            BadpixelDetector::SumDivIterator div(divisor, maxSum);
            QVERIFY2(div.exact() || divisor == 1 || divisor > 100,
                     qPrintable(QString::number(divisor)));
            if (!div.exact())
                continue;
            std::vector<unsigned> values(maxSum + 1);
            std::vector<std::uint16_t> sums(maxSum + 1);
            for (unsigned s = 0; s <= maxSum; ++s)
                values[s] = sums[s] = std::uint16_t(s);
            Matrix<unsigned> m(1, maxSum + 1);
            div.sums = sums.data();
            m.forEach(div);
            QCOMPARE(wrongQuotient(m.data, values, divisor), QString());
        }
    }

    void detect_data()
    {
        QTest::addColumn<int>("colorMode");
        QTest::addColumn<QVector<QImage>>("images");
        QTest::addColumn<QString>("result");

        // A failed run reports nothing: the matrices are built before any decision.
        const QVector<QImage> good = hotAt(16, 16, {{1, 0}});
        QVector<QImage> rgb = good, lower = good, narrower = good;
        rgb[0] = rgb[0].convertToFormat(QImage::Format_RGB32);
        lower[6] = good[6].copy(0, 0, 16, 14);
        narrower[6] = good[6].copy(0, 0, 14, 16);
        const QString sizes("Aqcuired images are not the same size.");
        QTest::newRow("no frames") << Mono << QVector<QImage>()
                                   << QString("No images acquired for hot pixel detection.");
        QTest::newRow("32-bit, mode 0")
                << 0 << rgb << QString("Image format for hot pixel detection not supported.");
        QTest::newRow("mode 0") << 0 << good
                                << QString("Color mode for hot pixel detection not supported.");
        QTest::newRow("seventh lower, bayer") << Bayer << lower << sizes;
        QTest::newRow("seventh narrower, mono") << Mono << narrower << sizes;
        QTest::newRow("width 1, bayer")
                << Bayer << hotAt(1, 16, {}) << QString("Matrix has no size");

        // Noise of 0 to 15, pixels of 255 and 245, and ones summing to 479 and 480 over
        // ten frames: on a mean of 7 the limit is 47, which only 480 / 10 passes.
        QTest::newRow("mono, planted") << Mono << frames(64, 48, [](int x, int y, int i) {
            if ((x == 5 && y == 3) || (x == 63 && y == 0))
                return 255 - (i % 2) * 10;
            if ((x == 40 && y == 20) || (x == 17 && y == 44))
                return i == 0 && x == 40 ? 47 : 48;
            return (x * 7 + y * 13 + i * 5) % 16;
        }) << QString("63,0 5,3 17,44");
        // Phase (1,0) is bright as a whole: 230 is normal there, 60 is hot in the dark
        // phases and 50 isn't above 10 + 40.
        const QMap<QPair<int, int>, int> hot
                = {{{6, 4}, 60}, {{7, 4}, 230}, {{9, 6}, 250}, {{11, 9}, 50}};
        QTest::newRow("bayer, own limits") << Bayer << frames(32, 24, [&hot](int x, int y, int) {
            return hot.value({x, y}, (x % 2 == 1 && y % 2 == 0) ? 200 : 10);
        }) << QString("6,4 9,6");
        // Bayer: phase (0,0), then (0,1), (1,0), (1,1), each in its walk's order. A hot
        // pixel opening a line is also seen at x == width of the line before.
        const auto order = hotAt(
                8, 8, {{2, 2}, {4, 0}, {2, 1}, {3, 0}, {5, 3}, {1, 1}, {6, 5}, {0, 7}, {0, 1}});
        QTest::newRow("bayer, order")
                << Bayer << order << QString("4,0 8,0 2,2 0,1 2,1 6,5 0,7 3,0 1,1 5,3");
        QTest::newRow("mono, order")
                << Mono << order << QString("3,0 4,0 8,0 0,1 1,1 2,1 2,2 5,3 6,5 8,6 0,7");
    }

    void detect()
    {
        QFETCH(int, colorMode);
        QFETCH(QVector<QImage>, images);
        QTEST(run(40, colorMode, images), "result");
    }
};

QTEST_MAIN(tst_HotpixelDetector)
#include "tst_hotpixeldetector.moc"
