#include "KvSteamAppUtil.h"

#include "KvAppSetting.h"
#include "KvGameAppInfo.h"

KvSteamAppUtil::KvSteamAppUtil() = default;
KvSteamAppUtil::~KvSteamAppUtil() = default;

QList<KvAppSetting *> KvSteamAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &)
{
    return {};
}

bool KvSteamAppUtil::isSteamCenterApp(const QString &fileName)
{
    return fileName == QLatin1String("steam.exe");
}
