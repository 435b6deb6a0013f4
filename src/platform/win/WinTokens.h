#pragma once

#include "platform/Tokens.h"

namespace KvPlatform {

/** The computer's access tokens and processes. May be called from any thread. */
class WinTokens final : public Tokens
{
public:
    HandleResult sessionUserToken(quint32 session) const override;
    HandleResult openOwnToken(quint32 access) const override;
    std::optional<quint64> lookupPrivilege(const QString &name, quint32 *error) const override;
    quint32 adjustPrivilege(const NativeHandle &token, quint64 privilege, quint32 attributes) const override;

    /** At most 1048576 ids, whatever the capacity. */
    ProcessIds processIds(qsizetype capacity) const override;

    HandleResult openProcess(quint32 access, quint32 processId) const override;
    HandleResult openProcessToken(const NativeHandle &process, quint32 access) const override;
    std::optional<bool> isElevated(const NativeHandle &token) const override;
    std::optional<QByteArray> userSid(const NativeHandle &token) const override;
    HandleResult linkedToken(const NativeHandle &token) const override;
    HandleResult duplicate(const NativeHandle &token, quint32 access, int impersonationLevel, int type) const override;
};

} // namespace KvPlatform
