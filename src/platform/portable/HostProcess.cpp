#include "platform/portable/HostProcess.h"
#include "platform/SystemValues.h"

#include <cerrno>
#include <limits>
#include <utility>

#include <csignal>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef Q_OS_LINUX
#include <sys/syscall.h>
#endif

namespace KvPlatform {

namespace {

// How a shell tells that a signal ended a process.
constexpr quint32 SignalledExit = 128;

/** Gives a negative number if the system can't, with the reason in errno. */
int openDescriptor(pid_t id)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
#else
    Q_UNUSED(id)
    errno = ENOSYS;
    return -1;
#endif
}

bool exists(pid_t id)
{
    return ::kill(id, 0) == 0 || errno == EPERM;
}

/** A child that has ended stays for its starter to collect; this only looks at it. */
bool peekAtChild(pid_t id, siginfo_t &info)
{
    info = {};
    return ::waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

} // namespace

HostDescriptor::HostDescriptor(int descriptor)
    : m_descriptor(descriptor)
{}

HostDescriptor::HostDescriptor(HostDescriptor &&other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
{}

HostDescriptor &HostDescriptor::operator=(HostDescriptor &&other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

HostDescriptor::~HostDescriptor()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

std::shared_ptr<HostProcess> HostProcess::open(quint32 id, quint32 *error)
{
    *error = SystemError::InvalidParameter;
    // To the system's own calls 0 is a whole group of processes.
    if (id == 0 || id > quint32(std::numeric_limits<int>::max()) || !exists(pid_t(id)))
        return nullptr;
    HostDescriptor descriptor(openDescriptor(pid_t(id)));
    const int reason = descriptor ? 0 : errno;
    if (reason == EMFILE || reason == ENFILE)
        *error = SystemError::TooManyOpenFiles;
    // A system without such descriptors, or one that allows none, is asked by the id.
    if (reason != 0 && reason != ENOSYS && reason != EPERM)
        return nullptr;
    *error = 0;
    return std::make_shared<HostProcess>(int(id), std::move(descriptor));
}

HostProcess::HostProcess(int id, HostDescriptor descriptor)
    : m_id(id)
    , m_descriptor(std::move(descriptor))
{}

bool HostProcess::hasEnded() const
{
    if (m_descriptor) {
        pollfd state = {m_descriptor.get(), POLLIN, 0};
        return ::poll(&state, 1, 0) > 0;
    }
    siginfo_t info;
    return peekAtChild(m_id, info) ? info.si_pid != 0 : !exists(m_id);
}

std::optional<quint32> HostProcess::exitCode() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    siginfo_t info;
    if (!m_exitCode && peekAtChild(m_id, info) && info.si_pid != 0)
        m_exitCode = (info.si_code == CLD_EXITED ? 0 : SignalledExit) + static_cast<quint32>(info.si_status);
    return m_exitCode;
}

quint32 HostProcess::terminate() const
{
    if (hasEnded())
        return SystemError::AccessDenied;
#ifdef SYS_pidfd_send_signal
    if (m_descriptor)
        return ::syscall(SYS_pidfd_send_signal, m_descriptor.get(), SIGKILL, nullptr, 0) == 0
                   ? 0
                   : SystemError::AccessDenied;
#endif
    return ::kill(m_id, SIGKILL) == 0 ? 0 : SystemError::AccessDenied;
}

} // namespace KvPlatform
