#pragma once

#include "platform/NativeHandle.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

namespace KvPlatform {

/** A handle, or the system's error code when it is empty. */
struct HandleResult
{
    NativeHandle handle;
    quint32 error = 0;
};

/** The system's answer to a request for the ids of all processes. */
struct ProcessIds
{
    bool succeeded = false;
    QList<quint32> ids;        ///< The ids that fitted, in the system's order.
    quint32 bytesReturned = 0; ///< The byte count that the system reported, also on failure.
};

/** Access tokens and privileges. Each operation is one call of the system with the constants that it is given. */
class Tokens
{
public:
    virtual ~Tokens();

    /** The primary token of the user signed in to `session`; empty without the right to it. Source: WTSQueryUserToken.
     */
    virtual HandleResult sessionUserToken(quint32 session) const;

    /** This process's own token. Source: OpenProcessToken on GetCurrentProcess. */
    virtual HandleResult openOwnToken(quint32 access) const;

    /** The local id of a privilege; on failure nothing, with the error code in `error`. Source: LookupPrivilegeValueW.
     */
    virtual std::optional<quint64> lookupPrivilege(const QString &name, quint32 *error) const;

    /**
     * Sets one privilege's attributes on a token; 0 or the error code of the call. A token that does not hold the
     * privilege still gives 0. Source: AdjustTokenPrivileges.
     */
    virtual quint32 adjustPrivilege(const NativeHandle &token, quint64 privilege, quint32 attributes) const;

    /** The ids of the processes, as many as fit into `capacity`. Source: K32EnumProcesses. */
    virtual ProcessIds processIds(qsizetype capacity) const;

    /** A process by id, without handle inheritance. Source: OpenProcess. */
    virtual HandleResult openProcess(quint32 access, quint32 processId) const;

    /** The token of a process. Source: OpenProcessToken. */
    virtual HandleResult openProcessToken(const NativeHandle &process, quint32 access) const;

    /** Whether a token is elevated. Source: GetTokenInformation, TokenElevation. */
    virtual std::optional<bool> isElevated(const NativeHandle &token) const;

    /** The binary SID of a token's user. Source: GetTokenInformation, TokenUser. */
    virtual std::optional<QByteArray> userSid(const NativeHandle &token) const;

    /** The other token of the same signed-in user: the elevated one of a limited one, and the other way round; empty if
     *  the user has only one. Source: GetTokenInformation, TokenLinkedToken. */
    virtual HandleResult linkedToken(const NativeHandle &token) const;

    /** A copy of a token, with null attributes. Source: DuplicateTokenEx. */
    virtual HandleResult duplicate(const NativeHandle &token, quint32 access, int impersonationLevel, int type) const;
};

} // namespace KvPlatform
