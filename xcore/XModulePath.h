#pragma once

#include <QtCore/QString>

/**
 * The absolute path, with forward slashes, of the shared library or program that this code was linked into; empty if
 * the system doesn't tell. May be called from any thread.
 */
QString xModulePath();
