// The hot pixel list model on its own: classes, table behaviour, list
// operations, sorting and the text list file.

#include "hotpixel/badpixellistmodel.h"

#include <QFile>
#include <QPoint>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <stdexcept>

namespace {

struct Row
{
    int x;
    int y;
    int pixelClass;
};

// Builds a model holding the given rows in this order, whatever their classes,
// through the public operations only.
void fill(BadpixelListModel &model, const QList<Row> &rows)
{
    for (const Row &row : rows) {
        const int at = model.rowCount();
        model.insertRows(at, 1);
        QVERIFY(model.setData(model.index(at, 0), row.x));
        QVERIFY(model.setData(model.index(at, 1), row.y));
        // Classes other than 0 and 1 only come in through a text import.
        if (row.pixelClass == 0)
            QVERIFY(model.setData(model.index(at, 2), QStringLiteral("factory")));
    }
}

QString rowsText(const BadpixelListModel &model)
{
    QStringList parts;
    for (const BadpixelEntry &e : model.pixels())
        parts << QStringLiteral("%1,%2,%3").arg(e.x).arg(e.y).arg(e.pixelClass);
    return parts.join(QLatin1Char(' '));
}

QString classesText(const BadpixelListModel &model)
{
    QStringList parts;
    for (const BadpixelEntry &e : model.pixels())
        parts << QString::number(e.pixelClass);
    return parts.join(QLatin1Char(' '));
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
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

} // namespace

class tst_BadpixelListModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void entryIsPlainValue();
    void emptyModel();
    void addPixel();
    void classTexts_data();
    void classTexts();
    void dataBounds();
    void setData_data();
    void setData();
    void insertAndRemoveRows();
    void removePixelRow();
    void clearUserBadpixelList();
    void clearBadpixelList();
    void indexOfPixel_data();
    void indexOfPixel();
    void sort_data();
    void sort();
    void sortErrors();
    void sortManyEqualKeys();

    void exportAsFile();
    void exportFailure();
    void importLines_data();
    void importLines();
    void importReplacesUserRows();
    void importMissingFile();
    void exportImportRoundTrip();
};

void tst_BadpixelListModel::initTestCase()
{
    qRegisterMetaType<QList<QPersistentModelIndex>>();
    qRegisterMetaType<QAbstractItemModel::LayoutChangeHint>();
}

void tst_BadpixelListModel::entryIsPlainValue()
{
    QVERIFY(!QTypeInfo<BadpixelEntry>::isComplex);
    QVERIFY(!QTypeInfo<BadpixelEntry>::isStatic);
    QCOMPARE(sizeof(BadpixelEntry), std::size_t(6));
}

void tst_BadpixelListModel::emptyModel()
{
    BadpixelListModel model;
    QCOMPARE(model.userLimit, 0);
    QCOMPARE(model.factoryLimit, 0);
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.columnCount(), 3);
    QCOMPARE(model.headerData(0, Qt::Horizontal).toString(), QStringLiteral("x"));
    QCOMPARE(model.headerData(1, Qt::Horizontal).toString(), QStringLiteral("y"));
    QCOMPARE(model.headerData(2, Qt::Horizontal).toString(), QStringLiteral("class"));
    QCOMPARE(model.headerData(2, Qt::Horizontal, Qt::ToolTipRole), QVariant());
    const QVariant vertical = model.headerData(7, Qt::Vertical);
    QCOMPARE(vertical.userType(), int(QMetaType::Int));
    QCOMPARE(vertical.toInt(), 7);
    QCOMPARE(model.headerData(7, Qt::Vertical, Qt::EditRole), QVariant());

    // Never editable, even where there is no item.
    QCOMPARE(int(model.flags(QModelIndex())), 33);
    model.addPixel(QPoint(1, 2));
    QCOMPARE(int(model.flags(model.index(0, 2))), 33);
}

void tst_BadpixelListModel::addPixel()
{
    BadpixelListModel model;
    QSignalSpy added(&model, &BadpixelListModel::pixelAdded);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);

    QVERIFY(model.addPixel(QPoint(10, 20)));
    QCOMPARE(added.count(), 1);
    QCOMPARE(added.at(0).at(0).toInt(), 1);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.at(0).at(1).toInt(), 0);
    QCOMPARE(inserted.at(0).at(2).toInt(), 0);
    QCOMPARE(rowsText(model), QStringLiteral("10,20,1"));

    // A user row blocks the same position; a neighbour does not.
    QVERIFY(!model.addPixel(QPoint(10, 20)));
    QVERIFY(model.addPixel(QPoint(10, 21)));
    QCOMPARE(inserted.count(), 2);
    QCOMPARE(inserted.at(1).at(1).toInt(), 1);

    // A factory row blocks too.
    model.setData(model.index(1, 2), QStringLiteral("factory"));
    added.clear();
    inserted.clear();
    QVERIFY(!model.addPixel(QPoint(10, 21)));
    QCOMPARE(added.count(), 0);
    QCOMPARE(inserted.count(), 0);

    // Coordinates are cut to 16 bits before the comparison.
    QVERIFY(!model.addPixel(QPoint(10 + 65536, 20)));
    QVERIFY(model.addPixel(QPoint(-1, 70000)));
    QCOMPARE(model.pixelAt(2).x, quint16(65535));
    QCOMPARE(model.pixelAt(2).y, quint16(4464));
    QCOMPARE(rowsText(model), QStringLiteral("10,20,1 10,21,0 65535,4464,1"));
}

void tst_BadpixelListModel::classTexts_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("text");

    QTest::newRow("0") << QByteArray("5 6 0") << QStringLiteral("ignore");
    QTest::newRow("1") << QByteArray("5 6 1") << QStringLiteral("user");
    QTest::newRow("2") << QByteArray("5 6 2") << QStringLiteral("factory");
    QTest::newRow("255") << QByteArray("5 6 255") << QStringLiteral("factory");
}

void tst_BadpixelListModel::classTexts()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, text);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("one.txt"));
    QVERIFY(writeFile(path, line));
    BadpixelListModel model;
    model.importFromFile(path);
    QCOMPARE(model.rowCount(), 1);
    for (int role : {int(Qt::DisplayRole), int(Qt::EditRole)}) {
        QCOMPARE(model.data(model.index(0, 0), role), QVariant(5));
        QCOMPARE(model.data(model.index(0, 1), role), QVariant(6));
        QCOMPARE(model.data(model.index(0, 2), role), QVariant(text));
    }
}

void tst_BadpixelListModel::dataBounds()
{
    BadpixelListModel model;
    model.addPixel(QPoint(3, 4));
    QCOMPARE(model.data(model.index(0, 0)).userType(), int(QMetaType::Int));
    QCOMPARE(model.data(model.index(0, 2)).userType(), int(QMetaType::QString));
    QCOMPARE(model.data(model.index(0, 0), Qt::ToolTipRole), QVariant());
    QCOMPARE(model.data(model.index(1, 0)), QVariant());
    QCOMPARE(model.data(model.index(0, 3)), QVariant());
    QCOMPARE(model.data(QModelIndex()), QVariant());

    // An index made by another model with a row beyond this list.
    BadpixelListModel bigger;
    bigger.addPixel(QPoint(1, 1));
    bigger.addPixel(QPoint(2, 2));
    QCOMPARE(model.data(bigger.index(1, 0)), QVariant());
}

void tst_BadpixelListModel::setData_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("row");

    // The row starts as a user pixel at (10, 20).
    QTest::newRow("x") << 0 << QVariant(7) << true << "7,20,1";
    QTest::newRow("x from text") << 0 << QVariant(QStringLiteral("123")) << true << "123,20,1";
    QTest::newRow("x cut to 16 bits") << 0 << QVariant(70000) << true << "4464,20,1";
    QTest::newRow("x negative") << 0 << QVariant(-1) << true << "65535,20,1";
    QTest::newRow("x not a number") << 0 << QVariant(QStringLiteral("seven")) << false << "10,20,1";
    QTest::newRow("y") << 1 << QVariant(65535) << true << "10,65535,1";
    QTest::newRow("y cut to 16 bits") << 1 << QVariant(65536 + 9) << true << "10,9,1";
    QTest::newRow("y not a number") << 1 << QVariant() << false << "10,20,1";
    QTest::newRow("factory") << 2 << QVariant(QStringLiteral("factory")) << true << "10,20,0";
    QTest::newRow("user") << 2 << QVariant(QStringLiteral("user")) << true << "10,20,1";
    QTest::newRow("ignore") << 2 << QVariant(QStringLiteral("ignore")) << false << "10,20,1";
    QTest::newRow("Factory") << 2 << QVariant(QStringLiteral("Factory")) << false << "10,20,1";
    QTest::newRow("USER") << 2 << QVariant(QStringLiteral("USER")) << false << "10,20,1";
    QTest::newRow("class number") << 2 << QVariant(0) << false << "10,20,1";
    QTest::newRow("column 3") << 3 << QVariant(1) << false << "10,20,1";
}

void tst_BadpixelListModel::setData()
{
    QFETCH(int, column);
    QFETCH(QVariant, value);
    QFETCH(bool, accepted);
    QFETCH(QString, row);

    BadpixelListModel model;
    model.addPixel(QPoint(10, 20));
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    const QModelIndex index = model.index(0, column);

    // The role is not looked at.
    QCOMPARE(model.setData(index, value, Qt::DecorationRole), accepted);
    QCOMPARE(rowsText(model), row);
    QCOMPARE(changed.count(), accepted ? 1 : 0);
    if (accepted) {
        QCOMPARE(changed.at(0).at(0).toModelIndex(), index);
        QCOMPARE(changed.at(0).at(1).toModelIndex(), index);
        QVERIFY(changed.at(0).at(2).value<QVector<int>>().isEmpty());
    }
}

void tst_BadpixelListModel::insertAndRemoveRows()
{
    BadpixelListModel model;
    model.addPixel(QPoint(1, 1));
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);

    QVERIFY(model.insertRows(0, 2));
    QCOMPARE(rowsText(model), QStringLiteral("0,0,1 0,0,1 1,1,1"));
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.at(0).at(1).toInt(), 0);
    QCOMPARE(inserted.at(0).at(2).toInt(), 1);
    QVERIFY(model.insertRow(3));
    QCOMPARE(model.rowCount(), 4);

    // Class does not matter at this level, and rows beyond the list are
    // passed over.
    model.setData(model.index(3, 2), QStringLiteral("factory"));
    QVERIFY(model.removeRows(2, 5));
    QCOMPARE(rowsText(model), QStringLiteral("0,0,1 0,0,1"));
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.at(0).at(1).toInt(), 2);
    QCOMPARE(removed.at(0).at(2).toInt(), 6);
}

void tst_BadpixelListModel::removePixelRow()
{
    BadpixelListModel model;
    QVERIFY(!model.removePixelRow(0, QModelIndex()));

    fill(model, {{1, 1, 0}, {2, 2, 1}, {3, 3, 1}});
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QVERIFY(!model.removePixelRow(0, QModelIndex()));
    QCOMPARE(removed.count(), 0);
    QCOMPARE(model.rowCount(), 3);

    // The parent is not looked at.
    QVERIFY(model.removePixelRow(1, model.index(0, 0)));
    QCOMPARE(rowsText(model), QStringLiteral("1,1,0 3,3,1"));
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.at(0).at(0).toModelIndex(), QModelIndex());
    QCOMPARE(removed.at(0).at(1).toInt(), 1);
    QCOMPARE(removed.at(0).at(2).toInt(), 1);
}

void tst_BadpixelListModel::clearUserBadpixelList()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("mixed.txt"));
    QVERIFY(writeFile(path, "1 1 1\n2 2 0\n3 3 1\n4 4 1\n5 5 2\n6 6 1\n"));
    BadpixelListModel model;
    model.importFromFile(path);
    QCOMPARE(classesText(model), QStringLiteral("1 0 1 1 2 1"));

    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    model.clearUserBadpixelList();
    QCOMPARE(rowsText(model), QStringLiteral("2,2,0 5,5,2"));
    // One removal a row, each at the position the row had then.
    QCOMPARE(removed.count(), 4);
    const int expectedRows[] = {0, 1, 1, 2};
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(removed.at(i).at(1).toInt(), expectedRows[i]);
        QCOMPARE(removed.at(i).at(2).toInt(), expectedRows[i]);
    }

    removed.clear();
    model.clearUserBadpixelList();
    QCOMPARE(removed.count(), 0);
    QCOMPARE(model.rowCount(), 2);
}

void tst_BadpixelListModel::clearBadpixelList()
{
    BadpixelListModel model;
    QSignalSpy aboutToRemove(&model, &QAbstractItemModel::rowsAboutToBeRemoved);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    model.clearBadpixelList();
    QCOMPARE(aboutToRemove.count(), 0);

    fill(model, {{1, 1, 0}, {2, 2, 1}, {3, 3, 1}});
    model.userLimit = 10;
    model.factoryLimit = 1;
    model.clearBadpixelList();
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.at(0).at(1).toInt(), 0);
    QCOMPARE(removed.at(0).at(2).toInt(), 2);
    // The limits belong to the camera last read, not to the rows.
    QCOMPARE(model.userLimit, 10);
    QCOMPARE(model.factoryLimit, 1);
}

void tst_BadpixelListModel::indexOfPixel_data()
{
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("tolerance");
    QTest::addColumn<int>("row");

    // Rows: (100, 100) factory, (103, 100) user, (0, 0) user.
    QTest::newRow("exact") << 100 << 100 << 1 << 0;
    QTest::newRow("exact second") << 103 << 100 << 1 << 1;
    QTest::newRow("one off, exact wanted") << 101 << 100 << 1 << -1;
    QTest::newRow("tolerance 0 finds nothing") << 100 << 100 << 0 << -1;
    QTest::newRow("first in list order wins") << 102 << 100 << 7 << 0;
    QTest::newRow("bound is open in x") << 105 << 100 << 3 << 1;
    QTest::newRow("bound is open in x, beyond") << 106 << 100 << 3 << -1;
    QTest::newRow("bound is open in y") << 100 << 106 << 7 << 0;
    QTest::newRow("bound is open in y, beyond") << 100 << 107 << 7 << -1;
    QTest::newRow("signed near the origin") << -6 << -6 << 7 << 2;
    QTest::newRow("signed near the origin, beyond") << -7 << 0 << 7 << -1;
}

void tst_BadpixelListModel::indexOfPixel()
{
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, tolerance);
    QFETCH(int, row);

    BadpixelListModel model;
    fill(model, {{100, 100, 0}, {103, 100, 1}, {0, 0, 1}});
    const QModelIndex index = model.indexOfPixel(x, y, tolerance);
    if (row < 0) {
        QVERIFY(!index.isValid());
    } else {
        QVERIFY(index.isValid());
        QCOMPARE(index.row(), row);
        QCOMPARE(index.column(), 0);
        QCOMPARE(index.model(), &model);
    }
}

void tst_BadpixelListModel::sort_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("order");
    QTest::addColumn<QString>("rows");

    // Starting rows: 300,5,1  2,70,0  40000,9,2  17,65535,1
    QTest::newRow("x ascending") << 0 << int(Qt::AscendingOrder)
                                 << "2,70,0 17,65535,1 300,5,1 40000,9,2";
    QTest::newRow("x descending") << 0 << int(Qt::DescendingOrder)
                                  << "40000,9,2 300,5,1 17,65535,1 2,70,0";
    QTest::newRow("y ascending") << 1 << int(Qt::AscendingOrder)
                                 << "300,5,1 40000,9,2 2,70,0 17,65535,1";
    QTest::newRow("y descending") << 1 << int(Qt::DescendingOrder)
                                  << "17,65535,1 2,70,0 40000,9,2 300,5,1";
    // By number, not by the text the column shows.
    QTest::newRow("class ascending") << 2 << int(Qt::AscendingOrder) << "0 1 1 2";
    QTest::newRow("class descending") << 2 << int(Qt::DescendingOrder) << "2 1 1 0";
}

void tst_BadpixelListModel::sort()
{
    QFETCH(int, column);
    QFETCH(int, order);
    QFETCH(QString, rows);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("rows.txt"));
    QVERIFY(writeFile(path, "300 5 1\n2 70 0\n40000 9 2\n17 65535 1\n"));
    BadpixelListModel model;
    model.importFromFile(path);

    QSignalSpy aboutToChange(&model, &QAbstractItemModel::layoutAboutToBeChanged);
    QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
    model.sort(column, Qt::SortOrder(order));
    QCOMPARE(column == 2 ? classesText(model) : rowsText(model), rows);
    QCOMPARE(changed.count(), 1);
    QVERIFY(changed.at(0).at(0).value<QList<QPersistentModelIndex>>().isEmpty());
    QCOMPARE(changed.at(0).at(1).value<QAbstractItemModel::LayoutChangeHint>(),
             QAbstractItemModel::NoLayoutChangeHint);
    QCOMPARE(aboutToChange.count(), 0);
}

void tst_BadpixelListModel::sortErrors()
{
    BadpixelListModel model;
    QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);

    // Nothing to sort: nothing compared, nothing told.
    model.sort(3, Qt::AscendingOrder);
    model.sort(0, Qt::AscendingOrder);
    QCOMPARE(changed.count(), 0);

    // One row compares nothing, so even a bad column passes.
    model.addPixel(QPoint(1, 2));
    model.sort(3, Qt::AscendingOrder);
    QCOMPARE(changed.count(), 1);

    model.addPixel(QPoint(3, 4));
    QCOMPARE(thrownText([&] { model.sort(3, Qt::AscendingOrder); }), QStringLiteral("Sort Error"));
    QCOMPARE(thrownText([&] { model.sort(-1, Qt::DescendingOrder); }),
             QStringLiteral("Sort Error"));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(model.rowCount(), 2);

    BadpixelSort byX(0, Qt::AscendingOrder);
    QVERIFY(byX(BadpixelEntry {1, 9, 1}, BadpixelEntry {2, 0, 0}));
    QVERIFY(!byX(BadpixelEntry {2, 0, 0}, BadpixelEntry {2, 9, 1}));
}

void tst_BadpixelListModel::sortManyEqualKeys()
{
    // Enough rows for the partitioning and the heap sort to take part.
    BadpixelListModel model;
    for (int i = 0; i < 500; ++i)
        model.addPixel(QPoint((i * 37) % 11, i));
    model.sort(0, Qt::AscendingOrder);

    QCOMPARE(model.rowCount(), 500);
    QSet<int> ys;
    for (int row = 0; row < model.rowCount(); ++row) {
        if (row > 0)
            QVERIFY(model.pixelAt(row - 1).x <= model.pixelAt(row).x);
        ys.insert(model.pixelAt(row).y);
    }
    // Every row is still there once, in whatever order among equal keys.
    QCOMPARE(ys.size(), 500);
}

void tst_BadpixelListModel::exportAsFile()
{
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.txt"));
    QVERIFY(writeFile(input, "12 345 1\n7 8 0\n65535 0 1\n9 9 2\n0 65535 1\n"));
    BadpixelListModel model;
    model.importFromFile(input);
    const QList<BadpixelEntry> before = model.pixels();

    const QString output = dir.filePath(QStringLiteral("out.txt"));
    QVERIFY(writeFile(output, "older and longer contents that must go entirely\n"));
    model.exportAsFile(output);
    QCOMPARE(readFile(output), QByteArray("12 345 1\n65535 0 1\n0 65535 1\n"));
    QCOMPARE(model.rowCount(), before.size());

    // No user pixel: an empty file.
    model.clearUserBadpixelList();
    model.exportAsFile(output);
    QCOMPARE(readFile(output), QByteArray());
}

void tst_BadpixelListModel::exportFailure()
{
    QTemporaryDir dir;
    BadpixelListModel model;
    model.addPixel(QPoint(1, 2));

    const QString intoMissingFolder = dir.filePath(QStringLiteral("no/such/folder/list.txt"));
    QCOMPARE(thrownText([&] { model.exportAsFile(intoMissingFolder); }),
             QStringLiteral("Can't open file for writing."));
    QVERIFY(!QFile::exists(intoMissingFolder));

    // An existing file that can't be written stays as it was.
    const QString readOnly = dir.filePath(QStringLiteral("readonly.txt"));
    QVERIFY(writeFile(readOnly, "5 5 1\n"));
    QVERIFY(QFile::setPermissions(readOnly, QFile::ReadOwner));
    if (QFile(readOnly).open(QIODevice::WriteOnly))
        QSKIP("running with rights that ignore file permissions");
    QCOMPARE(thrownText([&] { model.exportAsFile(readOnly); }),
             QStringLiteral("Can't open file for writing."));
    QCOMPARE(readFile(readOnly), QByteArray("5 5 1\n"));
    QCOMPARE(model.rowCount(), 1);
}

void tst_BadpixelListModel::importLines_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("rows");

    QTest::newRow("plain") << QByteArray("12 345 1\n") << "12,345,1";
    QTest::newRow("number bases") << QByteArray("0x10 010 1\n") << "16,8,1";
    QTest::newRow("binary prefix") << QByteArray("0b101 0X1f 1\n") << "5,31,1";
    QTest::newRow("x cut to 16 bits") << QByteArray("70000 1 1\n") << "4464,1,1";
    QTest::newRow("class cut to 8 bits") << QByteArray("1 2 257\n") << "1,2,1";
    QTest::newRow("class kept as written") << QByteArray("1 2 200\n") << "1,2,200";
    QTest::newRow("two numbers") << QByteArray("10 20\n") << "10,20,0";
    QTest::newRow("no digits") << QByteArray("hello\n") << "0,0,0";
    QTest::newRow("empty line between") << QByteArray("1 1 1\n\n2 2 1\n") << "1,1,1 0,0,0 2,2,1";
    QTest::newRow("no final newline") << QByteArray("1 1 1\n2 2 1") << "1,1,1 2,2,1";
    QTest::newRow("blanks, tabs, trailing words")
            << QByteArray("  \t3\t4  1 trailing words 9\n") << "3,4,1";
    QTest::newRow("CR LF line ends") << QByteArray("3 4 1\r\n5 6 1\r\n") << "3,4,1 5,6,1";
    QTest::newRow("duplicates kept") << QByteArray("3 4 1\n3 4 1\n") << "3,4,1 3,4,1";
    QTest::newRow("empty file") << QByteArray() << "";
}

void tst_BadpixelListModel::importLines()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, rows);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("list.txt"));
    QVERIFY(writeFile(path, contents));
    BadpixelListModel model;
    QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
    QSignalSpy added(&model, &BadpixelListModel::pixelAdded);
    model.importFromFile(path);
    QCOMPARE(rowsText(model), rows);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(added.count(), 0);
}

void tst_BadpixelListModel::importReplacesUserRows()
{
    QTemporaryDir dir;
    const QString first = dir.filePath(QStringLiteral("first.txt"));
    const QString second = dir.filePath(QStringLiteral("second.txt"));
    QVERIFY(writeFile(first, "1 1 1\n7 7 0\n2 2 1\n8 8 3\n"));
    QVERIFY(writeFile(second, "7 7 1\n5 5 1\n"));

    BadpixelListModel model;
    model.importFromFile(first);
    model.importFromFile(second);
    // Other classes stay in front in their order; a user pixel on a factory
    // position is taken all the same.
    QCOMPARE(rowsText(model), QStringLiteral("7,7,0 8,8,3 7,7,1 5,5,1"));
}

void tst_BadpixelListModel::importMissingFile()
{
    QTemporaryDir dir;
    const QString list = dir.filePath(QStringLiteral("list.txt"));
    QVERIFY(writeFile(list, "1 1 1\n7 7 0\n2 2 1\n"));
    BadpixelListModel model;
    model.importFromFile(list);

    QSignalSpy changed(&model, &QAbstractItemModel::layoutChanged);
    for (const QString &path : {dir.filePath(QStringLiteral("missing.txt")), dir.path()}) {
        QCOMPARE(thrownText([&] { model.importFromFile(path); }),
                 QStringLiteral("Can't open file for reading."));
        // The user pixels were dropped before the file was opened.
        QCOMPARE(rowsText(model), QStringLiteral("7,7,0"));
    }
    QCOMPARE(changed.count(), 0);
}

void tst_BadpixelListModel::exportImportRoundTrip()
{
    BadpixelListModel model;
    fill(model, {{9, 9, 0}, {300, 2, 1}, {0, 0, 1}, {65535, 65535, 1}, {9, 9, 1}, {4, 4, 0}});
    QCOMPARE(model.rowCount(), 6);
    const QString before = rowsText(model);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("list with blanks.txt"));
    model.exportAsFile(path);
    model.importFromFile(path);
    QCOMPARE(rowsText(model), QStringLiteral("9,9,0 4,4,0 300,2,1 0,0,1 65535,65535,1 9,9,1"));
    QVERIFY(before != rowsText(model));

    // Again: export and import are stable once the user rows are at the end.
    model.exportAsFile(path);
    const QString settled = rowsText(model);
    model.importFromFile(path);
    QCOMPARE(rowsText(model), settled);
}

QTEST_GUILESS_MAIN(tst_BadpixelListModel)
#include "tst_badpixellistmodel.moc"
