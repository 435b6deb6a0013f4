#pragma once

#include "kvprogram_export.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * One row of the game or tool list: an application, and what the host keeps for it on one monitor model.
 *
 * QML reads the properties; the host calls the setters. Setters compare first and emit only on a change, unless they
 * say otherwise. An object belongs to the thread of the list that it stands in; nothing here is locked.
 */
class KVPROGRAM_EXPORT KvAppSetting : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("QML.Element", "auto")
    Q_PROPERTY(QString monitorModel READ monitorModel NOTIFY monitorModelChanged)
    Q_PROPERTY(ColorMode colorMode READ colorMode NOTIFY colorModeChanged)
    Q_PROPERTY(QString displayName READ displayName NOTIFY displayNameChanged)
    Q_PROPERTY(QString icon READ icon NOTIFY iconChanged)
    Q_PROPERTY(QString executable READ executable NOTIFY executableChanged)
    Q_PROPERTY(QStringList executableList READ executableList NOTIFY executableListChanged)
    Q_PROPERTY(QString appType READ appType NOTIFY appTypeChanged)
    Q_PROPERTY(bool hasSelected READ hasSelected NOTIFY hasSelectedChanged)
    Q_PROPERTY(bool appExist READ appExist NOTIFY appExistChanged)
    Q_PROPERTY(bool ignoreExeFullPath READ ignoreExeFullPath NOTIFY ignoreExeFullPathChanged)
    Q_PROPERTY(QString fileName READ fileName NOTIFY fileNameChanged)
    Q_PROPERTY(AppPlatform platform READ platform NOTIFY platformChanged)

public:
    /** The launcher that found an application. Battle.net and BSG have none of their own: theirs stay at None. */
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

    /** What an application is. The property appType is free text all the same. */
    enum AppType
    {
        Game,
        Tool
    };
    Q_ENUM(AppType)

    /** A monitor's colour mode. */
    enum ColorMode
    {
        ModeStandard,
        ModeFPS1,
        ModeFPS2,
        ModeFPS3,
        ModeRTS,
        ModeGamer1,
        ModeGamer2,
        ModeGamer3,
        ModeMovie,
        ModeOff,
    };
    Q_ENUM(ColorMode)

    /** A setting with these values; everything else starts as the members below tell. */
    explicit KvAppSetting(QObject *parent = nullptr, const QString &monitorModel = QLatin1String(""),
                          ColorMode colorMode = ModeOff, const QString &displayName = QLatin1String(""),
                          const QString &icon = QLatin1String(""), const QList<QString> &executableList = {},
                          const QString &appType = QLatin1String(""));
    ~KvAppSetting() override;

    /** The monitor model that the setting belongs to; the host's. */
    QString monitorModel() const;
    void setMonitorModel(const QString &monitorModel);

    /** The colour mode tied to the application; the host's. */
    ColorMode colorMode() const;
    void setColorMode(ColorMode colorMode);

    QString displayName() const;
    void setDisplayName(const QString &displayName);

    /** An image URL for QML, as text. */
    QString icon() const;
    void setIcon(const QString &icon);

    /** Sets the icon to getIconFilepath of `filePath`. */
    void setIconFile(const QString &filePath);

    /** The first of executableList(), or an empty text. */
    QString executable() const;

    /** Makes `path` the only executable and its file name fileName(). Always emits executableChanged, and never
     *  executableListChanged. */
    void setExecutable(const QString &path);

    /** All executables' paths. */
    QStringList executableList() const;

    /** Replaces the list; fileName() stays as it is, and executableChanged is not emitted. */
    void setExecutableList(const QList<QString> &executableList);

    QString appType() const;
    void setAppType(const QString &appType);

    /** Whether the stored settings of the current monitor model name the application; starts false. */
    bool hasSelected() const;
    void setHasSelected(bool hasSelected);

    /** False once checkAppExist has missed the file; starts true. */
    bool appExist() const;
    void setAppExist(bool appExist);

    /** Whether the application is told by its file's name and not by its full path; starts false. */
    bool ignoreExeFullPath() const;
    void setIgnoreExeFullPath(bool ignoreExeFullPath);

    /** The file name of the path last given to setExecutable. */
    QString fileName() const;

    /** The launcher that found the application; starts as None. */
    AppPlatform platform() const;
    void setPlatform(AppPlatform platform);

    /** For a tool, the name by which it was recognised. Neither a property nor followed by a signal. */
    QString launcherName() const;
    void setLauncherName(const QString &launcherName);

    /** Sets appExist to false and emits appExistChanged if the first executable is not there. Never sets it to true. */
    void checkAppExist();

    /** Copies model, colour mode, name, icon, executables and type of `other`, without any signal. Null is ignored. */
    void update(KvAppSetting *other);

    /** Empties what update() copies, with the colour mode off, without any signal. */
    void reset();

    /** The image URL that the icon provider answers with the icon of the file `filePath`; empty for an empty path. */
    static QString getIconFilepath(const QString &filePath);

Q_SIGNALS:
    void monitorModelChanged();
    void colorModeChanged();
    void displayNameChanged();
    void iconChanged();
    void executableChanged();
    void executableListChanged();
    void appTypeChanged();
    void hasSelectedChanged();
    void appExistChanged();
    void ignoreExeFullPathChanged();
    void fileNameChanged();
    void platformChanged();

private:
    void setFileName(const QString &fileName);

    AppPlatform m_platform = None;
    QString m_monitorModel;
    ColorMode m_colorMode;
    QString m_displayName;
    QString m_icon;
    QString m_executable; // Written by update and reset; executable() answers from the list.
    QList<QString> m_executableList;
    QString m_appType;
    bool m_hasSelected = false;
    bool m_appExist = true;
    bool m_ignoreExeFullPath = false;
    QString m_fileName;
    QString m_launcherName;
};
