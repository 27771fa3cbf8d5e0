// The main window as a viewer on the simulated cameras: selecting and opening
// a camera, live frames and the status fields, the enabling rules of the
// commands, failures on opening, a camera that leaves and comes back, the
// focus pixel and the parameter rows against a live camera.
#include "app/mainwindow.h"
#include "controls/doubleparameterwidget.h"
#include "controls/parameterblockwidget.h"
#include "display/displaywidget.h"
#include "display/magnifier.h"
#include "simulator/tavosim_control.h"
#include "tests/app/windowprobe.h"
#include "tests/testutil/testutil.h"

#include <QDoubleSpinBox>
#include <QMessageBox>
#include <QProcess>
#include <QSignalSpy>
#include <QSlider>
#include <QTableView>
#include <QToolBar>
#include <QtTest>

#include <memory>

using namespace WindowProbe;

namespace {

const char mono[] = "4103000101";
const char bayer[] = "4103000102";
const char softwareOnly[] = "4103000103";

QTableView *cameraTable(QMainWindow *window)
{
    return qobject_cast<QTableView *>(dock(window, "CameraListDock")->widget());
}

QTableView *badpixelTable(QMainWindow *window)
{
    return qobject_cast<QTableView *>(dock(window, "BadpixelListDock")->widget());
}

int rowOf(QMainWindow *window, const char *serial)
{
    QAbstractItemModel *model = cameraTable(window)->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        if (model->index(row, 3).data().toString() == QLatin1String(serial))
            return row;
    }
    return -1;
}

QString statusOf(QMainWindow *window, const char *serial)
{
    const int row = rowOf(window, serial);
    return row < 0 ? QString() : cameraTable(window)->model()->index(row, 4).data().toString();
}

int selectedCameraRow(QMainWindow *window)
{
    const QModelIndexList rows = cameraTable(window)->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

bool hasFrame(QLabel *label)
{
    return !label->pixmap(Qt::ReturnByValue).isNull();
}

} // namespace

class tst_MainWindowSession : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void sessionEndToEnd();
    void enablingRules();
    void inUseRow();
    void failedOpen();
    void softwareOnlyCamera();
    void unplugAndReplug();
    void focusPixel();
    void parameterRows();

private:
    // Selects the camera's row and opens it; true when it runs.
    bool openCamera(MainWindow *window, const char *serial);

    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    std::unique_ptr<SettingsSandbox> m_settings;
    std::unique_ptr<MainWindow> m_window;
};

void tst_MainWindowSession::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_MainWindowSession::init()
{
    m_settings = std::make_unique<SettingsSandbox>();
    tvsim_reset();
    m_window = std::make_unique<MainWindow>();
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void tst_MainWindowSession::cleanup()
{
    cancelAnswers();
    m_window.reset();
    tvsim_reset();
}

bool tst_MainWindowSession::openCamera(MainWindow *window, const char *serial)
{
    QTableView *table = cameraTable(window);
    if (!QTest::qWaitFor([&] { return rowOf(window, serial) >= 0; }, 10000))
        return false;
    table->selectRow(rowOf(window, serial));
    QAction *open = action(window, QStringLiteral("&Open camera"));
    if (!open->isEnabled())
        return false;
    open->trigger();
    auto *display = window->findChild<DisplayWidget *>();
    return QTest::qWaitFor([&] { return hasFrame(display->imageLabel); }, 20000);
}

void tst_MainWindowSession::sessionEndToEnd()
{
    MainWindow *window = m_window.get();
    // The first poll selects row 0, and the rule enables Open.
    QTRY_COMPARE_WITH_TIMEOUT(cameraTable(window)->model()->rowCount(), 3, 10000);
    QTRY_COMPARE(selectedCameraRow(window), 0);
    QVERIFY(action(window, QStringLiteral("&Open camera"))->isEnabled());
    QVERIFY(!action(window, QStringLiteral("&Close camera"))->isEnabled());

    auto *display = window->findChild<DisplayWidget *>();
    auto *magnifier = window->findChild<Magnifier *>();
    auto *properties = dock(window, "CameraSliderDock")->widget();
    QVERIFY(!properties->isEnabled());

    QVERIFY(openCamera(window, mono));
    QVERIFY(display->imageLabel->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(hasFrame(magnifier), 10000);
    QVERIFY(properties->isEnabled());
    QCOMPARE(statusText(window, FieldX), QStringLiteral("x: 0"));
    QCOMPARE(statusText(window, FieldY), QStringLiteral("y: 0"));
    // The hot pixel list holds the camera's factory pixels.
    QVERIFY(badpixelTable(window)->model()->rowCount() > 0);

    // The counters come with the first tick of the 1500 ms timer.
    QTRY_VERIFY_WITH_TIMEOUT(!statusText(window, FieldFps).isEmpty(), 10000);
    QVERIFY(QRegularExpression(QStringLiteral("^FPS: \\d+\\.\\d\\d$"))
                    .match(statusText(window, FieldFps))
                    .hasMatch());
    QVERIFY(QRegularExpression(QStringLiteral("^Frames: \\d+$"))
                    .match(statusText(window, FieldFrames))
                    .hasMatch());
    QVERIFY(statusText(window, FieldFailed).startsWith(QStringLiteral("Failed: ")));
    QCOMPARE(statusText(window, FieldUser), QStringLiteral("U: 0"));
    QCOMPARE(statusText(window, FieldFactory),
             QStringLiteral("F: %1").arg(badpixelTable(window)->model()->rowCount()));
    QTRY_VERIFY_WITH_TIMEOUT(statusText(window, FieldFrames) != QLatin1String("Frames: 0"), 10000);

    // Closing.
    QTRY_VERIFY(action(window, QStringLiteral("&Close camera"))->isEnabled());
    action(window, QStringLiteral("&Close camera"))->trigger();
    QCOMPARE(statusText(window, FieldFrames), QStringLiteral("Frames: 0"));
    QCOMPARE(statusText(window, FieldFailed), QStringLiteral("Failed: 0"));
    QCOMPARE(statusText(window, FieldFps), QStringLiteral("FPS: 0"));
    QVERIFY(!display->imageLabel->isVisible());
    QVERIFY(!hasFrame(magnifier));
    QCOMPARE(badpixelTable(window)->model()->rowCount(), 0);
    QVERIFY(!properties->isEnabled());
    // The timer has stopped: the fields keep their texts.
    QTest::qWait(1700);
    QCOMPARE(statusText(window, FieldFps), QStringLiteral("FPS: 0"));
    QTRY_COMPARE(statusOf(window, mono), QStringLiteral("free"));
}

void tst_MainWindowSession::enablingRules()
{
    MainWindow *window = m_window.get();
    QVERIFY(openCamera(window, mono));
    const QStringList cameraCommands
            = {"&Close camera",        "&Save hot pixel list", "&Load hot pixel list",
               "Hot pixel correction", "Detec&t hot pixel",    "&Add hot pixel",
               "&Write hot pixel"};
    QAction *zoom = window->findChild<QToolBar *>()->actions().last();
    auto allEnabled = [&](bool enabled) {
        for (const QString &text : cameraCommands) {
            if (action(window, text)->isEnabled() != enabled)
                return false;
        }
        return zoom->isEnabled() == enabled;
    };
    QTRY_VERIFY(allEnabled(true));
    QCOMPARE(statusOf(window, mono), QStringLiteral("opened"));
    // The open camera's row reads in use, so Open is off.
    QVERIFY(!action(window, QStringLiteral("&Open camera"))->isEnabled());

    // Another row: its camera can be opened, the commands of this one can't.
    cameraTable(window)->selectRow(rowOf(window, bayer));
    QVERIFY(allEnabled(false));
    QVERIFY(action(window, QStringLiteral("&Open camera"))->isEnabled());
    // Close with the other row selected does nothing.
    QMetaObject::invokeMethod(window, "closeCamera");
    QCOMPARE(statusOf(window, mono), QStringLiteral("opened"));

    // Back on the open camera's row.
    cameraTable(window)->selectRow(rowOf(window, mono));
    QVERIFY(allEnabled(true));

    // No selection: all camera commands off, Open too.
    cameraTable(window)->selectionModel()->clearSelection();
    QVERIFY(allEnabled(false));
    QVERIFY(!action(window, QStringLiteral("&Open camera"))->isEnabled());
    // The next poll selects the first row again.
    QTRY_COMPARE_WITH_TIMEOUT(selectedCameraRow(window), 0, 5000);

    // Opening another camera closes the first one on the way.
    QVERIFY(openCamera(window, bayer));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(window, bayer), QStringLiteral("opened"), 5000);
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(window, mono), QStringLiteral("free"), 5000);
    QCOMPARE(window->findChild<DisplayWidget *>()->imageLabel->isVisible(), true);
}

void tst_MainWindowSession::inUseRow()
{
    MainWindow *window = m_window.get();
    QProcess holder;
    holder.start(qEnvironmentVariable("TAVO_SIM_BIN_DIR") + QStringLiteral("/tavo-sim"),
                 {QStringLiteral("hold"), QString::fromLatin1(bayer)});
    QVERIFY(holder.waitForStarted());
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(window, bayer), QStringLiteral("in use"), 10000);

    cameraTable(window)->selectRow(rowOf(window, bayer));
    QVERIFY(!action(window, QStringLiteral("&Open camera"))->isEnabled());
    // A double click on the held row does nothing at all.
    const QModelIndex cell = cameraTable(window)->model()->index(rowOf(window, bayer), 2);
    emit cameraTable(window)->doubleClicked(cell);
    QVERIFY(!window->findChild<DisplayWidget *>()->imageLabel->isVisible());
    QCOMPARE(window->statusBar()->currentMessage(), QString());

    holder.terminate();
    QVERIFY(holder.waitForFinished(10000));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(window, bayer), QStringLiteral("free"), 10000);
    QTRY_VERIFY(action(window, QStringLiteral("&Open camera"))->isEnabled());
}

void tst_MainWindowSession::failedOpen()
{
    MainWindow *window = m_window.get();
    QTRY_VERIFY_WITH_TIMEOUT(rowOf(window, mono) >= 0, 10000);
    cameraTable(window)->selectRow(rowOf(window, mono));
    tvsim_inject("tv_InitCamera", 1, 1);

    QString title;
    QString messageBehind;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        title = box->windowTitle();
        messageBehind = window->statusBar()->currentMessage();
        box->accept();
    });
    action(window, QStringLiteral("&Open camera"))->trigger();
    QCOMPARE(title, QStringLiteral("Please note!"));
    QCOMPARE(messageBehind, QStringLiteral("Could not initialize camera."));
    QVERIFY(!window->findChild<DisplayWidget *>()->imageLabel->isVisible());
    QVERIFY(!action(window, QStringLiteral("&Write hot pixel"))->isEnabled());
    QCOMPARE(statusText(window, FieldFrames), QString());
}

void tst_MainWindowSession::softwareOnlyCamera()
{
    MainWindow *window = m_window.get();
    QString title;
    QString text;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        title = box->windowTitle();
        text = box->text();
        box->accept();
    });
    QVERIFY(openCamera(window, softwareOnly));
    QCOMPARE(title, QStringLiteral("Please note!"));
    QCOMPARE(text,
             QStringLiteral("This camera only supports software correction and therefore "
                            "can't save inside the camera memory."));
    QVERIFY(!action(window, QStringLiteral("&Write hot pixel"))->isEnabled());
    // The next change of the table enables it again without asking.
    QMetaObject::invokeMethod(window, "updateCameraActions");
    QVERIFY(action(window, QStringLiteral("&Write hot pixel"))->isEnabled());
}

void tst_MainWindowSession::unplugAndReplug()
{
    MainWindow *window = m_window.get();
    QVERIFY(openCamera(window, mono));
    auto *display = window->findChild<DisplayWidget *>();
    QTRY_VERIFY_WITH_TIMEOUT(!statusText(window, FieldFrames).isEmpty(), 10000);
    const int listRows = badpixelTable(window)->model()->rowCount();

    QCOMPARE(tvsim_plug(mono, 0), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!display->imageLabel->isVisible(), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(rowOf(window, mono), -1, 10000);
    // The session stays: the list, and the counters that go on being shown.
    QCOMPARE(badpixelTable(window)->model()->rowCount(), listRows);
    auto framesShown = [&] { return statusText(window, FieldFrames).mid(8).toInt(); };
    const int before = framesShown();
    QTest::qWait(1700);
    QVERIFY(framesShown() >= before);
    QVERIFY(framesShown() > 0);

    QCOMPARE(tvsim_plug(mono, 1), 0);
    QTRY_VERIFY_WITH_TIMEOUT(display->imageLabel->isVisible(), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(window, mono), QStringLiteral("opened"), 10000);
    // The returning row is selected only if the reconnect finds it still
    // reading "in use", which depends on whether a poll came first.
    if (selectedCameraRow(window) != rowOf(window, mono))
        cameraTable(window)->selectRow(rowOf(window, mono));
    QTRY_VERIFY_WITH_TIMEOUT(action(window, QStringLiteral("&Close camera"))->isEnabled(), 10000);
    // Frames arrive again.
    display->clear();
    QTRY_VERIFY_WITH_TIMEOUT(hasFrame(display->imageLabel), 10000);
}

void tst_MainWindowSession::focusPixel()
{
    MainWindow *window = m_window.get();
    QVERIFY(openCamera(window, mono)); // 1280 x 1024
    auto *display = window->findChild<DisplayWidget *>();
    auto *magnifier = window->findChild<Magnifier *>();
    QTableView *table = badpixelTable(window);
    auto focus = [&] {
        return QPoint(statusText(window, FieldX).mid(3).toInt(),
                      statusText(window, FieldY).mid(3).toInt());
    };

    // A click on a free pixel of the image.
    emit display->positionClicked(QPoint(100, 50));
    QCOMPARE(focus(), QPoint(100, 50));
    QVERIFY(!table->selectionModel()->hasSelection());

    // Keys that reach the window step the magnifier's focus.
    QTest::keyClick(window, Qt::Key_Right);
    QCOMPARE(focus(), QPoint(101, 50));
    QTest::keyClick(window, Qt::Key_Down);
    QCOMPARE(focus(), QPoint(101, 51));

    // A click into the magnifier away from its middle moves the focus too.
    QTest::mouseClick(magnifier, Qt::LeftButton, {}, QPoint(2, 2));
    QVERIFY(focus() != QPoint(101, 51));

    // Clamping at the sensor's edges.
    emit display->positionClicked(QPoint(5000, -7));
    QCOMPARE(focus(), QPoint(1279, 0));
    emit display->positionClicked(QPoint(-1, 4000));
    QCOMPARE(focus(), QPoint(0, 1023));

    // A factory row of the table: the focus follows, Delete stays off.
    QVERIFY(table->model()->rowCount() > 0);
    table->selectRow(0);
    const QPoint factoryPixel(table->model()->index(0, 0).data().toInt(),
                              table->model()->index(0, 1).data().toInt());
    QCOMPARE(focus(), factoryPixel);
    QVERIFY(!action(window, QStringLiteral("&Delete hot pixel"))->isEnabled());

    // A user pixel added at the focus is selected, and Delete goes on.
    emit display->positionClicked(QPoint(640, 512));
    action(window, QStringLiteral("&Add hot pixel"))->trigger();
    const QModelIndexList rows = table->selectionModel()->selectedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(table->model()->index(rows.first().row(), 2).data().toString(),
             QStringLiteral("user"));
    QVERIFY(action(window, QStringLiteral("&Delete hot pixel"))->isEnabled());
    // Clicking the same pixel again keeps its row selected.
    emit display->positionClicked(QPoint(640, 512));
    QCOMPARE(table->selectionModel()->selectedRows().value(0).row(), rows.first().row());
}

void tst_MainWindowSession::parameterRows()
{
    MainWindow *window = m_window.get();
    QVERIFY(openCamera(window, mono));
    auto *block = window->findChild<ParameterBlockWidget *>();
    QVERIFY(block && block->isEnabled());
    DoubleParameterWidget *exposure = block->exposure;
    QTRY_VERIFY_WITH_TIMEOUT(exposure->slider->maximum() > 10, 10000);

    QSignalSpy sent(exposure, &DoubleParameterWidget::valueChanged);
    // Dragging sends nothing; the release sends the value once.
    exposure->slider->setSliderDown(true);
    exposure->slider->setValue(exposure->slider->maximum() / 2);
    exposure->slider->setValue(exposure->slider->maximum() / 3);
    QCOMPARE(sent.count(), 0);
    const double chosen = exposure->spinBox->value();
    exposure->slider->setSliderDown(false);
    QVERIFY(sent.count() >= 1);
    QCOMPARE(sent.first().at(0).toDouble(), chosen);
    // The camera answers with the value it took; the rows settle, no loop.
    QTest::qWait(200);
    const int settled = sent.count();
    QTest::qWait(500);
    QCOMPARE(sent.count(), settled);
    QVERIFY(qAbs(exposure->spinBox->value() - chosen) <= exposure->spinBox->maximum() / 10);

    // A typed number snaps down to the slider's grid before it goes out.
    QDoubleSpinBox *box = exposure->spinBox;
    const double low = box->minimum();
    const double high = box->maximum();
    const int steps = exposure->slider->maximum();
    exposure->slider->setValue(0);
    sent.clear();
    const double typed = low + (high - low) * 0.37 + (high - low) / steps * 0.4;
    // The snap must be visible at the spin box's two decimals.
    QVERIFY((high - low) / steps * 0.4 > 0.02);
    box->setValue(typed);
    QVERIFY(!sent.isEmpty());
    // The first value out is the grid value below the typed number.
    const int position = int((typed - low) / (high - low) * steps);
    const double snapped = (high - low) * (double(position) / steps) + low;
    QVERIFY(qAbs(sent.first().at(0).toDouble() - qRound(snapped * 100) / 100.0) < 0.011);
}

QTEST_MAIN(tst_MainWindowSession)
#include "tst_mainwindowsession.moc"
