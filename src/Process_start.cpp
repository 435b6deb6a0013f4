#include "Process_p.h"

#include "KvSecurity.h"
#include "platform/Platform.h"
#include "platform/Processes.h"
#include "platform/Session.h"
#include "platform/SystemValues.h"
#include "platform/Tokens.h"

#include <QtCore/QDebug>

using KvPlatform::HandleResult;
using KvPlatform::NativeHandle;
using KvPlatform::Platform;
using KvPlatform::Processes;
using KvPlatform::ProcessStart;
using KvPlatform::StartResult;

namespace {

// Constants of winbase.h.
constexpr quint32 CreationFlags = 0x620; // CREATE_UNICODE_ENVIRONMENT, CREATE_NEW_PROCESS_GROUP, NORMAL_PRIORITY_CLASS
constexpr quint32 CreateNoWindow = 0x08000000;
constexpr quint32 UseShowWindow = 1; // STARTF_USESHOWWINDOW

/** What a caller asks for, as all functions of the chain take it. */
struct Request
{
    const QString &command;
    qint64 *pid;
    QWindow::Visibility visibility;
    const QString &home;
    bool inheritEnvironment;
};

/** What has become of one attempt to create a process. */
struct Attempt
{
    bool succeeded = false;
    quint32 error = 0;
    QString directory;

    bool needsElevation() const { return !succeeded && error == KvPlatform::SystemError::ElevationRequired; }
};

/** How a way of starting is told in the log. */
struct Texts
{
    const char *success;
    const char *failure;
};

ProcessStart makeStart(const Request &request)
{
    ProcessStart start;
    start.command = request.command;
    start.directory = ProcessParts::workingDirectory(request.home);
    start.flags = request.visibility == QWindow::Hidden ? CreationFlags | CreateNoWindow : CreationFlags;
    // Only with this flag does the system heed the show command.
    start.startupFlags = request.visibility == QWindow::AutomaticVisibility ? UseShowWindow : 0;
    start.showCommand = ProcessParts::showCommand(request.visibility);
    return start;
}

/** Creates a process by `create`, with the environment of `environmentToken`. Nothing stays open. */
template<typename Create>
Attempt tryToStart(const Request &request, const NativeHandle &environmentToken, const Create &create)
{
    const std::shared_ptr<Processes> processes = Platform::current()->processes;
    ProcessStart start = makeStart(request);
    if (!request.inheritEnvironment)
        start.environment = processes->createEnvironmentBlock(environmentToken, false);
    const StartResult result = create(*processes, start);
    if (request.pid)
        *request.pid = result.process ? processes->processId(result.process) : 0;
    start.environment.reset();
    return {result.succeeded, result.error, start.directory};
}

/** Logs an attempt; `user` is told if it isn't null. Gives whether the attempt succeeded. */
bool tell(const Texts &texts, const Request &request, const Attempt &attempt, const QString *user)
{
    QDebug line = attempt.succeeded ? qInfo() : qWarning();
    line.noquote() << (attempt.succeeded ? texts.success : texts.failure) << request.command
                   << "home:" << attempt.directory;
    if (user)
        line << "user:" << *user;
    if (!attempt.succeeded)
        line << "error:" << attempt.error;
    return attempt.succeeded;
}

bool tellWithUser(const Texts &texts, const Request &request, const Attempt &attempt)
{
    // Asked before the line begins, since this may log, too.
    const QString user = KvSecurity::userName();
    return tell(texts, request, attempt, &user);
}

HandleResult sessionUserToken()
{
    const std::shared_ptr<const Platform> platform = Platform::current();
    return platform->tokens->sessionUserToken(platform->session->activeConsoleSession());
}

} // namespace

bool Process::startCommandAsUserElevated(const QString &command, qint64 *pid, QWindow::Visibility visibility,
                                         const QString &home, bool inheritEnvironment)
{
    if (!KvSecurity::isElevated()) {
        qWarning().noquote() << "[PROCESS] no enough privilege, create as normal process instead:" << command;
        return startCommandDetached(command, pid, visibility, home, inheritEnvironment);
    }
    HandleResult user = sessionUserToken();
    if (!user.handle) {
        qWarning() << "[FAIL] can't query logon user token, err:" << user.error;
        return startCommandDetached(command, pid, visibility, home, inheritEnvironment);
    }
    HandleResult linked = Platform::current()->tokens->linkedToken(user.handle);
    if (!linked.handle) {
        qWarning() << "[FAIL] can't get user linked token, err:" << linked.error;
        user.handle.reset();
        return startCommandAsUser(command, pid, visibility, home, inheritEnvironment);
    }
    const Request request{command, pid, visibility, home, inheritEnvironment};
    const Attempt attempt =
        tryToStart(request, user.handle, [&linked](const Processes &processes, const ProcessStart &start) {
            return processes.createProcessAsUser(linked.handle, start);
        });
    linked.handle.reset();
    user.handle.reset();
    return tellWithUser({"[PROCESS] start as elevated:", "[FAIL] can't start as elevated:"}, request, attempt);
}

bool Process::startCommandAsUser(const QString &command, qint64 *pid, QWindow::Visibility visibility,
                                 const QString &home, bool inheritEnvironment)
{
    if (!KvSecurity::isElevated())
        return startCommandDetached(command, pid, visibility, home, inheritEnvironment);
    HandleResult user = sessionUserToken();
    if (!user.handle)
        return startCommandAsRestricted(command, pid, visibility, home, inheritEnvironment);
    const Request request{command, pid, visibility, home, inheritEnvironment};
    const Attempt attempt =
        tryToStart(request, user.handle, [&user](const Processes &processes, const ProcessStart &start) {
            return processes.createProcessAsUser(user.handle, start);
        });
    user.handle.reset();
    if (attempt.needsElevation())
        return startCommandAsUserElevated(command, pid, visibility, home, inheritEnvironment);
    return tellWithUser({"[PROCESS] start as user:", "[FAIL] can't start as user:"}, request, attempt);
}

bool Process::startCommandAsRestricted(const QString &command, qint64 *pid, QWindow::Visibility visibility,
                                       const QString &home, bool inheritEnvironment)
{
    HandleResult own = Platform::current()->tokens->openOwnToken(KvPlatform::TokenAccess::Borrow);
    if (!own.handle) {
        qWarning() << "[FAIL] can't get current process token, err:" << own.error;
        return startCommandDetached(command, pid, visibility, home, inheritEnvironment);
    }
    NativeHandle restricted = KvSecurity::restrictedUserToken();
    if (!restricted) {
        own.handle.reset();
        return startCommandDetached(command, pid, visibility, home, inheritEnvironment);
    }
    const Request request{command, pid, visibility, home, inheritEnvironment};
    const Attempt attempt =
        tryToStart(request, own.handle, [&restricted](const Processes &processes, const ProcessStart &start) {
            return processes.createProcessWithToken(restricted, 0, start);
        });
    restricted.reset();
    own.handle.reset();
    if (attempt.needsElevation())
        return startCommandDetached(command, pid, visibility, home, inheritEnvironment);
    return tellWithUser({"[PROCESS] start as restricted:", "[FAIL] can't start as restricted:"}, request, attempt);
}

bool Process::startCommandDetached(const QString &command, qint64 *pid, QWindow::Visibility visibility,
                                   const QString &home, bool inheritEnvironment)
{
    NativeHandle own;
    if (!inheritEnvironment)
        own = Platform::current()->tokens->openOwnToken(KvPlatform::TokenAccess::Read).handle;
    const Request request{command, pid, visibility, home, inheritEnvironment};
    const Attempt attempt = tryToStart(request, own, [](const Processes &processes, const ProcessStart &start) {
        return processes.createProcess(start);
    });
    own.reset();
    if (attempt.needsElevation())
        return startCommandAsAdmin(command, pid, visibility, home);
    return tell({"[PROCESS] start detached:", "[FAIL] can't start detached:"}, request, attempt, nullptr);
}
