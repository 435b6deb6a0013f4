#pragma once

#include "platform/RegistryWatch.h"

#include <mutex>
#include <unordered_map>

QT_BEGIN_NAMESPACE
class QThread;
QT_END_NAMESPACE

namespace KvPlatform {

class MachineRegistry;

/**
 * Keys of a machine folder's registry, watched through the store's own notices.
 *
 * While a thread has open keys and an event loop, and the main thread from its first one on, changes that other
 * processes make to the registry's files are noticed on it within some hundredths of a second, and taken in. All flags
 * of a filter count as set. Notices come from whichever thread changes the registry, and are delivered on the thread
 * that opened the key.
 */
class MachineRegistryWatches final : public RegistryWatches
{
public:
    explicit MachineRegistryWatches(std::shared_ptr<MachineRegistry> registry);
    ~MachineRegistryWatches() override;

    RegistryWatchResult open(quint32 root, const QString &subKey, quint32 access) const override;

private:
    class FolderWatch;
    class Watch;

    std::shared_ptr<FolderWatch> folderWatch() const;

    const std::shared_ptr<MachineRegistry> m_registry;
    mutable std::mutex m_mutex; ///< Guards what follows.
    mutable std::unordered_map<const QThread *, std::weak_ptr<FolderWatch>> m_folderWatches;
    mutable std::shared_ptr<FolderWatch> m_mainFolderWatch; ///< Kept, since its end makes Linux wait for a while.
};

} // namespace KvPlatform
