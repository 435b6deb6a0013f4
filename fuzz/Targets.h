#pragma once

#include <QtCore/QByteArrayView>

/** One function for each parser: gives it the bytes and stops the program if it breaks its promises. */
namespace FuzzTargets {

void iconFile(QByteArrayView bytes);
void iconId(QByteArrayView bytes);
void peFile(QByteArrayView bytes);
void peIcons(QByteArrayView bytes);
void registryText(QByteArrayView bytes);
void shellLinkFile(QByteArrayView bytes);
void versionInfo(QByteArrayView bytes);

} // namespace FuzzTargets
