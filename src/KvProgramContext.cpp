#include "KvProgramContext_p.h"

#include "KvRegistrySpy.h"
#include "platform/WindowsPath.h"
#include "Singleton.h"

#include <XDispatch.h>

#include <QtCore/QDebug>
#include <QtCore/QScopeGuard>
#include <QtCore/QSet>
#include <QtCore/QVersionNumber>

#include <algorithm>
#include <array>
#include <iterator>

namespace {

constexpr int MergeDelay = 100;
constexpr int CompletionDelay = 200;
constexpr int RetryDelay = 100;
constexpr int InstallationDelay = 15 * 1000;
constexpr int ReloadDelay = 60 * 60 * 1000;

const QString MergeKey = QStringLiteral("merge");
const QString CompletedKey = QStringLiteral("completed");
const QString ReloadKey = QStringLiteral("reload");

} // namespace

KvProgramContext::Scan::Scan(KvProgramContext *owner, QSharedPointer<XDispatch> jobs,
                             std::shared_ptr<const Rules> fixed)
    : dispatcher(std::move(jobs))
    , rules(std::move(fixed))
    , m_owner(owner)
{}

KvProgramContext::Scan::~Scan()
{
    qDeleteAll(pendingApps);
}

bool KvProgramContext::Scan::isCancelled() const
{
    return m_cancelled;
}

void KvProgramContext::Scan::cancel()
{
    const QMutexLocker lock(&m_postMutex);
    m_cancelled = true;
}

void KvProgramContext::Scan::post(const QString &key, int delay, void (KvProgramContext::*job)())
{
    const QMutexLocker lock(&m_postMutex);
    if (!m_cancelled)
        dispatcher->postUniqueLater(m_owner, key, delay, [owner = m_owner, job] { (owner->*job)(); });
}

KvProgramContext::KvProgramContext(QObject *parent)
    : QObject(parent)
    , m_dispatcher(new XDispatch(XDispatch::main()))
    , m_rules(std::make_shared<Rules>())
{
    loadMetadata();
    loadPreloadGameApps();
    loadGameAppsInfo();
    loadToolAppsFilter();
    reloadAppsOnRegistryChanged(QStringLiteral("HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"));
    reloadAppsOnRegistryChanged(QStringLiteral("@HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"));
    reloadAppsOnRegistryChanged(QStringLiteral("HKLM\\Software\\RegisteredApplications"));
    reloadAppsOnRegistryChanged(QStringLiteral("@HKCU\\Software\\RegisteredApplications"));
    reloadShortcutOnRegistryChanged();
    m_scan = std::make_shared<Scan>(this, m_dispatcher, m_rules);
}

KvProgramContext::~KvProgramContext()
{
    stopScan();
    deleteAppSettings();
    qDeleteAll(takeLoadedApps());
}

KvProgramContext *KvProgramContext::instance()
{
    return Singleton<KvProgramContext>::instance();
}

KvProgramContext *KvProgramContext::create(QQmlEngine *qmlEngine, QJSEngine *jsEngine)
{
    Q_UNUSED(qmlEngine)
    Q_UNUSED(jsEngine)
    return instance();
}

bool KvProgramContext::isEmpty() const
{
    return m_allApps.isEmpty();
}

QList<ProgramInfo *> KvProgramContext::allApps() const
{
    return m_allApps;
}

QList<ProgramInfo *> KvProgramContext::meetingApps() const
{
    return m_meetingApps;
}

QList<ProgramInfo *> KvProgramContext::shortcuts() const
{
    return m_shortcuts;
}

QList<KvAppSetting *> KvProgramContext::gameApps() const
{
    return m_gameApps;
}

QList<KvAppSetting *> KvProgramContext::toolApps() const
{
    return m_toolApps;
}

void KvProgramContext::startScan()
{
    m_scanning = true;
    loadApps();
}

void KvProgramContext::stopScan()
{
    m_scanning = false;
    m_scan->cancel();
    m_dispatcher->removeAll(false);
}

void KvProgramContext::loadApps()
{
    m_scan->cancel();
    m_dispatcher->removeAll(false);
    if (!m_scanning)
        return;
    if (m_scan->pendingJobs >= 1) {
        // The sources see the flag soon; what they still hand over is dropped.
        m_dispatcher->postLater(RetryDelay, [this] { loadApps(); });
        return;
    }
    dropRunningScan();
    deleteAppSettings();
    startSources();
}

void KvProgramContext::dropRunningScan()
{
    for (ProgramInfo *const app : takeLoadedApps())
        app->deleteLater();
    // No source runs any more, so nobody else is at the list.
    for (ProgramInfo *const app : std::as_const(m_scan->pendingApps))
        app->deleteLater();
    m_dispatcher->removeAll(false);
    m_loadedTargets.clear();
    m_scan->pendingApps.clear();
}

void KvProgramContext::startSources()
{
    constexpr std::array Sources{
        &KvProgramContext::loadAppsFromCommonStartMenu,
        &KvProgramContext::loadAppsFromUserStartMenu,
        &KvProgramContext::loadAppsFromPackageManager,
        &KvProgramContext::loadAppsFromMetadata,
    };
    // A state of its own for each scan: a source that is just ending can't be mistaken for one of the next.
    m_scan = std::make_shared<Scan>(this, m_dispatcher, m_rules);
    m_scan->pendingJobs = static_cast<int>(Sources.size());
    for (const auto source : Sources) {
        XDispatch::runInBackground(this, [source, scan = m_scan] {
            // Also when something is thrown: a source that never ends would keep every later scan waiting.
            const auto end = qScopeGuard([&scan] {
                if (scan->pendingJobs.fetch_sub(1) < 2)
                    onLoadCompleted(*scan);
            });
            source(*scan);
        });
    }
}

void KvProgramContext::onLoadApp(Scan &scan, ProgramInfo *app)
{
    std::unique_ptr<ProgramInfo> record(app);
    if (!record || scan.isCancelled() || !isLaunchable(scan, app) || isUninstaller(app))
        return;
    record->moveToThread(scan.dispatcher->thread());
    {
        const QMutexLocker lock(&scan.mutex);
        scan.pendingApps.append(record.release());
    }
    scan.post(MergeKey, MergeDelay, &KvProgramContext::mergePendingApps);
}

void KvProgramContext::onLoadCompleted(Scan &scan)
{
    scan.post(CompletedKey, CompletionDelay, &KvProgramContext::onScanCompleted);
}

void KvProgramContext::mergePendingApps()
{
    QList<ProgramInfo *> apps;
    {
        const QMutexLocker lock(&m_scan->mutex);
        apps.swap(m_scan->pendingApps);
    }
    for (ProgramInfo *const app : std::as_const(apps)) {
        if (m_scan->isCancelled())
            app->deleteLater();
        else
            mergeApp(app);
    }
}

QUrl KvProgramContext::mergeKey(const ProgramInfo *app)
{
    return app->type() == ProgramInfo::TypeManaged ? QUrl(app->productName(), QUrl::TolerantMode) : app->targetUrl();
}

bool KvProgramContext::isReplacedBy(const ProgramInfo *older, const ProgramInfo *newer)
{
    if (newer->type() == ProgramInfo::TypeManaged)
        return QVersionNumber::fromString(newer->version()) > QVersionNumber::fromString(older->version());
    // A plain entry holds its place; one with arguments gives way to the next.
    return !older->arguments().isEmpty();
}

void KvProgramContext::mergeApp(ProgramInfo *app)
{
    ProgramInfo *&holder = m_loadedTargets[mergeKey(app)];
    if (holder && holder != app) {
        if (!isReplacedBy(holder, app)) {
            app->deleteLater();
            return;
        }
        replaceApp(holder);
    }
    holder = app;
    m_loadedIndex.insert(app, m_loadedApps.size());
    m_loadedApps.append(app);
}

void KvProgramContext::replaceApp(ProgramInfo *older)
{
    // Closing the gap at once would make a scan full of duplicates quadratic.
    m_loadedApps[m_loadedIndex.take(older)] = nullptr;
    older->deleteLater();
}

QList<ProgramInfo *> KvProgramContext::takeLoadedApps()
{
    QList<ProgramInfo *> apps;
    apps.swap(m_loadedApps);
    m_loadedIndex.clear();
    apps.removeAll(nullptr);
    return apps;
}

void KvProgramContext::onScanCompleted()
{
    const QList<ProgramInfo *> apps = takeLoadedApps();
    const QList<ProgramInfo *> meetingApps = findMeetingApps(apps);
    releasePublishedApps();
    for (ProgramInfo *const app : apps)
        app->setParent(this);
    m_allApps = sortApps(apps);
    m_targetMap.swap(m_loadedTargets);
    m_loadedTargets.clear();
    m_meetingApps = sortApps(meetingApps);
    refreshShortcuts();
    saveShortcuts();
    filterToolApps();
    findGameApps();
    Q_EMIT allAppsChanged();
    Q_EMIT meetingAppsChanged();
    Q_EMIT shortcutsChanged();
    Q_EMIT isEmptyChanged();
    m_dispatcher->postUniqueLater(this, ReloadKey, ReloadDelay, [this] { loadApps(); });
}

QList<ProgramInfo *> KvProgramContext::findMeetingApps(const QList<ProgramInfo *> &apps) const
{
    QList<ProgramInfo *> meetingApps;
    std::copy_if(apps.cbegin(), apps.cend(), std::back_inserter(meetingApps),
                 [this](const ProgramInfo *app) { return isMeetingApp(app); });
    if (meetingApps.isEmpty())
        return meetingApps;
    QHash<QString, const ProgramInfo *> programs;
    for (const ProgramInfo *const app : apps) {
        if (app->type() == ProgramInfo::TypeDesktop)
            programs.insert(WindowsPath::fileName(app->desktopTarget()), app);
    }
    for (ProgramInfo *const app : std::as_const(meetingApps)) {
        const ProgramInfo *const shell = programs.value(app->shell());
        app->setShell(shell ? shell->desktopTarget() : QString());
        if (shell)
            app->setWorkingDir(shell->workingDir());
    }
    return meetingApps;
}

void KvProgramContext::releasePublishedApps()
{
    // QObject looks a child that goes up from the front of its parent's list, and closing the gap costs nothing there
    // only. So the records go in the order in which they stand, and the few other children make way for them.
    for (KvRegistrySpy *const spy : std::as_const(m_registrySpies)) {
        spy->setParent(nullptr);
        spy->setParent(this);
    }
    QSet<QObject *> former(m_allApps.cbegin(), m_allApps.cend());
    const QObjectList inOrder = children();
    for (QObject *const child : inOrder) {
        if (former.remove(child))
            child->deleteLater();
    }
    for (QObject *const app : std::as_const(former))
        app->deleteLater();
}

QList<ProgramInfo *> KvProgramContext::sortApps(const QList<ProgramInfo *> &apps)
{
    QList<ProgramInfo *> sorted = apps;
    std::sort(sorted.begin(), sorted.end(), [](const ProgramInfo *a, const ProgramInfo *b) {
        const QString nameA = a->displayName();
        const QString nameB = b->displayName();
        if (nameA.isEmpty() != nameB.isEmpty())
            return nameB.isEmpty();
        return nameA.localeAwareCompare(nameB) < 0;
    });
    return sorted;
}

void KvProgramContext::reloadAppsOnRegistryChanged(const QString &path)
{
    auto *const spy = new KvRegistrySpy(this);
    spy->bind(path, false);
    m_registrySpies.append(spy);
    connect(spy, &KvRegistrySpy::valueChanged, this, [this] {
        if (!m_scanning)
            return;
        m_dispatcher->postUniqueLater(this, ReloadKey, InstallationDelay, [this] {
            qDebug() << "[APPS] reload apps on installation";
            loadApps();
        });
    });
}
