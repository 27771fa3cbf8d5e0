#include "camera/eventthread.h"

#include "camera/eventcodepool.h"

EventThread::EventThread(QObject *parent)
    : QThread(parent)
    , m_ownEvent(EventCodePool::take())
{ }

EventThread::~EventThread()
{
    stop();
    if (!wait(terminateWaitMs)) {
        terminate();
        // A thread that outlives even its termination can't be destroyed.
        if (!wait(terminateWaitMs))
            qFatal("EventThread: the event thread did not end after terminate()");
    }
    joinMembers();
    EventCodePool::give(m_ownEvent);
}

void EventThread::joinMembers()
{
    m_finished.load(std::memory_order_acquire);
}

int EventThread::start(cameraHandle handle, std::vector<unsigned int> events)
{
    joinMembers();
    m_finished.store(false, std::memory_order_relaxed);
    m_handle = handle;
    m_events = std::move(events);
    // Occurrences of the previous run are not this run's.
    m_coalescedCount.store(0, std::memory_order_relaxed);
    m_events.push_back(m_ownEvent);

    for (unsigned int code : m_events) {
        EventInit init {code, 0, 0};
        if (tv_Event(m_handle, TV_EVT_OP_REGISTER, &init, sizeof(init)) != TV_SUCCESS)
            return -1;
    }
    const int status = tv_Event(m_handle, TV_EVT_OP_ENABLE, m_events.data(),
                                uint32_t(sizeof(unsigned int) * m_events.size()));
    if (status != TV_SUCCESS)
        return status;

    m_running = true;
    QThread::start(QThread::InheritPriority);
    return 0;
}

int EventThread::start(cameraHandle handle, unsigned int event)
{
    return start(handle, std::vector<unsigned int> {event});
}

void EventThread::stop()
{
    if (!m_running)
        return;
    // Cleared before the wake-up, so the own code is never reported.
    m_running = false;
    unsigned int code = m_ownEvent;
    tv_Event(m_handle, TV_EVT_OP_SIGNAL, &code, sizeof(code));
}

void EventThread::run()
{
    EventWait wait {};
    wait.events = m_events.data();
    wait.count = uint32_t(m_events.size());
    wait.waitAll = 0;
    wait.timeout = 0xFFFFFFFF;
    wait.signaled = 0;
    wait.setCount = 0;

    while (m_running) {
        const int status = tv_Event(m_handle, TV_EVT_OP_WAIT, &wait, sizeof(wait));
        if (status != TV_SUCCESS || !m_running)
            continue;
        // A coalesced code is reported only when no report of it is pending.
        if (wait.signaled == m_coalescedEvent && m_coalescedEvent != 0
            && m_coalescedCount.fetch_add(1, std::memory_order_acq_rel) != 0)
            continue;
        emit eventhappen(wait.signaled);
    }

    m_running = false;
    tv_Event(m_handle, TV_EVT_OP_RELEASE, m_events.data(),
             uint32_t(sizeof(unsigned int) * m_events.size()));
    m_finished.store(true, std::memory_order_release);
}
