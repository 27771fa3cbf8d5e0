// The events of the simulated library: auto-reset events per handle (0 for
// the library-wide device events), waited on by any number of threads. Its own
// lock is held only briefly; a blocked wait holds none.
#pragma once

#include "camera/tavo_api.h"

#include <condition_variable>
#include <list>
#include <map>
#include <mutex>

namespace TavoSim {

class EventHub
{
public:
    void addContext(cameraHandle handle);
    // Ends every wait on the handle with WaitAborted and forgets its events.
    void removeContext(cameraHandle handle);

    int32_t registerEvent(cameraHandle handle, uint32_t code);
    int32_t release(cameraHandle handle, const uint32_t *codes, uint32_t count);
    int32_t enable(cameraHandle handle, const uint32_t *codes, uint32_t count);
    // Sets an event from the caller's side: it wakes one waiter, or stays set
    // for the next wait.
    int32_t signal(cameraHandle handle, uint32_t code);
    // timeoutMs 0xFFFFFFFF waits for ever. A thread cancelled in the wait
    // (pthread_cancel, QThread::terminate) leaves no waiter behind.
    int32_t wait(cameraHandle handle, const uint32_t *codes, uint32_t count, uint32_t timeoutMs,
                 uint32_t *signaled);
    // An event of the library itself: reported only when registered and
    // enabled; it wakes every thread waiting for it, or stays set for the next.
    void raise(cameraHandle handle, uint32_t code);

    static bool isValidCode(uint32_t code);

private:
    struct Slot
    {
        int references = 0;
        bool enabled = false;
        bool set = false;
    };
    struct Waiter
    {
        const uint32_t *codes = nullptr;
        uint32_t count = 0;
        uint32_t result = 0;
        bool done = false;
        bool aborted = false;
        bool waitsFor(uint32_t code) const;
    };
    struct Context
    {
        std::map<uint32_t, Slot> slots;
        std::list<Waiter *> waiters;
    };

    std::mutex m_mutex;
    std::condition_variable m_wakeUp;
    std::map<cameraHandle, Context> m_contexts;
};

} // namespace TavoSim
