#pragma once

#include "KvGameAppUtil.h"

/**
 * The games that the launcher WeGame has installed.
 *
 * Two games are known, each by a registry key of its own. The catalogue does not use this scanner; it and the questions
 * about window titles are for hosts.
 */
class KVPROGRAM_EXPORT KvWeGameAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvWeGameAppUtil();
    ~KvWeGameAppUtil() override;

    /**
     * `appDataPath` is ignored. An executable in the shipped game list goes before one that Windows has recorded; a
     * game for which neither tells one is there all the same, without it.
     */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;

    /** The program of a game's folder that Windows has recorded, as KvRiotAppUtil tells it. */
    QString getExecutablePathByInstallLocation(const QString &installLocation);

    /**
     * The first of the window titles `titles` that holds the name of a game of WeGame and whose flag is true; empty if
     * there is none, or if no title is exactly "WeGame", the launcher's own. `flags` goes with `titles` by position; a
     * missing flag is false. May be called from any thread.
     */
    static QString getRunningWeGameAppTitle(const QList<QString> &titles, const QList<bool> &flags);

    /** Whether a window title holds "WeGame" or the name of one of its games. May be called from any thread. */
    static bool isWeGameAppWindow(const QString &title);

private:
    void getInstalledAppsFromRegistry(QList<KvGameAppInfo *> &apps, const QString &registryPath,
                                      const QList<QString> &keys, const QList<QString> &names);
    QString executableOf(const KvGameAppInfo &game, const QList<KvGameAppInfo *> &knownApps);
};
