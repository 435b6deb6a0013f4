#pragma once

#include "platform/Session.h"

namespace KvPlatform {

/** The computer's sessions and accounts. May be called from any thread. */
class WinSession final : public Session
{
public:
    quint32 activeConsoleSession() const override;
    std::optional<QString> sessionUserName(quint32 session) const override;
    std::optional<Account> lookupAccount(const QString &name) const override;
    std::optional<bool> isProcessElevated() const override;
};

} // namespace KvPlatform
