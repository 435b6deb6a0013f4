#include "platform/portable/MachinePlatform.h"

#include "platform/Files.h"
#include "platform/portable/MachineDrives.h"
#include "platform/portable/MachineEnvironment.h"
#include "platform/portable/MachineFacts.h"
#include "platform/portable/MachineFiles.h"
#include "platform/portable/MachineFolders.h"
#include "platform/portable/MachineLinks.h"
#include "platform/portable/MachinePackages.h"
#include "platform/portable/MachineRegistry.h"
#include "platform/portable/MachineSession.h"
#include "platform/portable/MachineVersions.h"
#include "platform/portable/StartJournal.h"

#include <XEnvironment.h>

#include <QtCore/QDir>

namespace KvPlatform {

namespace {

/** What reads real files through `files` and knows the facts' users, alike for a machine folder and the host. */
void addCommonParts(Platform *platform, const MachineFacts &facts, const QString &registryFolder)
{
    platform->registry = std::make_shared<MachineRegistry>(registryFolder, facts);
    platform->session = std::make_shared<MachineSession>(facts);
    platform->tokens = std::make_shared<MachineTokens>(facts);
    platform->links = std::make_shared<MachineLinks>(platform->files, platform->environment);
    platform->versions = std::make_shared<MachineVersions>(platform->files, facts.uiLanguage);
}

} // namespace

std::shared_ptr<const Platform> createMachinePlatform(const QString &folder)
{
    const QString path = QDir(folder).absolutePath();
    const auto facts = std::make_shared<const MachineFacts>(MachineFacts::load(path));
    const auto platform = std::make_shared<Platform>();
    platform->files = std::make_shared<MachineFiles>(std::make_shared<const MachineDrives>(path));
    platform->environment = std::make_shared<MachineEnvironment>(facts->environment);
    platform->folders = std::make_shared<MachineFolders>(facts->folders);
    const auto journal = std::make_shared<const StartJournal>(path + QStringLiteral("/starts.jsonl"));
    platform->packages = std::make_shared<MachinePackages>(facts, platform->files, journal);
    addCommonParts(platform.get(), *facts, path + QStringLiteral("/registry"));
    if (!facts->metadata.isEmpty())
        XEnvironment::setDefault(QStringLiteral("app.metadata"), facts->metadata);
    return platform;
}

std::shared_ptr<const Platform> createHostPlatform()
{
    const auto platform = std::make_shared<Platform>();
    platform->environment = std::make_shared<MachineEnvironment>();
    addCommonParts(platform.get(), MachineFacts::host(), QString());
    return platform;
}

} // namespace KvPlatform
