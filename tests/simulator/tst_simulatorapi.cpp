// The simulated camera library through its C interface: listing, opening,
// streaming, parameters, error texts, faults, firmware and configuration.
#include "simulator/tavosim_control.h"
#include "tests/simulator/simcamera.h"
#include "tests/testutil/testutil.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QtTest>

#include <cstring>

namespace {

QString oneCamera(const QString &extra = QString(), int width = 640, int height = 480)
{
    return QStringLiteral(R"({"cameras": [{"deviceId": 7, "cameraId": 4, "serial": "S7",
        "model": "TV-X", "sensorType": "0x0150", "width": %1, "height": %2, "color": "mono",
        "pixelClock": {"min": 10, "max": 400, "default": 200},
        "defects": [[100, 50, 240]] %3}]})")
            .arg(width)
            .arg(height)
            .arg(extra);
}

} // namespace

class tst_SimulatorApi : public QObject
{
    Q_OBJECT

private slots:
    void builtInFleet();
    void openSequence();
    void frameContent();
    void timing();
    void faults();
    void firmwareUpload();
    void configurationLimits_data();
    void configurationLimits();
    void iniFile();
};

void tst_SimulatorApi::builtInFleet()
{
    TestUtil::SimEnvironment environment;
    QStringList seen; // id, serial, model, sensor, size, colour mode, list in memory, in use
    for (const CameraListEntry &entry : listCameras()) {
        SimCamera camera(entry.deviceId, false);
        SensorInfo info;
        uint32_t caps = 0;
        tv_GetSensorInfo(camera.handle, &info);
        tv_HotPixel(camera.handle, TV_HP_CAPABILITIES, &caps, 4);
        seen << QStringLiteral("%1 %2 %3 %4 %5x%6 %7 %8 %9")
                        .arg(entry.deviceId)
                        .arg(entry.serial, entry.model)
                        .arg(info.sensorType, 0, 16)
                        .arg(camera.width)
                        .arg(camera.height)
                        .arg(tv_SetColorMode(camera.handle, TV_FORMAT_QUERY))
                        .arg(caps & TV_HP_CAP_CAMERA_MEMORY)
                        .arg(listCameras()[entry.deviceId - 1].inUse);
    }
    QCOMPARE(seen,
             (QStringList {"1 4103000101 TV-M1310 120 1280x1024 6 2 1",
                           "2 4103000102 TV-C3100 131 2048x1536 11 2 1",
                           "3 4103000103 TV-C1920 125 1600x1200 11 0 1"}));
    QCOMPARE(listCameras()[0].inUse, 0u);

    // Room for one entry: one is filled, the count says so, nothing beyond.
    std::vector<char> small(cameraListSize(1) + 112, '\x55');
    auto *list = reinterpret_cast<CameraList *>(small.data());
    list->count = 1;
    QCOMPARE(tv_GetCameraList(list), TV_SUCCESS);
    QCOMPARE(list->count, 1u);
    QCOMPARE(small[cameraListSize(1)], '\x55');
}

void tst_SimulatorApi::openSequence()
{
    // A colour mode of the configuration's own; the sensor type in decimal.
    TestUtil::SimEnvironment environment(
            oneCamera(QStringLiteral(", \"colorMode\": 99"))
                    .replace(QStringLiteral("\"0x0150\""), QStringLiteral("77")));
    uint32_t word = 4; // by camera id
    QCOMPARE(tv_InitCamera(&word, nullptr), TV_SUCCESS);
    const cameraHandle handle = word;
    const auto closeOnFailure = qScopeGuard([handle] { tv_ExitCamera(handle); });
    QCOMPARE(tv_SetColorMode(handle, TV_FORMAT_QUERY), 99);
    SensorInfo sensor;
    QCOMPARE(tv_GetSensorInfo(handle, &sensor), TV_SUCCESS);
    QCOMPARE(sensor.sensorType, uint16_t(0x4D));
    CameraInfo info;
    std::memset(&info, 0, sizeof info);
    QCOMPARE(tv_GetCameraInfo(handle, &info), TV_SUCCESS);
    QCOMPARE(info.serial, "S7");
    uint32_t again = 7 | TV_OPEN_BY_DEVICE_ID;
    QVERIFY(tv_InitCamera(&again, nullptr) != TV_SUCCESS);
    QCOMPARE(again, 7u | TV_OPEN_BY_DEVICE_ID);

    AoiSize full {0, 0};
    QCOMPARE(tv_AOI(handle, TV_AOI_QUERY_FULL_SIZE, &full, sizeof full), TV_SUCCESS);
    QCOMPARE(full.width, 640);
    QCOMPARE(full.height, 480);
    AoiRect area {8, 0, 640, 480};
    QVERIFY(tv_AOI(handle, TV_AOI_SET_RECT, &area, sizeof area) != TV_SUCCESS); // too big
    area.x = 0;
    QCOMPARE(tv_AOI(handle, TV_AOI_SET_RECT, &area, sizeof area), TV_SUCCESS);

    QVERIFY(tv_CaptureVideo(handle, TV_CAPTURE_NO_WAIT) != TV_SUCCESS); // no sequence
    char *memory = nullptr;
    int32_t id = 0;
    QCOMPARE(tv_AllocImageMem(handle, 640, 480, 8, &memory, &id), TV_SUCCESS);
    int32_t untouchedId = 99;
    QVERIFY(tv_AllocImageMem(handle, 640, 480, 12, &memory, &untouchedId) != TV_SUCCESS);
    QCOMPARE(untouchedId, 99);
    QCOMPARE(tv_AddToSequence(handle, memory, id), TV_SUCCESS);
    char *last = nullptr;
    QVERIFY(tv_GetActSeqBuf(handle, nullptr, nullptr, &last) != TV_SUCCESS); // no frame yet
    QCOMPARE(tv_FreezeVideo(handle, TV_CAPTURE_WAIT), TV_SUCCESS);
    QCOMPARE(tv_GetActSeqBuf(handle, nullptr, nullptr, &last), TV_SUCCESS);
    QCOMPARE(static_cast<void *>(last), static_cast<void *>(memory));
    QVERIFY(tv_LockSeqBuf(handle, TV_SEQ_ID_ANY, memory + 1) != TV_SUCCESS);

    QCOMPARE(tv_StopLiveVideo(handle, TV_CAPTURE_WAIT), TV_SUCCESS);
    QCOMPARE(tv_ClearSequence(handle), TV_SUCCESS);
    QCOMPARE(tv_FreeImageMem(handle, memory, id), TV_SUCCESS);
    QCOMPARE(tv_ExitCamera(handle), TV_SUCCESS);

    // A closed handle is no handle; failed calls leave their outputs alone.
    std::memset(&sensor, 0x5A, sizeof sensor);
    QVERIFY(tv_GetSensorInfo(handle, &sensor) != TV_SUCCESS);
    QCOMPARE(sensor.maxWidth, 0x5A5A5A5Au);
    QVERIFY(tv_ExitCamera(handle) != TV_SUCCESS);
}

// Lines padded to 644 bytes; the hot pixel shows its dark signal alone. The
// lens's effect on whole frames is the detection's and the command line's to show.
void tst_SimulatorApi::frameContent()
{
    TestUtil::SimEnvironment environment(
            oneCamera(QStringLiteral(", \"covered\": true"), 642, 100));
    SimCamera camera(7);
    QCOMPARE(camera.pitch(), 644);
    double actual = 0;
    tv_SetFrameRate(camera.handle, 5.0, &actual);
    tv_SetExposureTime(camera.handle, 150.0, &actual);
    const QByteArray frame = camera.grab();
    QCOMPARE(frame.size(), 644 * 100);
    const auto value = [&frame](int x, int y) { return uchar(frame[y * 644 + x]); };
    const int expected
            = qMin(255, TVSIM_BLACK_LEVEL + int(std::lround(tvsim_dark_signal(240, actual, 0))));
    QVERIFY(expected > 60);
    QVERIFY2(qAbs(value(100, 50) - expected) <= 6, qPrintable(QString::number(value(100, 50))));
    QVERIFY(value(99, 50) < 30 && value(101, 50) < 30 && value(100, 49) < 30);
}

void tst_SimulatorApi::timing()
{
    TestUtil::SimEnvironment environment;
    SimCamera camera(1);
    const cameraHandle h = camera.handle;
    // Which clocks reach 1 frame a second the automatic configuration's tests show.
    QCOMPARE(tv_SetPixelClock(h, 21), TV_SUCCESS);
    double slowMin = 0, slowMax = 0, interval = 0;
    QCOMPARE(tv_GetFrameTimeRange(h, &slowMin, &slowMax, &interval), TV_SUCCESS);
    double actual = 0;
    QCOMPARE(tv_SetFrameRate(h, 1000.0, &actual), TV_SUCCESS);
    QVERIFY(qAbs(actual - 1.0 / slowMin) < 0.01);
    double eMin = 0, eMax = 0, eInc = 0;
    tv_SetFrameRate(h, 2.0, &actual);
    QCOMPARE(tv_GetExposureRange(h, &eMin, &eMax, &eInc), TV_SUCCESS);
    QVERIFY(eMax <= 1000.0 / actual + 1e-9 && eMax > 400.0 && eInc > 0.0);
    // A faster rate shortens the exposure in force.
    tv_SetExposureTime(h, 400.0, &actual);
    tv_SetFrameRate(h, 10.0, &actual);
    double current = 0;
    QCOMPARE(tv_SetExposureTime(h, TV_EXPOSURE_QUERY_CURRENT, &current), TV_SUCCESS);
    QVERIFY(current <= 100.0 + 1e-9 && current > 0.0);

    QCOMPARE(tv_SetHardwareGain(h, 70, -1, -1, -1), TV_SUCCESS);
    QVERIFY(tv_SetHardwareGain(h, 101, -1, -1, -1) != TV_SUCCESS);
    QCOMPARE(tv_SetHardwareGain(h, TV_GAIN_QUERY_MASTER, -1, -1, -1), 70);
    camera.close();

    // The measured rate follows the rate in force (small, for slow builds).
    TestUtil::SimEnvironment small(oneCamera(QString(), 128, 64));
    SimCamera tiny(7);
    tv_SetFrameRate(tiny.handle, 20.0, &actual);
    QVERIFY(qAbs(actual - 20.0) < 0.1);
    for (int i = 0; i < 12; ++i)
        QVERIFY(!tiny.grab().isEmpty());
    double fps = 0;
    QCOMPARE(tv_GetFramesPerSecond(tiny.handle, &fps), TV_SUCCESS);
    QVERIFY2(fps > 14.0 && fps < 26.0, qPrintable(QString::number(fps)));
}

void tst_SimulatorApi::faults()
{
    TestUtil::SimEnvironment environment;
    int32_t count = 0;
    QCOMPARE(tvsim_inject("tv_GetNumberOfCameras", 9, 2), 0);
    QCOMPARE(tv_GetNumberOfCameras(&count), 9);
    QCOMPARE(tv_GetNumberOfCameras(&count), 9);
    QCOMPARE(count, 0); // untouched
    QCOMPARE(tv_GetNumberOfCameras(&count), TV_SUCCESS);
    QCOMPARE(count, 3);
    QCOMPARE(tvsim_inject("tv_GetError", 1, 0), 0); // for good
    char *text = nullptr;
    int32_t code = 1;
    QCOMPARE(tv_GetError(0, &code, &text), 1);
    QCOMPARE(tv_GetError(0, &code, &text), 1);
    QCOMPARE(tvsim_inject("tv_NoSuchThing", 1, 0), -1);
    tvsim_reset();
    QCOMPARE(tv_GetError(0, &code, &text), TV_SUCCESS);
    QVERIFY(text && std::strlen(text) > 5);
    // A status the library never gives has no text; the output stays alone.
    text = nullptr;
    code = 4711;
    QVERIFY(tv_GetError(0, &code, &text) != TV_SUCCESS);
    QVERIFY(!text);

    // From the environment, read again by a new SimEnvironment.
    qputenv("TAVO_SIM_FAULTS", "tv_AllocImageMem=1:2,tv_InitCamera=184:1,bogus");
    {
        TestUtil::SimEnvironment faulty;
        qunsetenv("TAVO_SIM_FAULTS");
        uint32_t word = 1 | TV_OPEN_BY_DEVICE_ID;
        QCOMPARE(tv_InitCamera(&word, nullptr), 184);
        SimCamera camera(1, false);
        QCOMPARE(int(camera.memories.size()), 1); // the first two allocations failed
    }
    TestUtil::SimEnvironment clean;
    SimCamera camera(1, false);
    QCOMPARE(int(camera.memories.size()), 3);
}

void tst_SimulatorApi::firmwareUpload()
{
    TestUtil::SimEnvironment environment(oneCamera(QStringLiteral(", \"firmwareUploadMs\": 400")));
    uint32_t word = 7 | TV_OPEN_BY_DEVICE_ID;
    QCOMPARE(tv_InitCamera(&word, nullptr), TV_STATUS_FW_UPLOAD_NEEDED);
    QCOMPARE(word, 7u | TV_OPEN_BY_DEVICE_ID);
    int32_t ms = 25000;
    QCOMPARE(tv_GetDuration(word, TV_DURATION_FW_UPLOAD, &ms), TV_SUCCESS);
    QCOMPARE(ms, 400);
    word |= TV_OPEN_ALLOW_FW_UPLOAD;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(tv_InitCamera(&word, nullptr), TV_SUCCESS);
    QVERIFY(timer.elapsed() >= 390);
    tv_ExitCamera(word);
    // For good: also after the library has read its state again.
    QVERIFY(environment.reload());
    uint32_t plain = 7 | TV_OPEN_BY_DEVICE_ID;
    QCOMPARE(tv_InitCamera(&plain, nullptr), TV_SUCCESS);
    tv_ExitCamera(plain);
}

void tst_SimulatorApi::configurationLimits_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<QString>("error"); // empty: the configuration is good
    QTest::addColumn<int>("defects");

    const QString s64 = QStringLiteral(R"("serial": "S", "width": 64, "height": 64, )");
    const auto row
            = [&](const char *name, const QString &camera, const char *error, int defects = 0) {
                  QTest::newRow(name) << camera << QString::fromUtf8(error) << defects;
              };
    row("not JSON", R"("width": })", "can't read the camera configuration");
    // A count beyond any sensor once overflowed and hung every process.
    row("plant INT_MAX", s64 + R"("plantDefects": {"count": 2147483647})",
        "\"count\" must be a whole number from 0 to 16");
    row("plant as many as fit", s64 + R"("plantDefects": {"count": 16})", "", 16);
    row("plant most",
        R"("serial": "S", "width": 8192, "height": 8192, "plantDefects": {"count": 65535})", "",
        65535);
    row("plant fraction", s64 + R"("plantDefects": {"count": 2.5})", "\"count\" must be a whole");
    row("plant strength", s64 + R"("plantDefects": {"strengths": [5000]})", "\"strengths\"");
    row("plant key", s64 + R"("plantDefects": {"cout": 3})", "unknown key \"cout\"");
    row("plant array", s64 + R"("plantDefects": [3])", "plantDefects: not an object");
    row("width huge", R"("serial": "S", "width": 1e300, "height": 64)", "\"width\" must be");
    row("height missing", R"("serial": "S", "width": 64)", "\"height\" are required");
    row("device id", s64 + R"("deviceId": 32768)", "\"deviceId\" must be a whole number from 1");
    row("sensor type", s64 + R"("sensorType": "0x10000")", "\"sensorType\" must be");
    row("clock default", s64 + R"("pixelClock": {"min": 5, "max": 9, "default": 10})",
        "\"default\" must be a whole number from 5 to 9");
    row("capacity", s64 + R"("userCapacity": 65536)", "\"userCapacity\" must be");
    row("memory flag", s64 + R"("cameraMemory": "yes")", "\"cameraMemory\" must be true or false");
    row("defect outside", s64 + R"("factoryList": [[64, 0]])",
        "\"x\" must be a whole number from 0 to 63");
    row("serial path", R"("serial": "../S", "width": 64, "height": 64)", "\"serial\" must not");
}

// Every number of the configuration has its limits; one outside is a clear
// error on standard error and no camera is listed.
void tst_SimulatorApi::configurationLimits()
{
    QFETCH(QString, camera);
    QFETCH(QString, error);
    QFETCH(int, defects);
    TestUtil::SimEnvironment environment("{\"cameras\": [{" + camera + "}]}");
    const TestUtil::SimToolResult result = TestUtil::runSimTool({"list"});
    QCOMPARE(tvsim_config_valid(), error.isEmpty() ? 1 : 0);
    QCOMPARE(result.exitCode, error.isEmpty() ? 0 : 1);
    if (!error.isEmpty()) {
        QVERIFY2(result.errors.contains("can't read the camera configuration"),
                 qPrintable(result.errors));
        QVERIFY2(result.errors.contains(error), qPrintable(result.errors));
    }
    QCOMPARE(tvsim_defects("S", nullptr, 0), error.isEmpty() ? defects : -1);
    int32_t count = -1;
    QCOMPARE(tv_GetNumberOfCameras(&count), TV_SUCCESS);
    QCOMPARE(count, error.isEmpty() ? 1 : 0);
}

void tst_SimulatorApi::iniFile()
{
    TestUtil::SimEnvironment environment(oneCamera());
    SimCamera camera(7, false);
    const QString path = environment.root() + QStringLiteral("/Speckmend.ini");
    QCOMPARE(tv_LoadParameters(camera.handle, qPrintable(path)), TV_STATUS_INI_NOT_OPENED);
    const auto load = [&](const QByteArray &text) {
        QFile file(path);
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        file.write(text);
        file.close();
        return tv_LoadParameters(camera.handle, qPrintable(path));
    };
    QCOMPARE(load("# settings\n[Timing]\nPixelClock=50\nFrameRate=5\nExposure=100\n"
                  "[Gain]\nMaster=30\n"),
             TV_SUCCESS);
    QCOMPARE(tv_SetPixelClock(camera.handle, TV_CLOCK_QUERY_CURRENT), 50);
    QCOMPARE(tv_SetHardwareGain(camera.handle, TV_GAIN_QUERY_MASTER, -1, -1, -1), 30);
    double exposure = 0;
    tv_SetExposureTime(camera.handle, TV_EXPOSURE_QUERY_CURRENT, &exposure);
    QVERIFY(qAbs(exposure - 100.0) < 0.1);
    QCOMPARE(load("[Timing]\nPixelClock=fast\n"), 51);
}

QTEST_GUILESS_MAIN(tst_SimulatorApi)
#include "tst_simulatorapi.moc"
