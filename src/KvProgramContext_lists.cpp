#include "KvProgramContext_p.h"

#include "formats/AppList.h"
#include "KvGameAppInfo.h"

#include <XS.h>

#include <QtCore/QDebug>
#include <QtCore/QXmlStreamReader>

namespace {

QByteArray loadList(const char *name)
{
    return XS::loadData(QLatin1String(":/KvProgram/schema/applist/") + QLatin1String(name));
}

/** An unknown name, or one in other letter case, counts as Steam. */
KvGameAppInfo::AppPlatform platformByName(const QString &name)
{
    static const QHash<QString, KvGameAppInfo::AppPlatform> platforms{
        {QStringLiteral("Steam"), KvGameAppInfo::Steam},     {QStringLiteral("Epic"), KvGameAppInfo::Epic},
        {QStringLiteral("Ubisoft"), KvGameAppInfo::Ubisoft}, {QStringLiteral("Origin"), KvGameAppInfo::Origin},
        {QStringLiteral("Riot"), KvGameAppInfo::Riot},       {QStringLiteral("WeGame"), KvGameAppInfo::WeGame},
    };
    return platforms.value(name, KvGameAppInfo::Steam);
}

/** Keeps the records of the game list for the life of the process, as their readers may. */
void keepForever(KvGameAppInfo *info)
{
    static auto *const kept = new QList<KvGameAppInfo *>;
    kept->append(info);
}

} // namespace

void KvProgramContext::loadPreloadGameApps()
{
    const QByteArray list = loadList("preload_game_apps.xml");
    if (list.isEmpty()) {
        qWarning("[KvProgramContext] load game preload file error");
        return;
    }
    AppList::read(list, [this](const QXmlStreamAttributes &attributes) {
        const QString executable = attributes.value(QLatin1String("Executable")).toString();
        if (!executable.isEmpty())
            m_preloadExecutables.append(executable.toLower());
        else
            m_preloadNames.append(attributes.value(QLatin1String("Name")).toString());
    });
}

void KvProgramContext::loadGameAppsInfo()
{
    const QByteArray list = loadList("game_apps.xml");
    if (list.isEmpty()) {
        qWarning("[KvProgramContext] load game info file error");
        return;
    }
    AppList::read(list, [this](const QXmlStreamAttributes &attributes) {
        const auto text = [&attributes](const char *name) { return attributes.value(QLatin1String(name)).toString(); };
        auto *const info = new KvGameAppInfo;
        keepForever(info);
        info->setName(text("Name"));
        info->setPlatform(platformByName(text("Platform")));
        info->setExecutable(text("Executable"));
        info->setIgnoreExeFullPath(QVariant(text("IgnoreExeFullPath")).toBool());
        m_gameAppsInfo.append(info);
    });
}

void KvProgramContext::loadToolAppsFilter()
{
    const QByteArray list = loadList("tool_apps.xml");
    if (list.isEmpty()) {
        qWarning("[KvProgramContext] load common filter file error");
        return;
    }
    AppList::read(list, [this](const QXmlStreamAttributes &attributes) {
        m_toolAppsFilter[attributes.value(QLatin1String("Name")).toString()] =
            attributes.value(QLatin1String("Executable")).toString();
    });
}
