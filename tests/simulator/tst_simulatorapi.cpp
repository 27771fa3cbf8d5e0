// The simulated camera library through its C interface: listing, opening,
// streaming, parameters, error texts, faults, firmware and configuration.
#include "camera/tavo_api.h"
#include "simulator/tavosim_control.h"
#include "tests/simulator/simcamera.h"
#include "tests/testutil/testutil.h"

#include <QElapsedTimer>
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

std::vector<CameraListEntry> listCameras()
{
    int32_t count = 0;
    if (tv_GetNumberOfCameras(&count) != TV_SUCCESS || count < 1)
        return {};
    std::vector<char> buffer(cameraListSize(uint32_t(count)));
    auto *list = reinterpret_cast<CameraList *>(buffer.data());
    list->count = uint32_t(count);
    if (tv_GetCameraList(list) != TV_SUCCESS)
        return {};
    return std::vector<CameraListEntry>(list->entries, list->entries + list->count);
}

} // namespace

class tst_SimulatorApi : public QObject
{
    Q_OBJECT

private slots:
    void builtInFleet();
    void openSequence();
    void linesArePadded();
    void brightBytes();
    void timing();
    void errorTexts();
    void faults();
    void firmwareUpload();
    void configuration();
    void iniFile();
    void colorFrames();
};

void tst_SimulatorApi::builtInFleet()
{
    TestUtil::SimEnvironment environment;
    const auto cameras = listCameras();
    QCOMPARE(int(cameras.size()), 3);
    const char *serials[] = {"4103000101", "4103000102", "4103000103"};
    const char *models[] = {"TV-M1310", "TV-C3100", "TV-C1920"};
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(cameras[size_t(i)].deviceId, uint32_t(i + 1));
        QCOMPARE(cameras[size_t(i)].cameraId, uint32_t(i + 1));
        QCOMPARE(cameras[size_t(i)].serial, serials[i]);
        QCOMPARE(cameras[size_t(i)].model, models[i]);
        QCOMPARE(cameras[size_t(i)].inUse, 0u);
    }

    // Room for one entry: one is filled and the count says so.
    std::vector<char> small(cameraListSize(1) + 112, '\x55');
    auto *list = reinterpret_cast<CameraList *>(small.data());
    list->count = 1;
    QCOMPARE(tv_GetCameraList(list), TV_SUCCESS);
    QCOMPARE(list->count, 1u);
    QCOMPARE(small[cameraListSize(1)], '\x55');

    const int sizes[3][3] = {{1280, 1024, 6}, {2048, 1536, 11}, {1600, 1200, 11}};
    const uint16_t types[3] = {0x0120, 0x0131, 0x0125};
    for (int i = 0; i < 3; ++i) {
        SimCamera camera(uint32_t(i + 1), 8, false);
        QCOMPARE(camera.status, TV_SUCCESS);
        SensorInfo info;
        QCOMPARE(tv_GetSensorInfo(camera.handle, &info), TV_SUCCESS);
        QCOMPARE(info.sensorType, types[i]);
        QCOMPARE(int(info.maxWidth), sizes[i][0]);
        QCOMPARE(int(info.maxHeight), sizes[i][1]);
        QCOMPARE(tv_SetColorMode(camera.handle, TV_FORMAT_QUERY), sizes[i][2]);
        uint32_t caps = 0;
        QCOMPARE(tv_HotPixel(camera.handle, TV_HP_CAPABILITIES, &caps, 4), TV_SUCCESS);
        QCOMPARE(bool(caps & TV_HP_CAP_CAMERA_MEMORY), i < 2);
        QCOMPARE(listCameras()[size_t(i)].inUse, 1u);
    }
    QCOMPARE(listCameras()[0].inUse, 0u);
}

void tst_SimulatorApi::openSequence()
{
    TestUtil::SimEnvironment environment(oneCamera());
    uint32_t word = 4; // by camera id
    QCOMPARE(tv_InitCamera(&word, nullptr), TV_SUCCESS);
    const cameraHandle handle = word;
    QVERIFY(handle != 0);

    CameraInfo info;
    std::memset(&info, 0, sizeof info);
    QCOMPARE(tv_GetCameraInfo(handle, &info), TV_SUCCESS);
    QCOMPARE(info.serial, "S7");

    // Opened once, the camera can't be opened a second time.
    uint32_t again = 7 | TV_OPEN_BY_DEVICE_ID;
    QVERIFY(tv_InitCamera(&again, nullptr) != TV_SUCCESS);
    QCOMPARE(again, 7u | TV_OPEN_BY_DEVICE_ID);

    AoiSize full {0, 0};
    QCOMPARE(tv_AOI(handle, TV_AOI_QUERY_FULL_SIZE, &full, sizeof full), TV_SUCCESS);
    QCOMPARE(full.width, 640);
    QCOMPARE(full.height, 480);
    AoiRect area {0, 0, 640, 480};
    QVERIFY(tv_AOI(handle, TV_AOI_SET_RECT, &area, 12) != TV_SUCCESS);
    QCOMPARE(tv_AOI(handle, TV_AOI_SET_RECT, &area, sizeof area), TV_SUCCESS);
    AoiRect tooBig {8, 0, 640, 480};
    QVERIFY(tv_AOI(handle, TV_AOI_SET_RECT, &tooBig, sizeof tooBig) != TV_SUCCESS);

    // No frame without a sequence.
    QVERIFY(tv_CaptureVideo(handle, TV_CAPTURE_NO_WAIT) != TV_SUCCESS);
    char *memory = nullptr;
    int32_t id = 0;
    QCOMPARE(tv_AllocImageMem(handle, 640, 480, 8, &memory, &id), TV_SUCCESS);
    QVERIFY(memory && id);
    char *untouched = reinterpret_cast<char *>(0x1234);
    int32_t untouchedId = 99;
    QVERIFY(tv_AllocImageMem(handle, 640, 480, 12, &untouched, &untouchedId) != TV_SUCCESS);
    QCOMPARE(untouchedId, 99);
    QCOMPARE(tv_AddToSequence(handle, memory, id), TV_SUCCESS);
    QVERIFY(tv_AddToSequence(handle, memory, id) != TV_SUCCESS);
    char *last = nullptr;
    QVERIFY(tv_GetActSeqBuf(handle, nullptr, nullptr, &last) != TV_SUCCESS); // no frame yet
    QCOMPARE(tv_FreezeVideo(handle, TV_CAPTURE_WAIT), TV_SUCCESS);
    QCOMPARE(tv_GetActSeqBuf(handle, nullptr, nullptr, &last), TV_SUCCESS);
    QCOMPARE(static_cast<void *>(last), static_cast<void *>(memory)); // the buffer, not its text
    QCOMPARE(tv_LockSeqBuf(handle, TV_SEQ_ID_ANY, last), TV_SUCCESS);
    QCOMPARE(tv_UnlockSeqBuf(handle, TV_SEQ_ID_ANY, last), TV_SUCCESS);
    QVERIFY(tv_LockSeqBuf(handle, TV_SEQ_ID_ANY, memory + 1) != TV_SUCCESS);

    QCOMPARE(tv_StopLiveVideo(handle, TV_CAPTURE_WAIT), TV_SUCCESS);
    QCOMPARE(tv_ClearSequence(handle), TV_SUCCESS);
    QCOMPARE(tv_FreeImageMem(handle, memory, id), TV_SUCCESS);
    QVERIFY(tv_FreeImageMem(handle, memory, id) != TV_SUCCESS);
    QCOMPARE(tv_ExitCamera(handle), TV_SUCCESS);

    // A closed handle is no handle; failed calls leave their outputs alone.
    SensorInfo sensor;
    std::memset(&sensor, 0x5A, sizeof sensor);
    QVERIFY(tv_GetSensorInfo(handle, &sensor) != TV_SUCCESS);
    QCOMPARE(sensor.maxWidth, 0x5A5A5A5Au);
    QVERIFY(tv_ExitCamera(handle) != TV_SUCCESS);
    uint32_t unknown = 99 | TV_OPEN_BY_DEVICE_ID;
    QVERIFY(tv_InitCamera(&unknown, nullptr) != TV_SUCCESS);
    QCOMPARE(unknown, 99u | TV_OPEN_BY_DEVICE_ID);
}

void tst_SimulatorApi::linesArePadded()
{
    // 642 bytes a line are padded to 644: the hot pixel at (100, 50) must sit
    // at 50 x 644 + 100 and the frame stay dark elsewhere.
    TestUtil::SimEnvironment environment(
            oneCamera(QStringLiteral(", \"covered\": true"), 642, 100));
    SimCamera camera(7);
    QCOMPARE(camera.status, TV_SUCCESS);
    QCOMPARE(camera.pitch(), 644);
    double actual = 0;
    tv_SetExposureTime(camera.handle, 10.0, &actual);
    const QByteArray frame = camera.grab();
    QCOMPARE(frame.size(), 644 * 100);
    const auto value = [&frame](int x, int y) { return uchar(frame[y * 644 + x]); };
    const int expected
            = qMin(255, TVSIM_BLACK_LEVEL + int(std::lround(tvsim_dark_signal(240, actual, 0))));
    QVERIFY2(qAbs(value(100, 50) - expected) <= 6,
             qPrintable(
                     QString("hot pixel %1, expected about %2").arg(value(100, 50)).arg(expected)));
    QVERIFY(value(99, 50) < 30 && value(101, 50) < 30 && value(100, 49) < 30);
}

void tst_SimulatorApi::brightBytes()
{
    TestUtil::SimEnvironment environment;
    SimCamera camera(1);
    QCOMPARE(camera.status, TV_SUCCESS);
    // The program's built-in settings: halve the clock, 1 frame a second (3
    // here, to be quick: the exposure is the same), exposure 300, gain 50.
    QCOMPARE(tv_SetPixelClock(camera.handle, 21), TV_SUCCESS);
    double actual = 0;
    tv_SetFrameRate(camera.handle, 3.0, &actual);
    tv_SetExposureTime(camera.handle, 300.0, &actual);
    QVERIFY(qAbs(actual - 300.0) < 0.1);
    QCOMPARE(tv_SetHardwareGain(camera.handle, 50, -1, -1, -1), TV_SUCCESS);
    const auto bright = [](const QByteArray &frame) {
        return std::count_if(frame.begin(), frame.end(), [](char c) { return uchar(c) >= 101; });
    };
    QByteArray open = camera.grab();
    QVERIFY(bright(open) > 100000);
    QCOMPARE(tvsim_cover("4103000101", 1), 0);
    camera.grab(); // a frame may have been under way
    const QByteArray dark = camera.grab();
    QVERIFY(!dark.isEmpty());
    QVERIFY2(bright(dark) < 500, qPrintable(QString::number(bright(dark))));
    tvsim_reset();
}

void tst_SimulatorApi::timing()
{
    TestUtil::SimEnvironment environment;
    SimCamera camera(1);
    const cameraHandle h = camera.handle;
    int32_t low = 0, high = 0;
    QCOMPARE(tv_GetPixelClockRange(h, &low, &high), TV_SUCCESS);
    QCOMPARE(tv_SetPixelClock(h, TV_CLOCK_QUERY_DEFAULT), high);
    QCOMPARE(tv_SetPixelClock(h, TV_CLOCK_QUERY_CURRENT), high);
    double minTime = 0, maxTime = 0, interval = 0;
    QCOMPARE(tv_GetFrameTimeRange(h, &minTime, &maxTime, &interval), TV_SUCCESS);
    QVERIFY(1.0 / maxTime > 1.0); // no 1 frame a second at the default clock ...
    QVERIFY(tv_SetPixelClock(h, high + 1) != TV_SUCCESS);
    QCOMPARE(tv_SetPixelClock(h, high / 2), TV_SUCCESS);
    QCOMPARE(tv_SetPixelClock(h, TV_CLOCK_QUERY_CURRENT), high / 2);
    double slowMin = 0, slowMax = 0;
    tv_GetFrameTimeRange(h, &slowMin, &slowMax, &interval);
    QVERIFY(1.0 / slowMax <= 1.0); // ... but at half of it
    QVERIFY(slowMax > maxTime && slowMin > minTime);

    double actual = 0;
    QCOMPARE(tv_SetFrameRate(h, 1000.0, &actual), TV_SUCCESS);
    QVERIFY(qAbs(actual - 1.0 / slowMin) < 0.01);
    tv_SetFrameRate(h, 0.01, &actual);
    QVERIFY(qAbs(actual - 1.0 / slowMax) < 0.01);
    double eMin = 0, eMax = 0, eInc = 0;
    tv_SetFrameRate(h, 2.0, &actual);
    QCOMPARE(tv_GetExposureRange(h, &eMin, &eMax, &eInc), TV_SUCCESS);
    QVERIFY(eMax <= 1000.0 / actual + 1e-9 && eMax > 400.0 && eInc > 0.0);
    tv_SetExposureTime(h, 1e6, &actual);
    QCOMPARE(actual, eMax);
    tv_SetExposureTime(h, 123.4, &actual);
    QVERIFY(qAbs(actual - 123.4) <= eInc);
    double current = 0;
    QCOMPARE(tv_SetExposureTime(h, TV_EXPOSURE_QUERY_CURRENT, &current), TV_SUCCESS);
    QCOMPARE(current, actual);
    QCOMPARE(tv_SetExposureTime(h, TV_EXPOSURE_QUERY_DEFAULT, &current), TV_SUCCESS);
    QVERIFY(current > 0.0 && current <= eMax);
    // A faster rate shortens the exposure in force.
    tv_SetExposureTime(h, 400.0, &actual);
    tv_SetFrameRate(h, 10.0, &actual);
    tv_SetExposureTime(h, TV_EXPOSURE_QUERY_CURRENT, &current);
    QVERIFY(current <= 100.0 + 1e-9);

    QCOMPARE(tv_SetHardwareGain(h, 70, -1, -1, -1), TV_SUCCESS);
    QCOMPARE(tv_SetHardwareGain(h, TV_GAIN_QUERY_MASTER, -1, -1, -1), 70);
    QVERIFY(tv_SetHardwareGain(h, 101, -1, -1, -1) != TV_SUCCESS);
    QCOMPARE(tv_SetHardwareGain(h, TV_GAIN_QUERY_MASTER, -1, -1, -1), 70);

    camera.close();

    // The measured rate follows the rate in force (a small sensor, so that
    // even a slow build renders in time).
    TestUtil::SimEnvironment small(oneCamera(QString(), 128, 64));
    SimCamera tiny(7);
    QCOMPARE(tiny.status, TV_SUCCESS);
    tv_SetFrameRate(tiny.handle, 20.0, &actual);
    QVERIFY(qAbs(actual - 20.0) < 0.1);
    for (int i = 0; i < 12; ++i)
        QVERIFY(!tiny.grab().isEmpty());
    double fps = 0;
    QCOMPARE(tv_GetFramesPerSecond(tiny.handle, &fps), TV_SUCCESS);
    QVERIFY2(fps > 14.0 && fps < 26.0, qPrintable(QString::number(fps)));
}

void tst_SimulatorApi::errorTexts()
{
    TestUtil::SimEnvironment environment;
    for (int32_t code : {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17,
                         18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 50, 51, 184}) {
        char *text = nullptr;
        int32_t status = code;
        QCOMPARE(tv_GetError(0, &status, &text), TV_SUCCESS);
        QVERIFY(text && std::strlen(text) > 5);
    }
    char *text = nullptr;
    int32_t status = TV_STATUS_INI_NOT_OPENED;
    tv_GetError(0, &status, &text);
    QCOMPARE(text, "The ini file can't be opened.");
    char *untouched = nullptr;
    status = 4711;
    QVERIFY(tv_GetError(0, &status, &untouched) != TV_SUCCESS);
    QVERIFY(!untouched);
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
    QCOMPARE(tvsim_inject("tv_GetError", 1, 0), 0);
    for (int i = 0; i < 3; ++i) {
        char *text = nullptr;
        int32_t code = 1;
        QCOMPARE(tv_GetError(0, &code, &text), 1);
    }
    QCOMPARE(tvsim_inject("tv_NoSuchThing", 1, 0), -1);
    tvsim_reset();
    char *text = nullptr;
    int32_t code = 1;
    QCOMPARE(tv_GetError(0, &code, &text), TV_SUCCESS);

    // From the environment, read again by a new SimEnvironment.
    qputenv("TAVO_SIM_FAULTS", "tv_AllocImageMem=1:2,tv_InitCamera=184:1,bogus");
    {
        TestUtil::SimEnvironment faulty;
        qunsetenv("TAVO_SIM_FAULTS");
        uint32_t word = 1 | TV_OPEN_BY_DEVICE_ID;
        QCOMPARE(tv_InitCamera(&word, nullptr), 184);
        SimCamera camera(1, 8, false);
        QCOMPARE(int(camera.memories.size()), 1); // the first two allocations failed
    }
    TestUtil::SimEnvironment clean;
    SimCamera camera(1, 8, false);
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

void tst_SimulatorApi::configuration()
{
    {
        TestUtil::SimEnvironment broken(QStringLiteral("{\"cameras\": [ {\"width\": }"));
        int32_t count = -1;
        QCOMPARE(tv_GetNumberOfCameras(&count), TV_SUCCESS);
        QCOMPARE(count, 0);
        QCOMPARE(tvsim_config_valid(), 0);
    }
    {
        TestUtil::SimEnvironment unknownKey(oneCamera(QStringLiteral(", \"colour\": 1")));
        QCOMPARE(tvsim_config_valid(), 0);
    }
    TestUtil::SimEnvironment odd(
            oneCamera(QStringLiteral(", \"colorMode\": 99"))
                    .replace(QStringLiteral("\"0x0150\""), QStringLiteral("77")));
    QCOMPARE(tvsim_config_valid(), 1);
    SimCamera camera(7, 8, false);
    QCOMPARE(tv_SetColorMode(camera.handle, TV_FORMAT_QUERY), 99);
    SensorInfo info;
    tv_GetSensorInfo(camera.handle, &info);
    QCOMPARE(info.sensorType, uint16_t(0x4D));
}

void tst_SimulatorApi::iniFile()
{
    TestUtil::SimEnvironment environment(oneCamera());
    SimCamera camera(7, 8, false);
    const QString path = environment.root() + QStringLiteral("/Speckmend.ini");
    QCOMPARE(tv_LoadParameters(camera.handle, qPrintable(path)), TV_STATUS_INI_NOT_OPENED);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
            "# settings\n[Timing]\nPixelClock=50\nFrameRate=5\nExposure=100\n[Gain]\nMaster=30\n");
    file.close();
    QCOMPARE(tv_LoadParameters(camera.handle, qPrintable(path)), TV_SUCCESS);
    QCOMPARE(tv_SetPixelClock(camera.handle, TV_CLOCK_QUERY_CURRENT), 50);
    QCOMPARE(tv_SetHardwareGain(camera.handle, TV_GAIN_QUERY_MASTER, -1, -1, -1), 30);
    double exposure = 0;
    tv_SetExposureTime(camera.handle, TV_EXPOSURE_QUERY_CURRENT, &exposure);
    QVERIFY(qAbs(exposure - 100.0) < 0.1);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[Timing]\nPixelClock=fast\n");
    file.close();
    QCOMPARE(tv_LoadParameters(camera.handle, qPrintable(path)), 51);
    QCOMPARE(tv_SetPixelClock(camera.handle, TV_CLOCK_QUERY_CURRENT), 50);
}

void tst_SimulatorApi::colorFrames()
{
    TestUtil::SimEnvironment environment(oneCamera());
    SimCamera camera(7, 32);
    QCOMPARE(tv_SetColorMode(camera.handle, TV_FORMAT_QUERY), TV_FORMAT_32BIT);
    camera.grab();
    char *last = nullptr;
    QCOMPARE(tv_GetActSeqBuf(camera.handle, nullptr, nullptr, &last), TV_SUCCESS);
    const auto *pixel = reinterpret_cast<const uchar *>(last) + (200 * 640 + 300) * 4;
    QCOMPARE(pixel[0], pixel[1]);
    QCOMPARE(pixel[1], pixel[2]);
    QCOMPARE(pixel[3], uchar(255));
}

QTEST_GUILESS_MAIN(tst_SimulatorApi)
#include "tst_simulatorapi.moc"
