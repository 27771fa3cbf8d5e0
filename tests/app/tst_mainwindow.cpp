// The main window with the simulated cameras, from first start to list files.
#include "app/mainwindow.h"
#include "controls/dialog_about.h"
#include "controls/doubleparameterwidget.h"
#include "controls/parameterblockwidget.h"
#include "controls/parameterwidget.h"
#include "detection/detectiondialogue.h"
#include "display/displaywidget.h"
#include "display/magnifier.h"
#include "simulator/tavosim_control.h"
#include "tests/testutil/testutil.h"

#include <QtTest>
#include <QtWidgets>

#include <functional>
#include <memory>
#include <set>
#include <utility>

using namespace TestUtil;

namespace {

const char mono[] = "4103000101"; // 1280 x 1024
const char bayer[] = "4103000102";
const char softwareOnly[] = "4103000103";
using Pixels = std::set<std::pair<int, int>>;
// How a list step is taken; Command triggers the row's command.
enum class ListStep { Add, Delete, Detect, DetectCleared, TooBright, Refused, Command };
MainWindow *win = nullptr; // the window under test

template<class T>
T *child(const char *name = nullptr)
{
    return win->findChild<T *>(QLatin1String(name));
}

QAction *action(const QString &text)
{
    return findAction(win, text);
}

QAction *zoomButton()
{
    return child<QToolBar>()->actions().last();
}

QTableView *table(bool cameras)
{
    return qobject_cast<QTableView *>(
            child<QDockWidget>(cameras ? "CameraListDock" : "BadpixelListDock")->widget());
}

BadpixelListModel *listModel()
{
    return qobject_cast<BadpixelListModel *>(table(false)->model());
}

// The status fields, one a line: x, y, user, factory, frames, failed, fps.
QString status()
{
    return labelTexts(win->statusBar());
}

QString message()
{
    return win->statusBar()->currentMessage();
}

// No image, no magnifier and no counters: nothing left of a camera.
bool showsNoCamera()
{
    const QLabel *image = child<DisplayWidget>()->imageLabel;
    return !image->isVisible() && image->pixmap(Qt::ReturnByValue).isNull()
            && child<Magnifier>()->pixmap(Qt::ReturnByValue).isNull()
            && status().endsWith(QLatin1String("\nFrames: 0\nFailed: 0\nFPS: 0"));
}

int rowOf(const char *serial)
{
    const QAbstractItemModel *model = table(true)->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        if (model->index(row, 3).data().toString() == QLatin1String(serial))
            return row;
    }
    return -1;
}

QString statusOf(const char *serial)
{
    return table(true)->model()->index(rowOf(serial), 4).data().toString();
}

Pixels userPixels()
{
    Pixels result;
    for (const BadpixelEntry &entry : listModel()->pixels()) {
        if (entry.pixelClass == 1)
            result.insert({entry.x, entry.y});
    }
    return result;
}

// The whole list as a sorted text, every class and the factory rows too.
QString listText()
{
    QStringList rows;
    for (const BadpixelEntry &entry : listModel()->pixels())
        rows << QStringLiteral("%1,%2,%3").arg(entry.x).arg(entry.y).arg(entry.pixelClass);
    rows.sort();
    return rows.join(' ');
}

// Hands in a frame of count bytes of 200 and the rest 20; a null one if count < 0.
void feed(int count)
{
    QImage image;
    if (count >= 0) {
        image = QImage(200, 100, QImage::Format_Indexed8);
        image.setColorCount(256);
        image.fill(20);
        std::fill_n(image.bits(), count, uchar(200));
    }
    QMetaObject::invokeMethod(win, "newImage", Qt::DirectConnection, Q_ARG(QImage &, image));
}

// Answers the message boxes in turn with buttons; their titles go to seen,
// and atBox(n) runs before the n-th box is answered.
void answerBoxes(QList<int> buttons, QStringList *seen, std::function<void(int)> atBox = {})
{
    if (buttons.isEmpty())
        return;
    answerWhenShown<QMessageBox>([=](QMessageBox *box) {
        *seen << box->windowTitle();
        if (atBox)
            atBox(seen->size() - 1);
        answerBoxes(buttons.mid(1), seen, atBox);
        box->button(QMessageBox::StandardButton(buttons.first()))->click();
    });
}

} // namespace

Q_DECLARE_METATYPE(ListStep)

class tst_MainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void cleanup();
    void firstStartAndSettings();
    void openAndClose_data();
    void openAndClose();
    void commandRules();
    void focusPixel();
    void detectWriteAndReadBack_data();
    void detectWriteAndReadBack();
    void writeOutcomes_data();
    void writeOutcomes();
    void contextMenuAndHelp();
    void listCommands_data();
    void listCommands();
    void lostCameraReturns();
    void menusBarsAndDocks_data();
    void menusBarsAndDocks();
    void zoomStepsAndScroll_data();
    void zoomStepsAndScroll();

private:
    bool start(bool cameras = true, bool show = true);
    bool openCamera(const char *serial);
    DetectionDialogue *startRun(bool clear);

    std::unique_ptr<SimEnvironment> m_sim;
    std::unique_ptr<SettingsSandbox> m_settings;
    std::unique_ptr<MainWindow> m_window;
};

bool tst_MainWindow::start(bool cameras, bool show)
{
    m_settings = std::make_unique<SettingsSandbox>();
    m_sim = std::make_unique<SimEnvironment>();
    for (const char *serial : {mono, bayer, softwareOnly})
        tvsim_plug(serial, cameras ? 1 : 0);
    m_window = std::make_unique<MainWindow>();
    win = m_window.get();
    if (show)
        win->show();
    return !show || QTest::qWaitForWindowExposed(win);
}

void tst_MainWindow::cleanup()
{
    cancelAnswers();
    m_window.reset();
    tvsim_reset();
    m_sim.reset();
}

bool tst_MainWindow::openCamera(const char *serial)
{
    if (!QTest::qWaitFor([&] { return rowOf(serial) >= 0; }, 10000))
        return false;
    table(true)->selectRow(rowOf(serial));
    action("&Open camera")->trigger();
    const QLabel *image = child<DisplayWidget>()->imageLabel;
    return statusOf(serial) == QLatin1String("opened") // at once, before a poll
            && QTest::qWaitFor([&] { return !image->pixmap(Qt::ReturnByValue).isNull(); }, 20000);
}

DetectionDialogue *tst_MainWindow::startRun(bool clear)
{
    QMetaObject::invokeMethod(win, "openDetectDialog");
    DetectionDialogue *dialogue = win->findChildren<DetectionDialogue *>().last();
    dialogue->findChild<QCheckBox *>()->setChecked(clear);
    dialogue->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
    return dialogue;
}

void tst_MainWindow::firstStartAndSettings()
{
    QVERIFY(start(false, false));
    QCOMPARE(win->windowTitle(), QStringLiteral("Tavo Speckmend"));
    QCOMPARE(win->size(), QSize(800, 600));
    win->show();
    QVERIFY(QTest::qWaitForWindowExposed(win));

    // Stored on destruction and restored, the dock sizes too once shown; the
    // camera list is the tab in front, whatever tab was in front before.
    win->resize(1000, 700);
    win->addDockWidget(Qt::RightDockWidgetArea, child<QDockWidget>("CameraSliderDock"));
    QTRY_COMPARE(win->size(), QSize(1000, 700));
    win->resizeDocks({child<QDockWidget>("MagnifierDock")}, {420}, Qt::Horizontal);
    QTRY_COMPARE(child<QDockWidget>("MagnifierDock")->width(), 420);
    child<QDockWidget>("BadpixelListDock")->raise();
    m_window.reset();
    QCOMPARE(QSettings(QStringLiteral("Brevant"), QStringLiteral("Tavo")).allKeys(),
             QStringList({"Speckmend/mainWindow/geometry", "Speckmend/mainWindow/state"}));
    m_window = std::make_unique<MainWindow>();
    win = m_window.get();
    QCOMPARE(win->size(), QSize(1000, 700));
    win->show();
    QVERIFY(QTest::qWaitForWindowExposed(win));
    QCOMPARE(win->dockWidgetArea(child<QDockWidget>("CameraSliderDock")), Qt::RightDockWidgetArea);
    QTRY_COMPARE(child<QDockWidget>("MagnifierDock")->width(), 420);
    QVERIFY(!child<QDockWidget>("CameraListDock")->visibleRegion().isEmpty());
    QVERIFY(child<QDockWidget>("BadpixelListDock")->visibleRegion().isEmpty());

    QEvent change(QEvent::LanguageChange);
    QApplication::sendEvent(win, &change);
    QCOMPARE(win->windowTitle(), QStringLiteral("Speckmend"));
}

void tst_MainWindow::openAndClose_data()
{
    QTest::addColumn<bool>("failedOpen"); // of another camera, instead of Close
    QTest::newRow("closed") << false;
    QTest::newRow("another camera failed to open") << true;
}

void tst_MainWindow::openAndClose()
{
    QFETCH(bool, failedOpen);
    QVERIFY(start());
    QTableView *cameras = table(true);
    // The first poll selects row 0, and the rule enables Open.
    QTRY_COMPARE_WITH_TIMEOUT(cameras->model()->rowCount(), 3, 10000);
    QTRY_COMPARE(cameras->selectionModel()->selectedRows().value(0).row(), 0);
    QVERIFY(action("&Open camera")->isEnabled() && !action("&Close camera")->isEnabled());

    QVERIFY(openCamera(mono));
    QVERIFY(child<DisplayWidget>()->imageLabel->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(!child<Magnifier>()->pixmap(Qt::ReturnByValue).isNull(), 10000);
    // A tick of the 1500 ms timer fills the counters.
    const QRegularExpression fields(QStringLiteral("^x: 0\ny: 0\nU: 0\nF: %1\nFrames: [1-9]\\d*\n"
                                                   "Failed: \\d+\nFPS: \\d+\\.\\d\\d$")
                                            .arg(listModel()->rowCount()));
    QTRY_VERIFY2_WITH_TIMEOUT(fields.match(status()).hasMatch(), qPrintable(status()), 10000);
    // The last column of each table stretches; every other one is as wide as its contents.
    for (QTableView *view : {cameras, table(false)}) {
        for (int column = 0; column < view->model()->columnCount() - 1; ++column) {
            const int shown = view->columnWidth(column);
            view->resizeColumnToContents(column);
            QCOMPARE(view->columnWidth(column), shown);
        }
    }
    // A row's value goes to the camera, and the camera's change comes back: a
    // higher rate cuts the longest exposure.
    auto *block = child<ParameterBlockWidget>();
    QTRY_VERIFY_WITH_TIMEOUT(block->exposure->slider->maximum() > 10, 10000);
    block->framerate->spinBox->setValue(10.0);
    QVERIFY(qAbs(block->framerate->spinBox->value() - 10.0) < 0.5);
    QVERIFY(block->exposure->spinBox->maximum() <= 101.0);

    if (failedOpen) { // the library's text in the status bar, then the box
        QString seen;
        answerWhenShown<QMessageBox>([&](QMessageBox *box) {
            seen = box->windowTitle() + " | " + message();
            box->accept();
        });
        cameras->selectRow(rowOf(bayer));
        tvsim_inject("tv_InitCamera", 1, 1);
        action("&Open camera")->trigger();
        QCOMPARE(seen, QStringLiteral("Please note! | Could not initialize camera."));
    } else {
        action("&Close camera")->trigger();
    }
    // Nothing is left of the camera.
    QVERIFY2(showsNoCamera(), qPrintable(status()));
    for (QTimer *timer : win->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly))
        QVERIFY(!timer->isActive() || timer->interval() != 1500); // the status timer stopped
    QCOMPARE(listModel()->rowCount(), 0);
    QTRY_COMPARE(statusOf(mono), QStringLiteral("free"));
}

void tst_MainWindow::commandRules()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    QTableView *cameras = table(true);
    auto enabled = [] { // parameter rows, zoom, the commands of an open camera, Open
        QString result = QString::number(child<ParameterBlockWidget>()->isEnabled())
                + QString::number(zoomButton()->isEnabled());
        for (const char *text : {"&Close camera", "&Save hot pixel list", "&Load hot pixel list",
                                 "Hot pixel correction", "Detec&t hot pixel", "&Add hot pixel",
                                 "&Write hot pixel", "&Open camera"})
            result += QString::number(action(text)->isEnabled());
        return result;
    };
    QTRY_COMPARE(enabled(), QStringLiteral("1111111110")); // its row reads in use
    // Another camera's row: that one can be opened, and Close does nothing.
    cameras->selectRow(rowOf(bayer));
    QCOMPARE(enabled(), QStringLiteral("1000000001"));
    QMetaObject::invokeMethod(win, "closeCamera");
    cameras->selectRow(rowOf(mono));
    QCOMPARE(enabled(), QStringLiteral("1111111110"));

    // A camera held by another process can't be opened until it is released.
    SimHold holder(QString::fromLatin1(softwareOnly));
    QVERIFY2(holder.isHolding(), qPrintable(holder.errors()));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(softwareOnly), QStringLiteral("in use"), 10000);
    cameras->selectRow(rowOf(softwareOnly));
    QCOMPARE(enabled(), QStringLiteral("1000000000"));
    holder.stop();
    QTRY_COMPARE_WITH_TIMEOUT(enabled(), QStringLiteral("1000000001"), 10000);
}

void tst_MainWindow::focusPixel()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    // The focus pixel: clicks, arrow keys, the magnifier, clamped to the sensor.
    auto *display = child<DisplayWidget>();
    QSignalSpy sent(win, SIGNAL(magnifierPositionChanged(QPoint)));
    auto focus = [&] { // the status fields, if the views were sent the same
        const QStringList fields = status().split('\n');
        const QPoint shown(fields.value(0).mid(3).toInt(), fields.value(1).mid(3).toInt());
        return sent.isEmpty() || sent.last().at(0).toPoint() != shown ? QPoint(-9, -9) : shown;
    };
    emit display->positionClicked(QPoint(100, 50));
    QCOMPARE(focus(), QPoint(100, 50));
    QTest::keyClick(win, Qt::Key_Right);
    QTest::keyClick(win, Qt::Key_Down);
    QCOMPARE(focus(), QPoint(101, 51));
    QTest::mouseClick(child<Magnifier>(), Qt::LeftButton, {}, QPoint(2, 2));
    QVERIFY(focus() != QPoint(101, 51) && focus() != QPoint(-9, -9));
    emit display->positionClicked(QPoint(5000, -7));
    QCOMPARE(focus(), QPoint(1279, 0));
    emit display->positionClicked(QPoint(-1, 4000));
    QCOMPARE(focus(), QPoint(0, 1023));
}

void tst_MainWindow::detectWriteAndReadBack_data()
{
    QTest::addColumn<QByteArray>("serial");
    QTest::newRow("monochrome") << QByteArray(mono);
    QTest::newRow("bayer") << QByteArray(bayer);
}

void tst_MainWindow::detectWriteAndReadBack()
{
    QFETCH(QByteArray, serial);
    QVERIFY(start());
    // Three frames a second keep the exposure of 300 ms and shorten the runs.
    auto speedUp = [] { child<ParameterBlockWidget>()->framerate->spinBox->setValue(3.0); };
    QCOMPARE(tvsim_cover(serial.constData(), 1), 0);
    QVERIFY(openCamera(serial.constData()));
    speedUp();

    DetectionDialogue *dialogue = startRun(false);
    QTRY_VERIFY_WITH_TIMEOUT(!labelTexts(dialogue).contains("Please Wait..."), 30000);
    QCOMPARE(dialogue->findChild<QProgressBar *>()->value(), 100);
    const Pixels detected = userPixels();
    QVERIFY(!detected.empty());
    QVERIFY(labelTexts(dialogue).split('\n').contains(
            QStringLiteral("Hot pixel detected: %1").arg(detected.size())));

    // Written into the camera, the user pixels come back after reopening.
    answerMessageBox(QMessageBox::Yes);
    action("&Write hot pixel")->trigger();
    action("&Close camera")->trigger();
    QVERIFY(openCamera(serial.constData()));
    QCOMPARE(userPixels(), detected);

    // With correction on, a written pixel reads like its neighbours.
    speedUp();
    const QPoint pixel(detected.begin()->first, detected.begin()->second);
    auto valueAt = [&] {
        QSignalSpy info(child<Magnifier>(), &Magnifier::pixelInfoChanged);
        emit child<DisplayWidget>()->positionClicked(pixel);
        info.clear(); // the value of a fresh frame
        return info.wait(10000) && info.wait(10000) ? info.last().at(1).toInt() : -1;
    };
    QVERIFY(valueAt() > TVSIM_BLACK_LEVEL + 40);
    action("Hot pixel correction")->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(valueAt() < TVSIM_BLACK_LEVEL + 10, 20000);
}

void tst_MainWindow::writeOutcomes_data()
{
    QTest::addColumn<QByteArray>("serial");
    QTest::addColumn<bool>("readFails"); // the user list's, at open
    QTest::addColumn<int>("failFrom"); // the box from whose answer on the library fails
    QTest::addColumn<QList<int>>("buttons"); // the answers to the boxes in turn
    QTest::addColumn<QStringList>("boxes"); // their titles
    QTest::addColumn<bool>("written");
    using L = QList<int>;
    using S = QStringList;
    const int yes = QMessageBox::Yes, no = QMessageBox::No, ok = QMessageBox::Ok;
    const QByteArray m(mono);
    const QString notRead = QStringLiteral("User list not read");
    QTest::newRow("refused") << m << false << -1 << L {no} << S {""} << false;
    QTest::newRow("library failure")
            << m << false << 0 << L {yes, ok} << S {"", "Write failed"} << false;
    QTest::newRow("software correction only")
            << QByteArray(softwareOnly) << false << -1 << L {ok, ok}
            << S {"Please note!", "Not supported!"} << false;
    QTest::newRow("user list not read, refused")
            << m << true << -1 << L {no} << S {notRead} << false;
    QTest::newRow("user list not read, confirmed")
            << m << true << -1 << L {yes, yes} << S {notRead, ""} << true;
}

void tst_MainWindow::writeOutcomes()
{
    QFETCH(QByteArray, serial);
    QFETCH(bool, readFails);
    QFETCH(int, failFrom);
    QFETCH(QList<int>, buttons);
    QVERIFY(start());
    // While the camera opens, the queries after the factory list fail, so the
    // user list is not read.
    connect(listModel(), &QAbstractItemModel::rowsInserted, this, [&] {
        if (std::exchange(readFails, false))
            tvsim_inject("tv_HotPixel", 5, 2);
    });
    QStringList seen; // the software-only camera warns at open
    answerBoxes(buttons, &seen, [failFrom](int box) {
        if (box == failFrom) // after the capability test
            tvsim_inject("tv_HotPixel", 1, 0);
    });
    QVERIFY(openCamera(serial.constData()));
    QAction *write = action("&Write hot pixel");
    QCOMPARE(write->isEnabled(), serial != softwareOnly); // until the rule runs again
    QMetaObject::invokeMethod(win, "updateCameraActions");
    listModel()->addPixel(QPoint(50, 60));
    write->trigger();
    tvsim_inject("tv_HotPixel", 0, 0);
    QTEST(seen, "boxes");
    QTEST(message().startsWith(QLatin1String("Hot pixels written")), "written");
    QCOMPARE(userPixels(), (Pixels {{50, 60}}));
}

void tst_MainWindow::contextMenuAndHelp()
{
    QVERIFY(start(false));
    auto menu = [] {
        QStringList shown;
        answerWhenShown<QMenu>([&](QMenu *menu) {
            shown = describeActions(menu->actions());
            menu->close();
        });
        emit table(false)->customContextMenuRequested(QPoint(3, 3));
        return shown;
    };
    const QString add = QStringLiteral("&Add hot pixel~ Ctrl+A");
    QCOMPARE(menu(), QStringList(add));
    // The context menu: Delete follows the selected row's class.
    BadpixelListModel *model = listModel();
    model->addPixel(QPoint(12, 345));
    table(false)->selectRow(0);
    QCOMPARE(menu(), QStringList({add, "&Delete hot pixel Del", "Clear user hot pixel"}));
    QVERIFY(model->setData(model->index(0, 2), QStringLiteral("factory")));
    QCOMPARE(menu(), QStringList({add, "&Delete hot pixel~ Del", "Clear user hot pixel"}));

    // A cancelled dialog does nothing; a file that can't be written gets the
    // critical box with the model's text.
    answerFileDialog(QString());
    action("&Import hot pixel list")->trigger();
    QCOMPARE(model->rowCount(), 1);
    QString seen;
    answerFileDialog(QStringLiteral("/proc/self/list.txt"));
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->text() + QString::number(box->icon() == QMessageBox::Critical);
        box->accept();
    });
    action("&Export hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Can't open file for writing.1"));

    answerMessageBox(QMessageBox::Close, &seen);
    action("&Usage")->trigger();
    QVERIFY(seen.startsWith(QStringLiteral("Usage | Tavo Speckmend - Usage\n\nNavigation:")));
    QVERIFY(seen.contains(QStringLiteral("\nCtrl+A\t Add a hot pixel to the list\n")));
    QVERIFY(seen.contains(QStringLiteral("\nDel\t Removes a hot pixel from the list\n")));
    answerWhenShown<Dialog_About>([&](Dialog_About *about) {
        seen = about->windowTitle();
        about->reject();
    });
    action("&About...")->trigger();
    QCOMPARE(seen, QStringLiteral("About Tavo Speckmend"));
}

void tst_MainWindow::listCommands_data()
{
    QTest::addColumn<ListStep>("step");
    QTest::addColumn<QString>("command");
    QTest::addColumn<bool>("camera");
    QTest::addColumn<QString>("dialog"); // its title and filters, or a failed run's box's title
    QTest::addColumn<QString>("shown"); // %1 stands for the file's path, typed without a suffix
    QTest::addColumn<bool>("undoable");
    using S = ListStep;
    const QString binary = QStringLiteral(" hot pixel list Binary files (*.bin)");
    const QString text = QStringLiteral(" hot pixel list Text files (*.txt)");
    const QString none;
    QTest::newRow("add") << S::Add << none << true << none << none << true;
    QTest::newRow("delete") << S::Delete << none << false << none << none << true;
    QTest::newRow("clear") << S::Command << "Clear user hot pixel" << true << none << none << true;
    QTest::newRow("detection") << S::Detect << none << false << none << none << true;
    QTest::newRow("detection, old list cleared")
            << S::DetectCleared << none << false << none << none << true;
    QTest::newRow("detection too bright, old list cleared")
            << S::TooBright << none << false << "Detection failed" << none << true;
    QTest::newRow("detection refused")
            << S::Refused << none << false << none
            << "Image format for hot pixel detection not supported." << false;
    QTest::newRow("import") << S::Command << "&Import hot pixel list" << false << "Import" + text
                            << "Hot pixels imported from %1.txt: 2" << true;
    QTest::newRow("load") << S::Command << "&Load hot pixel list" << true << "Open" + binary
                          << "Hot pixels loaded from %1.bin: 2" << true;
    QTest::newRow("save") << S::Command << "&Save hot pixel list" << true << "Save" + binary
                          << "Hot pixels saved to %1.bin: 3" << false;
    QTest::newRow("export") << S::Command << "&Export hot pixel list" << false << "Export" + text
                            << "Hot pixels exported to %1.txt: 3" << false;
}

void tst_MainWindow::listCommands()
{
    QFETCH(ListStep, step);
    QFETCH(QString, command);
    QFETCH(bool, camera);
    QFETCH(QString, dialog);
    QFETCH(QString, shown);
    QFETCH(bool, undoable);
    QVERIFY(start(camera));
    if (camera)
        QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel();
    const QString path = m_sim->root() + QStringLiteral("/list");
    model->addPixel(QPoint(21, 22));
    model->addPixel(QPoint(5, 5));
    if (command.startsWith(QLatin1String("&Load"))) { // a file of these two to load
        answerFileDialog(path);
        action("&Save hot pixel list")->trigger();
    }
    if (command.startsWith(QLatin1String("&Import"))) {
        QFile file(path + ".txt");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("12 345 1\n7 8 3\n");
    }
    model->addPixel(QPoint(9, 9));
    const QString before = listText();
    // The keys reach the window while it is active, the dialogue of a run closed,
    // and go to the image, as after a click into it.
    auto activate = [] {
        for (DetectionDialogue *dialogue : win->findChildren<DetectionDialogue *>())
            dialogue->hide();
        win->activateWindow();
        child<DisplayWidget>()->setFocus();
        return QTest::qWaitForWindowActive(win);
    };
    QVERIFY(activate());

    QString seen;
    switch (step) {
    case ListStep::Add: // Ctrl+A twice adds one row, in one step
        emit child<DisplayWidget>()->positionClicked(QPoint(300, 200));
        QTest::keySequence(win, QKeySequence(Qt::CTRL + Qt::Key_A));
        QTest::keySequence(win, QKeySequence(Qt::CTRL + Qt::Key_A));
        break;
    case ListStep::Delete:
        emit child<DisplayWidget>()->positionClicked(QPoint(5, 5));
        QTest::keyClick(win, Qt::Key_Delete);
        break;
    case ListStep::Detect:
    case ListStep::DetectCleared:
        startRun(step == ListStep::DetectCleared);
        for (int i = 0; i < 11; ++i)
            feed(3); // three bright pixels at the top left
        break;
    case ListStep::TooBright: { // the run fails after the list was cleared
        answerWhenShown<QMessageBox>([&](QMessageBox *box) {
            seen = box->windowTitle();
            box->accept();
        });
        const DetectionDialogue *run = startRun(true);
        feed(6000);
        QCOMPARE(run->findChild<QProgressBar *>()->value(), 0); // the run's end
        break;
    }
    case ListStep::Refused: { // a lost camera's null image is collected as a frame
        DetectionDialogue *run = startRun(false);
        for (int bright : {-1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
            feed(bright);
        QVERIFY(labelTexts(run).contains(message() + " Please restart detection."));
        break;
    }
    case ListStep::Command:
        if (!dialog.isEmpty())
            answerFileDialog(path, &seen);
        action(command)->trigger();
        break;
    }
    QCOMPARE(seen, dialog);
    if (!shown.isEmpty())
        QCOMPARE(message(), QString(shown).replace(QLatin1String("%1"), path));
    if (!dialog.isEmpty() && !undoable)
        QVERIFY(QFile::exists(path + shown.section(':', 0, 0).right(4)));
    const QString after = listText();
    QCOMPARE(after != before, undoable);
    QVERIFY(activate());
    if (undoable) {
        QTest::keySequence(win, QKeySequence::Undo);
        QCOMPARE(listText(), before);
        QTest::keySequence(win, QKeySequence::Redo);
        QCOMPARE(listText(), after);
        QTest::keySequence(win, QKeySequence::Undo);
        QCOMPARE(listText(), before);
    }
    // Once undone, the step is all there was to undo.
    QVERIFY(!action("&Undo")->isEnabled());
}

void tst_MainWindow::lostCameraReturns()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    SimHold holder(QString::fromLatin1(softwareOnly));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(softwareOnly), QStringLiteral("in use"), 10000);
    QTableView *cameras = table(true);
    QCOMPARE(tvsim_plug(mono, 0), 0);
    QTRY_COMPARE_WITH_TIMEOUT(
            message(), QStringLiteral("Camera disconnected; waiting for it to return."), 10000);
    auto *display = child<DisplayWidget>();
    QVERIFY(!display->imageLabel->isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(rowOf(mono), -1, 10000);
    // Meanwhile the first row is selected, and a poll changes no selection.
    QTRY_COMPARE(cameras->selectionModel()->selectedRows().value(0).row(), 0);

    QStringList selected;
    connect(cameras->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [&](const QItemSelection &rows) {
                if (!rows.isEmpty())
                    selected << rows.indexes().value(3).data().toString();
            });
    QCOMPARE(tvsim_plug(mono, 1), 0);
    QTRY_COMPARE_WITH_TIMEOUT(message(), QStringLiteral("The camera has returned."), 10000);
    QVERIFY(display->imageLabel->isVisible());
    // The return selects every row that reads "in use", and the camera's own
    // row last, whether or not a poll has marked it "opened" already.
    QTRY_VERIFY_WITH_TIMEOUT(selected.contains(QLatin1String(softwareOnly)), 10000);
    QTRY_COMPARE(selected.last(), QString::fromLatin1(mono));
    // Close follows the row, which reads "opened" from the next poll on.
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(mono), QStringLiteral("opened"), 10000);
    QVERIFY(action("&Close camera")->isEnabled());
    display->clear();
    QTRY_VERIFY_WITH_TIMEOUT(!display->imageLabel->pixmap(Qt::ReturnByValue).isNull(), 10000);
}

void tst_MainWindow::menusBarsAndDocks_data()
{
    QTest::addColumn<QString>("part");
    QTest::addColumn<QString>("shown"); // one entry after the other, "|" between them
    const QString undo = QKeySequence(QKeySequence::Undo).toString();
    const QString redo = QKeySequence(QKeySequence::Redo).toString();
    // clang-format off
    QTest::newRow("menu bar") << "menu bar" << "&File|&Edit|&View|&Help";
    QTest::newRow("File") << "&File" << "&Open camera~|&Close camera~|-|&Save hot pixel list|"
            "&Load hot pixel list|-|&Export hot pixel list|&Import hot pixel list|-|E&xit";
    QTest::newRow("Edit") << "&Edit" << "&Undo~ " + undo + "|&Redo~ " + redo;
    QTest::newRow("View") << "&View" << "Camera list[ ]|Hot pixel list[ ]|Magnifier[ ]|"
            "Camera properties[ ]|-|&Highlight[x]";
    QTest::newRow("Help") << "&Help" << "&Usage|-|&About...";
    QTest::newRow("tool bar") << "tool bar" << "&Open camera~|&Close camera~|-|"
            "Hot pixel correction~[ ]|Detec&t hot pixel~|&Write hot pixel~|"
            "&Add hot pixel~ Ctrl+A|&Delete hot pixel~ Del|-|&Highlight[x]|1:1~";
    QTest::newRow("docks") << "docks" << "Camera list: left, tabbed with Hot pixel list, in front|"
            "Hot pixel list: left, tabbed with Camera list|Magnifier: left|Camera properties: left";
    QTest::newRow("status fields") << "status fields" << "U:|F:|x:|y:|Frames:|Failed:|FPS:";
    // clang-format on
}

void tst_MainWindow::menusBarsAndDocks()
{
    QFETCH(QString, part);
    QVERIFY(start(false));
    QStringList seen;
    if (part == QLatin1String("tool bar")) {
        seen = describeActions(child<QToolBar>()->actions());
    } else if (part == QLatin1String("menu bar")) {
        seen = describeActions(win->menuBar()->actions());
    } else if (part == QLatin1String("docks")) {
        for (const char *name :
             {"CameraListDock", "BadpixelListDock", "MagnifierDock", "CameraSliderDock"}) {
            QDockWidget *dock = child<QDockWidget>(name);
            QString text = dock->windowTitle() + ": "
                    + (win->dockWidgetArea(dock) == Qt::LeftDockWidgetArea ? "left" : "elsewhere");
            for (const QDockWidget *tab : win->tabifiedDockWidgets(dock))
                text += ", tabbed with " + tab->windowTitle();
            if (!win->tabifiedDockWidgets(dock).isEmpty() && !dock->visibleRegion().isEmpty())
                text += ", in front";
            seen << text;
        }
    } else if (part == QLatin1String("status fields")) {
        // Filled without a camera; read from left to right.
        QMetaObject::invokeMethod(win, "updateStatus");
        emit child<DisplayWidget>()->positionClicked(QPoint(1, 1));
        QList<QLabel *> labels = win->statusBar()->findChildren<QLabel *>();
        std::sort(labels.begin(), labels.end(),
                  [](QLabel *a, QLabel *b) { return a->x() < b->x(); });
        for (const QLabel *label : labels) {
            if (!label->text().isEmpty())
                seen << label->text().section(' ', 0, 0);
        }
    } else {
        QAction *menu = action(part);
        QVERIFY(menu);
        seen = describeActions(menu->menu()->actions());
    }
    QTEST(seen.join('|'), "shown");
}

void tst_MainWindow::zoomStepsAndScroll_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<double>("scale"); // of the image
    QTest::addColumn<int>("scrollScale"); // by which the scroll step is reckoned
    QTest::addColumn<QString>("halved"); // the step once the display had to halve the scale
    QTest::newRow("1:4") << "1:4" << 0.25 << 1 << "1:4";
    QTest::newRow("1:2") << "1:2" << 0.5 << 1 << "1:2";
    QTest::newRow("1:1") << "1:1" << 1.0 << 1 << "1:1";
    QTest::newRow("2:1") << "2:1" << 2.0 << 2 << "1:1";
    QTest::newRow("4:1") << "4:1" << 4.0 << 4 << "2:1";
}

void tst_MainWindow::zoomStepsAndScroll()
{
    QFETCH(QString, step);
    QFETCH(double, scale);
    QFETCH(int, scrollScale);
    QFETCH(QString, halved);
    QVERIFY(start());
    QVERIFY(openCamera(mono)); // 1280 x 1024
    QAction *zoom = zoomButton();
    auto shown = [&] { // the zoom shown and the checked steps
        QString result = zoom->text();
        for (QAction *act : zoom->menu()->actions())
            result += act->isChecked() ? ' ' + act->text() : QString();
        return result;
    };
    for (QAction *act : zoom->menu()->actions()) {
        if (act->text() == step)
            act->trigger(); // reaches the window through the menu's triggered
    }
    QCOMPARE(shown(), step + ' ' + step);
    auto *display = child<DisplayWidget>();
    const QSize size(qRound(1280 * scale), qRound(1024 * scale));
    QTRY_COMPARE_WITH_TIMEOUT(display->imageLabel->size(), size, 10000);

    // A selected row scrolls the image to its pixel by proportion: the bar's
    // maximum over the image's extent in scroll steps, times the coordinate.
    const QPoint pixel(1000, 800);
    listModel()->addPixel(pixel);
    const QScrollBar *bars[] = {display->horizontalScrollBar(), display->verticalScrollBar()};
    const int before[] = {bars[0]->value(), bars[1]->value()};
    table(false)->selectRow(listModel()->indexOfPixel(pixel.x(), pixel.y(), 1).row());
    QVERIFY(status().startsWith(QLatin1String("x: 1000\ny: 800\n"))); // the focus pixel too
    const int extents[] = {size.width() / scrollScale, size.height() / scrollScale};
    const int coordinates[] = {pixel.x(), pixel.y()};
    for (int i = 0; i < 2; ++i) {
        const int maximum = bars[i]->maximum();
        QCOMPARE(bars[i]->value(),
                 maximum == 0 ? before[i] : maximum / extents[i] * coordinates[i]);
    }

    // A display that must shrink the image halves the zoom, down to 1:1.
    emit display->scaleChanged(scrollScale / 2);
    QCOMPARE(shown(), halved + ' ' + halved);
    QCOMPARE(message() == QLatin1String("The image is too big and will be resized"),
             halved != step);
}

QTEST_MAIN(tst_MainWindow)
#include "tst_mainwindow.moc"
