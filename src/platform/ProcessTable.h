#pragma once

#include "platform/NativeHandle.h"
#include "platform/Tokens.h"

#include <QtCore/QString>

#include <functional>
#include <memory>
#include <optional>

namespace KvPlatform {

/** A process as the system's list has it. */
struct ListedProcess
{
    quint32 id = 0;
    QString executable; ///< The program's bare file name.
};

/** The processes of one moment, one at a time and in the system's order. Used on one thread. */
class ProcessSnapshot
{
public:
    virtual ~ProcessSnapshot();

    /** The next process; nothing behind the last. Source: Process32FirstW, Process32NextW. */
    virtual std::optional<ListedProcess> next() = 0;
};

/**
 * The running processes: who they are, and when they end. Each operation is one call of the system with the constants
 * that it is given.
 */
class ProcessTable
{
public:
    static constexpr quint32 StillActive = 259; ///< The exit code of a process that runs; one may also end with it.
    static constexpr quint32 WaitTimeout = 258; ///< What poll gives while the process runs.

    virtual ~ProcessTable();

    /** All processes of now; null if the system refuses. Source: CreateToolhelp32Snapshot, TH32CS_SNAPPROCESS. */
    virtual std::unique_ptr<ProcessSnapshot> snapshot() const;

    /** A process by id, without handle inheritance. Source: OpenProcess. */
    virtual HandleResult open(quint32 access, quint32 processId) const;

    /**
     * The path of a process's program with native separators, at most `capacity` UTF-16 units of it. Source:
     * K32GetModuleFileNameExW without a module.
     */
    virtual std::optional<QString> programPath(const NativeHandle &process, qsizetype capacity) const;

    /** The exit code, StillActive before the end; on failure nothing, with the error code in `error`, which may be
     * null. Source: GetExitCodeProcess. */
    virtual std::optional<quint32> exitCode(const NativeHandle &process, quint32 *error) const;

    /**
     * Whether the process has ended, without waiting for it: 0 if so, WaitTimeout if not, 0xFFFFFFFF if it can't be
     * told. Source: WaitForSingleObject, time 0.
     */
    virtual quint32 poll(const NativeHandle &process) const;

    /**
     * Calls `callback` once on some other thread when the process ends, or soon if it has ended. Closing the handle
     * that this gives ends the wait; a callback that has begun by then goes on, and nobody waits for it. The process's
     * handle must stay open as long as this one. Source: RegisterWaitForSingleObject with INFINITE and
     * WT_EXECUTEONLYONCE, UnregisterWait.
     */
    virtual HandleResult callAtEnd(const NativeHandle &process, std::function<void()> callback) const;

    /** Ends a process with that exit code; 0 or the error code of the call. Source: TerminateProcess. */
    virtual quint32 terminate(const NativeHandle &process, quint32 exitCode) const;
};

} // namespace KvPlatform
