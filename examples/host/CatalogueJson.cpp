#include "CatalogueJson.h"

#include "KvAppSetting.h"
#include "KvProgramContext.h"

#include <QtCore/QJsonArray>
#include <QtCore/QMetaProperty>
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

template<typename T>
QJsonArray toJson(const QList<T *> &list)
{
    QJsonArray result;
    for (const T *element : list)
        result.append(toJson(*element));
    return result;
}

} // namespace

QJsonObject CatalogueJson::lists(const KvProgramContext &catalogue)
{
    return {
        {QStringLiteral("allApps"), toJson(catalogue.allApps())},
        {QStringLiteral("meetingApps"), toJson(catalogue.meetingApps())},
        {QStringLiteral("shortcuts"), toJson(catalogue.shortcuts())},
        {QStringLiteral("gameApps"), toJson(catalogue.gameApps())},
        {QStringLiteral("toolApps"), toJson(catalogue.toolApps())},
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
