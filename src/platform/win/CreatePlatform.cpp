#include "platform/Platform.h"
#include "platform/win/WinEnvironment.h"
#include "platform/win/WinFiles.h"
#include "platform/win/WinFolders.h"
#include "platform/win/WinLinks.h"
#include "platform/win/WinPackages.h"
#include "platform/win/WinRegistry.h"
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
    platform->links = std::make_shared<WinLinks>();
    platform->packages = std::make_shared<WinPackages>();
    platform->registry = std::make_shared<WinRegistry>();
    platform->session = std::make_shared<WinSession>();
    platform->tokens = std::make_shared<WinTokens>();
    platform->versions = std::make_shared<WinVersions>();
    return platform;
}

} // namespace KvPlatform
