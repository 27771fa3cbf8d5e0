// The state that every process using the simulated library shares through the
// runtime folder: which cameras are unplugged or covered and which faults
// tavo-sim has set. Written atomically under a file lock; each process polls it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace TavoSim {

struct SharedFault
{
    uint64_t sequence = 0;
    std::string function;
    int32_t status = 0;
    int32_t count = 0;
};

struct ControlState
{
    uint64_t resetGeneration = 0;
    uint64_t lastSequence = 0;
    std::map<std::string, bool> plugged; // only cameras that were changed
    std::map<std::string, bool> covered;
    std::vector<SharedFault> faults;
};

class ControlFile
{
public:
    explicit ControlFile(const std::string &runtimeDir);

    std::string path() const { return m_path; }
    // A missing or unreadable file reads as the empty state.
    ControlState read() const;
    // Read, change and write back under an exclusive lock; false on failure.
    bool update(const std::function<void(ControlState &)> &change) const;
    // Changes whenever the file is replaced.
    std::string stamp() const;

private:
    std::string m_path;
    std::string m_lockPath;
};

} // namespace TavoSim
