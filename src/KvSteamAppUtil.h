#pragma once

#include "KvGameAppUtil.h"

#include <QtCore/QHash>

#include <memory>

/**
 * The games that Steam has installed.
 *
 * The manifests of each library tell which games there are and where; the client's cache of what it knows of all its
 * apps, "appcache/appinfo.vdf", tells their executables and icons. Both are read as streams of printable text, and a
 * game counts if both know its name.
 */
class KVPROGRAM_EXPORT KvSteamAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvSteamAppUtil();
    ~KvSteamAppUtil() override;

    /** `appDataPath` is the path of steam.exe. */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;

    /** Whether `fileName`, in lower case, is that of Steam's main executable. */
    static bool isSteamCenterApp(const QString &fileName);
};
