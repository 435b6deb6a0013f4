#include "platform/win/runtime/Errors.h"

#include "platform/win/Handles.h"
#include "platform/win/runtime/Interfaces.h"

#include <oleauto.h>

#include <optional>

namespace KvPlatform::Runtime {

namespace {

struct BStringTraits
{
    using Value = BSTR;
    static Value none() { return nullptr; }
    static void giveBack(Value text) { SysFreeString(text); }
};

using UniqueBString = Unique<BStringTraits>;

/** Without white space at its end, which the system's texts have as line breaks. */
QString trimmed(const wchar_t *text, qsizetype length)
{
    while (length > 0 && QChar(text[length - 1]).isSpace())
        --length;
    return QString::fromWCharArray(text, length);
}

QString trimmed(const UniqueBString &text)
{
    return trimmed(text.get(), static_cast<qsizetype>(SysStringLen(text.get())));
}

/** The text that the object has for this error; nothing if it is about another one. */
std::optional<QString> restrictedText(IRestrictedErrorInfo *info, HRESULT result)
{
    UniqueBString description;
    UniqueBString restricted;
    UniqueBString capability;
    HRESULT error = S_OK;
    const HRESULT read = info->GetErrorDetails(description.put(), &error, restricted.put(), capability.put());
    if (FAILED(read) || error != result)
        return std::nullopt;
    return trimmed(restricted ? restricted : description);
}

/** The text of the thread's error object, which is taken from it. */
std::optional<QString> errorObjectText(HRESULT result)
{
    ComPointer<IErrorInfo> info;
    if (GetErrorInfo(0, info.put()) != S_OK || !info)
        return std::nullopt;
    ComPointer<IRestrictedErrorInfo> details;
    if (SUCCEEDED(info->QueryInterface(IRestrictedErrorInfo::iid, details.putVoid())) && details)
        return restrictedText(details.get(), result);
    UniqueBString description;
    if (FAILED(info->GetDescription(description.put())) || !description)
        return std::nullopt;
    // An empty text is no text: what the system says of the code is better.
    const QString text = trimmed(description);
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

QString systemText(HRESULT result)
{
    constexpr DWORD Flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    constexpr DWORD NeutralLanguage = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);
    UniqueLocalMemory<wchar_t> text;
    const DWORD length = FormatMessageW(Flags, nullptr, static_cast<DWORD>(result), NeutralLanguage,
                                        reinterpret_cast<wchar_t *>(text.put()), 0, nullptr);
    return text ? trimmed(text.get(), static_cast<qsizetype>(length)) : QString();
}

} // namespace

hresult_error makeError(HRESULT result)
{
    const std::optional<QString> text = errorObjectText(result);
    return hresult_error(static_cast<qint32>(result), text ? *text : systemText(result));
}

} // namespace KvPlatform::Runtime
