#include "simulator/library.h"

#include "simulator/camerasession.h"
#include "simulator/listfile.h"
#include "simulator/statustable.h"

#include <QDir>
#include <QFile>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

namespace TavoSim {

namespace {

const char *const kOperations[] = {"tv_GetNumberOfCameras",
                                   "tv_GetCameraList",
                                   "tv_InitCamera",
                                   "tv_GetDuration",
                                   "tv_ExitCamera",
                                   "tv_GetSensorInfo",
                                   "tv_GetCameraInfo",
                                   "tv_LoadParameters",
                                   "tv_SetColorMode",
                                   "tv_AOI",
                                   "tv_AllocImageMem",
                                   "tv_FreeImageMem",
                                   "tv_AddToSequence",
                                   "tv_ClearSequence",
                                   "tv_GetActSeqBuf",
                                   "tv_LockSeqBuf",
                                   "tv_UnlockSeqBuf",
                                   "tv_CaptureVideo",
                                   "tv_FreezeVideo",
                                   "tv_StopLiveVideo",
                                   "tv_GetPixelClockRange",
                                   "tv_SetPixelClock",
                                   "tv_GetFrameTimeRange",
                                   "tv_GetFramesPerSecond",
                                   "tv_SetFrameRate",
                                   "tv_GetExposureRange",
                                   "tv_SetExposureTime",
                                   "tv_SetHardwareGain",
                                   "tv_Event",
                                   "tv_GetError",
                                   "tv_HotPixel"};

std::string environment(const char *name)
{
    const char *value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

std::string folder(const char *variable, const char *xdgVariable, const std::string &fallback)
{
    std::string path = environment(variable);
    if (path.empty()) {
        const std::string xdg = environment(xdgVariable);
        path = xdg.empty() ? fallback : xdg + "/tavo-sim";
    }
    QDir().mkpath(QFile::decodeName(path.c_str()));
    return path;
}

struct flock wholeFile(short type)
{
    struct flock lock;
    std::memset(&lock, 0, sizeof lock);
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

} // namespace

bool isOperationName(const std::string &name)
{
    for (const char *operation : kOperations) {
        if (name == operation)
            return true;
    }
    return false;
}

Library &Library::instance()
{
    static Library *library = new Library; // never destroyed: see the class comment
    return *library;
}

Library::Library()
{
    m_events.addContext(0);
    std::lock_guard<std::mutex> lock(m_mutex);
    configure();
    startWatcher();
}

void Library::configure()
{
    m_fleet = Fleet();
    m_configValid = true;
    const std::string config = environment("TAVO_SIM_CONFIG");
    if (config.empty()) {
        m_fleet = Fleet::builtIn();
    } else {
        std::string error;
        if (!Fleet::load(config, &m_fleet, &error)) {
            std::fprintf(stderr,
                         "tavo_api: can't read the camera configuration %s: %s; "
                         "no camera is listed\n",
                         config.c_str(), error.c_str());
            m_fleet = Fleet();
            m_configValid = false;
        }
    }
    const std::string home = environment("HOME");
    m_stateDir = folder("TAVO_SIM_STATE_DIR", "XDG_STATE_HOME", home + "/.local/state/tavo-sim");
    m_runtimeDir = folder("TAVO_SIM_RUNTIME_DIR", "XDG_RUNTIME_DIR",
                          "/tmp/tavo-sim-" + std::to_string(::getuid()));

    {
        std::lock_guard<std::mutex> faultLock(m_faultMutex);
        m_faults.clear();
        std::istringstream profiles(environment("TAVO_SIM_FAULTS"));
        std::string item;
        while (std::getline(profiles, item, ',')) {
            if (item.empty())
                continue;
            const auto equals = item.find('=');
            const std::string name = item.substr(0, equals);
            int status = 0;
            int count = 0;
            if (equals == std::string::npos || !isOperationName(name)
                || std::sscanf(item.c_str() + equals + 1, "%d:%d", &status, &count) < 1
                || count < 0) {
                std::fprintf(stderr,
                             "tavo_api: TAVO_SIM_FAULTS: \"%s\" is not of the form "
                             "tv_Function=status[:count]; ignored\n",
                             item.c_str());
                continue;
            }
            m_faults[name] = Fault {status, count};
        }
    }

    m_plugged.clear();
    m_covered.clear();
    m_control = std::make_unique<ControlFile>(m_runtimeDir);
    const ControlState state = m_control->read();
    m_seenReset = state.resetGeneration;
    m_seenSequence = 0;
    applyControl(state, false);
}

void Library::startWatcher()
{
    m_watchStop = false;
    m_watcher = std::thread(&Library::watch, this);
}

void Library::stopWatcher()
{
    {
        std::lock_guard<std::mutex> lock(m_watchMutex);
        m_watchStop = true;
        m_watchWake.notify_all();
    }
    if (m_watcher.joinable())
        m_watcher.join();
}

// Polls the shared control file about ten times a second.
void Library::watch()
{
    std::string lastStamp;
    std::string path;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        lastStamp = m_control->stamp();
    }
    std::unique_lock<std::mutex> wait(m_watchMutex);
    while (!m_watchStop) {
        m_watchWake.wait_for(wait, std::chrono::milliseconds(100));
        if (m_watchStop)
            break;
        wait.unlock();
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const std::string stamp = m_control->stamp();
            if (stamp != lastStamp) {
                lastStamp = stamp;
                applyControl(m_control->read(), true);
            }
        }
        wait.lock();
    }
}

bool Library::isPlugged(const CameraProfile &profile) const
{
    auto it = m_plugged.find(profile.serial);
    return it == m_plugged.end() || it->second;
}

bool Library::isCovered(const CameraProfile &profile) const
{
    auto it = m_covered.find(profile.serial);
    return it == m_covered.end() ? profile.covered : it->second;
}

void Library::applyControl(const ControlState &state, bool raiseEvents)
{
    {
        std::lock_guard<std::mutex> faultLock(m_faultMutex);
        if (state.resetGeneration > m_seenReset) {
            m_faults.clear();
            m_seenReset = state.resetGeneration;
        }
        for (const SharedFault &fault : state.faults) {
            if (fault.sequence > m_seenSequence)
                m_faults[fault.function] = Fault {fault.status, fault.count};
        }
        m_seenSequence = std::max(m_seenSequence, state.lastSequence);
    }
    for (const CameraProfile &profile : m_fleet.cameras) {
        auto plugged = state.plugged.find(profile.serial);
        const bool wantPlugged = plugged == state.plugged.end() || plugged->second;
        auto covered = state.covered.find(profile.serial);
        const bool wantCovered = covered == state.covered.end() ? profile.covered : covered->second;
        const bool wasPlugged = isPlugged(profile);
        m_plugged[profile.serial] = wantPlugged;
        m_covered[profile.serial] = wantCovered;
        std::shared_ptr<CameraSession> open;
        for (const auto &entry : m_sessions) {
            if (entry.second->profile().serial == profile.serial)
                open = entry.second;
        }
        if (open)
            open->setCovered(wantCovered);
        if (wasPlugged == wantPlugged)
            continue;
        if (open)
            open->setPlugged(wantPlugged);
        if (!raiseEvents)
            continue;
        m_events.raise(0, wantPlugged ? TV_EVT_DEVICE_ARRIVED : TV_EVT_DEVICE_GONE);
        if (open)
            m_events.raise(open->handle(), wantPlugged ? TV_EVT_CAMERA_BACK : TV_EVT_CAMERA_GONE);
    }
}

int32_t Library::fault(const char *function)
{
    std::lock_guard<std::mutex> lock(m_faultMutex);
    if (m_faults.empty())
        return Success;
    auto it = m_faults.find(function);
    if (it == m_faults.end())
        return Success;
    const int32_t status = it->second.status;
    if (it->second.remaining > 0 && --it->second.remaining == 0)
        m_faults.erase(it);
    return status;
}

int Library::inject(const char *function, int32_t status, int32_t count)
{
    if (!function || !isOperationName(function) || count < 0)
        return -1;
    std::lock_guard<std::mutex> lock(m_faultMutex);
    if (status == Success)
        m_faults.erase(function);
    else
        m_faults[function] = Fault {status, count};
    return 0;
}

int Library::injectShared(const char *function, int32_t status, int32_t count)
{
    if (!function || !isOperationName(function) || count < 0)
        return -1;
    std::lock_guard<std::mutex> lock(m_mutex);
    const bool ok = m_control->update([&](ControlState &state) {
        SharedFault fault;
        fault.sequence = ++state.lastSequence;
        fault.function = function;
        fault.status = status;
        fault.count = count;
        state.faults.push_back(fault);
    });
    if (!ok)
        return -2;
    applyControl(m_control->read(), true);
    return 0;
}

void Library::reset()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_control->update([](ControlState &state) {
        ++state.resetGeneration;
        state.plugged.clear();
        state.covered.clear();
        state.faults.clear();
    });
    {
        std::lock_guard<std::mutex> faultLock(m_faultMutex);
        m_faults.clear();
    }
    applyControl(m_control->read(), true);
}

int Library::setPlugged(const char *serial, bool on)
{
    return setCameraFlag(&ControlState::plugged, serial, on);
}

int Library::setCovered(const char *serial, bool on)
{
    return setCameraFlag(&ControlState::covered, serial, on);
}

// Sets a camera's plug or lens state for every process through the control
// file, and at once in this one, even if the file could not be written.
int Library::setCameraFlag(std::map<std::string, bool> ControlState::*flags, const char *serial,
                           bool on)
{
    if (!serial)
        return -1;
    std::lock_guard<std::mutex> lock(m_mutex);
    bool known = false;
    for (const CameraProfile &profile : m_fleet.cameras)
        known = known || profile.serial == serial;
    if (!known)
        return -1;
    const bool ok = m_control->update([&](ControlState &state) { (state.*flags)[serial] = on; });
    ControlState state = m_control->read();
    (state.*flags)[serial] = on;
    applyControl(state, true);
    return ok ? 0 : -2;
}

int Library::reload()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_sessions.empty())
            return -1;
    }
    stopWatcher();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_sessions.empty()) {
            startWatcher();
            return -1;
        }
        configure();
    }
    startWatcher();
    return 0;
}

std::string Library::lockPath(const std::string &serial) const
{
    return m_runtimeDir + "/" + serial + ".lock";
}

// A camera is in use while some open file description holds the write lock on
// its lock file; the lock goes with the process that holds it.
bool Library::inUseElsewhere(const std::string &serial) const
{
    const int fd = ::open(lockPath(serial).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    struct flock lock = wholeFile(F_WRLCK);
    const bool inUse = ::fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    ::close(fd);
    return inUse;
}

int32_t Library::numberOfCameras(int32_t *count)
{
    if (!count)
        return InvalidArgument;
    std::lock_guard<std::mutex> lock(m_mutex);
    int32_t n = 0;
    for (const CameraProfile &profile : m_fleet.cameras)
        n += isPlugged(profile) ? 1 : 0;
    *count = n;
    return Success;
}

int32_t Library::cameraList(CameraList *list)
{
    if (!list)
        return InvalidArgument;
    std::lock_guard<std::mutex> lock(m_mutex);
    uint32_t filled = 0;
    const uint32_t room = list->count;
    for (const CameraProfile &profile : m_fleet.cameras) {
        if (filled >= room)
            break;
        if (!isPlugged(profile))
            continue;
        CameraListEntry entry;
        std::memset(&entry, 0, sizeof entry);
        entry.cameraId = profile.cameraId;
        entry.deviceId = profile.deviceId;
        entry.thirdWord = profile.thirdWord;
        entry.inUse = inUseElsewhere(profile.serial) ? 1 : 0;
        std::strncpy(entry.serial, profile.serial.c_str(), sizeof entry.serial - 1);
        std::strncpy(entry.model, profile.model.c_str(), sizeof entry.model - 1);
        std::memcpy(&list->entries[filled], &entry, sizeof entry);
        ++filled;
    }
    list->count = filled;
    return Success;
}

int32_t Library::initCamera(uint32_t *handle)
{
    if (!handle)
        return InvalidArgument;
    const uint32_t word = *handle;
    const uint32_t id = word & 0x7FFF;
    const bool byDevice = word & TV_OPEN_BY_DEVICE_ID;
    const bool allowUpload = word & TV_OPEN_ALLOW_FW_UPLOAD;

    std::unique_lock<std::mutex> lock(m_mutex);
    const CameraProfile *found = nullptr;
    for (const CameraProfile &profile : m_fleet.cameras) {
        if (!isPlugged(profile))
            continue;
        const bool match = id == 0 ? !inUseElsewhere(profile.serial)
                                   : (byDevice ? profile.deviceId : profile.cameraId) == id;
        if (match) {
            found = &profile;
            break;
        }
    }
    if (!found)
        return NoSuchCamera;
    const CameraProfile profile = *found;
    const int fd = ::open(lockPath(profile.serial).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return GeneralFailure;
    struct flock fileLock = wholeFile(F_WRLCK);
    if (::fcntl(fd, F_OFD_SETLK, &fileLock) != 0) {
        ::close(fd);
        return CameraInUse;
    }
    // The camera is ours now: no other process writes its state meanwhile.
    const std::string statePath = m_stateDir + "/" + profile.serial + ".state";
    removeStaleTemporaries(statePath);
    ListFile::State state = ListFile::loadState(statePath);
    if (profile.firmwareUploadMs > 0 && !state.firmwareCurrent) {
        if (!allowUpload) {
            ::close(fd);
            return FirmwareUploadNeeded;
        }
        // The upload takes its time; the camera stays locked meanwhile.
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(profile.firmwareUploadMs));
        state.firmwareCurrent = true;
        const bool saved = ListFile::saveState(statePath, state);
        lock.lock();
        if (!saved) {
            ::close(fd);
            return MemoryWrite;
        }
    }
    while (m_nextHandle == 0 || m_nextHandle >= 0x8000 || m_sessions.count(m_nextHandle))
        m_nextHandle = m_nextHandle >= 0x7FFF ? 1 : m_nextHandle + 1;
    const cameraHandle newHandle = m_nextHandle++;
    m_events.addContext(newHandle);
    auto session = std::make_shared<CameraSession>(profile, newHandle, fd, state, statePath,
                                                   &m_events, isCovered(profile));
    if (!isPlugged(profile))
        session->setPlugged(false); // unplugged during the upload
    m_sessions[newHandle] = session;
    *handle = newHandle;
    return Success;
}

int32_t Library::duration(cameraHandle handle, uint32_t mode, int32_t *milliseconds)
{
    if (!milliseconds)
        return InvalidArgument;
    if (mode != TV_DURATION_FW_UPLOAD)
        return NotSupported;
    std::lock_guard<std::mutex> lock(m_mutex);
    const CameraProfile *found = nullptr;
    auto open = m_sessions.find(handle);
    if (open != m_sessions.end()) {
        found = &open->second->profile();
    } else {
        const uint32_t id = handle & 0x7FFF;
        for (const CameraProfile &profile : m_fleet.cameras) {
            if ((handle & TV_OPEN_BY_DEVICE_ID ? profile.deviceId : profile.cameraId) == id)
                found = &profile;
        }
    }
    if (!found)
        return NoSuchCamera;
    *milliseconds = found->firmwareUploadMs;
    return Success;
}

int32_t Library::exitCamera(cameraHandle handle)
{
    std::shared_ptr<CameraSession> session;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_sessions.find(handle);
        if (it == m_sessions.end())
            return InvalidHandle;
        session = it->second;
        m_sessions.erase(it);
    }
    m_events.removeContext(handle);
    session.reset(); // stops its capture thread, frees its memory, unlocks the camera
    return Success;
}

std::shared_ptr<CameraSession> Library::session(cameraHandle handle)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_sessions.find(handle);
    return it == m_sessions.end() ? nullptr : it->second;
}

std::vector<CameraStatus> Library::cameras()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<CameraStatus> result;
    for (const CameraProfile &profile : m_fleet.cameras) {
        CameraStatus status;
        status.profile = profile;
        status.plugged = isPlugged(profile);
        status.covered = isCovered(profile);
        status.inUse = inUseElsewhere(profile.serial);
        result.push_back(status);
    }
    return result;
}

std::string Library::stateDir()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_stateDir;
}

std::string Library::runtimeDir()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_runtimeDir;
}

bool Library::configValid()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_configValid;
}

} // namespace TavoSim
