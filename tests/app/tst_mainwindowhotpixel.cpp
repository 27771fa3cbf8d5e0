// The hot pixel work of the main window: detection runs on the simulated
// cameras and on frames handed in directly, the list commands with their
// dialogs and boxes, writing into the camera, and the help commands.
#include "app/mainwindow.h"
#include "controls/dialog_about.h"
#include "detection/detectiondialogue.h"
#include "display/displaywidget.h"
#include "display/magnifier.h"
#include "simulator/tavosim_control.h"
#include "tests/app/windowprobe.h"
#include "tests/testutil/testutil.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QtTest>

#include <memory>
#include <set>

using namespace WindowProbe;

namespace {

const char mono[] = "4103000101";
const char bayer[] = "4103000102";
const char softwareOnly[] = "4103000103";

QTableView *table(QMainWindow *window, const char *dockName)
{
    return qobject_cast<QTableView *>(dock(window, dockName)->widget());
}

int rowOf(QMainWindow *window, const char *serial)
{
    QAbstractItemModel *model = table(window, "CameraListDock")->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        if (model->index(row, 3).data().toString() == QLatin1String(serial))
            return row;
    }
    return -1;
}

BadpixelListModel *listModel(QMainWindow *window)
{
    return qobject_cast<BadpixelListModel *>(table(window, "BadpixelListDock")->model());
}

std::set<std::pair<int, int>> userPixels(QMainWindow *window)
{
    std::set<std::pair<int, int>> result;
    for (const BadpixelEntry &entry : listModel(window)->pixels()) {
        if (entry.pixelClass == 1)
            result.insert({entry.x, entry.y});
    }
    return result;
}

QLabel *labelStartingWith(QWidget *parent, const QString &prefix)
{
    for (QLabel *label : parent->findChildren<QLabel *>()) {
        if (label->text().startsWith(prefix))
            return label;
    }
    return nullptr;
}

// A grey frame with count bytes of 200, the rest 20.
QImage frameWithBrightBytes(int count, int width = 200, int height = 100)
{
    QImage image(width, height, QImage::Format_Indexed8);
    QVector<QRgb> grey(256);
    for (int i = 0; i < 256; ++i)
        grey[i] = qRgb(i, i, i);
    image.setColorTable(grey);
    image.fill(20);
    uchar *bytes = image.bits();
    for (int i = 0; i < count; ++i)
        bytes[i] = 200;
    return image;
}

// Types the name into a file dialog of Qt's own and accepts it.
void chooseFile(QFileDialog *dialog, const QString &path)
{
    dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
    QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
}

void feed(QMainWindow *window, QImage image)
{
    QMetaObject::invokeMethod(window, "newImage", Qt::DirectConnection, Q_ARG(QImage &, image));
}

} // namespace

class tst_MainWindowHotpixel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void detectWriteAndReadBack_data();
    void detectWriteAndReadBack();
    void brightFrames_data();
    void brightFrames();
    void clearThenFail();
    void lostCameraAndDetectorFailure();
    void addAndDelete();
    void writeRefusedAndFailed();
    void textFiles();
    void binaryFiles();
    void help();

private:
    bool openCamera(const char *serial);
    DetectionDialogue *startRun(bool clear);

    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    std::unique_ptr<SettingsSandbox> m_settings;
    std::unique_ptr<MainWindow> m_window;
    QTemporaryDir m_files;
};

void tst_MainWindowHotpixel::initTestCase()
{
    // The file dialogs are Qt's own, so that the test can answer them.
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_MainWindowHotpixel::init()
{
    m_settings = std::make_unique<SettingsSandbox>();
    tvsim_reset();
    m_window = std::make_unique<MainWindow>();
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void tst_MainWindowHotpixel::cleanup()
{
    cancelAnswers();
    m_window.reset();
    tvsim_reset();
}

bool tst_MainWindowHotpixel::openCamera(const char *serial)
{
    MainWindow *window = m_window.get();
    if (!QTest::qWaitFor([&] { return rowOf(window, serial) >= 0; }, 10000))
        return false;
    table(window, "CameraListDock")->selectRow(rowOf(window, serial));
    action(window, QStringLiteral("&Open camera"))->trigger();
    auto *display = window->findChild<DisplayWidget *>();
    return QTest::qWaitFor([&] { return !display->imageLabel->pixmap(Qt::ReturnByValue).isNull(); },
                           20000);
}

// Opens the detection dialogue and presses Start.
DetectionDialogue *tst_MainWindowHotpixel::startRun(bool clear)
{
    MainWindow *window = m_window.get();
    QMetaObject::invokeMethod(window, "openDetectDialog");
    const QList<DetectionDialogue *> dialogues = window->findChildren<DetectionDialogue *>();
    DetectionDialogue *dialogue = dialogues.last();
    dialogue->findChild<QCheckBox *>()->setChecked(clear);
    dialogue->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
    return dialogue;
}

void tst_MainWindowHotpixel::detectWriteAndReadBack_data()
{
    QTest::addColumn<QByteArray>("serial");
    QTest::newRow("monochrome") << QByteArray(mono);
    QTest::newRow("bayer") << QByteArray(bayer);
}

void tst_MainWindowHotpixel::detectWriteAndReadBack()
{
    QFETCH(QByteArray, serial);
    MainWindow *window = m_window.get();
    QCOMPARE(tvsim_cover(serial.constData(), 1), 0);
    QVERIFY(openCamera(serial.constData()));
    const int before = listModel(window)->rowCount();

    DetectionDialogue *dialogue = startRun(false);
    QVERIFY(dialogue->isVisible());
    auto *progress = dialogue->findChild<QProgressBar *>();
    QVERIFY(labelStartingWith(dialogue, QStringLiteral("Please Wait...")));
    // The run ends when the dialogue returns to its idle look.
    QTRY_VERIFY_WITH_TIMEOUT(!labelStartingWith(dialogue, QStringLiteral("Please Wait...")), 20000);
    QCOMPARE(progress->value(), 100);
    const int found = listModel(window)->rowCount() - before;
    QVERIFY(found > 0);
    QVERIFY(labelStartingWith(dialogue, QStringLiteral("Hot pixel detected: %1").arg(found)));
    const auto detected = userPixels(window);
    QCOMPARE(int(detected.size()), found);

    // A second run finds nothing new.
    startRun(false);
    QTRY_VERIFY_WITH_TIMEOUT(!labelStartingWith(window->findChildren<DetectionDialogue *>().last(),
                                                QStringLiteral("Please Wait...")),
                             20000);
    QCOMPARE(userPixels(window), detected);
    QVERIFY(labelStartingWith(window->findChildren<DetectionDialogue *>().last(),
                              QStringLiteral("Hot pixel detected: 0")));

    // Write into the camera, close, reopen: the user pixels come back.
    answerWhenShown<QMessageBox>([](QMessageBox *box) { box->button(QMessageBox::Yes)->click(); });
    action(window, QStringLiteral("&Write hot pixel"))->trigger();
    action(window, QStringLiteral("&Close camera"))->trigger();
    QCOMPARE(listModel(window)->rowCount(), 0);
    QVERIFY(openCamera(serial.constData()));
    QCOMPARE(userPixels(window), detected);

    // With correction on, the written pixels read like their neighbours in
    // the live frames.
    auto *magnifier = window->findChild<Magnifier *>();
    const auto pixel = *detected.begin();
    auto valueAt = [&] {
        QSignalSpy info(magnifier, &Magnifier::pixelInfoChanged);
        emit window->findChild<DisplayWidget *>()->positionClicked(
                QPoint(pixel.first, pixel.second));
        // Frames go on arriving; take the value of a fresh one.
        info.clear();
        if (!info.wait(10000) || !info.wait(10000))
            return -1;
        return info.last().at(1).toInt();
    };
    const int uncorrected = valueAt();
    QVERIFY(uncorrected > TVSIM_BLACK_LEVEL + 40);
    QAction *correction = action(window, QStringLiteral("Hot pixel correction"));
    QVERIFY(correction->isEnabled());
    correction->trigger();
    QVERIFY(correction->isChecked());
    QTRY_VERIFY_WITH_TIMEOUT(valueAt() < TVSIM_BLACK_LEVEL + 10, 20000);
}

void tst_MainWindowHotpixel::brightFrames_data()
{
    QTest::addColumn<int>("brightBytes");
    QTest::addColumn<bool>("fails");
    QTest::newRow("5000 pass") << 5000 << false;
    QTest::newRow("5001 fail") << 5001 << true;
}

void tst_MainWindowHotpixel::brightFrames()
{
    QFETCH(int, brightBytes);
    QFETCH(bool, fails);
    MainWindow *window = m_window.get();
    DetectionDialogue *dialogue = startRun(false);
    auto *progress = dialogue->findChild<QProgressBar *>();

    QString title;
    int progressDuringBox = -1;
    if (fails) {
        answerWhenShown<QMessageBox>([&](QMessageBox *box) {
            title = box->windowTitle();
            progressDuringBox = progress->value();
            box->accept();
        });
    }
    feed(window, frameWithBrightBytes(brightBytes));
    if (fails) {
        QCOMPARE(title, QStringLiteral("Detection failed"));
        // The bar had moved before the box; abortDetect sets it back.
        QCOMPARE(progressDuringBox, 10);
        QCOMPARE(progress->value(), 0);
        // Idle again: a further frame is not collected.
        feed(window, frameWithBrightBytes(0));
        QCOMPARE(progress->value(), 0);
    } else {
        QCOMPARE(progress->value(), 10);
        feed(window, frameWithBrightBytes(100));
        QCOMPARE(progress->value(), 20);
    }
    if (!fails) {
        // A byte of 100 never counts, however many there are.
        QImage hundreds = frameWithBrightBytes(0);
        hundreds.fill(100);
        feed(window, hundreds);
        QCOMPARE(progress->value(), 30);
        // End the run, so that the next one starts from 0.
        answerWhenShown<QMessageBox>([](QMessageBox *box) { box->accept(); });
        feed(window, frameWithBrightBytes(6000));
        QCOMPARE(progress->value(), 0);
    }
}

void tst_MainWindowHotpixel::clearThenFail()
{
    MainWindow *window = m_window.get();
    listModel(window)->addPixel(QPoint(3, 3));
    listModel(window)->addPixel(QPoint(4, 4));
    startRun(true);
    // The clear happens at Start, before any frame.
    QVERIFY(userPixels(window).empty());
    answerWhenShown<QMessageBox>([](QMessageBox *box) { box->accept(); });
    feed(window, frameWithBrightBytes(6000));
    QVERIFY(userPixels(window).empty());
}

void tst_MainWindowHotpixel::lostCameraAndDetectorFailure()
{
    MainWindow *window = m_window.get();
    DetectionDialogue *dialogue = startRun(false);
    auto *progress = dialogue->findChild<QProgressBar *>();
    // A null image, as a lost camera sends, is collected as a frame.
    feed(window, QImage());
    QCOMPARE(progress->value(), 10);
    for (int i = 0; i < 9; ++i)
        feed(window, frameWithBrightBytes(0));
    QCOMPARE(progress->value(), 100);
    // The next frame hands the ten over; the detector refuses them.
    feed(window, frameWithBrightBytes(0));
    const QString shown = window->statusBar()->currentMessage();
    QVERIFY(!shown.isEmpty());
    QVERIFY(labelStartingWith(dialogue, shown + QStringLiteral(" Please restart detection.")));
    QVERIFY(labelStartingWith(dialogue, QStringLiteral("Hot pixel detected: -")));
    QVERIFY(!labelStartingWith(dialogue, QStringLiteral("Please Wait...")));
    QCOMPARE(listModel(window)->rowCount(), 0);
}

void tst_MainWindowHotpixel::addAndDelete()
{
    MainWindow *window = m_window.get();
    QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel(window);
    model->clearUserBadpixelList(); // whatever an earlier case wrote into the camera
    const int factoryRows = model->rowCount();
    QVERIFY(factoryRows > 0);
    auto *display = window->findChild<DisplayWidget *>();

    // Ctrl+A twice on one focus pixel adds one row. The keys go to the image,
    // as after a click into it.
    display->setFocus();
    emit display->positionClicked(QPoint(300, 200));
    QTest::keySequence(window, QKeySequence(Qt::CTRL + Qt::Key_A));
    QTest::keySequence(window, QKeySequence(Qt::CTRL + Qt::Key_A));
    QCOMPARE(model->rowCount(), factoryRows + 1);
    QCOMPARE(userPixels(window), (std::set<std::pair<int, int>> {{300, 200}}));

    // Del removes the selected user row.
    QTest::keyClick(window, Qt::Key_Delete);
    QCOMPARE(model->rowCount(), factoryRows);

    // A factory row can't be deleted, not even by calling the slot.
    table(window, "BadpixelListDock")->selectRow(0);
    QMetaObject::invokeMethod(window, "deleteBadpixel");
    QCOMPARE(model->rowCount(), factoryRows);

    // Only factory rows: the context menu offers no clearing.
    QStringList entries;
    answerWhenShown<QMenu>([&](QMenu *menu) {
        for (QAction *act : menu->actions())
            entries << act->text();
        menu->close();
    });
    emit table(window, "BadpixelListDock")->customContextMenuRequested(QPoint());
    QCOMPARE(entries, QStringList({"&Add hot pixel", "&Delete hot pixel"}));

    // Clear takes the user rows only, without asking.
    model->addPixel(QPoint(1, 1));
    model->addPixel(QPoint(2, 2));
    action(window, QStringLiteral("Clear user hot pixel"))->trigger();
    QCOMPARE(model->rowCount(), factoryRows);
}

void tst_MainWindowHotpixel::writeRefusedAndFailed()
{
    MainWindow *window = m_window.get();

    // Answering No writes nothing.
    QVERIFY(openCamera(mono));
    const auto inCamera = userPixels(window);
    listModel(window)->addPixel(QPoint(50, 60));
    QString informative;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        informative = box->informativeText();
        box->button(QMessageBox::No)->click();
    });
    action(window, QStringLiteral("&Write hot pixel"))->trigger();
    QCOMPARE(informative, QStringLiteral("Do you want to continue?"));
    action(window, QStringLiteral("&Close camera"))->trigger();
    QVERIFY(openCamera(mono));
    QCOMPARE(userPixels(window), inCamera);

    // A library failure: "Write failed" with the model's text, then the same
    // text in the status bar; the list stays.
    listModel(window)->addPixel(QPoint(50, 60));
    QString title;
    QString text;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        // The camera's memory fails from now on, after the capability test.
        tvsim_inject("tv_HotPixel", 1, 0);
        box->button(QMessageBox::Yes)->click();
        answerWhenShown<QMessageBox>([&](QMessageBox *failure) {
            title = failure->windowTitle();
            text = failure->text();
            failure->accept();
        });
    });
    action(window, QStringLiteral("&Write hot pixel"))->trigger();
    tvsim_inject("tv_HotPixel", 0, 0);
    QCOMPARE(title, QStringLiteral("Write failed"));
    QVERIFY(!text.isEmpty());
    QCOMPARE(window->statusBar()->currentMessage(), text);
    auto expected = inCamera;
    expected.insert({50, 60});
    QCOMPARE(userPixels(window), expected);

    // The software-only camera: "Not supported!", the model is not asked.
    answerWhenShown<QMessageBox>([](QMessageBox *box) { box->accept(); });
    QVERIFY(openCamera(softwareOnly));
    QMetaObject::invokeMethod(window, "updateCameraActions");
    QVERIFY(action(window, QStringLiteral("&Write hot pixel"))->isEnabled());
    title.clear();
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        title = box->windowTitle();
        box->accept();
    });
    action(window, QStringLiteral("&Write hot pixel"))->trigger();
    QCOMPARE(title, QStringLiteral("Not supported!"));
}

void tst_MainWindowHotpixel::textFiles()
{
    MainWindow *window = m_window.get();
    BadpixelListModel *model = listModel(window);
    model->addPixel(QPoint(12, 345));
    model->addPixel(QPoint(7, 8));
    const QString path = m_files.filePath(QStringLiteral("list.txt"));

    // Export through the real dialog, with no camera open.
    QString title;
    QStringList filters;
    QString folder;
    answerWhenShown<QFileDialog>([&](QFileDialog *dialog) {
        title = dialog->windowTitle();
        filters = dialog->nameFilters();
        folder = dialog->directory().absolutePath();
        chooseFile(dialog, path);
    });
    QMetaObject::invokeMethod(window, "exportBadpixelList");
    QCOMPARE(title, QStringLiteral("Export hot pixel list"));
    QCOMPARE(filters, QStringList({"Text files (*.txt)"}));
    QCOMPARE(folder, QDir(QDir::homePath()).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("12 345 1\n7 8 1\n"));
    file.close();

    // Import replaces the user rows.
    model->clearUserBadpixelList();
    model->addPixel(QPoint(99, 99));
    answerWhenShown<QFileDialog>([&](QFileDialog *dialog) {
        title = dialog->windowTitle();
        chooseFile(dialog, path);
    });
    action(window, QStringLiteral("&Import hot pixel list"))->trigger();
    QCOMPARE(title, QStringLiteral("Import hot pixel list"));
    QCOMPARE(userPixels(window), (std::set<std::pair<int, int>> {{12, 345}, {7, 8}}));

    // A cancelled dialog does nothing.
    answerWhenShown<QFileDialog>([](QFileDialog *dialog) { dialog->reject(); });
    action(window, QStringLiteral("&Import hot pixel list"))->trigger();
    QCOMPARE(model->rowCount(), 2);

    // A file that can't be written: the critical box with the model's text.
    QString boxText;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    answerWhenShown<QFileDialog>([&](QFileDialog *dialog) {
        chooseFile(dialog, QStringLiteral("/proc/self/list.txt"));
    });
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        boxText = box->text();
        icon = box->icon();
        box->accept();
    });
    action(window, QStringLiteral("&Export hot pixel list"))->trigger();
    QCOMPARE(boxText, QStringLiteral("Can't open file for writing."));
    QCOMPARE(icon, QMessageBox::Critical);
}

void tst_MainWindowHotpixel::binaryFiles()
{
    MainWindow *window = m_window.get();
    QVERIFY(openCamera(mono));
    BadpixelListModel *model = listModel(window);
    model->addPixel(QPoint(21, 22));
    model->addPixel(QPoint(23, 24));
    const auto saved = userPixels(window);
    const QString path = m_files.filePath(QStringLiteral("list.bin"));

    QString title;
    QStringList filters;
    answerWhenShown<QFileDialog>([&](QFileDialog *dialog) {
        title = dialog->windowTitle();
        filters = dialog->nameFilters();
        chooseFile(dialog, path);
    });
    QTRY_VERIFY(action(window, QStringLiteral("&Save hot pixel list"))->isEnabled());
    action(window, QStringLiteral("&Save hot pixel list"))->trigger();
    QCOMPARE(title, QStringLiteral("Save hot pixel list"));
    QCOMPARE(filters, QStringList({"Binary files (*.bin)"}));
    QVERIFY(QFileInfo::exists(path));

    model->clearUserBadpixelList();
    answerWhenShown<QFileDialog>([&](QFileDialog *dialog) {
        title = dialog->windowTitle();
        chooseFile(dialog, path);
    });
    action(window, QStringLiteral("&Load hot pixel list"))->trigger();
    QCOMPARE(title, QStringLiteral("Open hot pixel list"));
    QCOMPARE(userPixels(window), saved);
}

void tst_MainWindowHotpixel::help()
{
    MainWindow *window = m_window.get();
    QString title;
    QString text;
    answerWhenShown<QMessageBox>([&](QMessageBox *box) {
        title = box->windowTitle();
        text = box->text();
        box->button(QMessageBox::Close)->click();
    });
    action(window, QStringLiteral("&Usage"))->trigger();
    QCOMPARE(title, QStringLiteral("Usage"));
    QVERIFY(text.startsWith(QStringLiteral("Tavo Speckmend - Usage\n\nNavigation:")));
    QVERIFY(text.contains(QStringLiteral("Ctrl+A\t Add a hot pixel to the list\n")));
    QVERIFY(text.contains(QStringLiteral("Del\t Removes a hot pixel from the list\n")));

    QStringList texts;
    QSize size;
    QSize fixed;
    answerWhenShown<Dialog_About>([&](Dialog_About *about) {
        for (QLabel *label : about->findChildren<QLabel *>())
            texts << label->text();
        size = about->minimumSize();
        fixed = about->maximumSize();
        title = about->windowTitle();
        about->reject();
    });
    action(window, QStringLiteral("&About..."))->trigger();
    QCOMPARE(title, QStringLiteral("About Tavo Speckmend"));
    QVERIFY(texts.contains(QStringLiteral("Version: 4.96.1.0")));
    QVERIFY(texts.contains(QStringLiteral("Brevant Optics GmbH")));
    QCOMPARE(size, fixed);
}

QTEST_MAIN(tst_MainWindowHotpixel)
#include "tst_mainwindowhotpixel.moc"
