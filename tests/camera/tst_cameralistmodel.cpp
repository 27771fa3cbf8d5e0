#include "camera/camera.h"
#include "camera/cameralistmodel.h"
#include "tests/testutil/testutil.h"

#include "simulator/tavosim_control.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

QVector<quint32> deviceIds(const CameraListModel &model)
{
    QVector<quint32> ids;
    for (int row = 0; row < model.rowCount(); ++row)
        ids.append(model.cameraListEntry(row).deviceId);
    return ids;
}

QString cell(const CameraListModel &model, int row, int column = 4)
{
    return model.data(model.index(row, column)).toString();
}

} // namespace

class tst_CameraListModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_sim = std::make_unique<TestUtil::SimEnvironment>(); }
    void rowsFollowTheLibrary();
    void openedAndInUse();
    void sortEveryColumn_data();
    void sortEveryColumn();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_CameraListModel::rowsFollowTheLibrary()
{
    CameraListModel model(100000);
    QSignalSpy changed(&model, &CameraListModel::somethingChanged);
    QSignalSpy select(&model, &CameraListModel::rowToSelect);
    QSignalSpy updated(&model, &QAbstractItemModel::dataChanged);
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 2, 3}));
    QCOMPARE(cell(model, 1, 2), QStringLiteral("TV-C3100"));
    QCOMPARE(cell(model, 2, 3), QStringLiteral("4103000103"));
    QCOMPARE(select.takeFirst(), QVariantList {0});

    // A camera in use changes its row in place.
    Camera camera;
    camera.open(2);
    model.updateList();
    QCOMPARE(updated.count(), 1);
    QCOMPARE(cell(model, 1), QStringLiteral("in use"));
    camera.close();

    // Unplugged, the row goes; plugged in again, it comes back at the end.
    QCOMPARE(tvsim_plug("4103000102", 0), 0);
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 3}));
    QCOMPARE(tvsim_plug("4103000102", 1), 0);
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 3, 2}));
    QCOMPARE(cell(model, 2), QStringLiteral("free"));
    QCOMPARE(changed.count(), 4);

    // Nothing new, or a library failure: the rows stay as they are.
    model.updateList();
    QCOMPARE(tvsim_inject("tv_GetNumberOfCameras", 1, 1), 0);
    model.updateList();
    QCOMPARE(tvsim_inject("tv_GetCameraList", 1, 1), 0);
    model.updateList();
    QCOMPARE(deviceIds(model), (QVector<quint32> {1, 3, 2}));
    QCOMPARE(changed.count(), 4);
    QCOMPARE(select.count(), 6);
}

void tst_CameraListModel::openedAndInUse()
{
    CameraListModel model(50);
    Camera camera;
    camera.open(1);
    QTRY_COMPARE_WITH_TIMEOUT(cell(model, 0), QStringLiteral("in use"), 10000);

    // "opened" only from the poll after the camera is made known.
    model.setOpenCamera(&camera);
    QCOMPARE(cell(model, 0), QStringLiteral("in use"));
    model.updateList();
    QCOMPARE(cell(model, 0), QStringLiteral("opened"));
    camera.close();
    model.clearOpenCamera();
    QTRY_COMPARE_WITH_TIMEOUT(cell(model, 0), QStringLiteral("free"), 10000);

    // A serial number the library could not tell at opening is asked again.
    camera.open(1);
    QCOMPARE(tvsim_inject("tv_GetCameraInfo", 1, 1), 0);
    model.setOpenCamera(&camera);
    model.updateList();
    QCOMPARE(cell(model, 0), QStringLiteral("opened"));
    camera.close();
    model.clearOpenCamera();
    QTRY_COMPARE_WITH_TIMEOUT(cell(model, 0), QStringLiteral("free"), 10000);

    // A camera held by another process is "in use" and can't be opened here.
    TestUtil::SimHold hold(QStringLiteral("4103000102"));
    QVERIFY2(hold.isHolding(), qPrintable(hold.errors()));
    QTRY_COMPARE_WITH_TIMEOUT(cell(model, 1), QStringLiteral("in use"), 10000);
    QVERIFY_EXCEPTION_THROWN(camera.open(2), std::runtime_error);
    hold.stop();
    QTRY_COMPARE_WITH_TIMEOUT(cell(model, 1), QStringLiteral("free"), 10000);
}

void tst_CameraListModel::sortEveryColumn_data()
{
    // Camera 2 is in use; the models read TV-M1310, TV-C3100, TV-C1920.
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("order");
    QTest::addColumn<QVector<quint32>>("rows"); // the device ids in their new order
    QTest::newRow("Cam up") << 0 << int(Qt::AscendingOrder) << QVector<quint32> {1, 2, 3};
    QTest::newRow("Cam down") << 0 << int(Qt::DescendingOrder) << QVector<quint32> {3, 2, 1};
    QTest::newRow("Dev up") << 1 << int(Qt::AscendingOrder) << QVector<quint32> {1, 2, 3};
    QTest::newRow("Dev down") << 1 << int(Qt::DescendingOrder) << QVector<quint32> {3, 2, 1};
    QTest::newRow("Model up") << 2 << int(Qt::AscendingOrder) << QVector<quint32> {3, 2, 1};
    QTest::newRow("Model down") << 2 << int(Qt::DescendingOrder) << QVector<quint32> {1, 2, 3};
    QTest::newRow("SerNo up") << 3 << int(Qt::AscendingOrder) << QVector<quint32> {1, 2, 3};
    QTest::newRow("SerNo down") << 3 << int(Qt::DescendingOrder) << QVector<quint32> {3, 2, 1};
    QTest::newRow("Status up") << 4 << int(Qt::AscendingOrder) << QVector<quint32> {1, 3, 2};
    QTest::newRow("Status down") << 4 << int(Qt::DescendingOrder) << QVector<quint32> {2, 1, 3};
    QTest::newRow("no such column") << 5 << int(Qt::AscendingOrder) << QVector<quint32>();
}

void tst_CameraListModel::sortEveryColumn()
{
    QFETCH(int, column);
    QFETCH(int, order);
    QFETCH(QVector<quint32>, rows);
    CameraListModel model(100000);
    Camera camera;
    camera.open(2);
    model.updateList();
    QCOMPARE(cell(model, 1), QStringLiteral("in use"));
    QString error;
    try {
        model.sort(column, Qt::SortOrder(order));
    } catch (const std::runtime_error &e) {
        error = QString::fromUtf8(e.what());
    }
    QCOMPARE(error, rows.isEmpty() ? QStringLiteral("Sort Error") : QString());
    if (!rows.isEmpty())
        QCOMPARE(deviceIds(model), rows);
}

QTEST_GUILESS_MAIN(tst_CameraListModel)
#include "tst_cameralistmodel.moc"
