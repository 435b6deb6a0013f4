#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

class KvAppSetting;
class KvGameAppInfo;

/** The records that a scan makes for itself. They go when it ends. */
struct GameRecords
{
    GameRecords() = default;
    ~GameRecords();

    GameRecords(const GameRecords &) = delete;
    GameRecords &operator=(const GameRecords &) = delete;

    QList<KvGameAppInfo *> list;
};

/** The uninstall entries of 32-bit programs, as most launchers and their games are. */
QString machineUninstallKey();

/**
 * The path of a program of the folder `installLocation`, in forward slashes, that Windows has seen running: from the
 * game configuration store, which holds whole paths, or else from the shell's name cache. As Windows wrote it; empty if
 * neither knows one. The lines that tell where it was found begin with `tag`.
 */
QString findRecordedExecutable(const char *tag, const QString &installLocation);

/**
 * A setting for each uninstall entry as it stands, with the entry's executable as its icon. The caller owns them. The
 * lines that tell what was found begin with `tag`.
 */
QList<KvAppSetting *> settingsOfEntries(const char *tag, const QList<KvGameAppInfo *> &entries);
