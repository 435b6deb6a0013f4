#pragma once

#include "platform/win/Handles.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QString>

#include <shlobj.h>

/** Writes link files as installers do, through the shell. On a thread with COM. */
namespace ShellLinkWriter {

struct Link
{
    QString target;
    QString arguments;
    QString description;
    QString workingFolder;
};

/** Writes `link` to `path`, with any separators, and the folders that it needs; gives whether that worked. */
inline bool write(const QString &path, const Link &link)
{
    using namespace KvPlatform;
    const QString nativePath = QDir::toNativeSeparators(path);
    const QString target = QDir::toNativeSeparators(link.target);
    const QString folder = QDir::toNativeSeparators(link.workingFolder);
    ComPointer<IShellLinkW> shellLink;
    ComPointer<IPersistFile> file;
    // SetPath gives S_FALSE for a target that isn't there.
    return QDir().mkpath(QFileInfo(path).path()) &&
           SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                      shellLink.putVoid())) &&
           SUCCEEDED(shellLink->SetPath(wide(target))) && SUCCEEDED(shellLink->SetArguments(wide(link.arguments))) &&
           SUCCEEDED(shellLink->SetDescription(wide(link.description))) &&
           SUCCEEDED(shellLink->SetWorkingDirectory(wide(folder))) &&
           SUCCEEDED(shellLink->QueryInterface(IID_IPersistFile, file.putVoid())) &&
           SUCCEEDED(file->Save(wide(nativePath), TRUE));
}

} // namespace ShellLinkWriter
