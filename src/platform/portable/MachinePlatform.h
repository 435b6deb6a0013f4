#pragma once

#include "platform/Platform.h"

#include <QtCore/QString>

namespace KvPlatform {

/**
 * The computer that a machine folder stands for. Never null: a folder without facts is a machine without any. Where the
 * facts name a metadata file, its Windows path becomes the default of the setting "app.metadata".
 */
std::shared_ptr<const Platform> createMachinePlatform(const QString &folder);

/**
 * The host system with nothing of Windows on it: plain files, an empty registry in memory, the host's own user without
 * elevation, this process's environment, detached starts of its programs, no folders and no packages. Never null.
 */
std::shared_ptr<const Platform> createHostPlatform();

} // namespace KvPlatform
