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

using namespace TestUtil;

namespace {

const char mono[] = "4103000101"; // 1280 x 1024
const char bayer[] = "4103000102";
const char softwareOnly[] = "4103000103";
using Pixels = std::set<std::pair<int, int>>;

QTableView *table(QMainWindow *window, bool cameras)
{
    return qobject_cast<QTableView *>(
            window->findChild<QDockWidget *>(cameras ? "CameraListDock" : "BadpixelListDock")
                    ->widget());
}

BadpixelListModel *listModel(QMainWindow *window)
{
    return qobject_cast<BadpixelListModel *>(table(window, false)->model());
}

// The status fields, one a line: x, y, user, factory, frames, failed, fps.
QString status(QMainWindow *window)
{
    return labelTexts(window->statusBar());
}

int rowOf(QMainWindow *window, const char *serial)
{
    const QAbstractItemModel *model = table(window, true)->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        if (model->index(row, 3).data().toString() == QLatin1String(serial))
            return row;
    }
    return -1;
}

QString statusOf(QMainWindow *window, const char *serial)
{
    return table(window, true)->model()->index(rowOf(window, serial), 4).data().toString();
}

Pixels userPixels(QMainWindow *window)
{
    Pixels result;
    for (const BadpixelEntry &entry : listModel(window)->pixels()) {
        if (entry.pixelClass == 1)
            result.insert({entry.x, entry.y});
    }
    return result;
}

// Hands in a frame of count bytes of 200 and the rest value; null if count < 0.
void feed(QMainWindow *window, int count, int value = 20)
{
    QImage image;
    if (count >= 0) {
        image = QImage(200, 100, QImage::Format_Indexed8);
        image.setColorCount(256);
        image.fill(value);
        std::fill_n(image.bits(), count, uchar(200));
    }
    QMetaObject::invokeMethod(window, "newImage", Qt::DirectConnection, Q_ARG(QImage &, image));
}

} // namespace

class tst_MainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void cleanup();
    void firstStartAndSettings();
    void contextMenus_data();
    void contextMenus();
    void zoom_data();
    void zoom();
    void sessionAndEnablingRules();
    void focusPixelAndParameterRows();
    void detectWriteAndReadBack_data();
    void detectWriteAndReadBack();
    void brightFrames_data();
    void brightFrames();
    void detectorFailure();
    void listCommandsOnCamera();
    void textFilesAndHelp();

private:
    MainWindow *start(bool cameras = true, bool show = true);
    bool openCamera(const char *serial);
    DetectionDialogue *startRun(bool clear);

    std::unique_ptr<SimEnvironment> m_sim;
    std::unique_ptr<SettingsSandbox> m_settings;
    std::unique_ptr<MainWindow> m_window;
};

MainWindow *tst_MainWindow::start(bool cameras, bool show)
{
    m_settings = std::make_unique<SettingsSandbox>();
    m_sim = std::make_unique<SimEnvironment>();
    for (const char *serial : {mono, bayer, softwareOnly})
        tvsim_plug(serial, cameras ? 1 : 0);
    m_window = std::make_unique<MainWindow>();
    if (show)
        m_window->show();
    return !show || QTest::qWaitForWindowExposed(m_window.get()) ? m_window.get() : nullptr;
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
    MainWindow *window = m_window.get();
    if (!QTest::qWaitFor([&] { return rowOf(window, serial) >= 0; }, 10000))
        return false;
    table(window, true)->selectRow(rowOf(window, serial));
    findAction(window, "&Open camera")->trigger();
    const QLabel *image = window->findChild<DisplayWidget *>()->imageLabel;
    return statusOf(window, serial) == QLatin1String("opened") // at once, before a poll
            && QTest::qWaitFor([&] { return !image->pixmap(Qt::ReturnByValue).isNull(); }, 20000);
}

DetectionDialogue *tst_MainWindow::startRun(bool clear)
{
    QMetaObject::invokeMethod(m_window.get(), "openDetectDialog");
    DetectionDialogue *dialogue = m_window->findChildren<DetectionDialogue *>().last();
    dialogue->findChild<QCheckBox *>()->setChecked(clear);
    dialogue->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
    return dialogue;
}

void tst_MainWindow::firstStartAndSettings()
{
    MainWindow *window = start(false, false);
    QCOMPARE(window->windowTitle(), QStringLiteral("Tavo Speckmend"));
    QCOMPARE(window->size(), QSize(800, 600));
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QVERIFY(!window->findChild<ParameterBlockWidget *>()->isEnabled());
    // No rule has run yet: Save and Load stand enabled.
    const QList<QAction *> menus = window->menuBar()->actions();
    QCOMPARE(describeActions(menus.at(0)->menu()->actions()),
             QStringList({"&Open camera~", "&Close camera~", "-", "&Save hot pixel list",
                          "&Load hot pixel list", "-", "&Export hot pixel list",
                          "&Import hot pixel list", "-", "E&xit"}));
    const QList<QAction *> tools = window->findChild<QToolBar *>()->actions();
    QCOMPARE(describeActions(tools),
             QStringList({"&Open camera~", "&Close camera~", "-", "Hot pixel correction~[ ]",
                          "Detec&t hot pixel~", "&Write hot pixel~", "&Add hot pixel~ Ctrl+A",
                          "&Delete hot pixel~ Del", "-", "&Highlight[x]", "1:1~"}));
    QCOMPARE(describeActions(tools.last()->menu()->actions()),
             QStringList({"1:4[ ]", "1:2[ ]", "1:1[x]", "2:1[ ]", "4:1[ ]", "To fit~[ ](hidden)"}));

    // Stored on destruction and restored, the camera list in front again.
    window->resize(1000, 700);
    window->addDockWidget(Qt::RightDockWidgetArea,
                          window->findChild<QDockWidget *>("CameraSliderDock"));
    window->findChild<QDockWidget *>("BadpixelListDock")->raise();
    window->findChild<QDockWidget *>("MagnifierDock")->hide();
    QTRY_COMPARE(window->size(), QSize(1000, 700));
    m_window.reset();
    QCOMPARE(QSettings(QStringLiteral("Brevant"), QStringLiteral("Tavo")).allKeys(),
             QStringList({"Speckmend/mainWindow/geometry", "Speckmend/mainWindow/state"}));
    m_window = std::make_unique<MainWindow>();
    window = m_window.get();
    QCOMPARE(window->size(), QSize(1000, 700));
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->dockWidgetArea(window->findChild<QDockWidget *>("CameraSliderDock")),
             Qt::RightDockWidgetArea);
    QVERIFY(!window->findChild<QDockWidget *>("MagnifierDock")->isVisible());
    QVERIFY(!table(window, true)->visibleRegion().isEmpty());
    QVERIFY(table(window, false)->visibleRegion().isEmpty());

    QEvent change(QEvent::LanguageChange);
    QApplication::sendEvent(window, &change);
    QCOMPARE(window->windowTitle(), QStringLiteral("Speckmend"));
}

void tst_MainWindow::contextMenus_data()
{
    QTest::addColumn<int>("selectedClass"); // 0: an empty list
    QTest::addColumn<QStringList>("entries");

    const QString add = QStringLiteral("&Add hot pixel~ Ctrl+A");
    QTest::newRow("empty list") << 0 << QStringList(add);
    QTest::newRow("selected user row")
            << 1 << QStringList({add, "&Delete hot pixel Del", "Clear user hot pixel"});
    QTest::newRow("selected factory row")
            << 2 << QStringList({add, "&Delete hot pixel~ Del", "Clear user hot pixel"});
}

void tst_MainWindow::contextMenus()
{
    QFETCH(int, selectedClass);
    QFETCH(QStringList, entries);

    MainWindow *window = start(false);
    if (selectedClass) {
        listModel(window)->addPixel(QPoint(5, 5));
        listModel(window)->setData(listModel(window)->index(0, 2),
                                   selectedClass == 1 ? "user" : "factory");
        table(window, false)->selectRow(0);
    }
    QStringList shown;
    answerWhenShown<QMenu>([&](QMenu *menu) {
        shown = describeActions(menu->actions());
        menu->close();
    });
    emit table(window, false)->customContextMenuRequested(QPoint(3, 3));
    QCOMPARE(shown, entries);
}

void tst_MainWindow::zoom_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<double>("displayScale"); // < 0: none
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("message");

    for (const char *step : {"1:4", "1:2", "2:1", "4:1", "1:1"})
        QTest::newRow(step) << QString::fromLatin1(step) << -1.0 << step << QString();
    const QString resized = QStringLiteral("The image is too big and will be resized");
    QTest::newRow("halved to 2:1") << "4:1" << 2.0 << "2:1" << resized;
    QTest::newRow("halved to 1:1") << "4:1" << 1.0 << "1:1" << resized;
    QTest::newRow("below 1:1") << "4:1" << 0.5 << "4:1" << QString();
}

void tst_MainWindow::zoom()
{
    QFETCH(QString, step);
    QFETCH(double, displayScale);
    QFETCH(QString, shown);
    QFETCH(QString, message);

    MainWindow *window = start(false);
    QAction *zoom = window->findChild<QToolBar *>()->actions().last();
    for (QAction *act : zoom->menu()->actions()) {
        if (act->text() == step)
            act->trigger(); // reaches the window through the menu's triggered
    }
    QCOMPARE(zoom->text(), step);
    if (displayScale >= 0)
        emit window->findChild<DisplayWidget *>()->scaleChanged(displayScale);
    QCOMPARE(zoom->text(), shown);
    QCOMPARE(window->statusBar()->currentMessage(), message);
    for (QAction *act : zoom->menu()->actions())
        QCOMPARE(act->isChecked(), act->text() == shown);
}

void tst_MainWindow::sessionAndEnablingRules()
{
    MainWindow *window = start();
    QAction *close = findAction(window, "&Close camera");
    auto *display = window->findChild<DisplayWidget *>();
    auto *magnifier = window->findChild<Magnifier *>();
    auto frames = [&] { return status(window).section('\n', 4, 4).mid(8).toInt(); };
    // The first poll selects row 0, and the rule enables Open.
    QTRY_COMPARE_WITH_TIMEOUT(table(window, true)->model()->rowCount(), 3, 10000);
    QTRY_COMPARE(table(window, true)->selectionModel()->selectedRows().value(0).row(), 0);
    QVERIFY(findAction(window, "&Open camera")->isEnabled() && !close->isEnabled());

    // A failed open: the library's text in the status bar, then the box.
    QString seen;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->windowTitle() + " | " + window->statusBar()->currentMessage();
        box->accept();
    });
    table(window, true)->selectRow(rowOf(window, mono));
    tvsim_inject("tv_InitCamera", 1, 1);
    findAction(window, "&Open camera")->trigger();
    QCOMPARE(seen, QStringLiteral("Please note! | Could not initialize camera."));
    QVERIFY(!display->imageLabel->isVisible()
            && !findAction(window, "&Write hot pixel")->isEnabled());
    QCOMPARE(status(window), QStringLiteral("x: -1\ny: -1\n\n\n\n\n"));

    QVERIFY(openCamera(mono));
    QVERIFY(display->imageLabel->isVisible() && close->isEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(!magnifier->pixmap(Qt::ReturnByValue).isNull(), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(frames() > 0, 10000); // a tick of the 1500 ms timer
    const QRegularExpression fields(QStringLiteral("^x: 0\ny: 0\nU: 0\nF: %1\nFrames: \\d+\n"
                                                   "Failed: \\d+\nFPS: \\d+\\.\\d\\d$")
                                            .arg(listModel(window)->rowCount()));
    QVERIFY2(fields.match(status(window)).hasMatch(), qPrintable(status(window)));

    QAction *zoom = window->findChild<QToolBar *>()->actions().last();
    QWidget *properties = window->findChild<ParameterBlockWidget *>();
    auto enabled = [&] { // parameter rows, zoom, the commands of an open camera, Open
        QString result
                = QString::number(properties->isEnabled()) + QString::number(zoom->isEnabled());
        for (const char *text : {"&Close camera", "&Save hot pixel list", "&Load hot pixel list",
                                 "Hot pixel correction", "Detec&t hot pixel", "&Add hot pixel",
                                 "&Write hot pixel", "&Open camera"})
            result += QString::number(findAction(window, text)->isEnabled());
        return result;
    };
    QTableView *cameras = table(window, true);
    QTRY_COMPARE(enabled(), QStringLiteral("1111111110")); // its row reads in use
    // Another camera's row: that one can be opened, and Close does nothing.
    cameras->selectRow(rowOf(window, bayer));
    QCOMPARE(enabled(), QStringLiteral("1000000001"));
    QMetaObject::invokeMethod(window, "closeCamera");
    cameras->selectRow(rowOf(window, mono));
    QCOMPARE(enabled(), QStringLiteral("1111111110"));
    // No selection: all off, until the next poll selects a row again.
    cameras->selectionModel()->clearSelection();
    QCOMPARE(enabled(), QStringLiteral("1000000000"));
    QTRY_COMPARE_WITH_TIMEOUT(cameras->selectionModel()->selectedRows().size(), 1, 5000);

    // A camera held by another process can't be opened until it is released.
    SimHold holder(QString::fromLatin1(softwareOnly));
    QVERIFY2(holder.isHolding(), qPrintable(holder.errors()));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(window, softwareOnly), QStringLiteral("in use"), 10000);
    cameras->selectRow(rowOf(window, softwareOnly));
    QCOMPARE(enabled(), QStringLiteral("1000000000"));
    emit cameras->doubleClicked(cameras->model()->index(rowOf(window, softwareOnly), 2));
    QVERIFY(window->statusBar()->currentMessage().isEmpty());
    holder.stop();
    QTRY_COMPARE_WITH_TIMEOUT(enabled(), QStringLiteral("1000000001"), 10000);

    // Unplugged, the image hides; the session with its list and counters stays.
    QCOMPARE(tvsim_plug(mono, 0), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!display->imageLabel->isVisible(), 10000);
    const int before = frames();
    QMetaObject::invokeMethod(window, "updateStatus");
    QVERIFY2(fields.match(status(window)).hasMatch() && frames() >= before,
             qPrintable(status(window)));
    QCOMPARE(tvsim_plug(mono, 1), 0);
    QTRY_VERIFY_WITH_TIMEOUT(display->imageLabel->isVisible(), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(window, mono), QStringLiteral("opened"), 10000);
    display->clear();
    QTRY_VERIFY_WITH_TIMEOUT(!display->imageLabel->pixmap(Qt::ReturnByValue).isNull(), 10000);

    table(window, true)->selectRow(rowOf(window, mono));
    close->trigger();
    QVERIFY(status(window).endsWith(QLatin1String("\nFrames: 0\nFailed: 0\nFPS: 0")));
    for (QTimer *timer : window->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly))
        QVERIFY(!timer->isActive() || timer->interval() != 1500); // the status timer stopped
    QVERIFY(!display->imageLabel->isVisible() && magnifier->pixmap(Qt::ReturnByValue).isNull());
    QCOMPARE(listModel(window)->rowCount(), 0);
    QTRY_COMPARE(statusOf(window, mono), QStringLiteral("free"));
}

void tst_MainWindow::focusPixelAndParameterRows()
{
    MainWindow *window = start();
    QVERIFY(openCamera(mono));
    auto *display = window->findChild<DisplayWidget *>();
    QTableView *view = table(window, false);
    QAction *deleteAction = findAction(window, "&Delete hot pixel");
    QSignalSpy sent(window, SIGNAL(magnifierPositionChanged(QPoint)));
    auto focus = [&] { // the status fields, if the views were sent the same
        const QStringList fields = status(window).split('\n');
        const QPoint shown(fields.value(0).mid(3).toInt(), fields.value(1).mid(3).toInt());
        return sent.isEmpty() || sent.last().at(0).toPoint() != shown ? QPoint(-9, -9) : shown;
    };
    emit display->positionClicked(QPoint(100, 50));
    QCOMPARE(focus(), QPoint(100, 50));
    QTest::keyClick(window, Qt::Key_Right);
    QTest::keyClick(window, Qt::Key_Down);
    QCOMPARE(focus(), QPoint(101, 51));
    QTest::mouseClick(window->findChild<Magnifier *>(), Qt::LeftButton, {}, QPoint(2, 2));
    QVERIFY(focus() != QPoint(101, 51) && focus() != QPoint(-9, -9));
    emit display->positionClicked(QPoint(5000, -7));
    QCOMPARE(focus(), QPoint(1279, 0));
    emit display->positionClicked(QPoint(-1, 4000));
    QCOMPARE(focus(), QPoint(0, 1023));

    // Table rows move the focus; Delete follows the selected row's class.
    view->selectRow(0);
    QCOMPARE(focus(),
             QPoint(view->model()->index(0, 0).data().toInt(),
                    view->model()->index(0, 1).data().toInt()));
    QVERIFY(!deleteAction->isEnabled());
    emit display->positionClicked(QPoint(640, 512));
    findAction(window, "&Add hot pixel")->trigger();
    const QModelIndex added = view->selectionModel()->selectedRows(2).value(0);
    QCOMPARE(added.data().toString(), QStringLiteral("user"));
    QVERIFY(deleteAction->isEnabled());
    QVERIFY(listModel(window)->setData(added, QStringLiteral("factory")));
    QVERIFY(!deleteAction->isEnabled());

    auto *block = window->findChild<ParameterBlockWidget *>();
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

    // A typed number goes out snapped down to the slider's grid, computed as
    // the row does: rounded to two decimals, ratio truncated, rounded again.
    const double low = box->minimum();
    const double high = box->maximum();
    const int steps = slider->maximum();
    const double typed = low + (high - low) * 0.37 + (high - low) / steps * 0.4;
    const double ratio = (QString::number(typed, 'f', 2).toDouble() - low) / (high - low);
    const double snapped = (high - low) * (double(int(ratio * steps)) / steps) + low;
    values.clear();
    box->setValue(typed);
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
    MainWindow *window = start();
    auto *block = window->findChild<ParameterBlockWidget *>();
    // Three frames a second keep the exposure of 300 ms and shorten the runs.
    auto speedUp = [&] { block->framerate->spinBox->setValue(3.0); };
    QCOMPARE(tvsim_cover(serial.constData(), 1), 0);
    QVERIFY(openCamera(serial.constData()));
    speedUp();

    DetectionDialogue *dialogue = startRun(false);
    QTRY_VERIFY_WITH_TIMEOUT(!labelTexts(dialogue).contains("Please Wait..."), 30000);
    QCOMPARE(dialogue->findChild<QProgressBar *>()->value(), 100);
    const Pixels detected = userPixels(window);
    QVERIFY(!detected.empty());
    QVERIFY(labelTexts(dialogue).split('\n').contains(
            QStringLiteral("Hot pixel detected: %1").arg(detected.size())));

    // Written into the camera, the user pixels come back after reopening.
    answerMessageBox(QMessageBox::Yes);
    findAction(window, "&Write hot pixel")->trigger();
    findAction(window, "&Close camera")->trigger();
    QVERIFY(openCamera(serial.constData()));
    QCOMPARE(userPixels(window), detected);

    // With correction on, a written pixel reads like its neighbours.
    speedUp();
    const QPoint pixel(detected.begin()->first, detected.begin()->second);
    auto valueAt = [&] {
        QSignalSpy info(window->findChild<Magnifier *>(), &Magnifier::pixelInfoChanged);
        emit window->findChild<DisplayWidget *>()->positionClicked(pixel);
        info.clear(); // the value of a fresh frame
        return info.wait(10000) && info.wait(10000) ? info.last().at(1).toInt() : -1;
    };
    QVERIFY(valueAt() > TVSIM_BLACK_LEVEL + 40);
    findAction(window, "Hot pixel correction")->trigger();
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
    MainWindow *window = start(false);
    listModel(window)->addPixel(QPoint(3, 3));
    const Pixels kept = clear ? Pixels() : Pixels {{3, 3}};
    auto *progress = startRun(clear)->findChild<QProgressBar *>();
    QCOMPARE(userPixels(window), kept); // cleared at Start, before any frame
    QString seen;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->windowTitle() + QString::number(progress->value());
        box->accept();
    });
    feed(window, brightBytes);
    if (brightBytes == 5000) // passed; end the run, as the progress counter outlives the window
        feed(window, 6000);
    QCOMPARE(seen, QStringLiteral("Detection failed%1").arg(brightBytes == 5000 ? 20 : 10));
    QCOMPARE(progress->value(), 0);
    QCOMPARE(userPixels(window), kept);
    feed(window, 0); // idle again: not collected
    QCOMPARE(progress->value(), 0);
}

void tst_MainWindow::detectorFailure()
{
    MainWindow *window = start(false);
    DetectionDialogue *dialogue = startRun(false);
    feed(window, -1); // a lost camera's null image is collected as a frame
    for (int i = 0; i < 9; ++i)
        feed(window, 0);
    QCOMPARE(dialogue->findChild<QProgressBar *>()->value(), 100);
    feed(window, 0); // hands the ten over; the detector refuses them
    const QString shown = window->statusBar()->currentMessage();
    QVERIFY(!shown.isEmpty());
    QVERIFY(labelTexts(dialogue).contains(shown + QStringLiteral(" Please restart detection.")));
    QCOMPARE(listModel(window)->rowCount(), 0);
}

void tst_MainWindow::listCommandsOnCamera()
{
    MainWindow *window = start();
    QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel(window);
    const int factoryRows = model->rowCount();
    QVERIFY(factoryRows > 0 && userPixels(window).empty());

    // Ctrl+A twice adds one row, Del removes it; a factory row stays.
    auto *display = window->findChild<DisplayWidget *>();
    display->setFocus(); // the keys go to the image, as after a click into it
    emit display->positionClicked(QPoint(300, 200));
    QTest::keySequence(window, QKeySequence(Qt::CTRL + Qt::Key_A));
    QTest::keySequence(window, QKeySequence(Qt::CTRL + Qt::Key_A));
    QCOMPARE(userPixels(window), (Pixels {{300, 200}}));
    QTest::keyClick(window, Qt::Key_Delete);
    table(window, false)->selectRow(0);
    QMetaObject::invokeMethod(window, "deleteBadpixel");
    QCOMPARE(model->rowCount(), factoryRows);

    // Binary files through the real dialogs; Clear takes the user rows only.
    model->addPixel(QPoint(21, 22));
    const QString path = m_sim->root() + QStringLiteral("/list.bin");
    QString seen;
    answerFileDialog(path, &seen);
    findAction(window, "&Save hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Save hot pixel list Binary files (*.bin)"));
    findAction(window, "Clear user hot pixel")->trigger();
    QCOMPARE(model->rowCount(), factoryRows);
    answerFileDialog(path, &seen);
    findAction(window, "&Load hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Open hot pixel list Binary files (*.bin)"));
    QCOMPARE(userPixels(window), (Pixels {{21, 22}}));

    // Write: No writes nothing; a library failure keeps the list.
    QAction *write = findAction(window, "&Write hot pixel");
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->informativeText();
        box->button(QMessageBox::No)->click();
    });
    write->trigger();
    QCOMPARE(seen, QStringLiteral("Do you want to continue?"));
    findAction(window, "&Close camera")->trigger();
    QVERIFY(openCamera(mono));
    QVERIFY(userPixels(window).empty());
    model->addPixel(QPoint(50, 60));
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        tvsim_inject("tv_HotPixel", 1, 0); // after the capability test
        answerMessageBox(QMessageBox::Ok, &seen);
        box->button(QMessageBox::Yes)->click();
    });
    write->trigger();
    tvsim_inject("tv_HotPixel", 0, 0);
    QVERIFY(!window->statusBar()->currentMessage().isEmpty());
    QCOMPARE(seen, "Write failed | " + window->statusBar()->currentMessage());
    QCOMPARE(userPixels(window), (Pixels {{50, 60}}));
    // The software-only camera: a warning after a good open, Write off until
    // the rule runs again, then "Not supported!".
    answerMessageBox(QMessageBox::Ok, &seen);
    QVERIFY(openCamera(softwareOnly));
    QCOMPARE(seen,
             QStringLiteral("Please note! | This camera only supports software correction "
                            "and therefore can't save inside the camera memory."));
    QVERIFY(!write->isEnabled());
    QMetaObject::invokeMethod(window, "updateCameraActions");
    QVERIFY(write->isEnabled());
    answerMessageBox(QMessageBox::Ok, &seen);
    write->trigger();
    QCOMPARE(seen,
             QStringLiteral("Not supported! | This camera only supports software correction "
                            "and can't be saved inside the camera memory!"));
}

void tst_MainWindow::textFilesAndHelp()
{
    MainWindow *window = start(false);
    BadpixelListModel *model = listModel(window);
    model->addPixel(QPoint(12, 345));
    model->addPixel(QPoint(7, 8));
    const QString path = m_sim->root() + QStringLiteral("/list.txt");
    QString seen;
    answerFileDialog(path, &seen);
    findAction(window, "&Export hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Export hot pixel list Text files (*.txt)"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("12 345 1\n7 8 1\n"));
    // Import replaces the user rows; a cancelled dialog does nothing.
    model->addPixel(QPoint(99, 99));
    answerFileDialog(path, &seen);
    findAction(window, "&Import hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Import hot pixel list Text files (*.txt)"));
    QCOMPARE(userPixels(window), (Pixels {{12, 345}, {7, 8}}));
    model->addPixel(QPoint(99, 99));
    answerFileDialog(QString());
    findAction(window, "&Import hot pixel list")->trigger();
    QCOMPARE(model->rowCount(), 3);
    // A file that can't be written: the critical box with the model's text.
    answerFileDialog(QStringLiteral("/proc/self/list.txt"));
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        seen = box->text() + QString::number(box->icon() == QMessageBox::Critical);
        box->accept();
    });
    findAction(window, "&Export hot pixel list")->trigger();
    QCOMPARE(seen, QStringLiteral("Can't open file for writing.1"));

    answerMessageBox(QMessageBox::Close, &seen);
    findAction(window, "&Usage")->trigger();
    QVERIFY(seen.startsWith(QStringLiteral("Usage | Tavo Speckmend - Usage\n\nNavigation:")));
    QVERIFY(seen.contains(QStringLiteral("\nCtrl+A\t Add a hot pixel to the list\n")));
    QVERIFY(seen.contains(QStringLiteral("\nDel\t Removes a hot pixel from the list\n")));
    answerWhenShown<Dialog_About>([&](Dialog_About *about) {
        seen = about->windowTitle() + QString::number(about->minimumSize() == about->maximumSize());
        about->reject();
    });
    findAction(window, "&About...")->trigger();
    QCOMPARE(seen, QStringLiteral("About Tavo Speckmend1"));
}

QTEST_MAIN(tst_MainWindow)
#include "tst_mainwindow.moc"
