#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>

class KvProgramContext;

/** The published lists as texts. Both belong to the catalogue's thread and must not be called while a scan runs. */
namespace CatalogueJson {

/**
 * An object with an array for each list. An element has all properties that QML sees, under their QML names: URLs as
 * text, lists of texts as arrays, enumerators as numbers, as in QML.
 */
QJsonObject lists(const KvProgramContext &catalogue);

/** "allApps 68, meetingApps 2, ..." */
QString counts(const KvProgramContext &catalogue);

} // namespace CatalogueJson
