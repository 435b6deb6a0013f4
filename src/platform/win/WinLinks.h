#pragma once

#include "platform/ShellLinks.h"

namespace KvPlatform {

/**
 * The shell's own link objects. Texts are cut at 8191 UTF-16 units.
 *
 * May be called from any thread on which COM is initialised; on others there are no link objects and no names.
 */
class WinLinks final : public ShellLinks
{
public:
    std::unique_ptr<ShellLink> create() const override;
    std::optional<QString> displayName(const QString &nativePath) const override;
};

} // namespace KvPlatform
