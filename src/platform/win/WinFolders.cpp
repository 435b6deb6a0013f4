#include "platform/win/WinFolders.h"

#include "platform/win/Handles.h"

#include <shlobj.h>

#include <array>

namespace KvPlatform {

std::optional<QString> WinFolders::path(Folder folder, const NativeHandle &token) const
{
    std::array<wchar_t, MAX_PATH + 1> buffer{};
    const HRESULT result =
        SHGetFolderPathW(nullptr, static_cast<int>(folder), token.native(), SHGFP_TYPE_CURRENT, buffer.data());
    return SUCCEEDED(result) ? std::optional<QString>(QString::fromWCharArray(buffer.data())) : std::nullopt;
}

} // namespace KvPlatform
