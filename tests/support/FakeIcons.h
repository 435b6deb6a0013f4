#pragma once

#include "FakeCalls.h"
#include "platform/Icons.h"

#include <QtCore/QHash>
#include <QtCore/QMutex>
#include <QtCore/QPair>

#include <atomic>
#include <memory>
#include <utility>

/**
 * Icons by native path, which tell the calls that they receive. An image that stands in a table is delivered, be it
 * null or not. Set up while nothing loads.
 */
class FakeIcons final : public KvPlatform::Icons
{
public:
    explicit FakeIcons(std::shared_ptr<FakeCalls> calls)
        : m_calls(std::move(calls))
    {}

    QHash<QString, QImage> largest;
    QHash<QPair<QString, int>, QImage> extracted;
    QHash<QString, QImage> associated;
    std::optional<QImage> always; ///< The largest icon of every file that has none in the table.
    mutable FakeGate gate;        ///< Each load passes it before it answers.

    void prepare() const override { m_calls->add(QStringLiteral("prepare")); }

    std::optional<QImage> largestIcon(const QString &nativePath) const override
    {
        m_calls->add(QLatin1String("largest ") + nativePath);
        gate.pass();
        const auto found = find(largest, nativePath);
        return found ? found : always;
    }

    std::optional<QImage> extractIcon(const QString &nativePath, int index) const override
    {
        m_calls->add(QStringLiteral("extract %1 %2").arg(nativePath).arg(index));
        return find(extracted, {nativePath, index});
    }

    std::optional<QImage> associatedIcon(const QString &nativePath, quint16 index) const override
    {
        m_calls->add(QStringLiteral("associated %1 %2").arg(nativePath).arg(index));
        return find(associated, nativePath);
    }

private:
    template<typename Key>
    static std::optional<QImage> find(const QHash<Key, QImage> &images, const Key &key)
    {
        const auto found = images.constFind(key);
        return found == images.cend() ? std::nullopt : std::optional<QImage>(*found);
    }

    std::shared_ptr<FakeCalls> m_calls;
};
