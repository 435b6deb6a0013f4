#pragma once

#include "kvprogram_export.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <memory>

#include "KvAppSetting.h"

QT_BEGIN_NAMESPACE
class QJSEngine;
class QQmlEngine;
QT_END_NAMESPACE

class KvGameAppInfo;
class KvGameAppUtil;
class KvRegistrySpy;
class XDispatch;
template<typename T>
class Singleton;

/**
 * One thing that the user can start: an installed program, an app of the Windows package manager, or a web address.
 *
 * What a record is follows from its target URL alone, and its icon is a URL too, in the form that the module's image
 * provider answers:
 *
 *     desktop   file:///C:/dir/x.exe        image://app/C:/dir/x.exe?i=<index>&v=<version>
 *     managed   uwp:<package>?<index>       image://app/uwp:<package>?i=<index>&v=<version>
 *     web       the address itself          whatever was given to setIconUrl
 *
 * Setters compare first and emit only on a change, unless they say otherwise; none fails or logs. A record belongs to
 * one thread at a time: the scan's background thread that fills it, then the catalogue's. The catalogue owns it.
 */
class KVPROGRAM_EXPORT ProgramInfo : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("QML.Element", "auto")
    Q_CLASSINFO("QML.Creatable", "false")
    Q_CLASSINFO("QML.UncreatableReason", "internal class")
    Q_PROPERTY(Type type READ type NOTIFY typeChanged FINAL)
    Q_PROPERTY(QString displayName READ displayName NOTIFY displayNameChanged FINAL)
    Q_PROPERTY(QString productName READ productName NOTIFY productNameChanged FINAL)
    Q_PROPERTY(QString publisherName READ publisherName NOTIFY publisherNameChanged FINAL)
    Q_PROPERTY(QString description READ description NOTIFY descriptionChanged FINAL)
    Q_PROPERTY(QUrl target READ targetUrl NOTIFY targetChanged FINAL)
    Q_PROPERTY(QString version READ version NOTIFY versionChanged FINAL)
    Q_PROPERTY(QUrl icon READ iconUrl NOTIFY iconChanged FINAL)
    Q_PROPERTY(QString arguments READ arguments NOTIFY argumentsChanged FINAL)
    Q_PROPERTY(QString shell READ shell NOTIFY shellChanged FINAL)
    Q_PROPERTY(QUrl workingFolder READ workingDirUrl NOTIFY workingDirChanged FINAL)

public:
    /** The kind of target. */
    enum Type : int
    {
        TypeNone = 0,    ///< The target is invalid.
        TypeManaged = 1, ///< An entry of a package.
        TypeDesktop = 2, ///< A local file.
        TypeWeb = 3,     ///< Any other valid URL.
    };
    Q_ENUM(Type)

    /** "app": the host of every icon URL, and the name under which a host registers the image provider. */
    static const QString ICON_PROVIDER;
    /** "uwp": the scheme of managed targets. */
    static const QString SCHEME_MANAGED_APP;
    /** "file": the scheme of desktop targets. */
    static const QString SCHEME_DESKTOP_APP;

    explicit ProgramInfo(QObject *parent = nullptr);
    ~ProgramInfo() override;

    Type type() const;

    /** The name that the user sees, and the sort key. */
    QString displayName() const;
    void setDisplayName(const QString &displayName);

    QString description() const;
    void setDescription(const QString &description);

    /** The product name of the program's version resource; for a managed record the application user model id. */
    QString productName() const;
    void setProductName(const QString &productName);

    QString publisherName() const;
    void setPublisherName(const QString &publisherName);

    QString version() const;

    /** Also writes the version into the icon URL, as its item "v", if that URL is valid. */
    void setVersion(const QString &version);

    /** Command-line arguments as one text. */
    QString arguments() const;
    void setArguments(const QString &arguments);

    /** The working directory with forward slashes; set with either separator. */
    QString workingDir() const;
    QUrl workingDirUrl() const;
    void setWorkingDir(const QString &workingDir);

    /** For a meeting app, the path of the program that opens it. */
    QString shell() const;
    void setShell(const QString &shell);

    QUrl targetUrl() const;

    /** Sets what is started, and with it the type: targetChanged comes before typeChanged. */
    void setTargetUrl(const QUrl &targetUrl);

    /** The path of a desktop target; empty for any other type. */
    QString desktopTarget() const;

    /** Makes a file the target. A relative path is looked up among the installed applications, see
     *  KvProgramContext::appInstalledPath. `updateIcon` makes the file's icon the record's. */
    void setDesktopTarget(const QString &path, bool updateIcon);

    /** The full package name of a managed target; empty for any other type. */
    QString managedTarget() const;

    /** The entry's position in its package; 0 for any other type. */
    int managedTargetAppIndex() const;

    /** Makes an entry of a package the target, and its logo the icon. */
    void setManagedTarget(const QString &id, int appIndex);

    QUrl iconUrl() const;

    /** Sets the image URL, with the version as its item "v" unless the URL has such an item or there is no version. */
    void setIconUrl(const QUrl &iconUrl);

    /** Sets the image URL of the icon number `index` in a file; an empty path clears it. */
    void setIconFile(const QString &path, int index);

    /**
     * Fills the record from a shell link and its target's version resource. False if the link can't be read or its
     * target is gone, and the record is then of no use. Works on a thread on which the shell's COM calls do.
     */
    bool loadFromLinkFile(const QString &path);

    /**
     * Fills the record from a map whose keys are named after the properties, with the target under "desktopTarget",
     * "managedTarget" (and "managedTargetAppIndex") or "target", the first of these that is there. False without any.
     */
    bool loadFromProperties(const QMap<QString, QVariant> &properties);

    /**
     * Starts the program for the user at the console, with that user's rights, and forgets it: a file with its
     * arguments in its working directory, and through its link if that fails; an address with its shell, or else as the
     * system opens addresses. Gives whether the start was handed over; failures are logged. Blocks until the system has
     * created the process, and while it asks the user for consent. Entries of packages can't be started yet.
     */
    Q_INVOKABLE bool launch();

Q_SIGNALS:
    void typeChanged();
    void displayNameChanged();
    void productNameChanged();
    void publisherNameChanged();
    void descriptionChanged();
    void targetChanged();
    void versionChanged();
    void iconChanged();
    void argumentsChanged();
    void shellChanged();
    void workingDirChanged();

private:
    bool loadTarget(const QMap<QString, QVariant> &properties);
    void loadVersionInfo();
    bool launchManaged(const char *function);
    bool launchDesktop();
    bool launchWeb();

    Type m_type = TypeNone;
    QString m_displayName;
    QString m_description;
    QString m_productName;
    QString m_publisherName;
    QString m_version;
    QString m_arguments;
    QString m_workingDir;
    QString m_linkFile; // Of the link that the record was read from; launch() falls back to it.
    QUrl m_targetUrl;
    QUrl m_iconUrl;
    QString m_shell;
};

/**
 * The catalogue: one object per process, a singleton in QML, with the lists of what is installed.
 *
 * Nothing is scanned until startScan(). A scan walks the Start Menu folders, the package manager and the metadata file
 * on background threads while the former lists stay readable, and then publishes all lists in one go. Scans repeat
 * every hour and after the registry shows an installation, until stopScan().
 *
 * The object lives on the thread of XDispatch::main, and every member belongs to that thread unless it says otherwise.
 * The records in the lists are owned by the catalogue; they stay valid until control returns to the event loop after
 * the change signal of a later scan. `gameApps` and `toolApps` are emptied when a scan starts, and their signals come
 * when it ends: don't touch their elements in between.
 */
class KVPROGRAM_EXPORT KvProgramContext : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("QML.Element", "auto")
    Q_CLASSINFO("QML.Singleton", "true")
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY isEmptyChanged FINAL)
    Q_PROPERTY(QList<ProgramInfo *> allApps READ allApps NOTIFY allAppsChanged FINAL)
    Q_PROPERTY(QList<ProgramInfo *> meetingApps READ meetingApps NOTIFY meetingAppsChanged FINAL)
    Q_PROPERTY(QList<ProgramInfo *> shortcuts READ shortcuts NOTIFY shortcutsChanged FINAL)
    Q_PROPERTY(QList<KvAppSetting *> gameApps READ gameApps NOTIFY gameAppsChanged FINAL)
    Q_PROPERTY(QList<KvAppSetting *> toolApps READ toolApps NOTIFY toolAppsChanged FINAL)

public:
    ~KvProgramContext() override;

    /** The catalogue, built by the first call, which has to come from the thread of XDispatch::main. Owned by the
     * module and deleted when the application object ends. */
    static KvProgramContext *instance();

    /** The same for QML's type registration; both arguments are ignored. */
    static KvProgramContext *create(QQmlEngine *qmlEngine, QJSEngine *jsEngine);

    /** Whether allApps is empty. */
    bool isEmpty() const;

    /** Every program found, sorted by name. */
    QList<ProgramInfo *> allApps() const;

    /** The programs that the metadata file marks as meeting programs, sorted by name. */
    QList<ProgramInfo *> meetingApps() const;

    /** The pinned programs in slot order, at most 7. */
    QList<ProgramInfo *> shortcuts() const;

    /** The supported games that the launchers report as installed. */
    QList<KvAppSetting *> gameApps() const;

    /** The well-known tools among the programs found. */
    QList<KvAppSetting *> toolApps() const;

    /** Pins a program; false if it is null, pinned already or the eighth. It is stored before this returns. */
    Q_INVOKABLE bool addShortcut(ProgramInfo *app);

    /** Unpins a program; false if it isn't pinned. */
    Q_INVOKABLE bool removeShortcut(ProgramInfo *app);

    /** Unpins the program at a position; false if there is none. */
    Q_INVOKABLE bool removeShortcutAt(int index);

    /** Starts a scan, and lets scans repeat. A scan that runs is given up, and the new one starts when it has ended. */
    Q_INVOKABLE void startScan();

    /** Gives up a running scan and ends the repetition. The published lists stay. */
    Q_INVOKABLE void stopScan();

    /**
     * Marks in gameApps and toolApps, as hasSelected, what the stored settings of the monitor model `model` name. A
     * stored setting's executable has to be in lower case. Call it again after each gameAppsChanged or toolAppsChanged.
     */
    Q_INVOKABLE void updateInstalledAppListByModel(const QString &model, const QList<KvAppSetting *> &gameAppSettings,
                                                   const QList<KvAppSetting *> &toolAppSettings);

    /** Sets hasSelected on the first game or tool whose executable is `executable`, which has to be in lower case. */
    void updateInstalledAppListStatus(const QString &executable, bool isGame, bool selected);

    /**
     * Where an application named by its file name, or by a path below a Program Files folder, lies: the console user's
     * "App Paths", the machine's, Program Files, and the 32-bit Program Files are asked in this order. A null text if
     * none of them names a file that exists. May be called from any thread.
     */
    static QString appInstalledPath(const QString &app);

    /**
     * Texts of a file's version resource, by key, from the table for the user's interface language or else the first
     * one. No keys means all twelve standard ones. Absent and empty texts are not in the map, and a file without a
     * version resource gives an empty one. May be called from any thread.
     */
    static QMap<QString, QString> appVersionInfo(const QString &filePath, const QList<QString> &keys);

    /** The text "ProductVersion" of appVersionInfo, or a null text. May be called from any thread. */
    static QString appVersionNumber(const QString &filePath);

Q_SIGNALS:
    void isEmptyChanged();
    void allAppsChanged();
    void meetingAppsChanged();
    void shortcutsChanged();
    void gameAppsChanged();
    void toolAppsChanged();

private:
    friend class Singleton<KvProgramContext>;
    friend struct KvProgramContextProbe;

    using Rule = QMap<QString, QVariant>;

    // What the background jobs of the scans share with the catalogue. They hold it jointly, because the catalogue ends
    // without waiting for them; so whatever runs on their threads is static and takes it as an argument.
    struct Scan;
    struct Rules;

    explicit KvProgramContext(QObject *parent);

    // The pipeline.
    void loadApps();
    void dropRunningScan();
    void startSources();
    static void onLoadApp(Scan &scan, ProgramInfo *app);
    static void onLoadCompleted(Scan &scan);
    void mergePendingApps();
    void mergeApp(ProgramInfo *app);
    void replaceApp(ProgramInfo *older);
    static bool isReplacedBy(const ProgramInfo *older, const ProgramInfo *newer);
    static QUrl mergeKey(const ProgramInfo *app);
    QList<ProgramInfo *> takeLoadedApps();
    void onScanCompleted();
    QList<ProgramInfo *> findMeetingApps(const QList<ProgramInfo *> &apps) const;
    void releasePublishedApps();
    void reloadAppsOnRegistryChanged(const QString &path);
    static QList<ProgramInfo *> sortApps(const QList<ProgramInfo *> &apps);

    // The sources.
    static void loadAppsFromCommonStartMenu(Scan &scan);
    static void loadAppsFromUserStartMenu(Scan &scan);
    static void loadAppsFromStartMenuPrograms(Scan &scan, const QString &folder);
    static void loadAppsFromPackageManager(Scan &scan);
    static void loadAppsFromMetadata(Scan &scan);

    // Metadata and classification.
    void loadMetadata();
    static bool isMatched(const ProgramInfo *app, const Rule &rule);
    static bool isLaunchable(const Scan &scan, const ProgramInfo *app);
    static bool isUninstaller(const ProgramInfo *app);
    bool isMeetingApp(const ProgramInfo *app) const;

    // Shortcuts.
    void reloadShortcutOnRegistryChanged();
    void refreshShortcuts();
    void saveShortcuts();
    ProgramInfo *findTarget(const QUrl &url, ProgramInfo *defaultValue) const;

    // Games and tools.
    void loadPreloadGameApps();
    void loadGameAppsInfo();
    void loadToolAppsFilter();
    void filterToolApps();
    void findGameApps();
    QList<KvGameAppUtil *> makeScanners() const;
    void parseGameApps(QList<KvGameAppUtil *> utils);
    bool isListed(const KvAppSetting *game) const;
    void deleteAppSettings();

    QSharedPointer<XDispatch> m_dispatcher;
    QList<KvRegistrySpy *> m_registrySpies;
    QList<ProgramInfo *> m_allApps;
    QList<ProgramInfo *> m_meetingApps;
    QList<ProgramInfo *> m_shortcuts;
    QMap<QUrl, ProgramInfo *> m_targetMap; // The merge key of every record in m_allApps.
    QList<KvAppSetting *> m_gameApps;
    QList<KvAppSetting *> m_toolApps;
    QHash<QString, QString> m_toolAppsFilter;
    QList<KvGameAppInfo *> m_gameAppsInfo;
    QList<QString> m_preloadExecutables;
    QList<QString> m_preloadNames;
    std::shared_ptr<Rules> m_rules;
    QList<ProgramInfo *> m_loadedApps;                   // Of the running scan; null where a record was replaced.
    QHash<const ProgramInfo *, qsizetype> m_loadedIndex; // Each record's place in m_loadedApps.
    QMap<QUrl, ProgramInfo *> m_loadedTargets;
    std::shared_ptr<Scan> m_scan;
    bool m_scanning = false;
};
