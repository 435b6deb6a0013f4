#include "platform/portable/MachinePlatform.h"

#include "platform/Files.h"
#include "platform/portable/HostProcesses.h"
#include "platform/portable/HostProcessTable.h"
#include "platform/portable/MachineDrives.h"
#include "platform/portable/MachineEnvironment.h"
#include "platform/portable/MachineFacts.h"
#include "platform/portable/MachineFiles.h"
#include "platform/portable/MachineFolders.h"
#include "platform/portable/MachineIcons.h"
#include "platform/portable/MachineLinks.h"
#include "platform/portable/MachinePackages.h"
#include "platform/portable/MachineProcesses.h"
#include "platform/portable/MachineRegistry.h"
#include "platform/portable/MachineRegistryWatch.h"
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
    const auto registry = std::make_shared<MachineRegistry>(registryFolder, facts);
    platform->registry = registry;
    platform->watches = std::make_shared<MachineRegistryWatches>(registry);
    platform->session = std::make_shared<MachineSession>(facts);
    platform->tokens = std::make_shared<MachineTokens>(facts);
    platform->processTable = createHostProcessTable();
    platform->links = std::make_shared<MachineLinks>(platform->files, platform->environment);
    platform->icons = std::make_shared<MachineIcons>(platform->files, facts.uiLanguage);
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
    platform->processes = std::make_shared<MachineProcesses>(platform->files, platform->tokens, journal);
    if (!facts->metadata.isEmpty())
        XEnvironment::setDefault(QStringLiteral("app.metadata"), facts->metadata);
    return platform;
}

std::shared_ptr<const Platform> createHostPlatform()
{
    const auto platform = std::make_shared<Platform>();
    platform->environment = std::make_shared<MachineEnvironment>();
    addCommonParts(platform.get(), MachineFacts::host(), QString());
    platform->processes = std::make_shared<HostProcesses>(platform->files);
    return platform;
}

} // namespace KvPlatform
