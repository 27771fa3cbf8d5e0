// The one table of hot pixels of the running program, behind the hot pixel
// list dock: its rows, their classes, and the exchange of the user pixels with
// the camera and with files. The model keeps no camera; every camera operation
// is handed one. GUI thread only.
#pragma once

#include <QAbstractTableModel>
#include <QList>
#include <QStringList>
#include <QtGlobal>

QT_BEGIN_NAMESPACE
class QPoint;
QT_END_NAMESPACE

class Camera;

// One hot pixel. pixelClass 0 comes from the camera's factory list, 1 is a user
// pixel, 2 to 255 only come from a text import. Only class 1 is removed,
// written, saved and exported.
struct BadpixelEntry
{
    quint16 x;
    quint16 y;
    quint8 pixelClass;
};
Q_DECLARE_TYPEINFO(BadpixelEntry, Q_PRIMITIVE_TYPE);

// Orders two entries by one column, ascending or descending, for sort().
// Any other column or order throws "Sort Error".
class BadpixelSort
{
public:
    BadpixelSort(int column, Qt::SortOrder order)
        : m_column(column)
        , m_order(order)
    { }

    bool operator()(const BadpixelEntry &a, const BadpixelEntry &b) const;

private:
    int m_column;
    Qt::SortOrder m_order;
};

class BadpixelListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit BadpixelListModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    bool insertRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;
    bool removeRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    // Adds a user pixel unless a factory or user row holds that position.
    bool addPixel(const QPoint &position);
    // Removes the row if it is a user pixel; the parent is not looked at.
    bool removePixelRow(int row, const QModelIndex &parent = QModelIndex());
    // The first row within the open square of half width tolerance around
    // (x, y); tolerance 1 is the exact position. Invalid without a hit.
    QModelIndex indexOfPixel(int x, int y, int tolerance) const;
    BadpixelEntry pixelAt(int row) const { return m_entries.at(row); }
    QList<BadpixelEntry> pixels() const { return m_entries; }

    // Capacity of the camera's user list and size of its factory list, as
    // last read from a camera; 0 before any read.
    int userLimit;
    int factoryLimit;

    // The most lines a text import takes, and the largest file. No list the
    // camera library carries holds more than 32767 pairs (its count has 15
    // bits), and a camera's own lists at most 1000 each; twice the largest,
    // rounded up, leaves room for a real sensor's rows of every class.
    static constexpr int maxImportLines = 65536;
    static constexpr qint64 maxImportBytes = 64 * qint64(maxImportLines); // 4 MiB

    // True when the last getBadpixelList could not read the camera's user
    // list, so that the rows don't show what the camera holds; a write would
    // replace it unseen. userListReadFailure() then says why.
    bool userListReadFailed() const { return !m_userListFailure.isEmpty(); }
    QString userListReadFailure() const { return m_userListFailure; }

signals:
    void pixelAdded(int count);
    // getBadpixelList could not read one of the camera's lists; the message
    // names the list and the reason.
    void listReadFailed(const QString &message);

public slots:
    void getBadpixelList(Camera *cam);
    // Keeps what the camera's user list held (UserListBackup) before it
    // replaces it with the user rows; without that copy nothing is written.
    // Returns the copy's path, empty when the camera held no list.
    QString writeBadpixelList(Camera *cam);
    void clearUserBadpixelList();
    void clearBadpixelList();
    void saveAsFile(Camera *cam, QString filename);
    // A load or import that fails leaves the user rows as they were.
    void loadFromFile(Camera *cam, QString filename);
    void exportAsFile(QString filename);
    void importFromFile(QString filename);
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

private:
    QList<BadpixelEntry> m_entries;
    QStringList m_headers;
    QString m_userListFailure;
};
