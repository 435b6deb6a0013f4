#include "formats/AntiCheatSettings.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

AntiCheatSettings::Settings AntiCheatSettings::parse(const QByteArray &bytes)
{
    const QJsonDocument json = QJsonDocument::fromJson(bytes);
    if (json.isNull())
        return {NotJson, {}};
    if (!json.isObject())
        return {NotAnObject, {}};
    QString executable = json.object().value(QLatin1String("executable")).toString();
    return {NoFault, executable.remove(u'"')};
}
