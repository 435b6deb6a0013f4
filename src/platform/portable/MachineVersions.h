#pragma once

#include "platform/VersionResources.h"

#include <memory>

namespace KvPlatform {

class Files;

/**
 * Version resources read from program files: the one in the interface language if a file has several, else the first.
 * May be called from any thread.
 */
class MachineVersions final : public VersionResources
{
public:
    MachineVersions(std::shared_ptr<const Files> files, quint16 uiLanguage);

    std::unique_ptr<VersionBlock> load(const QString &nativePath) const override;
    quint16 userInterfaceLanguage() const override;

private:
    std::shared_ptr<const Files> m_files;
    quint16 m_uiLanguage;
};

} // namespace KvPlatform
