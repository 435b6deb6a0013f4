#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

#include <optional>

/**
 * What a shell link file says.
 *
 * Format: Shell Link (.LNK) Binary File Format, [MS-SHLLINK]; the items of ID lists as documented by libfwsi's "Windows
 * Shell Item format". Texts that the file stores in its maker's code page are read as Windows-1252, and every text ends
 * at its first zero.
 */
struct ShellLinkFile
{
    bool hasIdList = false;

    /**
     * The ID list as a file-system path with backslashes; nothing if there is no list or it names a virtual object.
     * A list that starts at a known folder of the user or the computer gives nothing: only the shell knows the folder.
     */
    std::optional<QString> idListPath;

    /** The path in the LinkInfo structure (local base path, or network share) with its suffix; nothing without one. */
    std::optional<QString> linkInfoPath;

    /** The target of an EnvironmentVariableDataBlock, unexpanded; nothing without one. */
    std::optional<QString> environmentPath;

    QString description;
    QString relativePath;
    QString workingDirectory;
    QString arguments;
    QString iconLocation;
    qint32 iconIndex = 0;
    quint32 showCommand = 1; ///< A SW_ number, as stored.

    /**
     * Reads a whole file. Nothing if the header, or any structure that the header announces, is damaged or cut off. The
     * final empty block may be missing. Never reads outside of `bytes` and keeps no view of them.
     */
    static std::optional<ShellLinkFile> parse(QByteArrayView bytes);
};
