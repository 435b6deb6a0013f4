#pragma once

#include <QtCore/QString>

/**
 * The absolute path, with forward slashes, of the shared library or program that this code was linked into; empty if
 * the system doesn't tell. May be called from any thread.
 */
QString xModulePath();

using XModulePathFunction = QString (*)();

/**
 * On Windows, where only the platform may ask the system: what xModulePath calls from now on. Until then it gives the
 * program's path. May be called from any thread.
 */
void xSetModulePath(XModulePathFunction function);
