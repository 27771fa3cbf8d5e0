#include "simulator/listfile.h"

#include "simulator/statustable.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QtEndian>

#include <cstdio>
#include <cstring>
#include <zlib.h>

namespace TavoSim {

namespace {

constexpr size_t kHeaderSize = 12;
constexpr size_t kTrailerSize = 4;

uint32_t checksum(const unsigned char *data, size_t size)
{
    return uint32_t(crc32_z(0, data, size));
}

std::vector<unsigned char> encode(const char magic[4], uint16_t flags, const PixelList &list)
{
    std::vector<unsigned char> out(kHeaderSize + 4 * list.size() + kTrailerSize);
    unsigned char *p = out.data();
    std::memcpy(p, magic, 4);
    qToLittleEndian<quint16>(1, p + 4);
    qToLittleEndian<quint16>(flags, p + 6);
    qToLittleEndian<quint32>(quint32(list.size()), p + 8);
    p += kHeaderSize;
    for (const HotPixelPair &pair : list) {
        qToLittleEndian<quint16>(pair.x, p);
        qToLittleEndian<quint16>(pair.y, p + 2);
        p += 4;
    }
    qToLittleEndian<quint32>(checksum(out.data(), out.size() - kTrailerSize), p);
    return out;
}

// Reads at most limit + 1 bytes, so that an oversized file shows as such.
bool readFile(const std::string &path, size_t limit, std::vector<unsigned char> *data)
{
    QFile file(QFile::decodeName(path.c_str()));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.read(qint64(limit) + 1);
    if (file.error() != QFileDevice::NoError)
        return false;
    data->assign(bytes.begin(), bytes.end());
    return true;
}

// Checks the layout of a list file; the status of the first fault found.
int32_t decode(const std::vector<unsigned char> &data, const char magic[4], uint32_t limit,
               uint16_t *flags, PixelList *list)
{
    if (data.empty())
        return FileTruncated;
    if (data.size() < 4 || std::memcmp(data.data(), magic, 4) != 0)
        return data.size() < 4 && std::memcmp(data.data(), magic, data.size()) == 0 ? FileTruncated
                                                                                    : FileNotList;
    if (data.size() < kHeaderSize + kTrailerSize)
        return FileTruncated;
    if (qFromLittleEndian<quint16>(data.data() + 4) != 1)
        return FileVersion;
    const uint32_t count = qFromLittleEndian<quint32>(data.data() + 8);
    if (count > limit)
        return FileTooLarge;
    const size_t expected = kHeaderSize + 4 * size_t(count) + kTrailerSize;
    if (data.size() < expected)
        return FileTruncated;
    if (data.size() > expected)
        return FileChecksum; // bytes behind the checksum: not a file of ours as written
    if (checksum(data.data(), expected - kTrailerSize)
        != qFromLittleEndian<quint32>(data.data() + expected - kTrailerSize))
        return FileChecksum;
    *flags = qFromLittleEndian<quint16>(data.data() + 6);
    list->clear();
    list->reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        const unsigned char *p = data.data() + kHeaderSize + 4 * size_t(i);
        list->push_back(
                HotPixelPair {qFromLittleEndian<quint16>(p), qFromLittleEndian<quint16>(p + 2)});
    }
    return Success;
}

} // namespace

void removeStaleTemporaries(const std::string &path)
{
    const QFileInfo target(QFile::decodeName(path.c_str()));
    const QRegularExpression temporary(QLatin1String("\\A")
                                       + QRegularExpression::escape(target.fileName())
                                       + QLatin1String("\\.(tmp\\.[0-9]+|[A-Za-z0-9]{6})\\z"));
    QDir folder = target.dir();
    const QStringList candidates
            = folder.entryList({target.fileName() + QLatin1String(".*")},
                               QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks);
    for (const QString &name : candidates) {
        if (temporary.match(name).hasMatch())
            folder.remove(name);
    }
}

bool writeFileAtomically(const std::string &path, const std::vector<unsigned char> &data)
{
    QSaveFile file(QFile::decodeName(path.c_str()));
    return file.open(QIODevice::WriteOnly)
            && file.write(reinterpret_cast<const char *>(data.data()), qint64(data.size()))
            == qint64(data.size())
            && file.commit();
}

int32_t ListFile::saveSoftList(const std::string &path, const PixelList &list)
{
    if (path.empty())
        return FileWrite;
    return writeFileAtomically(path, encode("TVHP", 0, list)) ? Success : FileWrite;
}

int32_t ListFile::loadSoftList(const std::string &path, uint32_t width, uint32_t height,
                               PixelList *list)
{
    std::vector<unsigned char> data;
    if (path.empty()
        || !readFile(path, kHeaderSize + 4 * size_t(kSoftListLimit) + kTrailerSize, &data))
        return FileOpen;
    uint16_t flags = 0;
    PixelList loaded;
    const int32_t status = decode(data, "TVHP", kSoftListLimit, &flags, &loaded);
    if (status != Success)
        return status;
    for (const HotPixelPair &pair : loaded) {
        if (pair.x >= width || pair.y >= height)
            return PixelOutside;
    }
    *list = std::move(loaded);
    return Success;
}

int32_t ListFile::parseState(const std::vector<unsigned char> &data, State *state)
{
    uint16_t flags = 0;
    PixelList list;
    const int32_t status = decode(data, "TVST", kUserListLimit, &flags, &list);
    if (status != Success)
        return status;
    state->userList = std::move(list);
    state->firmwareCurrent = flags & 1;
    return Success;
}

std::vector<unsigned char> ListFile::encodeState(const State &state)
{
    return encode("TVST", state.firmwareCurrent ? 1 : 0, state.userList);
}

ListFile::State ListFile::loadState(const std::string &path)
{
    State state;
    std::vector<unsigned char> data;
    if (!readFile(path, kHeaderSize + 4 * size_t(kUserListLimit) + kTrailerSize, &data))
        return state; // no state yet: an empty user list, firmware as delivered
    const int32_t status = parseState(data, &state);
    if (status != Success) {
        std::fprintf(stderr,
                     "tavo_api: the camera state file %s is unreadable (%s); "
                     "the camera starts with an empty user list\n",
                     path.c_str(), statusText(status));
        return State();
    }
    return state;
}

bool ListFile::saveState(const std::string &path, const State &state)
{
    removeStaleTemporaries(path);
    return writeFileAtomically(path, encodeState(state));
}

} // namespace TavoSim
