#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

namespace KvPlatform {

/** What the system knows of an account name. */
struct Account
{
    QByteArray sid;     ///< The security identifier in binary form, at most 68 bytes.
    QString sidText;    ///< The same as text ("S-1-5-..."); empty if the conversion failed.
    QString domainName; ///< The referenced domain.
};

/** Who sits at the console, and what this process may do. */
class Session
{
public:
    virtual ~Session();

    /** The session at the console; 0xFFFFFFFF if there is none. Source: WTSGetActiveConsoleSessionId. */
    virtual quint32 activeConsoleSession() const;

    /** The name of the user signed in to `session`. Source: WTSQuerySessionInformationW, class WTSUserName. */
    virtual std::optional<QString> sessionUserName(quint32 session) const;

    /** The account called `name`. Source: LookupAccountNameW, ConvertSidToStringSidW. */
    virtual std::optional<Account> lookupAccount(const QString &name) const;

    /** Whether this process's token is elevated; nothing if it can't be told. Source: TokenElevation. */
    virtual std::optional<bool> isProcessElevated() const;
};

} // namespace KvPlatform
