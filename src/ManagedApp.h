#pragma once

#include "platform/Packages.h"

#include <QtCore/QString>
#include <QtGui/QImage>

/**
 * What the module does with an entry of an installed package, which a full package name and a position name.
 *
 * Every function asks the package system anew, blocks without a limit, may be called from any thread, and may raise
 * KvPlatform::hresult_error. Private to the module: records and the icon provider log and end what it raises.
 */
namespace ManagedApp {

/** The entry; null if there is no such package, or it has no entry at that position. */
std::unique_ptr<KvPlatform::AppListEntry> find(const QString &fullName, int index);

/**
 * Begins to start the entry: for the user that the package source has found if this process is elevated, and for the
 * process's own otherwise. False if there is no such entry. What becomes of the start is not waited for.
 */
bool launch(const QString &fullName, int index);

/** The entry's logo of at most 225 x 225, as QImage::Format_RGBA8888_Premultiplied; null if there is none. */
QImage logo(const QString &fullName, int index);

/**
 * The picture for a logo, given whether its content is narrow: a small glyph on a wide plate is cut out of it, anything
 * else stays whole.
 */
QImage cutPlate(const QImage &logo, bool isNarrow);

} // namespace ManagedApp
