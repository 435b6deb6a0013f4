#include "platform/portable/MachineRegistryWatch.h"

#include "platform/portable/MachineRegistry.h"
#include "platform/SystemValues.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QFileInfo>
#include <QtCore/QFileSystemWatcher>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <utility>

namespace KvPlatform {

namespace {

constexpr int BatchTime = 10; // Milliseconds in which changes of files are taken together.

QString rootName(quint32 root)
{
    switch (root) {
    case 0x80000000:
        return QStringLiteral("HKEY_CLASSES_ROOT");
    case 0x80000001:
        return QStringLiteral("HKEY_CURRENT_USER");
    case 0x80000002:
        return QStringLiteral("HKEY_LOCAL_MACHINE");
    case 0x80000003:
        return QStringLiteral("HKEY_USERS");
    case 0x80000005:
        return QStringLiteral("HKEY_CURRENT_CONFIG");
    default:
        return QString();
    }
}

} // namespace

/** Has one thread take in what other processes write. */
class MachineRegistryWatches::FolderWatch final : public QObject
{
public:
    explicit FolderWatch(std::shared_ptr<MachineRegistry> registry)
        : m_registry(std::move(registry))
    {
        m_batch.setSingleShot(true);
        m_batch.setInterval(BatchTime);
        connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &FolderWatch::onChanged);
        connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &FolderWatch::onChanged);
        connect(&m_batch, &QTimer::timeout, this, &FolderWatch::takeIn);
        watchFiles();
    }

    /** The last to let go of it may be on another thread. */
    static void end(FolderWatch *watch)
    {
        if (watch->thread() == QThread::currentThread())
            delete watch;
        else
            watch->deleteLater();
    }

private:
    void onChanged()
    {
        if (!m_batch.isActive())
            m_batch.start();
    }

    void takeIn()
    {
        watchFiles();
        // Keys would seem to be deleted, and their watches would end with that.
        if (RegistryFiles::isBeingWritten(m_registry->folder()))
            m_batch.start();
        else
            m_registry->refresh();
    }

    void watchFiles()
    {
        // Anew each time: a file that was replaced is another one, and its watch is with the former one.
        const QStringList former = m_watcher.files() + m_watcher.directories();
        if (!former.isEmpty())
            m_watcher.removePaths(former);
        const QString folder = m_registry->folder();
        const bool hasFolder = QFileInfo(folder).isDir();
        m_watcher.addPath(hasFolder ? folder : QFileInfo(folder).path());
        const QStringList files = RegistryFiles::paths(folder);
        if (!files.isEmpty())
            m_watcher.addPaths(files);
    }

    const std::shared_ptr<MachineRegistry> m_registry;
    QFileSystemWatcher m_watcher;
    QTimer m_batch;
};

/** Gets the notices as events. */
class MachineRegistryWatches::Watch final : public QObject, public RegistryWatch
{
public:
    Watch(std::shared_ptr<MachineRegistry> registry, std::shared_ptr<FolderWatch> files)
        : m_registry(std::move(registry))
        , m_files(std::move(files))
    {
        m_key.receiver = this;
    }

    ~Watch() override { m_registry->closeKey(&m_key); }

    bool open(const QString &key) { return m_registry->openKey(key, &m_key); }

    quint32 arm(bool watchSubtree, quint32) override
    {
        return m_registry->armKey(&m_key, watchSubtree) ? 0 : SystemError::KeyDeleted;
    }

    void notify(std::function<void()> onChange) override { m_onChange = std::move(onChange); }

protected:
    bool event(QEvent *event) override
    {
        // Has to come first for every event: it also hands the event over from the thread that has posted it.
        if (!m_registry->takeNotice(&m_key, *event))
            return QObject::event(event);
        // What it calls may be the end of this object.
        if (const std::function<void()> call = m_onChange)
            call();
        return true;
    }

private:
    const std::shared_ptr<MachineRegistry> m_registry;
    const std::shared_ptr<FolderWatch> m_files;
    std::function<void()> m_onChange;
    WatchedKey m_key;
};

MachineRegistryWatches::MachineRegistryWatches(std::shared_ptr<MachineRegistry> registry)
    : m_registry(std::move(registry))
{}

MachineRegistryWatches::~MachineRegistryWatches() = default;

std::shared_ptr<MachineRegistryWatches::FolderWatch> MachineRegistryWatches::folderWatch() const
{
    if (m_registry->folder().isEmpty() || !QAbstractEventDispatcher::instance())
        return nullptr;
    const QThread *const thread = QThread::currentThread();
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::weak_ptr<FolderWatch> &shared = m_folderWatches[thread];
    std::shared_ptr<FolderWatch> watch = shared.lock();
    if (!watch) {
        watch = std::shared_ptr<FolderWatch>(new FolderWatch(m_registry), &FolderWatch::end);
        shared = watch;
    }
    if (QCoreApplication::instance() && thread == QCoreApplication::instance()->thread())
        m_mainFolderWatch = watch;
    return watch;
}

RegistryWatchResult MachineRegistryWatches::open(quint32 root, const QString &subKey, quint32) const
{
    const QString key = subKey.isEmpty() ? rootName(root) : rootName(root) + u'\\' + subKey;
    // The files are watched before they are read, so that nothing is missed in between.
    auto watch = std::make_unique<Watch>(m_registry, folderWatch());
    if (!watch->open(key))
        return {nullptr, SystemError::FileNotFound};
    return {std::move(watch), 0};
}

} // namespace KvPlatform
