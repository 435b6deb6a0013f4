#pragma once

#include <QtCore/QString>
#include <QtCore/QUrl>

/**
 * Windows' rules for the text of paths, the same on every system.
 *
 * On Windows QDir, QFileInfo and QUrl follow these rules by themselves; elsewhere they follow the host's. The catalogue
 * speaks Windows paths everywhere and so never asks them. Pure functions; none of them touches a file.
 */
namespace WindowsPath {

/** `path` with forward slashes and without a long-path prefix ("\\\\?\\"), as QDir::fromNativeSeparators on Windows. */
QString fromNativeSeparators(const QString &path);

/** `path` with backslashes, as QDir::toNativeSeparators on Windows. */
QString toNativeSeparators(const QString &path);

/** QDir::cleanPath on Windows: forward slashes, no "." and "..", no doubled separators. */
QString cleanPath(const QString &path);

/** Whether `path` depends on a current folder: neither a drive nor a separator in front. An empty path does. */
bool isRelative(const QString &path);

/** What follows the last separator, or the drive if there is none. */
QString fileName(const QString &path);

/** The file name up to its first dot. */
QString baseName(const QString &path);

/** QUrl::fromLocalFile on Windows. */
QUrl toUrl(const QString &path);

/** QUrl::toLocalFile on Windows: "C:/x" for "file:///C:/x". */
QString fromUrl(const QUrl &url);

} // namespace WindowsPath
