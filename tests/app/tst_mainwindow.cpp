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

#include <memory>
#include <set>
#include <utility>

using namespace TestUtil;

namespace {

const char mono[] = "4103000101"; // 1280 x 1024
const char bayer[] = "4103000102";
const char softwareOnly[] = "4103000103";
using Pixels = std::set<std::pair<int, int>>;
enum class ListStep { Add, Delete, Clear, Detect, DetectCleared, FailedDetect, Import, Load };
MainWindow *win = nullptr; // the window under test

template<class T>
T *child(const char *name = nullptr)
{
    return win->findChild<T *>(QLatin1String(name));
}

QAction *action(const char *text)
{
    return findAction(win, QLatin1String(text));
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

} // namespace

Q_DECLARE_METATYPE(ListStep)

class tst_MainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void cleanup();
    void firstStartSettingsAndZoom();
    void sessionRules();
    void focusPixel();
    void parameterRows();
    void detectWriteAndReadBack_data();
    void detectWriteAndReadBack();
    void brightFrames_data();
    void brightFrames();
    void detectorFailure();
    void keysAddAndDelete();
    void binaryFilesAndClear();
    void writeOutcomes();
    void textFilesMenusAndHelp();
    void columnsFitTheirContents_data();
    void columnsFitTheirContents();
    void dockSizesRestored();
    void listCommandsConfirm_data();
    void listCommandsConfirm();
    void lostCameraAndFailedOpen();
    void undoRedo_data();
    void undoRedo();
    void writeAfterFailedRead_data();
    void writeAfterFailedRead();
    void menusBarsAndDocks_data();
    void menusBarsAndDocks();
    void zoomStepsAndScroll_data();
    void zoomStepsAndScroll();
    void reconnectSelectsInUse();

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

void tst_MainWindow::firstStartSettingsAndZoom()
{
    QVERIFY(start(false, false));
    QCOMPARE(win->windowTitle(), QStringLiteral("Tavo Speckmend"));
    QCOMPARE(win->size(), QSize(800, 600));
    win->show();
    QVERIFY(QTest::qWaitForWindowExposed(win));

    // Stored on destruction and restored.
    win->resize(1000, 700);
    win->addDockWidget(Qt::RightDockWidgetArea, child<QDockWidget>("CameraSliderDock"));
    QTRY_COMPARE(win->size(), QSize(1000, 700));
    m_window.reset();
    QCOMPARE(QSettings(QStringLiteral("Brevant"), QStringLiteral("Tavo")).allKeys(),
             QStringList({"Speckmend/mainWindow/geometry", "Speckmend/mainWindow/state"}));
    m_window = std::make_unique<MainWindow>();
    win = m_window.get();
    QCOMPARE(win->size(), QSize(1000, 700));
    win->show();
    QVERIFY(QTest::qWaitForWindowExposed(win));
    QCOMPARE(win->dockWidgetArea(child<QDockWidget>("CameraSliderDock")), Qt::RightDockWidgetArea);

    QEvent change(QEvent::LanguageChange);
    QApplication::sendEvent(win, &change);
    QCOMPARE(win->windowTitle(), QStringLiteral("Speckmend"));

    QAction *zoom = child<QToolBar>()->actions().last();
    auto shown = [&] { // the zoom shown, the message, the checked steps
        QString result = zoom->text() + message();
        for (QAction *act : zoom->menu()->actions())
            result += act->isChecked() ? " " + act->text() : QString();
        return result;
    };
    for (QAction *act : zoom->menu()->actions().mid(0, 5)) {
        act->trigger(); // reaches the window through the menu's triggered
        QCOMPARE(shown(), act->text() + " " + act->text());
    }
    // A display that must shrink the image halves the zoom, down to 1:1.
    emit child<DisplayWidget>()->scaleChanged(0.5);
    QCOMPARE(shown(), QStringLiteral("4:1 4:1"));
    const QString resized = QStringLiteral("The image is too big and will be resized");
    emit child<DisplayWidget>()->scaleChanged(2.0);
    QCOMPARE(shown(), "2:1" + resized + " 2:1");
    zoom->menu()->actions().at(4)->trigger();
    emit child<DisplayWidget>()->scaleChanged(1.0);
    QCOMPARE(shown(), "1:1" + resized + " 1:1");
}

void tst_MainWindow::sessionRules()
{
    QVERIFY(start());
    QAction *close = action("&Close camera");
    auto *display = child<DisplayWidget>();
    auto *magnifier = child<Magnifier>();
    QTableView *cameras = table(true);
    auto frames = [&] { return status().section('\n', 4, 4).mid(8).toInt(); };
    // The first poll selects row 0, and the rule enables Open.
    QTRY_COMPARE_WITH_TIMEOUT(cameras->model()->rowCount(), 3, 10000);
    QTRY_COMPARE(cameras->selectionModel()->selectedRows().value(0).row(), 0);
    QVERIFY(action("&Open camera")->isEnabled() && !close->isEnabled());

    // A failed open: the library's text in the status bar, then the box.
    QString seen;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->windowTitle() + " | " + message();
        box->accept();
    });
    cameras->selectRow(rowOf(mono));
    tvsim_inject("tv_InitCamera", 1, 1);
    action("&Open camera")->trigger();
    QCOMPARE(seen, QStringLiteral("Please note! | Could not initialize camera."));

    QVERIFY(openCamera(mono));
    QVERIFY(display->imageLabel->isVisible() && close->isEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(!magnifier->pixmap(Qt::ReturnByValue).isNull(), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(frames() > 0, 10000); // a tick of the 1500 ms timer
    const QRegularExpression fields(QStringLiteral("^x: 0\ny: 0\nU: 0\nF: %1\nFrames: \\d+\n"
                                                   "Failed: \\d+\nFPS: \\d+\\.\\d\\d$")
                                            .arg(listModel()->rowCount()));
    QVERIFY2(fields.match(status()).hasMatch(), qPrintable(status()));

    QAction *zoom = child<QToolBar>()->actions().last();
    auto enabled = [&] { // parameter rows, zoom, the commands of an open camera, Open
        QString result = QString::number(child<ParameterBlockWidget>()->isEnabled())
                + QString::number(zoom->isEnabled());
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

    cameras->selectRow(rowOf(mono));
    close->trigger();
    QVERIFY(status().endsWith(QLatin1String("\nFrames: 0\nFailed: 0\nFPS: 0")));
    for (QTimer *timer : win->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly))
        QVERIFY(!timer->isActive() || timer->interval() != 1500); // the status timer stopped
    QVERIFY(!display->imageLabel->isVisible() && magnifier->pixmap(Qt::ReturnByValue).isNull());
    QCOMPARE(listModel()->rowCount(), 0);
    QTRY_COMPARE(statusOf(mono), QStringLiteral("free"));
}

void tst_MainWindow::focusPixel()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    // The focus pixel: clicks, arrow keys, the magnifier, clamped to the sensor.
    QTableView *view = table(false);
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

    // A table row moves the focus to its pixel.
    view->selectRow(0);
    const QAbstractItemModel *model = view->model();
    QCOMPARE(focus(), QPoint(model->index(0, 0).data().toInt(), model->index(0, 1).data().toInt()));
}

void tst_MainWindow::parameterRows()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    auto *block = child<ParameterBlockWidget>();
    QSlider *slider = block->exposure->slider;
    QDoubleSpinBox *box = block->exposure->spinBox;
    QTRY_VERIFY_WITH_TIMEOUT(slider->maximum() > 10, 10000);
    QSignalSpy values(block->exposure, &DoubleParameterWidget::valueChanged);

    // Dragging sends nothing; the release sends once, without an echo.
    slider->setSliderDown(true);
    slider->setValue(slider->maximum() / 2);
    slider->setValue(slider->maximum() / 3);
    QCOMPARE(values.count(), 0);
    const double chosen = box->value();
    slider->setSliderDown(false);
    QCoreApplication::processEvents();
    QCOMPARE(values.count(), 1);
    QCOMPARE(values.first().at(0).toDouble(), chosen);

    // A typed number goes out snapped down to the slider's grid: rounded to
    // two decimals, ratio truncated, rounded again.
    const double low = box->minimum(), span = box->maximum() - low;
    const int steps = slider->maximum();
    const double typed = low + span * 0.37 + span / steps * 0.4;
    const int step = int((QString::number(typed, 'f', 2).toDouble() - low) / span * steps);
    values.clear();
    box->setValue(typed);
    const double snapped = span * (double(step) / steps) + low;
    QCOMPARE(values.value(0).value(0).toDouble(), QString::number(snapped, 'f', 2).toDouble());

    // A camera change comes back: a higher rate cuts the longest exposure.
    block->framerate->spinBox->setValue(10.0);
    QVERIFY(qAbs(block->framerate->spinBox->value() - 10.0) < 0.5);
    QVERIFY(box->maximum() <= 101.0);
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

void tst_MainWindow::brightFrames_data()
{
    QTest::addColumn<int>("brightBytes");
    QTest::addColumn<bool>("clear");
    QTest::newRow("5000 pass") << 5000 << false;
    QTest::newRow("5001 fail, list kept") << 5001 << false;
    QTest::newRow("5001 fail, list cleared at start") << 5001 << true;
}

void tst_MainWindow::brightFrames()
{
    QFETCH(int, brightBytes);
    QFETCH(bool, clear);
    QVERIFY(start(false));
    listModel()->addPixel(QPoint(3, 3));
    const Pixels kept = clear ? Pixels() : Pixels {{3, 3}};
    auto *progress = startRun(clear)->findChild<QProgressBar *>();
    QCOMPARE(userPixels(), kept); // cleared at Start, before any frame
    QString seen;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->windowTitle() + QString::number(progress->value());
        box->accept();
    });
    feed(brightBytes);
    if (brightBytes == 5000) // passed; end the run, as the progress counter outlives the window
        feed(6000);
    QCOMPARE(seen, QStringLiteral("Detection failed%1").arg(brightBytes == 5000 ? 20 : 10));
    QCOMPARE(progress->value(), 0);
    QCOMPARE(userPixels(), kept);
}

void tst_MainWindow::detectorFailure()
{
    QVERIFY(start(false));
    DetectionDialogue *dialogue = startRun(false);
    feed(-1); // a lost camera's null image is collected as a frame
    for (int i = 0; i < 9; ++i)
        feed(0);
    QCOMPARE(dialogue->findChild<QProgressBar *>()->value(), 100);
    feed(0); // hands the ten over; the detector refuses them
    QVERIFY(!message().isEmpty());
    QVERIFY(labelTexts(dialogue).contains(message()
                                          + QStringLiteral(" Please restart detection.")));
    QCOMPARE(listModel()->rowCount(), 0);
}

void tst_MainWindow::keysAddAndDelete()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel();
    const int factoryRows = model->rowCount();
    QVERIFY(factoryRows > 0 && userPixels().empty());

    // Ctrl+A twice adds one row, Del removes it; a factory row stays.
    auto *display = child<DisplayWidget>();
    display->setFocus(); // the keys go to the image, as after a click into it
    emit display->positionClicked(QPoint(300, 200));
    QTest::keySequence(win, QKeySequence(Qt::CTRL + Qt::Key_A));
    QTest::keySequence(win, QKeySequence(Qt::CTRL + Qt::Key_A));
    QCOMPARE(userPixels(), (Pixels {{300, 200}}));
    QTest::keyClick(win, Qt::Key_Delete);
    table(false)->selectRow(0);
    QMetaObject::invokeMethod(win, "deleteBadpixel");
    QCOMPARE(model->rowCount(), factoryRows);
}

void tst_MainWindow::binaryFilesAndClear()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel();
    const int factoryRows = model->rowCount();
    // Binary files through the real dialogs; Clear takes the user rows only.
    model->addPixel(QPoint(21, 22));
    const QString path = m_sim->root() + QStringLiteral("/list.bin");
    QString seen;
    answerFileDialog(path, &seen);
    action("&Save hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Save hot pixel list Binary files (*.bin)"));
    action("Clear user hot pixel")->trigger();
    QCOMPARE(model->rowCount(), factoryRows);
    answerFileDialog(path, &seen);
    action("&Load hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Open hot pixel list Binary files (*.bin)"));
    QCOMPARE(userPixels(), (Pixels {{21, 22}}));
}

void tst_MainWindow::writeOutcomes()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel();
    QString seen;
    // Write: No writes nothing; a library failure keeps the list.
    QAction *write = action("&Write hot pixel");
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->informativeText();
        box->button(QMessageBox::No)->click();
    });
    write->trigger();
    QCOMPARE(seen, QStringLiteral("Do you want to continue?"));
    action("&Close camera")->trigger();
    QVERIFY(openCamera(mono));
    QVERIFY(userPixels().empty());
    model->addPixel(QPoint(50, 60));
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        tvsim_inject("tv_HotPixel", 1, 0); // after the capability test
        answerMessageBox(QMessageBox::Ok, &seen);
        box->button(QMessageBox::Yes)->click();
    });
    write->trigger();
    tvsim_inject("tv_HotPixel", 0, 0);
    QVERIFY(!message().isEmpty());
    QCOMPARE(seen, "Write failed | " + message());
    QCOMPARE(userPixels(), (Pixels {{50, 60}}));
    // The software-only camera: a warning after a good open, Write off until
    // the rule runs again, then "Not supported!".
    answerMessageBox(QMessageBox::Ok, &seen);
    QVERIFY(openCamera(softwareOnly));
    QCOMPARE(seen,
             QStringLiteral("Please note! | This camera only supports software correction "
                            "and therefore can't save inside the camera memory."));
    QVERIFY(!write->isEnabled());
    QMetaObject::invokeMethod(win, "updateCameraActions");
    QVERIFY(write->isEnabled());
    answerMessageBox(QMessageBox::Ok, &seen);
    write->trigger();
    QCOMPARE(seen,
             QStringLiteral("Not supported! | This camera only supports software correction "
                            "and can't be saved inside the camera memory!"));
}

void tst_MainWindow::textFilesMenusAndHelp()
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

    BadpixelListModel *model = listModel();
    model->addPixel(QPoint(12, 345));
    model->addPixel(QPoint(7, 8));
    const QString path = m_sim->root() + QStringLiteral("/list.txt");
    QString seen;
    answerFileDialog(path, &seen);
    action("&Export hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Export hot pixel list Text files (*.txt)"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("12 345 1\n7 8 1\n"));
    // Import replaces the user rows; a cancelled dialog does nothing.
    model->addPixel(QPoint(99, 99));
    answerFileDialog(path, &seen);
    action("&Import hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Import hot pixel list Text files (*.txt)"));
    QCOMPARE(userPixels(), (Pixels {{12, 345}, {7, 8}}));
    model->addPixel(QPoint(99, 99));
    answerFileDialog(QString());
    action("&Import hot pixel list")->trigger();
    QCOMPARE(model->rowCount(), 3);
    // A file that can't be written: the critical box with the model's text.
    answerFileDialog(QStringLiteral("/proc/self/list.txt"));
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->text() + QString::number(box->icon() == QMessageBox::Critical);
        box->accept();
    });
    action("&Export hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Can't open file for writing.1"));

    // The context menu: Delete follows the selected row's class.
    table(false)->selectRow(0);
    QCOMPARE(menu(), QStringList({add, "&Delete hot pixel Del", "Clear user hot pixel"}));
    QVERIFY(model->setData(model->index(0, 2), QStringLiteral("factory")));
    QCOMPARE(menu(), QStringList({add, "&Delete hot pixel~ Del", "Clear user hot pixel"}));

    answerMessageBox(QMessageBox::Close, &seen);
    action("&Usage")->trigger();
    QVERIFY(seen.startsWith(QStringLiteral("Usage | Tavo Speckmend - Usage\n\nNavigation:")));
    QVERIFY(seen.contains(QStringLiteral("\nCtrl+A\t Add a hot pixel to the list\n")));
    QVERIFY(seen.contains(QStringLiteral("\nDel\t Removes a hot pixel from the list\n")));
    answerWhenShown<Dialog_About>([&](Dialog_About *about) {
        seen = about->windowTitle() + QString::number(about->minimumSize() == about->maximumSize());
        about->reject();
    });
    action("&About...")->trigger();
    QCOMPARE(seen, QStringLiteral("About Tavo Speckmend1"));
}

void tst_MainWindow::columnsFitTheirContents_data()
{
    QTest::addColumn<bool>("cameras");
    QTest::newRow("camera table") << true;
    QTest::newRow("hot pixel table") << false;
}

void tst_MainWindow::columnsFitTheirContents()
{
    QFETCH(bool, cameras);
    QVERIFY(start());
    QTableView *view = table(cameras);
    if (cameras)
        QTRY_COMPARE_WITH_TIMEOUT(view->model()->rowCount(), 3, 10000);
    else
        listModel()->addPixel(QPoint(1234, 1023));
    // The last column stretches; every other one is as wide as its contents.
    for (int column = 0; column < view->model()->columnCount() - 1; ++column) {
        const int shown = view->columnWidth(column);
        view->resizeColumnToContents(column);
        QCOMPARE(shown, view->columnWidth(column));
    }
}

void tst_MainWindow::dockSizesRestored()
{
    QVERIFY(start(false));
    auto *dock = child<QDockWidget>("MagnifierDock");
    win->resizeDocks({dock}, {420}, Qt::Horizontal);
    QTRY_COMPARE(dock->width(), 420);
    child<QDockWidget>("BadpixelListDock")->raise();
    m_window.reset();
    m_window = std::make_unique<MainWindow>();
    win = m_window.get();
    win->show();
    QVERIFY(QTest::qWaitForWindowExposed(win));
    QTRY_COMPARE(child<QDockWidget>("MagnifierDock")->width(), 420);
    // The camera list is the tab in front, whatever tab was in front before.
    QVERIFY(!child<QDockWidget>("CameraListDock")->visibleRegion().isEmpty());
    QVERIFY(child<QDockWidget>("BadpixelListDock")->visibleRegion().isEmpty());
}

void tst_MainWindow::listCommandsConfirm_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("typed"); // the file name as typed, without a suffix
    QTest::addColumn<QString>("shown"); // %1 stands for the file's path
    QTest::newRow("write") << "&Write hot pixel" << QString()
                           << "Hot pixels written into the camera: 2";
    QTest::newRow("save") << "&Save hot pixel list"
                          << "mylist"
                          << "Hot pixels saved to %1.bin: 2";
    QTest::newRow("export") << "&Export hot pixel list"
                            << "mylist"
                            << "Hot pixels exported to %1.txt: 2";
    QTest::newRow("load") << "&Load hot pixel list"
                          << "saved"
                          << "Hot pixels loaded from %1.bin: 1";
    QTest::newRow("import") << "&Import hot pixel list"
                            << "exported"
                            << "Hot pixels imported from %1.txt: 3";
}

void tst_MainWindow::listCommandsConfirm()
{
    QFETCH(QString, command);
    QFETCH(QString, typed);
    QFETCH(QString, shown);
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel();
    const QString path = m_sim->root() + '/' + typed;
    if (command.startsWith(QLatin1String("&Load"))) { // a file of one pixel to load
        model->addPixel(QPoint(21, 22));
        answerFileDialog(path);
        action("&Save hot pixel list")->trigger();
        QVERIFY(QFile::exists(path + ".bin"));
    }
    if (command.startsWith(QLatin1String("&Import"))) {
        QFile file(path + ".txt");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("1 2 1\n3 4 1\n5 6 7\n");
    }
    model->addPixel(QPoint(1, 1));
    model->addPixel(QPoint(2, 2));
    if (typed.isEmpty())
        answerMessageBox(QMessageBox::Yes);
    else
        answerFileDialog(path);
    action(command.toLatin1().constData())->trigger();
    QCOMPARE(message(), shown.arg(path));
    if (command.startsWith(QLatin1String("&Save")) || command.startsWith(QLatin1String("&Export")))
        QVERIFY(QFile::exists(path + shown.section(':', 0, 0).right(4)));
}

void tst_MainWindow::lostCameraAndFailedOpen()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    QCOMPARE(tvsim_plug(mono, 0), 0);
    QTRY_COMPARE_WITH_TIMEOUT(
            message(), QStringLiteral("Camera disconnected; waiting for it to return."), 10000);
    auto *display = child<DisplayWidget>();
    QVERIFY(!display->imageLabel->isVisible());
    QCOMPARE(tvsim_plug(mono, 1), 0);
    QTRY_COMPARE_WITH_TIMEOUT(message(), QStringLiteral("The camera has returned."), 10000);
    QVERIFY(display->imageLabel->isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(mono), QStringLiteral("opened"), 10000);
    display->clear();
    QTRY_VERIFY_WITH_TIMEOUT(!display->imageLabel->pixmap(Qt::ReturnByValue).isNull(), 10000);

    // A failed open of another camera leaves nothing of this one.
    auto frames = [&] { return status().section('\n', 4, 4); };
    QTRY_VERIFY_WITH_TIMEOUT(frames() != QLatin1String("Frames: 0") && !frames().isEmpty(), 10000);
    answerMessageBox(QMessageBox::Ok);
    table(true)->selectRow(rowOf(bayer));
    tvsim_inject("tv_InitCamera", 1, 1);
    action("&Open camera")->trigger();
    QCOMPARE(message(), QStringLiteral("Could not initialize camera."));
    const QLabel *image = display->imageLabel;
    QVERIFY(!image->isVisible() && image->pixmap(Qt::ReturnByValue).isNull());
    QVERIFY(child<Magnifier>()->pixmap(Qt::ReturnByValue).isNull());
    QVERIFY(status().endsWith(QLatin1String("\nFrames: 0\nFailed: 0\nFPS: 0")));
}

namespace {

// The whole list as a sorted text, every class and the factory rows too.
QString listText()
{
    QStringList rows;
    for (const BadpixelEntry &entry : listModel()->pixels())
        rows << QStringLiteral("%1,%2,%3").arg(entry.x).arg(entry.y).arg(entry.pixelClass);
    rows.sort();
    return rows.join(' ');
}

} // namespace

void tst_MainWindow::undoRedo_data()
{
    QTest::addColumn<ListStep>("step");
    QTest::addColumn<bool>("camera");
    QTest::newRow("add") << ListStep::Add << true;
    QTest::newRow("delete") << ListStep::Delete << false;
    QTest::newRow("clear") << ListStep::Clear << false;
    QTest::newRow("detection") << ListStep::Detect << false;
    QTest::newRow("detection, old list cleared") << ListStep::DetectCleared << false;
    QTest::newRow("failed detection, old list cleared") << ListStep::FailedDetect << false;
    QTest::newRow("import") << ListStep::Import << false;
    QTest::newRow("load") << ListStep::Load << true;
}

void tst_MainWindow::undoRedo()
{
    QFETCH(ListStep, step);
    QFETCH(bool, camera);
    QVERIFY(start(camera));
    if (camera)
        QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel();
    const QString path = m_sim->root() + QStringLiteral("/list");
    model->addPixel(QPoint(21, 22));
    model->addPixel(QPoint(5, 5));
    if (step == ListStep::Load) { // a file of one pixel to load
        answerFileDialog(path + ".bin");
        action("&Save hot pixel list")->trigger();
    }
    QFile file(path + (step == ListStep::Import ? ".txt" : ".bin"));
    if (step == ListStep::Import) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("12 345 1\n7 8 3\n");
        file.close();
    }
    model->addPixel(QPoint(9, 9));
    const QString before = listText();

    switch (step) {
    case ListStep::Add:
        emit child<DisplayWidget>()->positionClicked(QPoint(300, 200));
        action("&Add hot pixel")->trigger();
        break;
    case ListStep::Delete:
        emit child<DisplayWidget>()->positionClicked(QPoint(5, 5));
        action("&Delete hot pixel")->trigger();
        break;
    case ListStep::Clear:
        action("Clear user hot pixel")->trigger();
        break;
    case ListStep::Detect:
    case ListStep::DetectCleared:
        startRun(step == ListStep::DetectCleared);
        for (int i = 0; i < 11; ++i)
            feed(3); // three bright pixels at the top left
        break;
    case ListStep::FailedDetect:
        startRun(true);
        answerMessageBox(QMessageBox::Ok);
        feed(6000); // too bright: the run fails after the list was cleared
        break;
    case ListStep::Import:
    case ListStep::Load:
        answerFileDialog(file.fileName());
        action(step == ListStep::Import ? "&Import hot pixel list" : "&Load hot pixel list")
                ->trigger();
        break;
    }
    const QString after = listText();
    QVERIFY2(after != before, qPrintable(after));
    // The keys reach the window once the dialogue of a run is closed.
    for (DetectionDialogue *dialogue : win->findChildren<DetectionDialogue *>())
        dialogue->hide();
    win->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(win));

    QTest::keySequence(win, QKeySequence::Undo);
    QCOMPARE(listText(), before);
    QTest::keySequence(win, QKeySequence::Redo);
    QCOMPARE(listText(), after);
    QTest::keySequence(win, QKeySequence::Undo);
    QCOMPARE(listText(), before);
    // Once undone, the step is all there was to undo.
    QVERIFY(!findAction(win, QStringLiteral("&Undo"))->isEnabled());
}

void tst_MainWindow::writeAfterFailedRead_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("refused") << int(QMessageBox::No);
    QTest::newRow("confirmed") << int(QMessageBox::Yes);
}

void tst_MainWindow::writeAfterFailedRead()
{
    QFETCH(int, answer);
    QVERIFY(start());
    // While the camera opens, the queries after the factory list fail, so the
    // user list is not read.
    bool armed = true;
    connect(listModel(), &QAbstractItemModel::rowsInserted, this, [&] {
        if (std::exchange(armed, false))
            tvsim_inject("tv_HotPixel", 5, 2);
    });
    QVERIFY(openCamera(mono));
    QTRY_VERIFY2(message().startsWith(QLatin1String("The camera's user list could not be read: ")),
                 qPrintable(message()));
    listModel()->addPixel(QPoint(50, 60));

    QString seen;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->windowTitle();
        if (answer == QMessageBox::Yes) {
            answerWhenShown<QMessageBox>([&](QMessageBox *confirm) {
                answerMessageBox(QMessageBox::Ok, &seen); // a failed write
                confirm->button(QMessageBox::Yes)->click();
            });
        }
        box->button(QMessageBox::StandardButton(answer))->click();
    });
    action("&Write hot pixel")->trigger();
    QCOMPARE(seen, QStringLiteral("User list not read"));
    QCOMPARE(message().startsWith(QLatin1String("Hot pixels written")), answer == QMessageBox::Yes);
}

void tst_MainWindow::menusBarsAndDocks_data()
{
    QTest::addColumn<QString>("part");
    QTest::addColumn<QStringList>("shown");
    QTest::newRow("menu bar") << "menu bar" << QStringList {"&File", "&Edit", "&View", "&Help"};
    QTest::newRow("File") << "&File"
                          << QStringList {"&Open camera~",
                                          "&Close camera~",
                                          "-",
                                          "&Save hot pixel list",
                                          "&Load hot pixel list",
                                          "-",
                                          "&Export hot pixel list",
                                          "&Import hot pixel list",
                                          "-",
                                          "E&xit"};
    QTest::newRow("Edit") << "&Edit"
                          << QStringList {"&Undo~ " + QKeySequence(QKeySequence::Undo).toString(),
                                          "&Redo~ " + QKeySequence(QKeySequence::Redo).toString()};
    QTest::newRow("View") << "&View" << QStringList {"Camera list[ ]",
                                                     "Hot pixel list[ ]",
                                                     "Magnifier[ ]",
                                                     "Camera properties[ ]",
                                                     "-",
                                                     "&Highlight[x]"};
    QTest::newRow("Help") << "&Help" << QStringList {"&Usage", "-", "&About..."};
    QTest::newRow("tool bar only")
            << "tool bar only" << QStringList {"Hot pixel correction~[ ]", "Detec&t hot pixel~",
                                               "&Write hot pixel~",        "&Add hot pixel~ Ctrl+A",
                                               "&Delete hot pixel~ Del",   "1:1~"};
    QTest::newRow("docks") << "docks"
                           << QStringList {
                                      "Camera list: left, tabbed with Hot pixel list, in front",
                                      "Hot pixel list: left, tabbed with Camera list",
                                      "Magnifier: left", "Camera properties: left"};
    QTest::newRow("status fields")
            << "status fields"
            << QStringList {"U:", "F:", "x:", "y:", "Frames:", "Failed:", "FPS:"};
}

void tst_MainWindow::menusBarsAndDocks()
{
    QFETCH(QString, part);
    QFETCH(QStringList, shown);
    QVERIFY(start(false));
    QStringList seen;
    const QList<QAction *> menus = win->menuBar()->actions();
    if (part == QLatin1String("tool bar")) {
        seen = describeActions(child<QToolBar>()->actions());
    } else if (part == QLatin1String("menu bar")) {
        for (const QAction *menu : menus)
            seen << menu->text();
    } else if (part == QLatin1String("tool bar only")) {
        QList<QAction *> onlyThere = child<QToolBar>()->actions();
        for (const QAction *menu : menus) {
            for (QAction *act : menu->menu()->actions())
                onlyThere.removeAll(act);
        }
        onlyThere.removeAll(nullptr);
        for (QAction *act : onlyThere.toVector()) {
            if (act->isSeparator())
                onlyThere.removeAll(act);
        }
        seen = describeActions(onlyThere);
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
        for (const QAction *menu : menus) {
            if (menu->text() == part)
                seen = describeActions(menu->menu()->actions());
        }
    }
    QCOMPARE(seen, shown);
}

void tst_MainWindow::zoomStepsAndScroll_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<double>("scale"); // of the image
    QTest::addColumn<int>("scrollScale"); // by which the scroll step is reckoned
    QTest::newRow("1:4") << "1:4" << 0.25 << 1;
    QTest::newRow("1:2") << "1:2" << 0.5 << 1;
    QTest::newRow("1:1") << "1:1" << 1.0 << 1;
    QTest::newRow("2:1") << "2:1" << 2.0 << 2;
    QTest::newRow("4:1") << "4:1" << 4.0 << 4;
}

void tst_MainWindow::zoomStepsAndScroll()
{
    QFETCH(QString, step);
    QFETCH(double, scale);
    QFETCH(int, scrollScale);
    QVERIFY(start());
    QVERIFY(openCamera(mono)); // 1280 x 1024
    QAction *zoom = child<QToolBar>()->actions().last();
    for (QAction *act : zoom->menu()->actions()) {
        if (act->text() == step)
            act->trigger();
    }
    QCOMPARE(zoom->text(), step);
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
    const int extents[] = {size.width() / scrollScale, size.height() / scrollScale};
    const int coordinates[] = {pixel.x(), pixel.y()};
    for (int i = 0; i < 2; ++i) {
        const int maximum = bars[i]->maximum();
        QCOMPARE(bars[i]->value(),
                 maximum == 0 ? before[i] : maximum / extents[i] * coordinates[i]);
    }
}

void tst_MainWindow::reconnectSelectsInUse()
{
    QVERIFY(start());
    QVERIFY(openCamera(mono));
    SimHold holder(QString::fromLatin1(softwareOnly));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(softwareOnly), QStringLiteral("in use"), 10000);
    QTableView *cameras = table(true);
    QCOMPARE(tvsim_plug(mono, 0), 0);
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
    // The return selects every row that reads "in use", and the camera's own
    // row last, whether or not a poll has marked it "opened" already.
    QTRY_VERIFY_WITH_TIMEOUT(selected.contains(QLatin1String(softwareOnly)), 10000);
    QTRY_COMPARE(selected.last(), QString::fromLatin1(mono));
    QVERIFY(action("&Close camera")->isEnabled());
}

QTEST_MAIN(tst_MainWindow)
#include "tst_mainwindow.moc"
