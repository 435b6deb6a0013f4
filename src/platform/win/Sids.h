#pragma once

#include <QtCore/QByteArray>

#include <windows.h>

namespace KvPlatform {

/** The bytes of a security identifier; empty if it isn't a valid one. Format: [MS-DTYP] 2.4.2. */
inline QByteArray sidBytes(PSID sid)
{
    if (!sid || !IsValidSid(sid))
        return QByteArray();
    return QByteArray(static_cast<const char *>(sid), static_cast<qsizetype>(GetLengthSid(sid)));
}

} // namespace KvPlatform
