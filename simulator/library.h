// The simulated camera library as a whole: the fleet, the folders, the shared
// hot-plug and fault state, the open cameras and the events. One object for
// the process, made on the first call and never destroyed, so that threads
// still blocked in a wait at exit never see it go. Any thread.
#pragma once

#include "camera/tavo_api.h"
#include "simulator/controlfile.h"
#include "simulator/eventhub.h"
#include "simulator/fleet.h"

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace TavoSim {

class CameraSession;

struct CameraStatus
{
    CameraProfile profile;
    bool plugged = true;
    bool covered = false;
    bool inUse = false;
};

class Library
{
public:
    static Library &instance();

    // 0, or the status that an injected fault makes this call return.
    int32_t fault(const char *function);
    int inject(const char *function, int32_t status, int32_t count);
    int injectShared(const char *function, int32_t status, int32_t count);
    void reset();
    int setPlugged(const char *serial, bool on);
    int setCovered(const char *serial, bool on);
    int reload();

    int32_t numberOfCameras(int32_t *count);
    int32_t cameraList(CameraList *list);
    int32_t initCamera(uint32_t *handle);
    int32_t duration(cameraHandle handle, uint32_t mode, int32_t *milliseconds);
    int32_t exitCamera(cameraHandle handle);
    std::shared_ptr<CameraSession> session(cameraHandle handle);
    EventHub &events() { return m_events; }

    std::vector<CameraStatus> cameras();
    std::string stateDir();
    std::string runtimeDir();
    bool configValid();

private:
    Library();
    void configure(); // reads the environment; called with m_mutex held
    int setCameraFlag(std::map<std::string, bool> ControlState::*flags, const char *serial,
                      bool on);
    void applyControl(const ControlState &state, bool raiseEvents);
    void watch();
    void startWatcher();
    void stopWatcher();
    bool isPlugged(const CameraProfile &profile) const;
    bool isCovered(const CameraProfile &profile) const;
    bool inUseElsewhere(const std::string &serial) const;
    std::string lockPath(const std::string &serial) const;

    struct Fault
    {
        int32_t status = 0;
        int32_t remaining = 0; // 0: always
    };

    std::mutex m_mutex;
    Fleet m_fleet;
    bool m_configValid = true;
    std::string m_stateDir;
    std::string m_runtimeDir;
    std::unique_ptr<ControlFile> m_control;
    std::map<std::string, bool> m_plugged;
    std::map<std::string, bool> m_covered;
    uint64_t m_seenReset = 0;
    uint64_t m_seenSequence = 0;
    std::map<cameraHandle, std::shared_ptr<CameraSession>> m_sessions;
    cameraHandle m_nextHandle = 1;

    std::mutex m_faultMutex;
    std::map<std::string, Fault> m_faults;

    EventHub m_events;

    std::mutex m_watchMutex;
    std::condition_variable m_watchWake;
    bool m_watchStop = false;
    std::thread m_watcher;
};

// The names of the 31 operations, for fault injection.
bool isOperationName(const std::string &name);

} // namespace TavoSim
