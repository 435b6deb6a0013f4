#include "XThreadPool.h"

#include "XGuardedCall.h"

#include <QtCore/QtGlobal>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

using Time = std::chrono::steady_clock;

namespace {

struct SharedScope
{
    std::mutex mutex;
    XThreadPool::ThreadScope make;
};

// Never deleted: threads are detached and may begin while the process ends.
SharedScope &sharedScope()
{
    static SharedScope *const scope = new SharedScope;
    return *scope;
}

std::shared_ptr<void> enterThread()
{
    SharedScope &scope = sharedScope();
    std::unique_lock lock(scope.mutex);
    const XThreadPool::ThreadScope make = scope.make;
    lock.unlock();
    return make ? make() : nullptr;
}

} // namespace

class XThreadPool::State : public std::enable_shared_from_this<State>
{
public:
    explicit State(const Settings &settings)
        : m_settings(settings)
    {}

    void start(Function function);
    void close();
    bool waitForDone(std::chrono::milliseconds timeout);
    int threadCount();

private:
    void work();
    void watch();
    Function next();
    void ended();

    // These expect that m_mutex is locked.
    bool isShort() const { return m_jobs.size() > m_idle; }
    Time::duration idleTime() const;
    template<typename Body>
    bool spawn(Body body);
    void grow();

    const Settings m_settings;
    std::mutex m_mutex;
    std::condition_variable m_jobCame;
    std::condition_variable m_jobEnded;
    std::deque<Function> m_jobs;
    std::size_t m_threads = 0;
    std::size_t m_idle = 0; // Threads without a job, new ones included.
    std::size_t m_running = 0;
    bool m_isWatched = false;
    bool m_isClosed = false;
    Time::time_point m_stalledSince;
};

template<typename Body>
bool XThreadPool::State::spawn(Body body)
{
    try {
        std::thread([state = shared_from_this(), body] { body(*state); }).detach();
        return true;
    } catch (const std::system_error &error) {
        qWarning("XDispatch: can't start a thread: %s", error.what());
        return false;
    }
}

void XThreadPool::State::grow()
{
    // Counted first: the new thread may be at work before this one goes on.
    ++m_threads;
    ++m_idle;
    if (!spawn([](State &state) { state.work(); })) {
        --m_threads;
        --m_idle;
    }
}

void XThreadPool::State::start(Function function)
{
    const std::lock_guard lock(m_mutex);
    m_jobs.push_back(std::move(function));
    m_jobCame.notify_one();
    if (!isShort())
        return;
    if (m_threads < static_cast<std::size_t>(m_settings.baseSize))
        grow();
    if (m_jobs.size() == m_idle + 1)
        m_stalledSince = Time::now();
    if (isShort() && !m_isWatched)
        m_isWatched = spawn([](State &state) { state.watch(); });
}

void XThreadPool::State::close()
{
    std::deque<Function> dropped;
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    dropped.swap(m_jobs);
    m_jobCame.notify_all();
}

bool XThreadPool::State::waitForDone(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    return m_jobEnded.wait_for(lock, timeout, [this] { return m_jobs.empty() && m_running == 0; });
}

int XThreadPool::State::threadCount()
{
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_threads);
}

void XThreadPool::State::work()
{
    const std::shared_ptr<void> scope = enterThread();
    while (Function job = next()) {
        xCallGuarded(job);
        job = nullptr; // What the job holds ends before the job counts as ended.
        ended();
    }
}

void XThreadPool::State::watch()
{
    std::unique_lock lock(m_mutex);
    while (isShort()) {
        const Time::time_point limit = m_stalledSince + m_settings.stallTime;
        if (Time::now() >= limit) {
            grow();
            m_stalledSince = Time::now();
        } else {
            lock.unlock();
            std::this_thread::sleep_until(limit);
            lock.lock();
        }
    }
    m_isWatched = false;
}

Time::duration XThreadPool::State::idleTime() const
{
    const bool isExtra = m_threads > static_cast<std::size_t>(m_settings.baseSize);
    return isExtra ? m_settings.extraIdleTime : m_settings.idleTime;
}

XThreadPool::Function XThreadPool::State::next()
{
    const Time::time_point idleSince = Time::now();
    std::unique_lock lock(m_mutex);
    while (m_jobs.empty() && !m_isClosed && Time::now() < idleSince + idleTime())
        m_jobCame.wait_until(lock, idleSince + idleTime());
    --m_idle;
    if (m_jobs.empty()) {
        --m_threads;
        return nullptr;
    }
    Function job = std::move(m_jobs.front());
    m_jobs.pop_front();
    ++m_running;
    return job;
}

void XThreadPool::State::ended()
{
    const std::lock_guard lock(m_mutex);
    --m_running;
    ++m_idle;
    m_stalledSince = Time::now();
    if (m_jobs.empty() && m_running == 0)
        m_jobEnded.notify_all();
}

void XThreadPool::setThreadScope(ThreadScope scope)
{
    SharedScope &shared = sharedScope();
    const std::lock_guard lock(shared.mutex);
    shared.make.swap(scope);
}

XThreadPool::XThreadPool(const Settings &settings)
    : m_state(std::make_shared<State>(settings))
{}

XThreadPool::~XThreadPool()
{
    m_state->close();
}

XThreadPool &XThreadPool::global()
{
    static XThreadPool *const pool = [] {
        Settings settings;
        settings.baseSize = std::max(4, 2 * static_cast<int>(std::thread::hardware_concurrency()));
        return new XThreadPool(settings);
    }();
    return *pool;
}

void XThreadPool::start(Function function)
{
    if (function)
        m_state->start(std::move(function));
}

bool XThreadPool::waitForDone(std::chrono::milliseconds timeout)
{
    return m_state->waitForDone(timeout);
}

int XThreadPool::threadCount() const
{
    return m_state->threadCount();
}
