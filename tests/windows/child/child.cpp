// A program for tests to start. Its first argument says what it does:
//   tell FILE ...              writes into FILE, as JSON, how it was started; what follows is only told
//   exit CODE                  ends at once
//   wait MILLISECONDS CODE     ends later
//   spawn FILE                 starts "tell FILE", and ends when that has ended
//   handle VALUE EVENT FILE    writes into FILE whether the handle of that value is the event of that name
// Linked to nothing that has to lie beside it, so that copies of it run anywhere.

#include <windows.h>

#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int BadUse = 90;
constexpr int Failed = 91;

std::string utf8(const std::wstring &text)
{
    const int size = static_cast<int>(text.size());
    std::string result(static_cast<std::size_t>(size) * 3, '\0');
    const int used = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, result.data(), size * 3, nullptr, nullptr);
    result.resize(static_cast<std::size_t>(used));
    return result;
}

std::string json(const std::wstring &text)
{
    std::string result = "\"";
    for (const char character : utf8(text)) {
        const auto code = static_cast<unsigned char>(character);
        char escaped[8] = {};
        if (code < 0x20 || character == '"' || character == '\\')
            std::snprintf(escaped, sizeof escaped, "\\u%04x", code);
        result += escaped[0] ? std::string(escaped) : std::string(1, character);
    }
    return result + '"';
}

std::string json(const std::vector<std::wstring> &texts)
{
    std::string result = "[";
    for (const std::wstring &text : texts)
        result += (result.size() > 1 ? "," : "") + json(text);
    return result + "]";
}

std::wstring currentFolder()
{
    std::wstring folder(GetCurrentDirectoryW(0, nullptr), L'\0');
    folder.resize(GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data()));
    return folder;
}

std::vector<std::wstring> variables()
{
    std::vector<std::wstring> result;
    wchar_t *const block = GetEnvironmentStringsW();
    for (const wchar_t *at = block; *at; at += result.back().size() + 1)
        result.emplace_back(at);
    FreeEnvironmentStringsW(block);
    return result;
}

bool isElevated()
{
    HANDLE token = nullptr;
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &size);
    CloseHandle(token);
    return elevation.TokenIsElevated != 0;
}

/** Under a name of its own first, so that the file is whole as soon as it is there. */
bool write(const std::wstring &path, const std::string &text)
{
    const std::wstring unfinished = path + L".new";
    HANDLE file = CreateFileW(unfinished.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const bool isWritten = file != INVALID_HANDLE_VALUE &&
                           WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
                           written == text.size();
    CloseHandle(file);
    return isWritten && MoveFileExW(unfinished.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING);
}

int tell(const std::vector<std::wstring> &arguments)
{
    STARTUPINFOW startup = {};
    GetStartupInfoW(&startup);
    const std::string text = "{\"commandLine\":" + json(GetCommandLineW()) + ",\"arguments\":" + json(arguments) +
                             ",\"directory\":" + json(currentFolder()) + ",\"environment\":" + json(variables()) +
                             ",\"startupFlags\":" + std::to_string(startup.dwFlags) +
                             ",\"show\":" + std::to_string(startup.wShowWindow) +
                             ",\"priority\":" + std::to_string(GetPriorityClass(GetCurrentProcess())) +
                             ",\"elevated\":" + (isElevated() ? "true" : "false") +
                             ",\"processId\":" + std::to_string(GetCurrentProcessId()) + "}\n";
    return write(arguments[2], text) ? 0 : Failed;
}

int spawn(const std::vector<std::wstring> &arguments)
{
    std::wstring command = L"\"" + arguments[0] + L"\" tell \"" + arguments[2] + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return Failed;
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return 0;
}

int tellHandle(const std::vector<std::wstring> &arguments)
{
    // The handle's value could be another object's here.
    const auto value = reinterpret_cast<HANDLE>(std::wcstoull(arguments[2].c_str(), nullptr, 10));
    HANDLE event = OpenEventW(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, arguments[3].c_str());
    ResetEvent(event);
    const bool isSame = SetEvent(value) && WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
    CloseHandle(event);
    return write(arguments[4], isSame ? "inherited" : "not inherited") ? 0 : Failed;
}

std::vector<std::wstring> readArguments()
{
    int count = 0;
    wchar_t **const values = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> arguments(values, values + count);
    LocalFree(values);
    return arguments;
}

} // namespace

int main()
{
    const std::vector<std::wstring> arguments = readArguments();
    const std::size_t count = arguments.size();
    const std::wstring mode = count > 1 ? arguments[1] : L"";
    if (mode == L"tell" && count > 2)
        return tell(arguments);
    if (mode == L"exit" && count == 3)
        return static_cast<int>(std::wcstoul(arguments[2].c_str(), nullptr, 10));
    if (mode == L"wait" && count == 4) {
        Sleep(std::wcstoul(arguments[2].c_str(), nullptr, 10));
        return static_cast<int>(std::wcstoul(arguments[3].c_str(), nullptr, 10));
    }
    if (mode == L"spawn" && count == 3)
        return spawn(arguments);
    if (mode == L"handle" && count == 5)
        return tellHandle(arguments);
    return BadUse;
}
