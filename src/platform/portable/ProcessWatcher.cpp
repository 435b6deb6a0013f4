#include "platform/portable/ProcessWatcher.h"

#include <map>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace KvPlatform {

namespace {

// How often processes without a descriptor are looked at.
constexpr int PollInterval = 20;

/** Both ends of a pipe, which no started process inherits. */
bool openPipe(HostDescriptor &reader, HostDescriptor &writer)
{
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0)
        return false;
    reader = HostDescriptor(ends[0]);
    writer = HostDescriptor(ends[1]);
    for (const int end : ends) {
        if (::fcntl(end, F_SETFD, FD_CLOEXEC) != 0 || ::fcntl(end, F_SETFL, O_NONBLOCK) != 0)
            return false;
    }
    return true;
}

} // namespace

struct ProcessWatcher::State
{
    struct Wait
    {
        std::shared_ptr<HostProcess> process;
        std::function<void()> callback;
    };

    using Processes = std::vector<std::pair<quint64, std::shared_ptr<HostProcess>>>;

    void run();
    Processes processes();

    /** Gives the processes that have ended, and those that must be asked. */
    Processes awaitChange(const Processes &processes) const;
    void report(const Processes &processes);
    void wake() const;

    std::mutex mutex;
    std::map<quint64, Wait> waits;
    quint64 lastNumber = 0;
    bool isOver = false;
    HostDescriptor wakeReader;
    HostDescriptor wakeWriter;
};

void ProcessWatcher::State::run()
{
    for (;;) {
        const Processes current = processes();
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (isOver)
                return;
        }
        report(awaitChange(current));
    }
}

ProcessWatcher::State::Processes ProcessWatcher::State::processes()
{
    const std::lock_guard<std::mutex> lock(mutex);
    Processes result;
    result.reserve(waits.size());
    for (const auto &[number, wait] : waits)
        result.emplace_back(number, wait.process);
    return result;
}

ProcessWatcher::State::Processes ProcessWatcher::State::awaitChange(const Processes &processes) const
{
    std::vector<pollfd> states{{wakeReader.get(), POLLIN, 0}};
    bool isBlind = false;
    for (const auto &[number, process] : processes) {
        states.push_back({process->descriptor(), POLLIN, 0});
        isBlind = isBlind || process->descriptor() < 0;
    }
    const int found = ::poll(states.data(), static_cast<nfds_t>(states.size()), isBlind ? PollInterval : -1);
    char bytes[64];
    while (::read(wakeReader.get(), bytes, sizeof bytes) > 0) {
    }
    Processes changed;
    for (size_t i = 0; i < processes.size(); ++i) {
        const pollfd &state = states[i + 1];
        if (found < 0 || state.fd < 0 || state.revents != 0)
            changed.push_back(processes[i]);
    }
    return changed;
}

void ProcessWatcher::State::report(const Processes &processes)
{
    for (const auto &[number, process] : processes) {
        if (!process->hasEnded())
            continue;
        // Before its starter hears of the end and collects it.
        process->exitCode();
        Wait ended;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            const auto found = waits.find(number);
            if (found == waits.end())
                continue;
            ended = std::move(found->second);
            waits.erase(found);
        }
        ended.callback();
    }
}

void ProcessWatcher::State::wake() const
{
    // A full pipe wakes the thread as well.
    [[maybe_unused]] const auto written = ::write(wakeWriter.get(), "", 1);
}

ProcessWatcher::ProcessWatcher()
    : m_state(std::make_shared<State>())
{}

ProcessWatcher::~ProcessWatcher()
{
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->isOver = true;
    }
    m_state->wake();
    if (m_thread.get_id() == std::this_thread::get_id())
        m_thread.detach();
    else
        m_thread.join();
}

quint64 ProcessWatcher::add(std::shared_ptr<HostProcess> process, std::function<void()> callback)
{
    quint64 number = 0;
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        if (!m_thread.joinable() && !start())
            return 0;
        number = ++m_state->lastNumber;
        m_state->waits[number] = {std::move(process), std::move(callback)};
    }
    m_state->wake();
    return number;
}

void ProcessWatcher::remove(quint64 number)
{
    State::Wait removed;
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        const auto found = m_state->waits.find(number);
        if (found == m_state->waits.end())
            return;
        removed = std::move(found->second);
        m_state->waits.erase(found);
    }
    // So that the thread lets go of the process.
    m_state->wake();
}

bool ProcessWatcher::start()
{
    if (!m_state->wakeWriter && !openPipe(m_state->wakeReader, m_state->wakeWriter))
        return false;
    try {
        m_thread = std::thread([state = m_state] { state->run(); });
    } catch (const std::system_error &) {
        return false;
    }
    return true;
}

} // namespace KvPlatform
