#pragma once

#include "platform/Packages.h"

namespace KvPlatform {

namespace Runtime {
struct IRandomAccessStreamReference;
}

/** Reads and decodes a picture of any kind that the system knows; waits without a limit. Never null. May raise
 * hresult_error. */
std::unique_ptr<SoftwareBitmap> decodeBitmap(Runtime::IRandomAccessStreamReference *picture);

} // namespace KvPlatform
