#pragma once

#include "FakeTokens.h"
#include "platform/Processes.h"

#include <functional>

/**
 * Starts whose ends a test decides. Tells each call with all its values, and each handle that is closed, among the
 * calls of the tokens that it works with, so that their order shows.
 */
class FakeStarts final : public KvPlatform::Processes
{
public:
    static constexpr quint32 ProcessId = 4711;

    /** The tokens must outlive this object. */
    explicit FakeStarts(const FakeProcesses &tokens)
        : m_calls(tokens.calls)
    {}

    QList<quint32> errors; ///< Of the starts in turn; those behind the last succeed.
    bool hasProcess = true;
    bool hasBlock = true;
    std::optional<quint32> code = 259;
    bool opensUrls = true;
    mutable QList<KvPlatform::ShellStart> shellStarts;

    /** The blocks and handles that are open now, and those that were ever opened. */
    int openHandles() const { return m_open; }
    int openedHandles() const { return m_opened; }

    /** How many starts were asked for. */
    int starts() const { return m_starts; }

    KvPlatform::NativeHandle createEnvironmentBlock(const KvPlatform::NativeHandle &token, bool inherit) const override
    {
        m_calls.add(QStringLiteral("block of %1 %2").arg(FakeProcesses::nameOf(token)).arg(int(inherit)));
        return hasBlock ? open(QStringLiteral("block")) : KvPlatform::NativeHandle();
    }

    KvPlatform::StartResult createProcess(const KvPlatform::ProcessStart &start) const override
    {
        return finish(QStringLiteral("create"), start);
    }

    KvPlatform::StartResult createProcessAsUser(const KvPlatform::NativeHandle &token,
                                                const KvPlatform::ProcessStart &start) const override
    {
        return finish(QLatin1String("create as ") + FakeProcesses::nameOf(token), start);
    }

    KvPlatform::StartResult createProcessWithToken(const KvPlatform::NativeHandle &token, quint32 logonFlags,
                                                   const KvPlatform::ProcessStart &start) const override
    {
        return finish(QStringLiteral("create with %1 %2").arg(FakeProcesses::nameOf(token)).arg(logonFlags), start);
    }

    KvPlatform::StartResult shellExecute(const KvPlatform::ShellStart &start) const override
    {
        m_calls.add(QStringLiteral("%1 <%2> <%3> in <%4> mask 0x%5 show %6")
                        .arg(start.verb, start.file, start.parameters, start.directory, QString::number(start.mask, 16))
                        .arg(start.showCommand));
        shellStarts.append(start);
        const quint32 error = errors.value(m_starts++, 0);
        const bool isKept = error == 0 && hasProcess && (start.mask & 0x40) != 0;
        return {error == 0, error, isKept ? open(QStringLiteral("process")) : KvPlatform::NativeHandle(),
                KvPlatform::NativeHandle()};
    }

    std::optional<quint32> exitCode(const KvPlatform::NativeHandle &process) const override
    {
        m_calls.add(QLatin1String("exit code of ") + nameOf(process));
        return code;
    }

    quint32 processId(const KvPlatform::NativeHandle &process) const override
    {
        m_calls.add(QLatin1String("id of ") + nameOf(process));
        return ProcessId;
    }

    bool openUrl(const QUrl &url) const override
    {
        m_calls.add(QLatin1String("open ") + url.toString(QUrl::FullyEncoded));
        return opensUrls;
    }

private:
    static QString nameOf(const KvPlatform::NativeHandle &handle)
    {
        return handle ? *static_cast<const QString *>(handle.native()) : QStringLiteral("nothing");
    }

    KvPlatform::StartResult finish(const QString &call, const KvPlatform::ProcessStart &start) const
    {
        const QString environment = start.environment ? nameOf(start.environment) : QStringLiteral("inherited");
        m_calls.add(QStringLiteral("%1 <%2> in <%3> flags 0x%4 startup %5 show %6 environment %7")
                        .arg(call, start.command, start.directory, QString::number(start.flags, 16))
                        .arg(start.startupFlags)
                        .arg(start.showCommand)
                        .arg(environment));
        const quint32 error = errors.value(m_starts++, 0);
        if (error != 0)
            return {false, error, KvPlatform::NativeHandle(), KvPlatform::NativeHandle()};
        if (!hasProcess)
            return {true, 0, KvPlatform::NativeHandle(), KvPlatform::NativeHandle()};
        return {true, 0, open(QStringLiteral("process")), open(QStringLiteral("thread"))};
    }

    /** The handle must be closed before this object goes. */
    KvPlatform::NativeHandle open(const QString &name) const
    {
        ++m_open;
        ++m_opened;
        const auto close = [this](void *native) {
            const std::unique_ptr<const QString> closed(static_cast<const QString *>(native));
            --m_open;
            m_calls.add(QLatin1String("close ") + *closed);
        };
        return KvPlatform::NativeHandle(new QString(name), close);
    }

    FakeCalls &m_calls;
    mutable std::atomic<int> m_open{0};
    mutable std::atomic<int> m_opened{0};
    mutable std::atomic<int> m_starts{0};
};
