#pragma once

#include "formats/IconImage.h"

#include <QtCore/QList>

#include <optional>

/** Icon files (.ico). Format: "Icons", Microsoft (ICONDIR). */
namespace IconFile {

/** Whether the bytes begin as an icon file does. */
bool isIconFile(QByteArrayView bytes);

/**
 * The images in the order of the file's directory; nothing if the bytes are no icon file. Images that can't be read, or
 * don't lie in the file, are left out. They are views of the bytes, which must outlive them.
 */
std::optional<QList<IconImage>> parse(QByteArrayView bytes);

} // namespace IconFile
