#pragma once

#include <chrono>
#include <functional>
#include <memory>

/**
 * Threads for jobs that may block on each other.
 *
 * Up to the base size a job that finds no idle thread gets a new one. Beyond that the pool grows by one thread whenever
 * jobs have waited for the stall time and none has ended meanwhile, so that a job never waits for ever behind others
 * that block. No event loop is needed for that: a watching thread exists while jobs wait for a thread.
 *
 * Threads are detached and own what they share with the pool. Nothing waits for them at the end of the process, and a
 * pool may be deleted while its jobs run. All functions may be called from any thread.
 */
class XThreadPool
{
public:
    using Function = std::function<void()>;

    /** Makes what a thread holds from its start to its end, on the thread itself. */
    using ThreadScope = std::function<std::shared_ptr<void>()>;

    struct Settings
    {
        /** Number of threads up to which the pool grows at once; at least 1. */
        int baseSize = 1;
        /** How long jobs wait with none ending until there is one more thread. */
        std::chrono::milliseconds stallTime{100};
        /** After how long without a job a thread ends, while there are more than the base size. */
        std::chrono::milliseconds extraIdleTime{5000};
        /** After how long without a job any thread ends. */
        std::chrono::milliseconds idleTime{30000};
    };

    explicit XThreadPool(const Settings &settings);

    /** Drops the jobs that wait. Those that run go on, and their threads end after them. */
    ~XThreadPool();

    XThreadPool(const XThreadPool &) = delete;
    XThreadPool &operator=(const XThreadPool &) = delete;

    /** The pool of the process: base size twice the number of processors, at least 4. Never deleted. */
    static XThreadPool &global();

    /**
     * Lets every thread that a pool starts from now on hold what `scope` makes, such as COM on Windows. To be called
     * before the first pool has a thread; an empty function ends it.
     */
    static void setThreadScope(ThreadScope scope);

    /** Runs `function` on a thread of the pool. What it throws is logged. */
    void start(Function function);

    /** Blocks until no job waits or runs, at most `timeout`; gives whether that came true. */
    bool waitForDone(std::chrono::milliseconds timeout);

    /** The number of threads that run or wait for jobs. */
    int threadCount() const;

private:
    class State;
    std::shared_ptr<State> m_state;
};
