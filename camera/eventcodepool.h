// The program-wide pool of private wake-up event codes, 10000 to 10199. Each
// EventThread holds one for its whole life. Codes are taken from and given
// back to the back, so a returned code is the next to go out. The pool is a
// static object, filled at start-up; take and give may be called from any
// thread.
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>

class EventCodePool
{
public:
    static constexpr unsigned int firstCode = 10000;
    static constexpr unsigned int codeCount = 200;

    // The last free code; throws std::runtime_error when none is left.
    static unsigned int take();
    // Puts a code back at the end of the free list.
    static void give(unsigned int code);
    // The number of codes not in use.
    static std::size_t available();

private:
    EventCodePool();

    static EventCodePool &instance();

    std::deque<unsigned int> m_free;
    std::mutex m_lock;
};
