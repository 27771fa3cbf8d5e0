// The binary list file as the camera library loads it, once as the bytes are
// and once with a correct checksum in their last four bytes, so that changes
// behind the checksum reach the rest of the reader: any bytes are refused
// with a status and change nothing, or give a list that fits the sensor and
// saves back the same.
#include "simulator/listfile.h"

#include <QTemporaryDir>
#include <QtEndian>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <zlib.h>

namespace {

void check(const std::string &path, const std::string &again, const uint8_t *data, size_t size)
{
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (!file || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0)
        std::abort();

    constexpr uint32_t width = 1280, height = 1024;
    TavoSim::PixelList list {{7, 7}};
    if (TavoSim::ListFile::loadSoftList(path, width, height, &list) != TV_SUCCESS) {
        if (list.size() != 1 || list[0].x != 7) // a refusal changes nothing
            std::abort();
        return;
    }
    if (list.size() > TavoSim::kSoftListLimit)
        std::abort();
    for (const HotPixelPair &pair : list) {
        if (pair.x >= width || pair.y >= height)
            std::abort();
    }
    TavoSim::PixelList back;
    if (TavoSim::ListFile::saveSoftList(again, list) != TV_SUCCESS
        || TavoSim::ListFile::loadSoftList(again, width, height, &back) != TV_SUCCESS
        || back.size() != list.size())
        std::abort();
    for (size_t i = 0; i < list.size(); ++i) {
        if (back[i].x != list[i].x || back[i].y != list[i].y)
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryDir dir;
    static const std::string path = (dir.path() + QStringLiteral("/list.bin")).toStdString();
    static const std::string again = (dir.path() + QStringLiteral("/again.bin")).toStdString();
    if (!dir.isValid())
        std::abort();
    check(path, again, data, size);
    if (size >= 4) {
        std::vector<uint8_t> bytes(data, data + size);
        qToLittleEndian<quint32>(quint32(crc32_z(0, data, size - 4)), bytes.data() + size - 4);
        check(path, again, bytes.data(), size);
    }
    return 0;
}
