#pragma once

#include "platform/Icons.h"

namespace KvPlatform {

/** The shell's icons. May be called from any thread on which COM is initialised. */
class WinIcons final : public Icons
{
public:
    void prepare() const override;
    std::optional<QImage> largestIcon(const QString &nativePath) const override;
    std::optional<QImage> extractIcon(const QString &nativePath, int index) const override;
    std::optional<QImage> associatedIcon(const QString &nativePath, quint16 index) const override;
};

} // namespace KvPlatform
