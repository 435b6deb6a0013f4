#pragma once

#include "FakeCalls.h"
#include "platform/Session.h"

#include <optional>

/** A console whose user comes, goes and can't be found as a test wants it; tells the calls that it receives. */
class FakeSession final : public KvPlatform::Session
{
public:
    quint32 number = 1;
    std::optional<QString> user;
    std::optional<KvPlatform::Account> account;
    std::optional<bool> elevated;
    mutable FakeCalls calls;

    /** A binary SID of authority 5 with `parts` 32-bit parts, each filled with `fill`. */
    static QByteArray sid(char fill, int parts = 5)
    {
        const char head[] = {1, static_cast<char>(parts), 0, 0, 0, 0, 0, 5};
        return QByteArray(head, sizeof head) + QByteArray(4 * parts, fill);
    }

    /** Signs somebody in. */
    void signIn(const QString &name, const QByteArray &sid, const QString &sidText)
    {
        user = name;
        account = KvPlatform::Account{sid, sidText, QStringLiteral("DESK")};
    }

    quint32 activeConsoleSession() const override
    {
        calls.add(QStringLiteral("session"));
        return number;
    }

    std::optional<QString> sessionUserName(quint32 session) const override
    {
        calls.add(QStringLiteral("user of %1").arg(session));
        return user;
    }

    std::optional<KvPlatform::Account> lookupAccount(const QString &name) const override
    {
        calls.add(QLatin1String("account of ") + name);
        return account;
    }

    std::optional<bool> isProcessElevated() const override
    {
        calls.add(QStringLiteral("elevated"));
        return elevated;
    }
};
