#include "app/mainwindow.h"
#include "app/statusfields.h"
#include "ui_mainwindow.h"

#include "controls/dialog_about.h"
#include "controls/doubleparameterwidget.h"
#include "controls/parameterblockwidget.h"
#include "controls/parameterwidget.h"
#include "detection/detectiondialogue.h"
#include "display/displaywidget.h"
#include "display/magnifier.h"
#include "display/magnifiercontrol.h"
#include "hotpixel/badpixellistcommand.h"

#include <QAction>
#include <QCursor>
#include <QDir>
#include <QDockWidget>
#include <QFileDialog>
#include <QHeaderView>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QScrollBar>
#include <QSettings>
#include <QStatusBar>
#include <QTableView>
#include <QTimer>
#include <QToolBar>
#include <QUndoStack>

#include <algorithm>
#include <exception>
#include <memory>
#include <stdexcept>

namespace {

QString exceptionText(const std::exception &e)
{
    return QString::fromUtf8(e.what());
}

// Keeps the columns of view as wide as their contents whenever its model's
// rows change, so that no serial number or coordinate is cut.
void fitColumnsOnChange(QTableView *view)
{
    const QAbstractItemModel *model = view->model();
    const auto fit = [view] { view->resizeColumnsToContents(); };
    QObject::connect(model, &QAbstractItemModel::rowsInserted, view, fit);
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, view, fit);
    QObject::connect(model, &QAbstractItemModel::dataChanged, view, fit);
    QObject::connect(model, &QAbstractItemModel::layoutChanged, view, fit);
    QObject::connect(model, &QAbstractItemModel::modelReset, view, fit);
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent, Qt::WindowFlags())
    , ui(new Ui_MainWindow)
    , m_cameraListModel(1000, nullptr)
    , m_badpixelListModel(nullptr)
    , m_pixelclassDelegate(nullptr)
{
    ui->setupUi(this);
    setWindowTitle(tr("Tavo Speckmend"));
    setWindowIcon(QIcon(QStringLiteral(":/res/main.ico")));
    // The image fills the window without the form's margins.
    centralWidget()->layout()->setContentsMargins(0, 0, 0, 0);

    m_cameraSelection = std::make_unique<QItemSelectionModel>(&m_cameraListModel);
    m_badpixelSelection = std::make_unique<QItemSelectionModel>(&m_badpixelListModel);

    ui->display->setSelectionModel(m_badpixelSelection.get());
    ui->display->setBadpixelModel(&m_badpixelListModel);

    // createMenus builds the docks first, so that readSettings finds every dock
    // and tool bar by its object name.
    createActions();
    createMenus();
    createConnections();
    readSettings();

    // The camera list is the visible tab, whatever the stored layout says.
    m_cameraListDock->raise();
    // The first enumeration runs only now, when all its connections are in place.
    m_cameraListModel.updateList();
    ui->display->imageLabel->setVisible(false);
}

MainWindow::~MainWindow()
{
    writeSettings();
    // The docks are deleted by the QMainWindow base, after this object has
    // stopped being a MainWindow; the magnifier dock must not call back then.
    disconnect(m_magnifierDock, &QObject::destroyed, this, &MainWindow::clearMagnifier);
    m_cameraSelection.reset();
    m_badpixelSelection.reset();
    ui.reset();
    // The value members follow in reverse order: the models before the camera,
    // whose destructor stops its event threads and leaves an open camera.
}

void MainWindow::keyPressEvent(QKeyEvent *event)
{
    // Every key that reaches the window moves the magnifier's focus pixel.
    m_magnifierControl->magnifier->keyPressEvent(event);
}

void MainWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
}

// Docks

void MainWindow::createCameraListDock()
{
    delete m_cameraListDock;
    m_cameraListDock = new QDockWidget(tr("Camera list"), this);
    m_cameraListDock->setObjectName(QStringLiteral("CameraListDock"));
    m_cameraListDock->setAllowedAreas(Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea);

    m_cameraListView = new QTableView(m_cameraListDock);
    m_cameraListView->setModel(&m_cameraListModel);
    m_cameraListView->setSortingEnabled(true);
    m_cameraListView->setSelectionModel(m_cameraSelection.get());
    m_cameraListView->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_cameraListView->setSelectionMode(QAbstractItemView::SingleSelection);
    QHeaderView *vertical = m_cameraListView->verticalHeader();
    vertical->setDefaultSectionSize(vertical->minimumSectionSize());
    vertical->hide();
    QHeaderView *horizontal = m_cameraListView->horizontalHeader();
    horizontal->setSortIndicatorShown(false);
    horizontal->setHighlightSections(false);
    horizontal->setStretchLastSection(true);
    m_cameraListView->resizeColumnsToContents();
    fitColumnsOnChange(m_cameraListView);
    m_cameraListView->setContextMenuPolicy(Qt::CustomContextMenu);

    // A right click anywhere opens the menu at the pointer; a double click on
    // any cell opens the camera of its row.
    connect(m_cameraListView, &QWidget::customContextMenuRequested, this,
            &MainWindow::showCameraListContextMenu);
    connect(m_cameraListView, &QAbstractItemView::doubleClicked, this, &MainWindow::openCamera);

    m_cameraListDock->setWidget(m_cameraListView);
    addDockWidget(Qt::LeftDockWidgetArea, m_cameraListDock);
}

void MainWindow::createBadpixelListDock()
{
    delete m_badpixelListDock;
    m_badpixelListDock = new QDockWidget(tr("Hot pixel list"), this);
    m_badpixelListDock->setObjectName(QStringLiteral("BadpixelListDock"));
    m_badpixelListDock->setAllowedAreas(Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea);

    m_badpixelListView = new QTableView(m_badpixelListDock);
    m_badpixelListView->setModel(&m_badpixelListModel);
    m_badpixelListView->setSortingEnabled(true);
    m_badpixelListView->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_badpixelListView->setSelectionMode(QAbstractItemView::SingleSelection);
    m_badpixelListView->setContextMenuPolicy(Qt::CustomContextMenu);
    m_badpixelListView->setItemDelegateForColumn(2, &m_pixelclassDelegate); // the class column
    m_badpixelListView->setSelectionModel(m_badpixelSelection.get());
    QHeaderView *vertical = m_badpixelListView->verticalHeader();
    vertical->setDefaultSectionSize(vertical->minimumSectionSize());
    QHeaderView *horizontal = m_badpixelListView->horizontalHeader();
    horizontal->setDefaultSectionSize(40);
    horizontal->setSortIndicatorShown(false);
    horizontal->setHighlightSections(false);
    vertical->hide();
    horizontal->setStretchLastSection(true);
    fitColumnsOnChange(m_badpixelListView);

    // No double-click action on this table: the list changes only by commands.
    connect(m_badpixelListView, &QWidget::customContextMenuRequested, this,
            &MainWindow::showBadpixelListContextMenu);

    m_badpixelListDock->setWidget(m_badpixelListView);
    addDockWidget(Qt::LeftDockWidgetArea, m_badpixelListDock);
}

void MainWindow::createMagnifierDock()
{
    delete m_magnifierDock;
    m_magnifierDock = new QDockWidget(tr("Magnifier"), this);
    m_magnifierDock->setObjectName(QStringLiteral("MagnifierDock"));
    m_magnifierDock->setAllowedAreas(Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea);

    m_magnifierControl = new MagnifierControl(m_magnifierDock);
    // The slots that feed the magnifier test m_magnifierControl, which goes
    // null with the dock.
    connect(m_magnifierDock, &QObject::destroyed, this, &MainWindow::clearMagnifier);
    // The focus pixel goes both ways between the window and the magnifier.
    connect(this, &MainWindow::magnifierPositionChanged, m_magnifierControl->magnifier,
            &Magnifier::setPosition);
    connect(m_magnifierControl->magnifier, &Magnifier::changePosition, this,
            &MainWindow::setMagnifierPosition);

    m_magnifierDock->setWidget(m_magnifierControl);
    addDockWidget(Qt::LeftDockWidgetArea, m_magnifierDock);

    if (m_camera.isOpen())
        m_magnifierControl->magnifier->setPosition(m_magnifierPosition);
}

void MainWindow::createCameraSliderDock()
{
    delete m_cameraSliderDock;
    m_cameraSliderDock = new QDockWidget(tr("Camera properties"));
    m_cameraSliderDock->setObjectName(QStringLiteral("CameraSliderDock"));

    auto *block = new ParameterBlockWidget(nullptr);
    m_cameraSliderDock->setWidget(block);
    addDockWidget(Qt::LeftDockWidgetArea, m_cameraSliderDock);

    // Each row sends the user's value to the camera, and the camera's range
    // and value come back to the row.
    connect(block->framerate, &DoubleParameterWidget::valueChanged, &m_camera,
            &Camera::setFramerate);
    connect(&m_camera, &Camera::framerateChanged, block->framerate,
            &DoubleParameterWidget::setParam);
    connect(block->exposure, &DoubleParameterWidget::valueChanged, &m_camera, &Camera::setExposure);
    connect(&m_camera, &Camera::exposureChanged, block->exposure, &DoubleParameterWidget::setParam);
    connect(block->mastergain, &ParameterWidget::valueChanged, &m_camera, &Camera::setMastergain);
    connect(&m_camera, &Camera::mastergainChanged, block->mastergain, &ParameterWidget::setParam);
    // The rows are live only while a camera is open.
    connect(this, &MainWindow::cameraOpened, block, &QWidget::setEnabled);

    block->setEnabled(false);
}

void MainWindow::clearMagnifier()
{
    m_magnifierControl = nullptr;
}

void MainWindow::showCameraListContextMenu(QPoint pos)
{
    Q_UNUSED(pos)
    // The menus stay children of the window after they close.
    auto *menu = new QMenu(this);
    menu->addAction(m_actOpenCamera);
    menu->addAction(m_actCloseCamera);
    menu->exec(QCursor::pos());
}

void MainWindow::showBadpixelListContextMenu(QPoint pos)
{
    Q_UNUSED(pos)
    auto *menu = new QMenu(this);
    menu->addAction(m_actAddBadpixel);
    if (m_badpixelSelection->hasSelection()) {
        const QModelIndex index = m_badpixelSelection->selectedIndexes().first();
        if (index.row() >= 0 && index.column() >= 0 && index.model() != nullptr)
            menu->addAction(m_actDeleteBadpixel);
    }
    // Clearing is offered only when there are rows beyond the factory ones.
    if (m_badpixelListModel.rowCount() > m_badpixelListModel.factoryLimit)
        menu->addAction(m_actClearBadpixel);
    menu->exec(QCursor::pos());
}

// Camera session

void MainWindow::openCamera()
{
    const CameraRow entry = selectedCamera();
    if (entry == CameraRow() || entry.inUse != 0)
        return;

    m_resetMarker = 1111.0;
    try {
        m_camera.open(int(entry.deviceId));
        m_camera.setBadPixelCorrection(m_actCorrection->isChecked());
        onZoomChanged(m_actZoom1to1); // every session starts at 1:1
        m_camera.setAutoConfig();
        ui->display->clear();
        ui->display->setHighlight(m_actHighlight->isChecked());
        ui->display->imageLabel->setVisible(true);
        m_statusTimer->start(1500);
    } catch (const std::exception &e) {
        // A camera that failed to open leaves nothing of the previous one on screen.
        if (!m_camera.isOpen())
            showNoCamera();
        statusBar()->showMessage(exceptionText(e), 5000);
    }

    setMagnifierPosition(QPoint(0, 0));
    checkHotpixelStorage();
}

void MainWindow::checkHotpixelStorage()
{
    if (m_camera.hasEepromCorrection()) {
        m_actWriteList->setEnabled(true);
        return;
    }
    m_actWriteList->setEnabled(false);
    QMessageBox::warning(this, tr("Please note!"),
                         tr("This camera only supports software correction and therefore can't "
                            "save inside the camera memory."),
                         QMessageBox::Ok);
}

void MainWindow::closeCamera()
{
    const CameraRow entry = selectedCamera();
    // Only the row of the open camera closes it.
    if (entry == CameraRow() || entry.serial != m_camera.serialNumber())
        return;

    m_camera.close();
    m_resetMarker = 1111.0;
    showNoCamera();
}

void MainWindow::showNoCamera()
{
    m_statusTimer->stop();
    ui->display->clear();
    ui->display->imageLabel->setVisible(false);
    if (m_magnifierControl)
        m_magnifierControl->magnifier->QLabel::clear();
    setMagnifierPosition(QPoint(0, 0));
    // The list counts keep their last text: the timer that rewrites them has stopped.
    m_statusFields->clearCounters();
}

void MainWindow::onCameraDisconnect()
{
    m_resetMarker = 1111.0;
    ui->display->imageLabel->setVisible(false);
    // The magnifier and the display drop the last frame; the camera stays open.
    QImage none;
    newImage(none);
    // Shown until the camera comes back or another message replaces it.
    statusBar()->showMessage(tr("Camera disconnected; waiting for it to return."));
}

void MainWindow::onCameraReconnect()
{
    m_cameraListModel.updateList();
    // A camera that has just come back reads "in use" until the next update
    // marks it as ours; the literal is compared untranslated.
    QAbstractItemModel *model = m_cameraListView->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        const QString status = model->data(model->index(row, 4), Qt::DisplayRole).toString();
        if (status == QLatin1String("in use"))
            m_cameraListView->selectRow(row);
    }
    // A poll may have marked the camera's new row "opened" already; its row is
    // selected all the same, so that its commands come back with it.
    for (int row = 0; row < m_cameraListModel.rowCount(); ++row) {
        if (m_cameraListModel.cameraListEntry(row).open)
            m_cameraListView->selectRow(row);
    }
    ui->display->imageLabel->setVisible(true);
    statusBar()->showMessage(tr("The camera has returned."), 5000);
}

void MainWindow::onSelectCameraRow(int row)
{
    // An existing selection is never changed here.
    if (m_cameraListView->selectionModel()->selection().isEmpty())
        m_cameraListView->selectRow(row);
}

void MainWindow::onHotpixelCorrection()
{
    m_camera.setBadPixelCorrection(m_actCorrection->isChecked());
}

void MainWindow::onCameraOpened(Camera *camera)
{
    Q_UNUSED(camera)
    emit cameraOpened(true);
}

void MainWindow::onCameraClosed()
{
    emit cameraOpened(false);
}

// Live frames and status bar

void MainWindow::newImage(QImage &image)
{
    // image points into the camera's buffer and is valid only inside this slot:
    // whoever keeps it takes a copy.
    try {
        if (m_magnifierControl)
            m_magnifierControl->magnifier->setImage(image);
        ui->display->setImage(image);

        // A detection run takes the frame while it collects.
        m_detectionRun.addFrame(image, m_camera.colorMode());
    } catch (const std::exception &e) {
        statusBar()->showMessage(exceptionText(e), 2000);
    }
}

void MainWindow::updateStatus()
{
    try {
        m_statusFields->showListCounts(m_badpixelListModel.pixels());
        m_statusFields->showCounters(m_camera.frameCount(), m_camera.failedFrameCount(),
                                     m_camera.framesPerSecond());
    } catch (const std::runtime_error &e) {
        statusBar()->showMessage(exceptionText(e), 2000);
    }
}

void MainWindow::updateStatusPosition(QPoint position)
{
    m_statusFields->showPosition(position);
}

void MainWindow::updateScaleFactor(int scale)
{
    // Reached when the display had to halve its scale.
    m_scale = scale;
    if (scale == 2) {
        onZoomChanged(m_actZoom2to1);
        statusBar()->showMessage(tr("The image is too big and will be resized"), 2000);
    } else if (scale == 1) {
        onZoomChanged(m_actZoom1to1);
        statusBar()->showMessage(tr("The image is too big and will be resized"), 2000);
    }
}

// Commands and their enabled states

void MainWindow::updateCameraActions()
{
    // The rule follows the selected row, not the camera.
    const CameraRow entry = selectedCamera();
    m_actOpenCamera->setEnabled(entry.inUse == 0 && !entry.serial.isEmpty());

    const bool open = entry.open;
    m_actCloseCamera->setEnabled(open);
    m_actSaveList->setEnabled(open);
    m_actLoadList->setEnabled(open);
    m_actCorrection->setEnabled(open);
    m_actDetect->setEnabled(open);
    m_actAddBadpixel->setEnabled(open);
    m_actWriteList->setEnabled(open);
    m_actZoom->setEnabled(open);
}

CameraRow MainWindow::selectedCamera()
{
    QItemSelectionModel *selection = m_cameraListView->selectionModel();
    if (!selection->hasSelection())
        return CameraRow();
    const QModelIndex index = selection->selectedIndexes().first();
    if (index.row() < 0 || index.column() < 0 || index.model() == nullptr)
        return CameraRow();
    return m_cameraListModel.cameraListEntry(index.row());
}

void MainWindow::onShowHideCameraListDock()
{
    m_cameraListDock->setVisible(!m_cameraListDock->isVisible());
}

void MainWindow::onShowHideBadpixelListDock()
{
    m_badpixelListDock->setVisible(!m_badpixelListDock->isVisible());
}

void MainWindow::onShowHideMagnifierDock()
{
    m_magnifierDock->setVisible(!m_magnifierDock->isVisible());
}

void MainWindow::onShowHideCameraSliderDock()
{
    m_cameraSliderDock->setVisible(!m_cameraSliderDock->isVisible());
}

void MainWindow::onMenuShow()
{
    m_actViewCameraList->setChecked(m_cameraListDock->isVisible());
    m_actViewBadpixelList->setChecked(m_badpixelListDock->isVisible());
    m_actViewMagnifier->setChecked(m_magnifierDock->isVisible());
    m_actViewCameraSlider->setChecked(m_cameraSliderDock->isVisible());
}

// Focus pixel and zoom

void MainWindow::setMagnifierPosition(QPoint position)
{
    m_magnifierPosition = position;
    if (m_magnifierPosition.x() < 0)
        m_magnifierPosition.setX(0);
    if (m_magnifierPosition.y() < 0)
        m_magnifierPosition.setY(0);
    // After the lower bound: with no sensor known yet the result is -1.
    if (m_magnifierPosition.x() >= m_camera.imageWidth())
        m_magnifierPosition.setX(m_camera.imageWidth() - 1);
    if (m_magnifierPosition.y() >= m_camera.imageHeight())
        m_magnifierPosition.setY(m_camera.imageHeight() - 1);

    // The table is searched with the position as it came, unclamped.
    const QModelIndex index = m_badpixelListModel.indexOfPixel(position.x(), position.y(), 1);
    if (index.isValid())
        m_badpixelSelection->select(
                index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    else
        m_badpixelSelection->select(QModelIndex(), QItemSelectionModel::Clear);

    emit magnifierPositionChanged(m_magnifierPosition);
}

void MainWindow::updateSelection(QItemSelection selected, QItemSelection deselected)
{
    Q_UNUSED(deselected)
    if (selected.isEmpty()) {
        setSelection(QModelIndex(), QModelIndex());
        return;
    }
    const QModelIndex first = selected.indexes().first();
    setSelection(first, first);
}

void MainWindow::setSelection(QModelIndex topLeft, QModelIndex bottomRight)
{
    Q_UNUSED(bottomRight)
    if (topLeft.row() < 0 || topLeft.column() < 0 || topLeft.model() == nullptr) {
        m_actDeleteBadpixel->setEnabled(false);
        ui->display->redrawImage();
        return;
    }

    const BadpixelEntry entry = m_badpixelListModel.pixelAt(topLeft.row());
    setMagnifierPosition(QPoint(entry.x, entry.y));

    // Place the pixel in the image by proportion. m_scale is 0 after the
    // display fell below 1:1 on its own; the bars are left alone then.
    const QLabel *label = ui->display->imageLabel;
    QScrollBar *vertical = ui->display->verticalScrollBar();
    if (vertical->maximum() != 0 && m_scale != 0) {
        const int pixels = label->height() / m_scale;
        if (pixels != 0)
            vertical->setValue(vertical->maximum() / pixels * entry.y);
    }
    QScrollBar *horizontal = ui->display->horizontalScrollBar();
    if (horizontal->maximum() != 0 && m_scale != 0) {
        const int pixels = label->width() / m_scale;
        if (pixels != 0)
            horizontal->setValue(horizontal->maximum() / pixels * entry.x);
    }

    m_badpixelListView->scrollTo(topLeft);
    // Only user pixels can be deleted.
    m_actDeleteBadpixel->setEnabled(entry.pixelClass == 1);
    ui->display->redrawImage();
}

void MainWindow::onZoomChanged(QAction *act)
{
    // The steps form no action group: exclusivity is kept here.
    m_actZoom1to1->setChecked(false);
    m_actZoom2to1->setChecked(false);
    m_actZoom4to1->setChecked(false);
    m_actZoom1to4->setChecked(false);
    m_actZoom1to2->setChecked(false);
    m_actZoomFit->setChecked(false);
    m_resetMarker = 1111.0;

    struct Step
    {
        QAction *action;
        double displayScale;
        int scale;
    };
    // The two reducing steps keep the scroll factor at 1.
    const Step steps[] = {
            {m_actZoom1to1, 1.0, 1}, {m_actZoom2to1, 2.0, 2},  {m_actZoom4to1, 4.0, 4},
            {m_actZoom1to2, 0.5, 1}, {m_actZoom1to4, 0.25, 1}, {m_actZoomFit, 0.0, 0},
    };
    for (const Step &step : steps) {
        if (act != step.action)
            continue;
        m_actZoom->setText(act->text());
        step.action->setChecked(true);
        ui->display->setScale(step.displayScale);
        m_scale = step.scale;
        break;
    }
}

// Hot pixel list commands

namespace {

enum class FileDialog { Save, Open };

// The number of rows that a list command hands on or takes in: the user
// pixels, and with imported the other classes that only a text import brings.
int countPixels(const BadpixelListModel &model, bool imported)
{
    const QList<BadpixelEntry> entries = model.pixels();
    return int(std::count_if(entries.begin(), entries.end(), [imported](const BadpixelEntry &e) {
        return e.pixelClass == 1 || (imported && e.pixelClass > 1);
    }));
}

// The common steps of the four file commands: ask for a file name in the
// user's home folder (a cancelled dialog does nothing; a name typed without a
// suffix gets the filter's), run the command on it, confirm a success in the
// status bar, and show a failure as the model's text, translated, in a box
// with no parent and no title of its own.
template<typename Command>
void runFileCommand(QMainWindow *window, FileDialog mode, const QString &title,
                    const QString &filter, const QString &suffix, Command command)
{
    QFileDialog dialog(window, title, QDir::homePath(), filter);
    dialog.setAcceptMode(mode == FileDialog::Save ? QFileDialog::AcceptSave
                                                  : QFileDialog::AcceptOpen);
    dialog.setFileMode(mode == FileDialog::Save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    dialog.setDefaultSuffix(suffix);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().value(0).isEmpty())
        return;
    const QString filename = dialog.selectedFiles().constFirst();
    try {
        window->statusBar()->showMessage(command(filename), 5000);
    } catch (const std::exception &e) {
        QMessageBox box;
        box.setText(MainWindow::tr(e.what()));
        box.setStandardButtons(QMessageBox::Ok);
        box.setIcon(QMessageBox::Critical);
        box.exec();
    }
}

} // namespace

void MainWindow::writeBadpixelList()
{
    if (!m_camera.hasEepromCorrection()) {
        QMessageBox::critical(this, tr("Not supported!"),
                              tr("This camera only supports software correction and can't be "
                                 "saved inside the camera memory!"),
                              QMessageBox::Ok);
        return;
    }

    // A user list that could not be read at open would be replaced unseen.
    if (m_badpixelListModel.userListReadFailed()) {
        QMessageBox refusal(QMessageBox::Warning, tr("User list not read"),
                            tr("The camera's user list could not be read when the camera was "
                               "opened, so the list shown here may lack what the camera holds."),
                            QMessageBox::Yes | QMessageBox::No, this);
        refusal.setInformativeText(m_badpixelListModel.userListReadFailure() + QLatin1Char('\n')
                                   + tr("Write the list shown here all the same?"));
        refusal.setDefaultButton(QMessageBox::No);
        if (refusal.exec() != QMessageBox::Yes)
            return;
    }

    QMessageBox box;
    box.setText(tr("This action will completely overwrite the user defined hot pixel list in the "
                   "EEPROM of the camera."));
    box.setInformativeText(tr("Do you want to continue?"));
    box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    box.setIcon(QMessageBox::Warning);
    if (box.exec() != QMessageBox::Yes)
        return;

    try {
        // A camera that held a list gets a copy of it kept before the write.
        const QString copy = m_badpixelListModel.writeBadpixelList(&m_camera);
        QString text = tr("Hot pixels written into the camera: %1")
                               .arg(countPixels(m_badpixelListModel, false));
        if (!copy.isEmpty())
            text += tr("; its former list is kept in %1").arg(QDir::toNativeSeparators(copy));
        statusBar()->showMessage(text, 10000);
    } catch (const std::exception &e) {
        QMessageBox::critical(this, tr("Write failed"), exceptionText(e), QMessageBox::Ok);
        statusBar()->showMessage(exceptionText(e), 2000);
    }
}

void MainWindow::saveBadpixelList()
{
    runFileCommand(this, FileDialog::Save, tr("Save hot pixel list"), tr("Binary files (*.bin)"),
                   QStringLiteral("bin"), [this](const QString &name) {
                       m_badpixelListModel.saveAsFile(&m_camera, name);
                       return tr("Hot pixels saved to %1: %2")
                               .arg(name)
                               .arg(countPixels(m_badpixelListModel, false));
                   });
}

void MainWindow::loadBadpixelList()
{
    // Recorded whatever the outcome; a list left as it was records nothing.
    const QList<BadpixelEntry> before = BadpixelListCommand::changeableRows(m_badpixelListModel);
    runFileCommand(this, FileDialog::Open, tr("Open hot pixel list"), tr("Binary files (*.bin)"),
                   QStringLiteral("bin"), [this](const QString &name) {
                       m_badpixelListModel.loadFromFile(&m_camera, name);
                       return tr("Hot pixels loaded from %1: %2")
                               .arg(name)
                               .arg(countPixels(m_badpixelListModel, false));
                   });
    recordListChange(tr("Load hot pixel list"), before);
}

void MainWindow::exportBadpixelList()
{
    runFileCommand(this, FileDialog::Save, tr("Export hot pixel list"), tr("Text files (*.txt)"),
                   QStringLiteral("txt"), [this](const QString &name) {
                       m_badpixelListModel.exportAsFile(name);
                       return tr("Hot pixels exported to %1: %2")
                               .arg(name)
                               .arg(countPixels(m_badpixelListModel, false));
                   });
}

void MainWindow::importBadpixelList()
{
    // Recorded whatever the outcome; a list left as it was records nothing.
    const QList<BadpixelEntry> before = BadpixelListCommand::changeableRows(m_badpixelListModel);
    runFileCommand(this, FileDialog::Open, tr("Import hot pixel list"), tr("Text files (*.txt)"),
                   QStringLiteral("txt"), [this](const QString &name) {
                       m_badpixelListModel.importFromFile(name);
                       return tr("Hot pixels imported from %1: %2")
                               .arg(name)
                               .arg(countPixels(m_badpixelListModel, true));
                   });
    recordListChange(tr("Import hot pixel list"), before);
}

void MainWindow::addNewBadpixel()
{
    try {
        // The pixel added is always the current focus pixel.
        const QList<BadpixelEntry> before
                = BadpixelListCommand::changeableRows(m_badpixelListModel);
        if (!m_badpixelListModel.addPixel(m_magnifierPosition))
            return;
        recordListChange(tr("Add hot pixel"), before);
        const QModelIndex index = m_badpixelListModel.indexOfPixel(m_magnifierPosition.x(),
                                                                   m_magnifierPosition.y(), 1);
        m_badpixelSelection->select(index, QItemSelectionModel::ClearAndSelect);
    } catch (const std::exception &e) {
        statusBar()->showMessage(exceptionText(e), 2000);
    }
}

void MainWindow::deleteBadpixel()
{
    if (!m_badpixelSelection->hasSelection())
        return;
    const QModelIndex index = m_badpixelSelection->selectedIndexes().first();
    if (index.row() < 0 || index.column() < 0 || index.model() == nullptr)
        return;
    // The model refuses any row that is not a user pixel.
    const QList<BadpixelEntry> before = BadpixelListCommand::changeableRows(m_badpixelListModel);
    m_badpixelListModel.removePixelRow(index.row(), QModelIndex());
    recordListChange(tr("Delete hot pixel"), before);
}

void MainWindow::clearBadpixel()
{
    const QList<BadpixelEntry> before = BadpixelListCommand::changeableRows(m_badpixelListModel);
    m_badpixelListModel.clearUserBadpixelList();
    recordListChange(tr("Clear user hot pixel"), before);
}

void MainWindow::recordListChange(const QString &text, const QList<BadpixelEntry> &before)
{
    const QList<BadpixelEntry> after = BadpixelListCommand::changeableRows(m_badpixelListModel);
    if (!BadpixelListCommand::sameRows(before, after))
        m_undoStack->push(new BadpixelListCommand(&m_badpixelListModel, text, before, after));
}

void MainWindow::undoListChange()
{
    try {
        m_undoStack->undo();
    } catch (const std::exception &e) {
        statusBar()->showMessage(exceptionText(e), 5000);
    }
}

void MainWindow::redoListChange()
{
    try {
        m_undoStack->redo();
    } catch (const std::exception &e) {
        statusBar()->showMessage(exceptionText(e), 5000);
    }
}

// Detection run

void MainWindow::openDetectDialog()
{
    // A former dialogue stays a hidden child of the window, connected.
    m_detectionDialogue = new DetectionDialogue(this);
    connect(m_detectionDialogue, &DetectionDialogue::startDetect, this,
            &MainWindow::startDetectingBadpixel);
    connect(&m_badpixelListModel, &BadpixelListModel::pixelAdded, m_detectionDialogue,
            &DetectionDialogue::addDetectedPixel);
    // Window-modal: the live image goes on behind it.
    m_detectionDialogue->open();
}

void MainWindow::startDetectingBadpixel(bool clear, uint threshold)
{
    // The whole run is one step of the undo history, the clearing included.
    m_listBeforeRun = BadpixelListCommand::changeableRows(m_badpixelListModel);
    m_detectionRun.start(threshold, clear);
}

void MainWindow::connectDetectionRun()
{
    // The run reports to the dialogue opened last.
    connect(&m_detectionRun, &DetectionRun::progress, this,
            [this](int value) { m_detectionDialogue->updateProgress(value); });
    connect(&m_detectionRun, &DetectionRun::tooBright, this, [this] {
        QMessageBox::critical(this, tr("Detection failed"), DetectionRun::tooBrightText(),
                              QMessageBox::Ok);
        m_detectionDialogue->abortDetect();
        recordListChange(tr("Detect hot pixel"), m_listBeforeRun);
    });
    connect(&m_detectionRun, &DetectionRun::detectionFinished, this,
            &MainWindow::detectionFinished);
    connect(&m_detectionRun, &DetectionRun::failed, this, [this](const QString &text) {
        statusBar()->showMessage(text, 2000);
        m_detectionDialogue->showError(DetectionRun::failedText(text));
    });
    connect(&m_detectionRun, &DetectionRun::finished, this, [this] {
        m_detectionDialogue->finishDetect();
        recordListChange(tr("Detect hot pixel"), m_listBeforeRun);
    });
}

// Help

void MainWindow::openHelpUsageWindow()
{
    const QString text
            = tr("Tavo Speckmend - Usage\n\nNavigation:\n\nRight mouse button: Drag to move image\n"
                 "Arrow keys: Click once into magnifier to move focus pixel by pixel\n\n"
                 "Shortcuts:\n\n%1\t Add a hot pixel to the list\n"
                 "%2\t Removes a hot pixel from the list\n")
                      .arg(QKeySequence(Qt::CTRL + Qt::Key_A).toString(QKeySequence::PortableText),
                           QKeySequence(Qt::Key_Delete).toString(QKeySequence::PortableText));
    QMessageBox box(QMessageBox::NoIcon, tr("Usage"), text, QMessageBox::Close, this);
    box.exec();
}

void MainWindow::openHelpAboutWindow()
{
    Dialog_About about(this);
    about.exec();
}

// Construction steps

void MainWindow::createActions()
{
    ui->mainToolBar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);

    m_actOpenCamera
            = new QAction(QIcon(QStringLiteral(":/res/openplay.png")), tr("&Open camera"), this);
    m_actCloseCamera
            = new QAction(QIcon(QStringLiteral(":/res/camclose.png")), tr("&Close camera"), this);
    m_actCloseCamera->setEnabled(false);

    m_actSaveList = new QAction(QIcon(QStringLiteral(":/res/writeList.png")),
                                tr("&Save hot pixel list"), this);
    m_actLoadList = new QAction(QIcon(QStringLiteral(":/res/openList.png")),
                                tr("&Load hot pixel list"), this);
    // Save and Load stay enabled until the first updateCameraActions.
    m_actOpenCamera->setEnabled(false);

    m_actHighlight
            = new QAction(QIcon(QStringLiteral(":/res/highlight.png")), tr("&Highlight"), this);
    m_actHighlight->setCheckable(true);
    m_actHighlight->setChecked(true);

    m_actWriteList = new QAction(QIcon(QStringLiteral(":/res/writeBadpixel.png")),
                                 tr("&Write hot pixel"), this);
    m_actWriteList->setEnabled(false);

    m_actCorrection = new QAction(QIcon(QStringLiteral(":/res/badpixelCorrection.png")),
                                  tr("Hot pixel correction"), this);
    m_actCorrection->setCheckable(true);
    m_actCorrection->setChecked(false);
    m_actCorrection->setEnabled(false);

    m_actAddBadpixel = new QAction(QIcon(QStringLiteral(":/res/addBadpixel.png")),
                                   tr("&Add hot pixel"), this);
    m_actAddBadpixel->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_A));
    m_actAddBadpixel->setEnabled(false);

    m_actDeleteBadpixel = new QAction(QIcon(QStringLiteral(":/res/deleteBadpixel.png")),
                                      tr("&Delete hot pixel"), this);
    m_actDeleteBadpixel->setShortcut(QKeySequence(Qt::Key_Delete));

    m_actClearBadpixel = new QAction(tr("Clear user hot pixel"), this);
    // Clear stays enabled for good; Delete waits for a user row.
    m_actDeleteBadpixel->setEnabled(false);

    m_actDetect = new QAction(QIcon(QStringLiteral(":/res/detectBadpixel.png")),
                              tr("Detec&t hot pixel"), this);
    m_actDetect->setEnabled(false);

    m_actZoom1to1 = new QAction(tr("1:1"), this);
    m_actZoom1to1->setCheckable(true);
    m_actZoom1to1->setChecked(true);
    m_actZoom2to1 = new QAction(tr("2:1"), this);
    m_actZoom2to1->setCheckable(true);
    m_actZoom4to1 = new QAction(tr("4:1"), this);
    m_actZoom4to1->setCheckable(true);
    m_actZoom1to2 = new QAction(tr("1:2"), this);
    m_actZoom1to2->setCheckable(true);
    m_actZoom1to4 = new QAction(tr("1:4"), this);
    m_actZoom1to4->setCheckable(true);
    m_actZoomFit = new QAction(tr("To fit"), this);
    m_actZoomFit->setCheckable(true);
    m_actZoomFit->setVisible(false);
    m_actZoomFit->setEnabled(false);

    m_actZoom = new QAction(QIcon(QStringLiteral(":/res/zoom.png")), m_actZoom1to1->text(), this);
    m_actZoom->setEnabled(false);

    m_actUsage = new QAction(QIcon(QStringLiteral(":/res/help.png")), tr("&Usage"), this);
    m_actAbout = new QAction(QIcon(QStringLiteral(":/res/information.png")), tr("&About..."), this);

    m_menuZoom = new QMenu(this);
    m_menuZoom->addAction(m_actZoom1to4);
    m_menuZoom->addAction(m_actZoom1to2);
    m_menuZoom->addAction(m_actZoom1to1);
    m_menuZoom->addAction(m_actZoom2to1);
    m_menuZoom->addAction(m_actZoom4to1);
    m_menuZoom->addAction(m_actZoomFit);
    m_actZoom->setMenu(m_menuZoom);

    m_undoStack = new QUndoStack(this);
    m_actUndo = new QAction(tr("&Undo"), this);
    m_actUndo->setShortcut(QKeySequence::Undo);
    m_actUndo->setEnabled(false);
    m_actRedo = new QAction(tr("&Redo"), this);
    m_actRedo->setShortcut(QKeySequence::Redo);
    m_actRedo->setEnabled(false);

    m_statusTimer = new QTimer(this);
}

void MainWindow::createMenus()
{
    createCameraListDock();
    createBadpixelListDock();
    createMagnifierDock();
    createCameraSliderDock();
    tabifyDockWidget(m_cameraListDock, m_badpixelListDock);

    createToolBar();
    // The status fields stand at the right-hand end; the left part is for messages.
    m_statusFields = std::make_unique<StatusFields>(ui->statusBar);

    createMenuBar();
}

// The commands that stand in no menu of the menu bar are on the tool bar.
void MainWindow::createToolBar()
{
    QToolBar *toolBar = ui->mainToolBar;
    toolBar->addAction(m_actOpenCamera);
    toolBar->addAction(m_actCloseCamera);
    toolBar->addSeparator();
    toolBar->addAction(m_actCorrection);
    toolBar->addAction(m_actDetect);
    toolBar->addAction(m_actWriteList);
    toolBar->addAction(m_actAddBadpixel);
    toolBar->addAction(m_actDeleteBadpixel);
    toolBar->addSeparator();
    toolBar->addAction(m_actHighlight);
    toolBar->addAction(m_actZoom);
}

// File, Edit, View and Help, with the actions that only the menus hold.
void MainWindow::createMenuBar()
{
    QMenuBar *menus = ui->menuBar;
    QMenu *fileMenu = new QMenu(tr("&File"), menus);
    menus->addMenu(fileMenu);
    auto *actExport = new QAction(QIcon(QStringLiteral(":/res/exportList.png")),
                                  tr("&Export hot pixel list"), fileMenu);
    auto *actImport = new QAction(QIcon(QStringLiteral(":/res/importList.png")),
                                  tr("&Import hot pixel list"), fileMenu);
    auto *actExit = new QAction(QIcon(QStringLiteral(":/res/exit.png")), tr("E&xit"), fileMenu);
    fileMenu->addAction(m_actOpenCamera);
    fileMenu->addAction(m_actCloseCamera);
    fileMenu->addSeparator();
    fileMenu->addAction(m_actSaveList);
    fileMenu->addAction(m_actLoadList);
    fileMenu->addSeparator();
    fileMenu->addAction(actExport);
    fileMenu->addAction(actImport);
    fileMenu->addSeparator();
    fileMenu->addAction(actExit);
    connect(actExport, &QAction::triggered, this, &MainWindow::exportBadpixelList);
    connect(actImport, &QAction::triggered, this, &MainWindow::importBadpixelList);
    connect(actExit, &QAction::triggered, this, &QWidget::close);

    QMenu *editMenu = new QMenu(tr("&Edit"), menus);
    menus->addMenu(editMenu);
    editMenu->addAction(m_actUndo);
    editMenu->addAction(m_actRedo);

    QMenu *viewMenu = new QMenu(tr("&View"), menus);
    menus->addMenu(viewMenu);
    m_actViewCameraList = new QAction(QIcon(QStringLiteral(":/res/cameraList.png")),
                                      tr("Camera list"), viewMenu);
    m_actViewCameraList->setCheckable(true);
    m_actViewBadpixelList = new QAction(QIcon(QStringLiteral(":/res/badpixelList.png")),
                                        tr("Hot pixel list"), viewMenu);
    m_actViewBadpixelList->setCheckable(true);
    m_actViewMagnifier = new QAction(QIcon(QStringLiteral(":/res/window_view.png")),
                                     tr("Magnifier"), viewMenu);
    m_actViewMagnifier->setCheckable(true);
    m_actViewCameraSlider = new QAction(QIcon(QStringLiteral(":/res/cameraproperties.png")),
                                        tr("Camera properties"), viewMenu);
    m_actViewCameraSlider->setCheckable(true);
    viewMenu->addAction(m_actViewCameraList);
    viewMenu->addAction(m_actViewBadpixelList);
    viewMenu->addAction(m_actViewMagnifier);
    viewMenu->addAction(m_actViewCameraSlider);
    viewMenu->addSeparator();
    viewMenu->addAction(m_actHighlight);
    connect(viewMenu, &QMenu::aboutToShow, this, &MainWindow::onMenuShow);
    connect(m_actViewCameraList, &QAction::triggered, this, &MainWindow::onShowHideCameraListDock);
    connect(m_actViewBadpixelList, &QAction::triggered, this,
            &MainWindow::onShowHideBadpixelListDock);
    connect(m_actViewMagnifier, &QAction::triggered, this, &MainWindow::onShowHideMagnifierDock);
    connect(m_actViewCameraSlider, &QAction::triggered, this,
            &MainWindow::onShowHideCameraSliderDock);

    QMenu *helpMenu = new QMenu(tr("&Help"), menus);
    menus->addMenu(helpMenu);
    helpMenu->addAction(m_actUsage);
    helpMenu->addSeparator();
    helpMenu->addAction(m_actAbout);
}

void MainWindow::createConnections()
{
    // The commands. Each action has one slot, so their order is free.
    connect(m_actOpenCamera, &QAction::triggered, this, &MainWindow::openCamera);
    connect(m_actCloseCamera, &QAction::triggered, this, &MainWindow::closeCamera);
    connect(m_actSaveList, &QAction::triggered, this, &MainWindow::saveBadpixelList);
    connect(m_actLoadList, &QAction::triggered, this, &MainWindow::loadBadpixelList);
    connect(m_actHighlight, &QAction::toggled, ui->display, &DisplayWidget::setHighlight);
    connect(m_actWriteList, &QAction::triggered, this, &MainWindow::writeBadpixelList);
    connect(m_actAddBadpixel, &QAction::triggered, this, &MainWindow::addNewBadpixel);
    connect(m_actDeleteBadpixel, &QAction::triggered, this, &MainWindow::deleteBadpixel);
    connect(m_actClearBadpixel, &QAction::triggered, this, &MainWindow::clearBadpixel);
    connect(m_actDetect, &QAction::triggered, this, &MainWindow::openDetectDialog);
    connect(m_menuZoom, &QMenu::triggered, this, &MainWindow::onZoomChanged);
    connect(m_actUsage, &QAction::triggered, this, &MainWindow::openHelpUsageWindow);
    connect(m_actAbout, &QAction::triggered, this, &MainWindow::openHelpAboutWindow);
    connect(m_actCorrection, &QAction::triggered, this, &MainWindow::onHotpixelCorrection);

    // Where several slots hang on one signal, the order below is their calling
    // order. On opening: the camera list learns the open camera first, so that
    // the update at the end marks its row "opened" and the enabled states follow
    // it; the hot pixel list is read before the parameter rows come alive. On
    // closing: the camera list forgets the camera before its update, so the row
    // reads "free" at once, and the hot pixel list empties before the rows go
    // dead.
    connect(&m_camera, &Camera::cameraOpened, &m_cameraListModel, &CameraListModel::setOpenCamera);
    connect(&m_camera, &Camera::cameraOpened, &m_badpixelListModel,
            &BadpixelListModel::getBadpixelList);
    connect(&m_camera, &Camera::cameraOpened, this, &MainWindow::onCameraOpened);
    connect(&m_camera, &Camera::cameraOpened, &m_cameraListModel, &CameraListModel::updateList);
    connect(&m_camera, &Camera::cameraClosed, &m_cameraListModel,
            &CameraListModel::clearOpenCamera);
    connect(&m_camera, &Camera::cameraClosed, &m_cameraListModel, &CameraListModel::updateList);
    connect(&m_camera, &Camera::cameraClosed, &m_badpixelListModel,
            &BadpixelListModel::clearBadpixelList);
    connect(&m_camera, &Camera::cameraClosed, this, &MainWindow::onCameraClosed);

    // Frames reach the magnifier and the display before a detection run sees
    // them; a failure inside the camera goes to the status bar as it stands.
    connect(&m_camera, &Camera::newImage, this, &MainWindow::newImage);
    connect(&m_camera, &Camera::displayError, ui->statusBar, &QStatusBar::showMessage);
    connectDetectionRun();

    // Devices coming and going: any device refreshes the camera list; only the
    // open camera's own loss and return reach the window.
    connect(&m_camera, &Camera::cameraNewDevice, &m_cameraListModel, &CameraListModel::updateList);
    connect(&m_camera, &Camera::cameraRemovedDevice, &m_cameraListModel,
            &CameraListModel::updateList);
    connect(&m_camera, &Camera::cameraRemoved, this, &MainWindow::onCameraDisconnect);
    connect(&m_camera, &Camera::cameraReconnect, this, &MainWindow::onCameraReconnect);

    // The enabled states follow both the camera list and its selection; a list
    // with nothing selected gets its first row selected.
    connect(&m_cameraListModel, &CameraListModel::somethingChanged, this,
            &MainWindow::updateCameraActions);
    connect(&m_cameraListModel, &CameraListModel::rowToSelect, this,
            &MainWindow::onSelectCameraRow);
    connect(m_cameraSelection.get(), &QItemSelectionModel::selectionChanged, this,
            &MainWindow::updateCameraActions);

    // The focus pixel. A new selection and an edited row both end in
    // setSelection, which moves the focus to the row's pixel; a click in the
    // image moves it directly. Every move reaches the magnifier (connected
    // with its dock, so first), then the status fields, then the display.
    connect(m_badpixelSelection.get(), &QItemSelectionModel::selectionChanged, this,
            &MainWindow::updateSelection);
    connect(&m_badpixelListModel, &QAbstractItemModel::dataChanged, this,
            &MainWindow::setSelection);
    connect(ui->display, &DisplayWidget::positionClicked, this, &MainWindow::setMagnifierPosition);
    // The scale arrives cut to an integer towards zero.
    connect(ui->display, &DisplayWidget::scaleChanged, this, &MainWindow::updateScaleFactor);
    connect(this, &MainWindow::magnifierPositionChanged, this, &MainWindow::updateStatusPosition);
    connect(this, &MainWindow::magnifierPositionChanged, ui->display,
            &DisplayWidget::updateMagnifierPosition);

    // A list that could not be read at open is told at once; Write asks again.
    // Queued, so that it stands after the messages of the opening that read it.
    connect(
            &m_badpixelListModel, &BadpixelListModel::listReadFailed, this,
            [this](const QString &message) { statusBar()->showMessage(message, 10000); },
            Qt::QueuedConnection);

    // The status fields are refreshed by the slow timer, never per frame.
    connect(m_statusTimer, &QTimer::timeout, this, &MainWindow::updateStatus);

    // Undo and redo of the hot pixel list. The history belongs to the list of
    // one camera: it goes when that list is read in or dropped.
    connect(m_actUndo, &QAction::triggered, this, &MainWindow::undoListChange);
    connect(m_actRedo, &QAction::triggered, this, &MainWindow::redoListChange);
    connect(m_undoStack, &QUndoStack::canUndoChanged, m_actUndo, &QAction::setEnabled);
    connect(m_undoStack, &QUndoStack::canRedoChanged, m_actRedo, &QAction::setEnabled);
    // The stack clears itself while the window is being destroyed, so these
    // reach only the actions, never the window.
    connect(m_undoStack, &QUndoStack::undoTextChanged, m_actUndo,
            [action = m_actUndo](const QString &text) {
                action->setText(MainWindow::tr("&Undo %1").arg(text).trimmed());
            });
    connect(m_undoStack, &QUndoStack::redoTextChanged, m_actRedo,
            [action = m_actRedo](const QString &text) {
                action->setText(MainWindow::tr("&Redo %1").arg(text).trimmed());
            });
    connect(&m_camera, &Camera::cameraOpened, m_undoStack, &QUndoStack::clear);
    connect(&m_camera, &Camera::cameraClosed, m_undoStack, &QUndoStack::clear);
}

void MainWindow::readSettings()
{
    QSettings settings(QStringLiteral("Brevant"), QStringLiteral("Tavo"));
    settings.beginGroup(QStringLiteral("Speckmend"));
    settings.beginGroup(QStringLiteral("mainWindow"));
    // Absent keys give empty arrays; both restores then fail silently and the
    // form's layout stands.
    restoreGeometry(settings.value(QStringLiteral("geometry"), QVariant()).toByteArray());
    const QByteArray state = settings.value(QStringLiteral("state"), QVariant()).toByteArray();
    restoreState(state, 0);
    settings.endGroup();
    settings.endGroup();
    // A hidden window lays its docks out anew when it is first shown, and the
    // stored dock sizes would be lost: they are restored again once it shows.
    m_shownState = state;
}

void MainWindow::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    if (m_shownState.isEmpty())
        return;
    restoreState(m_shownState, 0);
    m_shownState.clear();
    // As at construction, the camera list is the tab in front.
    m_cameraListDock->raise();
}

void MainWindow::writeSettings()
{
    QSettings settings(QStringLiteral("Brevant"), QStringLiteral("Tavo"));
    settings.beginGroup(QStringLiteral("Speckmend"));
    settings.beginGroup(QStringLiteral("mainWindow"));
    settings.setValue(QStringLiteral("geometry"), saveGeometry());
    settings.setValue(QStringLiteral("state"), saveState(0));
    settings.endGroup();
    settings.endGroup();
}
