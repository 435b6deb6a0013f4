#pragma once

#include "kvprogram_export.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QFile;
QT_END_NAMESPACE

class KvAppSetting;
class KvGameAppInfo;

/**
 * The base of the launcher scanners: each finds the games that one launcher has installed.
 *
 * A scanner is made for one pass, scans once and is deleted. It works on the calling thread, locks nothing and reports
 * failures to the log only.
 */
class KVPROGRAM_EXPORT KvGameAppUtil : public QObject
{
    Q_OBJECT

public:
    KvGameAppUtil();
    ~KvGameAppUtil() override;

    /**
     * The installed games, as new objects without a parent that the caller owns.
     *
     * `appDataPath` is where the launcher was found: for Steam and Ubisoft the path of its main executable; other
     * launchers don't need it. `knownApps` are the records of the shipped game list; a scanner reads those of its own
     * platform and keeps none. The base class finds nothing.
     */
    virtual QList<KvAppSetting *> getInstalledApps(const QString &appDataPath, const QList<KvGameAppInfo *> &knownApps);

    /** The path for getInstalledApps, kept for whoever calls it; empty at first. */
    QString appDataPath() const;
    void setAppDataPath(const QString &appDataPath);

protected:
    /**
     * Appends to `apps` a new record for each child key of `registryPath` whose "Publisher" holds `publisher`, in the
     * registry's order, unless `excludedExecutable` is not empty and the entry's icon path holds it. Both comparisons
     * regard letter case. Install folder and icon path have their quotes removed and get forward slashes; the icon path
     * becomes the executable too, as it is. The caller owns the records. `registryPath` begins with a root's long name.
     */
    static void getInstalledAppsFromUninstallRegistry(QList<KvGameAppInfo *> &apps, const QString &publisher,
                                                      const QString &excludedExecutable, const QString &registryPath);

    /**
     * The next token of an open file. Bytes from 0x20 to 0x7E are printable, all others are not; nothing is decoded.
     *
     * Without `wholeLine` a token is a run of printable bytes, and an empty token means the end of the file. With it, a
     * token is a line that ends in CR LF, with the bytes that are not printable dropped; a CR swallows the byte behind
     * it whatever that is, and a lone LF ends nothing. Afterwards the file stands behind what ended the token. A file
     * that can't be read ends where reading fails.
     */
    static QString getNextToken(QFile &file, bool wholeLine);

private:
    QString m_appDataPath;
};
