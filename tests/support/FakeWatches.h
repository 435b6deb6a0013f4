#pragma once

#include "FakeCalls.h"
#include "platform/RegistryWatch.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <algorithm>
#include <utility>

/** Registry keys that change when a test says so. Tells the calls that it receives; on one thread. */
class FakeWatches final : public KvPlatform::RegistryWatches
{
public:
    QHash<QString, quint32> openErrors; ///< By subkey.
    quint32 armError = 0;
    mutable FakeCalls calls;

    KvPlatform::RegistryWatchResult open(quint32 root, const QString &subKey, quint32 access) const override
    {
        calls.add(QStringLiteral("open %1 [%2] %3").arg(root, 0, 16).arg(subKey).arg(access, 0, 16));
        if (const quint32 error = openErrors.value(subKey))
            return {nullptr, error};
        return {std::make_unique<Watch>(*this, subKey), 0};
    }

    /** The notices of a change in that key, as the event loop delivers them. Gives how many there were. */
    int fire(const QString &subKey) const
    {
        int count = 0;
        const QList<Watch *> watches = m_open;
        for (Watch *const watch : watches) {
            // An earlier notice may have ended it.
            if (!m_open.contains(watch) || watch->subKey != subKey || !std::exchange(watch->isArmed, false))
                continue;
            ++count;
            if (const std::function<void()> onChange = watch->onChange)
                onChange();
        }
        return count;
    }

    /** The subkeys that are open now. */
    QStringList openKeys() const
    {
        QStringList keys;
        for (const Watch *const watch : m_open)
            keys.append(watch->subKey);
        return keys;
    }

private:
    class Watch final : public KvPlatform::RegistryWatch
    {
    public:
        Watch(const FakeWatches &watches, QString key)
            : subKey(std::move(key))
            , m_watches(watches)
        {
            m_watches.m_open.append(this);
        }

        ~Watch() override
        {
            m_watches.m_open.removeOne(this);
            m_watches.calls.add(QLatin1String("close ") + subKey);
        }

        quint32 arm(bool watchSubtree, quint32 filter) override
        {
            m_watches.calls.add(QStringLiteral("arm %1 %2").arg(watchSubtree).arg(filter));
            isArmed = m_watches.armError == 0;
            return m_watches.armError;
        }

        void notify(std::function<void()> function) override
        {
            m_watches.calls.add(QStringLiteral("notify"));
            onChange = std::move(function);
        }

        const QString subKey;
        std::function<void()> onChange;
        bool isArmed = false;

    private:
        const FakeWatches &m_watches;
    };

    mutable QList<Watch *> m_open;
};
