#pragma once

#include "platform/Folders.h"

#include <QtCore/QHash>

namespace KvPlatform {

/**
 * The folders that the facts name, with native separators as the shell gives them. A machine has one set of them, so
 * that the token makes no difference.
 */
class MachineFolders final : public Folders
{
public:
    explicit MachineFolders(QHash<Folder, QString> folders);

    std::optional<QString> path(Folder folder, const NativeHandle &token) const override;

private:
    QHash<Folder, QString> m_folders;
};

} // namespace KvPlatform
