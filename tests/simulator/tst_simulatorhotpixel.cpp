// Hot pixel lists of the simulated camera library: factory, user and soft
// lists, persistence, the soft list file, correction and the dark-frame model.
#include "camera/tavo_api.h"
#include "simulator/tavosim_control.h"
#include "tests/simulator/simcamera.h"
#include "tests/testutil/testutil.h"

#include <QFile>
#include <QtTest>

#include <cstring>

namespace {

const QString kSmallFleet = QStringLiteral(
        R"({"cameras": [{"deviceId": 1, "serial": "HP1", "width": 64, "height": 48,
            "userCapacity": 10, "factoryDefects": [[10, 10, 200], [20, 20, 30]],
            "defects": [[30, 30, 100]], "covered": true},
           {"deviceId": 2, "serial": "HP2", "width": 64, "height": 48, "color": "bayer",
            "cameraMemory": false}]})");

std::vector<uint16_t> words(std::initializer_list<std::pair<int, int>> pairs)
{
    std::vector<uint16_t> result = {uint16_t(pairs.size())};
    for (const auto &pair : pairs) {
        result.push_back(uint16_t(pair.first));
        result.push_back(uint16_t(pair.second));
    }
    return result;
}

std::vector<uint16_t> readList(cameraHandle handle, uint32_t countCommand, uint32_t readCommand)
{
    uint32_t count = 0;
    if (tv_HotPixel(handle, countCommand, &count, 4) != TV_SUCCESS)
        return {};
    std::vector<uint16_t> list(2 * count + 1, 0xEEEE);
    if (tv_HotPixel(handle, readCommand, list.data(), uint32_t(2 * list.size())) != TV_SUCCESS)
        return {};
    return list;
}

int32_t writeList(cameraHandle handle, uint32_t command, std::vector<uint16_t> list)
{
    return tv_HotPixel(handle, command, list.data(), uint32_t(2 * list.size()));
}

std::vector<uint32_t> ucs4(const QString &name)
{
    const QVector<uint> points = name.toUcs4();
    std::vector<uint32_t> result(points.begin(), points.end());
    result.push_back(0);
    return result;
}

int32_t fileCommand(cameraHandle handle, uint32_t command, const QString &name)
{
    std::vector<uint32_t> path = ucs4(name);
    return tv_HotPixel(handle, command, path.data(), 0);
}

} // namespace

class tst_SimulatorHotpixel : public QObject
{
    Q_OBJECT

private slots:
    void cameraLists();
    void persistence();
    void softListFile();
    void softListFileFaults_data();
    void softListFileFaults();
    void correction();
    void darkFrameModel_data();
    void darkFrameModel();
};

void tst_SimulatorHotpixel::cameraLists()
{
    TestUtil::SimEnvironment environment(kSmallFleet);
    SimCamera camera(1, 8, false);
    const cameraHandle h = camera.handle;
    QCOMPARE(readList(h, TV_HP_FACTORY_LIST_COUNT, TV_HP_FACTORY_LIST_READ),
             words({{10, 10}, {20, 20}}));
    uint32_t capacity = 0;
    QCOMPARE(tv_HotPixel(h, TV_HP_USER_LIST_CAPACITY, &capacity, 4), TV_SUCCESS);
    QCOMPARE(capacity, 10u);
    uint32_t count = 77;
    QCOMPARE(tv_HotPixel(h, TV_HP_USER_LIST_COUNT, &count, 4), TV_SUCCESS);
    QCOMPARE(count, 0u);
    QVERIFY(tv_HotPixel(h, TV_HP_USER_LIST_COUNT, &count, 2) != TV_SUCCESS);

    QCOMPARE(writeList(h, TV_HP_USER_LIST_WRITE, words({{1, 2}, {3, 4}, {63, 47}})), TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_READ),
             words({{1, 2}, {3, 4}, {63, 47}}));
    // Refused: over capacity, outside the sensor, a count that doesn't match the size.
    std::vector<uint16_t> eleven = {11};
    for (int i = 0; i < 11; ++i)
        eleven.insert(eleven.end(), {uint16_t(i), uint16_t(i)});
    QVERIFY(writeList(h, TV_HP_USER_LIST_WRITE, eleven) != TV_SUCCESS);
    QVERIFY(writeList(h, TV_HP_USER_LIST_WRITE, words({{64, 0}})) != TV_SUCCESS);
    QVERIFY(writeList(h, TV_HP_USER_LIST_WRITE, {2, 1, 1}) != TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_READ),
             words({{1, 2}, {3, 4}, {63, 47}}));
    // A read into too small a buffer fails and leaves it alone.
    std::vector<uint16_t> small(3, 0xEEEE);
    QVERIFY(tv_HotPixel(h, TV_HP_USER_LIST_READ, small.data(), 6) != TV_SUCCESS);
    QCOMPARE(small, std::vector<uint16_t>(3, 0xEEEE));
    QCOMPARE(tv_HotPixel(h, TV_HP_USER_LIST_ERASE, nullptr, 0), TV_SUCCESS);
    QCOMPARE(tv_HotPixel(h, TV_HP_USER_LIST_COUNT, &count, 4), TV_SUCCESS);
    QCOMPARE(count, 0u);

    // The soft list: none at first, then one, and an empty write removes it.
    QVERIFY(tv_HotPixel(h, TV_HP_SOFT_LIST_EXISTS, nullptr, 0) != TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_SOFT_LIST_COUNT, TV_HP_SOFT_LIST_READ), words({}));
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({{5, 6}})), TV_SUCCESS);
    QCOMPARE(tv_HotPixel(h, TV_HP_SOFT_LIST_EXISTS, nullptr, 0), TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_SOFT_LIST_COUNT, TV_HP_SOFT_LIST_READ), words({{5, 6}}));
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({})), TV_SUCCESS);
    QVERIFY(tv_HotPixel(h, TV_HP_SOFT_LIST_EXISTS, nullptr, 0) != TV_SUCCESS);
    QVERIFY(tv_HotPixel(h, 0x8999, nullptr, 0) != TV_SUCCESS);

    // Software correction only: no user list, but a factory and soft list.
    SimCamera soft(2, 8, false);
    uint32_t caps = 0;
    QCOMPARE(tv_HotPixel(soft.handle, TV_HP_CAPABILITIES, &caps, 4), TV_SUCCESS);
    QCOMPARE(caps & TV_HP_CAP_CAMERA_MEMORY, 0u);
    QVERIFY(tv_HotPixel(soft.handle, TV_HP_USER_LIST_CAPACITY, &capacity, 4) != TV_SUCCESS);
    QVERIFY(writeList(soft.handle, TV_HP_USER_LIST_WRITE, words({{1, 1}})) != TV_SUCCESS);
    QCOMPARE(writeList(soft.handle, TV_HP_SOFT_LIST_WRITE, words({{1, 1}})), TV_SUCCESS);
}

void tst_SimulatorHotpixel::persistence()
{
    TestUtil::SimEnvironment environment(kSmallFleet);
    {
        SimCamera camera(1, 8, false);
        QCOMPARE(writeList(camera.handle, TV_HP_USER_LIST_WRITE, words({{7, 8}, {9, 10}})),
                 TV_SUCCESS);
    }
    // As after a restart: the library forgets everything but its files.
    QVERIFY(environment.reload());
    {
        SimCamera camera(1, 8, false);
        QCOMPARE(readList(camera.handle, TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_READ),
                 words({{7, 8}, {9, 10}}));
    }
    QStringList leftovers = QDir(environment.stateDir()).entryList(QDir::Files);
    QCOMPARE(leftovers, QStringList {QStringLiteral("HP1.state")});

    // A torn or corrupt state file reads as an empty list, never a crash.
    QFile file(environment.stateDir() + QStringLiteral("/HP1.state"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    file.resize(file.size() - 3);
    file.close();
    SimCamera camera(1, 8, false);
    QCOMPARE(camera.status, TV_SUCCESS);
    uint32_t count = 5;
    QCOMPARE(tv_HotPixel(camera.handle, TV_HP_USER_LIST_COUNT, &count, 4), TV_SUCCESS);
    QCOMPARE(count, 0u);
}

void tst_SimulatorHotpixel::softListFile()
{
    TestUtil::SimEnvironment environment(kSmallFleet);
    SimCamera camera(1, 8, false);
    const cameraHandle h = camera.handle;
    // A name with characters outside the basic plane, one 32-bit word each.
    const QString name = environment.root() + QStringLiteral("/liste-\U0001F600-\u00E9.bin");
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({{1, 2}, {63, 47}, {0, 0}})), TV_SUCCESS);
    QCOMPARE(fileCommand(h, TV_HP_SOFT_LIST_SAVE, name), TV_SUCCESS);
    QVERIFY(QFile::exists(name));
    QCOMPARE(QFileInfo(name).size(), 16 + 3 * 4);
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({{9, 9}})), TV_SUCCESS);
    QCOMPARE(fileCommand(h, TV_HP_SOFT_LIST_LOAD, name), TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_SOFT_LIST_COUNT, TV_HP_SOFT_LIST_READ),
             words({{1, 2}, {63, 47}, {0, 0}}));

    // With no soft list an empty file is saved, and loads as no list.
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({})), TV_SUCCESS);
    const QString empty = environment.root() + QStringLiteral("/empty.bin");
    QCOMPARE(fileCommand(h, TV_HP_SOFT_LIST_SAVE, empty), TV_SUCCESS);
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({{4, 4}})), TV_SUCCESS);
    QCOMPARE(fileCommand(h, TV_HP_SOFT_LIST_LOAD, empty), TV_SUCCESS);
    QVERIFY(tv_HotPixel(h, TV_HP_SOFT_LIST_EXISTS, nullptr, 0) != TV_SUCCESS);

    // A file that can't be written is a failure status.
    QVERIFY(fileCommand(h, TV_HP_SOFT_LIST_SAVE, environment.root() + "/no/such/dir/x.bin")
            != TV_SUCCESS);
    std::vector<uint32_t> path = ucs4(name);
    QVERIFY(tv_HotPixel(h, TV_HP_SOFT_LIST_LOAD, path.data(), 4) != TV_SUCCESS);
}

void tst_SimulatorHotpixel::softListFileFaults_data()
{
    QTest::addColumn<QString>("damage");
    QTest::newRow("missing") << "missing";
    QTest::newRow("empty") << "empty";
    QTest::newRow("truncated header") << "cut:10";
    QTest::newRow("truncated pairs") << "cut:20";
    QTest::newRow("no checksum") << "cut:24";
    QTest::newRow("bad magic") << "byte:0";
    QTest::newRow("version") << "byte:4";
    QTest::newRow("pair flipped") << "byte:13";
    QTest::newRow("checksum flipped") << "byte:25";
    QTest::newRow("appended bytes") << "append";
    QTest::newRow("oversized count") << "count";
    QTest::newRow("outside the sensor") << "outside";
}

void tst_SimulatorHotpixel::softListFileFaults()
{
    QFETCH(QString, damage);
    TestUtil::SimEnvironment environment(kSmallFleet);
    SimCamera camera(1, 8, false);
    const cameraHandle h = camera.handle;
    const QString name = environment.root() + QStringLiteral("/list.bin");
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({{1, 2}, {3, 4}, {5, 6}})), TV_SUCCESS);
    QCOMPARE(fileCommand(h, TV_HP_SOFT_LIST_SAVE, name), TV_SUCCESS);
    QFile file(name);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray bytes = file.readAll();
    file.close();
    QCOMPARE(bytes.size(), 28);
    const QStringList parts = damage.split(':');
    if (parts[0] == "cut")
        bytes.truncate(parts[1].toInt());
    else if (parts[0] == "byte")
        bytes[parts[1].toInt()] = char(bytes[parts[1].toInt()] ^ 0x40);
    else if (damage == "append")
        bytes.append("xx");
    else if (damage == "empty")
        bytes.clear();
    else if (damage == "count")
        bytes[10] = 0x7F; // a count of millions
    if (damage == "outside") {
        // A well-formed file whose pixel (200, 1) lies outside this sensor.
        bytes = QByteArray("TVHP\x01\x00\x00\x00\x01\x00\x00\x00\xC8\x00\x01\x00", 16);
        quint32 crc = 0xFFFFFFFFu;
        for (char c : bytes) {
            crc ^= uchar(c);
            for (int k = 0; k < 8; ++k)
                crc = (crc & 1) ? 0xEDB88320u ^ (crc >> 1) : crc >> 1;
        }
        crc = ~crc;
        for (int i = 0; i < 4; ++i)
            bytes.append(char((crc >> (8 * i)) & 0xFF));
    }
    QFile::remove(name);
    if (damage != "missing") {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
    }
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({{7, 7}})), TV_SUCCESS);
    const int32_t status = fileCommand(h, TV_HP_SOFT_LIST_LOAD, name);
    QVERIFY(status != TV_SUCCESS);
    char *text = nullptr;
    int32_t code = status;
    QCOMPARE(tv_GetError(h, &code, &text), TV_SUCCESS);
    QVERIFY(text && *text);
    QCOMPARE(readList(h, TV_HP_SOFT_LIST_COUNT, TV_HP_SOFT_LIST_READ), words({{7, 7}}));
}

void tst_SimulatorHotpixel::correction()
{
    TestUtil::SimEnvironment environment(kSmallFleet);
    SimCamera camera(1);
    double exposure = 0;
    tv_SetFrameRate(camera.handle, 3.0, &exposure);
    tv_SetExposureTime(camera.handle, 300.0, &exposure);
    tv_SetHardwareGain(camera.handle, 50, -1, -1, -1);
    const auto at = [&camera](const QByteArray &frame, int x, int y) {
        return int(uchar(frame[y * camera.pitch() + x]));
    };
    camera.grab();
    QByteArray frame = camera.grab();
    QVERIFY(at(frame, 10, 10) > 150 && at(frame, 30, 30) > 80);
    // Factory pixels vanish with correction on; the soft list's too.
    QCOMPARE(writeList(camera.handle, TV_HP_SOFT_LIST_WRITE, words({{30, 30}})), TV_SUCCESS);
    QCOMPARE(tv_HotPixel(camera.handle, TV_HP_CORRECTION_ON, nullptr, 0), TV_SUCCESS);
    camera.grab();
    frame = camera.grab();
    QVERIFY(at(frame, 10, 10) < 30 && at(frame, 30, 30) < 30 && at(frame, 20, 20) < 30);
    QCOMPARE(tv_HotPixel(camera.handle, TV_HP_CORRECTION_OFF, nullptr, 0), TV_SUCCESS);
    camera.grab();
    frame = camera.grab();
    QVERIFY(at(frame, 10, 10) > 150);
}

void tst_SimulatorHotpixel::darkFrameModel_data()
{
    QTest::addColumn<uint>("deviceId");
    QTest::addColumn<QString>("serial");
    QTest::newRow("monochrome") << 1u << "4103000101";
    QTest::newRow("bayer") << 2u << "4103000102";
}

void tst_SimulatorHotpixel::darkFrameModel()
{
    QFETCH(uint, deviceId);
    QFETCH(QString, serial);
    TestUtil::SimEnvironment environment;
    QCOMPARE(tvsim_cover(qPrintable(serial), 1), 0);
    SimCamera camera(deviceId);
    // The program's built-in settings, at 3 frames a second to be quick.
    int32_t low = 0, high = 0;
    tv_GetPixelClockRange(camera.handle, &low, &high);
    tv_SetPixelClock(camera.handle, high / 4);
    double exposure = 0;
    tv_SetFrameRate(camera.handle, 3.0, &exposure);
    tv_SetExposureTime(camera.handle, 300.0, &exposure);
    tv_SetHardwareGain(camera.handle, 50, -1, -1, -1);
    camera.grab();
    const int w = camera.width, h = camera.height, pitch = camera.pitch();
    std::vector<unsigned> sum(size_t(w) * size_t(h), 0);
    for (int frame = 0; frame < 10; ++frame) {
        const QByteArray bytes = camera.grab();
        QCOMPARE(bytes.size(), pitch * h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                sum[size_t(y) * size_t(w) + size_t(x)] += uchar(bytes[y * pitch + x]);
    }
    // The detection of the program: truncated means, per plane or Bayer phase.
    const bool bayer = deviceId != 1;
    const int phases = bayer ? 4 : 1;
    std::vector<unsigned long long> planeSum(4, 0), planeCount(4, 0);
    const auto phase = [bayer](int x, int y) { return bayer ? (y & 1) * 2 + (x & 1) : 0; };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            planeSum[size_t(phase(x, y))] += sum[size_t(y) * size_t(w) + size_t(x)] / 10;
            ++planeCount[size_t(phase(x, y))];
        }
    QVector<QPoint> found;
    QVector<QPoint> defects;
    for (const auto &defect : TestUtil::plantedDefects(serial))
        defects.append(defect.position);
    QVERIFY(defects.size() >= 20);
    int worstClean = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int p = phase(x, y);
            const int mean = int(planeSum[size_t(p)] / planeCount[size_t(p)]);
            const int value = int(sum[size_t(y) * size_t(w) + size_t(x)] / 10);
            if (value > mean + 40)
                found.append(QPoint(x, y));
            if (!defects.contains(QPoint(x, y)))
                worstClean = qMax(worstClean, value - mean);
        }
    Q_UNUSED(phases);
    QVERIFY2(worstClean < 20, qPrintable(QString::number(worstClean)));
    const TestUtil::DetectionExpectation expected
            = TestUtil::expectedDetection(serial, 40, exposure, 50);
    QVERIFY(expected.mustFind.size() >= 5);
    QVERIFY(expected.mustMiss.size() >= 5);
    for (const QPoint &p : expected.mustFind)
        QVERIFY2(found.contains(p), qPrintable(QString("missed %1,%2").arg(p.x()).arg(p.y())));
    for (const QPoint &p : expected.mustMiss)
        QVERIFY2(!found.contains(p), qPrintable(QString("found %1,%2").arg(p.x()).arg(p.y())));
    for (const QPoint &p : found)
        QVERIFY(defects.contains(p));
    tvsim_reset();
}

QTEST_GUILESS_MAIN(tst_SimulatorHotpixel)
#include "tst_simulatorhotpixel.moc"
