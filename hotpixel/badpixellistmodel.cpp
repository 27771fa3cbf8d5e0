#include "hotpixel/badpixellistmodel.h"

#include "camera/camera.h"
#include "camera/tavo_api.h"

#include <QFile>
#include <QPoint>
#include <QTextStream>
#include <QVector>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace {

constexpr int maxCameraListPairs = 1000;

// Fills words, given empty, with the library's soft list as a HotPixelList.
// No soft list at all is no failure: it reads as the one-word empty list.
int32_t readSoftList(cameraHandle handle, std::vector<quint16> &words)
{
    if (tv_HotPixel(handle, TV_HP_SOFT_LIST_EXISTS, nullptr, 0) != TV_SUCCESS) {
        words.push_back(0);
        return TV_SUCCESS;
    }
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

// The library takes paths as NUL-terminated UCS-4, one word a code point.
QVector<uint> libraryPath(const QString &filename)
{
    QVector<uint> path = filename.toUcs4();
    path.append(0);
    return path;
}

[[noreturn]] void throwStatus(const char *text, int32_t status)
{
    std::ostringstream message;
    message << text << status << std::endl;
    throw std::runtime_error(message.str());
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
    if (!cam)
        return;
    const cameraHandle handle = cam->handle();

    tv_HotPixel(handle, TV_HP_USER_LIST_CAPACITY, &userLimit, 4);
    tv_HotPixel(handle, TV_HP_FACTORY_LIST_COUNT, &factoryLimit, 4);

    // Each list is read with the count fetched before; the first word of the
    // buffer is not trusted. Both lists are announced from row 0.
    auto readList = [this, handle](uint32_t command, int count, quint8 pixelClass) {
        if (count < 1 || count > maxCameraListPairs)
            return;
        std::vector<quint16> words(2 * std::size_t(count) + 1);
        if (tv_HotPixel(handle, command, words.data(), uint32_t(4 * count + 2)) != TV_SUCCESS)
            return;
        beginInsertRows(QModelIndex(), 0, count - 1);
        for (int i = 0; i < count; ++i)
            m_entries.append(BadpixelEntry {words[1 + 2 * i], words[2 + 2 * i], pixelClass});
        endInsertRows();
    };

    readList(TV_HP_FACTORY_LIST_READ, factoryLimit, 0);
    int userCount = 0;
    tv_HotPixel(handle, TV_HP_USER_LIST_COUNT, &userCount, 4);
    readList(TV_HP_USER_LIST_READ, userCount, 1);
}

void BadpixelListModel::writeBadpixelList(Camera *cam)
{
    // All rows count against the user list's capacity, and a list that would
    // fill it exactly is refused as well.
    if (m_entries.size() - factoryLimit >= userLimit) {
        throw std::runtime_error(QStringLiteral("Can't write more than %1 hot pixel entries.")
                                         .arg(userLimit)
                                         .toStdString());
    }

    std::vector<quint16> words(1, 0);
    for (const BadpixelEntry &entry : qAsConst(m_entries)) {
        if (entry.pixelClass == 1) {
            words.push_back(entry.x);
            words.push_back(entry.y);
        }
    }
    const std::size_t pairs = (words.size() - 1) / 2;

    int32_t status;
    if (pairs == 0) {
        status = tv_HotPixel(cam->handle(), TV_HP_USER_LIST_ERASE, nullptr, 0);
    } else {
        words[0] = quint16(pairs);
        status = tv_HotPixel(cam->handle(), TV_HP_USER_LIST_WRITE, words.data(),
                             uint32_t(words.size() * sizeof(quint16)));
    }
    if (status != TV_SUCCESS)
        throw std::runtime_error("Error writing hotpixel list");
}

void BadpixelListModel::saveAsFile(Camera *cam, QString filename)
{
    // The library writes files only from its soft list: keep what the soft
    // list holds, pass the user pixels through it, then put it back.
    const cameraHandle handle = cam->handle();
    std::vector<quint16> saved;
    int32_t status = readSoftList(handle, saved);
    if (status == TV_SUCCESS) {
        std::vector<quint16> words(1, 0);
        for (const BadpixelEntry &entry : qAsConst(m_entries)) {
            if (entry.pixelClass == 1) {
                words.push_back(entry.x);
                words.push_back(entry.y);
            }
        }
        words[0] = quint16(((words.size() - 1) / 2) & 0x7FFF);
        status = writeSoftList(handle, words);
        if (status == TV_SUCCESS) {
            QVector<uint> path = libraryPath(filename);
            // The library reports nothing useful about the file here; the
            // restore below decides the result.
            tv_HotPixel(handle, TV_HP_SOFT_LIST_SAVE, path.data(), 0);
            status = writeSoftList(handle, saved);
        }
    }
    if (status != TV_SUCCESS)
        throwStatus("write to file failed with ", status);
}

void BadpixelListModel::loadFromFile(Camera *cam, QString filename)
{
    clearUserBadpixelList();

    const cameraHandle handle = cam->handle();
    std::vector<quint16> saved;
    int32_t status = readSoftList(handle, saved);
    if (status == TV_SUCCESS) {
        QVector<uint> path = libraryPath(filename);
        status = tv_HotPixel(handle, TV_HP_SOFT_LIST_LOAD, path.data(), 0);
    }
    std::vector<quint16> loaded;
    if (status == TV_SUCCESS)
        status = readSoftList(handle, loaded);
    if (status == TV_SUCCESS) {
        const std::size_t pairs = (loaded.size() - 1) / 2;
        for (std::size_t i = 0; i < pairs; ++i)
            m_entries.append(BadpixelEntry {loaded[1 + 2 * i], loaded[2 + 2 * i], 1});
        status = writeSoftList(handle, saved);
        emit layoutChanged();
    }
    if (status != TV_SUCCESS)
        throwStatus("load from file failed with ", status);
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
    clearUserBadpixelList();

    QFile file(filename);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        throw std::runtime_error(tr("Can't open file for reading.").toStdString());

    // Every line makes a row, whatever it holds: numbers in any base that
    // QTextStream reads, missing numbers as 0, and the class as written.
    QTextStream in(&file);
    while (!in.atEnd()) {
        QString line = in.readLine();
        QTextStream fields(&line, QIODevice::ReadWrite);
        uint x = 0xFFFFFFFF;
        uint y = 0xFFFFFFFF;
        uint pixelClass = 0xFFFFFFFF;
        fields >> x >> y >> pixelClass;
        m_entries.append(BadpixelEntry {quint16(x), quint16(y), quint8(pixelClass)});
    }
    emit layoutChanged();
}
