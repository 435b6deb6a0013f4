#pragma once

#include "platform/portable/HostProcess.h"

#include <functional>
#include <memory>
#include <thread>

namespace KvPlatform {

/**
 * Waits for the ends of processes on one thread, which begins with the first wait and ends with this object. May be
 * used from any thread, and destroyed in a callback.
 */
class ProcessWatcher
{
public:
    ProcessWatcher();
    ~ProcessWatcher();
    ProcessWatcher(const ProcessWatcher &) = delete;
    ProcessWatcher &operator=(const ProcessWatcher &) = delete;

    /** Calls back once on the watcher's thread when the process has ended. Gives the wait's number, or 0 if there is no
     * thread to be had. */
    quint64 add(std::shared_ptr<HostProcess> process, std::function<void()> callback);

    /** Ends a wait. A callback that has begun goes on. */
    void remove(quint64 number);

private:
    struct State;

    bool start();

    std::shared_ptr<State> m_state; // The thread's too, which may end after this object.
    std::thread m_thread;
};

} // namespace KvPlatform
