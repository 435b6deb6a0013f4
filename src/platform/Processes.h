#pragma once

#include "platform/NativeHandle.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

#include <optional>

namespace KvPlatform {

/** What the calls that create a process have in common. Handles are never inherited, security attributes are null. */
struct ProcessStart
{
    QString command;          ///< The whole command line; the program's path is its first part.
    QString directory;        ///< With backslashes; empty for the caller's own.
    NativeHandle environment; ///< From createEnvironmentBlock; empty for the caller's own.
    quint32 flags = 0;        ///< Creation flags, such as CREATE_NEW_PROCESS_GROUP.
    quint32 startupFlags = 0; ///< STARTUPINFOW::dwFlags.
    quint16 showCommand = 0;  ///< STARTUPINFOW::wShowWindow.
};

/** What the shell is asked to start. The verb and the file are passed as they are, even if they are empty. */
struct ShellStart
{
    QString verb;
    QString file;
    QString parameters; ///< Null to the shell if empty.
    QString directory;  ///< With backslashes; null to the shell if empty.
    quint32 mask = 0;   ///< SHELLEXECUTEINFOW::fMask.
    int showCommand = 0;
};

/** What a start gives. */
struct StartResult
{
    bool succeeded = false;
    quint32 error = 0;    ///< The system's code after a failure.
    NativeHandle process; ///< May be empty even after a success of the shell.
    NativeHandle thread;
};

/** Starts of programs. Each operation is one call of the system with the values that it is given. */
class Processes
{
public:
    virtual ~Processes();

    /**
     * The environment of a token's user; with `inherit` added to the caller's own. Empty after a failure, and closed by
     * DestroyEnvironmentBlock. An empty token stands for the system itself. Source: CreateEnvironmentBlock.
     */
    virtual NativeHandle createEnvironmentBlock(const NativeHandle &token, bool inherit) const;

    /** A process with the caller's token. Source: CreateProcessW. */
    virtual StartResult createProcess(const ProcessStart &start) const;

    /** A process with `token`. Source: CreateProcessAsUserW. */
    virtual StartResult createProcessAsUser(const NativeHandle &token, const ProcessStart &start) const;

    /** A process with `token`, made by the system's logon service. Source: CreateProcessWithTokenW. */
    virtual StartResult createProcessWithToken(const NativeHandle &token, quint32 logonFlags,
                                               const ProcessStart &start) const;

    /** Blocks as long as the shell asks the user for consent. Source: ShellExecuteExW. */
    virtual StartResult shellExecute(const ShellStart &start) const;

    /** The exit code, or 259 while the process runs; nothing after a failure. Source: GetExitCodeProcess. */
    virtual std::optional<quint32> exitCode(const NativeHandle &process) const;

    /** The process's id; 0 after a failure. Source: GetProcessId. */
    virtual quint32 processId(const NativeHandle &process) const;

    /** Hands an address to the system; whether it took it. Source: QDesktopServices::openUrl, with its threads. */
    virtual bool openUrl(const QUrl &url) const;
};

} // namespace KvPlatform
