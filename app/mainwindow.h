// The program's one top-level window. It owns every long-lived object (the
// camera, both table models, the form, the docks, the actions and the status
// fields), holds every command and keeps the views in step through one
// ordered set of signal and slot connections. GUI thread only.
#pragma once

#include "camera/camera.h"
#include "camera/cameralistmodel.h"
#include "detection/detectionrun.h"
#include "hotpixel/badpixellistmodel.h"
#include "hotpixel/pixelclassdelegate.h"

#include <QByteArray>
#include <QImage>
#include <QItemSelection>
#include <QList>
#include <QMainWindow>
#include <QModelIndex>
#include <QPoint>
#include <QVector>

#include <memory>

QT_BEGIN_NAMESPACE
class QAction;
class QDockWidget;
class QEvent;
class QItemSelectionModel;
class QKeyEvent;
class QLabel;
class QMenu;
class QShowEvent;
class QTableView;
class QTimer;
class QUndoStack;
class Ui_MainWindow;
QT_END_NAMESPACE

class DetectionDialogue;
class StatusFields;
class MagnifierControl;

class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

signals:
    void cameraOpened(bool opened);
    void magnifierPositionChanged(QPoint position);
    void detectionFinished();
    void detectionProgress(int progress); // declared, never emitted

protected slots:
    void createCameraListDock();
    void createBadpixelListDock();
    void createMagnifierDock();
    void createCameraSliderDock();
    void clearMagnifier();
    void showCameraListContextMenu(QPoint pos);
    void showBadpixelListContextMenu(QPoint pos);
    void openCamera();
    void closeCamera();
    void newImage(QImage &image);
    void updateStatus();
    void updateCameraActions();
    void onCameraOpened(Camera *camera);
    void onCameraClosed();
    void setSelection(QModelIndex topLeft, QModelIndex bottomRight);
    void updateSelection(QItemSelection selected, QItemSelection deselected);
    void setMagnifierPosition(QPoint position);
    void updateStatusPosition(QPoint position);
    void updateScaleFactor(int scale);
    void writeBadpixelList();
    void saveBadpixelList();
    void loadBadpixelList();
    void exportBadpixelList();
    void importBadpixelList();
    void addNewBadpixel();
    void deleteBadpixel();
    void clearBadpixel();
    void openDetectDialog();
    void startDetectingBadpixel(bool clear, uint threshold);
    void onShowHideCameraListDock();
    void onShowHideBadpixelListDock();
    void onShowHideMagnifierDock();
    void onShowHideCameraSliderDock();
    void onMenuShow();
    void onZoomChanged(QAction *act);
    void onSelectCameraRow(int row);
    void onCameraReconnect();
    void onCameraDisconnect();
    void onHotpixelCorrection();
    void openHelpUsageWindow();
    void openHelpAboutWindow();

private slots:
    void undoListChange();
    void redoListChange();

private:
    void createActions();
    // Builds the docks, the tool bar, the status fields and the menu bar, in
    // this order, so that the stored layout finds every dock by its name.
    void createMenus();
    void createToolBar();
    void createMenuBar();
    void createConnections();
    void readSettings();
    void writeSettings();
    CameraRow selectedCamera();
    void checkHotpixelStorage();
    void showNoCamera();
    // Pushes the change of the hot pixel list since before onto the undo
    // stack, as one step named text; no step if nothing changed.
    void recordListChange(const QString &text, const QList<BadpixelEntry> &before);
    void connectDetectionRun();

    // The form and the selection models are released first in the destructor,
    // before the value members below, so that the models outlive them.
    std::unique_ptr<Ui_MainWindow> ui;
    int m_scale = 1;
    double m_resetMarker = 1111.0; // stored to, read nowhere
    Camera m_camera;
    CameraListModel m_cameraListModel;
    BadpixelListModel m_badpixelListModel;
    DetectionRun m_detectionRun {&m_badpixelListModel};
    std::unique_ptr<QItemSelectionModel> m_cameraSelection;
    std::unique_ptr<QItemSelectionModel> m_badpixelSelection;
    QPoint m_magnifierPosition;
    QDockWidget *m_cameraListDock = nullptr;
    QTableView *m_cameraListView = nullptr;
    QDockWidget *m_badpixelListDock = nullptr;
    QTableView *m_badpixelListView = nullptr;
    QDockWidget *m_magnifierDock = nullptr;
    MagnifierControl *m_magnifierControl = nullptr;
    QDockWidget *m_cameraSliderDock = nullptr;
    PixelclassDelegate m_pixelclassDelegate;
    std::unique_ptr<StatusFields> m_statusFields; // its labels belong to the status bar
    QAction *m_actOpenCamera = nullptr;
    QAction *m_actCloseCamera = nullptr;
    QAction *m_actSaveList = nullptr;
    QAction *m_actLoadList = nullptr;
    QAction *m_actViewCameraList = nullptr;
    QAction *m_actViewBadpixelList = nullptr;
    QAction *m_actViewMagnifier = nullptr;
    QAction *m_actViewCameraSlider = nullptr;
    QAction *m_actHighlight = nullptr;
    QAction *m_actWriteList = nullptr;
    QAction *m_actAddBadpixel = nullptr;
    QAction *m_actDeleteBadpixel = nullptr;
    QAction *m_actClearBadpixel = nullptr;
    QAction *m_actCorrection = nullptr;
    QTimer *m_statusTimer = nullptr;
    QAction *m_actDetect = nullptr;
    QAction *m_actUsage = nullptr;
    QAction *m_actAbout = nullptr;
    QAction *m_actZoom1to4 = nullptr;
    QAction *m_actZoom1to2 = nullptr;
    QAction *m_actZoom1to1 = nullptr;
    QAction *m_actZoom2to1 = nullptr;
    QAction *m_actZoom4to1 = nullptr;
    QAction *m_actZoomFit = nullptr;
    QAction *m_actZoom = nullptr;
    QMenu *m_menuZoom = nullptr;
    DetectionDialogue *m_detectionDialogue = nullptr;
    // The undo history of the hot pixel list, for the list of the open camera.
    QUndoStack *m_undoStack = nullptr;
    QAction *m_actUndo = nullptr;
    QAction *m_actRedo = nullptr;
    QList<BadpixelEntry> m_listBeforeRun; // the list when the running detection started
    QByteArray m_shownState; // the stored dock layout, until the window first shows
};
