#pragma once

#include "platform/NativeHandle.h"

#include <QtCore/QString>

#include <optional>

namespace KvPlatform {

/** The folders that the catalogue asks for, with the values of the shell's CSIDL constants. */
enum class Folder
{
    Programs = 2,
    CommonPrograms = 23,
    ProgramFiles = 38,
    ProgramFilesX86 = 42,
};

/** Where the shell keeps its well-known folders. */
class Folders
{
public:
    virtual ~Folders();

    /**
     * The path of `folder`, for the user whose token is given, or for this process's user when `token` is empty.
     * Nothing if the folder is unknown. Source: SHGetFolderPathW.
     */
    virtual std::optional<QString> path(Folder folder, const NativeHandle &token) const;
};

} // namespace KvPlatform
