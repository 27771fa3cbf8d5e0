#include "camera/eventcodepool.h"

#include <stdexcept>

namespace {
// Builds the pool during static initialisation, so it is full before main runs.
[[maybe_unused]] const std::size_t initialCodes = EventCodePool::available();
} // namespace

EventCodePool::EventCodePool()
{
    for (unsigned int code = firstCode; code < firstCode + codeCount; ++code)
        m_free.push_back(code);
}

EventCodePool &EventCodePool::instance()
{
    static EventCodePool pool;
    return pool;
}

unsigned int EventCodePool::take()
{
    EventCodePool &pool = instance();
    std::lock_guard<std::mutex> locker(pool.m_lock);
    if (pool.m_free.empty())
        throw std::runtime_error("Too many events :D");
    const unsigned int code = pool.m_free.back();
    pool.m_free.pop_back();
    return code;
}

void EventCodePool::give(unsigned int code)
{
    EventCodePool &pool = instance();
    std::lock_guard<std::mutex> locker(pool.m_lock);
    pool.m_free.push_back(code);
}

std::size_t EventCodePool::available()
{
    EventCodePool &pool = instance();
    std::lock_guard<std::mutex> locker(pool.m_lock);
    return pool.m_free.size();
}
