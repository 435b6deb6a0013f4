#pragma once

#include <QtCore/QString>

#include <memory>

namespace KvPlatform {

/** A folder that this process has for itself, as far as other processes ask for it in the same way. Ends with it. */
class FolderLock
{
public:
    virtual ~FolderLock() = default;

    /** Null if another process has the folder, or if it can't be locked at all; `isTaken` tells which. */
    static std::unique_ptr<FolderLock> tryLock(const QString &folder, bool *isTaken);
};

} // namespace KvPlatform
