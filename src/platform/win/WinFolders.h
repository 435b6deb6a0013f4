#pragma once

#include "platform/Folders.h"

namespace KvPlatform {

/** The shell's folders. May be called from any thread. */
class WinFolders final : public Folders
{
public:
    /** An empty text for a folder that the shell knows and that doesn't exist. */
    std::optional<QString> path(Folder folder, const NativeHandle &token) const override;
};

} // namespace KvPlatform
