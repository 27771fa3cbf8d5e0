#include "camera/camera.h"
#include "camera/cameralistmodel.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include "simulator/tavosim_control.h"

#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {

using ApiSpy::entry;

QVector<quint32> deviceIds(const CameraListModel &model)
{
    QVector<quint32> ids;
    for (int row = 0; row < model.rowCount(); ++row)
        ids.append(model.cameraListEntry(row).deviceId);
    return ids;
}

QVector<quint32> cameraIds(const CameraListModel &model)
{
    QVector<quint32> ids;
    for (int row = 0; row < model.rowCount(); ++row)
        ids.append(model.cameraListEntry(row).cameraId);
    return ids;
}

QString status(const CameraListModel &model, int row)
{
    return model.data(model.index(row, 4)).toString();
}

} // namespace

class tst_CameraListModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cameraRow();
    void cells();
    void pollsTheFleet();
    void rowsFollowDeviceIds();
    void openAndInUse();
    void heldByAnotherProcess();
    void hotPlug();
    void libraryFailures();
    void sort_data();
    void sort();
    void sortEdges();
    void timer();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_CameraListModel::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_CameraListModel::init()
{
    tvsim_reset();
    ApiSpy::reset();
}

void tst_CameraListModel::cleanup()
{
    ApiSpy::reset();
    tvsim_reset();
}

void tst_CameraListModel::cameraRow()
{
    const CameraRow none;
    QVERIFY(!none.open);
    QCOMPARE(none.deviceId, 0u);
    QVERIFY(none.serial.isNull());
    QVERIFY(!none.value(5).isValid());

    CameraListEntry raw = entry(4, 7, 1, "123456789012345", "TV-X", 99);
    CameraRow row(raw);
    QCOMPARE(row.cameraId, 4u);
    QCOMPARE(row.deviceId, 7u);
    QCOMPARE(row.thirdWord, 99u);
    QCOMPARE(row.serial, QStringLiteral("123456789012345"));
    QCOMPARE(row.model, QStringLiteral("TV-X"));
    QVERIFY(!row.open);
    QCOMPARE(row.value(0), QVariant(qulonglong(4)));
    QCOMPARE(row.value(1).userType(), int(QMetaType::ULongLong));
    QCOMPARE(row.value(2).toString(), QStringLiteral("TV-X"));
    QCOMPARE(row.value(3).toString(), QStringLiteral("123456789012345"));

    // The library's word decides "free" before our own flag.
    QCOMPARE(row.value(4).toString(), QStringLiteral("in use"));
    row.open = true;
    QCOMPARE(row.value(4).toString(), QStringLiteral("opened"));
    row.inUse = 0;
    QCOMPARE(row.value(4).toString(), QStringLiteral("free"));

    // Every field counts in the comparison, the third word too.
    const CameraRow same(raw);
    QVERIFY(same == CameraRow(raw));
    CameraListEntry other = raw;
    other.thirdWord = 98;
    QVERIFY(CameraRow(other) != same);
}

void tst_CameraListModel::cells()
{
    ApiSpy::replaceCameraList({entry(1, 2, 0, "S1", "M1")});
    CameraListModel model(100000);
    model.updateList();
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(model.columnCount(), 5);
    QCOMPARE(model.data(model.index(0, 1)), QVariant(qulonglong(2)));
    QVERIFY(!model.data(model.index(0, 1), Qt::EditRole).isValid());
    QVERIFY(!model.data(QModelIndex()).isValid());
    QVERIFY(!model.data(model.index(1, 0)).isValid());
    QStringList titles;
    for (int section = 0; section < 5; ++section)
        titles.append(model.headerData(section, Qt::Horizontal).toString());
    QCOMPARE(titles, (QStringList {"Cam", "Dev", "Model", "SerNo", "Status"}));
    QCOMPARE(model.headerData(3, Qt::Vertical), QVariant(3));
    QVERIFY(!model.headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
    QVERIFY(model.cameraListEntry(5) == CameraRow());
}

void tst_CameraListModel::pollsTheFleet()
{
    CameraListModel model(100000);
    QSignalSpy changed(&model, &CameraListModel::somethingChanged);
    QSignalSpy select(&model, &CameraListModel::rowToSelect);
    QSignalSpy updated(&model, &QAbstractItemModel::dataChanged);
    QCOMPARE(model.rowCount(), 0);

    model.updateList();
    QCOMPARE(model.rowCount(), 3);
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 2, 3}));
    QCOMPARE(model.data(model.index(1, 2)).toString(), QStringLiteral("TV-C3100"));
    QCOMPARE(model.data(model.index(2, 3)).toString(), QStringLiteral("4103000103"));
    QCOMPARE(status(model, 0), QStringLiteral("free"));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(select.count(), 1);
    QCOMPARE(select.first().first().toInt(), 0);

    // Nothing new: only the selection hint.
    model.updateList();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(updated.count(), 0);
    QCOMPARE(select.count(), 2);
}

void tst_CameraListModel::rowsFollowDeviceIds()
{
    CameraListModel model(100000);
    QSignalSpy changed(&model, &CameraListModel::somethingChanged);
    QSignalSpy updated(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);

    ApiSpy::replaceCameraList({entry(1, 1, 0, "A", "MA"), entry(2, 2, 0, "B", "MB")});
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 2}));

    // Reported in another order, one changed: updated in place.
    ApiSpy::replaceCameraList({entry(2, 2, 1, "B", "MB"), entry(1, 1, 0, "A", "MA")});
    inserted.clear();
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 2}));
    QCOMPARE(updated.count(), 1);
    QCOMPARE(updated.first().at(0).toModelIndex(), model.index(1, 0));
    QCOMPARE(updated.first().at(1).toModelIndex(), model.index(1, 4));
    QCOMPARE(status(model, 1), QStringLiteral("in use"));
    QCOMPARE(inserted.count(), 0);
    QCOMPARE(changed.count(), 2);

    // Device 2 went and device 3 came: removed, then added at the end.
    ApiSpy::replaceCameraList({entry(3, 3, 0, "C", "MC"), entry(1, 1, 0, "A", "MA")});
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 3}));
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.first().at(1).toInt(), 1);
    QCOMPARE(inserted.count(), 1);

    // A camera back with its old device id takes no new row; with a new one
    // its old row goes and a new one is appended.
    ApiSpy::replaceCameraList({entry(1, 1, 0, "A", "MA"), entry(3, 9, 0, "C", "MC")});
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 9}));

    // One device id reported twice: the first is the row, the second is new.
    ApiSpy::replaceCameraList({entry(1, 1, 0, "A", "MA"), entry(5, 1, 0, "A2", "MA2")});
    model.updateList();
    QCOMPARE(cameraIds(model), (QVector<quint32> {1, 5}));

    // All gone: one removal of every row.
    removed.clear();
    changed.clear();
    ApiSpy::replaceCameraList({});
    model.updateList();
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.first().at(1).toInt(), 0);
    QCOMPARE(removed.first().at(2).toInt(), 1);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(ApiSpy::count("tv_GetCameraList"), 5);
    model.updateList();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(ApiSpy::count("tv_GetCameraList"), 5);
}

void tst_CameraListModel::openAndInUse()
{
    CameraListModel model(100000);
    Camera camera;
    model.updateList();
    camera.open(1);
    model.updateList();
    QCOMPARE(status(model, 0), QStringLiteral("in use"));

    // "opened" only from the poll after the camera is made known.
    model.setOpenCamera(&camera);
    QCOMPARE(status(model, 0), QStringLiteral("in use"));
    model.updateList();
    QCOMPARE(status(model, 0), QStringLiteral("opened"));
    QVERIFY(model.cameraListEntry(0).open);
    QCOMPARE(status(model, 1), QStringLiteral("free"));

    camera.close();
    model.clearOpenCamera();
    QCOMPARE(status(model, 0), QStringLiteral("opened"));
    model.updateList();
    QCOMPARE(status(model, 0), QStringLiteral("free"));
    QVERIFY(!model.cameraListEntry(0).open);

    // With no camera open, a taken camera without a serial counts as ours.
    ApiSpy::replaceCameraList({entry(1, 1, 1, "", "M"), entry(2, 2, 1, "S", "M")});
    model.updateList();
    QCOMPARE(status(model, 0), QStringLiteral("opened"));
    QCOMPARE(status(model, 1), QStringLiteral("in use"));
}

void tst_CameraListModel::heldByAnotherProcess()
{
    const QString tool = qEnvironmentVariable("TAVO_SIM_BIN_DIR") + QStringLiteral("/tavo-sim");
    if (!QFileInfo(tool).isExecutable())
        QSKIP("tavo-sim is not built");
    CameraListModel model(100000);
    model.updateList();
    QCOMPARE(status(model, 1), QStringLiteral("free"));

    QProcess holder;
    holder.start(tool, {QStringLiteral("hold"), QStringLiteral("4103000102")});
    QVERIFY(holder.waitForStarted(10000));
    QTRY_COMPARE_WITH_TIMEOUT((model.updateList(), status(model, 1)), QStringLiteral("in use"),
                              20000);
    QCOMPARE(status(model, 0), QStringLiteral("free"));

    // Our own camera can't be that one.
    Camera camera;
    QVERIFY_EXCEPTION_THROWN(camera.open(2), std::runtime_error);

    holder.kill();
    QVERIFY(holder.waitForFinished(10000));
    QTRY_COMPARE_WITH_TIMEOUT((model.updateList(), status(model, 1)), QStringLiteral("free"),
                              20000);
}

void tst_CameraListModel::hotPlug()
{
    CameraListModel model(100000);
    model.updateList();
    if (tvsim_plug("4103000102", 0) != 0)
        QSKIP("The simulated library can't unplug cameras yet");
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 3}));
    QCOMPARE(tvsim_plug("4103000102", 1), 0);
    model.updateList();
    // Back at the end of the table.
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 3, 2}));
}

void tst_CameraListModel::libraryFailures()
{
    CameraListModel model(100000);
    model.updateList();
    QSignalSpy changed(&model, &CameraListModel::somethingChanged);
    QSignalSpy select(&model, &CameraListModel::rowToSelect);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);

    // The count fails: the rows stay, and the next poll tries again.
    QCOMPARE(tvsim_inject("tv_GetNumberOfCameras", 1, 1), 0);
    model.updateList();
    QCOMPARE(model.rowCount(), 3);
    QCOMPARE(ApiSpy::count("tv_GetCameraList"), 1);

    // The list fails.
    ApiSpy::fail("tv_GetCameraList", 1, 1);
    model.updateList();
    QCOMPARE(model.rowCount(), 3);

    QCOMPARE(changed.count(), 0);
    QCOMPARE(removed.count(), 0);
    QCOMPARE(select.count(), 2);
    model.updateList();
    QCOMPARE(ApiSpy::count("tv_GetCameraList"), 3);
}

void tst_CameraListModel::sort_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("order");
    QTest::addColumn<QVector<quint32>>("expected"); // camera ids

    // Rows: camera id, device id, status, model, serial.
    QTest::newRow("Cam up") << 0 << int(Qt::AscendingOrder) << QVector<quint32> {1, 2, 3, 4};
    QTest::newRow("Cam down") << 0 << int(Qt::DescendingOrder) << QVector<quint32> {4, 3, 2, 1};
    QTest::newRow("Model up") << 2 << int(Qt::AscendingOrder) << QVector<quint32> {3, 1, 4, 2};
    QTest::newRow("Model down") << 2 << int(Qt::DescendingOrder) << QVector<quint32> {2, 4, 1, 3};
    QTest::newRow("SerNo up") << 3 << int(Qt::AscendingOrder) << QVector<quint32> {4, 2, 1, 3};
    QTest::newRow("SerNo down") << 3 << int(Qt::DescendingOrder) << QVector<quint32> {3, 1, 2, 4};
    QTest::newRow("Status up") << 4 << int(Qt::AscendingOrder) << QVector<quint32> {2, 3, 1, 4};
    QTest::newRow("Status down") << 4 << int(Qt::DescendingOrder) << QVector<quint32> {4, 1, 2, 3};
}

void tst_CameraListModel::sort()
{
    QFETCH(int, column);
    QFETCH(int, order);
    QFETCH(QVector<quint32>, expected);

    // Status: 2 free, 3 free, 1 in use, 4 opened (in use with no serial).
    ApiSpy::replaceCameraList({entry(2, 2, 0, "S2", "Md"), entry(4, 4, 1, "", "Mc"),
                               entry(1, 1, 1, "S3", "Mb"), entry(3, 3, 0, "S4", "Ma")});
    CameraListModel model(100000);
    model.updateList();
    // A new row is only marked as ours from the poll after it appeared.
    QCOMPARE(status(model, 1), QStringLiteral("in use"));
    model.updateList();
    QCOMPARE(status(model, 1), QStringLiteral("opened"));
    int layouts = 0;
    int aboutToChange = 0;
    connect(&model, &QAbstractItemModel::layoutChanged, this, [&] { ++layouts; });
    connect(&model, &QAbstractItemModel::layoutAboutToBeChanged, this, [&] { ++aboutToChange; });
    model.sort(column, Qt::SortOrder(order));
    QCOMPARE(cameraIds(model), expected);
    QCOMPARE(layouts, 1);
    QCOMPARE(aboutToChange, 0);
}

void tst_CameraListModel::sortEdges()
{
    CameraListModel model(100000);
    int layouts = 0;
    connect(&model, &QAbstractItemModel::layoutChanged, this, [&] { ++layouts; });
    model.sort(0, Qt::AscendingOrder);
    QCOMPARE(layouts, 0);

    // One row: no comparison, so no error even for an unknown column.
    ApiSpy::replaceCameraList({entry(1, 10, 0, "A", "M")});
    model.updateList();
    model.sort(7, Qt::AscendingOrder);
    QCOMPARE(layouts, 1);

    // The Dev column sets the left row's device id against the right row's
    // camera id: here that keeps the order going up and turns it going down,
    // the reverse of sorting by device id.
    ApiSpy::replaceCameraList({entry(1, 10, 0, "A", "M"), entry(20, 2, 0, "B", "M")});
    model.updateList();
    model.sort(1, Qt::AscendingOrder);
    QCOMPARE(cameraIds(model), (QVector<quint32> {1, 20}));
    model.sort(1, Qt::DescendingOrder);
    QCOMPARE(cameraIds(model), (QVector<quint32> {20, 1}));

    // Many rows whose device ids all lie below all camera ids: the Dev
    // comparison says "before" for every pair, and the sort still stays
    // within the table and keeps every row.
    QVector<CameraListEntry> many;
    for (quint32 i = 0; i < 40; ++i)
        many.append(entry(100 + i, 1 + i, 0, "S", "M"));
    many.append(entry(50, 45, 0, "A", "M"));
    ApiSpy::replaceCameraList(many);
    model.updateList();
    model.sort(1, Qt::AscendingOrder);
    model.sort(1, Qt::DescendingOrder);
    QVector<quint32> ids = cameraIds(model);
    std::sort(ids.begin(), ids.end());
    QVector<quint32> expectedIds {50};
    for (quint32 i = 0; i < 40; ++i)
        expectedIds.append(100 + i);
    std::sort(expectedIds.begin(), expectedIds.end());
    QCOMPARE(ids, expectedIds);

    try {
        model.sort(5, Qt::AscendingOrder);
        QFAIL("no exception");
    } catch (const std::runtime_error &error) {
        QCOMPARE(QString::fromUtf8(error.what()), QStringLiteral("Sort Error"));
    }
    QCOMPARE(model.rowCount(), 41);
}

void tst_CameraListModel::timer()
{
    CameraListModel model(50);
    QSignalSpy select(&model, &CameraListModel::rowToSelect);
    QVERIFY(select.wait(10000));
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 3, 10000);
}

QTEST_GUILESS_MAIN(tst_CameraListModel)
#include "tst_cameralistmodel.moc"
