#include "platform/win/WinEnvironment.h"

#include "platform/win/Handles.h"

#include <vector>

namespace KvPlatform {

QString WinEnvironment::expand(const QString &text, int capacity) const
{
    if (capacity <= 0)
        return QString();
    // One zero more than the system is told of, so that a result of any length ends in the buffer.
    std::vector<wchar_t> buffer(static_cast<size_t>(capacity) + 1);
    ExpandEnvironmentStringsW(wide(text), buffer.data(), static_cast<DWORD>(capacity));
    return QString::fromWCharArray(buffer.data());
}

} // namespace KvPlatform
