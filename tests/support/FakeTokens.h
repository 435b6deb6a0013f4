#pragma once

#include "FakeCalls.h"
#include "platform/Tokens.h"

#include <atomic>
#include <memory>
#include <utility>

/** A running process, as far as tokens are concerned. */
struct FakeProcess
{
    quint32 id = 0;
    QByteArray sid;                       ///< Of the token's user; empty if the question for it fails.
    std::optional<bool> elevated = false; ///< Nothing if the question for it fails.
    bool opens = true;
    bool tokenOpens = true;
    quint32 duplicateError = 0;
};

/**
 * The tokens of a table of processes. Tells the calls that it receives, with their constants, and the handles that are
 * closed; a handle is named after what it was opened for.
 */
class FakeProcesses final : public KvPlatform::Tokens
{
public:
    static constexpr quint64 PrivilegeId = 29;

    QList<FakeProcess> processes;
    quint32 sessionTokenError = 1314;
    quint32 linkedTokenError = 1312;
    quint32 ownTokenError = 0;
    quint32 lookupError = 0;
    quint32 adjustError = 0;
    int failingLists = 0;       ///< So many of the first lists fail.
    quint32 bytesOnFailure = 0; ///< What a failing list reports.
    mutable FakeCalls calls;

    /** The handles that are open now, and those that were ever opened. */
    int openHandles() const { return m_open; }
    int openedHandles() const { return m_opened; }

    /** What a handle was opened for; "nothing" for an empty one. */
    static QString nameOf(const KvPlatform::NativeHandle &handle)
    {
        return handle ? static_cast<const Object *>(handle.native())->name : QStringLiteral("nothing");
    }

    KvPlatform::HandleResult sessionUserToken(quint32 session) const override
    {
        calls.add(QStringLiteral("token of session %1").arg(session));
        return sessionTokenError == 0 ? open(QStringLiteral("user token"), nullptr) : failed(sessionTokenError);
    }

    KvPlatform::HandleResult linkedToken(const KvPlatform::NativeHandle &token) const override
    {
        calls.add(QLatin1String("link of ") + nameOf(token));
        return linkedTokenError == 0 ? open(QStringLiteral("linked token"), nullptr) : failed(linkedTokenError);
    }

    KvPlatform::HandleResult openOwnToken(quint32 access) const override
    {
        calls.add(QStringLiteral("own token %1").arg(access));
        return ownTokenError == 0 ? open(QStringLiteral("own token"), nullptr) : failed(ownTokenError);
    }

    std::optional<quint64> lookupPrivilege(const QString &name, quint32 *error) const override
    {
        calls.add(QLatin1String("privilege ") + name);
        if (lookupError == 0)
            return PrivilegeId;
        *error = lookupError;
        return std::nullopt;
    }

    quint32 adjustPrivilege(const KvPlatform::NativeHandle &token, quint64 privilege, quint32 attributes) const override
    {
        calls.add(QStringLiteral("adjust %1 %2 %3").arg(nameOf(token)).arg(privilege).arg(attributes));
        return adjustError;
    }

    KvPlatform::ProcessIds processIds(qsizetype capacity) const override
    {
        calls.add(QStringLiteral("list %1").arg(capacity));
        if (m_lists++ < failingLists)
            return {false, {}, bytesOnFailure};
        QList<quint32> ids;
        for (const FakeProcess &process : processes) {
            if (ids.size() < capacity)
                ids.append(process.id);
        }
        return {true, ids, static_cast<quint32>(ids.size() * 4)};
    }

    KvPlatform::HandleResult openProcess(quint32 access, quint32 processId) const override
    {
        calls.add(QStringLiteral("open %1 %2").arg(processId).arg(access));
        for (const FakeProcess &process : processes) {
            if (process.id == processId && process.opens)
                return open(QStringLiteral("process %1").arg(processId), &process);
        }
        return failed(5);
    }

    KvPlatform::HandleResult openProcessToken(const KvPlatform::NativeHandle &process, quint32 access) const override
    {
        const FakeProcess &opened = processOf(process);
        calls.add(QStringLiteral("token of %1 0x%2").arg(nameOf(process), QString::number(access, 16)));
        return opened.tokenOpens ? open(QStringLiteral("token %1").arg(opened.id), &opened) : failed(5);
    }

    std::optional<bool> isElevated(const KvPlatform::NativeHandle &token) const override
    {
        calls.add(QLatin1String("elevation of ") + nameOf(token));
        return processOf(token).elevated;
    }

    std::optional<QByteArray> userSid(const KvPlatform::NativeHandle &token) const override
    {
        calls.add(QLatin1String("user of ") + nameOf(token));
        const QByteArray &sid = processOf(token).sid;
        return sid.isEmpty() ? std::nullopt : std::optional<QByteArray>(sid);
    }

    KvPlatform::HandleResult duplicate(const KvPlatform::NativeHandle &token, quint32 access, int impersonationLevel,
                                       int type) const override
    {
        const FakeProcess &process = processOf(token);
        calls.add(QStringLiteral("copy %1 0x%2 %3 %4")
                      .arg(nameOf(token), QString::number(access, 16))
                      .arg(impersonationLevel)
                      .arg(type));
        if (process.duplicateError != 0)
            return failed(process.duplicateError);
        return open(QStringLiteral("copy of token %1").arg(process.id), &process);
    }

private:
    struct Object
    {
        QString name;
        const FakeProcess *process;
    };

    static KvPlatform::HandleResult failed(quint32 error) { return {KvPlatform::NativeHandle(), error}; }

    static const FakeProcess &processOf(const KvPlatform::NativeHandle &handle)
    {
        return *static_cast<const Object *>(handle.native())->process;
    }

    /** The handle must be closed before this object goes. */
    KvPlatform::HandleResult open(const QString &name, const FakeProcess *process) const
    {
        ++m_open;
        ++m_opened;
        const auto close = [this](void *native) {
            const std::unique_ptr<const Object> object(static_cast<const Object *>(native));
            --m_open;
            calls.add(QLatin1String("close ") + object->name);
        };
        return {KvPlatform::NativeHandle(new Object{name, process}, close), 0};
    }

    mutable std::atomic<int> m_open{0};
    mutable std::atomic<int> m_opened{0};
    mutable std::atomic<int> m_lists{0};
};
