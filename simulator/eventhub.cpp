#include "simulator/eventhub.h"

#include "simulator/statustable.h"

#include <chrono>

namespace TavoSim {

bool EventHub::Waiter::waitsFor(uint32_t code) const
{
    for (uint32_t i = 0; i < count; ++i) {
        if (codes[i] == code)
            return true;
    }
    return false;
}

bool EventHub::isValidCode(uint32_t code)
{
    switch (code) {
    case TV_EVT_FRAME_READY:
    case TV_EVT_FRAME_LOST:
    case TV_EVT_CAMERA_BACK:
    case TV_EVT_CAMERA_GONE:
    case TV_EVT_DEVICE_GONE:
    case TV_EVT_DEVICE_ARRIVED:
        return true;
    default:
        return code >= TV_EVT_USER_FIRST && code <= TV_EVT_USER_LAST;
    }
}

void EventHub::addContext(cameraHandle handle)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_contexts[handle];
}

void EventHub::removeContext(cameraHandle handle)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_contexts.find(handle);
    if (it == m_contexts.end())
        return;
    for (Waiter *waiter : it->second.waiters)
        waiter->aborted = true;
    m_contexts.erase(it);
    m_wakeUp.notify_all();
}

int32_t EventHub::registerEvent(cameraHandle handle, uint32_t code)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_contexts.find(handle);
    if (it == m_contexts.end())
        return InvalidHandle;
    if (!isValidCode(code))
        return InvalidEvent;
    Slot &slot = it->second.slots[code];
    ++slot.references;
    return Success;
}

int32_t EventHub::release(cameraHandle handle, const uint32_t *codes, uint32_t count)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_contexts.find(handle);
    if (it == m_contexts.end())
        return InvalidHandle;
    int32_t status = Success;
    for (uint32_t i = 0; i < count; ++i) {
        auto slot = it->second.slots.find(codes[i]);
        if (slot == it->second.slots.end()) {
            status = EventNotRegistered;
            continue;
        }
        if (--slot->second.references <= 0)
            it->second.slots.erase(slot);
    }
    return status;
}

int32_t EventHub::enable(cameraHandle handle, const uint32_t *codes, uint32_t count)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_contexts.find(handle);
    if (it == m_contexts.end())
        return InvalidHandle;
    for (uint32_t i = 0; i < count; ++i) {
        if (!it->second.slots.count(codes[i]))
            return isValidCode(codes[i]) ? EventNotRegistered : InvalidEvent;
    }
    for (uint32_t i = 0; i < count; ++i)
        it->second.slots[codes[i]].enabled = true;
    return Success;
}

int32_t EventHub::signal(cameraHandle handle, uint32_t code)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_contexts.find(handle);
    if (it == m_contexts.end())
        return InvalidHandle;
    auto slot = it->second.slots.find(code);
    if (slot == it->second.slots.end())
        return isValidCode(code) ? EventNotRegistered : InvalidEvent;
    for (Waiter *waiter : it->second.waiters) {
        if (!waiter->done && waiter->waitsFor(code)) {
            waiter->done = true;
            waiter->result = code;
            m_wakeUp.notify_all();
            return Success;
        }
    }
    slot->second.set = true;
    return Success;
}

void EventHub::raise(cameraHandle handle, uint32_t code)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_contexts.find(handle);
    if (it == m_contexts.end())
        return;
    auto slot = it->second.slots.find(code);
    if (slot == it->second.slots.end() || !slot->second.enabled)
        return;
    bool woken = false;
    for (Waiter *waiter : it->second.waiters) {
        if (!waiter->done && waiter->waitsFor(code)) {
            waiter->done = true;
            waiter->result = code;
            woken = true;
        }
    }
    if (woken)
        m_wakeUp.notify_all();
    else
        slot->second.set = true;
}

int32_t EventHub::wait(cameraHandle handle, const uint32_t *codes, uint32_t count,
                       uint32_t timeoutMs, uint32_t *signaled)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    auto it = m_contexts.find(handle);
    if (it == m_contexts.end())
        return InvalidHandle;
    Context &context = it->second;
    for (uint32_t i = 0; i < count; ++i) {
        if (!context.slots.count(codes[i]))
            return isValidCode(codes[i]) ? EventNotRegistered : InvalidEvent;
    }
    for (uint32_t i = 0; i < count; ++i) {
        Slot &slot = context.slots[codes[i]];
        if (slot.set) {
            slot.set = false;
            *signaled = codes[i];
            return Success;
        }
    }
    Waiter waiter;
    waiter.codes = codes;
    waiter.count = count;
    // Unlinks the waiter on every way out, also when the thread is cancelled
    // in the wait (the unwinding runs this with m_mutex locked again).
    // removeContext takes the list away with the context and marks it aborted.
    context.waiters.push_back(&waiter);
    struct Unlink
    {
        std::list<Waiter *> &waiters;
        Waiter &waiter;
        ~Unlink()
        {
            if (!waiter.aborted)
                waiters.remove(&waiter);
        }
    } unlink {context.waiters, waiter};
    const auto woken = [&waiter] { return waiter.done || waiter.aborted; };
    if (timeoutMs == 0xFFFFFFFFu)
        m_wakeUp.wait(lock, woken);
    else
        m_wakeUp.wait_for(lock, std::chrono::milliseconds(timeoutMs), woken);
    if (waiter.aborted)
        return WaitAborted;
    if (!waiter.done)
        return WaitTimedOut;
    *signaled = waiter.result;
    return Success;
}

} // namespace TavoSim
