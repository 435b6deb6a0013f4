#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/** Counts like QSemaphore, with means that ThreadSanitizer sees through. */
class Semaphore
{
public:
    void release(int count = 1)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_available += count;
        m_changed.notify_all();
    }

    void acquire(int count = 1)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this, count] { return m_available >= count; });
        m_available -= count;
    }

    /** False if there aren't as many within that time. */
    bool tryAcquire(int count, int milliseconds)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const bool has = m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                            [this, count] { return m_available >= count; });
        m_available -= has ? count : 0;
        return has;
    }

    int available() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_available;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_available = 0;
};
