#pragma once

#include "platform/VersionResources.h"

namespace KvPlatform {

/** Version resources as the system reads them. May be called from any thread. */
class WinVersions final : public VersionResources
{
public:
    /** Null also for a block larger than 1 MiB, since a real one counts its length in 16 bits. */
    std::unique_ptr<VersionBlock> load(const QString &nativePath) const override;

    quint16 userInterfaceLanguage() const override;
};

} // namespace KvPlatform
