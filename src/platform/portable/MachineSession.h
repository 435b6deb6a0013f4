#pragma once

#include "platform/portable/MachineFacts.h"
#include "platform/Session.h"
#include "platform/Tokens.h"

namespace KvPlatform {

/** The session of a machine: its console is session 1 while somebody is signed in. Never changes. */
class MachineSession final : public Session
{
public:
    static constexpr quint32 ConsoleSession = 1;

    explicit MachineSession(const MachineFacts &facts);

    quint32 activeConsoleSession() const override;
    std::optional<QString> sessionUserName(quint32 session) const override;
    std::optional<Account> lookupAccount(const QString &name) const override;
    std::optional<bool> isProcessElevated() const override;

private:
    std::optional<MachineUser> m_consoleUser;
    std::optional<MachineUser> m_processUser;
    bool m_elevated;
};

/**
 * Stand-ins for tokens and processes, as the facts allow them: this process, and one that the console user runs without
 * elevation. A handle allows what it was opened for and fails with the system's error codes, as a real one does.
 */
class MachineTokens final : public Tokens
{
public:
    static constexpr quint32 OwnProcess = 1000;
    static constexpr quint32 UserProcess = 1004;

    explicit MachineTokens(const MachineFacts &facts);

    HandleResult sessionUserToken(quint32 session) const override;
    HandleResult openOwnToken(quint32 access) const override;
    std::optional<quint64> lookupPrivilege(const QString &name, quint32 *error) const override;
    quint32 adjustPrivilege(const NativeHandle &token, quint64 privilege, quint32 attributes) const override;
    ProcessIds processIds(qsizetype capacity) const override;
    HandleResult openProcess(quint32 access, quint32 processId) const override;
    HandleResult openProcessToken(const NativeHandle &process, quint32 access) const override;
    std::optional<bool> isElevated(const NativeHandle &token) const override;
    std::optional<QByteArray> userSid(const NativeHandle &token) const override;
    HandleResult linkedToken(const NativeHandle &token) const override;
    HandleResult duplicate(const NativeHandle &token, quint32 access, int impersonationLevel, int type) const override;

private:
    std::optional<MachineUser> m_consoleUser;
    std::optional<MachineUser> m_processUser;
    bool m_elevated;
    MachineTokenFacts m_facts;
};

} // namespace KvPlatform
