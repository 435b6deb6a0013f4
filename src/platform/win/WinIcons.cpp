#include "platform/win/WinIcons.h"

#include "platform/win/Handles.h"

#include <commctrl.h>
#include <commoncontrols.h>
#include <shellapi.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace KvPlatform {

namespace {

/** The shell's function FileIconInit, which it exports without a name. */
constexpr WORD FileIconInitOrdinal = 660;
using FileIconInit = BOOL(WINAPI *)(BOOL restoreCache);

/** What ExtractIconExW gives instead of a count if it can't read the file. */
constexpr UINT NoCount = std::numeric_limits<UINT>::max();

QImage toImage(const UniqueIcon &icon)
{
    return icon ? QImage::fromHICON(icon.get()) : QImage();
}

/** The shell's list of largest icons. It is the process's own and is never released. */
IImageList *largestIcons()
{
    IImageList *list = nullptr;
    return SUCCEEDED(SHGetImageList(SHIL_JUMBO, IID_PPV_ARGS(&list))) ? list : nullptr;
}

} // namespace

void WinIcons::prepare() const
{
    // Never freed: the cache is the library's, and the library stays.
    const HMODULE shell = LoadLibraryA("shell32.dll");
    if (!shell)
        return;
    void *const function = reinterpret_cast<void *>(GetProcAddress(shell, MAKEINTRESOURCEA(FileIconInitOrdinal)));
    if (function)
        reinterpret_cast<FileIconInit>(function)(TRUE);
}

std::optional<QImage> WinIcons::largestIcon(const QString &nativePath) const
{
    SHFILEINFOW info = {};
    if (SHGetFileInfoW(wide(nativePath), 0, &info, sizeof info, SHGFI_SYSICONINDEX) == 0)
        return std::nullopt;
    IImageList *const list = largestIcons();
    UniqueIcon icon;
    if (!list || FAILED(list->GetIcon(info.iIcon, ILD_TRANSPARENT, icon.put())))
        return std::nullopt;
    return toImage(icon);
}

std::optional<QImage> WinIcons::extractIcon(const QString &nativePath, int index) const
{
    HICON extracted = nullptr;
    const UINT count = ExtractIconExW(wide(nativePath), index, &extracted, nullptr, 1);
    if (count == 0)
        return std::nullopt;
    // Without a count there may stand anything in the icon's place.
    return toImage(UniqueIcon(count == NoCount ? nullptr : extracted));
}

std::optional<QImage> WinIcons::associatedIcon(const QString &nativePath, quint16 index) const
{
    // The system writes the path of another file into it if the icon comes from there.
    std::vector<wchar_t> path(static_cast<size_t>(std::max<qsizetype>(nativePath.size() + 1, MAX_PATH)));
    nativePath.toWCharArray(path.data());
    WORD number = index;
    const UniqueIcon icon(ExtractAssociatedIconW(GetModuleHandleW(nullptr), path.data(), &number));
    return icon ? std::optional<QImage>(toImage(icon)) : std::nullopt;
}

} // namespace KvPlatform
