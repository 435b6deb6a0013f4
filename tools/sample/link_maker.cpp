// Makes shell links with the shell's own object, as most installers do: link_maker.exe TABLE
//
// TABLE is a UTF-8 file with one link per line: link path, target, arguments, working directory, description and icon,
// divided by tabs. Folders of the links must exist. Exits with the number of links that failed.

#include <windows.h>

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

std::wstring wide(const std::string &text)
{
    const int size = static_cast<int>(text.size());
    std::wstring result(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)),
                        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), static_cast<int>(result.size()));
    return result;
}

std::vector<std::wstring> fields(const std::string &line)
{
    std::vector<std::wstring> result;
    std::size_t start = 0;
    for (std::size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
        result.push_back(wide(line.substr(start, tab - start)));
        start = tab + 1;
    }
    result.push_back(wide(line.substr(start)));
    return result;
}

HRESULT save(IShellLinkW *link, const std::wstring &path)
{
    IPersistFile *file = nullptr;
    HRESULT result = link->QueryInterface(IID_IPersistFile, reinterpret_cast<void **>(&file));
    if (SUCCEEDED(result)) {
        result = file->Save(path.c_str(), TRUE);
        file->Release();
    }
    return result;
}

HRESULT make(const std::vector<std::wstring> &values)
{
    IShellLinkW *link = nullptr;
    HRESULT result = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                      reinterpret_cast<void **>(&link));
    if (FAILED(result))
        return result;
    link->SetPath(values[1].c_str());
    if (!values[2].empty())
        link->SetArguments(values[2].c_str());
    if (!values[3].empty())
        link->SetWorkingDirectory(values[3].c_str());
    if (!values[4].empty())
        link->SetDescription(values[4].c_str());
    if (!values[5].empty())
        link->SetIconLocation(values[5].c_str(), 0);
    result = save(link, values[0]);
    link->Release();
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2 || FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
        return 255;
    std::ifstream table(argv[1], std::ios::binary);
    int failures = 0;
    for (std::string line; std::getline(table, line);) {
        const auto values = fields(line);
        if (values.size() != 6 || FAILED(make(values)))
            ++failures;
    }
    CoUninitialize();
    return table.eof() ? failures : 255;
}
