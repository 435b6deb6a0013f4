#include "platform/Platform.h"
#include "platform/win/WinEnvironment.h"
#include "platform/win/WinFiles.h"
#include "platform/win/WinFolders.h"
#include "platform/win/WinIcons.h"
#include "platform/win/WinLinks.h"
#include "platform/win/WinPackages.h"
#include "platform/win/WinProcesses.h"
#include "platform/win/WinProcessTable.h"
#include "platform/win/WinRegistry.h"
#include "platform/win/WinRegistryWatch.h"
#include "platform/win/WinSession.h"
#include "platform/win/WinTokens.h"
#include "platform/win/WinVersions.h"

namespace KvPlatform {

std::shared_ptr<const Platform> createPlatform()
{
    const auto platform = std::make_shared<Platform>();
    platform->environment = std::make_shared<WinEnvironment>();
    platform->files = std::make_shared<WinFiles>();
    platform->folders = std::make_shared<WinFolders>();
    platform->icons = std::make_shared<WinIcons>();
    platform->links = std::make_shared<WinLinks>();
    platform->processes = std::make_shared<WinProcesses>();
    platform->processTable = std::make_shared<WinProcessTable>();
    platform->packages = std::make_shared<WinPackages>();
    platform->registry = std::make_shared<WinRegistry>();
    platform->session = std::make_shared<WinSession>();
    platform->tokens = std::make_shared<WinTokens>();
    platform->versions = std::make_shared<WinVersions>();
    platform->watches = std::make_shared<WinRegistryWatches>();
    return platform;
}

} // namespace KvPlatform
