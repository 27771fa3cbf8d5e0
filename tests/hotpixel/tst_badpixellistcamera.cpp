// The hot pixel list with a simulated camera: the factory and user lists in
// camera memory, and the binary list file that goes through the library's
// soft list.
//
// Every tv_HotPixel call of this program passes through a recording wrapper
// defined here, which forwards to the library and can make one chosen call
// fail, so that each step of an exchange can be checked on its own.

#include "camera/camera.h"
#include "camera/tavo_api.h"
#include "hotpixel/badpixellistmodel.h"
#include "simulator/tavosim_control.h"
#include "tests/testutil/testutil.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPoint>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <dlfcn.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

struct HotPixelCall
{
    uint32_t command;
    uint32_t size;
    QVector<quint16> words; // what a list or a path held on the way in
    QString path;
};

QVector<HotPixelCall> recordedCalls;
uint32_t failingCommand = 0;
int failingOccurrence = 0;
int32_t failingStatus = 0;

bool carriesList(uint32_t command)
{
    return command == TV_HP_SOFT_LIST_WRITE || command == TV_HP_USER_LIST_WRITE;
}

bool carriesPath(uint32_t command)
{
    return command == TV_HP_SOFT_LIST_SAVE || command == TV_HP_SOFT_LIST_LOAD;
}

// Makes the occurrence-th call of command, counted from now, fail with status.
void failCall(uint32_t command, int occurrence, int32_t status)
{
    failingCommand = command;
    failingOccurrence = occurrence;
    failingStatus = status;
}

void resetRecording()
{
    recordedCalls.clear();
    failingCommand = 0;
    failingOccurrence = 0;
}

QVector<uint32_t> recordedCommands()
{
    QVector<uint32_t> commands;
    for (const HotPixelCall &call : qAsConst(recordedCalls))
        commands << call.command;
    return commands;
}

} // namespace

extern "C" int32_t tv_HotPixel(cameraHandle handle, uint32_t command, void *parameter,
                               uint32_t size)
{
    using HotPixelFunction = int32_t (*)(cameraHandle, uint32_t, void *, uint32_t);
    static const auto library = reinterpret_cast<HotPixelFunction>(dlsym(RTLD_NEXT, "tv_HotPixel"));

    HotPixelCall call {command, size, {}, {}};
    if (parameter && carriesList(command)) {
        const auto *words = static_cast<const quint16 *>(parameter);
        for (uint32_t i = 0; i < size / 2; ++i)
            call.words << words[i];
    }
    if (parameter && carriesPath(command))
        call.path = QString::fromUcs4(static_cast<const uint *>(parameter));
    recordedCalls << call;

    if (command == failingCommand && failingOccurrence > 0 && --failingOccurrence == 0)
        return failingStatus;
    return library(handle, command, parameter, size);
}

namespace {

// Device ids of the configured fleet.
constexpr int smallCamera = 1; // five factory pixels
constexpr int fullFactoryCamera = 2; // a factory list of 1000 pairs
constexpr int overfullFactoryCamera = 3; // a factory list of 1001 pairs
constexpr int softwareOnlyCamera = 4; // no camera memory

const QVector<QPoint> smallFactoryList {{10, 10}, {200, 20}, {30, 300}, {640, 512}, {1, 1000}};

QJsonArray pairList(const QVector<QPoint> &points)
{
    QJsonArray list;
    for (const QPoint &p : points)
        list.append(QJsonArray {p.x(), p.y()});
    return list;
}

QVector<QPoint> gridPoints(int count)
{
    QVector<QPoint> points;
    for (int i = 0; i < count; ++i)
        points << QPoint(8 + (i % 100) * 12, 8 + (i / 100) * 12);
    return points;
}

QString fleetConfig()
{
    auto camera
            = [](int id, const char *serial, const QVector<QPoint> &factory, bool cameraMemory) {
                  return QJsonObject {{"deviceId", id},       {"serial", serial},
                                      {"model", "TV-M1310"},  {"sensorType", 0x0120},
                                      {"width", 1280},        {"height", 1024},
                                      {"color", "mono"},      {"cameraMemory", cameraMemory},
                                      {"userCapacity", 1000}, {"factoryList", pairList(factory)}};
              };
    const QJsonArray cameras {camera(smallCamera, "4200000001", smallFactoryList, true),
                              camera(fullFactoryCamera, "4200000002", gridPoints(1000), true),
                              camera(overfullFactoryCamera, "4200000003", gridPoints(1001), true),
                              camera(softwareOnlyCamera, "4200000004", smallFactoryList, false)};
    return QString::fromUtf8(QJsonDocument(QJsonObject {{"cameras", cameras}}).toJson());
}

QString rowsText(const QList<BadpixelEntry> &entries)
{
    QStringList parts;
    for (const BadpixelEntry &e : entries)
        parts << QStringLiteral("%1,%2,%3").arg(e.x).arg(e.y).arg(e.pixelClass);
    return parts.join(QLatin1Char(' '));
}

QString rowsText(const BadpixelListModel &model)
{
    return rowsText(model.pixels());
}

QString rowsText(const QVector<QPoint> &points, int pixelClass)
{
    QList<BadpixelEntry> entries;
    for (const QPoint &p : points)
        entries << BadpixelEntry {quint16(p.x()), quint16(p.y()), quint8(pixelClass)};
    return rowsText(entries);
}

QString joined(const QString &a, const QString &b)
{
    return a.isEmpty() ? b : b.isEmpty() ? a : a + QLatin1Char(' ') + b;
}

QString thrownText(const std::function<void()> &call)
{
    try {
        call();
    } catch (const std::runtime_error &e) {
        return QString::fromStdString(e.what());
    }
    return QStringLiteral("<nothing thrown>");
}

// Direct access to the library's lists, beside the model.
std::vector<quint16> listWords(const QVector<QPoint> &points)
{
    std::vector<quint16> words {quint16(points.size())};
    for (const QPoint &p : points) {
        words.push_back(quint16(p.x()));
        words.push_back(quint16(p.y()));
    }
    return words;
}

int32_t writeUserList(const Camera &camera, const QVector<QPoint> &points)
{
    if (points.isEmpty())
        return tv_HotPixel(camera.handle(), TV_HP_USER_LIST_ERASE, nullptr, 0);
    std::vector<quint16> words = listWords(points);
    return tv_HotPixel(camera.handle(), TV_HP_USER_LIST_WRITE, words.data(),
                       uint32_t(words.size() * 2));
}

int32_t writeSoftList(const Camera &camera, const QVector<QPoint> &points)
{
    std::vector<quint16> words = listWords(points);
    return tv_HotPixel(camera.handle(), TV_HP_SOFT_LIST_WRITE, words.data(),
                       uint32_t(words.size() * 2));
}

// The soft list as text of "x,y" pairs, "none" when there is none.
QString softListText(const Camera &camera)
{
    if (tv_HotPixel(camera.handle(), TV_HP_SOFT_LIST_EXISTS, nullptr, 0) != TV_SUCCESS)
        return QStringLiteral("none");
    uint32_t count = 0;
    if (tv_HotPixel(camera.handle(), TV_HP_SOFT_LIST_COUNT, &count, 4) != TV_SUCCESS)
        return QStringLiteral("<count failed>");
    std::vector<quint16> words(2 * count + 1);
    if (tv_HotPixel(camera.handle(), TV_HP_SOFT_LIST_READ, words.data(), uint32_t(words.size() * 2))
        != TV_SUCCESS)
        return QStringLiteral("<read failed>");
    QStringList parts;
    for (uint32_t i = 0; i < count; ++i)
        parts << QStringLiteral("%1,%2").arg(words[1 + 2 * i]).arg(words[2 + 2 * i]);
    return parts.join(QLatin1Char(' '));
}

const char childModeVariable[] = "SPECKMEND_TST_READ_LIST";

} // namespace

class tst_BadpixelListCamera : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void readWithoutCamera();
    void readFactoryAndUserLists();
    void readListSizes_data();
    void readListSizes();
    void readFailure();
    void writeAndReadBack();
    void writeEmptyListErases();
    void writeLimit();
    void writeFailure();

    void saveAndLoad();
    void saveWithoutSoftList();
    void saveAndLoadNameOutsideBasicPlane();
    void loadBadFiles();
    void saveFailures_data();
    void saveFailures();
    void loadFailures_data();
    void loadFailures();

private:
    void openCamera(int deviceId);

    std::unique_ptr<TestUtil::SimEnvironment> m_environment;
    std::unique_ptr<Camera> m_camera;
    std::unique_ptr<QTemporaryDir> m_files;
};

void tst_BadpixelListCamera::initTestCase()
{
    qRegisterMetaType<QList<QPersistentModelIndex>>();
    qRegisterMetaType<QAbstractItemModel::LayoutChangeHint>();
    m_environment = std::make_unique<TestUtil::SimEnvironment>(fleetConfig());
    m_camera = std::make_unique<Camera>();
}

void tst_BadpixelListCamera::init()
{
    m_files = std::make_unique<QTemporaryDir>();
    QVERIFY(m_files->isValid());
    openCamera(smallCamera);
}

void tst_BadpixelListCamera::cleanup()
{
    resetRecording();
    tvsim_reset();
    if (m_camera->isOpen()) {
        writeUserList(*m_camera, {});
        m_camera->close();
    }
    m_files.reset();
}

void tst_BadpixelListCamera::cleanupTestCase()
{
    m_camera.reset();
    m_environment.reset();
}

void tst_BadpixelListCamera::openCamera(int deviceId)
{
    m_camera->close();
    try {
        m_camera->open(deviceId);
    } catch (const std::runtime_error &e) {
        QFAIL(e.what());
    }
    QVERIFY(m_camera->isOpen());
    resetRecording();
}

void tst_BadpixelListCamera::readWithoutCamera()
{
    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    QVERIFY(model.rowCount() > 0);
    resetRecording();

    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    model.getBadpixelList(nullptr);
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(removed.count(), 1);
    QCOMPARE(model.userLimit, 1000);
    QCOMPARE(model.factoryLimit, smallFactoryList.size());
    QVERIFY(recordedCalls.isEmpty());
}

void tst_BadpixelListCamera::readFactoryAndUserLists()
{
    const QVector<QPoint> userList {{5, 6}, {10, 10}, {1279, 1023}};
    QCOMPARE(writeUserList(*m_camera, userList), TV_SUCCESS);
    resetRecording();

    BadpixelListModel model;
    model.addPixel(QPoint(77, 77)); // replaced by the read
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    model.getBadpixelList(m_camera.get());

    // Factory rows first, in the camera's order; a user pixel on a factory
    // position is listed twice.
    QCOMPARE(rowsText(model), joined(rowsText(smallFactoryList, 0), rowsText(userList, 1)));
    QCOMPARE(model.userLimit, 1000);
    QCOMPARE(model.factoryLimit, 5);

    const QVector<uint32_t> expectedCommands {TV_HP_USER_LIST_CAPACITY, TV_HP_FACTORY_LIST_COUNT,
                                              TV_HP_FACTORY_LIST_READ, TV_HP_USER_LIST_COUNT,
                                              TV_HP_USER_LIST_READ};
    QCOMPARE(recordedCommands(), expectedCommands);
    QCOMPARE(recordedCalls.at(0).size, 4u);
    QCOMPARE(recordedCalls.at(1).size, 4u);
    QCOMPARE(recordedCalls.at(2).size, 4u * 5 + 2);
    QCOMPARE(recordedCalls.at(3).size, 4u);
    QCOMPARE(recordedCalls.at(4).size, 4u * 3 + 2);

    // Both blocks are announced from row 0, as they always were.
    QCOMPARE(inserted.count(), 2);
    QCOMPARE(inserted.at(0).at(1).toInt(), 0);
    QCOMPARE(inserted.at(0).at(2).toInt(), 4);
    QCOMPARE(inserted.at(1).at(1).toInt(), 0);
    QCOMPARE(inserted.at(1).at(2).toInt(), 2);
}

void tst_BadpixelListCamera::readListSizes_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<int>("userCount");
    QTest::addColumn<int>("factoryRows");
    QTest::addColumn<int>("factoryLimit");
    QTest::addColumn<int>("userRows");

    QTest::newRow("no user list") << smallCamera << 0 << 5 << 5 << 0;
    QTest::newRow("one user pixel") << smallCamera << 1 << 5 << 5 << 1;
    QTest::newRow("full user list") << smallCamera << 1000 << 5 << 5 << 1000;
    QTest::newRow("1000 factory pixels") << fullFactoryCamera << 2 << 1000 << 1000 << 2;
    QTest::newRow("1001 factory pixels") << overfullFactoryCamera << 2 << 0 << 1001 << 2;
}

void tst_BadpixelListCamera::readListSizes()
{
    QFETCH(int, deviceId);
    QFETCH(int, userCount);
    QFETCH(int, factoryRows);
    QFETCH(int, factoryLimit);
    QFETCH(int, userRows);

    openCamera(deviceId);
    const QVector<QPoint> userList = gridPoints(userCount);
    QCOMPARE(writeUserList(*m_camera, userList), TV_SUCCESS);

    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    QCOMPARE(model.factoryLimit, factoryLimit);
    QCOMPARE(model.rowCount(), factoryRows + userRows);
    int factory = 0;
    for (const BadpixelEntry &e : model.pixels())
        factory += e.pixelClass == 0 ? 1 : 0;
    QCOMPARE(factory, factoryRows);
    if (userRows > 0)
        QCOMPARE(rowsText(model.pixels().mid(factoryRows)), rowsText(userList, 1));
}

void tst_BadpixelListCamera::readFailure()
{
    QCOMPARE(writeUserList(*m_camera, {{3, 3}}), TV_SUCCESS);
    BadpixelListModel model;

    // A camera whose list can't be read gives a shorter list, and no error.
    failCall(TV_HP_FACTORY_LIST_READ, 1, 1);
    model.getBadpixelList(m_camera.get());
    QCOMPARE(rowsText(model), QStringLiteral("3,3,1"));
    QCOMPARE(model.factoryLimit, 5);

    failCall(TV_HP_USER_LIST_READ, 1, 1);
    model.getBadpixelList(m_camera.get());
    QCOMPARE(rowsText(model), rowsText(smallFactoryList, 0));

    QCOMPARE(tvsim_inject("tv_HotPixel", 1, 0), 0);
    model.getBadpixelList(m_camera.get());
    QCOMPARE(model.rowCount(), 0);
}

void tst_BadpixelListCamera::writeAndReadBack()
{
    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    // Three user pixels and one imported class 7 row, which is not written.
    QFile text(m_files->filePath(QStringLiteral("list.txt")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("1 2 1\n3 4 7\n5 6 1\n1279 1023 1\n");
    text.close();
    model.importFromFile(text.fileName());
    const QString before = rowsText(model);
    resetRecording();

    model.writeBadpixelList(m_camera.get());
    QCOMPARE(rowsText(model), before);
    QCOMPARE(recordedCommands(), QVector<uint32_t> {TV_HP_USER_LIST_WRITE});
    QCOMPARE(recordedCalls.at(0).size, 14u);
    QCOMPARE(recordedCalls.at(0).words, (QVector<quint16> {3, 1, 2, 5, 6, 1279, 1023}));
    QCOMPARE(model.userLimit, 1000);
    QCOMPARE(model.factoryLimit, 5);

    const QString expected
            = joined(rowsText(smallFactoryList, 0), QStringLiteral("1,2,1 5,6,1 1279,1023,1"));
    BadpixelListModel fresh;
    fresh.getBadpixelList(m_camera.get());
    QCOMPARE(rowsText(fresh), expected);

    // The camera keeps it over a close, and for another process.
    openCamera(smallCamera);
    fresh.getBadpixelList(m_camera.get());
    QCOMPARE(rowsText(fresh), expected);
    m_camera->close();

    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(childModeVariable), QString::number(smallCamera));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), QStringList());
    QVERIFY(child.waitForFinished(20000));
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(QString::fromUtf8(child.readAllStandardOutput()).trimmed(), expected);

    openCamera(smallCamera);
}

void tst_BadpixelListCamera::writeEmptyListErases()
{
    QCOMPARE(writeUserList(*m_camera, {{3, 3}, {4, 4}}), TV_SUCCESS);
    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    model.clearUserBadpixelList();
    resetRecording();

    model.writeBadpixelList(m_camera.get());
    QCOMPARE(recordedCommands(), QVector<uint32_t> {TV_HP_USER_LIST_ERASE});
    QCOMPARE(recordedCalls.at(0).size, 0u);
    model.getBadpixelList(m_camera.get());
    QCOMPARE(rowsText(model), rowsText(smallFactoryList, 0));
}

void tst_BadpixelListCamera::writeLimit()
{
    // Before any read both limits are 0, and nothing can be written.
    BadpixelListModel unread;
    QCOMPARE(thrownText([&] { unread.writeBadpixelList(m_camera.get()); }),
             QStringLiteral("Can't write more than 0 hot pixel entries."));

    BadpixelListModel model;
    model.userLimit = 10;
    model.factoryLimit = 5;
    for (int i = 0; i < 14; ++i)
        model.addPixel(QPoint(100 + i, 50));
    resetRecording();
    model.writeBadpixelList(m_camera.get());
    QCOMPARE(recordedCommands(), QVector<uint32_t> {TV_HP_USER_LIST_WRITE});
    QCOMPARE(recordedCalls.at(0).words.at(0), quint16(14));

    // A list reaching the capacity exactly is refused, and the camera is not
    // asked at all.
    model.addPixel(QPoint(200, 50));
    resetRecording();
    QCOMPARE(thrownText([&] { model.writeBadpixelList(m_camera.get()); }),
             QStringLiteral("Can't write more than 10 hot pixel entries."));
    QVERIFY(recordedCalls.isEmpty());
    QCOMPARE(model.rowCount(), 15);

    // Every row counts, not only the user pixels.
    model.removePixelRow(14, QModelIndex());
    model.setData(model.index(0, 2), QStringLiteral("factory"));
    QVERIFY(!thrownText([&] {
                 model.writeBadpixelList(m_camera.get());
             }).startsWith(QLatin1String("Can't")));
    model.insertRow(0);
    model.setData(model.index(0, 2), QStringLiteral("factory"));
    QCOMPARE(thrownText([&] { model.writeBadpixelList(m_camera.get()); }),
             QStringLiteral("Can't write more than 10 hot pixel entries."));

    // The camera holds the last list that was accepted: 13 user pixels.
    BadpixelListModel fresh;
    fresh.getBadpixelList(m_camera.get());
    QCOMPARE(fresh.rowCount(), 5 + 13);
}

void tst_BadpixelListCamera::writeFailure()
{
    QCOMPARE(writeUserList(*m_camera, {{3, 3}}), TV_SUCCESS);
    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    model.addPixel(QPoint(9, 9));
    const QString before = rowsText(model);

    failCall(TV_HP_USER_LIST_WRITE, 1, 5);
    QCOMPARE(thrownText([&] { model.writeBadpixelList(m_camera.get()); }),
             QStringLiteral("Error writing hotpixel list"));
    QCOMPARE(rowsText(model), before);

    model.clearUserBadpixelList();
    failCall(TV_HP_USER_LIST_ERASE, 1, 5);
    QCOMPARE(thrownText([&] { model.writeBadpixelList(m_camera.get()); }),
             QStringLiteral("Error writing hotpixel list"));
    QCOMPARE(rowsText(model), rowsText(smallFactoryList, 0));

    // The same through the library's own fault injection.
    model.addPixel(QPoint(9, 9));
    QCOMPARE(tvsim_inject("tv_HotPixel", 1, 1), 0);
    QCOMPARE(thrownText([&] { model.writeBadpixelList(m_camera.get()); }),
             QStringLiteral("Error writing hotpixel list"));
    tvsim_reset();

    BadpixelListModel fresh;
    fresh.getBadpixelList(m_camera.get());
    QCOMPARE(rowsText(fresh), joined(rowsText(smallFactoryList, 0), QStringLiteral("3,3,1")));
}

void tst_BadpixelListCamera::saveAndLoad()
{
    const QVector<QPoint> softList {{700, 7}, {8, 800}};
    QCOMPARE(writeSoftList(*m_camera, softList), TV_SUCCESS);
    const QString softBefore = softListText(*m_camera);
    QCOMPARE(softBefore, QStringLiteral("700,7 8,800"));

    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    model.addPixel(QPoint(4, 5));
    model.addPixel(QPoint(6, 7));
    model.addPixel(QPoint(8, 9));
    // A user pixel on a factory position comes back beside the factory row.
    QVERIFY(model.setData(model.index(6, 0), 10));
    QVERIFY(model.setData(model.index(6, 1), 10));
    const QString userRows = QStringLiteral("4,5,1 10,10,1 8,9,1");
    QCOMPARE(rowsText(model), joined(rowsText(smallFactoryList, 0), userRows));
    resetRecording();

    const QString path = m_files->filePath(QStringLiteral("list.bin"));
    model.saveAsFile(m_camera.get(), path);
    QVERIFY(QFile::exists(path));
    QCOMPARE(softListText(*m_camera), softBefore);
    const QVector<uint32_t> saveCommands {TV_HP_SOFT_LIST_EXISTS, TV_HP_SOFT_LIST_COUNT,
                                          TV_HP_SOFT_LIST_READ,   TV_HP_SOFT_LIST_WRITE,
                                          TV_HP_SOFT_LIST_SAVE,   TV_HP_SOFT_LIST_WRITE};
    QCOMPARE(recordedCommands().mid(0, 6), saveCommands);
    QCOMPARE(recordedCalls.at(3).words, (QVector<quint16> {3, 4, 5, 10, 10, 8, 9}));
    QCOMPARE(recordedCalls.at(4).path, path);
    QCOMPARE(recordedCalls.at(4).size, 0u);
    QCOMPARE(recordedCalls.at(5).words, (QVector<quint16> {2, 700, 7, 8, 800}));

    model.clearUserBadpixelList();
    model.addPixel(QPoint(99, 99));
    QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
    resetRecording();
    model.loadFromFile(m_camera.get(), path);
    QCOMPARE(rowsText(model), joined(rowsText(smallFactoryList, 0), userRows));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(softListText(*m_camera), softBefore);
    const QVector<uint32_t> loadCommands {TV_HP_SOFT_LIST_EXISTS, TV_HP_SOFT_LIST_COUNT,
                                          TV_HP_SOFT_LIST_READ,   TV_HP_SOFT_LIST_LOAD,
                                          TV_HP_SOFT_LIST_EXISTS, TV_HP_SOFT_LIST_COUNT,
                                          TV_HP_SOFT_LIST_READ,   TV_HP_SOFT_LIST_WRITE};
    QCOMPARE(recordedCommands().mid(0, 8), loadCommands);
    QCOMPARE(recordedCalls.at(3).path, path);

    // An empty user list makes a file that loads as no rows.
    model.clearUserBadpixelList();
    resetRecording();
    model.saveAsFile(m_camera.get(), path);
    QCOMPARE(recordedCalls.at(3).command, TV_HP_SOFT_LIST_WRITE);
    QCOMPARE(recordedCalls.at(3).words, QVector<quint16> {0});
    model.addPixel(QPoint(99, 99));
    model.loadFromFile(m_camera.get(), path);
    QCOMPARE(rowsText(model), rowsText(smallFactoryList, 0));
}

void tst_BadpixelListCamera::saveWithoutSoftList()
{
    openCamera(softwareOnlyCamera);
    if (tv_HotPixel(m_camera->handle(), TV_HP_SOFT_LIST_EXISTS, nullptr, 0) == TV_SUCCESS)
        QSKIP("the simulated camera starts with a soft list");

    BadpixelListModel model;
    model.addPixel(QPoint(21, 22));
    resetRecording();
    const QString path = m_files->filePath(QStringLiteral("nosoft.bin"));
    model.saveAsFile(m_camera.get(), path);
    QVERIFY(QFile::exists(path));
    // The restore hands back the one-word empty list.
    QCOMPARE(recordedCommands().first(), TV_HP_SOFT_LIST_EXISTS);
    QCOMPARE(recordedCommands().at(1), TV_HP_SOFT_LIST_WRITE);
    QCOMPARE(recordedCalls.last().command, TV_HP_SOFT_LIST_WRITE);
    QCOMPARE(recordedCalls.last().words, QVector<quint16> {0});
    QCOMPARE(softListText(*m_camera), QStringLiteral("none"));

    model.clearUserBadpixelList();
    model.loadFromFile(m_camera.get(), path);
    QCOMPARE(rowsText(model), QStringLiteral("21,22,1"));
}

void tst_BadpixelListCamera::saveAndLoadNameOutsideBasicPlane()
{
    // U+1F4BE and U+20000: each one 32-bit character for the library.
    const QString name = QStringLiteral("list-") + QString::fromUcs4(U"\U0001F4BE\U00020000")
            + QStringLiteral(".bin");
    QCOMPARE(name.size(), 4 + 1 + 4 + 4);
    const QString path = m_files->filePath(name);

    BadpixelListModel model;
    model.addPixel(QPoint(31, 32));
    resetRecording();
    model.saveAsFile(m_camera.get(), path);
    QVERIFY(QFile::exists(path));

    const auto saveCall
            = std::find_if(recordedCalls.cbegin(), recordedCalls.cend(),
                           [](const HotPixelCall &c) { return c.command == TV_HP_SOFT_LIST_SAVE; });
    QVERIFY(saveCall != recordedCalls.cend());
    QCOMPARE(saveCall->path, path);
    QCOMPARE(saveCall->path.toUcs4().size(), path.toUcs4().size());

    model.clearUserBadpixelList();
    model.loadFromFile(m_camera.get(), path);
    QCOMPARE(rowsText(model), QStringLiteral("31,32,1"));
}

void tst_BadpixelListCamera::loadBadFiles()
{
    QCOMPARE(writeSoftList(*m_camera, {{1, 1}}), TV_SUCCESS);
    BadpixelListModel good;
    for (int i = 0; i < 20; ++i)
        good.addPixel(QPoint(i, 2 * i));
    const QString goodPath = m_files->filePath(QStringLiteral("good.bin"));
    good.saveAsFile(m_camera.get(), goodPath);
    QFile goodFile(goodPath);
    QVERIFY(goodFile.open(QIODevice::ReadOnly));
    const QByteArray goodBytes = goodFile.readAll();
    QVERIFY(goodBytes.size() > 8);

    QByteArray flipped = goodBytes;
    flipped[flipped.size() / 2] = char(flipped.at(flipped.size() / 2) ^ 0x55);
    const QList<QPair<const char *, QByteArray>> files {
            {"truncated.bin", goodBytes.left(goodBytes.size() - 3)},
            {"flipped.bin", flipped},
            {"text.bin", QByteArray("12 345 1\n")},
            {"empty.bin", QByteArray()}};

    for (const auto &file : files) {
        const QString path = m_files->filePath(QString::fromLatin1(file.first));
        QFile out(path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(file.second);
        out.close();

        BadpixelListModel model;
        model.getBadpixelList(m_camera.get());
        model.addPixel(QPoint(500, 500));
        const QString text = thrownText([&] { model.loadFromFile(m_camera.get(), path); });
        QVERIFY2(text.startsWith(QLatin1String("load from file failed with ")),
                 qPrintable(QString::fromLatin1(file.first) + QLatin1String(": ") + text));
        QVERIFY(text.endsWith(QLatin1Char('\n')));
        QVERIFY(text != QLatin1String("load from file failed with 0\n"));
        QCOMPARE(rowsText(model), rowsText(smallFactoryList, 0));
        QCOMPARE(softListText(*m_camera), QStringLiteral("1,1"));
    }

    BadpixelListModel model;
    model.addPixel(QPoint(500, 500));
    const QString missing = m_files->filePath(QStringLiteral("missing.bin"));
    QVERIFY(thrownText([&] {
                model.loadFromFile(m_camera.get(), missing);
            }).startsWith(QLatin1String("load from file failed with ")));
    QCOMPARE(model.rowCount(), 0);
}

void tst_BadpixelListCamera::saveFailures_data()
{
    QTest::addColumn<uint>("command");
    QTest::addColumn<int>("occurrence");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("fileWritten");
    QTest::addColumn<QString>("softList");

    // The soft list holds "700,7" before; the model's user pixel is (4, 5).
    QTest::newRow("count") << uint(TV_HP_SOFT_LIST_COUNT) << 1 << "write to file failed with 7\n"
                           << false << "700,7";
    QTest::newRow("read") << uint(TV_HP_SOFT_LIST_READ) << 1 << "write to file failed with 7\n"
                          << false << "700,7";
    QTest::newRow("data refused") << uint(TV_HP_SOFT_LIST_WRITE) << 1
                                  << "write to file failed with 7\n"
                                  << false << "700,7";
    QTest::newRow("file not written") << uint(TV_HP_SOFT_LIST_SAVE) << 1 << "" << false << "700,7";
    QTest::newRow("restore") << uint(TV_HP_SOFT_LIST_WRITE) << 2 << "write to file failed with 7\n"
                             << true << "4,5";
    // A soft list that can't be told to exist is taken as none, and the
    // restore leaves none.
    QTest::newRow("exists") << uint(TV_HP_SOFT_LIST_EXISTS) << 1 << "" << true << "none";
}

void tst_BadpixelListCamera::saveFailures()
{
    QFETCH(uint, command);
    QFETCH(int, occurrence);
    QFETCH(QString, error);
    QFETCH(bool, fileWritten);
    QFETCH(QString, softList);

    QCOMPARE(writeSoftList(*m_camera, {{700, 7}}), TV_SUCCESS);
    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    model.addPixel(QPoint(4, 5));
    const QString before = rowsText(model);

    const QString path = m_files->filePath(QStringLiteral("list.bin"));
    failCall(command, occurrence, 7);
    const QString text = thrownText([&] { model.saveAsFile(m_camera.get(), path); });
    QCOMPARE(text, error.isEmpty() ? QStringLiteral("<nothing thrown>") : error);
    QCOMPARE(rowsText(model), before);
    QCOMPARE(QFile::exists(path), fileWritten);
    resetRecording();
    QCOMPARE(softListText(*m_camera), softList);
}

void tst_BadpixelListCamera::loadFailures_data()
{
    QTest::addColumn<uint>("command");
    QTest::addColumn<int>("occurrence");
    QTest::addColumn<QString>("rows");
    QTest::addColumn<int>("layoutChanges");
    QTest::addColumn<QString>("softList");

    // The soft list holds "700,7" before; the file holds (4, 5) and (6, 7).
    const QString factory = rowsText(smallFactoryList, 0);
    const QString loaded = joined(factory, QStringLiteral("4,5,1 6,7,1"));
    QTest::newRow("saved list count")
            << uint(TV_HP_SOFT_LIST_COUNT) << 1 << factory << 0 << "700,7";
    QTest::newRow("saved list read") << uint(TV_HP_SOFT_LIST_READ) << 1 << factory << 0 << "700,7";
    QTest::newRow("load") << uint(TV_HP_SOFT_LIST_LOAD) << 1 << factory << 0 << "700,7";
    QTest::newRow("loaded list count")
            << uint(TV_HP_SOFT_LIST_COUNT) << 2 << factory << 0 << "4,5 6,7";
    QTest::newRow("loaded list read")
            << uint(TV_HP_SOFT_LIST_READ) << 2 << factory << 0 << "4,5 6,7";
    QTest::newRow("restore") << uint(TV_HP_SOFT_LIST_WRITE) << 1 << loaded << 1 << "4,5 6,7";
}

void tst_BadpixelListCamera::loadFailures()
{
    QFETCH(uint, command);
    QFETCH(int, occurrence);
    QFETCH(QString, rows);
    QFETCH(int, layoutChanges);
    QFETCH(QString, softList);

    const QString path = m_files->filePath(QStringLiteral("list.bin"));
    BadpixelListModel model;
    model.getBadpixelList(m_camera.get());
    model.addPixel(QPoint(4, 5));
    model.addPixel(QPoint(6, 7));
    model.saveAsFile(m_camera.get(), path);
    model.addPixel(QPoint(8, 8));
    QCOMPARE(writeSoftList(*m_camera, {{700, 7}}), TV_SUCCESS);

    QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
    failCall(command, occurrence, 9);
    QCOMPARE(thrownText([&] { model.loadFromFile(m_camera.get(), path); }),
             QStringLiteral("load from file failed with 9\n"));
    QCOMPARE(rowsText(model), rows);
    QCOMPARE(changed.count(), layoutChanges);
    resetRecording();
    QCOMPARE(softListText(*m_camera), softList);
}

// Run with SPECKMEND_TST_READ_LIST set to a device id, the program opens that
// camera, reads its lists and prints the rows: a second process for the tests.
int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet(childModeVariable)) {
        QCoreApplication app(argc, argv);
        Camera camera;
        try {
            camera.open(qEnvironmentVariableIntValue(childModeVariable));
        } catch (const std::runtime_error &e) {
            std::fprintf(stderr, "%s\n", e.what());
            return 1;
        }
        BadpixelListModel model;
        model.getBadpixelList(&camera);
        std::printf("%s\n", qPrintable(rowsText(model)));
        camera.close();
        return 0;
    }

    QCoreApplication app(argc, argv);
    tst_BadpixelListCamera test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_badpixellistcamera.moc"
