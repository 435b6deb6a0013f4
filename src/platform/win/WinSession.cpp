#include "platform/win/WinSession.h"

#include "platform/win/Handles.h"
#include "platform/win/Sids.h"
#include "platform/win/WinTokens.h"

#include <sddl.h>

#include <array>

namespace KvPlatform {

namespace {

constexpr DWORD DomainCapacity = 256;

QString sidText(PSID sid)
{
    UniqueLocalMemory<wchar_t> text;
    return ConvertSidToStringSidW(sid, text.put()) ? QString::fromWCharArray(text.get()) : QString();
}

} // namespace

quint32 WinSession::activeConsoleSession() const
{
    return WTSGetActiveConsoleSessionId();
}

std::optional<QString> WinSession::sessionUserName(quint32 session) const
{
    UniqueSessionMemory<wchar_t> name;
    DWORD bytes = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, WTSUserName, name.put(), &bytes) || !name)
        return std::nullopt;
    return QString::fromWCharArray(name.get());
}

std::optional<Account> WinSession::lookupAccount(const QString &name) const
{
    alignas(DWORD) std::array<char, SECURITY_MAX_SID_SIZE> sid{};
    std::array<wchar_t, DomainCapacity> domain{};
    DWORD sidSize = static_cast<DWORD>(sid.size());
    DWORD domainSize = DomainCapacity;
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountNameW(nullptr, wide(name), sid.data(), &sidSize, domain.data(), &domainSize, &use))
        return std::nullopt;
    return Account{sidBytes(sid.data()), sidText(sid.data()), QString::fromWCharArray(domain.data())};
}

std::optional<bool> WinSession::isProcessElevated() const
{
    const WinTokens tokens;
    const HandleResult own = tokens.openOwnToken(TOKEN_QUERY);
    return own.handle ? tokens.isElevated(own.handle) : std::nullopt;
}

} // namespace KvPlatform
