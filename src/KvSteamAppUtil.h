#pragma once

#include "KvGameAppUtil.h"

#include <QtCore/QHash>

/**
 * The games that Steam has installed.
 *
 * The manifests of each library tell which games there are and where; the client's cache of what it knows of all its
 * apps, "appcache/appinfo.vdf", tells their executables and icons. All are read as streams of printable text, and a
 * game counts if both know its name. A game with settings of an anti-cheat launcher goes by the program that these name
 * instead. Icons are the client's own if they exist, and otherwise the first executable's.
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

private:
    struct Manifest;

    void getAllSteamApps(const QString &steamRoot);
    void clearSteamApps();
    static bool isSteamGameApp(const KvGameAppInfo *info);

    static QList<QString> parseSteamAppsFolderPath(const QString &steamRoot);
    void parseSteamAppsFromFolders(const QString &steamAppsDir, const QString &steamRoot, QList<KvGameAppInfo *> &apps,
                                   const QList<KvGameAppInfo *> &knownApps);
    static Manifest readManifest(QFile &file);
    static KvGameAppInfo *createGame(const Manifest &manifest, KvGameAppInfo &cached, const QString &steamAppsDir,
                                     const QString &steamRoot, const QList<KvGameAppInfo *> &knownApps);
    static QString getExecutableFromAnitCheater(const QString &jsonPath);

    QHash<QString, KvGameAppInfo *> m_allSteamApps; // By name; owned.
};
