#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>

class KvAppSetting;
class KvProgramContext;
class Launchers;

/** The published lists as texts. Both belong to the catalogue's thread and must not be called while a scan runs. */
namespace CatalogueJson {

/**
 * An object with an array for each list. An element has all properties that QML sees, under their QML names: URLs as
 * text, lists of texts as arrays, enumerators as numbers, as in QML. One of the game and tool lists has its launcher's
 * name besides, as "launcher".
 */
QJsonObject lists(const KvProgramContext &catalogue, Launchers &launchers);

/** "allApps 68, meetingApps 2, ..." */
QString counts(const KvProgramContext &catalogue);

/** "Overwatch (Battle.net), Apex Legends (Origin, selected)": names and launchers of games or tools. */
QString names(const QList<KvAppSetting *> &apps, Launchers &launchers);

} // namespace CatalogueJson
