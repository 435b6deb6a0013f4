#include "platform/portable/MachineFolders.h"

#include "platform/WindowsPath.h"

namespace KvPlatform {

MachineFolders::MachineFolders(QHash<Folder, QString> folders)
    : m_folders(std::move(folders))
{}

std::optional<QString> MachineFolders::path(Folder folder, const NativeHandle &) const
{
    const auto found = m_folders.constFind(folder);
    if (found == m_folders.constEnd())
        return std::nullopt;
    return WindowsPath::toNativeSeparators(*found);
}

} // namespace KvPlatform
