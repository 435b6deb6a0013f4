#pragma once

#include "platform/RegistryWatch.h"

namespace KvPlatform {

/** Keys of the computer's registry, watched through an event each. */
class WinRegistryWatches final : public RegistryWatches
{
public:
    RegistryWatchResult open(quint32 root, const QString &subKey, quint32 access) const override;
};

} // namespace KvPlatform
