#include "simulator/controlfile.h"

#include "simulator/listfile.h"

#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace TavoSim {

ControlFile::ControlFile(const std::string &runtimeDir)
    : m_path(runtimeDir + "/control")
    , m_lockPath(runtimeDir + "/control.lock")
{ }

ControlState ControlFile::read() const
{
    ControlState state;
    std::ifstream in(m_path);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string key;
        words >> key;
        if (key == "reset") {
            words >> state.resetGeneration;
        } else if (key == "sequence") {
            words >> state.lastSequence;
        } else if (key == "plugged" || key == "covered") {
            std::string serial;
            int on = 0;
            if (words >> serial >> on)
                (key == "plugged" ? state.plugged : state.covered)[serial] = on != 0;
        } else if (key == "fault") {
            SharedFault fault;
            if (words >> fault.sequence >> fault.function >> fault.status >> fault.count)
                state.faults.push_back(fault);
        }
    }
    return state;
}

bool ControlFile::update(const std::function<void(ControlState &)> &change) const
{
    const int lockFd = ::open(m_lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lockFd < 0)
        return false;
    // flock, not QLockFile: the kernel drops it with its process, where
    // QLockFile judges a holder by a process name that a host program may
    // change. Only a signal may interrupt the wait, and not for ever.
    int locked = -1;
    for (int tries = 0; tries < 100 && locked != 0; ++tries) {
        locked = ::flock(lockFd, LOCK_EX);
        if (locked != 0 && errno != EINTR)
            break;
    }
    if (locked != 0) {
        ::close(lockFd);
        return false;
    }
    removeStaleTemporaries(m_path); // every writer holds the lock
    ControlState state = read();
    change(state);
    std::ostringstream out;
    out << "tavo-sim control 1\n";
    out << "reset " << state.resetGeneration << "\n";
    out << "sequence " << state.lastSequence << "\n";
    for (const auto &entry : state.plugged)
        out << "plugged " << entry.first << " " << (entry.second ? 1 : 0) << "\n";
    for (const auto &entry : state.covered)
        out << "covered " << entry.first << " " << (entry.second ? 1 : 0) << "\n";
    for (const SharedFault &fault : state.faults)
        out << "fault " << fault.sequence << " " << fault.function << " " << fault.status << " "
            << fault.count << "\n";
    const std::string text = out.str();
    const bool ok
            = writeFileAtomically(m_path, std::vector<unsigned char>(text.begin(), text.end()));
    ::flock(lockFd, LOCK_UN);
    ::close(lockFd);
    return ok;
}

std::string ControlFile::stamp() const
{
    struct stat info;
    if (::stat(m_path.c_str(), &info) != 0)
        return std::string();
    return std::to_string(info.st_ino) + ":" + std::to_string(info.st_mtim.tv_sec) + "."
            + std::to_string(info.st_mtim.tv_nsec) + ":" + std::to_string(info.st_size);
}

} // namespace TavoSim
