#include "KvProgramContext_p.h"

#include "KvSecurity.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Packages.h"
#include "platform/Session.h"
#include "platform/Tokens.h"

#include <QtCore/QDebug>
#include <QtCore/QVersionNumber>
#include <QtQml/QJSEngine>

using KvPlatform::AppListEntry;
using KvPlatform::Folder;
using KvPlatform::hresult_error;
using KvPlatform::Package;
using KvPlatform::Platform;

namespace {

struct CurrentUser
{
    QMutex mutex;
    bool lookedUp = false;
    QString nonRoamableId;
};

CurrentUser &currentUser()
{
    // Never destroyed: a background job may still ask while the process ends.
    static CurrentUser *const user = new CurrentUser;
    return *user;
}

/** Whether the lookup is still to be done; true for one caller only. */
bool beginLookup()
{
    const QMutexLocker lock(&currentUser().mutex);
    return !std::exchange(currentUser().lookedUp, true);
}

/** The id of the first user who is local and signed in here, if there is one. May raise hresult_error. */
std::optional<QString> localUserId()
{
    constexpr int LocalUser = 0;
    constexpr int LocallyAuthenticated = 1;
    const std::unique_ptr<KvPlatform::UserList> users = Platform::current()->packages->findAllUsers();
    while (const std::unique_ptr<KvPlatform::RuntimeUser> user = users->next()) {
        if (user->type() == LocalUser && user->authenticationStatus() == LocallyAuthenticated)
            return user->nonRoamableId();
    }
    return std::nullopt;
}

/** The part of an error's HRESULT that holds the system's error number. */
int errorNumber(const hresult_error &error)
{
    return error.code() & 0xFFFF;
}

std::unique_ptr<ProgramInfo> makeRecord()
{
    auto record = std::make_unique<ProgramInfo>();
    QJSEngine::setObjectOwnership(record.get(), QJSEngine::CppOwnership);
    return record;
}

/** The version as a record tells it: revision before build. */
QString versionText(const KvPlatform::PackageVersion &version)
{
    return QVersionNumber({version.major, version.minor, version.revision, version.build}).toString();
}

/** The record of one entry of a package; null after a failure, which is logged. */
std::unique_ptr<ProgramInfo> readEntry(const Package &package, const AppListEntry &entry, int index)
{
    try {
        const std::unique_ptr<KvPlatform::PackageId> id = package.id();
        const std::unique_ptr<KvPlatform::AppDisplayInfo> info = entry.displayInfo();
        const QString version = versionText(id->version());
        std::unique_ptr<ProgramInfo> record = makeRecord();
        record->setManagedTarget(id->fullName(), index);
        record->setDisplayName(info->displayName());
        record->setDescription(info->description());
        record->setPublisherName(package.publisherDisplayName());
        record->setProductName(entry.appUserModelId());
        record->setVersion(version);
        return record;
    } catch (const hresult_error &error) {
        // Asked before the line begins: this may fail, too, and would leave half a line.
        const QString name = package.displayName();
        qInfo() << "[SKIP] can't get app info:" << name << "err:" << errorNumber(error) << "reason:" << error.message();
        return nullptr;
    }
}

/** Hands the records of a package's entries to `take`. */
template<typename Take>
void readPackage(const Package &package, Take take)
{
    try {
        const std::unique_ptr<KvPlatform::AppListEntries> entries = package.appListEntries();
        int index = 0;
        while (const std::unique_ptr<AppListEntry> entry = entries->next()) {
            if (std::unique_ptr<ProgramInfo> record = readEntry(package, *entry, index))
                take(record.release());
            ++index;
        }
    } catch (const hresult_error &error) {
        qInfo() << "[SKIP] can't load package info, err:" << errorNumber(error) << "reason:" << error.message();
    }
}

} // namespace

void findCurrentUser()
{
    if (!beginLookup())
        return;
    try {
        const std::optional<QString> id = localUserId();
        if (!id)
            return;
        {
            const QMutexLocker lock(&currentUser().mutex);
            currentUser().nonRoamableId = *id;
        }
        qInfo().noquote() << "[USER] non roamable id:" << *id;
    } catch (const hresult_error &error) {
        qInfo() << "[SKIP] can't find current user, err:" << errorNumber(error) << "reason:" << error.message();
    }
}

QString nonRoamableId()
{
    const QMutexLocker lock(&currentUser().mutex);
    return currentUser().nonRoamableId;
}

void forgetCurrentUser()
{
    const QMutexLocker lock(&currentUser().mutex);
    currentUser().lookedUp = false;
    currentUser().nonRoamableId.clear();
}

void KvProgramContext::loadAppsFromCommonStartMenu(Scan &scan)
{
    if (const auto folder = Platform::current()->folders->path(Folder::CommonPrograms, {}))
        loadAppsFromStartMenuPrograms(scan, *folder);
}

void KvProgramContext::loadAppsFromUserStartMenu(Scan &scan)
{
    const std::shared_ptr<const Platform> platform = Platform::current();
    const auto token = platform->tokens->sessionUserToken(platform->session->activeConsoleSession());
    if (const auto folder = platform->folders->path(Folder::Programs, token.handle))
        loadAppsFromStartMenuPrograms(scan, *folder);
}

void KvProgramContext::loadAppsFromStartMenuPrograms(Scan &scan, const QString &folder)
{
    qInfo().noquote() << "[APPS] scan:" << folder;
    const std::unique_ptr<KvPlatform::LinkWalk> links = Platform::current()->files->walkLinks(folder);
    while (links->hasNext()) {
        if (scan.isCancelled())
            return;
        const QString link = links->next();
        std::unique_ptr<ProgramInfo> record = makeRecord();
        if (record->loadFromLinkFile(link))
            onLoadApp(scan, record.release());
    }
}

void KvProgramContext::loadAppsFromPackageManager(Scan &scan)
{
    findCurrentUser();
    try {
        const std::unique_ptr<KvPlatform::PackageManager> manager = Platform::current()->packages->packageManager();
        if (!manager)
            return;
        const auto packages =
            KvSecurity::isElevated() ? manager->findPackages() : manager->findPackagesForUser(QString());
        for (;;) {
            if (scan.isCancelled())
                return;
            const std::unique_ptr<Package> package = packages->next();
            if (!package)
                return;
            readPackage(*package, [&scan](ProgramInfo *record) { onLoadApp(scan, record); });
        }
    } catch (const hresult_error &error) {
        qWarning() << "[FAIL] can't load apps from package manager, err:" << errorNumber(error)
                   << "reason:" << error.message();
    }
}

void KvProgramContext::loadAppsFromMetadata(Scan &scan)
{
    for (const Rule &rule : scan.rules->metadataApps) {
        if (scan.isCancelled())
            return;
        std::unique_ptr<ProgramInfo> record = makeRecord();
        if (record->loadFromProperties(rule))
            onLoadApp(scan, record.release());
    }
}
