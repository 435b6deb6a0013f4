#pragma once

#include "FakeCalls.h"
#include "platform/Registry.h"

#include <QtCore/QMap>

/**
 * A registry in memory: containers of values, by the key's path in any letter case. Tells the calls that it receives.
 */
class FakeRegistryStore final : public KvPlatform::Registry
{
public:
    mutable FakeCalls calls;
    bool refusesWrites = false;

    bool contains(const QString &key, const QString &name) const override
    {
        calls.add(QStringLiteral("contains [%1] [%2]").arg(key, name));
        return m_keys.value(key.toLower()).contains(name.toLower());
    }

    QVariant value(const QString &key, const QString &name, const QVariant &defaultValue) const override
    {
        calls.add(QStringLiteral("value [%1] [%2]").arg(key, name));
        return name.isEmpty() ? QVariant() : m_keys.value(key.toLower()).value(name.toLower(), defaultValue);
    }

    void setValue(const QString &key, const QString &name, const QVariant &value) override
    {
        calls.add(QStringLiteral("set [%1] [%2]").arg(key, name));
        if (!name.isEmpty() && !refusesWrites)
            m_keys[key.toLower()].insert(name.toLower(), value);
    }

    void remove(const QString &key, const QString &name) override
    {
        calls.add(QStringLiteral("remove [%1] [%2]").arg(key, name));
        const QString branch = name.isEmpty() ? key.toLower() : (key + QLatin1Char('\\') + name).toLower();
        const auto isInBranch = [&branch](const QString &path) {
            return path == branch || path.startsWith(branch + QLatin1Char('\\'));
        };
        for (const QString &path : m_keys.keys()) {
            if (isInBranch(path))
                m_keys.remove(path);
        }
        if (!name.isEmpty() && m_keys.contains(key.toLower()))
            m_keys[key.toLower()].remove(name.toLower());
    }

private:
    QMap<QString, QMap<QString, QVariant>> m_keys;
};
