#pragma once

#include <QtCore/QMutex>
#include <QtCore/QStringList>

#include <chrono>
#include <condition_variable>
#include <mutex>

/** The calls that fakes have received, in order. May be written from any thread. */
class FakeCalls
{
public:
    void add(const QString &call)
    {
        const QMutexLocker lock(&m_mutex);
        m_calls.append(call);
    }

    /** The calls since the last time. */
    QStringList take()
    {
        const QMutexLocker lock(&m_mutex);
        return std::exchange(m_calls, {});
    }

private:
    QMutex m_mutex;
    QStringList m_calls;
};

/** A door that a fake waits at, so that a test decides how long a source takes. Open at first. */
class FakeGate
{
public:
    void close()
    {
        const std::lock_guard lock(m_mutex);
        m_isOpen = false;
    }

    void open()
    {
        const std::lock_guard lock(m_mutex);
        m_isOpen = true;
        m_changed.notify_all();
    }

    /** Returns when the door is open. */
    void pass()
    {
        std::unique_lock lock(m_mutex);
        ++m_arrived;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_isOpen; });
    }

    /** Waits until `count` threads have come to the door since the start; false if they don't within ten seconds. */
    bool waitForArrivals(int count)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [this, count] { return m_arrived >= count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isOpen = true;
    int m_arrived = 0;
};
