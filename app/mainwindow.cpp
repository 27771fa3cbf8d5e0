#include "app/mainwindow.h"
#include "ui_mainwindow.h"

#include "controls/dialog_about.h"
#include "controls/doubleparameterwidget.h"
#include "controls/parameterblockwidget.h"
#include "controls/parameterwidget.h"
#include "detection/detectiondialogue.h"
#include "display/displaywidget.h"
#include "display/magnifier.h"
#include "display/magnifiercontrol.h"

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

#include <exception>
#include <memory>
#include <stdexcept>

namespace {

QString exceptionText(const std::exception &e)
{
    return QString::fromUtf8(e.what());
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
    m_cameraListView->setContextMenuPolicy(Qt::CustomContextMenu);

    // 1
    connect(m_cameraListView, &QWidget::customContextMenuRequested, this,
            &MainWindow::showCameraListContextMenu);
    // 2
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

    // 3
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
    // 4
    connect(m_magnifierDock, &QObject::destroyed, this, &MainWindow::clearMagnifier);
    // 5
    connect(this, &MainWindow::magnifierPositionChanged, m_magnifierControl->magnifier,
            &Magnifier::setPosition);
    // 6
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

    // 7
    connect(block->framerate, &DoubleParameterWidget::valueChanged, &m_camera,
            &Camera::setFramerate);
    // 8
    connect(&m_camera, &Camera::framerateChanged, block->framerate,
            &DoubleParameterWidget::setParam);
    // 9
    connect(block->exposure, &DoubleParameterWidget::valueChanged, &m_camera, &Camera::setExposure);
    // 10
    connect(&m_camera, &Camera::exposureChanged, block->exposure, &DoubleParameterWidget::setParam);
    // 11
    connect(block->mastergain, &ParameterWidget::valueChanged, &m_camera, &Camera::setMastergain);
    // 12
    connect(&m_camera, &Camera::mastergainChanged, block->mastergain, &ParameterWidget::setParam);
    // 13: the rows are live only while a camera is open
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
    m_statusTimer->stop();
    ui->display->clear();
    ui->display->imageLabel->setVisible(false);
    if (m_magnifierControl)
        m_magnifierControl->magnifier->QLabel::clear();
    setMagnifierPosition(QPoint(0, 0));
    m_labelFrames->setText(QStringLiteral("Frames: 0"));
    m_labelFailed->setText(QStringLiteral("Failed: 0"));
    m_labelFps->setText(QStringLiteral("FPS: 0"));
}

void MainWindow::onCameraDisconnect()
{
    m_resetMarker = 1111.0;
    ui->display->imageLabel->setVisible(false);
    // The magnifier and the display drop the last frame; the camera stays open.
    QImage none;
    newImage(none);
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
    ui->display->imageLabel->setVisible(true);
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
        int user = 0;
        int factory = 0;
        const QList<BadpixelEntry> entries = m_badpixelListModel.pixels();
        for (const BadpixelEntry &entry : entries) {
            if (entry.pixelClass == 1)
                ++user;
            else
                ++factory;
        }
        m_labelFactory->setText(QStringLiteral("F: %1").arg(factory));
        m_labelUser->setText(QStringLiteral("U: %1").arg(user));
        m_labelFrames->setText(QStringLiteral("Frames: %1").arg(m_camera.frameCount()));
        m_labelFailed->setText(QStringLiteral("Failed: %1").arg(m_camera.failedFrameCount()));
        m_labelFps->setText(QStringLiteral("FPS: ")
                            + QString::number(m_camera.framesPerSecond(), 'f', 2));
    } catch (const std::runtime_error &e) {
        statusBar()->showMessage(exceptionText(e), 2000);
    }
}

void MainWindow::updateStatusPosition(QPoint position)
{
    m_labelX->setText(QStringLiteral("x: %1").arg(position.x()));
    m_labelY->setText(QStringLiteral("y: %1").arg(position.y()));
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

void MainWindow::writeBadpixelList()
{
    if (!m_camera.hasEepromCorrection()) {
        QMessageBox::critical(this, tr("Not supported!"),
                              tr("This camera only supports software correction and can't be "
                                 "saved inside the camera memory!"),
                              QMessageBox::Ok);
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
        m_badpixelListModel.writeBadpixelList(&m_camera);
    } catch (const std::exception &e) {
        QMessageBox::critical(this, tr("Write failed"), exceptionText(e), QMessageBox::Ok);
        statusBar()->showMessage(exceptionText(e), 2000);
    }
}

namespace {

enum class FileDialog { Save, Open };

// The common steps of the four file commands: ask for a file name in the
// user's home folder (a cancelled dialog does nothing), run the command on it,
// and show a failure as the model's text, translated, in a box with no parent
// and no title of its own.
template<typename Command>
void runFileCommand(QWidget *parent, FileDialog dialog, const QString &title, const QString &filter,
                    Command command)
{
    const QString filename = dialog == FileDialog::Save
            ? QFileDialog::getSaveFileName(parent, title, QDir::homePath(), filter)
            : QFileDialog::getOpenFileName(parent, title, QDir::homePath(), filter);
    if (filename.isEmpty())
        return;
    try {
        command(filename);
    } catch (const std::exception &e) {
        QMessageBox box;
        box.setText(MainWindow::tr(e.what()));
        box.setStandardButtons(QMessageBox::Ok);
        box.setIcon(QMessageBox::Critical);
        box.exec();
    }
}

} // namespace

void MainWindow::saveBadpixelList()
{
    runFileCommand(
            this, FileDialog::Save, tr("Save hot pixel list"), tr("Binary files (*.bin)"),
            [this](const QString &name) { m_badpixelListModel.saveAsFile(&m_camera, name); });
}

void MainWindow::loadBadpixelList()
{
    runFileCommand(
            this, FileDialog::Open, tr("Open hot pixel list"), tr("Binary files (*.bin)"),
            [this](const QString &name) { m_badpixelListModel.loadFromFile(&m_camera, name); });
}

void MainWindow::exportBadpixelList()
{
    runFileCommand(this, FileDialog::Save, tr("Export hot pixel list"), tr("Text files (*.txt)"),
                   [this](const QString &name) { m_badpixelListModel.exportAsFile(name); });
}

void MainWindow::importBadpixelList()
{
    runFileCommand(this, FileDialog::Open, tr("Import hot pixel list"), tr("Text files (*.txt)"),
                   [this](const QString &name) { m_badpixelListModel.importFromFile(name); });
}

void MainWindow::addNewBadpixel()
{
    try {
        // The pixel added is always the current focus pixel.
        if (!m_badpixelListModel.addPixel(m_magnifierPosition))
            return;
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
    m_badpixelListModel.removePixelRow(index.row(), QModelIndex());
}

void MainWindow::clearBadpixel()
{
    m_badpixelListModel.clearUserBadpixelList();
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
    m_detectionRun.start(threshold, clear);
}

void MainWindow::connectDetectionRun()
{
    // The run reports to the dialogue opened last.
    connect(&m_detectionRun, &DetectionRun::progress, this,
            [this](int value) { m_detectionDialogue->updateProgress(value); });
    connect(&m_detectionRun, &DetectionRun::tooBright, this, [this] {
        QMessageBox::critical(this, tr("Detection failed"),
                              tr("Too many hot pixel have been found.\nPlease make sure that "
                                 "the sensor is completely obscured and the threshold is not "
                                 "too low."),
                              QMessageBox::Ok);
        m_detectionDialogue->abortDetect();
    });
    connect(&m_detectionRun, &DetectionRun::detectionFinished, this,
            &MainWindow::detectionFinished);
    connect(&m_detectionRun, &DetectionRun::failed, this, [this](const QString &text) {
        statusBar()->showMessage(text, 2000);
        m_detectionDialogue->showError(text + QStringLiteral(" Please restart detection."));
    });
    connect(&m_detectionRun, &DetectionRun::finished, this,
            [this] { m_detectionDialogue->finishDetect(); });
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

    m_statusTimer = new QTimer(this);
}

void MainWindow::createMenus()
{
    createCameraListDock();
    createBadpixelListDock();
    createMagnifierDock();
    createCameraSliderDock();
    tabifyDockWidget(m_cameraListDock, m_badpixelListDock);

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

    // The status fields stand at the right-hand end; the left part is for messages.
    QStatusBar *bar = ui->statusBar;
    m_labelX = new QLabel(bar);
    m_labelY = new QLabel(bar);
    m_labelUser = new QLabel(bar);
    m_labelFactory = new QLabel(bar);
    m_labelFrames = new QLabel(bar);
    m_labelFailed = new QLabel(bar);
    m_labelFps = new QLabel(bar);
    m_labelUser->setMinimumWidth(40);
    m_labelFactory->setMinimumWidth(40);
    m_labelX->setMinimumWidth(44);
    m_labelY->setMinimumWidth(44);
    m_labelFrames->setMinimumWidth(64);
    m_labelFailed->setMinimumWidth(64);
    m_labelFps->setMinimumWidth(72);
    bar->addPermanentWidget(m_labelUser, 0);
    bar->addPermanentWidget(m_labelFactory, 0);
    bar->addPermanentWidget(m_labelX, 0);
    bar->addPermanentWidget(m_labelY, 0);
    bar->addPermanentWidget(m_labelFrames, 0);
    bar->addPermanentWidget(m_labelFailed, 0);
    bar->addPermanentWidget(m_labelFps, 0);

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
    // 14
    connect(actExport, &QAction::triggered, this, &MainWindow::exportBadpixelList);
    // 15
    connect(actImport, &QAction::triggered, this, &MainWindow::importBadpixelList);
    // 16
    connect(actExit, &QAction::triggered, this, &QWidget::close);

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
    // 17
    connect(viewMenu, &QMenu::aboutToShow, this, &MainWindow::onMenuShow);
    // 18
    connect(m_actViewCameraList, &QAction::triggered, this, &MainWindow::onShowHideCameraListDock);
    // 19
    connect(m_actViewBadpixelList, &QAction::triggered, this,
            &MainWindow::onShowHideBadpixelListDock);
    // 20
    connect(m_actViewMagnifier, &QAction::triggered, this, &MainWindow::onShowHideMagnifierDock);
    // 21
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
    // Commands (22 to 35)
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

    // Opening (36 to 39) and closing (40 to 43): where several slots hang on
    // one signal, this is their calling order.
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

    // Frames and messages (44, 45)
    connect(&m_camera, &Camera::newImage, this, &MainWindow::newImage);
    connect(&m_camera, &Camera::displayError, ui->statusBar, &QStatusBar::showMessage);
    connectDetectionRun();

    // Devices coming and going (46 to 49)
    connect(&m_camera, &Camera::cameraNewDevice, &m_cameraListModel, &CameraListModel::updateList);
    connect(&m_camera, &Camera::cameraRemovedDevice, &m_cameraListModel,
            &CameraListModel::updateList);
    connect(&m_camera, &Camera::cameraRemoved, this, &MainWindow::onCameraDisconnect);
    connect(&m_camera, &Camera::cameraReconnect, this, &MainWindow::onCameraReconnect);

    // The camera table (50 to 52)
    connect(&m_cameraListModel, &CameraListModel::somethingChanged, this,
            &MainWindow::updateCameraActions);
    connect(&m_cameraListModel, &CameraListModel::rowToSelect, this,
            &MainWindow::onSelectCameraRow);
    connect(m_cameraSelection.get(), &QItemSelectionModel::selectionChanged, this,
            &MainWindow::updateCameraActions);

    // The focus pixel (53 to 58)
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

    // The status fields (59)
    connect(m_statusTimer, &QTimer::timeout, this, &MainWindow::updateStatus);
}

void MainWindow::readSettings()
{
    QSettings settings(QStringLiteral("Brevant"), QStringLiteral("Tavo"));
    settings.beginGroup(QStringLiteral("Speckmend"));
    settings.beginGroup(QStringLiteral("mainWindow"));
    // Absent keys give empty arrays; both restores then fail silently and the
    // form's layout stands.
    restoreGeometry(settings.value(QStringLiteral("geometry"), QVariant()).toByteArray());
    restoreState(settings.value(QStringLiteral("state"), QVariant()).toByteArray(), 0);
    settings.endGroup();
    settings.endGroup();
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
