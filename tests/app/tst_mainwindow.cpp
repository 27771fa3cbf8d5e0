// The main window's skeleton: form, title, layout of the docks and the tool
// bar, stored settings, language change, key routing, the actions and menus
// and the focus pixel and zoom commands, with the simulated cameras unplugged
// or left alone as each case needs.
#include "app/mainwindow.h"
#include "display/displaywidget.h"
#include "display/magnifier.h"
#include "simulator/tavosim_control.h"
#include "tests/app/windowprobe.h"
#include "tests/testutil/testutil.h"

#include <QGridLayout>
#include <QMenu>
#include <QMenuBar>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QToolBar>
#include <QtTest>

#include <memory>

using namespace WindowProbe;

namespace {

const char *const fleetSerials[] = {"4103000101", "4103000102", "4103000103"};

void plugFleet(bool on)
{
    for (const char *serial : fleetSerials)
        tvsim_plug(serial, on ? 1 : 0);
}

QTableView *tableOf(QDockWidget *dock)
{
    return qobject_cast<QTableView *>(dock->widget());
}

} // namespace

class tst_MainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void form();
    void firstStart();
    void settingsRoundTrip();
    void languageChange();
    void keysGoToMagnifier();
    void actionsAtStart();
    void menusAndToolBar();
    void viewMenuFollowsDocks();
    void badpixelContextMenu_data();
    void badpixelContextMenu();
    void cameraListContextMenu();
    void focusPixelWithoutCamera();
    void zoomSteps_data();
    void zoomSteps();
    void scaleFallback_data();
    void scaleFallback();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    std::unique_ptr<SettingsSandbox> m_settings;
};

void tst_MainWindow::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_MainWindow::init()
{
    // Every case starts with fresh settings and the fleet unplugged.
    m_settings = std::make_unique<SettingsSandbox>();
    tvsim_reset();
    plugFleet(false);
}

void tst_MainWindow::cleanup()
{
    cancelAnswers();
}

void tst_MainWindow::cleanupTestCase()
{
    tvsim_reset();
}

void tst_MainWindow::form()
{
    MainWindow window;
    QCOMPARE(window.objectName(), QStringLiteral("MainWindow"));
    QCOMPARE(window.locale(), QLocale(QLocale::English, QLocale::UnitedStates));

    QWidget *central = window.centralWidget();
    QVERIFY(central);
    QCOMPARE(central->objectName(), QStringLiteral("centralWidget"));
    auto *grid = qobject_cast<QGridLayout *>(central->layout());
    QVERIFY(grid);
    QCOMPARE(grid->objectName(), QStringLiteral("gridLayout"));
    QCOMPARE(grid->spacing(), 6);
    // The window takes the form's margins of 11 away again.
    QCOMPARE(grid->contentsMargins(), QMargins(0, 0, 0, 0));

    auto *display = window.findChild<DisplayWidget *>(QStringLiteral("display"));
    QVERIFY(display);
    QCOMPARE(display->parentWidget(), central);
    QCOMPARE(display->contextMenuPolicy(), Qt::CustomContextMenu);
    int row, column, rowSpan, columnSpan;
    grid->getItemPosition(grid->indexOf(display), &row, &column, &rowSpan, &columnSpan);
    QCOMPARE(QList<int>({row, column, rowSpan, columnSpan}), QList<int>({0, 0, 1, 1}));

    QCOMPARE(window.menuBar()->objectName(), QStringLiteral("menuBar"));
    QCOMPARE(window.statusBar()->objectName(), QStringLiteral("statusBar"));
    auto *toolBar = window.findChild<QToolBar *>(QStringLiteral("mainToolBar"));
    QVERIFY(toolBar);
    QCOMPARE(window.toolBarArea(toolBar), Qt::TopToolBarArea);
    QCOMPARE(toolBar->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
    QCOMPARE(toolBar->windowTitle(), QStringLiteral("Toolbar"));
    QVERIFY(!window.windowIcon().isNull());
}

void tst_MainWindow::firstStart()
{
    MainWindow window;
    QCOMPARE(window.windowTitle(), QStringLiteral("Tavo Speckmend"));
    QCOMPARE(window.size(), QSize(800, 600));
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.width(), 800);

    QDockWidget *cameraList = dock(&window, "CameraListDock");
    QDockWidget *badpixelList = dock(&window, "BadpixelListDock");
    QDockWidget *magnifier = dock(&window, "MagnifierDock");
    QDockWidget *properties = dock(&window, "CameraSliderDock");
    QVERIFY(cameraList && badpixelList && magnifier && properties);
    QCOMPARE(cameraList->windowTitle(), QStringLiteral("Camera list"));
    QCOMPARE(badpixelList->windowTitle(), QStringLiteral("Hot pixel list"));
    QCOMPARE(magnifier->windowTitle(), QStringLiteral("Magnifier"));
    QCOMPARE(properties->windowTitle(), QStringLiteral("Camera properties"));
    for (QDockWidget *each : {cameraList, badpixelList, magnifier, properties})
        QCOMPARE(window.dockWidgetArea(each), Qt::LeftDockWidgetArea);
    const Qt::DockWidgetAreas sides = Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea;
    QCOMPARE(cameraList->allowedAreas(), sides);
    QCOMPARE(badpixelList->allowedAreas(), sides);
    QCOMPARE(magnifier->allowedAreas(), sides);
    QCOMPARE(properties->allowedAreas(), Qt::AllDockWidgetAreas);

    // The two tables share one tab group with the camera list in front; the
    // magnifier and the properties stand below.
    QVERIFY(window.tabifiedDockWidgets(cameraList).contains(badpixelList));
    QVERIFY(!cameraList->visibleRegion().isEmpty());
    QVERIFY(badpixelList->visibleRegion().isEmpty());
    QVERIFY(magnifier->isVisible());
    QVERIFY(properties->isVisible());
    QVERIFY(cameraList->geometry().top() < magnifier->geometry().top());
    QVERIFY(magnifier->geometry().top() < properties->geometry().top());

    // No camera attached: an empty table, no image, empty status fields and
    // the parameter rows off.
    QCOMPARE(tableOf(cameraList)->model()->rowCount(), 0);
    auto *display = window.findChild<DisplayWidget *>();
    QVERIFY(!display->imageLabel->isVisible());
    const QList<QLabel *> labels = statusLabels(&window);
    QCOMPARE(labels.size(), 7);
    for (QLabel *label : labels)
        QVERIFY2(label->text().isEmpty(), qPrintable(label->text()));
    QVERIFY(!properties->widget()->isEnabled());
}

void tst_MainWindow::settingsRoundTrip()
{
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.resize(1000, 700);
        QDockWidget *properties = dock(&window, "CameraSliderDock");
        window.addDockWidget(Qt::RightDockWidgetArea, properties);
        dock(&window, "MagnifierDock")->hide();
        QTRY_COMPARE(window.size(), QSize(1000, 700));
    } // the destructor stores the layout

    QSettings settings(QStringLiteral("Brevant"), QStringLiteral("Tavo"));
    settings.beginGroup(QStringLiteral("Speckmend"));
    settings.beginGroup(QStringLiteral("mainWindow"));
    QVERIFY(!settings.value(QStringLiteral("geometry")).toByteArray().isEmpty());
    QVERIFY(!settings.value(QStringLiteral("state")).toByteArray().isEmpty());
    QCOMPARE(settings.childKeys(), QStringList({"geometry", "state"}));
    settings.endGroup();
    QCOMPARE(settings.childGroups(), QStringList({"mainWindow"}));
    settings.endGroup();
    QCOMPARE(settings.childGroups(), QStringList({"Speckmend"}));

    MainWindow again;
    QCOMPARE(again.size(), QSize(1000, 700));
    again.show();
    QVERIFY(QTest::qWaitForWindowExposed(&again));
    QCOMPARE(again.dockWidgetArea(dock(&again, "CameraSliderDock")), Qt::RightDockWidgetArea);
    QVERIFY(!dock(&again, "MagnifierDock")->isVisible());
    // Whatever the stored tab, the camera list comes to the front.
    QVERIFY(dock(&again, "CameraListDock")->isVisible());
}

void tst_MainWindow::languageChange()
{
    MainWindow window;
    QEvent change(QEvent::LanguageChange);
    QApplication::sendEvent(&window, &change);
    // The form's own title, not the one the constructor set.
    QCOMPARE(window.windowTitle(), QStringLiteral("Speckmend"));
    QCOMPARE(window.findChild<QToolBar *>()->windowTitle(), QStringLiteral("Toolbar"));
    // Action texts are not touched.
    QVERIFY(action(&window, QStringLiteral("&Open camera")));
}

void tst_MainWindow::keysGoToMagnifier()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *magnifier = window.findChild<Magnifier *>();
    QVERIFY(magnifier);
    QSignalSpy asked(magnifier, &Magnifier::changePosition);
    QTest::keyClick(&window, Qt::Key_Right);
    QTest::keyClick(&window, Qt::Key_Down);
    QCOMPARE(asked.count(), 2);
    // No camera: the focus is clamped to width and height 0, which gives -1.
    QCOMPARE(statusText(&window, FieldX), QStringLiteral("x: -1"));
    QCOMPARE(statusText(&window, FieldY), QStringLiteral("y: -1"));
}

void tst_MainWindow::actionsAtStart()
{
    MainWindow window;
    struct Expected
    {
        const char *text;
        bool enabled;
        bool checkable;
        bool checked;
        QKeySequence shortcut;
    };
    // With no camera attached nothing has run the enabling rule yet, so
    // Save, Load and Clear stand enabled.
    const Expected expected[] = {
            {"&Open camera", false, false, false, {}},
            {"&Close camera", false, false, false, {}},
            {"&Save hot pixel list", true, false, false, {}},
            {"&Load hot pixel list", true, false, false, {}},
            {"&Highlight", true, true, true, {}},
            {"&Write hot pixel", false, false, false, {}},
            {"Hot pixel correction", false, true, false, {}},
            {"&Add hot pixel", false, false, false, QKeySequence(Qt::CTRL + Qt::Key_A)},
            {"&Delete hot pixel", false, false, false, QKeySequence(Qt::Key_Delete)},
            {"Clear user hot pixel", true, false, false, {}},
            {"Detec&t hot pixel", false, false, false, {}},
            {"&Usage", true, false, false, {}},
            {"&About...", true, false, false, {}},
            {"&Export hot pixel list", true, false, false, {}},
            {"&Import hot pixel list", true, false, false, {}},
            {"E&xit", true, false, false, {}},
            {"Camera list", true, true, false, {}},
            {"Hot pixel list", true, true, false, {}},
            {"Magnifier", true, true, false, {}},
            {"Camera properties", true, true, false, {}},
    };
    for (const Expected &each : expected) {
        QAction *act = action(&window, QLatin1String(each.text));
        QVERIFY2(act, each.text);
        QVERIFY2(act->isEnabled() == each.enabled, each.text);
        QVERIFY2(act->isCheckable() == each.checkable, each.text);
        QVERIFY2(act->isChecked() == each.checked, each.text);
        QVERIFY2(act->shortcut() == each.shortcut, each.text);
    }

    // The zoom button is named after the 1:1 step and carries the step menu.
    const QList<QAction *> all = window.findChildren<QAction *>();
    QAction *zoom = nullptr;
    for (QAction *act : all) {
        if (act->menu() && act->text() == QLatin1String("1:1"))
            zoom = act;
    }
    QVERIFY(zoom);
    QVERIFY(!zoom->isEnabled());
    QStringList steps;
    for (QAction *step : zoom->menu()->actions())
        steps << step->text() + (step->isChecked() ? "*" : "") + (step->isVisible() ? "" : "~");
    QCOMPARE(steps, QStringList({"1:4", "1:2", "1:1*", "2:1", "4:1", "To fit~"}));
    QVERIFY(!zoom->menu()->actions().last()->isEnabled());
}

void tst_MainWindow::menusAndToolBar()
{
    MainWindow window;
    auto texts = [](const QList<QAction *> &actions) {
        QStringList result;
        for (QAction *act : actions)
            result << (act->isSeparator() ? QStringLiteral("-") : act->text());
        return result;
    };
    const QList<QAction *> menus = window.menuBar()->actions();
    QCOMPARE(texts(menus), QStringList({"&File", "&View", "&Help"}));
    QCOMPARE(texts(menus.at(0)->menu()->actions()),
             QStringList({"&Open camera", "&Close camera", "-", "&Save hot pixel list",
                          "&Load hot pixel list", "-", "&Export hot pixel list",
                          "&Import hot pixel list", "-", "E&xit"}));
    QCOMPARE(texts(menus.at(1)->menu()->actions()),
             QStringList({"Camera list", "Hot pixel list", "Magnifier", "Camera properties", "-",
                          "&Highlight"}));
    QCOMPARE(texts(menus.at(2)->menu()->actions()), QStringList({"&Usage", "-", "&About..."}));
    QCOMPARE(texts(window.findChild<QToolBar *>()->actions()),
             QStringList({"&Open camera", "&Close camera", "-", "Hot pixel correction",
                          "Detec&t hot pixel", "&Write hot pixel", "&Add hot pixel",
                          "&Delete hot pixel", "-", "&Highlight", "1:1"}));

    // Exit closes the window.
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    action(&window, QStringLiteral("E&xit"))->trigger();
    QVERIFY(!window.isVisible());
}

void tst_MainWindow::viewMenuFollowsDocks()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QMenu *view = window.menuBar()->actions().at(1)->menu();
    QDockWidget *magnifier = dock(&window, "MagnifierDock");
    QAction *showMagnifier = action(&window, QStringLiteral("Magnifier"));

    // Closed by its own title bar button, the dock comes back by the menu.
    magnifier->close();
    QVERIFY(!magnifier->isVisible());
    showMagnifier->trigger();
    QVERIFY(magnifier->isVisible());
    // The dock's visibility decides, not the tick.
    showMagnifier->setChecked(false);
    showMagnifier->trigger();
    QVERIFY(!magnifier->isVisible());

    // Before the menu opens the ticks follow the docks' isVisible.
    emit view->aboutToShow();
    QVERIFY(action(&window, QStringLiteral("Camera list"))->isChecked());
    QCOMPARE(action(&window, QStringLiteral("Hot pixel list"))->isChecked(),
             dock(&window, "BadpixelListDock")->isVisible());
    QVERIFY(!showMagnifier->isChecked());
    QVERIFY(action(&window, QStringLiteral("Camera properties"))->isChecked());

    action(&window, QStringLiteral("Camera list"))->trigger();
    QVERIFY(!dock(&window, "CameraListDock")->isVisible());
    action(&window, QStringLiteral("Camera properties"))->trigger();
    QVERIFY(!dock(&window, "CameraSliderDock")->isVisible());
}

void tst_MainWindow::badpixelContextMenu_data()
{
    QTest::addColumn<QString>("listText");
    QTest::addColumn<int>("selectRow");
    QTest::addColumn<QStringList>("entries");
    QTest::addColumn<bool>("deleteEnabled");

    QTest::newRow("empty") << QString() << -1 << QStringList({"&Add hot pixel"}) << false;
    QTest::newRow("user rows") << QStringLiteral("5 5 1\n6 6 1\n") << -1
                               << QStringList({"&Add hot pixel", "Clear user hot pixel"}) << false;
    QTest::newRow("selected user row")
            << QStringLiteral("5 5 1\n") << 0
            << QStringList({"&Add hot pixel", "&Delete hot pixel", "Clear user hot pixel"}) << true;
    QTest::newRow("selected class 2 row")
            << QStringLiteral("5 5 2\n") << 0
            << QStringList({"&Add hot pixel", "&Delete hot pixel", "Clear user hot pixel"})
            << false;
}

void tst_MainWindow::badpixelContextMenu()
{
    QFETCH(QString, listText);
    QFETCH(int, selectRow);
    QFETCH(QStringList, entries);
    QFETCH(bool, deleteEnabled);

    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QTableView *table = tableOf(dock(&window, "BadpixelListDock"));
    auto *model = qobject_cast<BadpixelListModel *>(table->model());
    if (!listText.isEmpty()) {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("list.txt"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(listText.toLatin1());
        file.close();
        model->importFromFile(path);
    }
    if (selectRow >= 0)
        table->selectRow(selectRow);

    QStringList shown;
    bool deleteShownEnabled = false;
    bool answered = false;
    answerWhenShown<QMenu>([&](QMenu *menu) {
        for (QAction *act : menu->actions()) {
            shown << act->text();
            if (act->text() == QLatin1String("&Delete hot pixel"))
                deleteShownEnabled = act->isEnabled();
        }
        answered = true;
        menu->close();
    });
    // The position in the signal is ignored; the menu opens at the pointer.
    emit table->customContextMenuRequested(QPoint(-500, -500));
    QVERIFY(answered);
    QCOMPARE(shown, entries);
    QCOMPARE(deleteShownEnabled, deleteEnabled);
}

void tst_MainWindow::cameraListContextMenu()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QTableView *table = tableOf(dock(&window, "CameraListDock"));
    QStringList shown;
    answerWhenShown<QMenu>([&](QMenu *menu) {
        for (QAction *act : menu->actions())
            shown << act->text() + (act->isEnabled() ? "" : "~");
        menu->close();
    });
    emit table->customContextMenuRequested(QPoint(3, 3));
    QCOMPARE(shown, QStringList({"&Open camera~", "&Close camera~"}));
}

void tst_MainWindow::focusPixelWithoutCamera()
{
    MainWindow window;
    QTableView *table = tableOf(dock(&window, "BadpixelListDock"));
    auto *model = qobject_cast<BadpixelListModel *>(table->model());
    QAction *deleteAction = action(&window, QStringLiteral("&Delete hot pixel"));
    auto *display = window.findChild<DisplayWidget *>();

    model->addPixel(QPoint(3, 4));
    model->addPixel(QPoint(7, 8));
    QSignalSpy moved(&window, SIGNAL(magnifierPositionChanged(QPoint)));

    // A listed position selects its row; with no sensor known the focus
    // itself clamps to -1.
    emit display->positionClicked(QPoint(7, 8));
    QCOMPARE(table->selectionModel()->selectedRows().value(0).row(), 1);
    QVERIFY(deleteAction->isEnabled());
    QVERIFY(moved.count() >= 1);
    QCOMPARE(moved.last().at(0).toPoint(), QPoint(-1, -1));

    // A free position clears the selection, and with it Delete.
    emit display->positionClicked(QPoint(20, 20));
    QVERIFY(!table->selectionModel()->hasSelection());
    QVERIFY(!deleteAction->isEnabled());

    // A direct edit of the class re-runs the selection: Delete follows it.
    table->selectRow(0);
    QVERIFY(deleteAction->isEnabled());
    QVERIFY(model->setData(model->index(0, 2), QStringLiteral("factory")));
    QVERIFY(!deleteAction->isEnabled());
    QVERIFY(model->setData(model->index(0, 2), QStringLiteral("user")));
    QVERIFY(deleteAction->isEnabled());
}

void tst_MainWindow::zoomSteps_data()
{
    QTest::addColumn<QString>("step");
    QTest::newRow("1:4") << QStringLiteral("1:4");
    QTest::newRow("1:2") << QStringLiteral("1:2");
    QTest::newRow("2:1") << QStringLiteral("2:1");
    QTest::newRow("4:1") << QStringLiteral("4:1");
    QTest::newRow("1:1") << QStringLiteral("1:1");
}

void tst_MainWindow::zoomSteps()
{
    QFETCH(QString, step);
    MainWindow window;
    QAction *zoom = window.findChild<QToolBar *>()->actions().last();
    QMenu *menu = zoom->menu();
    QVERIFY(menu);
    QAction *chosen = nullptr;
    for (QAction *act : menu->actions()) {
        if (act->text() == step)
            chosen = act;
    }
    QVERIFY(chosen);
    chosen->trigger(); // reaches the window through the menu's triggered
    QCOMPARE(zoom->text(), step);
    for (QAction *act : menu->actions())
        QCOMPARE(act->isChecked(), act == chosen);
}

void tst_MainWindow::scaleFallback_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<QString>("zoomText");
    QTest::addColumn<QString>("message");
    const QString resized = QStringLiteral("The image is too big and will be resized");
    QTest::newRow("to 2:1") << 2.0 << QStringLiteral("2:1") << resized;
    QTest::newRow("to 1:1") << 1.0 << QStringLiteral("1:1") << resized;
    QTest::newRow("to 1:2") << 0.5 << QStringLiteral("4:1") << QString();
}

void tst_MainWindow::scaleFallback()
{
    QFETCH(double, scale);
    QFETCH(QString, zoomText);
    QFETCH(QString, message);
    MainWindow window;
    QAction *zoom = window.findChild<QToolBar *>()->actions().last();
    for (QAction *act : zoom->menu()->actions()) {
        if (act->text() == QLatin1String("4:1"))
            act->trigger();
    }
    QCOMPARE(zoom->text(), QStringLiteral("4:1"));
    emit window.findChild<DisplayWidget *>()->scaleChanged(scale);
    QCOMPARE(zoom->text(), zoomText);
    QCOMPARE(window.statusBar()->currentMessage(), message);
}

QTEST_MAIN(tst_MainWindow)
#include "tst_mainwindow.moc"
