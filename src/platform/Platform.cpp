#include "platform/Platform.h"

#include "platform/Environment.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Icons.h"
#include "platform/Packages.h"
#include "platform/Processes.h"
#include "platform/ProcessTable.h"
#include "platform/Registry.h"
#include "platform/RegistryWatch.h"
#include "platform/Session.h"
#include "platform/ShellLinks.h"
#include "platform/SystemValues.h"
#include "platform/Tokens.h"
#include "platform/VersionResources.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>

#include <mutex>

namespace KvPlatform {

namespace {

constexpr quint16 UnitedStatesEnglish = 0x0409;

class NoUsers final : public UserList
{
public:
    std::unique_ptr<RuntimeUser> next() override { return nullptr; }
};

class HostLinkWalk final : public LinkWalk
{
public:
    explicit HostLinkWalk(const QString &folder)
        : m_files(folder, {QStringLiteral("*.lnk")}, QDir::Files, QDirIterator::Subdirectories)
    {}

    bool hasNext() const override { return m_files.hasNext(); }
    QString next() override { return m_files.next(); }

private:
    QDirIterator m_files;
};

struct Current
{
    std::mutex mutex;
    std::shared_ptr<const Platform> platform;
};

Current &currentPlatform()
{
    // Never destroyed: a background job may still ask while the process ends.
    static auto *const current = new Current;
    return *current;
}

HandleResult unsupported()
{
    return {NativeHandle(), SystemError::CallNotImplemented};
}

StartResult notStarted()
{
    return {false, SystemError::CallNotImplemented, NativeHandle(), NativeHandle()};
}

} // namespace

Platform::Platform()
    : environment(std::make_shared<Environment>())
    , files(std::make_shared<Files>())
    , folders(std::make_shared<Folders>())
    , icons(std::make_shared<Icons>())
    , packages(std::make_shared<Packages>())
    , processTable(std::make_shared<ProcessTable>())
    , processes(std::make_shared<Processes>())
    , registry(std::make_shared<Registry>())
    , session(std::make_shared<Session>())
    , links(std::make_shared<ShellLinks>())
    , tokens(std::make_shared<Tokens>())
    , versions(std::make_shared<VersionResources>())
    , watches(std::make_shared<RegistryWatches>())
{}

std::shared_ptr<const Platform> Platform::current()
{
    Current &current = currentPlatform();
    const std::lock_guard<std::mutex> lock(current.mutex);
    if (!current.platform)
        current.platform = createPlatform();
    return current.platform;
}

void Platform::setCurrent(std::shared_ptr<const Platform> platform)
{
    Current &current = currentPlatform();
    const std::lock_guard<std::mutex> lock(current.mutex);
    // Swapped, so that the former platform goes after the lock does: its end may take time.
    current.platform.swap(platform);
}

Environment::~Environment() = default;

QString Environment::expand(const QString &text, int capacity) const
{
    const qsizetype zero = text.indexOf(QChar::Null);
    return text.left(qBound(qsizetype(0), zero < 0 ? text.size() : zero, qsizetype(qMax(0, capacity))));
}

LinkWalk::~LinkWalk() = default;
Files::~Files() = default;

QString Files::hostPath(const QString &path) const
{
    return path;
}

bool Files::exists(const QString &path) const
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

bool Files::isFolder(const QString &path) const
{
    return !path.isEmpty() && QFileInfo(path).isDir();
}

QStringList Files::fileNames(const QString &folder) const
{
    // QDir takes an empty path for the current folder.
    return folder.isEmpty() ? QStringList() : QDir(folder).entryList(QDir::Files);
}

QString Files::absolutePath(const QString &path) const
{
    return QDir(path).absolutePath();
}

QString Files::folderOf(const QString &path) const
{
    return path.isEmpty() ? QString() : QFileInfo(path).absolutePath();
}

bool Files::isExecutable(const QString &path) const
{
    return !path.isEmpty() && QFileInfo(path).isExecutable();
}

std::unique_ptr<LinkWalk> Files::walkLinks(const QString &folder) const
{
    return std::make_unique<HostLinkWalk>(folder);
}

Folders::~Folders() = default;

std::optional<QString> Folders::path(Folder, const NativeHandle &) const
{
    return std::nullopt;
}

Icons::~Icons() = default;

void Icons::prepare() const
{}

std::optional<QImage> Icons::largestIcon(const QString &) const
{
    return std::nullopt;
}

std::optional<QImage> Icons::extractIcon(const QString &, int) const
{
    return std::nullopt;
}

std::optional<QImage> Icons::associatedIcon(const QString &, quint16) const
{
    return std::nullopt;
}

SoftwareBitmap::~SoftwareBitmap() = default;
RuntimeUser::~RuntimeUser() = default;
AppDisplayInfo::~AppDisplayInfo() = default;
AppListEntry::~AppListEntry() = default;
PackageId::~PackageId() = default;
Package::~Package() = default;
PackageManager::~PackageManager() = default;
Packages::~Packages() = default;

std::unique_ptr<SoftwareBitmap> AppDisplayInfo::logo(float, float) const
{
    return nullptr;
}

void AppListEntry::launch() const
{}

void AppListEntry::launchForUser(const RuntimeUser *) const
{}

std::unique_ptr<Package> PackageManager::findPackage(const QString &) const
{
    return nullptr;
}

std::unique_ptr<Package> PackageManager::findPackageForUser(const QString &, const QString &) const
{
    return nullptr;
}

std::unique_ptr<UserList> Packages::findAllUsers() const
{
    return std::make_unique<NoUsers>();
}

std::unique_ptr<RuntimeUser> Packages::userFromId(const QString &) const
{
    return nullptr;
}

std::unique_ptr<PackageManager> Packages::packageManager() const
{
    return nullptr;
}

Processes::~Processes() = default;

NativeHandle Processes::createEnvironmentBlock(const NativeHandle &, bool) const
{
    return {};
}

StartResult Processes::createProcess(const ProcessStart &) const
{
    return notStarted();
}

StartResult Processes::createProcessAsUser(const NativeHandle &, const ProcessStart &) const
{
    return notStarted();
}

StartResult Processes::createProcessWithToken(const NativeHandle &, quint32, const ProcessStart &) const
{
    return notStarted();
}

StartResult Processes::shellExecute(const ShellStart &) const
{
    return notStarted();
}

std::optional<quint32> Processes::exitCode(const NativeHandle &) const
{
    return std::nullopt;
}

quint32 Processes::processId(const NativeHandle &) const
{
    return 0;
}

bool Processes::openUrl(const QUrl &) const
{
    return false;
}

ProcessSnapshot::~ProcessSnapshot() = default;
ProcessTable::~ProcessTable() = default;

std::unique_ptr<ProcessSnapshot> ProcessTable::snapshot() const
{
    return nullptr;
}

HandleResult ProcessTable::open(quint32, quint32) const
{
    return unsupported();
}

std::optional<QString> ProcessTable::programPath(const NativeHandle &, qsizetype) const
{
    return std::nullopt;
}

std::optional<quint32> ProcessTable::exitCode(const NativeHandle &, quint32 *error) const
{
    if (error)
        *error = SystemError::CallNotImplemented;
    return std::nullopt;
}

quint32 ProcessTable::poll(const NativeHandle &) const
{
    return WaitFailed;
}

HandleResult ProcessTable::callAtEnd(const NativeHandle &, std::function<void()>) const
{
    return unsupported();
}

quint32 ProcessTable::terminate(const NativeHandle &, quint32) const
{
    return SystemError::CallNotImplemented;
}

Registry::~Registry() = default;

bool Registry::contains(const QString &, const QString &) const
{
    return false;
}

QVariant Registry::value(const QString &, const QString &name, const QVariant &defaultValue) const
{
    return name.isEmpty() ? QVariant() : defaultValue;
}

void Registry::setValue(const QString &, const QString &, const QVariant &)
{}

void Registry::remove(const QString &, const QString &)
{}

QStringList Registry::childGroups(const QString &) const
{
    return {};
}

QStringList Registry::allKeys(const QString &) const
{
    return {};
}

RegistryWatch::~RegistryWatch() = default;

quint32 RegistryWatch::arm(bool, quint32)
{
    return SystemError::CallNotImplemented;
}

void RegistryWatch::notify(std::function<void()>)
{}

RegistryWatches::~RegistryWatches() = default;

RegistryWatchResult RegistryWatches::open(quint32, const QString &, quint32) const
{
    return {nullptr, SystemError::CallNotImplemented};
}

Session::~Session() = default;

quint32 Session::activeConsoleSession() const
{
    return NoSession;
}

std::optional<QString> Session::sessionUserName(quint32) const
{
    return std::nullopt;
}

std::optional<Account> Session::lookupAccount(const QString &) const
{
    return std::nullopt;
}

std::optional<bool> Session::isProcessElevated() const
{
    return std::nullopt;
}

ShellLink::~ShellLink() = default;

bool ShellLink::load(const QString &)
{
    return false;
}

bool ShellLink::resolve(quint32)
{
    return false;
}

std::optional<QString> ShellLink::idListPath() const
{
    return std::nullopt;
}

std::optional<QString> ShellLink::rawPath() const
{
    return std::nullopt;
}

std::optional<QString> ShellLink::description() const
{
    return std::nullopt;
}

std::optional<QString> ShellLink::arguments() const
{
    return std::nullopt;
}

std::optional<QString> ShellLink::workingDirectory() const
{
    return std::nullopt;
}

ShellLinks::~ShellLinks() = default;

std::unique_ptr<ShellLink> ShellLinks::create() const
{
    return nullptr;
}

std::optional<QString> ShellLinks::displayName(const QString &) const
{
    return std::nullopt;
}

Tokens::~Tokens() = default;

HandleResult Tokens::sessionUserToken(quint32) const
{
    return unsupported();
}

HandleResult Tokens::openOwnToken(quint32) const
{
    return unsupported();
}

std::optional<quint64> Tokens::lookupPrivilege(const QString &, quint32 *error) const
{
    if (error)
        *error = SystemError::CallNotImplemented;
    return std::nullopt;
}

quint32 Tokens::adjustPrivilege(const NativeHandle &, quint64, quint32) const
{
    return SystemError::CallNotImplemented;
}

ProcessIds Tokens::processIds(qsizetype) const
{
    return {};
}

HandleResult Tokens::openProcess(quint32, quint32) const
{
    return unsupported();
}

HandleResult Tokens::openProcessToken(const NativeHandle &, quint32) const
{
    return unsupported();
}

std::optional<bool> Tokens::isElevated(const NativeHandle &) const
{
    return std::nullopt;
}

std::optional<QByteArray> Tokens::userSid(const NativeHandle &) const
{
    return std::nullopt;
}

HandleResult Tokens::linkedToken(const NativeHandle &) const
{
    return unsupported();
}

HandleResult Tokens::duplicate(const NativeHandle &, quint32, int, int) const
{
    return unsupported();
}

VersionBlock::~VersionBlock() = default;

std::optional<QByteArray> VersionBlock::binary(const QString &) const
{
    return std::nullopt;
}

std::optional<VersionText> VersionBlock::text(const QString &) const
{
    return std::nullopt;
}

VersionResources::~VersionResources() = default;

std::unique_ptr<VersionBlock> VersionResources::load(const QString &) const
{
    return nullptr;
}

quint16 VersionResources::userInterfaceLanguage() const
{
    return UnitedStatesEnglish;
}

} // namespace KvPlatform
