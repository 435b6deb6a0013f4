#include "platform/win/WinTokens.h"

#include "platform/win/Handles.h"
#include "platform/win/Sids.h"

#include <psapi.h>

#include <array>
#include <vector>

namespace KvPlatform {

namespace {

constexpr qsizetype MostProcessIds = 1024 * 1024;

/** A result made at once after the call, before anything else can change the thread's last error. */
HandleResult resultOf(bool succeeded, UniqueHandle handle)
{
    const DWORD error = GetLastError();
    return succeeded ? HandleResult{toNative(std::move(handle)), 0} : HandleResult{NativeHandle(), error};
}

HandleResult tokenOf(HANDLE process, DWORD access)
{
    UniqueHandle token;
    const bool succeeded = OpenProcessToken(process, access, token.put());
    return resultOf(succeeded, std::move(token));
}

} // namespace

HandleResult WinTokens::sessionUserToken(quint32 session) const
{
    UniqueHandle token;
    const bool succeeded = WTSQueryUserToken(session, token.put());
    return resultOf(succeeded, std::move(token));
}

HandleResult WinTokens::openOwnToken(quint32 access) const
{
    return tokenOf(GetCurrentProcess(), access);
}

std::optional<quint64> WinTokens::lookupPrivilege(const QString &name, quint32 *error) const
{
    LUID id = {};
    if (LookupPrivilegeValueW(nullptr, wide(name), &id))
        return quint64(static_cast<quint32>(id.HighPart)) << 32 | id.LowPart;
    const DWORD code = GetLastError();
    if (error)
        *error = code;
    return std::nullopt;
}

quint32 WinTokens::adjustPrivilege(const NativeHandle &token, quint64 privilege, quint32 attributes) const
{
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Luid.LowPart = static_cast<DWORD>(privilege & 0xFFFFFFFF);
    privileges.Privileges[0].Luid.HighPart = static_cast<LONG>(privilege >> 32);
    privileges.Privileges[0].Attributes = attributes;
    const bool succeeded = AdjustTokenPrivileges(token.native(), FALSE, &privileges, 0, nullptr, nullptr);
    return succeeded ? 0 : GetLastError();
}

ProcessIds WinTokens::processIds(qsizetype capacity) const
{
    std::vector<DWORD> ids(static_cast<size_t>(qBound(qsizetype(0), capacity, MostProcessIds)));
    DWORD bytes = 0;
    ProcessIds result;
    result.succeeded = K32EnumProcesses(ids.data(), static_cast<DWORD>(ids.size() * sizeof(DWORD)), &bytes);
    result.bytesReturned = bytes;
    if (result.succeeded)
        result.ids = QList<quint32>(ids.begin(), ids.begin() + qMin<qsizetype>(bytes / sizeof(DWORD), ids.size()));
    return result;
}

HandleResult WinTokens::openProcess(quint32 access, quint32 processId) const
{
    UniqueHandle process(OpenProcess(access, FALSE, processId));
    const bool succeeded = static_cast<bool>(process);
    return resultOf(succeeded, std::move(process));
}

HandleResult WinTokens::openProcessToken(const NativeHandle &process, quint32 access) const
{
    return tokenOf(process.native(), access);
}

std::optional<bool> WinTokens::isElevated(const NativeHandle &token) const
{
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    if (!GetTokenInformation(token.native(), TokenElevation, &elevation, sizeof elevation, &size))
        return std::nullopt;
    return elevation.TokenIsElevated != 0;
}

std::optional<QByteArray> WinTokens::userSid(const NativeHandle &token) const
{
    struct
    {
        TOKEN_USER user;
        std::array<char, SECURITY_MAX_SID_SIZE> sid;
    } buffer = {};
    DWORD size = 0;
    if (!GetTokenInformation(token.native(), TokenUser, &buffer, sizeof buffer, &size))
        return std::nullopt;
    const QByteArray sid = sidBytes(buffer.user.User.Sid);
    return sid.isEmpty() ? std::nullopt : std::optional<QByteArray>(sid);
}

HandleResult WinTokens::linkedToken(const NativeHandle &token) const
{
    TOKEN_LINKED_TOKEN linked = {};
    DWORD size = 0;
    const bool succeeded = GetTokenInformation(token.native(), TokenLinkedToken, &linked, sizeof linked, &size);
    return resultOf(succeeded, UniqueHandle(linked.LinkedToken));
}

HandleResult WinTokens::duplicate(const NativeHandle &token, quint32 access, int impersonationLevel, int type) const
{
    UniqueHandle copy;
    const bool succeeded =
        DuplicateTokenEx(token.native(), access, nullptr, static_cast<SECURITY_IMPERSONATION_LEVEL>(impersonationLevel),
                         static_cast<TOKEN_TYPE>(type), copy.put());
    return resultOf(succeeded, std::move(copy));
}

} // namespace KvPlatform
