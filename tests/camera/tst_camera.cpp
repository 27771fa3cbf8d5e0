#include "camera/camera.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include "simulator/tavosim_control.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>
#include <stdexcept>

namespace {

// Lets the tests hand event codes to the camera as the event threads do.
class TestCamera : public Camera
{
public:
    using Camera::eventReceived;
};

// Notes every signal of a camera by name, in order.
class SignalLog : public QObject
{
public:
    explicit SignalLog(Camera *camera)
    {
        connect(camera, &Camera::newImage, this, [this](QImage &image) {
            names.append(image.isNull() ? QStringLiteral("newImage(null)")
                                        : QStringLiteral("newImage"));
        });
        connect(camera, &Camera::cameraOpened, this,
                [this](Camera *) { names.append(QStringLiteral("cameraOpened")); });
        connect(camera, &Camera::cameraClosed, this,
                [this] { names.append(QStringLiteral("cameraClosed")); });
        connect(camera, &Camera::cameraRemoved, this,
                [this] { names.append(QStringLiteral("cameraRemoved")); });
        connect(camera, &Camera::cameraReconnect, this,
                [this] { names.append(QStringLiteral("cameraReconnect")); });
        connect(camera, &Camera::cameraNewDevice, this,
                [this] { names.append(QStringLiteral("cameraNewDevice")); });
        connect(camera, &Camera::cameraRemovedDevice, this,
                [this] { names.append(QStringLiteral("cameraRemovedDevice")); });
        connect(camera, &Camera::displayError, this, [this](const QString &message, int msec) {
            names.append(QStringLiteral("displayError"));
            messages.append(message);
            durations.append(msec);
        });
        connect(camera, &Camera::pixelclockChanged, this,
                [this](CameraParameter<int> &) { names.append(QStringLiteral("pixelclock")); });
        connect(camera, &Camera::framerateChanged, this,
                [this](CameraParameter<double> &) { names.append(QStringLiteral("framerate")); });
        connect(camera, &Camera::exposureChanged, this,
                [this](CameraParameter<double> &) { names.append(QStringLiteral("exposure")); });
        connect(camera, &Camera::mastergainChanged, this,
                [this](CameraParameter<int> &) { names.append(QStringLiteral("mastergain")); });
    }

    // The names without the frames and parameter changes.
    QStringList lifecycle() const
    {
        QStringList result;
        for (const QString &name : names) {
            if (name != QLatin1String("newImage") && name != QLatin1String("pixelclock")
                && name != QLatin1String("framerate") && name != QLatin1String("exposure")
                && name != QLatin1String("mastergain"))
                result.append(name);
        }
        return result;
    }

    QStringList names;
    QStringList messages;
    QList<int> durations;
};

QString libraryText(int status)
{
    int32_t code = status;
    char *text = nullptr;
    if (tv_GetError(0, &code, &text) != TV_SUCCESS || !text)
        return QStringLiteral("Unknown error.");
    return QString::fromUtf8(text);
}

// The event calls of one kind made with a camera's handle.
int cameraEventCalls(unsigned operation)
{
    int count = 0;
    const QVector<ApiSpy::Call> calls = ApiSpy::eventCalls(operation);
    for (const ApiSpy::Call &call : calls)
        count += call.args.at(0) != 0;
    return count;
}

} // namespace

class tst_Camera : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void openAndClose();
    void reopenClosesFirst();
    void openFailures_data();
    void openFailures();
    void firmwareUpload_data();
    void firmwareUpload();
    void frames_data();
    void frames();
    void frameFailures();
    void reentryDropsNestedFrame();
    void eventsWithoutCamera();
    void hotPlug();
    void badPixelCorrection();
    void helpers();
    void destructorLeavesLibrary();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_Camera::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_Camera::init()
{
    tvsim_reset();
    ApiSpy::reset();
}

void tst_Camera::cleanup()
{
    ApiSpy::reset();
    tvsim_reset();
}

void tst_Camera::openAndClose()
{
    Camera camera;
    SignalLog log(&camera);
    QCOMPARE(camera.imageWidth(), 0);
    QVERIFY(!camera.isOpen());
    QCOMPARE(camera.framesPerSecond(), 0.0);

    bool openDuringSignal = false;
    connect(&camera, &Camera::cameraOpened, this,
            [&](Camera *opened) { openDuringSignal = opened == &camera && camera.isOpen(); });
    camera.open(1);
    QVERIFY(camera.isOpen());
    QVERIFY(camera.handle() != 0);
    QVERIFY(openDuringSignal);
    QCOMPARE(camera.imageWidth(), 1280);
    QCOMPARE(camera.imageHeight(), 1024);
    QCOMPARE(camera.colorMode(), 6);
    QCOMPARE(camera.serialNumber(), QStringLiteral("4103000101"));
    QVERIFY(camera.hasEepromCorrection());
    QCOMPARE(camera.frameCount(), 0);
    QCOMPARE(camera.failedFrameCount(), 0);

    // cameraOpened comes once live capture runs, before the parameters.
    QCOMPARE(log.names.first(), QStringLiteral("cameraOpened"));
    QVERIFY(log.names.contains(QStringLiteral("pixelclock")));
    QCOMPARE(log.names.count(QStringLiteral("mastergain")), 1);
    QCOMPARE(log.lifecycle(), QStringList {"cameraOpened"});

    // The colour mode was asked for as 11, then queried.
    const QVector<ApiSpy::Call> modes = ApiSpy::calls("tv_SetColorMode");
    QCOMPARE(modes.size(), 2);
    QCOMPARE(modes.at(0).args.at(1), 11.0);
    QCOMPARE(modes.at(1).args.at(1), double(TV_FORMAT_QUERY));

    QTRY_VERIFY_WITH_TIMEOUT(camera.frameCount() > 0, 20000);
    QVERIFY(camera.framesPerSecond() > 0.0);

    log.names.clear();
    camera.close();
    QVERIFY(!camera.isOpen());
    QCOMPARE(camera.handle(), 0u);
    QCOMPARE(log.lifecycle(), (QStringList {"newImage(null)", "cameraClosed"}));
    QCOMPARE(ApiSpy::count("tv_ExitCamera"), 1);
    // The sensor size and the counters stay after closing.
    QCOMPARE(camera.imageWidth(), 1280);
    QCOMPARE(camera.imageHeight(), 1024);
    QVERIFY(camera.frameCount() > 0);

    // Closing again does nothing.
    log.names.clear();
    camera.close();
    QVERIFY(log.names.isEmpty());
    QCOMPARE(ApiSpy::count("tv_ExitCamera"), 1);
}

void tst_Camera::reopenClosesFirst()
{
    Camera camera;
    camera.open(1);
    QTRY_VERIFY_WITH_TIMEOUT(camera.frameCount() > 1, 20000);
    const int oldFrames = camera.frameCount();

    SignalLog log(&camera);
    int framesSeenWhenOpened = -1;
    QString serialWhenOpened;
    connect(&camera, &Camera::cameraOpened, this, [&] {
        framesSeenWhenOpened = camera.frameCount();
        serialWhenOpened = camera.serialNumber();
    });
    camera.open(2);

    QStringList lifecycle = log.lifecycle();
    QCOMPARE(lifecycle, (QStringList {"newImage(null)", "cameraClosed", "cameraOpened"}));
    // The counters of the old camera are readable until the last step.
    QVERIFY(framesSeenWhenOpened >= oldFrames);
    QCOMPARE(serialWhenOpened, QStringLiteral("4103000102"));
    QCOMPARE(camera.frameCount(), 0);
    QCOMPARE(camera.imageWidth(), 2048);
    QCOMPARE(camera.colorMode(), 11);
    camera.close();
}

void tst_Camera::openFailures_data()
{
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<long>("selector");
    QTest::addColumn<int>("skip");
    QTest::addColumn<int>("sensorType");
    QTest::addColumn<int>("colorMode");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QStringList>("expectedSignals");

    const QStringList none;
    const QStringList closed {"newImage(null)", "cameraClosed"};
    const QStringList openedThenClosed {"cameraOpened", "newImage(null)", "cameraClosed"};
    const QString text = libraryText(3);

    QTest::newRow("init") << QByteArray("tv_InitCamera") << -1L << 0 << -1 << -1
                          << "Could not initialize camera." << none;
    QTest::newRow("sensor info") << QByteArray("tv_GetSensorInfo") << -1L << 0 << -1 << -1 << text
                                 << closed;
    QTest::newRow("sensor 0x4D") << QByteArray() << -1L << 0 << 0x4D << -1
                                 << "Unsupported camera type" << none;
    QTest::newRow("sensor 0x21D") << QByteArray() << -1L << 0 << 0x21D << -1
                                  << "Unsupported camera type" << none;
    QTest::newRow("sensor 0x20B") << QByteArray() << -1L << 0 << 0x20B << -1
                                  << "Unsupported camera type" << none;
    QTest::newRow("set colour mode")
            << QByteArray("tv_SetColorMode") << 11L << 0 << -1 << -1 << text << closed;
    QTest::newRow("colour mode 3")
            << QByteArray() << -1L << 0 << -1 << 3 << "Color Mode not supported." << closed;
    QTest::newRow("colour mode 12")
            << QByteArray() << -1L << 0 << -1 << 12 << "Color Mode not supported." << closed;
    QTest::newRow("full size") << QByteArray("tv_AOI") << long(TV_AOI_QUERY_FULL_SIZE) << 0 << -1
                               << -1 << text << closed;
    QTest::newRow("set area") << QByteArray("tv_AOI") << long(TV_AOI_SET_RECT) << 0 << -1 << -1
                              << text << closed;
    QTest::newRow("first allocation") << QByteArray("tv_AllocImageMem") << -1L << 0 << -1 << -1
                                      << "Can't allocate image memory." << closed;
    QTest::newRow("third allocation") << QByteArray("tv_AllocImageMem") << -1L << 2 << -1 << -1
                                      << "Can't allocate image memory." << closed;
    QTest::newRow("second registration") << QByteArray("tv_AddToSequence") << -1L << 1 << -1 << -1
                                         << "Can't add buffer to sequence." << closed;
    QTest::newRow("capture") << QByteArray("tv_CaptureVideo") << -1L << 0 << -1 << -1 << text
                             << closed;
    QTest::newRow("frames per second") << QByteArray("tv_GetFramesPerSecond") << -1L << 0 << -1
                                       << -1 << text << openedThenClosed;
    QTest::newRow("default exposure")
            << QByteArray("tv_SetExposureTime") << long(TV_EXPOSURE_QUERY_DEFAULT) << 0 << -1 << -1
            << text << openedThenClosed;
    QTest::newRow("pixel clock range") << QByteArray("tv_GetPixelClockRange") << -1L << 0 << -1
                                       << -1 << text << openedThenClosed;
}

void tst_Camera::openFailures()
{
    QFETCH(QByteArray, function);
    QFETCH(long, selector);
    QFETCH(int, skip);
    QFETCH(int, sensorType);
    QFETCH(int, colorMode);
    QFETCH(QString, message);
    QFETCH(QStringList, expectedSignals);

    TestCamera camera;
    SignalLog log(&camera);
    if (!function.isEmpty())
        ApiSpy::fail(function.constData(), 3, 1, selector, skip);
    ApiSpy::setSensorType(sensorType);
    ApiSpy::setColorModeAnswer(colorMode);

    try {
        camera.open(1);
        QFAIL("open did not throw");
    } catch (const std::runtime_error &error) {
        QCOMPARE(QString::fromUtf8(error.what()), message);
    }
    QCOMPARE(log.lifecycle(), expectedSignals);
    QVERIFY(!camera.isOpen());
    QCOMPARE(camera.handle(), 0u);

    // Whatever was taken went back: the camera left, every buffer freed,
    // and a thread that was started has stopped and released its events.
    const bool initialised = function != "tv_InitCamera";
    QCOMPARE(ApiSpy::count("tv_ExitCamera"), initialised ? 1 : 0);
    const int allocated
            = ApiSpy::count("tv_AllocImageMem") - (function == "tv_AllocImageMem" ? 1 : 0);
    QCOMPARE(ApiSpy::count("tv_FreeImageMem"), allocated);
    QCOMPARE(cameraEventCalls(TV_EVT_OP_RELEASE), cameraEventCalls(TV_EVT_OP_ENABLE));

    // A frame event that was queued before the failure changes nothing.
    camera.eventReceived(TV_EVT_FRAME_READY);
    QCOMPARE(log.names.count(QStringLiteral("newImage")), 0);

    // The camera can be opened afterwards.
    ApiSpy::reset();
    camera.open(1);
    QVERIFY(camera.isOpen());
    camera.close();
}

void tst_Camera::firmwareUpload_data()
{
    QTest::addColumn<bool>("durationFails");
    QTest::addColumn<bool>("secondInitFails");
    QTest::newRow("duration known") << false << false;
    QTest::newRow("duration unknown") << true << false;
    QTest::newRow("upload fails") << false << true;
}

void tst_Camera::firmwareUpload()
{
    QFETCH(bool, durationFails);
    QFETCH(bool, secondInitFails);

    Camera camera;
    SignalLog log(&camera);
    ApiSpy::fail("tv_InitCamera", TV_STATUS_FW_UPLOAD_NEEDED, 1);
    if (secondInitFails)
        ApiSpy::fail("tv_InitCamera", 5, 1); // the first fault takes the first call
    if (durationFails)
        ApiSpy::fail("tv_GetDuration", 1, 1);

    // What the library says about the upload, asked the same way.
    int32_t expectedMs = 25000;
    if (!durationFails) {
        uint32_t word = 2 | TV_OPEN_BY_DEVICE_ID;
        tv_GetDuration(word, TV_DURATION_FW_UPLOAD, &expectedMs);
    }
    const QString expected = QStringLiteral("Upload of new firmware required. (approx. %1 seconds)")
                                     .arg(expectedMs / 1000);

    try {
        camera.open(2);
        QVERIFY(!secondInitFails);
    } catch (const std::runtime_error &error) {
        QVERIFY(secondInitFails);
        QCOMPARE(QString::fromUtf8(error.what()), QStringLiteral("Could not initialize camera."));
    }
    QCOMPARE(log.messages.value(0), expected);
    QCOMPARE(log.durations.value(0), 2000);
    if (durationFails)
        QCOMPARE(expected, QStringLiteral("Upload of new firmware required. (approx. 25 seconds)"));

    // The second attempt allows the upload.
    const QVector<ApiSpy::Call> inits = ApiSpy::calls("tv_InitCamera");
    QCOMPARE(inits.size(), 2);
    QCOMPARE(inits.at(0).args.at(0), double(2 | 0x8000));
    QCOMPARE(inits.at(1).args.at(0), double(2 | 0x18000));
    QCOMPARE(camera.isOpen(), !secondInitFails);
    camera.close();
}

void tst_Camera::frames_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<int>("colorMode");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("format");
    QTest::newRow("monochrome, 8 bits")
            << 1 << -1 << QSize(1280, 1024) << int(QImage::Format_Indexed8);
    QTest::newRow("Bayer, 8 bits") << 3 << -1 << QSize(1600, 1200) << int(QImage::Format_Indexed8);
    QTest::newRow("32 bits") << 1 << 0 << QSize(1280, 1024) << int(QImage::Format_RGB32);
}

void tst_Camera::frames()
{
    QFETCH(int, deviceId);
    QFETCH(int, colorMode);
    QFETCH(QSize, size);
    QFETCH(int, format);

    Camera camera;
    ApiSpy::setColorModeAnswer(colorMode);
    int images = 0;
    QSize seenSize;
    int seenFormat = -1;
    int seenBytesPerLine = 0;
    QSet<const uchar *> buffers;
    connect(&camera, &Camera::newImage, this, [&](QImage &image) {
        if (image.isNull())
            return;
        ++images;
        seenSize = image.size();
        seenFormat = int(image.format());
        seenBytesPerLine = image.bytesPerLine();
        buffers.insert(image.constBits());
    });
    camera.open(deviceId);
    QCOMPARE(ApiSpy::calls("tv_AllocImageMem").first().args.at(3), colorMode == 0 ? 32.0 : 8.0);

    QTRY_VERIFY_WITH_TIMEOUT(images >= 3, 20000);
    QCOMPARE(seenSize, size);
    QCOMPARE(seenFormat, format);
    QCOMPARE(seenBytesPerLine, size.width() * (colorMode == 0 ? 4 : 1));
    QVERIFY(camera.frameCount() >= images);
    // Every image wraps one of the three ring buffers, uncopied.
    QVERIFY(buffers.size() <= 3);

    // Each published frame was locked and unlocked by its memory.
    const QVector<ApiSpy::Call> locks = ApiSpy::calls("tv_LockSeqBuf");
    QVERIFY(!locks.isEmpty());
    QCOMPARE(locks.first().args.at(1), double(TV_SEQ_ID_ANY));
    QTRY_COMPARE(ApiSpy::count("tv_UnlockSeqBuf"), ApiSpy::count("tv_LockSeqBuf"));
    camera.close();
}

void tst_Camera::frameFailures()
{
    Camera camera;
    SignalLog log(&camera);
    camera.open(1);
    QTRY_VERIFY_WITH_TIMEOUT(log.names.count(QStringLiteral("newImage")) > 0, 20000);

    // The newest buffer can't be fetched: the text goes out, the frame counts.
    const int fetches = ApiSpy::count("tv_GetActSeqBuf");
    ApiSpy::fail("tv_GetActSeqBuf", 3, 1);
    QTRY_VERIFY_WITH_TIMEOUT(log.messages.size() == 1, 20000);
    QCOMPARE(log.messages.first(), QString::fromUtf8(camera.errorText(3)));
    QCOMPARE(log.durations.first(), 2000);
    QVERIFY(ApiSpy::count("tv_GetActSeqBuf") > fetches);

    // The buffer can't be locked: the frame is dropped without a word.
    ApiSpy::reset();
    ApiSpy::fail("tv_LockSeqBuf", 3, 0);
    const int framesBefore = camera.frameCount();
    QTRY_VERIFY_WITH_TIMEOUT(camera.frameCount() >= framesBefore + 3, 20000);
    const int imagesBefore = log.names.count(QStringLiteral("newImage"));
    const int framesNow = camera.frameCount();
    QTRY_VERIFY_WITH_TIMEOUT(camera.frameCount() >= framesNow + 2, 20000);
    QCOMPARE(log.names.count(QStringLiteral("newImage")), imagesBefore);
    QCOMPARE(ApiSpy::count("tv_UnlockSeqBuf"), 0);
    QCOMPARE(log.messages.size(), 1);

    // Frames flow again once the library recovers.
    ApiSpy::reset();
    QTRY_VERIFY_WITH_TIMEOUT(log.names.count(QStringLiteral("newImage")) > imagesBefore, 20000);
    camera.close();
}

void tst_Camera::reentryDropsNestedFrame()
{
    Camera camera;
    int depth = 0;
    int deepest = 0;
    int calls = 0;
    int framesDuringNested = 0;
    connect(&camera, &Camera::newImage, this, [&](QImage &image) {
        if (image.isNull())
            return;
        ++calls;
        ++depth;
        deepest = qMax(deepest, depth);
        if (calls == 1) {
            // A nested event loop, as a modal dialog opened here would run.
            const int start = camera.frameCount();
            QElapsedTimer timer;
            timer.start();
            while (camera.frameCount() < start + 2 && timer.elapsed() < 20000)
                QTest::qWait(10);
            framesDuringNested = camera.frameCount() - start;
        }
        --depth;
    });
    camera.open(1);
    QTRY_VERIFY_WITH_TIMEOUT(calls >= 1 && depth == 0, 20000);
    QVERIFY(framesDuringNested >= 2);
    QCOMPARE(deepest, 1);
    // The flag is clear again afterwards: later frames are published.
    QTRY_VERIFY_WITH_TIMEOUT(calls >= 2, 20000);
    QCOMPARE(deepest, 1);
    camera.close();
}

void tst_Camera::eventsWithoutCamera()
{
    TestCamera camera;
    SignalLog log(&camera);

    // No camera: frames and camera events are ignored, lost frames count,
    // device events go out, and anything else is dropped.
    camera.eventReceived(TV_EVT_FRAME_READY);
    camera.eventReceived(TV_EVT_CAMERA_BACK);
    camera.eventReceived(TV_EVT_CAMERA_GONE);
    camera.eventReceived(10150);
    QCOMPARE(camera.frameCount(), 0);
    QVERIFY(log.names.isEmpty());
    QCOMPARE(ApiSpy::count("tv_GetActSeqBuf"), 0);
    camera.eventReceived(TV_EVT_FRAME_LOST);
    QCOMPARE(camera.failedFrameCount(), 1);
    camera.eventReceived(TV_EVT_DEVICE_GONE);
    camera.eventReceived(TV_EVT_DEVICE_ARRIVED);
    QCOMPARE(log.names, (QStringList {"cameraRemovedDevice", "cameraNewDevice"}));

    // While open, the camera events are reported.
    camera.open(1);
    log.names.clear();
    camera.eventReceived(TV_EVT_CAMERA_GONE);
    camera.eventReceived(TV_EVT_CAMERA_BACK);
    camera.eventReceived(10150);
    QCOMPARE(log.lifecycle(), (QStringList {"cameraRemoved", "cameraReconnect"}));
    const int failed = camera.failedFrameCount();
    camera.eventReceived(TV_EVT_FRAME_LOST);
    QCOMPARE(camera.failedFrameCount(), failed + 1);
    const int frames = camera.frameCount();
    camera.eventReceived(TV_EVT_FRAME_READY);
    QVERIFY(camera.frameCount() > frames);
    camera.close();
}

void tst_Camera::hotPlug()
{
    Camera camera;
    SignalLog log(&camera);
    if (tvsim_plug("4103000103", 0) != 0)
        QSKIP("The simulated library can't unplug cameras yet");
    QTRY_VERIFY_WITH_TIMEOUT(log.names.contains(QStringLiteral("cameraRemovedDevice")), 20000);
    QCOMPARE(tvsim_plug("4103000103", 1), 0);
    QTRY_VERIFY_WITH_TIMEOUT(log.names.contains(QStringLiteral("cameraNewDevice")), 20000);

    // The open camera reports its own removal and return.
    camera.open(1);
    log.names.clear();
    QCOMPARE(tvsim_plug("4103000101", 0), 0);
    QTRY_VERIFY_WITH_TIMEOUT(log.names.contains(QStringLiteral("cameraRemoved")), 20000);
    QVERIFY(camera.isOpen());
    QCOMPARE(tvsim_plug("4103000101", 1), 0);
    QTRY_VERIFY_WITH_TIMEOUT(log.names.contains(QStringLiteral("cameraReconnect")), 20000);
    camera.close();
}

void tst_Camera::badPixelCorrection()
{
    Camera camera;
    camera.open(1);
    double minTime = 0;
    double maxTime = 0;
    double interval = 0;
    tv_GetFrameTimeRange(camera.handle(), &minTime, &maxTime, &interval);
    ApiSpy::reset();

    QVector<double> rates;
    connect(&camera, &Camera::framerateChanged, this,
            [&](CameraParameter<double> &param) { rates.append(param.value); });
    camera.updateFramerate();
    const double rate = rates.last();
    ApiSpy::reset();

    camera.setBadPixelCorrection(true);
    QStringList order;
    const QVector<ApiSpy::Call> calls = ApiSpy::calls();
    for (const ApiSpy::Call &call : calls)
        order.append(QString::fromLatin1(call.function));
    QCOMPARE(order,
             (QStringList {"tv_StopLiveVideo", "tv_GetFrameTimeRange", "tv_SetFrameRate",
                           "tv_HotPixel", "tv_SetFrameRate", "tv_SetExposureTime",
                           "tv_CaptureVideo"}));
    QCOMPARE(calls.at(2).args.at(1), 1.0 / minTime);
    QCOMPARE(calls.at(3).args.at(1), double(TV_HP_CORRECTION_ON));
    QCOMPARE(calls.at(4).args.at(1), rate);
    QCOMPARE(calls.at(6).args.at(1), double(TV_CAPTURE_WAIT));

    ApiSpy::reset();
    camera.setBadPixelCorrection(false);
    QCOMPARE(ApiSpy::calls("tv_HotPixel").first().args.at(1), double(TV_HP_CORRECTION_OFF));

    // The stream runs again.
    const int frames = camera.frameCount();
    QTRY_VERIFY_WITH_TIMEOUT(camera.frameCount() > frames, 20000);
    camera.close();
}

void tst_Camera::helpers()
{
    TestCamera camera;
    SignalLog log(&camera);

    // Closed: no capture, no library call.
    camera.captureFrame();
    QCOMPARE(ApiSpy::count("tv_FreezeVideo"), 0);
    QCOMPARE(ApiSpy::count("tv_GetFramesPerSecond"), 0);
    QCOMPARE(camera.framesPerSecond(), 0.0);

    camera.reportError(0);
    QVERIFY(log.messages.isEmpty());
    camera.reportError(3);
    QCOMPARE(log.messages, QStringList {libraryText(3)});
    QCOMPARE(log.durations, QList<int> {2000});
    ApiSpy::fail("tv_GetError", 1, 1);
    QCOMPARE(QString::fromUtf8(camera.errorText(3)), QStringLiteral("Unknown error."));

    // The ini file: status 50 has its own words, others the library's.
    log.messages.clear();
    ApiSpy::fail("tv_LoadParameters", TV_STATUS_INI_NOT_OPENED, 1);
    camera.loadParameters();
    ApiSpy::fail("tv_LoadParameters", 3, 1);
    camera.loadParameters();
    QCOMPARE(log.messages, (QStringList {"Can't open ini file.", libraryText(3)}));

    // A single frame is published on the spot.
    camera.open(3);
    QVERIFY(!camera.hasEepromCorrection());
    int images = 0;
    connect(&camera, &Camera::newImage, this, [&](QImage &image) { images += !image.isNull(); });
    const int frames = camera.frameCount();
    camera.captureFrame();
    QVERIFY(camera.frameCount() > frames);
    QVERIFY(images >= 1);
    ApiSpy::fail("tv_FreezeVideo", 3, 1);
    QVERIFY_EXCEPTION_THROWN(camera.captureFrame(), std::runtime_error);

    ApiSpy::fail("tv_HotPixel", 3, 1, TV_HP_CAPABILITIES);
    camera.open(1);
    QVERIFY(!camera.hasEepromCorrection());
    QVERIFY(camera.hasEepromCorrection());
    camera.close();
}

void tst_Camera::destructorLeavesLibrary()
{
    {
        Camera camera;
        SignalLog log(&camera);
        camera.open(1);
        log.names.clear();
        ApiSpy::reset();
    }
    // No close: no signal, no stop of the stream; the camera leaves and both
    // threads release their events.
    QCOMPARE(ApiSpy::count("tv_StopLiveVideo"), 0);
    QCOMPARE(ApiSpy::count("tv_ClearSequence"), 1);
    QCOMPARE(ApiSpy::count("tv_ExitCamera"), 1);
    QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_RELEASE).size(), 2);
    QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_SIGNAL).size(), 2);
}

QTEST_GUILESS_MAIN(tst_Camera)
#include "tst_camera.moc"
