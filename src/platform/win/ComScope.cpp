#include "platform/win/ComScope.h"

#include <windows.h>

#include <combaseapi.h>

namespace KvPlatform {

ComScope::ComScope()
{
    const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    // S_FALSE, for a thread that had COM before, counts and has to be balanced as well.
    if (SUCCEEDED(result))
        m_com = Com::Own;
    else if (result == RPC_E_CHANGED_MODE)
        m_com = Com::Foreign;
}

ComScope::~ComScope()
{
    if (m_com == Com::Own)
        CoUninitialize();
}

} // namespace KvPlatform
