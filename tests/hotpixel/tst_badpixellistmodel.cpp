// The hot pixel list model and its class editor, its files and the camera's lists.

#include "camera/camera.h"
#include "camera/statustext.h"
#include "camera/tavo_api.h"
#include "hotpixel/badpixellistmodel.h"
#include "hotpixel/pixelclassdelegate.h"
#include "hotpixel/userlistbackup.h"
#include "tests/testutil/testutil.h"

#include <QtTest>
#include <QtWidgets>

#include <dlfcn.h>

#include <memory>
#include <stdexcept>

// The text of the runtime_error that call throws; empty when it throws none.
// clang-format off
#define THROWN(call) [&] { try { call; } catch (const std::runtime_error &e) { \
        return QString::fromStdString(e.what()); } return QString(); }()
// clang-format on

using Commands = QVector<uint32_t>;
using Words = QVector<quint16>;
constexpr uint32_t softExists = TV_HP_SOFT_LIST_EXISTS, softCount = TV_HP_SOFT_LIST_COUNT,
                   softRead = TV_HP_SOFT_LIST_READ, softWrite = TV_HP_SOFT_LIST_WRITE,
                   softSave = TV_HP_SOFT_LIST_SAVE, softLoad = TV_HP_SOFT_LIST_LOAD;
static Commands commands; // every tv_HotPixel command since record()
static uint32_t failingCommand = 0, failingOccurrence = 0, failingTimes = 0;

// Starts a new recording; from the occurrence-th call of command on, times
// calls of it then fail with 7.
static void record(uint32_t command = 0, uint32_t occurrence = 0, uint32_t times = 1)
{
    commands.clear();
    failingCommand = command;
    failingOccurrence = occurrence;
    failingTimes = times;
}

// Cameras 1 to 3 with 5, 1000 and 1001 factory pixels; camera 4 has no user list.
const char fleet[] = R"({"cameras": [
    {"serial": "1", "width": 1280, "height": 1024,
     "factoryList": [[640, 512], [10, 10], [200, 20], [30, 300], [1, 1000]]},
    {"serial": "2", "width": 1280, "height": 1024, "plantDefects": {"count": 1000, "factoryEvery": 1}},
    {"serial": "3", "width": 1280, "height": 1024, "plantDefects": {"count": 1001, "factoryEvery": 1}},
    {"serial": "4", "width": 64, "height": 64, "cameraMemory": false}
]})";
// The words of status 7, which the fault above gives.
static QString failed(const char *what)
{
    return QStringLiteral("%1: %2").arg(QLatin1String(what), tavoStatusText(7));
}
const QString smallFactory = QStringLiteral("640,512,0 10,10,0 200,20,0 30,300,0 1,1000,0");

static QString rowsText(const BadpixelListModel &model)
{
    QStringList parts;
    for (const BadpixelEntry &e : model.pixels())
        parts << QStringLiteral("%1,%2,%3").arg(e.x).arg(e.y).arg(e.pixelClass);
    return parts.join(QLatin1Char(' '));
}

// Every tv_HotPixel call of this program passes through here.
extern "C" int32_t tv_HotPixel(cameraHandle handle, uint32_t command, void *parameter,
                               uint32_t size)
{
    static const auto library
            = reinterpret_cast<decltype(&tv_HotPixel)>(dlsym(RTLD_NEXT, "tv_HotPixel"));
    commands << command;
    if (command == failingCommand && failingOccurrence > 0 && --failingOccurrence == 0) {
        failingOccurrence = --failingTimes > 0 ? 1 : 0;
        return 7;
    }
    return library(handle, command, parameter, size);
}

class tst_BadpixelListModel : public QObject
{
    Q_OBJECT

private:
    // Rows of any class, through the text import.
    void fill(BadpixelListModel &model, const QByteArray &lines)
    {
        QFile file(m_dir.filePath(QStringLiteral("list.txt")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(lines) == lines.size());
        file.close();
        model.importFromFile(file.fileName());
    }
    // Opens a camera, empties its user list and reads its lists into model.
    void openCamera(BadpixelListModel &model, int deviceId = 1)
    {
        m_camera->open(deviceId);
        tv_HotPixel(m_camera->handle(), TV_HP_USER_LIST_ERASE, nullptr, 0);
        model.getBadpixelList(m_camera.get());
        record();
    }
    int32_t writeList(uint32_t command, Words words)
    {
        return tv_HotPixel(m_camera->handle(), command, words.data(), uint32_t(words.size() * 2));
    }
    Words softList() // empty when there is none
    {
        uint32_t count = 0;
        Words words;
        if (tv_HotPixel(m_camera->handle(), TV_HP_SOFT_LIST_EXISTS, nullptr, 0) == TV_SUCCESS) {
            tv_HotPixel(m_camera->handle(), TV_HP_SOFT_LIST_COUNT, &count, 4);
            words.resize(2 * count + 1);
            tv_HotPixel(m_camera->handle(), TV_HP_SOFT_LIST_READ, words.data(), 4 * count + 2);
        }
        record();
        return words;
    }

    std::unique_ptr<TestUtil::SimEnvironment> m_environment;
    std::unique_ptr<Camera> m_camera;
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        m_environment = std::make_unique<TestUtil::SimEnvironment>(QString::fromLatin1(fleet));
        m_camera = std::make_unique<Camera>();
    }

    void cleanup() { m_camera->close(); }

    void addAndRemove()
    {
        BadpixelListModel model;
        fill(model, "10 20 0\n30 40 2\n");
        QSignalSpy added(&model, &BadpixelListModel::pixelAdded);
        QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
        // Factory and user rows block their position; a class 2 row does not.
        QVERIFY(!model.addPixel(QPoint(10, 20)));
        QVERIFY(model.addPixel(QPoint(30, 40)));
        QVERIFY(!model.addPixel(QPoint(30, 40 + 65536)));
        QVERIFY(model.addPixel(QPoint(1, 1)));
        QVERIFY(model.addPixel(QPoint(2, 2)));
        QCOMPARE(rowsText(model), QStringLiteral("10,20,0 30,40,2 30,40,1 1,1,1 2,2,1"));
        QCOMPARE(added.count(), 3);
        QCOMPARE(added.at(0).at(0).toInt(), 1);

        QVERIFY(!model.removePixelRow(0, QModelIndex()));
        QVERIFY(model.removePixelRow(4, model.index(0, 0)));
        // One removal a row, at the row number it has then; the rest keeps order.
        model.clearUserBadpixelList();
        QCOMPARE(rowsText(model), QStringLiteral("10,20,0 30,40,2"));
        QCOMPARE(removed.count(), 3);
        QCOMPARE(removed.at(2).at(1).toInt(), 2);
    }

    void tableBehaviour()
    {
        BadpixelListModel model;
        fill(model, "10 20 2\n103 100 1\n0 0 1\n");
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        // The role is not looked at; numbers are cut to 16 bits.
        QVERIFY(model.setData(model.index(0, 0), QStringLiteral("65636"), Qt::DecorationRole));
        QVERIFY(model.setData(model.index(0, 1), 65636));
        QVERIFY(!model.setData(model.index(0, 0), QStringLiteral("seven")));
        QVERIFY(!model.setData(model.index(0, 2), QStringLiteral("Factory")));
        QVERIFY(!model.setData(model.index(0, 3), 1));
        QCOMPARE(rowsText(model), QStringLiteral("100,100,2 103,100,1 0,0,1"));
        QCOMPARE(changed.count(), 2);
        QCOMPARE(int(model.flags(QModelIndex())), 33); // never editable

        // Open bounds: tolerance 1 is the exact position; the first row wins.
        QCOMPARE(model.indexOfPixel(103, 100, 1), model.index(1, 0));
        QVERIFY(!model.indexOfPixel(101, 100, 1).isValid());
        QCOMPARE(model.indexOfPixel(102, 100, 7), model.index(0, 0));
        QVERIFY(!model.indexOfPixel(97, 100, 3).isValid());
        QVERIFY(!model.indexOfPixel(100, 107, 7).isValid());
        QCOMPARE(model.indexOfPixel(-6, -6, 7), model.index(2, 0));
    }

    void classes()
    {
        BadpixelListModel model;
        fill(model, "4 5 0\n4 5 1\n4 5 255\n");
        PixelclassDelegate delegate;
        QWidget parent;
        auto *editor = qobject_cast<QComboBox *>(delegate.createEditor(&parent, {}, QModelIndex()));
        const QStringList items {"factory", "user", "ignore"};
        QCOMPARE(editor->count(), 3);
        // Each class shows its word, and the editor starts on it.
        for (int row = 0; row < 3; ++row) {
            QCOMPARE(editor->itemText(row), items.at(row));
            QCOMPARE(model.data(model.index(row, 2)), QVariant(items.at(2 - row)));
            delegate.setEditorData(editor, model.index(row, 2));
            QCOMPARE(editor->currentIndex(), 2 - row);
        }
        // "ignore" is refused; "factory" makes class 0, which reads "ignore".
        for (int item : {2, 0, 1}) {
            editor->setCurrentIndex(item);
            delegate.setModelData(editor, &model, model.index(2, 2));
            QCOMPARE(int(model.pixelAt(2).pixelClass), item == 2 ? 255 : item);
        }
    }

    void sort()
    {
        BadpixelListModel model;
        QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
        fill(model, "40000 9 2\n2 70 0\n17 65535 1\n");
        QCOMPARE(THROWN(model.sort(3, Qt::AscendingOrder)), QStringLiteral("Sort Error"));

        // Ascending by x, y and class number; descending gives the reverse.
        const QStringList ascending {"2,70,0 17,65535,1 40000,9,2", "40000,9,2 2,70,0 17,65535,1",
                                     "2,70,0 17,65535,1 40000,9,2"};
        for (int column = 0; column < 3; ++column) {
            model.sort(column, Qt::AscendingOrder);
            QCOMPARE(rowsText(model), ascending.at(column));
            model.sort(column, Qt::DescendingOrder);
            QStringList rows = rowsText(model).split(QLatin1Char(' '));
            std::reverse(rows.begin(), rows.end());
            QCOMPARE(rows.join(QLatin1Char(' ')), ascending.at(column));
        }
        QCOMPARE(changed.count(), 7);
    }

    void textFile()
    {
        BadpixelListModel model;
        fill(model, "12 345 1\n7 8 0\n65535 0 1\n9 9 2\n0 65535 1\n");
        // Written over the longer file just imported.
        QFile file(m_dir.filePath(QStringLiteral("list.txt")));
        model.exportAsFile(file.fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("12 345 1\n65535 0 1\n0 65535 1\n"));
        model.importFromFile(file.fileName());
        QCOMPARE(rowsText(model), QStringLiteral("7,8,0 9,9,2 12,345,1 65535,0,1 0,65535,1"));

        // Every line makes a row: any base, 16 and 8 bits, 0 for what is missing.
        QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
        fill(model, "0x10 010 1\n70000 1 1\n1 2 257\n\n10 20\n \t3\t4 200 words\n5 5 1");
        QCOMPARE(rowsText(model), "7,8,0 9,9,2 16,8,1 4464,1,1 1,2,1 0,0,0 10,20,0 3,4,200 5,5,1");
        QCOMPARE(changed.count(), 1);

        // A folder can't be opened as a file, whatever the rights of the user.
        QCOMPARE(THROWN(model.exportAsFile(m_dir.path())), "Can't open file for writing.");
        QCOMPARE(THROWN(model.importFromFile(m_dir.filePath("missing"))),
                 "Can't open file for reading.");
        // A failed import leaves every row.
        QCOMPARE(rowsText(model), "7,8,0 9,9,2 16,8,1 4464,1,1 1,2,1 0,0,0 10,20,0 3,4,200 5,5,1");
    }

    void importLimits_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("padding"); // blanks after each line's numbers
        QTest::addColumn<QString>("error");

        const QString tooLong = QStringLiteral(
                "The file has more than 65536 lines, more than any hot pixel list holds. "
                "Nothing was imported.");
        const QString tooLarge = QStringLiteral(
                "The file is larger than 4 MiB, which no hot pixel list is. Nothing was imported.");
        QTest::newRow("most lines") << BadpixelListModel::maxImportLines << 0 << QString();
        QTest::newRow("one line more") << BadpixelListModel::maxImportLines + 1 << 0 << tooLong;
        QTest::newRow("a million lines") << 1000000 << 0 << tooLarge;
        // 64 bytes a line at most: 4 MiB.
        QTest::newRow("largest file") << 65536 << 64 - 10 << QString();
        QTest::newRow("one byte more") << 65536 << 64 - 10 << tooLarge;
    }

    void importLimits()
    {
        QFETCH(int, lines);
        QFETCH(int, padding);
        QFETCH(QString, error);

        BadpixelListModel model;
        fill(model, "1 1 1\n2 2 0\n");
        QByteArray text;
        text.reserve(lines * (10 + padding));
        const QByteArray blanks(padding, ' ');
        for (int i = 0; i < lines; ++i)
            text += QByteArray::number(i % 1000 + 1000) + " 17 1" + blanks + '\n';
        if (QByteArray(QTest::currentDataTag()) == "one byte more")
            text += '\n';
        QCOMPARE(text.size() > BadpixelListModel::maxImportBytes, error.contains("MiB"));
        QFile file(m_dir.filePath(QStringLiteral("long.txt")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        file.close();

        QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
        QCOMPARE(THROWN(model.importFromFile(file.fileName())), error);
        // Refused: the list is as it was, and the views were not told.
        QCOMPARE(model.rowCount(), error.isEmpty() ? lines + 1 : 2);
        QCOMPARE(changed.count(), error.isEmpty() ? 1 : 0);
        QCOMPARE(model.pixelAt(0).pixelClass, quint8(error.isEmpty() ? 0 : 1));
    }

    void writeLimitAndFailures()
    {
        BadpixelListModel model;
        openCamera(model); // 5 factory rows
        model.userLimit = 10;
        for (int i = 0; i < 10; ++i)
            model.addPixel(QPoint(100 + i, 50));
        // A list that fills the capacity exactly is refused, and every row counts.
        model.setData(model.index(14, 2), QStringLiteral("factory"));
        QCOMPARE(THROWN(model.writeBadpixelList(m_camera.get())),
                 "Can't write more than 10 hot pixel entries.");
        QVERIFY(commands.isEmpty());
        model.removePixelRow(13, QModelIndex());
        model.writeBadpixelList(m_camera.get());

        // No user pixel: the camera's user list is erased.
        model.clearUserBadpixelList();
        model.writeBadpixelList(m_camera.get());
        QCOMPARE(commands.last(), TV_HP_USER_LIST_ERASE);
        model.getBadpixelList(m_camera.get());
        QCOMPARE(rowsText(model), smallFactory);
        // A refusal of the library is reported in words and leaves the list.
        for (uint32_t command : {TV_HP_USER_LIST_ERASE, TV_HP_USER_LIST_WRITE}) {
            record(command, 1);
            QCOMPARE(THROWN(model.writeBadpixelList(m_camera.get())),
                     failed("Error writing hotpixel list"));
            model.addPixel(QPoint(9, 9));
        }
        QCOMPARE(rowsText(model), smallFactory + " 9,9,1");
    }

    void binaryFile_data()
    {
        QTest::addColumn<uint32_t>("command");
        QTest::addColumn<int>("occurrence");
        QTest::addColumn<int>("times");
        QTest::addColumn<QString>("error"); // empty: none
        QTest::addColumn<bool>("done"); // the file was written, or its rows came in
        QTest::addColumn<Words>("softList");

        // The file holds (4, 5) and (6, 7), the model (4, 5), (6, 7) and (8, 9)
        // for a load, the soft list (700, 7).
        const Words old {1, 700, 7}, file {2, 4, 5, 6, 7};
        const QString save = failed("write to file failed"), load = failed("load from file failed");
        const QString notBack = QStringLiteral("but the camera's soft list could not be put back; "
                                               "software correction uses the "
                                               "%1 list until the camera is opened again: ")
                + tavoStatusText(7);
        // The soft list holds the same afterwards, also when there was none.
        for (const char *name : {"save", "load"}) {
            QTest::addRow("%s", name) << 0u << 0 << 0 << QString() << true << old;
            QTest::addRow("%s, no soft list", name) << 0u << 0 << 0 << QString() << true << Words();
        }
        // A failure before the soft list is put back loses nothing; one retry of it is enough.
        const std::pair<const char *, uint32_t> before[]
                = {{"exists", softExists}, {"count", softCount}, {"read", softRead}};
        for (const auto &[name, command] : before) {
            QTest::addRow("save %s", name) << command << 1 << 1 << save << false << old;
            QTest::addRow("load %s", name) << command << 1 << 1 << load << false << old;
            QTest::addRow("load loaded %s", name) << command << 2 << 1 << load << false << old;
        }
        QTest::newRow("save data") << softWrite << 1 << 1 << save << false << old;
        QTest::newRow("save file") << softSave << 1 << 1 << save << false << old;
        QTest::newRow("load file") << softLoad << 1 << 1 << load << false << old;
        QTest::newRow("save restore once") << softWrite << 2 << 1 << QString() << true << old;
        QTest::newRow("load restore once") << softWrite << 1 << 1 << QString() << true << old;
        QTest::newRow("save restore")
                << softWrite << 2 << 2 << "The file was written, " + notBack.arg("saved") << true
                << Words {3, 4, 5, 6, 7, 8, 9};
        QTest::newRow("load restore")
                << softWrite << 1 << 2 << "The list was loaded, " + notBack.arg("loaded") << true
                << file;
    }

    void binaryFile()
    {
        QFETCH(uint32_t, command);
        QFETCH(int, occurrence);
        QFETCH(int, times);
        QFETCH(QString, error);
        QFETCH(bool, done);
        QFETCH(Words, softList);
        const bool load = QByteArray(QTest::currentDataTag()).startsWith("load");
        const bool none = QByteArray(QTest::currentDataTag()).endsWith("no soft list");

        BadpixelListModel model;
        openCamera(model);
        model.addPixel(QPoint(4, 5));
        model.addPixel(QPoint(6, 7));
        // One 32-bit character for the library, or the file would go elsewhere.
        const QString path = m_dir.filePath(QString::fromUcs4(U"list-\U0001F4BE.bin"));
        model.saveAsFile(m_camera.get(), path);
        QVERIFY(load || QFile::remove(path));
        model.addPixel(QPoint(8, 9));
        QVERIFY(none || writeList(softWrite, {1, 700, 7}) == TV_SUCCESS);
        QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
        record(command, occurrence, times);
        QCOMPARE(THROWN(load ? model.loadFromFile(m_camera.get(), path)
                             : model.saveAsFile(m_camera.get(), path)),
                 error);
        const Commands read {softExists, softCount, softRead};
        const Commands saved = none ? Commands {softExists} : read;
        QVERIFY(command != 0
                || commands
                        == (load ? saved + Commands {softLoad} + read + Commands {softWrite}
                                 : saved + Commands {softWrite, softSave, softWrite}));
        // Nothing is lost: the user rows go only for the rows of a file.
        QCOMPARE(rowsText(model),
                 smallFactory + (done && load ? " 4,5,1 6,7,1" : " 4,5,1 6,7,1 8,9,1"));
        QCOMPARE(changed.count(), load && done ? 1 : 0);
        QCOMPARE(QFile::exists(path), done || load);
        QCOMPARE(this->softList(), softList);
    }

    void readLists_data()
    {
        QTest::addColumn<int>("deviceId");
        QTest::addColumn<int>("users"); // user pixels in the camera
        QTest::addColumn<int>("factory"); // pixels in the factory list
        QTest::addColumn<uint32_t>("command"); // fails once; 0: none
        QTest::addColumn<QString>("failure");

        // Factory rows first, in the camera's order, then the user rows; over 1000
        // factory pixels none is read. A failed user list read keeps the factory rows.
        const QString status = tavoStatusText(7);
        QTest::newRow("5 factory") << 1 << 0 << 5 << 0u << QString();
        QTest::newRow("1000 user") << 1 << 1000 << 5 << 0u << QString();
        QTest::newRow("1000 factory") << 2 << 1 << 1000 << 0u << QString();
        QTest::newRow("1001 factory") << 3 << 1 << 1001 << 0u << QString();
        QTest::newRow("read fails") << 1 << 1 << 5 << TV_HP_USER_LIST_READ << status;
        QTest::newRow("count fails") << 1 << 1 << 5 << TV_HP_USER_LIST_COUNT << status;
        QTest::newRow("capabilities fail") << 1 << 1 << 5 << TV_HP_CAPABILITIES << status;
        QTest::newRow("no user list") << 4 << 0 << 0 << 0u << QString();
        QTest::newRow("no user list, count fails")
                << 4 << 0 << 0 << TV_HP_USER_LIST_COUNT << QString();
    }

    void readLists()
    {
        QFETCH(int, deviceId);
        QFETCH(int, users);
        QFETCH(int, factory);
        QFETCH(uint32_t, command);
        QFETCH(QString, failure);

        BadpixelListModel model;
        openCamera(model, deviceId);
        Words words {quint16(users)};
        QStringList userRows;
        for (int i = 0; i < users; ++i) {
            words << quint16(i) << quint16(i % 3 ? 10 : 1000);
            userRows << QStringLiteral("%1,%2,1").arg(i).arg(words.last());
        }
        QVERIFY(users == 0 || writeList(TV_HP_USER_LIST_WRITE, words) == TV_SUCCESS);
        QSignalSpy messages(&model, &BadpixelListModel::listReadFailed);
        record(command, 1);
        model.getBadpixelList(m_camera.get());
        const int factoryRows = factory > 1000 ? 0 : factory;
        const QString factoryText = deviceId == 1 ? smallFactory : QString();
        QCOMPARE(model.factoryLimit, factory);
        QCOMPARE(rowsText(model).split(' ', Qt::SkipEmptyParts).mid(factoryRows),
                 failure.isEmpty() ? userRows : QStringList());
        QVERIFY(rowsText(model).startsWith(factoryText));
        QCOMPARE(model.userListReadFailed(), !failure.isEmpty());
        QCOMPARE(model.userListReadFailure(), failure);
        QCOMPARE(messages.count(), failure.isEmpty() ? 0 : 1);
        if (!failure.isEmpty()) {
            QVERIFY(messages.at(0).at(0).toString().startsWith(
                    "The camera's user list could not be read: " + failure + "."));
            // A list read again shows what the camera holds.
            model.getBadpixelList(m_camera.get());
            QCOMPARE(rowsText(model), smallFactory + " 0,1000,1");
            QVERIFY(!model.userListReadFailed());
        }
        model.getBadpixelList(nullptr);
        QVERIFY(!model.userListReadFailed());
    }

    void backupBeforeWrite()
    {
        // In the test's own data folder, before anything there is removed.
        const UserListBackup backup;
        QCOMPARE(backup.folder(), qEnvironmentVariable("XDG_DATA_HOME") + "/Brevant/Tavo/backups");
        QVERIFY(QDir(backup.cameraFolder("1")).removeRecursively());
        BadpixelListModel model;
        openCamera(model); // an empty user list: nothing to keep
        model.userLimit = 1000;
        model.addPixel(QPoint(1279, 1023));
        model.writeBadpixelList(m_camera.get());
        QCOMPARE(commands, (Commands {TV_HP_USER_LIST_COUNT, TV_HP_USER_LIST_WRITE}));
        QCOMPARE(backup.copies("1").size(), 0);

        // Each write keeps what the camera held, as an importable text list;
        // the newest ten stay.
        for (int n = 2; n <= 13; ++n) {
            model.addPixel(QPoint(n, 500));
            model.writeBadpixelList(m_camera.get());
        }
        const QStringList copies = backup.copies("1");
        QCOMPARE(copies.size(), UserListBackup::kept);
        QVERIFY(copies.last().startsWith(backup.folder() + "/1/userlist-"));
        BadpixelListModel restored;
        restored.importFromFile(copies.last());
        QCOMPARE(restored.pixels().size(), 12);
        QCOMPARE(rowsText(restored).section(' ', -1), QStringLiteral("12,500,1"));
        restored.importFromFile(copies.first());
        QCOMPARE(restored.pixels().size(), 3);

        // Without a copy nothing is written: the camera keeps its list.
        model.clearUserBadpixelList();
        record(TV_HP_USER_LIST_READ, 1);
        QCOMPARE(THROWN(model.writeBadpixelList(m_camera.get())),
                 "Can't read the camera's user list to keep a copy of it: " + tavoStatusText(7)
                         + ". Nothing was written.");
        QVERIFY(QDir(backup.cameraFolder("1")).removeRecursively());
        QFile blocker(backup.cameraFolder("1"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QVERIFY(THROWN(model.writeBadpixelList(m_camera.get()))
                        .startsWith("Can't keep a copy of the camera's user list: can't create"));
        QVERIFY(blocker.remove());
        QVERIFY(!commands.contains(TV_HP_USER_LIST_ERASE));
        m_camera->close(); // the camera keeps its list over a close
        m_camera->open(1);
        model.getBadpixelList(m_camera.get());
        QCOMPARE(model.pixels().size(), 5 + 13);
        QCOMPARE(rowsText(model).section(' ', 5, 5), QStringLiteral("1279,1023,1"));
    }
};

QTEST_MAIN(tst_BadpixelListModel)
#include "tst_badpixellistmodel.moc"
