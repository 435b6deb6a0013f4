#pragma once

#include "platform/Packages.h"

#include <windows.h>

namespace KvPlatform::Runtime {

/**
 * The error for a failed call, with what that call has said of it: the text of the thread's error object if the object
 * is about this error, otherwise the system's text for the code, or nothing. To be called at once after the call and on
 * its thread. Source: learn.microsoft.com/windows/win32/api/restrictederrorinfo.
 */
hresult_error makeError(HRESULT result);

/** Raises that error if `result` is a failure. */
inline void check(HRESULT result)
{
    if (FAILED(result))
        throw makeError(result);
}

} // namespace KvPlatform::Runtime
