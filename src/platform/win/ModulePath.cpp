#include "platform/win/ModulePath.h"

#include <QtCore/QDir>

#include <windows.h>

#include <vector>

namespace KvPlatform {

QString modulePath()
{
    static const wchar_t anchor = 0;
    constexpr DWORD Flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    constexpr size_t LongestPath = 32768;
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(Flags, &anchor, &module))
        return {};
    // A full buffer is the only sign of a path that was cut.
    for (std::vector<wchar_t> path(MAX_PATH); path.size() <= 2 * LongestPath; path.resize(2 * path.size())) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size())
            return QDir::fromNativeSeparators(QString::fromWCharArray(path.data(), static_cast<qsizetype>(length)));
    }
    return {};
}

} // namespace KvPlatform
