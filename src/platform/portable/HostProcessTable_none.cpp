#include "platform/portable/HostProcessTable.h"

namespace KvPlatform {

std::shared_ptr<ProcessTable> createHostProcessTable()
{
    return std::make_shared<ProcessTable>();
}

} // namespace KvPlatform
