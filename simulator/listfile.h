// The files of the simulated library: the soft list file of
// TV_HP_SOFT_LIST_SAVE/LOAD and the per-serial state file that stands for the
// camera's non-volatile memory. Both are written to a temporary file and
// renamed, so a crash never leaves a torn file. Any thread; no shared state.
#pragma once

#include "camera/tavo_api.h"

#include <string>
#include <vector>

namespace TavoSim {

using PixelList = std::vector<HotPixelPair>;

// The largest soft list, and so the largest soft list file.
constexpr uint32_t kSoftListLimit = 32767;
// The largest user list that the state file holds.
constexpr uint32_t kUserListLimit = 65535;

// Writes data to path through a temporary file (QSaveFile) and a rename;
// false on failure, and path is then as it was.
bool writeFileAtomically(const std::string &path, const std::vector<unsigned char> &data);

// Removes the temporary files that writes of path left behind when their
// process died: PATH.XXXXXX (six letters or digits, as QSaveFile names its
// temporary file) and PATH.tmp.PID (as earlier versions named theirs). Only
// for a file that no other process writes meanwhile (one whose writers hold a
// lock, as the holder of a camera does for its state file).
void removeStaleTemporaries(const std::string &path);

class ListFile
{
public:
    // Soft list file: "TVHP", u16 version 1, u16 0, u32 count, count pairs of
    // u16 x, u16 y, u32 CRC-32 of everything before it; little-endian.
    static int32_t saveSoftList(const std::string &path, const PixelList &list);
    // Validates everything; list is changed only on success.
    static int32_t loadSoftList(const std::string &path, uint32_t width, uint32_t height,
                                PixelList *list);

    // State file: "TVST", u16 version 1, u16 flags (bit 0: firmware is
    // current), u32 count, count pairs, u32 CRC-32.
    struct State
    {
        PixelList userList;
        bool firmwareCurrent = false;
    };
    // A missing file is an empty state; a corrupt one is reported on standard
    // error and read as an empty state.
    static State loadState(const std::string &path);
    static bool saveState(const std::string &path, const State &state);

    // The state file's bytes: parseState checks them as loadState does and
    // gives the status of the first fault (state is changed only on success).
    static int32_t parseState(const std::vector<unsigned char> &data, State *state);
    static std::vector<unsigned char> encodeState(const State &state);
};

} // namespace TavoSim
