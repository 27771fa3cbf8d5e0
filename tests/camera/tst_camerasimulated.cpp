// Camera against a configured simulated fleet: a camera that reports the
// 32-bit colour mode, one that loses frames and one that needs new firmware.
#include "camera/camera.h"
#include "tests/testutil/testutil.h"

#include <QtTest>

#include <memory>

namespace {

const char fleet[] = R"({"cameras": [
    {"deviceId": 4, "cameraId": 14, "serial": "SIM32", "model": "TV-RGB", "sensorType": "0x0140",
     "width": 64, "height": 48, "color": "bayer", "colorMode": 0},
    {"deviceId": 5, "serial": "LOSSY", "width": 64, "height": 48, "frameLossRate": 0.5},
    {"deviceId": 6, "serial": "OLDFW", "width": 64, "height": 48, "firmwareUploadMs": 2600}
]})";

} // namespace

class tst_CameraSimulated : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void thirtyTwoBitFrames();
    void lostFrames();
    void firmwareUpload();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_CameraSimulated::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>(QString::fromLatin1(fleet));
}

void tst_CameraSimulated::thirtyTwoBitFrames()
{
    Camera camera;
    QImage last;
    connect(&camera, &Camera::newImage, this, [&](QImage &image) {
        if (!image.isNull())
            last = image.copy();
    });
    camera.open(4);
    QCOMPARE(camera.colorMode(), 0);
    QCOMPARE(camera.serialNumber(), QStringLiteral("SIM32"));
    QTRY_VERIFY_WITH_TIMEOUT(!last.isNull(), 20000);
    QCOMPARE(last.format(), QImage::Format_RGB32);
    QCOMPARE(last.size(), QSize(64, 48));
    QCOMPARE(last.bytesPerLine(), 64 * 4);
    camera.close();
}

void tst_CameraSimulated::lostFrames()
{
    Camera camera;
    camera.open(5);
    QCOMPARE(camera.failedFrameCount(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(camera.failedFrameCount() >= 2 && camera.frameCount() >= 2, 20000);
    camera.close();
    // The counters stay after closing, until the next opening.
    QVERIFY(camera.failedFrameCount() >= 2);
    camera.open(4);
    QCOMPARE(camera.failedFrameCount(), 0);
    QCOMPARE(camera.frameCount(), 0);
    camera.close();
}

void tst_CameraSimulated::firmwareUpload()
{
    Camera camera;
    QStringList messages;
    connect(&camera, &Camera::displayError, this, [&](const QString &message, int msec) {
        messages.append(QStringLiteral("%1 %2").arg(message).arg(msec));
    });
    camera.open(6);
    QVERIFY(camera.isOpen());
    QCOMPARE(messages, QStringList {"Upload of new firmware required. (approx. 2 seconds) 2000"});
    camera.close();

    // Done once, the upload isn't asked for again.
    messages.clear();
    camera.open(6);
    QVERIFY(messages.isEmpty());
    camera.close();
}

QTEST_GUILESS_MAIN(tst_CameraSimulated)
#include "tst_camerasimulated.moc"
