// Matrix, the image walks of the iterators, and HotpixelDetector on frames made
// in memory and on frames of the simulated cameras with the lens covered.
#include "camera/camera.h"
#include "detection/hotpixeldetector.h"
#include "simulator/tavosim_control.h"
#include "tests/testutil/testutil.h"

#include <QSignalSpy>
#include <QtTest>

#include <functional>

namespace {

constexpr int Bayer = 11;
constexpr int Mono = 6;

// Records each position reported with its element, as "x,y=element ".
class Recorder final : public BadpixelDetector::PixelPosIterator
{
public:
    void report(unsigned &e, unsigned x, unsigned y) override
    {
        walk += QStringLiteral("%1,%2=%3 ").arg(x).arg(y).arg(e);
    }
    QString walk;
};

// Ten frames, value(x, y, frame) at each pixel.
QVector<QImage> frames(int width, int height, const std::function<int(int, int, int)> &value)
{
    QVector<QImage> result;
    for (int i = 0; i < 10; ++i) {
        result.append(QImage(width, height, QImage::Format_Indexed8));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                result[i].scanLine(y)[x] = uchar(value(x, y, i));
        }
    }
    return result;
}

QVector<QImage> hotAt(int w, int h, const QVector<QPoint> &points)
{
    return frames(w, h, [&](int x, int y, int) { return points.contains({x, y}) ? 255 : 0; });
}

// A detection into an empty list: its failure, how often it told it finished,
// and the pixels found, as "x,y x,y ..." in the order they reached the list.
struct Run
{
    QString failure, found;
    int finished = 0;
};

Run run(unsigned threshold, int colorMode, const QVector<QImage> &images)
{
    HotpixelDetector detector(threshold);
    QSignalSpy finished(&detector, &HotpixelDetector::detectionFinished);
    detector.setInput(colorMode, &images);
    BadpixelListModel model;
    Run result;
    try {
        detector.detect(model);
    } catch (const std::exception &e) {
        result.failure = QString::fromLatin1(e.what());
    }
    result.finished = finished.count();
    for (const BadpixelEntry &e : model.pixels())
        result.found += QStringLiteral("%1,%2 ").arg(e.x).arg(e.y);
    result.found.chop(1);
    return result;
}

} // namespace

class tst_HotpixelDetector : public QObject
{
    Q_OBJECT

private slots:
    void matrix();
    void walk_data();
    void walk();
    void failures_data();
    void failures();
    void monoFindsPlantedPixels();
    void bayerPhasesHaveOwnLimits();
    void orderOfReports();
    void coveredSensor_data();
    void coveredSensor();
};

void tst_HotpixelDetector::matrix()
{
    QVERIFY_EXCEPTION_THROWN(Matrix<unsigned>(0, 5), std::length_error);
    QVERIFY_EXCEPTION_THROWN(Matrix<unsigned>(5, 0), std::length_error);
    // Above 0x3FFFFFFF elements the allocation itself must fail.
    QVERIFY_EXCEPTION_THROWN(Matrix<unsigned>(0x4000, 0x10000), std::bad_alloc);

    Matrix<unsigned> m(2, 3);
    for (unsigned i = 0; i < 6; ++i)
        m.data[i] = 10 + i;
    QCOMPARE(m(2, 0), 12u); // element in the row, then row
    QCOMPARE(m(0, 1), 13u);
    QVERIFY_EXCEPTION_THROWN(m(3, 0), Matrix<unsigned>::out_of_range);
    QVERIFY_EXCEPTION_THROWN(m(0, 2), Matrix<unsigned>::out_of_range);
    BadpixelDetector::DivIterator div(10);
    m.forEach(div);
    QCOMPARE(m(2, 1), 1u); // 15 / 10 truncates
}

void tst_HotpixelDetector::walk_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QVector<int>>("grid");
    QTest::addColumn<QString>("walk"); // the positions, with the byte offsets read there

    // A line of the walk has width + 1 positions, and its line length is the
    // width: at width 6 the line filler is read as pixels.
    QTest::newRow("4x2 all") << QSize(4, 2) << QVector<int> {0, 0, 1, 1}
                             << QString("0,0=0 1,0=1 2,0=2 3,0=3 4,0=4 0,1=4 1,1=5 2,1=6");
    QTest::newRow("4x4 phase 00") << QSize(4, 4) << QVector<int> {0, 0, 2, 2}
                                  << QString("0,0=0 2,0=2 4,0=4 0,2=8");
    QTest::newRow("4x4 phase 10") << QSize(4, 4) << QVector<int> {1, 0, 2, 2}
                                  << QString("1,0=1 3,0=3 1,2=9 3,2=11");
    QTest::newRow("6x2 all")
            << QSize(6, 2) << QVector<int> {0, 0, 1, 1}
            << QString("0,0=0 1,0=1 2,0=2 3,0=3 4,0=4 5,0=5 6,0=6 0,1=6 1,1=7 2,1=8 3,1=9 4,1=10");
}

void tst_HotpixelDetector::walk()
{
    QFETCH(QSize, size);
    QFETCH(QVector<int>, grid);
    QFETCH(QString, walk);

    QImage image(size, QImage::Format_Indexed8); // each byte, filler too, holds its offset
    for (qsizetype i = 0; i < image.sizeInBytes(); ++i)
        image.bits()[i] = uchar(i);
    const PixelGrid pixelGrid = {uchar(grid[0]), uchar(grid[1]), uchar(grid[2]), uchar(grid[3])};
    Matrix<unsigned> m(unsigned(size.height() / grid[3]), unsigned(size.width() / grid[2]));
    BadpixelDetector::CopyIterator copy;
    BadpixelDetector::ImageValueIterator values(&image, &pixelGrid, &copy);
    m.forEach(values);
    Recorder recorder;
    BadpixelDetector::ImagePosIterator positions(&image, &pixelGrid, &recorder);
    m.forEach(positions);
    QCOMPARE(recorder.walk.trimmed(), walk);
}

void tst_HotpixelDetector::failures_data()
{
    QTest::addColumn<int>("colorMode");
    QTest::addColumn<QVector<QImage>>("images");
    QTest::addColumn<QString>("text");

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
    QTest::newRow("width 1, bayer") << Bayer << hotAt(1, 16, {}) << QString("Matrix has no size");
}

void tst_HotpixelDetector::failures()
{
    QFETCH(int, colorMode);
    QFETCH(QVector<QImage>, images);
    QFETCH(QString, text);

    const Run result = run(40, colorMode, images);
    QCOMPARE(result.failure, text);
    QCOMPARE(result.finished, 1);
    // A failed run reports nothing: the matrices are built before any decision.
    QCOMPARE(result.found, QString());
}

void tst_HotpixelDetector::monoFindsPlantedPixels()
{
    // Noise of 0 to 15, planted pixels of 255 and 245, and ones whose ten
    // values sum to 409 and 410: on a mean of 7 and threshold 33 the limit is
    // 40, which 409 / 10 doesn't pass and 410 / 10 does.
    const QVector<QImage> images = frames(64, 48, [](int x, int y, int i) {
        if ((x == 5 && y == 3) || (x == 63 && y == 0))
            return 255 - (i % 2) * 10;
        if ((x == 40 && y == 20) || (x == 17 && y == 44))
            return i == 0 && x == 40 ? 40 : 41;
        return (x * 7 + y * 13 + i * 5) % 16;
    });
    QCOMPARE(run(33, Mono, images).found, QStringLiteral("63,0 5,3 17,44"));
}

void tst_HotpixelDetector::bayerPhasesHaveOwnLimits()
{
    // Phase (1,0), the odd columns of even rows, is bright as a whole: 230 is
    // normal there, while 60 is hot in the dark phases and 50 isn't above 10 + 40.
    const QMap<QPair<int, int>, int> hot
            = {{{6, 4}, 60}, {{7, 4}, 230}, {{9, 6}, 250}, {{11, 9}, 50}};
    const auto images = frames(32, 24, [&hot](int x, int y, int) {
        return hot.value({x, y}, (x % 2 == 1 && y % 2 == 0) ? 200 : 10);
    });
    QCOMPARE(run(40, Bayer, images).found, QStringLiteral("6,4 9,6"));
}

void tst_HotpixelDetector::orderOfReports()
{
    // Bayer: phase (0,0), then (0,1), (1,0), (1,1), each in its walk's order.
    // A hot pixel opening a line is also seen at x == width of the line before.
    const auto images
            = hotAt(8, 8, {{2, 2}, {4, 0}, {2, 1}, {3, 0}, {5, 3}, {1, 1}, {6, 5}, {0, 7}, {0, 1}});
    QCOMPARE(run(40, Bayer, images).found,
             QStringLiteral("4,0 8,0 2,2 0,1 2,1 6,5 0,7 3,0 1,1 5,3"));
    QCOMPARE(run(40, Mono, images).found,
             QStringLiteral("3,0 4,0 8,0 0,1 1,1 2,1 2,2 5,3 6,5 8,6 0,7"));
}

void tst_HotpixelDetector::coveredSensor_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<int>("colorMode");
    QTest::newRow("monochrome") << 1 << Mono;
    QTest::newRow("bayer") << 2 << Bayer;
}

void tst_HotpixelDetector::coveredSensor()
{
    QFETCH(int, deviceId);
    QFETCH(int, colorMode);
    const QString serial = QStringLiteral("410300010%1").arg(deviceId);
    TestUtil::SimEnvironment sim;
    QCOMPARE(tvsim_cover(qPrintable(serial), 1), 0);

    Camera camera;
    camera.open(deviceId);
    QCOMPARE(camera.colorMode(), colorMode);
    // At exposure 300 and gain 50 a defect's dark signal is its strength.
    camera.setBadPixelCorrection(false);
    camera.setFramerate(3.0);
    camera.setExposure(300.0);
    camera.setMastergain(50);
    QVector<QImage> captured; // the first two may have been exposed before the settings
    connect(&camera, &Camera::newImage, this, [&](QImage &image) {
        if (!image.isNull() && captured.size() < 12)
            captured.append(image.copy());
    });
    QTRY_COMPARE_WITH_TIMEOUT(captured.size(), 12, 60000);
    camera.close();
    captured.remove(0, 2);

    const auto expected = TestUtil::expectedDetection(serial, 40, 300.0, 50);
    QVERIFY(!expected.mustFind.isEmpty() && !expected.mustMiss.isEmpty());
    const QStringList found = run(40, colorMode, captured).found.split(' ');
    const auto key = [](QPoint p) { return QStringLiteral("%1,%2").arg(p.x()).arg(p.y()); };
    for (const QPoint &p : expected.mustFind)
        QVERIFY2(found.contains(key(p)), qPrintable("missed " + key(p)));
    // Nothing else and nothing too weak. The walk sees the first pixel of a
    // line also at x == width on the line before.
    QStringList allowed;
    for (const TestUtil::PlantedDefect &d : TestUtil::plantedDefects(serial)) {
        if (!expected.mustMiss.contains(d.position))
            allowed << key(d.position) << key(d.position + QPoint(captured.at(0).width(), -1));
    }
    for (const QString &p : found)
        QVERIFY2(allowed.contains(p), qPrintable("listed " + p));
}

QTEST_MAIN(tst_HotpixelDetector)
#include "tst_hotpixeldetector.moc"
