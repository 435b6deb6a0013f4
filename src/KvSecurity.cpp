#include "KvSecurity.h"

#include "platform/Platform.h"
#include "platform/Session.h"
#include "platform/SystemValues.h"
#include "platform/Tokens.h"

#include <QtCore/QDebug>
#include <QtCore/QMutex>

#include <algorithm>
#include <array>
#include <cstring>

using KvPlatform::HandleResult;
using KvPlatform::NativeHandle;
using KvPlatform::Tokens;

namespace {

// Access rights and constants of winnt.h.
constexpr quint32 PrivilegeEnabled = 0x0002;
constexpr quint32 ProcessQueryInformation = 0x0400;
constexpr quint32 TokenStartProcess =
    0x018B; // TOKEN_ASSIGN_PRIMARY, _DUPLICATE, _QUERY, _ADJUST_DEFAULT, _ADJUST_SESSIONID
constexpr int SecurityImpersonation = 2;
constexpr int TokenPrimary = 1;

constexpr qsizetype ProcessIdCapacity = 4096;

struct State
{
    QMutex mutex;
    QString userName;
    QString domainName;
    QString userSidText; // Empty until a user has been found.
    std::array<unsigned char, KvSecurity::MaxSidSize> userSid{};
    bool elevated = false;
    bool impersonateEnabled = false;
};

State &state()
{
    // Never destroyed: a background job may still ask while the process ends.
    static State *const state = new State;
    return *state;
}

/** What one attempt to look the user up has met; told after the lock is gone, since a log handler may ask us again. */
enum class Lookup
{
    NotNeeded,
    NoSession,
    NoAccount,
    Done
};

Lookup lookupUser(State &state)
{
    if (!state.userSidText.isEmpty())
        return Lookup::NotNeeded;
    const std::shared_ptr<KvPlatform::Session> session = KvPlatform::Platform::current()->session;
    const std::optional<QString> name = session->sessionUserName(session->activeConsoleSession());
    if (!name)
        return Lookup::NoSession;
    const std::optional<KvPlatform::Account> account = session->lookupAccount(*name);
    if (account) {
        const qsizetype size = std::min<qsizetype>(account->sid.size(), KvSecurity::MaxSidSize);
        std::memcpy(state.userSid.data(), account->sid.constData(), static_cast<std::size_t>(size));
        state.userName = *name;
        state.domainName = account->domainName.left(256);
        state.userSidText = account->sidText;
    }
    if (const std::optional<bool> elevated = session->isProcessElevated())
        state.elevated = *elevated;
    return account ? Lookup::Done : Lookup::NoAccount;
}

void initialize()
{
    bool elevated = false;
    Lookup outcome = Lookup::NotNeeded;
    {
        const QMutexLocker lock(&state().mutex);
        outcome = lookupUser(state());
        elevated = state().elevated;
    }
    if (outcome == Lookup::NotNeeded)
        return;
    if (outcome == Lookup::NoSession) {
        qWarning() << "[FAIL] can not query session info";
        return;
    }
    if (outcome == Lookup::NoAccount)
        qWarning() << "[FAIL] can not lookup account name";
    qInfo().noquote() << "[KvSecurity] inited, elevated:" << elevated;
}

/** Makes the process's own right to act for a user effective; once that has worked it is not done again. */
bool enableImpersonation(const Tokens &tokens)
{
    {
        const QMutexLocker lock(&state().mutex);
        if (state().impersonateEnabled)
            return true;
    }
    const HandleResult own = tokens.openOwnToken(KvPlatform::TokenAccess::AdjustPrivileges);
    if (!own.handle) {
        qWarning() << "[FAIL] can't open current process token to adjust privileges, err:" << own.error;
        return false;
    }
    quint32 error = 0;
    const auto privilege = tokens.lookupPrivilege(QStringLiteral("SeImpersonatePrivilege"), &error);
    if (!privilege) {
        qWarning() << "[FAIL] can't lookup privilege value, err:" << error;
        return false;
    }
    error = tokens.adjustPrivilege(own.handle, *privilege, PrivilegeEnabled);
    if (error != 0) {
        qWarning() << "[FAIL] can't adjust current process token, err:" << error;
        return false;
    }
    const QMutexLocker lock(&state().mutex);
    state().impersonateEnabled = true;
    return true;
}

QList<quint32> processIds(const Tokens &tokens)
{
    KvPlatform::ProcessIds processes = tokens.processIds(ProcessIdCapacity);
    if (!processes.succeeded) {
        const auto reported = static_cast<qsizetype>(processes.bytesReturned / sizeof(quint32));
        // A failure may well report nothing; the list that is there has its room all the same.
        processes = tokens.processIds(std::max(ProcessIdCapacity, reported));
    }
    return processes.succeeded ? processes.ids : QList<quint32>();
}

/** A copy of a process's token, if it is the user's and not elevated. */
NativeHandle borrowToken(const Tokens &tokens, quint32 processId, const QByteArray &wantedSid)
{
    NativeHandle process = tokens.openProcess(ProcessQueryInformation, processId).handle;
    if (!process)
        return {};
    const NativeHandle token = tokens.openProcessToken(process, KvPlatform::TokenAccess::Borrow).handle;
    process.reset();
    if (!token || tokens.isElevated(token).value_or(true))
        return {};
    const std::optional<QByteArray> sid = tokens.userSid(token);
    if (!sid || *sid != wantedSid)
        return {};
    HandleResult copy = tokens.duplicate(token, TokenStartProcess, SecurityImpersonation, TokenPrimary);
    if (!copy.handle)
        qWarning() << "[FAIL] can't create restricted token, err:" << copy.error;
    return std::move(copy.handle);
}

/** The user's SID without the rest of its buffer; its second byte counts the 32-bit parts behind the eight first bytes.
 */
QByteArray consoleUserSid()
{
    const unsigned char *const sid = KvSecurity::userSid();
    const int size = std::min(8 + 4 * int(sid[1]), KvSecurity::MaxSidSize);
    return QByteArray(reinterpret_cast<const char *>(sid), size);
}

} // namespace

bool KvSecurity::isElevated()
{
    initialize();
    const QMutexLocker lock(&state().mutex);
    return state().elevated;
}

QString KvSecurity::userName()
{
    initialize();
    const QMutexLocker lock(&state().mutex);
    return state().userName;
}

const unsigned char *KvSecurity::userSid()
{
    initialize();
    const QMutexLocker lock(&state().mutex);
    return state().userSid.data();
}

QString KvSecurity::userSidString()
{
    initialize();
    const QMutexLocker lock(&state().mutex);
    return state().userSidText;
}

NativeHandle KvSecurity::restrictedUserToken()
{
    const std::shared_ptr<Tokens> tokens = KvPlatform::Platform::current()->tokens;
    if (!enableImpersonation(*tokens))
        return {};
    const QByteArray wantedSid = consoleUserSid();
    const QList<quint32> ids = processIds(*tokens);
    for (const quint32 id : ids) {
        if (NativeHandle token = borrowToken(*tokens, id, wantedSid))
            return token;
    }
    return {};
}

void KvSecurity::forget()
{
    const QMutexLocker lock(&state().mutex);
    state().userName.clear();
    state().domainName.clear();
    state().userSidText.clear();
    state().userSid.fill(0);
    state().elevated = false;
    state().impersonateEnabled = false;
}
