// A detection on ten frames captured from the simulated cameras with the
// lens covered finds the hot pixels that the simulated sensors really have.
#include "camera/camera.h"
#include "detection/hotpixeldetector.h"
#include "hotpixel/badpixellistmodel.h"
#include "simulator/tavosim_control.h"
#include "tests/testutil/testutil.h"

#include <QtTest>

#include <cmath>
#include <memory>

namespace {

constexpr unsigned Threshold = 40;
// Noise and fixed pattern move a pixel by up to 6 grey values: defects this
// far from the threshold are judged with certainty.
constexpr double Margin = 12.0;

// Whether the detector's walk of the plane holding (x, y) reaches it: a
// monochrome walk and the walks of the even columns take one position more
// than a matrix row on each line, and end before the last lines.
bool reached(int x, int y, int width, int height, bool bayer)
{
    if (!bayer)
        return qint64(y) * (width + 1) + x < qint64(width) * height;
    if (x % 2 == 1)
        return y / 2 < height / 2 && x / 2 < width / 2;
    const qint64 perLine = width / 2 + 1;
    return (y / 2) * perLine + x / 2 < qint64(width / 2) * (height / 2);
}

} // namespace

class tst_DetectionCapture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void coveredSensor_data();
    void coveredSensor();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_DetectionCapture::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
    tvsim_reset();
}

void tst_DetectionCapture::cleanup()
{
    tvsim_reset();
}

void tst_DetectionCapture::coveredSensor_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("colorMode");
    QTest::newRow("monochrome") << 1 << QStringLiteral("4103000101") << 6;
    QTest::newRow("bayer") << 2 << QStringLiteral("4103000102") << 11;
}

void tst_DetectionCapture::coveredSensor()
{
    QFETCH(int, deviceId);
    QFETCH(QString, serial);
    QFETCH(int, colorMode);

    QCOMPARE(tvsim_cover(qPrintable(serial), 1), 0);
    QVector<TvsimDefect> defects(4096);
    const int defectCount = tvsim_defects(qPrintable(serial), defects.data(), defects.size());
    QVERIFY(defectCount > 0);
    defects.resize(qMin(defectCount, defects.size()));

    Camera camera;
    CameraParameter<double> framerate;
    CameraParameter<double> exposure;
    CameraParameter<int> gain;
    connect(&camera, &Camera::framerateChanged, this,
            [&](CameraParameter<double> &p) { framerate = p; });
    connect(&camera, &Camera::exposureChanged, this,
            [&](CameraParameter<double> &p) { exposure = p; });
    connect(&camera, &Camera::mastergainChanged, this, [&](CameraParameter<int> &p) { gain = p; });
    QVector<QImage> frames;
    bool collecting = false;
    int skip = 2; // frames that may have been exposed before the settings
    connect(&camera, &Camera::newImage, this, [&](QImage &image) {
        if (!collecting || image.isNull() || frames.size() >= 10)
            return;
        if (skip > 0) {
            --skip;
            return;
        }
        frames.append(image.copy());
    });

    camera.open(deviceId);
    QVERIFY(camera.isOpen());
    QCOMPARE(camera.colorMode(), colorMode);
    // Exposure 300 and gain 50 give each defect its strength as dark signal,
    // so that the planted strengths lie on both sides of the threshold.
    camera.setBadPixelCorrection(false);
    camera.updateFramerate();
    camera.setFramerate(qMax(framerate.min, 3.0)); // leaves room for 300 ms
    camera.updateExposure();
    QVERIFY(exposure.max >= 300.0);
    camera.setExposure(300.0);
    camera.setMastergain(50);
    camera.updateExposure();
    camera.updateMastergain();
    QVERIFY(exposure.value > 0.0);
    collecting = true;
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 10, 60000);
    camera.close();

    BadpixelListModel model;
    HotpixelDetector detector(Threshold);
    detector.setInput(camera.colorMode(), &frames);
    detector.detect(model);

    const int width = frames.at(0).width();
    const int height = frames.at(0).height();
    const bool bayer = colorMode == 11;
    QSet<QPair<int, int>> found;
    for (const BadpixelEntry &e : model.pixels())
        found.insert(qMakePair(int(e.x), int(e.y)));

    QSet<QPair<int, int>> planted;
    int strong = 0;
    int weak = 0;
    for (const TvsimDefect &d : qAsConst(defects)) {
        planted.insert(qMakePair(int(d.x), int(d.y)));
        const double signal = std::round(tvsim_dark_signal(d.strength, exposure.value, gain.value));
        const auto position = qMakePair(int(d.x), int(d.y));
        if (signal >= Threshold + Margin && reached(d.x, d.y, width, height, bayer)) {
            ++strong;
            QVERIFY2(found.contains(position),
                     qPrintable(QStringLiteral("missed (%1, %2), signal %3")
                                        .arg(d.x)
                                        .arg(d.y)
                                        .arg(signal)));
        } else if (signal <= Threshold - Margin) {
            ++weak;
            QVERIFY2(!found.contains(position),
                     qPrintable(QStringLiteral("weak (%1, %2) listed").arg(d.x).arg(d.y)));
        }
    }
    QVERIFY2(strong > 0, "no defect strong enough for the threshold");
    QVERIFY2(weak > 0, "no defect too weak for the threshold");

    // Nothing else: a position at x == width is the walk's view of the first
    // pixel of the next line.
    for (const auto &p : qAsConst(found)) {
        const auto source = p.first == width ? qMakePair(0, p.second + 1) : p;
        QVERIFY2(planted.contains(source),
                 qPrintable(QStringLiteral("(%1, %2) is no defect").arg(p.first).arg(p.second)));
    }
}

QTEST_MAIN(tst_DetectionCapture)
#include "tst_detectioncapture.moc"
