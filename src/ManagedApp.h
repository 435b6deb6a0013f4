#pragma once

#include "platform/Packages.h"

#include <QtCore/QString>
#include <QtGui/QImage>

/**
 * What the module does with an entry of an installed package, which a full package name and a position name.
 *
 * Every function asks the package system anew, blocks without a limit, and may be called from any thread. Private to
 * the module: records and the icon provider hand on what they are asked for.
 */
namespace ManagedApp {

/** The entry; null if there is no such package, or it has no entry at that position. May raise hresult_error. */
std::unique_ptr<KvPlatform::AppListEntry> find(const QString &fullName, int index);

/**
 * Begins to start the entry: for the user that the package source has found if this process is elevated, and for the
 * process's own otherwise. False if there is no such entry, or after an error, which is logged with `displayName`; the
 * line names `function` as the one that it comes from. What becomes of the start is not waited for.
 */
bool launch(const QString &fullName, int index, const QString &displayName, const char *function);

/**
 * The entry's logo of at most 225 x 225, as QImage::Format_RGBA8888_Premultiplied. If `isNarrow` says of it that its
 * content is narrow, it is a small glyph on a wide plate, and the middle of it is given. Null if there is none, or
 * after an error, which is logged; the line names `function` as the one that it comes from.
 */
QImage icon(const QString &fullName, int index, bool (*isNarrow)(const QImage &image), const char *function);

} // namespace ManagedApp
