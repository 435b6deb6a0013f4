#pragma once

#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvGameAppUtil.h"
#include "LogCatcher.h"
#include "MachineBuilder.h"

#include <QtCore/QMap>

#include <memory>
#include <vector>

/**
 * A machine onto which launchers have put games, and the shipped game list that goes with them. Files, keys and known
 * games are set up first; each scan then sees all of them. One at a time, on the main thread.
 */
class LauncherMachine
{
public:
    using Values = QMap<QString, QString>;

    static QString machineUninstall()
    {
        return QStringLiteral(
            "HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
    }
    static QString userUninstall()
    {
        return QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
    }

    LauncherMachine()
    {
        files.addConsoleUser();
        files.addProcessUser();
    }

    ~LauncherMachine() { qDeleteAll(known); }

    LauncherMachine(const LauncherMachine &) = delete;
    LauncherMachine &operator=(const LauncherMachine &) = delete;

    /** Adds a key with values, all of them texts. */
    void addKey(const QString &key, const Values &values = {})
    {
        m_registry += QStringLiteral("[%1]\n").arg(key);
        for (auto value = values.cbegin(); value != values.cend(); ++value)
            m_registry += QStringLiteral("\"%1\"=\"%2\"\n").arg(escaped(value.key()), escaped(value.value()));
        m_registry += u'\n';
    }

    /** Adds registry text as it stands. */
    void addRegistry(const QString &text) { m_registry += text; }

    /** Adds an uninstall entry of a 32-bit program; a null text leaves its value out. */
    void addEntry(const QString &key, const QString &publisher, const QString &name, const QString &location,
                  const QString &icon, const QString &root = machineUninstall())
    {
        Values values{{QStringLiteral("Publisher"), publisher}};
        for (const auto &[valueName, text] :
             {std::pair(QStringLiteral("DisplayName"), name), std::pair(QStringLiteral("InstallLocation"), location),
              std::pair(QStringLiteral("DisplayIcon"), icon)}) {
            if (!text.isNull())
                values.insert(valueName, text);
        }
        addKey(root + u'\\' + key, values);
    }

    /** Adds a record to the shipped game list. */
    void addKnown(KvGameAppInfo::AppPlatform platform, const QString &name, const QString &executable,
                  bool ignoreExeFullPath = false)
    {
        auto *const info = new KvGameAppInfo;
        info->setPlatform(platform);
        info->setName(name);
        info->setExecutable(executable);
        info->setIgnoreExeFullPath(ignoreExeFullPath);
        known.append(info);
    }

    /** Makes the machine the platform in force for as long as the result lives. */
    std::unique_ptr<ScopedMachine> enter() const
    {
        files.writeFacts();
        files.write(QStringLiteral("registry/10.reg"),
                    (QStringLiteral("Windows Registry Editor Version 5.00\n\n") + m_registry).toUtf8());
        return std::make_unique<ScopedMachine>(files);
    }

    /** Scans and keeps what was found in `found` and what was logged in `debugs` and its like. */
    void scan(KvGameAppUtil &scanner, const QString &appDataPath = QString())
    {
        const std::unique_ptr<ScopedMachine> scope = enter();
        const LogCatcher log;
        found.clear();
        const QList<KvAppSetting *> settings = scanner.getInstalledApps(appDataPath, known);
        for (KvAppSetting *const setting : settings)
            found.emplace_back(setting);
        debugs = log.texts(QtDebugMsg);
        infos = log.texts(QtInfoMsg);
        warnings = log.texts(QtWarningMsg);
    }

    QStringList names() const
    {
        QStringList texts;
        for (const auto &setting : found)
            texts.append(setting->displayName());
        return texts;
    }

    /** The executables of all settings, each setting's joined with "|". */
    QStringList executables() const
    {
        QStringList texts;
        for (const auto &setting : found)
            texts.append(setting->executableList().join(u'|'));
        return texts;
    }

    MachineBuilder files;
    QList<KvGameAppInfo *> known;
    std::vector<std::unique_ptr<KvAppSetting>> found;
    QStringList debugs;
    QStringList infos;
    QStringList warnings;

private:
    static QString escaped(QString text)
    {
        return text.replace(u'\\', QLatin1String("\\\\")).replace(u'"', QLatin1String("\\\""));
    }

    QString m_registry;
};
