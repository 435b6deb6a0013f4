#pragma once

#include "FakeCalls.h"
#include "platform/ProcessTable.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

/** A process, and how the system answers for it. */
struct FakeTableProcess
{
    QString executable;
    std::optional<QString> path = std::nullopt;
    std::optional<quint32> code = KvPlatform::ProcessTable::StillActive; ///< Nothing if the question for it fails.
    quint32 pollResult = KvPlatform::ProcessTable::WaitTimeout;
    std::optional<quint32> codeAfterPoll = std::nullopt; ///< If set, the process ends when it is polled.
    quint32 terminateError = 0;
    bool opens = true;
    bool canBeWatched = true;
};

/**
 * A table of processes that does what a test says. Tells the calls that it receives, with their constants, and the
 * handles that are closed. Set up while nobody watches; the ends are told by the test, on whichever thread it likes,
 * even after the wait has ended.
 */
class FakeProcessTable final : public KvPlatform::ProcessTable
{
public:
    static constexpr quint32 ExitCodeError = 6;
    static constexpr quint32 OpenError = 5;

    QList<std::pair<quint32, FakeTableProcess>> processes; ///< By id, in the system's order.
    bool lists = true;
    mutable FakeCalls calls;

    /** What the spies were given to be called at the ends, in their order. Never forgotten by itself. */
    mutable QList<std::function<void()>> callbacks;

    FakeTableProcess &add(quint32 id, const QString &executable, const std::optional<QString> &path = std::nullopt)
    {
        FakeTableProcess process;
        process.executable = executable;
        process.path = path;
        processes.append({id, process});
        return processes.last().second;
    }

    FakeTableProcess &at(quint32 id) { return *const_cast<FakeTableProcess *>(find(id)); }

    /** The process ends, and whoever watches it at the moment is told on this thread. */
    void end(quint32 id, std::optional<quint32> code, int watcher = 0)
    {
        at(id).code = code;
        at(id).pollResult = 0;
        callbacks.at(watcher)();
    }

    /** Handles that are open now: processes, waits and snapshots. */
    int openHandles() const { return m_open; }

    std::unique_ptr<KvPlatform::ProcessSnapshot> snapshot() const override
    {
        calls.add(QStringLiteral("snapshot"));
        return lists ? std::make_unique<Snapshot>(*this) : nullptr;
    }

    KvPlatform::HandleResult open(quint32 access, quint32 processId) const override
    {
        calls.add(QStringLiteral("open %1 0x%2").arg(processId).arg(access, 0, 16));
        const FakeTableProcess *const process = find(processId);
        if (!process || !process->opens)
            return {KvPlatform::NativeHandle(), OpenError};
        return {makeHandle(QStringLiteral("process"), processId), 0};
    }

    std::optional<QString> programPath(const KvPlatform::NativeHandle &process, qsizetype capacity) const override
    {
        calls.add(QStringLiteral("path %1 %2").arg(idOf(process)).arg(capacity));
        return find(idOf(process))->path;
    }

    std::optional<quint32> exitCode(const KvPlatform::NativeHandle &process, quint32 *error) const override
    {
        calls.add(QStringLiteral("code %1").arg(idOf(process)));
        const FakeTableProcess *const asked = find(idOf(process));
        const std::optional<quint32> code = m_isPolled && asked->codeAfterPoll ? asked->codeAfterPoll : asked->code;
        if (!code && error)
            *error = ExitCodeError;
        return code;
    }

    quint32 poll(const KvPlatform::NativeHandle &process) const override
    {
        calls.add(QStringLiteral("poll %1").arg(idOf(process)));
        m_isPolled = true;
        return find(idOf(process))->pollResult;
    }

    KvPlatform::HandleResult callAtEnd(const KvPlatform::NativeHandle &process,
                                       std::function<void()> callback) const override
    {
        calls.add(QStringLiteral("watch %1").arg(idOf(process)));
        if (!find(idOf(process))->canBeWatched)
            return {KvPlatform::NativeHandle(), OpenError};
        callbacks.append(std::move(callback));
        return {makeHandle(QStringLiteral("wait"), idOf(process)), 0};
    }

    quint32 terminate(const KvPlatform::NativeHandle &process, quint32 exitCode) const override
    {
        calls.add(QStringLiteral("terminate %1 0x%2").arg(idOf(process)).arg(exitCode, 0, 16));
        return find(idOf(process))->terminateError;
    }

private:
    class Snapshot final : public KvPlatform::ProcessSnapshot
    {
    public:
        explicit Snapshot(const FakeProcessTable &table)
            : m_table(table)
        {
            ++m_table.m_open;
        }

        ~Snapshot() override
        {
            --m_table.m_open;
            m_table.calls.add(QStringLiteral("close snapshot"));
        }

        Snapshot(const Snapshot &) = delete;
        Snapshot &operator=(const Snapshot &) = delete;

        std::optional<KvPlatform::ListedProcess> next() override
        {
            if (m_at >= m_table.processes.size())
                return std::nullopt;
            const auto &[id, process] = m_table.processes.at(m_at++);
            m_table.calls.add(QStringLiteral("next %1").arg(id));
            return KvPlatform::ListedProcess{id, process.executable};
        }

    private:
        const FakeProcessTable &m_table;
        qsizetype m_at = 0;
    };

    struct Object
    {
        QString name;
        quint32 id;
    };

    static quint32 idOf(const KvPlatform::NativeHandle &handle)
    {
        return static_cast<const Object *>(handle.native())->id;
    }

    const FakeTableProcess *find(quint32 id) const
    {
        for (const auto &[known, process] : processes) {
            if (known == id)
                return &process;
        }
        return nullptr;
    }

    /** The handle must be closed before this object goes. */
    KvPlatform::NativeHandle makeHandle(const QString &name, quint32 id) const
    {
        ++m_open;
        return KvPlatform::NativeHandle(new Object{name, id}, [this](void *native) {
            const std::unique_ptr<const Object> object(static_cast<const Object *>(native));
            --m_open;
            calls.add(QStringLiteral("close %1 %2").arg(object->name).arg(object->id));
        });
    }

    mutable std::atomic<int> m_open{0};
    mutable std::atomic<bool> m_isPolled{false};
};
