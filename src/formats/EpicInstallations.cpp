#include "formats/EpicInstallations.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

EpicInstallations::Document EpicInstallations::parse(const QByteArray &bytes)
{
    const QJsonDocument json = QJsonDocument::fromJson(bytes);
    if (json.isNull())
        return {NotJson, {}};
    if (!json.isObject())
        return {NotAnObject, {}};
    Document document;
    const QJsonArray list = json.object().value(QLatin1String("InstallationList")).toArray();
    for (const QJsonValue element : list) {
        const QJsonObject game = element.toObject();
        document.installations.append(
            {game.value(QLatin1String("InstallLocation")).toString(), game.value(QLatin1String("AppName")).toString()});
    }
    return document;
}
