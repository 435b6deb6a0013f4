#include "CatalogueJson.h"

#include "KvAppSetting.h"
#include "KvProgramContext.h"
#include "Launchers.h"

#include <QtCore/QJsonArray>
#include <QtCore/QMetaProperty>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

namespace {

QJsonValue toJson(const QMetaProperty &property, const QVariant &value)
{
    if (property.isEnumType())
        return value.toInt();
    if (value.typeId() == QMetaType::QUrl)
        return value.toUrl().toString();
    return QJsonValue::fromVariant(value);
}

QJsonObject toJson(const QObject &object)
{
    QJsonObject result;
    const QMetaObject *type = object.metaObject();
    for (int i = QObject::staticMetaObject.propertyCount(); i < type->propertyCount(); ++i) {
        const QMetaProperty property = type->property(i);
        result.insert(QLatin1String(property.name()), toJson(property, property.read(&object)));
    }
    return result;
}

QJsonArray toJson(const QList<ProgramInfo *> &apps)
{
    QJsonArray result;
    for (const ProgramInfo *app : apps)
        result.append(toJson(*app));
    return result;
}

QJsonArray toJson(const QList<KvAppSetting *> &apps, Launchers &launchers)
{
    QJsonArray result;
    for (const KvAppSetting *app : apps) {
        QJsonObject object = toJson(*app);
        object.insert(QStringLiteral("launcher"), launchers.launcherOf(*app));
        result.append(object);
    }
    return result;
}

} // namespace

QJsonObject CatalogueJson::lists(const KvProgramContext &catalogue, Launchers &launchers)
{
    return {
        {QStringLiteral("allApps"), toJson(catalogue.allApps())},
        {QStringLiteral("meetingApps"), toJson(catalogue.meetingApps())},
        {QStringLiteral("shortcuts"), toJson(catalogue.shortcuts())},
        {QStringLiteral("gameApps"), toJson(catalogue.gameApps(), launchers)},
        {QStringLiteral("toolApps"), toJson(catalogue.toolApps(), launchers)},
    };
}

QString CatalogueJson::counts(const KvProgramContext &catalogue)
{
    return QStringLiteral("allApps %1, meetingApps %2, shortcuts %3, gameApps %4, toolApps %5")
        .arg(catalogue.allApps().size())
        .arg(catalogue.meetingApps().size())
        .arg(catalogue.shortcuts().size())
        .arg(catalogue.gameApps().size())
        .arg(catalogue.toolApps().size());
}

QString CatalogueJson::names(const QList<KvAppSetting *> &apps, Launchers &launchers)
{
    QStringList texts;
    for (const KvAppSetting *app : apps) {
        const QString selected = app->hasSelected() ? QStringLiteral(", selected") : QString();
        texts.append(QStringLiteral("%1 (%2%3)").arg(app->displayName(), launchers.launcherOf(*app), selected));
    }
    return texts.join(QLatin1String(", "));
}
