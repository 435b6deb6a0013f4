#include "platform/portable/MachinePlatform.h"

namespace KvPlatform {

std::shared_ptr<const Platform> createPlatform()
{
    const QString folder = qEnvironmentVariable("KVPROGRAM_MACHINE");
    return folder.isEmpty() ? createHostPlatform() : createMachinePlatform(folder);
}

} // namespace KvPlatform
