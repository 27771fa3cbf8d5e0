// A thread that waits on camera library events and reports each code as the
// signal eventhappen. Handle 0 waits for the library-wide device events, a
// camera handle for that camera's events. The wait has no time-out, so every
// EventThread owns a private wake-up code from EventCodePool, by which stop()
// ends the wait. Created and controlled on the GUI thread; run() and the
// signal are on the thread itself.
//
// One code may be coalesced (setCoalescedEvent): its occurrences are counted,
// and it is reported only when the count goes from 0 to 1. The receiver takes
// the whole count with takeCoalescedCount(), so however slowly it works, at
// most one report of that code waits for it, and no occurrence is lost.
#pragma once

#include "camera/tavo_api.h"

#include <QThread>

#include <atomic>
#include <vector>

class EventThread : public QThread
{
    Q_OBJECT

public:
    // Throws std::runtime_error when no wake-up code is left.
    explicit EventThread(QObject *parent = nullptr);
    ~EventThread() override;

    // Registers and enables the codes with the library, followed by the own
    // wake-up code, and starts waiting. Returns 0, -1 if a code could not be
    // registered, or the status of the enabling call; on failure no thread
    // starts. Must not be called while the thread is still running.
    int start(cameraHandle handle, std::vector<unsigned int> events);
    int start(cameraHandle handle, unsigned int event);
    // Asks the thread to end and returns at once.
    void stop();

    // How long a stop or a terminate() is waited for before giving up.
    static constexpr unsigned long terminateWaitMs = 2000;

    // Counts the code instead of reporting every occurrence; 0 (the default)
    // reports every code. Set while the thread is idle.
    void setCoalescedEvent(unsigned int code) { m_coalescedEvent = code; }
    // The occurrences of the coalesced code since the last call, reset to 0;
    // any thread. start() resets the count, so a report still queued from
    // before finds nothing.
    int takeCoalescedCount() { return m_coalescedCount.exchange(0, std::memory_order_acq_rel); }

    unsigned int ownEvent() const { return m_ownEvent; }
    // The codes in force, own code last.
    const std::vector<unsigned int> &events() const { return m_events; }

signals:
    void eventhappen(uint event);

protected:
    void run() override;

private:
    void joinMembers();

    cameraHandle m_handle = 0;
    std::vector<unsigned int> m_events;
    std::atomic<bool> m_running {false};
    // Set last by run(): reading it after a wait orders the thread's last
    // reads of the members before the next change of them.
    std::atomic<bool> m_finished {false};
    unsigned int m_ownEvent;
    unsigned int m_coalescedEvent = 0;
    std::atomic<int> m_coalescedCount {0};
};
