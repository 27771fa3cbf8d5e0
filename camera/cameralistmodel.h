// The table of attached cameras. Polls the camera library at the interval its
// owner gives (the window: every second) and changes the rows in place, one by one, matched by
// device id, so that a selection survives a poll as far as it can. Knows the serial number of the
// camera this process has opened, which tells "opened" from "in use"; if that number could not be
// read when the camera opened, each poll asks again. GUI thread only.
#pragma once

#include "camera/camerarow.h"

#include <QAbstractTableModel>
#include <QList>
#include <QPointer>
#include <QStringList>

class Camera;
class QTimer;

class CameraListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit CameraListModel(int msec, QObject *parent = nullptr);
    ~CameraListModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    // A copy of the row; a default row when there is no such row.
    CameraRow cameraListEntry(int row) const;

signals:
    // A poll removed, inserted or updated at least one row.
    void somethingChanged();
    // At the end of every poll, always with row 0.
    void rowToSelect(int row);

public slots:
    void setOpenCamera(Camera *cam);
    void clearOpenCamera();
    // Throws std::runtime_error "Sort Error" for an unknown column or order.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;
    void updateList();

private:
    QList<CameraRow> m_rows;
    QStringList m_header;
    QTimer *m_pollTimer = nullptr;
    QString m_openSerial;
    // The open camera, so that a serial number that could not be read when it
    // opened is read again at the next poll.
    QPointer<Camera> m_openCamera;
};
