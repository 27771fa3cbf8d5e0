#include "simulator/listfile.h"

#include "simulator/statustable.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace TavoSim {

namespace {

constexpr size_t kHeaderSize = 12;
constexpr size_t kTrailerSize = 4;

void put16(std::vector<unsigned char> &out, uint16_t value)
{
    out.push_back(value & 0xFF);
    out.push_back(value >> 8);
}

void put32(std::vector<unsigned char> &out, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out.push_back((value >> (8 * i)) & 0xFF);
}

uint16_t get16(const unsigned char *p)
{
    return uint16_t(p[0] | (p[1] << 8));
}

uint32_t get32(const unsigned char *p)
{
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

std::vector<unsigned char> encode(const char magic[4], uint16_t flags, const PixelList &list)
{
    std::vector<unsigned char> out(magic, magic + 4);
    put16(out, 1);
    put16(out, flags);
    put32(out, uint32_t(list.size()));
    for (const HotPixelPair &pair : list) {
        put16(out, pair.x);
        put16(out, pair.y);
    }
    put32(out, crc32(out.data(), out.size()));
    return out;
}

// Reads at most limit + 1 bytes, so that an oversized file shows as such.
bool readFile(const std::string &path, size_t limit, std::vector<unsigned char> *data)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    data->clear();
    unsigned char buffer[65536];
    bool ok = true;
    while (data->size() <= limit) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ok = false;
            break;
        }
        if (n == 0)
            break;
        data->insert(data->end(), buffer, buffer + n);
    }
    ::close(fd);
    return ok;
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
    if (get16(data.data() + 4) != 1)
        return FileVersion;
    const uint32_t count = get32(data.data() + 8);
    if (count > limit)
        return FileTooLarge;
    const size_t expected = kHeaderSize + 4 * size_t(count) + kTrailerSize;
    if (data.size() < expected)
        return FileTruncated;
    if (data.size() > expected)
        return FileChecksum; // bytes behind the checksum: not a file of ours as written
    if (crc32(data.data(), expected - kTrailerSize) != get32(data.data() + expected - 4))
        return FileChecksum;
    *flags = get16(data.data() + 6);
    list->clear();
    list->reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        const unsigned char *p = data.data() + kHeaderSize + 4 * size_t(i);
        list->push_back(HotPixelPair {get16(p), get16(p + 2)});
    }
    return Success;
}

} // namespace

uint32_t crc32(const unsigned char *data, size_t size, uint32_t crc)
{
    static const auto table = [] {
        std::vector<uint32_t> t(256);
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    crc = ~crc;
    for (size_t i = 0; i < size; ++i)
        crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

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
    const std::string temporary = path + ".tmp." + std::to_string(::getpid());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    size_t written = 0;
    while (written < data.size()) {
        const ssize_t n = ::write(fd, data.data() + written, data.size() - written);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        written += size_t(n);
    }
    const bool ok = written == data.size() && ::fsync(fd) == 0;
    if (::close(fd) != 0 || !ok || ::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
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
