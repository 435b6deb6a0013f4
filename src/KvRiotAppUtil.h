#pragma once

#include "KvGameAppUtil.h"

/**
 * The games that the Riot launcher has installed.
 *
 * The user's uninstall entries tell the games' folders, but not their executables. Those are looked up where Windows
 * itself has recorded programs of the folder, and after that in the shipped game list.
 */
class KVPROGRAM_EXPORT KvRiotAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvRiotAppUtil();
    ~KvRiotAppUtil() override;

    /** `appDataPath` is ignored. A game for which nothing tells an executable is there all the same, without one. */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;

    /**
     * The path of the first program of the folder `installLocation`, given in forward slashes, that the game
     * configuration store or else the shell's name cache holds; as it stands there, with either separator. An empty
     * text if there is none. Letter case counts.
     */
    QString getExecutablePathByInstallLocation(const QString &installLocation);

private:
    QString executableOf(const KvGameAppInfo &game, const QList<KvGameAppInfo *> &knownApps);
};
