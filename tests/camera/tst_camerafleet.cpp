// Opens each camera of the simulated library's built-in fleet, takes its
// live frames for a while and closes it again, with no thread left behind.
#include "camera/camera.h"
#include "tests/testutil/testutil.h"

#include <QDir>
#include <QElapsedTimer>
#include <QtTest>

#include <memory>

namespace {

int threadCount()
{
    return int(QDir(QStringLiteral("/proc/self/task"))
                       .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                       .size());
}

} // namespace

class tst_CameraFleet : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void liveFrames_data();
    void liveFrames();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_CameraFleet::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_CameraFleet::liveFrames_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<QString>("serial");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("colorMode");
    QTest::addColumn<bool>("cameraMemory");
    QTest::newRow("TV-M1310") << 1 << "4103000101" << QSize(1280, 1024) << 6 << true;
    QTest::newRow("TV-C3100") << 2 << "4103000102" << QSize(2048, 1536) << 11 << true;
    QTest::newRow("TV-C1920") << 3 << "4103000103" << QSize(1600, 1200) << 11 << false;
}

void tst_CameraFleet::liveFrames()
{
    QFETCH(int, deviceId);
    QFETCH(QString, serial);
    QFETCH(QSize, size);
    QFETCH(int, colorMode);
    QFETCH(bool, cameraMemory);

    const int threadsBefore = threadCount();
    {
        Camera camera;
        int images = 0;
        int wrongImages = 0;
        QStringList errors;
        connect(&camera, &Camera::newImage, this, [&](QImage &image) {
            if (image.isNull())
                return;
            ++images;
            if (image.size() != size || image.format() != QImage::Format_Indexed8)
                ++wrongImages;
        });
        connect(&camera, &Camera::displayError, this,
                [&](const QString &message) { errors.append(message); });

        camera.open(deviceId);
        QCOMPARE(camera.serialNumber(), serial);
        QCOMPARE(QSize(camera.imageWidth(), camera.imageHeight()), size);
        QCOMPARE(camera.colorMode(), colorMode);
        QCOMPARE(camera.hasEepromCorrection(), cameraMemory);
        camera.setBadPixelCorrection(true);

        // A few seconds of live frames.
        QElapsedTimer elapsed;
        elapsed.start();
        QTRY_VERIFY_WITH_TIMEOUT(elapsed.elapsed() >= 3000 && images >= 10, 30000);
        QCOMPARE(wrongImages, 0);
        QVERIFY2(errors.isEmpty(), qPrintable(errors.join(QLatin1Char('\n'))));
        QVERIFY(camera.framesPerSecond() > 0.0);
        QVERIFY(camera.frameCount() >= images);

        camera.close();
        QVERIFY(!camera.isOpen());
    }
    // The camera's event threads and any of the library's are gone.
    QTRY_COMPARE_WITH_TIMEOUT(threadCount(), threadsBefore, 10000);
}

QTEST_GUILESS_MAIN(tst_CameraFleet)
#include "tst_camerafleet.moc"
