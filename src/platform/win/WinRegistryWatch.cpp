#include "platform/win/WinRegistryWatch.h"

#include "platform/win/Handles.h"

#include <QtCore/QWinEventNotifier>

namespace KvPlatform {

namespace {

class WinRegistryWatch final : public RegistryWatch
{
public:
    explicit WinRegistryWatch(UniqueRegistryKey key)
        : m_key(std::move(key))
        , m_event(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {}

    ~WinRegistryWatch() override;

    quint32 arm(bool watchSubtree, quint32 filter) override;
    void notify(std::function<void()> onChange) override;

private:
    // The event is closed before the key, whose closing would signal it once more.
    UniqueRegistryKey m_key;
    UniqueHandle m_event;
    std::unique_ptr<QWinEventNotifier> m_notifier;
    const std::shared_ptr<bool> m_isDelivering = std::make_shared<bool>(false);
};

WinRegistryWatch::~WinRegistryWatch()
{
    if (!m_notifier)
        return;
    m_notifier->setEnabled(false);
    m_notifier->disconnect();
    // A notifier looks at itself once more after its signal.
    if (*m_isDelivering)
        m_notifier.release()->deleteLater();
}

quint32 WinRegistryWatch::arm(bool watchSubtree, quint32 filter)
{
    ResetEvent(m_event.get());
    return static_cast<quint32>(RegNotifyChangeKeyValue(m_key.get(), watchSubtree, filter, m_event.get(), TRUE));
}

void WinRegistryWatch::notify(std::function<void()> onChange)
{
    m_notifier = std::make_unique<QWinEventNotifier>(m_event.get());
    const auto deliver = [isDelivering = m_isDelivering, onChange = std::move(onChange)] {
        // What it calls may be the end of the watch.
        *isDelivering = true;
        onChange();
        *isDelivering = false;
    };
    QObject::connect(m_notifier.get(), &QWinEventNotifier::activated, m_notifier.get(), deliver);
    m_notifier->setEnabled(true);
}

/** A predefined key is its number, which has the highest bit set, extended to the width of a handle. */
HKEY predefinedKey(quint32 root)
{
    return reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG_PTR>(static_cast<qint32>(root))));
}

} // namespace

RegistryWatchResult WinRegistryWatches::open(quint32 root, const QString &subKey, quint32 access) const
{
    UniqueRegistryKey key;
    const LSTATUS error = RegOpenKeyExW(predefinedKey(root), wide(subKey), 0, access, key.put());
    if (error != ERROR_SUCCESS)
        return {nullptr, static_cast<quint32>(error)};
    return {std::make_unique<WinRegistryWatch>(std::move(key)), 0};
}

} // namespace KvPlatform
