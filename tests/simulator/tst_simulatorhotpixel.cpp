// Hot pixel lists of the simulated camera library: factory, user and soft
// lists, their files and correction.
#include "simulator/tavosim_control.h"
#include "tests/simulator/simcamera.h"
#include "tests/testutil/testutil.h"

#include <QFile>
#include <QPoint>
#include <QtTest>

#include <cstring>

namespace {

const QString kSmallFleet = QStringLiteral(
        R"({"cameras": [{"deviceId": 1, "serial": "HP1", "width": 64, "height": 48,
            "userCapacity": 10, "factoryDefects": [[10, 10, 200], [20, 20, 30]],
            "defects": [[30, 30, 100]], "covered": true},
           {"deviceId": 2, "serial": "HP2", "width": 256, "height": 48, "color": "bayer",
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

// The file name goes as zero-terminated UCS-4, one 32-bit word a character.
int32_t fileCommand(cameraHandle handle, uint32_t command, const QString &name, uint32_t size = 0)
{
    QVector<uint> path = name.toUcs4();
    path.append(0);
    return tv_HotPixel(handle, command, path.data(), size);
}

} // namespace

class tst_SimulatorHotpixel : public QObject
{
    Q_OBJECT

private slots:
    void cameraLists();
    void staleTemporaries_data();
    void staleTemporaries();
    void fileBytes_data();
    void fileBytes();
    void softListFileFaults_data();
    void softListFileFaults();
    void correction();
};

void tst_SimulatorHotpixel::cameraLists()
{
    TestUtil::SimEnvironment environment(kSmallFleet);
    SimCamera camera(1, false);
    const cameraHandle h = camera.handle;
    QCOMPARE(readList(h, TV_HP_FACTORY_LIST_COUNT, TV_HP_FACTORY_LIST_READ),
             words({{10, 10}, {20, 20}}));
    uint32_t capacity = 0;
    QCOMPARE(tv_HotPixel(h, TV_HP_USER_LIST_CAPACITY, &capacity, 4), TV_SUCCESS);
    QCOMPARE(capacity, 10u);
    QVERIFY(tv_HotPixel(h, TV_HP_USER_LIST_COUNT, &capacity, 2) != TV_SUCCESS);
    QCOMPARE(writeList(h, TV_HP_USER_LIST_WRITE, words({{1, 2}, {3, 4}, {63, 47}})), TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_READ),
             words({{1, 2}, {3, 4}, {63, 47}}));
    // Refused: over capacity, outside the sensor.
    std::vector<uint16_t> eleven(23, 1);
    eleven[0] = 11;
    QVERIFY(writeList(h, TV_HP_USER_LIST_WRITE, eleven) != TV_SUCCESS);
    QVERIFY(writeList(h, TV_HP_USER_LIST_WRITE, words({{64, 0}})) != TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_READ),
             words({{1, 2}, {3, 4}, {63, 47}}));
    // A read into too small a buffer fails and leaves it alone.
    std::vector<uint16_t> small(3, 0xEEEE);
    QVERIFY(tv_HotPixel(h, TV_HP_USER_LIST_READ, small.data(), 6) != TV_SUCCESS);
    QCOMPARE(small, std::vector<uint16_t>(3, 0xEEEE));
    QCOMPARE(tv_HotPixel(h, TV_HP_USER_LIST_ERASE, nullptr, 0), TV_SUCCESS);
    QCOMPARE(readList(h, TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_READ), words({}));

    // Software correction only: no user list, but a factory and soft list.
    SimCamera soft(2, false);
    QVERIFY(writeList(soft.handle, TV_HP_USER_LIST_WRITE, words({{1, 1}})) != TV_SUCCESS);
    QCOMPARE(writeList(soft.handle, TV_HP_SOFT_LIST_WRITE, words({{1, 1}})), TV_SUCCESS);
}

void tst_SimulatorHotpixel::staleTemporaries_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("removed");

    // What a process killed during a write of the state leaves behind.
    QTest::newRow("named by pid") << "HP1.state.tmp.4242" << true;
    QTest::newRow("named at random") << "HP1.state.qieqVG" << true;
    // Anything else stays.
    QTest::newRow("not a pid") << "HP1.state.tmp.x1" << false;
    QTest::newRow("five letters") << "HP1.state.notes" << false;
    QTest::newRow("seven letters") << "HP1.state.backup1" << false;
    QTest::newRow("no dot") << "HP1.stateqieqVG" << false;
    QTest::newRow("other camera") << "HP2.state.tmp.4242" << false;
}

// Stale temporary files of the camera's state go when it is opened and
// before each write of its state.
void tst_SimulatorHotpixel::staleTemporaries()
{
    QFETCH(QString, name);
    QFETCH(bool, removed);
    TestUtil::SimEnvironment environment(kSmallFleet);
    const QString path = environment.stateDir() + '/' + name;
    const auto leave = [&path] {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write("TVST") == 4;
    };
    QVERIFY(leave());
    SimCamera camera(1, false);
    QCOMPARE(camera.status, TV_SUCCESS);
    QCOMPARE(QFile::exists(path), !removed);
    QVERIFY(leave());
    QCOMPARE(writeList(camera.handle, TV_HP_USER_LIST_WRITE, words({{7, 8}})), TV_SUCCESS);
    QCOMPARE(QFile::exists(path), !removed);
}

void tst_SimulatorHotpixel::fileBytes_data()
{
    QTest::addColumn<bool>("state"); // else the soft list file
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QVector<QPoint>>("pixels"); // read from bytes
    QTest::addColumn<QByteArray>("written"); // from pixels

    const auto row = [](const char *name, bool state, const char *hex, QVector<QPoint> pixels,
                        const char *written = nullptr) {
        QTest::newRow(name) << state << QByteArray::fromHex(hex) << pixels
                            << QByteArray::fromHex(written ? written : hex);
    };
    row("soft list", false, "545648500100000003000000010002003f002f0000000000ff83e2cf",
        {{1, 2}, {63, 47}, {0, 0}});
    row("no soft list", false, "545648500100000000000000c7b636e7", {});
    row("user list", true, "5456535401000000020000000700080009000a00f0ae0533", {{7, 8}, {9, 10}});
    row("no user list", true, "545653540100000000000000d49d9465", {});
    // A state torn by a crash during a write reads as an empty list, never a crash.
    row("torn user list", true, "5456535401000000020000000700080009000a00f0", {},
        "545653540100000000000000d49d9465");
}

// The files read and write exactly these bytes: little-endian, CRC-32 as zlib.
// The state is what the camera holds after a restart; a soft list file takes
// any name, also one with characters outside the basic plane.
void tst_SimulatorHotpixel::fileBytes()
{
    QFETCH(bool, state);
    QFETCH(QByteArray, bytes);
    QFETCH(QVector<QPoint>, pixels);
    QFETCH(QByteArray, written);
    TestUtil::SimEnvironment environment(kSmallFleet);
    const QString path = state
            ? environment.stateDir() + QStringLiteral("/HP1.state")
            : environment.root() + QStringLiteral("/liste-\U0001F600-\u00E9.bin");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    std::vector<uint16_t> list = {uint16_t(pixels.size())};
    for (const QPoint &pixel : pixels)
        list.insert(list.end(), {uint16_t(pixel.x()), uint16_t(pixel.y())});
    SimCamera camera(1, false);
    const cameraHandle h = camera.handle;
    if (state) {
        QCOMPARE(readList(h, TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_READ), list);
        QVERIFY(QFile::remove(path));
        QCOMPARE(writeList(h, TV_HP_USER_LIST_WRITE, list), TV_SUCCESS);
        // Written atomically: no temporary file is left beside the state.
        QCOMPARE(QDir(environment.stateDir()).entryList(QDir::Files), QStringList {"HP1.state"});
    } else {
        QCOMPARE(fileCommand(h, TV_HP_SOFT_LIST_LOAD, path), TV_SUCCESS);
        if (!pixels.isEmpty())
            QCOMPARE(readList(h, TV_HP_SOFT_LIST_COUNT, TV_HP_SOFT_LIST_READ), list);
        QVERIFY(QFile::remove(path));
        QCOMPARE(fileCommand(h, TV_HP_SOFT_LIST_SAVE, path), TV_SUCCESS);
        QVERIFY(fileCommand(h, TV_HP_SOFT_LIST_SAVE, environment.root() + "/no/dir/x.bin")
                != TV_SUCCESS);
    }
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll().toHex(), written.toHex());
}

void tst_SimulatorHotpixel::softListFileFaults_data()
{
    QTest::addColumn<QString>("damage");
    QTest::newRow("missing") << "missing";
    QTest::newRow("empty") << "cut:0";
    QTest::newRow("truncated pairs") << "cut:20";
    QTest::newRow("bad magic") << "byte:0";
    QTest::newRow("version") << "byte:4";
    QTest::newRow("pair flipped") << "byte:13";
    QTest::newRow("checksum flipped") << "byte:25";
    QTest::newRow("count of millions") << "byte:10";
    QTest::newRow("appended bytes") << "append";
    QTest::newRow("outside the sensor") << "outside";
    QTest::newRow("size argument") << "size"; // the path's size is 0
}

void tst_SimulatorHotpixel::softListFileFaults()
{
    QFETCH(QString, damage);
    TestUtil::SimEnvironment environment(kSmallFleet);
    SimCamera camera(1, false);
    const cameraHandle h = camera.handle;
    const QString name = environment.root() + QStringLiteral("/list.bin");
    SimCamera wide(2, false); // "outside": a sound file with (200, 1) from a wider sensor
    const cameraHandle from = damage == "outside" ? wide.handle : h;
    QCOMPARE(writeList(from, TV_HP_SOFT_LIST_WRITE,
                       words({{1, 2}, {3, 4}, {from == h ? 5 : 200, 1}})),
             TV_SUCCESS);
    QCOMPARE(fileCommand(from, TV_HP_SOFT_LIST_SAVE, name), TV_SUCCESS);
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
    QFile::remove(name);
    if (damage != "missing") {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
    }
    QCOMPARE(writeList(h, TV_HP_SOFT_LIST_WRITE, words({{7, 7}})), TV_SUCCESS);
    int32_t status = fileCommand(h, TV_HP_SOFT_LIST_LOAD, name, damage == "size" ? 4 : 0);
    QVERIFY(status != TV_SUCCESS);
    char *text = nullptr;
    QCOMPARE(tv_GetError(h, &status, &text), TV_SUCCESS);
    QVERIFY(text && *text);
    QCOMPARE(readList(h, TV_HP_SOFT_LIST_COUNT, TV_HP_SOFT_LIST_READ), words({{7, 7}}));
}

void tst_SimulatorHotpixel::correction()
{
    TestUtil::SimEnvironment environment(kSmallFleet);
    SimCamera camera(1);
    double exposure = 0; // the program's settings: a defect shows its strength
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

QTEST_GUILESS_MAIN(tst_SimulatorHotpixel)
#include "tst_simulatorhotpixel.moc"
