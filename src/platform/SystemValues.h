#pragma once

#include <QtCore/QtGlobal>

// Numbers of Windows that pass the border to the system in both directions, for code that knows no windows.h.
namespace KvPlatform {

/** System error codes (Microsoft Learn, "System Error Codes"). */
namespace SystemError {

constexpr quint32 FileNotFound = 2;
constexpr quint32 TooManyOpenFiles = 4;
constexpr quint32 AccessDenied = 5;
constexpr quint32 InvalidHandle = 6;
constexpr quint32 NotEnoughMemory = 8;
constexpr quint32 InvalidParameter = 87;
constexpr quint32 CallNotImplemented = 120;
constexpr quint32 ElevationRequired = 740;
constexpr quint32 NoToken = 1008;
constexpr quint32 KeyDeleted = 1018;
constexpr quint32 NotFound = 1168;
constexpr quint32 NoSuchLogonSession = 1312;
constexpr quint32 NoSuchPrivilege = 1313;
constexpr quint32 PrivilegeNotHeld = 1314;

} // namespace SystemError

/** Rights to an access token (winnt.h). */
namespace TokenAccess {

constexpr quint32 Duplicate = 0x2;
constexpr quint32 Query = 0x8;
constexpr quint32 AdjustPrivileges = 0x20;
constexpr quint32 ReadControl = 0x20000;
constexpr quint32 Read = ReadControl | Query;
/** What it takes to lend a token to a thread or a process. */
constexpr quint32 Borrow = ReadControl | Query | Duplicate;
constexpr quint32 All = 0xF01FF;

} // namespace TokenAccess

/** SEE_MASK_NOCLOSEPROCESS: a start through the shell gives the process's handle. */
constexpr quint32 KeepProcess = 0x40;
/** What WTSGetActiveConsoleSessionId gives without a session at the console. */
constexpr quint32 NoSession = 0xFFFFFFFF;
/** WAIT_FAILED. */
constexpr quint32 WaitFailed = 0xFFFFFFFF;

} // namespace KvPlatform
