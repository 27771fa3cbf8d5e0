// HotpixelDetector on frames made in memory: the averages, the limits of the
// monochrome plane and of the Bayer phases, the order in which found pixels
// reach the list, and every failure with its text.
#include "detection/hotpixeldetector.h"
#include "hotpixel/badpixellistmodel.h"

#include <QSignalSpy>
#include <QtTest>

#include <cstring>
#include <functional>
#include <stdexcept>

inline uint qHash(const QPoint &p, uint seed = 0)
{
    return qHash(qMakePair(p.x(), p.y()), seed);
}

namespace {

constexpr int Bayer = 11;
constexpr int Mono = 6;

using PixelValue = std::function<int(int x, int y, int frame)>;

// An 8-bit frame with every byte, line filler included, at background, and
// the pixels given by value() set over it.
QImage frame(int width, int height, int background, const PixelValue &value = {}, int index = 0)
{
    QImage image(width, height, QImage::Format_Indexed8);
    std::memset(image.bits(), background, size_t(image.sizeInBytes()));
    if (value) {
        for (int y = 0; y < height; ++y) {
            uchar *line = image.scanLine(y);
            for (int x = 0; x < width; ++x) {
                const int v = value(x, y, index);
                if (v >= 0)
                    line[x] = uchar(v);
            }
        }
    }
    return image;
}

QVector<QImage> frames(int width, int height, int background, const PixelValue &value = {},
                       int count = 10)
{
    QVector<QImage> result;
    for (int i = 0; i < count; ++i)
        result.append(frame(width, height, background, value, i));
    return result;
}

// Values at chosen positions, -1 (the background) elsewhere.
PixelValue planted(const QHash<QPoint, int> &pixels)
{
    return [pixels](int x, int y, int) { return pixels.value(QPoint(x, y), -1); };
}

QVector<QPoint> positions(const BadpixelListModel &model)
{
    QVector<QPoint> result;
    for (const BadpixelEntry &e : model.pixels()) {
        if (e.pixelClass == 1)
            result.append(QPoint(e.x, e.y));
    }
    return result;
}

// Runs a detector with a spy on detectionFinished; returns the failure text,
// empty on success.
QString run(unsigned threshold, int colorMode, const QVector<QImage> &images,
            BadpixelListModel &model, int *finished = nullptr)
{
    HotpixelDetector detector(threshold);
    QSignalSpy spy(&detector, &HotpixelDetector::detectionFinished);
    detector.setInput(colorMode, &images);
    QString failure;
    try {
        detector.detect(model);
    } catch (const std::exception &e) {
        failure = QString::fromLatin1(e.what());
    }
    if (finished)
        *finished = spy.count();
    return failure;
}

} // namespace

class tst_HotpixelDetector : public QObject
{
    Q_OBJECT

private slots:
    void failures_data();
    void failures();
    void monoFindsPlantedPixels();
    void averageTruncates();
    void limitIsStrict();
    void bayerPhasesHaveOwnLimits();
    void orderOfReports();
    void walkOddities();
    void knownPositionsAreNotRepeated();
    void meanAndRepeatedRuns();
    void addIterator();
};

void tst_HotpixelDetector::failures_data()
{
    QTest::addColumn<int>("colorMode");
    QTest::addColumn<QVector<QImage>>("images");
    QTest::addColumn<QString>("text");

    const QString noImages = QStringLiteral("No images acquired for hot pixel detection.");
    const QString format = QStringLiteral("Image format for hot pixel detection not supported.");
    const QString colorMode = QStringLiteral("Color mode for hot pixel detection not supported.");
    const QString sizes = QStringLiteral("Aqcuired images are not the same size.");
    const QString noSize = QStringLiteral("Matrix has no size");

    QVector<QImage> rgb(10, QImage(16, 16, QImage::Format_RGB32));
    for (QImage &image : rgb)
        image.fill(0);
    QVector<QImage> seventhDiffers = frames(16, 16, 0);
    seventhDiffers[6] = frame(16, 14, 0);
    QVector<QImage> seventhNarrower = frames(16, 16, 0);
    seventhNarrower[6] = frame(14, 16, 0);
    // Only the first frame's format is asked.
    QVector<QImage> laterRgb = frames(16, 16, 0);
    laterRgb[3] = QImage(16, 16, QImage::Format_RGB32);
    laterRgb[3].fill(0);

    QTest::newRow("no frames, bayer") << Bayer << QVector<QImage>() << noImages;
    QTest::newRow("no frames, mono") << Mono << QVector<QImage>() << noImages;
    QTest::newRow("32-bit, bayer") << Bayer << rgb << format;
    QTest::newRow("32-bit, mode 0") << 0 << rgb << format; // the format is asked first
    QTest::newRow("null image") << Mono << QVector<QImage>(10) << format;
    QTest::newRow("mode 0") << 0 << frames(16, 16, 0) << colorMode;
    QTest::newRow("mode 6 as 7") << 7 << frames(16, 16, 0) << colorMode;
    QTest::newRow("seventh differs, bayer") << Bayer << seventhDiffers << sizes;
    QTest::newRow("seventh differs, mono") << Mono << seventhNarrower << sizes;
    QTest::newRow("later 32-bit frame, same size") << Mono << laterRgb << QString();
    QTest::newRow("width 1, bayer") << Bayer << frames(1, 16, 0) << noSize;
    QTest::newRow("height 1, bayer") << Bayer << frames(16, 1, 0) << noSize;
    QTest::newRow("width 1, mono") << Mono << frames(1, 16, 0) << QString();
}

void tst_HotpixelDetector::failures()
{
    QFETCH(int, colorMode);
    QFETCH(QVector<QImage>, images);
    QFETCH(QString, text);

    // Bright pixels that a run would report if it got that far.
    for (QImage &image : images) {
        if (image.format() == QImage::Format_Indexed8 && image.width() > 1)
            image.scanLine(0)[1] = 255;
    }

    BadpixelListModel model;
    model.addPixel(QPoint(3, 3));
    QSignalSpy added(&model, &BadpixelListModel::pixelAdded);
    int finished = -1;
    QCOMPARE(run(40, colorMode, images, model, &finished), text);
    QCOMPARE(finished, 1);
    if (!text.isEmpty()) {
        QCOMPARE(added.count(), 0);
        QCOMPARE(positions(model), QVector<QPoint> {QPoint(3, 3)});
    }

    // The errors have their own types.
    HotpixelDetector detector(40);
    detector.setInput(colorMode, &images);
    if (text.startsWith(QLatin1String("Color")))
        QVERIFY_EXCEPTION_THROWN(detector.detect(model), BadpixelDetector::ErrColorMode);
    else if (text.startsWith(QLatin1String("Matrix")))
        QVERIFY_EXCEPTION_THROWN(detector.detect(model), std::length_error);

    // Without input it is a run without frames.
    HotpixelDetector noInput(40);
    QSignalSpy noInputFinished(&noInput, &HotpixelDetector::detectionFinished);
    try {
        noInput.detect(model);
        QFAIL("a run without frames passed");
    } catch (const std::runtime_error &e) {
        QCOMPARE(QString(e.what()), QStringLiteral("No images acquired for hot pixel detection."));
    }
    QCOMPARE(noInputFinished.count(), 1);
}

void tst_HotpixelDetector::monoFindsPlantedPixels()
{
    // A dark sensor with noise of 0 to 15 and a few hot pixels of different
    // strengths, some flickering from frame to frame.
    const QHash<QPoint, int> hot = {{{5, 3}, 255}, {{40, 20}, 90}, {{63, 0}, 200}, {{17, 44}, 70}};
    auto value = [&hot](int x, int y, int i) {
        if (hot.contains(QPoint(x, y)))
            return hot.value(QPoint(x, y)) - (i % 2) * 10;
        return (x * 7 + y * 13 + i * 5) % 16;
    };
    BadpixelListModel model;
    QSignalSpy added(&model, &BadpixelListModel::pixelAdded);
    int finished = 0;
    QCOMPARE(run(40, Mono, frames(64, 48, 0, value), model, &finished), QString());
    QCOMPARE(finished, 1);
    // Noise averages to about 7; only the planted pixels are above 47.
    QCOMPARE(positions(model), (QVector<QPoint> {{63, 0}, {5, 3}, {40, 20}, {17, 44}}));
    QCOMPARE(added.count(), 4);

    // A weak hot pixel at threshold 40 is found at 20.
    const QHash<QPoint, int> weak = {{{10, 10}, 40}};
    BadpixelListModel weakModel;
    QCOMPARE(run(40, Mono, frames(32, 32, 10, planted(weak)), weakModel), QString());
    QCOMPARE(positions(weakModel).size(), 0);
    QCOMPARE(run(20, Mono, frames(32, 32, 10, planted(weak)), weakModel), QString());
    QCOMPARE(positions(weakModel), QVector<QPoint> {QPoint(10, 10)});
}

void tst_HotpixelDetector::averageTruncates()
{
    // Ten values summing to 409 average to 40, to 410 average to 41. On a
    // black sensor the mean truncates to 0 and the limit is the threshold.
    auto value = [](int x, int y, int i) {
        if (QPoint(x, y) == QPoint(3, 4))
            return i == 0 ? 40 : 41; // 409
        if (QPoint(x, y) == QPoint(9, 4))
            return 41; // 410
        if (QPoint(x, y) == QPoint(20, 20))
            return 255;
        return -1;
    };
    BadpixelListModel model;
    QCOMPARE(run(40, Mono, frames(32, 32, 0, value), model), QString());
    QCOMPARE(positions(model), (QVector<QPoint> {{9, 4}, {20, 20}}));

    // The same with any number of frames: the divisor is the frame count.
    BadpixelListModel three;
    auto threeValue = [](int x, int y, int i) {
        if (QPoint(x, y) == QPoint(3, 4))
            return i == 0 ? 41 : 42; // 125 / 3 = 41
        if (QPoint(x, y) == QPoint(5, 4))
            return i == 0 ? 40 : 41; // 122 / 3 = 40
        return -1;
    };
    QCOMPARE(run(40, Mono, frames(32, 32, 0, threeValue, 3), three), QString());
    QCOMPARE(positions(three), QVector<QPoint> {QPoint(3, 4)});
}

void tst_HotpixelDetector::limitIsStrict()
{
    // A mean of 250 and threshold 5: 255 is not above the limit of 255.
    const QHash<QPoint, int> hot = {{{4, 4}, 255}};
    BadpixelListModel model;
    QCOMPARE(run(5, Mono, frames(32, 32, 250, planted(hot)), model), QString());
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(run(4, Mono, frames(32, 32, 250, planted(hot)), model), QString());
    QCOMPARE(positions(model), QVector<QPoint> {QPoint(4, 4)});
}

void tst_HotpixelDetector::bayerPhasesHaveOwnLimits()
{
    // Phase (1,0), the odd columns of the even rows, is bright as a whole.
    // It gets a limit of its own and reports nothing at 230, while 60 is hot
    // in the dark phases and 250 in the bright one.
    const QHash<QPoint, int> hot = {{{6, 4}, 60}, {{7, 4}, 230},  {{9, 6}, 250},
                                    {{3, 5}, 60}, {{10, 11}, 60}, {{11, 9}, 49}};
    auto value = [&hot](int x, int y, int) {
        if (hot.contains(QPoint(x, y)))
            return hot.value(QPoint(x, y));
        return (x % 2 == 1 && y % 2 == 0) ? 200 : 10;
    };
    BadpixelListModel model;
    QCOMPARE(run(40, Bayer, frames(32, 24, 0, value), model), QString());
    QCOMPARE(positions(model), (QVector<QPoint> {{6, 4}, {10, 11}, {9, 6}, {3, 5}}));

    // As a monochrome plane the bright phase pulls the mean up to 57: the dark
    // hot pixels disappear and the whole bright phase is listed.
    BadpixelListModel mono;
    QCOMPARE(run(40, Mono, frames(32, 24, 0, value), mono), QString());
    QVERIFY(positions(mono).contains(QPoint(7, 4)));
    QVERIFY(!positions(mono).contains(QPoint(6, 4)));
}

void tst_HotpixelDetector::orderOfReports()
{
    // Phase (0,0) first, then (0,1), (1,0), (1,1), each in the order of its walk.
    const QHash<QPoint, int> hot = {{{2, 2}, 255}, {{4, 0}, 255}, {{2, 1}, 255}, {{3, 0}, 255},
                                    {{5, 3}, 255}, {{1, 1}, 255}, {{6, 5}, 255}};
    BadpixelListModel model;
    QSignalSpy added(&model, &BadpixelListModel::pixelAdded);
    QCOMPARE(run(40, Bayer, frames(8, 8, 0, planted(hot)), model), QString());
    QCOMPARE(positions(model),
             (QVector<QPoint> {{4, 0}, {2, 2}, {2, 1}, {6, 5}, {3, 0}, {1, 1}, {5, 3}}));
    QCOMPARE(added.count(), 7);
    for (const QVariantList &args : added)
        QCOMPARE(args.at(0).toInt(), 1);

    // Monochrome: in the order of the walk, line by line.
    BadpixelListModel mono;
    QCOMPARE(run(40, Mono, frames(8, 8, 0, planted(hot)), mono), QString());
    QCOMPARE(positions(mono),
             (QVector<QPoint> {{3, 0}, {4, 0}, {1, 1}, {2, 1}, {2, 2}, {5, 3}, {6, 5}}));
}

void tst_HotpixelDetector::walkOddities()
{
    // A hot pixel at the start of a line is also read at x == width of the
    // line before, in the monochrome walk and in the walk of the even columns.
    const QHash<QPoint, int> lineStart = {{{0, 2}, 255}};
    BadpixelListModel mono;
    QCOMPARE(run(40, Mono, frames(8, 8, 0, planted(lineStart)), mono), QString());
    QCOMPARE(positions(mono), (QVector<QPoint> {{8, 1}, {0, 2}}));

    const QHash<QPoint, int> oddLineStart = {{{0, 1}, 255}};
    BadpixelListModel bayer;
    QCOMPARE(run(40, Bayer, frames(8, 8, 0, planted(oddLineStart)), bayer), QString());
    QCOMPARE(positions(bayer), (QVector<QPoint> {{8, 0}, {0, 1}}));

    // With width + 1 positions a line the monochrome walk ends before the last
    // line does: on a 8 x 8 sensor it covers 64 positions, up to (0, 7).
    const QHash<QPoint, int> lastLine = {{{0, 7}, 255}, {{1, 7}, 255}, {{7, 7}, 255}};
    BadpixelListModel end;
    QCOMPARE(run(40, Mono, frames(8, 8, 0, planted(lastLine)), end), QString());
    QCOMPARE(positions(end), (QVector<QPoint> {{8, 6}, {0, 7}}));

    // A width not divisible by 4 leaves filler bytes at the end of each line,
    // which the walk reads as pixels: on a 6 x 2 black frame with bright
    // filler, the offsets 6 and 7 are read at (6,0), (0,1) and (1,1).
    QVector<QImage> padded = frames(6, 2, 255, [](int, int, int) { return 0; });
    BadpixelListModel filler;
    QCOMPARE(run(40, Mono, padded, filler), QString());
    QCOMPARE(positions(filler), (QVector<QPoint> {{6, 0}, {0, 1}, {1, 1}}));

    // Width 1 is a legal monochrome plane.
    BadpixelListModel narrow;
    const QHash<QPoint, int> top = {{{0, 0}, 255}};
    QCOMPARE(run(40, Mono, frames(1, 30, 0, planted(top)), narrow), QString());
    QCOMPARE(positions(narrow), QVector<QPoint> {QPoint(0, 0)});
}

void tst_HotpixelDetector::knownPositionsAreNotRepeated()
{
    const QHash<QPoint, int> hot = {{{3, 3}, 255}, {{5, 3}, 255}, {{7, 3}, 255}};
    BadpixelListModel model;
    model.addPixel(QPoint(5, 3));
    QSignalSpy added(&model, &BadpixelListModel::pixelAdded);
    QCOMPARE(run(40, Mono, frames(16, 16, 0, planted(hot)), model), QString());
    QCOMPARE(positions(model), (QVector<QPoint> {{5, 3}, {3, 3}, {7, 3}}));
    QCOMPARE(added.count(), 2);
}

void tst_HotpixelDetector::meanAndRepeatedRuns()
{
    HotpixelDetector detector(40);
    try {
        detector.mean();
        QFAIL("a mean without a plane");
    } catch (const std::runtime_error &e) {
        QCOMPARE(QString(e.what()), QStringLiteral("Not instanced."));
    }

    // 16 x 16 at 10 with one pixel at 255: (255 * 16 + 16 * 10 * 15) / 256 = 25.
    const QHash<QPoint, int> hot = {{{2, 2}, 255}};
    const QVector<QImage> first = frames(16, 16, 10, planted(hot));
    BadpixelListModel model;
    QSignalSpy finished(&detector, &HotpixelDetector::detectionFinished);
    detector.setInput(Mono, &first);
    detector.detect(model);
    QCOMPARE(detector.mean(), (255u + 255u * 10u) / 256u);
    QCOMPARE(finished.count(), 1);

    // A second run on the same object replaces the plane.
    const QVector<QImage> second = frames(20, 10, 100);
    detector.setInput(Mono, &second);
    detector.detect(model);
    QCOMPARE(detector.mean(), 100u);
    QCOMPARE(finished.count(), 2);
    QCOMPARE(positions(model), QVector<QPoint> {QPoint(2, 2)});

    // A Bayer run after it leaves the monochrome plane of the earlier run.
    detector.setInput(Bayer, &second);
    detector.detect(model);
    QCOMPARE(detector.mean(), 100u);
}

void tst_HotpixelDetector::addIterator()
{
    BadpixelListModel model;
    HotpixelDetector::AddHotpixelIterator add(&model, 40);
    unsigned element = 40;
    add.report(element, 1, 2);
    QCOMPARE(model.rowCount(), 0);
    element = 41;
    add.report(element, 1, 2);
    add.report(element, 1, 2); // refused by the list, the result is ignored
    element = 0xFFFFFFFF;
    add.report(element, 70000, 3); // cut to 16 bits by the list
    QCOMPARE(positions(model), (QVector<QPoint> {{1, 2}, {4464, 3}}));

    HotpixelDetector::MeanIterator meanPass;
    QCOMPARE(meanPass.sum, 0u);
    QCOMPARE(meanPass.count, 0u);
    Matrix<unsigned> m(2, 2);
    m.data[0] = 0xFFFFFFFF;
    m.data[1] = 3;
    m.data[2] = 5;
    m.data[3] = 0;
    m.forEach(meanPass);
    QCOMPARE(meanPass.sum, 7u); // modulo 2^32
    QCOMPARE(meanPass.count, 4u);
}

QTEST_MAIN(tst_HotpixelDetector)
#include "tst_hotpixeldetector.moc"
