#pragma once

#include "platform/Files.h"

namespace KvPlatform {

/** The computer's files. May be called from any thread; a walk belongs to the thread that began it. */
class WinFiles final : public Files
{
public:
    /**
     * Asks the system itself: QDirIterator follows every link file to its target, and so reads it through COM a second
     * time and leaves out what it can't reach. Hidden files and folders are passed over, and no folder is entered that
     * stands for another.
     */
    std::unique_ptr<LinkWalk> walkLinks(const QString &folder) const override;
};

} // namespace KvPlatform
