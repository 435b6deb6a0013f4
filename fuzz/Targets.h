#pragma once

#include <QtCore/QByteArrayView>

/** One function for each parser: gives it the bytes and stops the program if it breaks its promises. */
namespace FuzzTargets {

void antiCheatSettings(QByteArrayView bytes);
void appList(QByteArrayView bytes);
void epicInstallations(QByteArrayView bytes);
void iconFile(QByteArrayView bytes);
void iconId(QByteArrayView bytes);
void peFile(QByteArrayView bytes);
void peIcons(QByteArrayView bytes);
void registryText(QByteArrayView bytes);
void shellLinkFile(QByteArrayView bytes);
void steamAppInfo(QByteArrayView bytes);
void steamLibraries(QByteArrayView bytes);
void steamManifest(QByteArrayView bytes);
void tokens(QByteArrayView bytes);
void ubisoftConfiguration(QByteArrayView bytes);
void versionInfo(QByteArrayView bytes);

} // namespace FuzzTargets
