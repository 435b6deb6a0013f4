#pragma once

#include "XCoreGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

class QObject;

/** Small services for modules: singletons' end of life, and reading files whole. */
namespace XS {

/**
 * Takes over the end of life of a process-wide object that has just been built.
 *
 * `cleanUp` is called once, on the thread that ends the application object, in the reverse order of the calls to this
 * function. The object is marked as owned by C++, so that a QML engine that is handed it never deletes it.
 * May be called from any thread.
 */
XCORE_EXPORT void initSingleton(QObject *object, void (*cleanUp)());

/** Runs and forgets the clean-up functions that have gathered so far. The application object's end does the same. */
XCORE_EXPORT void cleanUpSingletons();

/** All bytes of a file or resource; empty if it can't be read. Logs nothing. May be called from any thread. */
XCORE_EXPORT QByteArray loadData(const QString &path);

/**
 * The JSON document in a file: its object or array, or an undefined value if the file can't be read or isn't JSON.
 * Never raises and logs nothing. May be called from any thread.
 */
XCORE_EXPORT QJsonValue loadJsonValue(const QString &path);

} // namespace XS
