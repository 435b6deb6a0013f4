#pragma once

#include "platform/win/Handles.h"
#include "platform/win/runtime/Errors.h"

#include <QtCore/QString>

#include <winstring.h>

namespace KvPlatform::Runtime {

struct StringTraits
{
    using Value = HSTRING;
    static Value none() { return nullptr; }
    static void giveBack(Value text) { WindowsDeleteString(text); }
};

/** Owns a text that a call gives. None is the empty text. */
class RuntimeString : public Unique<StringTraits>
{
public:
    QString text() const
    {
        UINT32 length = 0;
        const wchar_t *const characters = WindowsGetStringRawBuffer(get(), &length);
        return QString::fromWCharArray(characters, static_cast<qsizetype>(length));
    }
};

/** A text as a call takes it, without a copy. Valid while it lives; a call that keeps the text copies it. */
class StringArgument
{
public:
    /** May raise hresult_error. */
    explicit StringArgument(const QString &text)
        : m_text(text)
    {
        check(WindowsCreateStringReference(wide(m_text), static_cast<UINT32>(m_text.size()), &m_header, &m_value));
    }

    StringArgument(const StringArgument &) = delete;
    StringArgument &operator=(const StringArgument &) = delete;

    HSTRING get() const { return m_value; }

private:
    const QString m_text;
    HSTRING_HEADER m_header = {};
    HSTRING m_value = nullptr;
};

} // namespace KvPlatform::Runtime
