#include "hotpixel/badpixellistmodel.h"

#include "camera/camera.h"
#include "camera/statustext.h"
#include "camera/tavo_api.h"
#include "hotpixel/userlistbackup.h"

#include <QFile>
#include <QPoint>
#include <QTextStream>
#include <QVector>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace {

constexpr int maxCameraListPairs = 1000;

// Fills words, given empty, with the library's soft list as a HotPixelList.
// No soft list at all is no failure: it reads as the one-word empty list. A
// failure of the query itself is one, so that nothing is put back in place of
// a list that exists.
int32_t readSoftList(cameraHandle handle, std::vector<quint16> &words)
{
    const int32_t exists = tv_HotPixel(handle, TV_HP_SOFT_LIST_EXISTS, nullptr, 0);
    if (exists == TV_STATUS_NO_SOFT_LIST) {
        words.push_back(0);
        return TV_SUCCESS;
    }
    if (exists != TV_SUCCESS)
        return exists;
    uint32_t count = 0;
    const int32_t status = tv_HotPixel(handle, TV_HP_SOFT_LIST_COUNT, &count, 4);
    if (status != TV_SUCCESS)
        return status;
    words.resize(2 * std::size_t(count) + 1, 0);
    return tv_HotPixel(handle, TV_HP_SOFT_LIST_READ, words.data(),
                       uint32_t(words.size() * sizeof(quint16)));
}

int32_t writeSoftList(cameraHandle handle, std::vector<quint16> &words)
{
    return tv_HotPixel(handle, TV_HP_SOFT_LIST_WRITE, words.data(),
                       uint32_t(words.size() * sizeof(quint16)));
}

// Puts the soft list that was borrowed back, with a second try.
int32_t restoreSoftList(cameraHandle handle, std::vector<quint16> &saved)
{
    const int32_t status = writeSoftList(handle, saved);
    return status == TV_SUCCESS ? status : writeSoftList(handle, saved);
}

// Reads one of the camera's lists with the count fetched before: fills pairs
// and returns 0, or returns the status. The first word of the buffer is not
// trusted.
int32_t readCameraList(cameraHandle handle, uint32_t command, int count,
                       std::vector<quint16> &words)
{
    words.assign(2 * std::size_t(count) + 1, 0);
    return tv_HotPixel(handle, command, words.data(), uint32_t(4 * count + 2));
}

// The user pixels as a HotPixelList whose first word, the count, is left 0.
std::vector<quint16> userPairs(const QList<BadpixelEntry> &entries)
{
    std::vector<quint16> words(1, 0);
    for (const BadpixelEntry &entry : entries) {
        if (entry.pixelClass == 1) {
            words.push_back(entry.x);
            words.push_back(entry.y);
        }
    }
    return words;
}

// The library takes paths as NUL-terminated UCS-4, one word a code point.
QVector<uint> libraryPath(const QString &filename)
{
    QVector<uint> path = filename.toUcs4();
    path.append(0);
    return path;
}

[[noreturn]] void fail(const QString &text)
{
    throw std::runtime_error(text.toStdString());
}

} // namespace

bool BadpixelSort::operator()(const BadpixelEntry &a, const BadpixelEntry &b) const
{
    if (m_order == Qt::AscendingOrder) {
        switch (m_column) {
        case 0:
            return a.x < b.x;
        case 1:
            return a.y < b.y;
        case 2:
            return a.pixelClass < b.pixelClass;
        }
    } else if (m_order == Qt::DescendingOrder) {
        switch (m_column) {
        case 0:
            return a.x > b.x;
        case 1:
            return a.y > b.y;
        case 2:
            return a.pixelClass > b.pixelClass;
        }
    }
    throw std::runtime_error("Sort Error");
}

BadpixelListModel::BadpixelListModel(QObject *parent)
    : QAbstractTableModel(parent)
    , userLimit(0)
    , factoryLimit(0)
{
    m_headers << tr("x") << tr("y") << tr("class");
}

int BadpixelListModel::rowCount(const QModelIndex &) const
{
    return m_entries.size();
}

int BadpixelListModel::columnCount(const QModelIndex &) const
{
    return m_headers.size();
}

QVariant BadpixelListModel::data(const QModelIndex &index, int role) const
{
    if (index.row() < 0 || index.column() < 0 || !index.model() || index.row() >= rowCount()
        || index.column() >= columnCount())
        return QVariant();
    if (role != Qt::DisplayRole && role != Qt::EditRole)
        return QVariant();

    const BadpixelEntry &entry = m_entries.at(index.row());
    switch (index.column()) {
    case 0:
        return int(entry.x);
    case 1:
        return int(entry.y);
    default:
        // Factory pixels from the camera read "ignore"; classes from 2 up,
        // which only a text import brings, read "factory".
        if (entry.pixelClass == 0)
            return tr("ignore");
        if (entry.pixelClass == 1)
            return tr("user");
        return tr("factory");
    }
}

bool BadpixelListModel::setData(const QModelIndex &index, const QVariant &value, int)
{
    switch (index.column()) {
    case 0:
    case 1: {
        bool ok = false;
        const int number = value.toInt(&ok);
        if (!ok)
            return false;
        BadpixelEntry &entry = m_entries[index.row()];
        (index.column() == 0 ? entry.x : entry.y) = quint16(number);
        break;
    }
    case 2: {
        const QString word = value.toString();
        if (word == QLatin1String("factory"))
            m_entries[index.row()].pixelClass = 0;
        else if (word == QLatin1String("user"))
            m_entries[index.row()].pixelClass = 1;
        else
            return false;
        break;
    }
    default:
        return false;
    }
    emit dataChanged(index, index, {});
    return true;
}

QVariant BadpixelListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Horizontal)
        return m_headers.value(section);
    return section;
}

bool BadpixelListModel::insertRows(int row, int count, const QModelIndex &parent)
{
    beginInsertRows(parent, row, row + count - 1);
    for (int position = row; position < row + count; ++position)
        m_entries.insert(position, BadpixelEntry {0, 0, 1});
    endInsertRows();
    return true;
}

bool BadpixelListModel::removeRows(int row, int count, const QModelIndex &parent)
{
    beginRemoveRows(parent, row, row + count - 1);
    for (int i = 0; i < count; ++i) {
        if (row >= 0 && row < m_entries.size())
            m_entries.removeAt(row);
    }
    endRemoveRows();
    return true;
}

Qt::ItemFlags BadpixelListModel::flags(const QModelIndex &) const
{
    // Never editable: the list changes through the main window's commands.
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled;
}

bool BadpixelListModel::addPixel(const QPoint &position)
{
    const quint16 x = quint16(position.x());
    const quint16 y = quint16(position.y());
    for (const BadpixelEntry &entry : qAsConst(m_entries)) {
        if (entry.x == x && entry.y == y && entry.pixelClass < 2)
            return false;
    }
    const int row = m_entries.size();
    beginInsertRows(QModelIndex(), row, row);
    m_entries.insert(row, BadpixelEntry {x, y, 1});
    endInsertRows();
    emit pixelAdded(1);
    return true;
}

bool BadpixelListModel::removePixelRow(int row, const QModelIndex &)
{
    if (m_entries.isEmpty() || m_entries.at(row).pixelClass != 1)
        return false;
    return removeRows(row, 1, QModelIndex());
}

QModelIndex BadpixelListModel::indexOfPixel(int x, int y, int tolerance) const
{
    for (int row = 0; row < m_entries.size(); ++row) {
        const int px = m_entries.at(row).x;
        const int py = m_entries.at(row).y;
        if (x - tolerance < px && px < x + tolerance && y - tolerance < py && py < y + tolerance)
            return index(row, 0);
    }
    return QModelIndex();
}

void BadpixelListModel::clearUserBadpixelList()
{
    int row = 0;
    while (row < m_entries.size()) {
        if (m_entries.at(row).pixelClass == 1)
            removePixelRow(row, QModelIndex());
        else
            ++row;
    }
}

void BadpixelListModel::clearBadpixelList()
{
    if (m_entries.isEmpty())
        return;
    beginRemoveRows(QModelIndex(), 0, m_entries.size() - 1);
    m_entries.clear();
    endRemoveRows();
}

void BadpixelListModel::sort(int column, Qt::SortOrder order)
{
    if (m_entries.isEmpty())
        return;
    std::sort(m_entries.begin(), m_entries.end(), BadpixelSort(column, order));
    emit layoutChanged();
}

void BadpixelListModel::getBadpixelList(Camera *cam)
{
    clearBadpixelList();
    m_userListFailure.clear();
    if (!cam)
        return;
    const cameraHandle handle = cam->handle();

    tv_HotPixel(handle, TV_HP_USER_LIST_CAPACITY, &userLimit, 4);
    tv_HotPixel(handle, TV_HP_FACTORY_LIST_COUNT, &factoryLimit, 4);

    // Each list is read with the count fetched before; both lists are
    // announced from row 0. Returns the status of the read.
    auto readList = [this, handle](uint32_t command, int count, quint8 pixelClass) {
        if (count < 1 || count > maxCameraListPairs)
            return TV_SUCCESS;
        std::vector<quint16> words;
        const int32_t status = readCameraList(handle, command, count, words);
        if (status != TV_SUCCESS)
            return status;
        beginInsertRows(QModelIndex(), 0, count - 1);
        for (int i = 0; i < count; ++i)
            m_entries.append(BadpixelEntry {words[1 + 2 * i], words[2 + 2 * i], pixelClass});
        endInsertRows();
        return TV_SUCCESS;
    };

    const int32_t factoryStatus = readList(TV_HP_FACTORY_LIST_READ, factoryLimit, 0);
    if (factoryStatus != TV_SUCCESS) {
        emit listReadFailed(tr("The camera's factory list could not be read: %1")
                                    .arg(tavoStatusText(factoryStatus)));
    }

    // A camera without memory for a user list has none to read.
    uint32_t capabilities = 0;
    int32_t userStatus = tv_HotPixel(handle, TV_HP_CAPABILITIES, &capabilities, 4);
    if (userStatus == TV_SUCCESS && !(capabilities & TV_HP_CAP_CAMERA_MEMORY))
        return;
    int userCount = 0;
    if (userStatus == TV_SUCCESS)
        userStatus = tv_HotPixel(handle, TV_HP_USER_LIST_COUNT, &userCount, 4);
    if (userStatus == TV_SUCCESS)
        userStatus = readList(TV_HP_USER_LIST_READ, userCount, 1);
    if (userStatus != TV_SUCCESS) {
        m_userListFailure = tavoStatusText(userStatus);
    } else if (userCount > maxCameraListPairs || userCount < 0) {
        m_userListFailure = tr("the camera reports %1 pixels in it, more than %2")
                                    .arg(userCount)
                                    .arg(maxCameraListPairs);
    }
    if (!m_userListFailure.isEmpty()) {
        emit listReadFailed(tr("The camera's user list could not be read: %1. Writing the list "
                               "into the camera now would replace it unseen.")
                                    .arg(m_userListFailure));
    }
}

QString BadpixelListModel::writeBadpixelList(Camera *cam)
{
    // All rows count against the user list's capacity, and a list that would
    // fill it exactly is refused as well.
    if (m_entries.size() - factoryLimit >= userLimit) {
        throw std::runtime_error(QStringLiteral("Can't write more than %1 hot pixel entries.")
                                         .arg(userLimit)
                                         .toStdString());
    }

    // What the camera holds now is kept as a text list before it is replaced;
    // without that copy nothing is written.
    const cameraHandle handle = cam->handle();
    int held = 0;
    int32_t status = tv_HotPixel(handle, TV_HP_USER_LIST_COUNT, &held, 4);
    std::vector<quint16> words;
    if (status == TV_SUCCESS && held > 0)
        status = readCameraList(handle, TV_HP_USER_LIST_READ, held, words);
    if (status != TV_SUCCESS) {
        fail(tr("Can't read the camera's user list to keep a copy of it: %1. Nothing was written.")
                     .arg(tavoStatusText(status)));
    }
    QString copy;
    if (held > 0) {
        QVector<QPoint> previous;
        for (int i = 0; i < held; ++i)
            previous.append(QPoint(words[1 + 2 * i], words[2 + 2 * i]));
        try {
            copy = UserListBackup().keep(cam->serialNumber(), previous);
        } catch (const std::runtime_error &error) {
            fail(tr("Can't keep a copy of the camera's user list: %1. Nothing was written.")
                         .arg(QString::fromStdString(error.what())));
        }
    }

    words = userPairs(m_entries);
    const std::size_t pairs = (words.size() - 1) / 2;

    if (pairs == 0) {
        status = tv_HotPixel(handle, TV_HP_USER_LIST_ERASE, nullptr, 0);
    } else {
        words[0] = quint16(pairs);
        status = tv_HotPixel(handle, TV_HP_USER_LIST_WRITE, words.data(),
                             uint32_t(words.size() * sizeof(quint16)));
    }
    if (status != TV_SUCCESS)
        throwTavoStatus(status, QStringLiteral("Error writing hotpixel list"));
    // The camera now holds what the rows show.
    m_userListFailure.clear();
    return copy;
}

void BadpixelListModel::saveAsFile(Camera *cam, QString filename)
{
    // The library writes files only from its soft list: keep what the soft
    // list holds, pass the user pixels through it, then put it back.
    const QString what = QStringLiteral("write to file failed");
    const cameraHandle handle = cam->handle();
    std::vector<quint16> saved;
    int32_t status = readSoftList(handle, saved);
    if (status != TV_SUCCESS)
        throwTavoStatus(status, what);

    std::vector<quint16> words = userPairs(m_entries);
    words[0] = quint16(((words.size() - 1) / 2) & 0x7FFF);
    status = writeSoftList(handle, words);
    if (status != TV_SUCCESS)
        throwTavoStatus(status, what);

    QVector<uint> path = libraryPath(filename);
    const int32_t saveStatus = tv_HotPixel(handle, TV_HP_SOFT_LIST_SAVE, path.data(), 0);
    status = restoreSoftList(handle, saved);
    if (saveStatus != TV_SUCCESS)
        throwTavoStatus(saveStatus, what);
    if (status != TV_SUCCESS) {
        throwTavoStatus(status,
                        tr("The file was written, but the camera's soft list could not be put "
                           "back; software correction uses the saved list until the camera is "
                           "opened again"));
    }
}

void BadpixelListModel::loadFromFile(Camera *cam, QString filename)
{
    // The user rows are replaced only once the file's list is in hand.
    const QString what = QStringLiteral("load from file failed");
    const cameraHandle handle = cam->handle();
    std::vector<quint16> saved;
    int32_t status = readSoftList(handle, saved);
    if (status != TV_SUCCESS)
        throwTavoStatus(status, what);
    QVector<uint> path = libraryPath(filename);
    status = tv_HotPixel(handle, TV_HP_SOFT_LIST_LOAD, path.data(), 0);
    if (status != TV_SUCCESS)
        throwTavoStatus(status, what);

    std::vector<quint16> loaded;
    status = readSoftList(handle, loaded);
    const int32_t restoreStatus = restoreSoftList(handle, saved);
    if (status != TV_SUCCESS)
        throwTavoStatus(status, what);

    clearUserBadpixelList();
    const std::size_t pairs = (loaded.size() - 1) / 2;
    for (std::size_t i = 0; i < pairs; ++i)
        m_entries.append(BadpixelEntry {loaded[1 + 2 * i], loaded[2 + 2 * i], 1});
    emit layoutChanged();
    if (restoreStatus != TV_SUCCESS) {
        throwTavoStatus(restoreStatus,
                        tr("The list was loaded, but the camera's soft list could not be put "
                           "back; software correction uses the loaded list until the camera is "
                           "opened again"));
    }
}

void BadpixelListModel::exportAsFile(QString filename)
{
    QFile file(filename);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        throw std::runtime_error(tr("Can't open file for writing.").toStdString());

    QTextStream out(&file);
    const QList<BadpixelEntry> entries = m_entries;
    for (const BadpixelEntry &entry : entries) {
        if (entry.pixelClass == 1)
            out << entry.x << " " << entry.y << " " << 1 << "\n";
    }
}

void BadpixelListModel::importFromFile(QString filename)
{
    QFile file(filename);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        throw std::runtime_error(tr("Can't open file for reading.").toStdString());
    // The limits are checked before the list is touched.
    if (file.size() > maxImportBytes) {
        fail(tr("The file is larger than %1 MiB, which no hot pixel list is. Nothing was "
                "imported.")
                     .arg(maxImportBytes / (1024 * 1024)));
    }

    // Every line makes a row, whatever it holds: numbers in any base that
    // QTextStream reads, missing numbers as 0, and the class as written.
    QVector<BadpixelEntry> imported;
    QTextStream in(&file);
    while (!in.atEnd()) {
        if (imported.size() == maxImportLines) {
            fail(tr("The file has more than %1 lines, more than any hot pixel list holds. "
                    "Nothing was imported.")
                         .arg(maxImportLines));
        }
        QString line = in.readLine();
        QTextStream fields(&line, QIODevice::ReadWrite);
        uint x = 0xFFFFFFFF;
        uint y = 0xFFFFFFFF;
        uint pixelClass = 0xFFFFFFFF;
        fields >> x >> y >> pixelClass;
        imported.append(BadpixelEntry {quint16(x), quint16(y), quint8(pixelClass)});
    }

    clearUserBadpixelList();
    for (const BadpixelEntry &entry : qAsConst(imported))
        m_entries.append(entry);
    emit layoutChanged();
}
