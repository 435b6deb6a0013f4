// What the stand-in for the core library can't know without the system's headers. Left out with the real one.
#include "platform/win/ComScope.h"
#include "platform/win/ModulePath.h"

#include <XModulePath.h>
#include <XThreadPool.h>

#include <memory>

namespace {

// While the library is loaded, and so before any thread of the pool can exist.
const bool IsSetUp = [] {
    XThreadPool::setThreadScope([] { return std::make_shared<KvPlatform::ComScope>(); });
    xSetModulePath(&KvPlatform::modulePath);
    return true;
}();

} // namespace
