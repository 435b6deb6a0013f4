#pragma once

#include <QtCore/QString>

namespace KvPlatform {

/** The path of the library or program that holds this function, with forward slashes; empty if it can't be told. */
QString modulePath();

} // namespace KvPlatform
