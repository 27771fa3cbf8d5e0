#include "camera/camera.h"
#include "camera/statustext.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include "simulator/tavosim_control.h"

#include <QDir>
#include <QtTest>

#include <memory>
#include <stdexcept>

namespace {

const char fleet[] = R"({"cameras": [
    {"deviceId": 1, "serial": "MONO", "width": 64, "height": 48},
    {"deviceId": 2, "serial": "RGB", "width": 80, "height": 60, "colorMode": 0},
    {"deviceId": 3, "serial": "LOSSY", "width": 64, "height": 48, "frameLossRate": 0.5},
    {"deviceId": 4, "serial": "OLDFW", "width": 64, "height": 48, "firmwareUploadMs": 2600},
    {"deviceId": 5, "serial": "S4D", "width": 64, "height": 48, "sensorType": "0x4D"},
    {"deviceId": 6, "serial": "S21D", "width": 64, "height": 48, "sensorType": "0x21D"},
    {"deviceId": 7, "serial": "S20B", "width": 64, "height": 48, "sensorType": "0x20B"},
    {"deviceId": 8, "serial": "MODE99", "width": 64, "height": 48, "colorMode": 99}
]})";

// Notes the signals that open and close a camera, and the messages.
class SignalLog : public QObject
{
public:
    explicit SignalLog(Camera *camera)
    {
        connect(camera, &Camera::newImage, this, [this](QImage &image) {
            if (image.isNull())
                names.append(QStringLiteral("newImage(null)"));
        });
        connect(camera, &Camera::cameraOpened, this, [this] { names << "cameraOpened"; });
        connect(camera, &Camera::cameraClosed, this, [this] { names << "cameraClosed"; });
        connect(camera, &Camera::displayError, this,
                [this](QString text, int msec) { names << text + ' ' + QString::number(msec); });
    }

    QStringList names;
};

} // namespace

class tst_Camera : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_sim = std::make_unique<TestUtil::SimEnvironment>(fleet); }
    void init() { ApiSpy::reset(); }
    void openAndClose();
    void openFailures_data();
    void openFailures();
    void openCallOrder_data();
    void openCallOrder();
    void reentryDropsNestedFrame();
    void burstOfFramesDrawnOnce();
    void switchDropsQueuedFrames();
    void closeGivesUpOnHungThread();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_Camera::openAndClose()
{
    const auto threads = [] { return QDir(QStringLiteral("/proc/self/task")).count(); };
    const uint threadsBefore = threads();
    auto owner = std::make_unique<Camera>();
    Camera &camera = *owner;
    SignalLog log(&camera);
    int framesWhenOpened = -1;
    connect(&camera, &Camera::cameraOpened, this, [&](Camera *opened) {
        QVERIFY(opened == &camera && camera.isOpen());
        framesWhenOpened = camera.frameCount();
    });
    camera.open(3);
    QCOMPARE(log.names, QStringList {"cameraOpened"});
    QTRY_VERIFY_WITH_TIMEOUT(camera.frameCount() > 1 && camera.failedFrameCount() > 1, 20000);
    const int oldFrames = camera.frameCount();

    log.names.clear(); // the old camera goes first; the counters reset last
    camera.open(2);
    QCOMPARE(log.names, (QStringList {"newImage(null)", "cameraClosed", "cameraOpened"}));
    QVERIFY(framesWhenOpened >= oldFrames);
    QCOMPARE(camera.frameCount(), 0);
    QCOMPARE(camera.failedFrameCount(), 0);
    int images = 0; // more than there are buffers: each went back to the library
    connect(&camera, &Camera::newImage, this, [&](QImage &image) {
        images += image.size() == QSize(80, 60) && image.format() == QImage::Format_RGB32;
    });
    QTRY_VERIFY_WITH_TIMEOUT(images >= 8, 20000);

    log.names.clear();
    ApiSpy::reset();
    camera.close();
    QCOMPARE(log.names, (QStringList {"newImage(null)", "cameraClosed"}));
    QCOMPARE(ApiSpy::sequence(),
             (QStringList {"tv_StopLiveVideo", "tv_Event 5", "tv_Event 2", "tv_ClearSequence",
                           "tv_FreeImageMem", "tv_FreeImageMem", "tv_FreeImageMem",
                           "tv_ExitCamera"}));
    QCOMPARE(QSize(camera.imageWidth(), camera.imageHeight()), QSize(80, 60));

    // A second close and a late frame event change nothing.
    const int frames = camera.frameCount();
    camera.close();
    QVERIFY(QMetaObject::invokeMethod(&camera, "eventReceived", Q_ARG(int, TV_EVT_FRAME_READY)));
    QCOMPARE(log.names.size(), 2);
    QCOMPARE(camera.frameCount(), frames);
    camera.open(1);
    owner.reset(); // open or not, its threads and the library's end with it
    QTRY_COMPARE_WITH_TIMEOUT(threads(), threadsBefore, 10000);
}

void tst_Camera::openFailures_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<int>("skip");
    QTest::addColumn<QStringList>("expected"); // the signals, then the text thrown

    const QStringList closed {"newImage(null)", "cameraClosed"};
    QTest::newRow("init") << 1 << QByteArray("tv_InitCamera") << 0
                          << QStringList {"Could not initialize camera."};
    for (int deviceId : {5, 6, 7}) // sensor types 0x4D, 0x21D, 0x20B
        QTest::addRow("sensor %d", deviceId)
                << deviceId << QByteArray() << 0 << QStringList {"Unsupported camera type"};
    QTest::newRow("colour mode 99")
            << 8 << QByteArray() << 0 << closed + QStringList {"Color Mode not supported."};
    QTest::newRow("third allocation") << 1 << QByteArray("tv_AllocImageMem") << 2
                                      << closed + QStringList {"Can't allocate image memory."};
    QTest::newRow("second registration") << 1 << QByteArray("tv_AddToSequence") << 1
                                         << closed + QStringList {"Can't add buffer to sequence."};
    // Without its events the camera would stand open with no frames.
    QTest::newRow("event registration")
            << 1 << QByteArray("tv_Event") << 2
            << closed + QStringList {"Can't register the camera's events."};
    QTest::newRow("event enabling")
            << 1 << QByteArray("tv_Event") << 5
            << closed + QStringList {"Can't enable the camera's events: " + tavoStatusText(3)};
    QTest::newRow("after cameraOpened")
            << 1 << QByteArray("tv_SetExposureTime") << 0
            << QStringList {"cameraOpened"} + closed + QStringList {tavoStatusText(3)};
}

void tst_Camera::openFailures()
{
    QFETCH(int, deviceId);
    QFETCH(QByteArray, function);
    QFETCH(int, skip);
    QFETCH(QStringList, expected);

    Camera camera;
    SignalLog log(&camera);
    if (!function.isEmpty())
        ApiSpy::fail(function.constData(), 3, skip);
    try {
        camera.open(deviceId);
    } catch (const std::runtime_error &error) {
        log.names << QString::fromUtf8(error.what());
    }
    QCOMPARE(log.names, expected);
    QVERIFY(!camera.isOpen());

    // The camera and every buffer taken went back.
    QCOMPARE(ApiSpy::calls("tv_ExitCamera").size(), function == "tv_InitCamera" ? 0 : 1);
    QCOMPARE(ApiSpy::calls("tv_FreeImageMem").size(),
             ApiSpy::calls("tv_AllocImageMem").size() - (function == "tv_AllocImageMem"));
}

void tst_Camera::openCallOrder_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<int>("upload"); // 1: asked for, 2: and its duration unknown
    QTest::addColumn<QStringList>("opening"); // up to the sequence of buffers
    QTest::addColumn<QString>("bits");
    QTest::addColumn<QString>("message");

    const QStringList found {"tv_InitCamera", "tv_GetSensorInfo"};
    const auto op = [](const char *function, uint32_t operation) {
        return QStringLiteral("%1 %2").arg(QLatin1String(function)).arg(operation);
    };
    const QStringList format {"tv_SetColorMode", "tv_SetColorMode",
                              op("tv_HotPixel", TV_HP_CORRECTION_OFF),
                              op("tv_AOI", TV_AOI_QUERY_FULL_SIZE), op("tv_AOI", TV_AOI_SET_RECT)};
    QTest::newRow("monochrome") << 1 << 0 << found + format << "8" << QString();
    QTest::newRow("colour") << 2 << 0 << found + format << "32" << QString();
    const QStringList upload {"tv_InitCamera", "tv_GetDuration", "tv_InitCamera",
                              "tv_GetSensorInfo"};
    const QString asked = QStringLiteral("Upload of new firmware required. (approx. %1 seconds)");
    QTest::newRow("firmware upload") << 4 << 1 << upload + format << "8" << asked.arg(2);
    QTest::newRow("upload of unknown duration")
            << 4 << 2 << upload + format << "8" << asked.arg(25);
}

void tst_Camera::openCallOrder()
{
    QFETCH(int, deviceId);
    QFETCH(int, upload);
    QFETCH(QStringList, opening);
    QFETCH(QString, bits);
    QFETCH(QString, message);

    Camera camera;
    SignalLog log(&camera);
    QStringList atOpened;
    connect(&camera, &Camera::cameraOpened, this, [&] { atOpened = ApiSpy::sequence(); });
    ApiSpy::reset(); // after the device events of the constructor
    if (upload > 0)
        ApiSpy::fail("tv_InitCamera", TV_STATUS_FW_UPLOAD_NEEDED);
    if (upload > 1)
        ApiSpy::fail("tv_GetDuration", 1);
    camera.open(deviceId);
    QCOMPARE(log.names,
             (message.isEmpty() ? QStringList() : QStringList {message + " 2000"})
                     + QStringList {"cameraOpened"});

    // Three buffers, each registered as it is made; then the event thread
    // registers and enables its codes; live capture starts last.
    QStringList expected = opening;
    for (int i = 0; i < 3; ++i)
        expected += QStringList {"tv_AllocImageMem", "tv_AddToSequence"};
    for (int i = 0; i < 5; ++i)
        expected << QStringLiteral("tv_Event %1").arg(TV_EVT_OP_REGISTER);
    expected << QStringLiteral("tv_Event %1").arg(TV_EVT_OP_ENABLE) << "tv_CaptureVideo";
    QCOMPARE(atOpened, expected);
    QCOMPARE(ApiSpy::calls("tv_AllocImageMem"), (QStringList {bits, bits, bits}));

    // After cameraOpened the parameters are read, the clock first.
    expected
            += QStringList {"tv_SetPixelClock",      "tv_GetFramesPerSecond", "tv_SetExposureTime",
                            "tv_GetPixelClockRange", "tv_SetPixelClock",      "tv_SetPixelClock",
                            "tv_GetFrameTimeRange",  "tv_SetFrameRate",       "tv_GetExposureRange",
                            "tv_SetExposureTime",    "tv_SetExposureTime",    "tv_SetHardwareGain"};
    QCOMPARE(ApiSpy::sequence().mid(0, expected.size()), expected);
}

void tst_Camera::reentryDropsNestedFrame()
{
    Camera camera;
    int images = 0;
    int nested = -1;
    connect(&camera, &Camera::newImage, this, [&](QImage &image) {
        if (image.isNull() || ++images > 1)
            return;
        QCOMPARE(image.format(), QImage::Format_Indexed8); // a monochrome camera
        // A nested event loop, as a modal box here runs: frames count, unseen.
        const int frames = camera.frameCount();
        QTRY_VERIFY_WITH_TIMEOUT(camera.frameCount() >= frames + 2, 20000);
        nested = images - 1;
    });
    camera.open(1);
    QTRY_VERIFY_WITH_TIMEOUT(images >= 2, 20000);
    QCOMPARE(nested, 0);
}

void tst_Camera::burstOfFramesDrawnOnce()
{
    Camera camera;
    int redraws = 0;
    connect(&camera, &Camera::newImage, this, [&](QImage &image) { redraws += !image.isNull(); });
    camera.open(1);
    const uint handle = camera.handle();
    const auto reported = [handle] { return ApiSpy::reported(TV_EVT_FRAME_READY, handle); };
    QTRY_VERIFY_WITH_TIMEOUT(redraws > 0, 20000);

    // A busy main thread: frames arrive and nothing handles them.
    const int frames = camera.frameCount();
    const int drawn = redraws;
    QVERIFY(ApiSpy::awaitReported(TV_EVT_FRAME_READY, handle, reported() + 6));

    // What waits for the camera is one report for all of them: one redraw of
    // the newest frame, and every frame counted.
    QCoreApplication::sendPostedEvents(&camera, QEvent::MetaCall);
    QCOMPARE(redraws, drawn + 1);
    QVERIFY2(camera.frameCount() >= frames + 5, qPrintable(QString::number(camera.frameCount())));

    // Once the stream stands, the counter holds every frame reported.
    QCOMPARE(tv_StopLiveVideo(handle, TV_CAPTURE_WAIT), TV_SUCCESS);
    QTRY_COMPARE_WITH_TIMEOUT(camera.frameCount(), reported(), 10000);
}

void tst_Camera::switchDropsQueuedFrames()
{
    Camera camera;
    SignalLog log(&camera);
    int images = 0;
    connect(&camera, &Camera::newImage, this,
            [&](QImage &image) { images += image.size() == QSize(80, 60); });
    camera.open(1);
    const uint first = camera.handle();
    QVERIFY(ApiSpy::awaitReported(TV_EVT_FRAME_READY, first, 3));

    // The reports of the first camera still wait when the second opens: they
    // count nothing and fetch nothing.
    camera.open(2);
    const uint second = camera.handle();
    QVERIFY(second != first);
    QTRY_VERIFY_WITH_TIMEOUT(images >= 3, 20000);
    QCOMPARE(tv_StopLiveVideo(second, TV_CAPTURE_WAIT), TV_SUCCESS);
    QTRY_COMPARE_WITH_TIMEOUT(camera.frameCount(), ApiSpy::reported(TV_EVT_FRAME_READY, second),
                              10000);
    QCOMPARE(log.names,
             (QStringList {"cameraOpened", "newImage(null)", "cameraClosed", "cameraOpened"}));
}

// A camera thread whose wait neither returns nor heeds terminate() is waited
// for a bounded time: the camera closes all the same and says so.
void tst_Camera::closeGivesUpOnHungThread()
{
    Camera camera;
    SignalLog log(&camera);
    camera.open(1);
    ApiSpy::hangNextWait(camera.handle());
    QTRY_VERIFY_WITH_TIMEOUT(ApiSpy::hanging(), 20000);
    camera.close();
    QVERIFY(ApiSpy::hanging()); // closed while the wait still hangs
    ApiSpy::reset();
    QCOMPARE(log.names,
             (QStringList {"cameraOpened", "The camera's event thread did not end. 2000",
                           "newImage(null)", "cameraClosed"}));
}

QTEST_GUILESS_MAIN(tst_Camera)
#include "tst_camera.moc"
