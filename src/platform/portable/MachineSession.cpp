#include "platform/portable/MachineSession.h"

#include "platform/portable/WindowsNames.h"
#include "platform/SystemValues.h"

namespace KvPlatform {

namespace {

// Access rights and kinds of tokens under their published values.
constexpr quint32 ProcessQueryInformation = 0x400;
constexpr quint32 ProcessQueryLimitedInformation = 0x1000;

/** What a handle of this back-end points to. */
struct Object
{
    enum Kind
    {
        Process,
        Token
    };

    Kind kind = Token;
    quint32 access = 0;
    bool elevated = false;
    QByteArray sid;
};

NativeHandle makeHandle(Object object)
{
    return NativeHandle(new Object(std::move(object)), [](void *native) { delete static_cast<Object *>(native); });
}

const Object *objectOf(const NativeHandle &handle, Object::Kind kind)
{
    const auto *const object = static_cast<const Object *>(handle.native());
    return object && object->kind == kind ? object : nullptr;
}

const Object *tokenWith(const NativeHandle &handle, quint32 access)
{
    const Object *const token = objectOf(handle, Object::Token);
    return token && (token->access & access) == access ? token : nullptr;
}

QByteArray sidOf(const std::optional<MachineUser> &user)
{
    return user ? user->sid : QByteArray();
}

} // namespace

MachineSession::MachineSession(const MachineFacts &facts)
    : m_consoleUser(facts.consoleUser)
    , m_processUser(facts.processUser)
    , m_elevated(facts.elevated)
{}

quint32 MachineSession::activeConsoleSession() const
{
    return m_consoleUser ? ConsoleSession : NoSession;
}

std::optional<QString> MachineSession::sessionUserName(quint32 session) const
{
    if (session != ConsoleSession || !m_consoleUser)
        return std::nullopt;
    return m_consoleUser->name;
}

std::optional<Account> MachineSession::lookupAccount(const QString &name) const
{
    for (const std::optional<MachineUser> &user : {m_consoleUser, m_processUser}) {
        if (user && !user->sid.isEmpty() && !name.isEmpty() && upperCased(user->name) == upperCased(name))
            return Account{user->sid, user->sidText, user->domain};
    }
    return std::nullopt;
}

std::optional<bool> MachineSession::isProcessElevated() const
{
    return m_elevated;
}

MachineTokens::MachineTokens(const MachineFacts &facts)
    : m_consoleUser(facts.consoleUser)
    , m_processUser(facts.processUser)
    , m_elevated(facts.elevated)
    , m_facts(facts.tokens)
{}

HandleResult MachineTokens::sessionUserToken(quint32 session) const
{
    if (!m_facts.session)
        return {NativeHandle(), SystemError::PrivilegeNotHeld};
    if (session != MachineSession::ConsoleSession || !m_consoleUser)
        return {NativeHandle(), SystemError::NoToken};
    return {makeHandle({Object::Token, TokenAccess::All, false, m_consoleUser->sid}), 0};
}

HandleResult MachineTokens::openOwnToken(quint32 access) const
{
    return {makeHandle({Object::Token, access, m_elevated, sidOf(m_processUser)}), 0};
}

std::optional<quint64> MachineTokens::lookupPrivilege(const QString &name, quint32 *error) const
{
    // The ids that every Windows gives these privileges.
    static constexpr std::pair<const char16_t *, quint64> Privileges[] = {
        {u"SeAssignPrimaryTokenPrivilege", 3},
        {u"SeIncreaseQuotaPrivilege", 5},
        {u"SeTcbPrivilege", 7},
        {u"SeDebugPrivilege", 20},
        {u"SeImpersonatePrivilege", 29},
    };
    for (const auto &[known, id] : Privileges) {
        if (name.compare(QStringView(known), Qt::CaseInsensitive) == 0)
            return id;
    }
    if (error)
        *error = SystemError::NoSuchPrivilege;
    return std::nullopt;
}

quint32 MachineTokens::adjustPrivilege(const NativeHandle &token, quint64, quint32) const
{
    if (!objectOf(token, Object::Token))
        return SystemError::InvalidHandle;
    return tokenWith(token, TokenAccess::AdjustPrivileges) ? 0 : SystemError::AccessDenied;
}

ProcessIds MachineTokens::processIds(qsizetype capacity) const
{
    ProcessIds result;
    result.succeeded = true;
    result.ids = {OwnProcess};
    if (m_facts.borrowed && m_consoleUser)
        result.ids.append(UserProcess);
    result.ids.resize(qBound(qsizetype(0), capacity, result.ids.size()));
    result.bytesReturned = quint32(result.ids.size()) * quint32(sizeof(quint32));
    return result;
}

HandleResult MachineTokens::openProcess(quint32 access, quint32 processId) const
{
    if (processId == OwnProcess)
        return {makeHandle({Object::Process, access, m_elevated, sidOf(m_processUser)}), 0};
    if (processId == UserProcess && m_facts.borrowed && m_consoleUser)
        return {makeHandle({Object::Process, access, false, m_consoleUser->sid}), 0};
    return {NativeHandle(), SystemError::InvalidParameter};
}

HandleResult MachineTokens::openProcessToken(const NativeHandle &process, quint32 access) const
{
    const Object *const object = objectOf(process, Object::Process);
    if (!object)
        return {NativeHandle(), SystemError::InvalidHandle};
    if (!(object->access & (ProcessQueryInformation | ProcessQueryLimitedInformation)))
        return {NativeHandle(), SystemError::AccessDenied};
    return {makeHandle({Object::Token, access, object->elevated, object->sid}), 0};
}

std::optional<bool> MachineTokens::isElevated(const NativeHandle &token) const
{
    const Object *const object = tokenWith(token, TokenAccess::Query);
    return object ? std::optional<bool>(object->elevated) : std::nullopt;
}

std::optional<QByteArray> MachineTokens::userSid(const NativeHandle &token) const
{
    const Object *const object = tokenWith(token, TokenAccess::Query);
    return object && !object->sid.isEmpty() ? std::optional<QByteArray>(object->sid) : std::nullopt;
}

HandleResult MachineTokens::linkedToken(const NativeHandle &token) const
{
    if (!objectOf(token, Object::Token))
        return {NativeHandle(), SystemError::InvalidHandle};
    const Object *const object = tokenWith(token, TokenAccess::Query);
    if (!object)
        return {NativeHandle(), SystemError::AccessDenied};
    if (!m_facts.linked)
        return {NativeHandle(), SystemError::NoSuchLogonSession};
    return {makeHandle({Object::Token, TokenAccess::All, !object->elevated, object->sid}), 0};
}

HandleResult MachineTokens::duplicate(const NativeHandle &token, quint32 access, int impersonationLevel, int type) const
{
    if (!objectOf(token, Object::Token))
        return {NativeHandle(), SystemError::InvalidHandle};
    const Object *const object = tokenWith(token, TokenAccess::Duplicate);
    if (!object)
        return {NativeHandle(), SystemError::AccessDenied};
    if (impersonationLevel < 0 || impersonationLevel > 3 || type < 1 || type > 2)
        return {NativeHandle(), SystemError::InvalidParameter};
    // No access asked for means that of the token given.
    return {makeHandle({Object::Token, access ? access : object->access, object->elevated, object->sid}), 0};
}

} // namespace KvPlatform
