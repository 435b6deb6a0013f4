#include "BareLoop.h"

#include "platform/win/Handles.h"

#include <shlobj.h>
#include <shobjidl.h>
#include <winver.h>

#include <string>
#include <vector>

using KvPlatform::ComPointer;
using KvPlatform::UniqueFind;
using KvPlatform::UniqueTaskMemory;

namespace {

constexpr int Capacity = 8192;

void readVersion(const wchar_t *path)
{
    const DWORD size = GetFileVersionInfoSizeW(path, nullptr);
    std::vector<char> block(size);
    void *found = nullptr;
    UINT length = 0;
    if (size == 0 || !GetFileVersionInfoW(path, 0, size, block.data()) ||
        !VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &found, &length))
        return;
    for (const wchar_t *key : {L"Comments", L"InternalName", L"ProductName", L"CompanyName", L"LegalCopyright",
                               L"ProductVersion", L"FileDescription", L"LegalTrademarks", L"PrivateBuild",
                               L"FileVersion", L"OriginalFilename", L"SpecialBuild"})
        VerQueryValueW(block.data(), (std::wstring(L"\\StringFileInfo\\040904b0\\") + key).c_str(), &found, &length);
}

bool readLink(const std::wstring &path, wchar_t *buffer)
{
    ComPointer<IShellLinkW> link;
    ComPointer<IPersistFile> file;
    UniqueTaskMemory<ITEMIDLIST_ABSOLUTE> list;
    if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, link.putVoid())) ||
        FAILED(link->QueryInterface(IID_IPersistFile, file.putVoid())) || FAILED(file->Load(path.c_str(), STGM_READ)) ||
        FAILED(link->Resolve(nullptr, SLR_NO_UI | SLR_INVOKE_MSI)) || FAILED(link->GetIDList(list.put())) ||
        !SHGetPathFromIDListW(list.get(), buffer))
        return false;
    const std::wstring target = buffer;
    ComPointer<IShellItem> item;
    UniqueTaskMemory<wchar_t> name;
    if (FAILED(SHCreateItemFromParsingName(path.c_str(), nullptr, IID_IShellItem, item.putVoid())) ||
        FAILED(item->GetDisplayName(SIGDN_NORMALDISPLAY, name.put())))
        return false;
    link->GetDescription(buffer, Capacity);
    link->GetArguments(buffer, Capacity);
    link->GetWorkingDirectory(buffer, Capacity);
    readVersion(target.c_str());
    return GetFileAttributesW(target.c_str()) != INVALID_FILE_ATTRIBUTES;
}

int readFolder(const std::wstring &folder, wchar_t *buffer)
{
    int count = 0;
    WIN32_FIND_DATAW entry = {};
    const UniqueFind find(FindFirstFileExW((folder + L"\\*").c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch,
                                           nullptr, FIND_FIRST_EX_LARGE_FETCH));
    for (BOOL found = static_cast<bool>(find); found; found = FindNextFileW(find.get(), &entry)) {
        const std::wstring path = folder + L'\\' + entry.cFileName;
        if (!(entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
            count += readLink(path, buffer) ? 1 : 0;
        else if (entry.cFileName[0] != L'.')
            count += readFolder(path, buffer);
    }
    return count;
}

} // namespace

int readLinksBarely(const QString &folder)
{
    std::vector<wchar_t> buffer(Capacity);
    return readFolder(QString(folder).replace(u'/', u'\\').toStdWString(), buffer.data());
}
