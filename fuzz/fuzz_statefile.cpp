// Feeds arbitrary bytes to the reader of the simulated camera's state file,
// once as they are and once with a correct checksum in their last four bytes,
// so that changes behind the checksum reach the rest of the reader. A file
// that reads must write back to the same bytes (flags other than the firmware
// bit aside) and hold no more pixels than a user list can.
#include "simulator/listfile.h"

#include <QtEndian>

#include <cstdlib>
#include <zlib.h>

namespace {

void check(const std::vector<unsigned char> &bytes)
{
    TavoSim::ListFile::State state;
    if (TavoSim::ListFile::parseState(bytes, &state) != 0)
        return;
    if (state.userList.size() > TavoSim::kUserListLimit)
        std::abort();
    const bool plainFlags = bytes[6] <= 1 && bytes[7] == 0;
    if (plainFlags && TavoSim::ListFile::encodeState(state) != bytes)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::vector<unsigned char> bytes(data, data + size);
    check(bytes);
    if (size >= 4) {
        const uint32_t crc = uint32_t(crc32_z(0, data, size - 4));
        qToLittleEndian<quint32>(crc, bytes.data() + size - 4);
        check(bytes);
    }
    return 0;
}
