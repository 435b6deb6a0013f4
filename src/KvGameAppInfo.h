#pragma once

#include "kvprogram_export.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

/**
 * A game as a launcher or the shipped game list describes it, before it becomes a KvAppSetting.
 *
 * Plain values: setters assign without comparing, and there are no signals. Belongs to the thread that uses it.
 */
class KVPROGRAM_EXPORT KvGameAppInfo : public QObject
{
    Q_OBJECT

public:
    /** The launcher, with the names and values of KvAppSetting::AppPlatform. */
    enum AppPlatform
    {
        Steam,
        Epic,
        Ubisoft,
        Origin,
        Riot,
        WeGame,
        None
    };
    Q_ENUM(AppPlatform)

    explicit KvGameAppInfo(QObject *parent = nullptr);

    /** `executable` becomes the only executable, unless it is empty. */
    KvGameAppInfo(QObject *parent, const QString &name, const QString &clientIcon, const QString &executable,
                  const QString &appId, const QString &installDir);
    ~KvGameAppInfo() override;

    /** The game's name, as the list or the launcher gives it. */
    QString name() const;
    void setName(const QString &name);

    /** The icon's path, as the launcher gives it. */
    QString clientIcon() const;
    void setClientIcon(const QString &clientIcon);

    /** The first of executableList(), or an empty text. */
    QString executable() const;

    /** Makes `executable` the only entry of the list, even if it is empty. */
    void setExecutable(const QString &executable);

    QList<QString> executableList() const;
    void setExecutableList(const QList<QString> &executableList);

    /** The launcher's identifier of the game. */
    QString appId() const;
    void setAppId(const QString &appId);

    /** The install folder. */
    QString installDir() const;
    void setInstallDir(const QString &installDir);

    AppPlatform platform() const;
    void setPlatform(AppPlatform platform);

    /** Whether the game is told by its file's name and not by its full path. */
    bool ignoreExeFullPath() const;
    void setIgnoreExeFullPath(bool ignoreExeFullPath);

private:
    QString m_name;
    QString m_clientIcon;
    QList<QString> m_executableList;
    QString m_appId;
    QString m_installDir;
    AppPlatform m_platform = None;
    bool m_ignoreExeFullPath = false;
};
