#include "camera/cameralistmodel.h"

#include "camera/camera.h"

#include <QTimer>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {

// Orders rows by one column. Column 1 sets the device id of the left row
// against the camera id of the right one; that is how the list has always
// sorted and it stays so.
class RowLess
{
public:
    RowLess(int column, Qt::SortOrder order)
        : m_column(column)
        , m_order(order)
    { }

    bool operator()(const CameraRow &a, const CameraRow &b) const
    {
        const bool ascending = m_order == Qt::AscendingOrder;
        if (!ascending && m_order != Qt::DescendingOrder)
            throw std::runtime_error("Sort Error");
        switch (m_column) {
        case 0:
            return ascending ? a.cameraId < b.cameraId : a.cameraId > b.cameraId;
        case 1:
            return ascending ? a.deviceId < b.cameraId : a.deviceId > b.cameraId;
        case 2:
            return ascending ? a.model < b.model : b.model < a.model;
        case 3:
            return ascending ? a.serial < b.serial : b.serial < a.serial;
        case 4:
            return ascending ? QString::localeAwareCompare(b.statusText(), a.statusText()) > 0
                             : QString::localeAwareCompare(a.statusText(), b.statusText()) > 0;
        default:
            throw std::runtime_error("Sort Error");
        }
    }

private:
    int m_column;
    Qt::SortOrder m_order;
};

} // namespace

CameraListModel::CameraListModel(int msec, QObject *parent)
    : QAbstractTableModel(parent)
    , m_header {tr("Cam"), tr("Dev"), tr("Model"), tr("SerNo"), tr("Status")}
    , m_pollTimer(new QTimer(this))
{
    if (connect(m_pollTimer, &QTimer::timeout, this, &CameraListModel::updateList))
        m_pollTimer->start(msec);
}

CameraListModel::~CameraListModel()
{
    delete m_pollTimer;
}

int CameraListModel::rowCount(const QModelIndex &) const
{
    return m_rows.size();
}

int CameraListModel::columnCount(const QModelIndex &) const
{
    return m_header.size();
}

QVariant CameraListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || index.column() >= m_header.size()
        || role != Qt::DisplayRole)
        return QVariant();
    return m_rows.at(index.row()).value(index.column());
}

QVariant CameraListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Horizontal)
        return m_header.value(section);
    return section;
}

CameraRow CameraListModel::cameraListEntry(int row) const
{
    return m_rows.value(row);
}

void CameraListModel::setOpenCamera(Camera *cam)
{
    m_openCamera = cam;
    m_openSerial = cam->serialNumber();
}

void CameraListModel::clearOpenCamera()
{
    m_openCamera = nullptr;
    m_openSerial = QString();
}

void CameraListModel::sort(int column, Qt::SortOrder order)
{
    if (m_rows.isEmpty())
        return;
    // The Dev column's comparison is no strict ordering, and the partitions
    // of std::sort may then run past the ends of the range. Up to 16 rows
    // std::sort only does its bounded insertion sort; beyond that the bounded
    // merge sort takes over for that column.
    const RowLess less(column, order);
    if (column == 1 && m_rows.size() > 16)
        std::stable_sort(m_rows.begin(), m_rows.end(), less);
    else
        std::sort(m_rows.begin(), m_rows.end(), less);
    emit layoutChanged(QList<QPersistentModelIndex>(), QAbstractItemModel::NoLayoutChangeHint);
}

void CameraListModel::updateList()
{
    bool changed = false;
    // An empty serial number means the library could not tell it at opening.
    if (m_openCamera && m_openCamera->isOpen() && m_openSerial.isEmpty())
        m_openSerial = m_openCamera->serialNumber();
    try {
        int32_t count = 0;
        if (tv_GetNumberOfCameras(&count) != TV_SUCCESS)
            throw std::runtime_error("Can't get number of cameras.");

        if (count < 1) {
            if (!m_rows.isEmpty()) {
                beginRemoveRows(QModelIndex(), 0, m_rows.size() - 1);
                m_rows.clear();
                endRemoveRows();
                changed = true;
            }
        } else {
            std::unique_ptr<char[]> buffer(new char[cameraListSize(uint32_t(count))]());
            auto *list = reinterpret_cast<CameraList *>(buffer.get());
            list->count = uint32_t(count);
            if (tv_GetCameraList(list) != TV_SUCCESS)
                throw std::runtime_error("Can't get camera list.");

            QList<CameraRow> found;
            const uint32_t filled = std::min(list->count, uint32_t(count));
            for (uint32_t i = 0; i < filled; ++i)
                found.append(CameraRow(list->entries[i]));

            // deviceId alone tells whether a camera is the same camera; any
            // other difference is an update of that camera.
            int i = 0;
            while (i < m_rows.size()) {
                int j = 0;
                while (j < found.size() && found.at(j).deviceId != m_rows.at(i).deviceId)
                    ++j;
                if (j == found.size()) {
                    beginRemoveRows(QModelIndex(), i, i);
                    m_rows.removeAt(i);
                    endRemoveRows();
                    changed = true;
                    continue;
                }
                if (m_openSerial == found.at(j).serial)
                    found[j].open = true;
                if (m_rows.at(i) != found.at(j)) {
                    m_rows[i] = found.at(j);
                    emit dataChanged(index(i, 0), index(i, 4), QVector<int>());
                    changed = true;
                }
                found.removeAt(j);
                ++i;
            }

            // New cameras go to the end, whatever the sort of the moment.
            if (!found.isEmpty()) {
                const int n = m_rows.size();
                beginInsertRows(QModelIndex(), n, n + found.size() - 1);
                m_rows.append(found);
                endInsertRows();
                changed = true;
            }
        }
    } catch (const std::exception &) {
        // The rows stay as they are and the next poll tries again.
    }
    if (changed)
        emit somethingChanged();
    emit rowToSelect(0);
}
