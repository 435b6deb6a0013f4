#pragma once

#include "platform/ShellLinks.h"

#include <memory>

namespace KvPlatform {

class Environment;
class Files;

/**
 * Shell links read from their files, resolved as the shell does when it may not search: a target in the file system
 * must exist, a virtual one always does.
 *
 * The target is the environment path, else the ID list's, else that of the link information, else the path relative to
 * the link. The ID list is never brought up to date with the others. May be called from any thread.
 */
class MachineLinks final : public ShellLinks
{
public:
    MachineLinks(std::shared_ptr<const Files> files, std::shared_ptr<const Environment> environment);

    std::unique_ptr<ShellLink> create() const override;

    /** The file's name, without ".lnk" in any letter case. */
    std::optional<QString> displayName(const QString &nativePath) const override;

private:
    std::shared_ptr<const Files> m_files;
    std::shared_ptr<const Environment> m_environment;
};

} // namespace KvPlatform
