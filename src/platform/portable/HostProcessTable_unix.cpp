#include "platform/portable/HostProcess.h"
#include "platform/portable/HostProcessTable.h"
#include "platform/portable/ProcessWatcher.h"
#include "platform/SystemValues.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>

#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace KvPlatform {

namespace {

// Access rights under their published values (winnt.h).
constexpr quint32 ProcessTerminate = 0x1;
constexpr quint32 ProcessQuery = 0x400 | 0x1000; // PROCESS_QUERY_INFORMATION, or only the limited kind
constexpr quint32 Synchronize = 0x100000;

constexpr char ProcessFolder[] = "/proc";

/** What a handle of this back-end points to. */
struct Object
{
    quint32 access;
    std::shared_ptr<HostProcess> process;
};

/** The process, if the handle has one of these rights. */
std::shared_ptr<HostProcess> processOf(const NativeHandle &handle, quint32 access, quint32 *error = nullptr)
{
    const auto *const object = static_cast<const Object *>(handle.native());
    const bool isAllowed = object && (object->access & access) != 0;
    if (error)
        *error = isAllowed ? 0 : object ? SystemError::AccessDenied : SystemError::InvalidHandle;
    return isAllowed ? object->process : nullptr;
}

/** The program's path by the process's entry in an open folder; empty if there is none to be seen. */
QByteArray programOf(int folder, const QByteArray &process)
{
    constexpr char Deleted[] = " (deleted)";
    QByteArray path(4096, Qt::Uninitialized);
    const auto size = ::readlinkat(folder, QByteArray(process + "/exe").constData(), path.data(), size_t(path.size()));
    path.resize(qMax<qsizetype>(0, size));
    if (path.endsWith(Deleted))
        path.chop(qsizetype(sizeof Deleted) - 1);
    return path;
}

/**
 * The name by which the system itself calls the process, of those without a visible program; empty for processes that
 * have ended, which Windows doesn't list either.
 */
QByteArray nameOf(int folder, const QByteArray &process)
{
    const HostDescriptor file(::openat(folder, QByteArray(process + "/stat").constData(), O_RDONLY | O_CLOEXEC));
    char buffer[256];
    const auto size = file ? ::read(file.get(), buffer, sizeof buffer) : 0;
    const QByteArray text = QByteArray::fromRawData(buffer, qMax<qsizetype>(0, size));
    // "7 (name) S ...", and the name may hold brackets itself.
    const qsizetype begin = text.indexOf('(') + 1;
    const qsizetype end = text.lastIndexOf(')');
    const bool isLiving = begin > 0 && end > begin && end + 2 < text.size() && !std::strchr("ZXx", text.at(end + 2));
    return isLiving ? QByteArray(text.constData() + begin, end - begin) : QByteArray();
}

class HostSnapshot final : public ProcessSnapshot
{
public:
    explicit HostSnapshot(DIR *folder)
        : m_folder(folder)
    {}

    ~HostSnapshot() override { ::closedir(m_folder); }
    HostSnapshot(const HostSnapshot &) = delete;
    HostSnapshot &operator=(const HostSnapshot &) = delete;

    std::optional<ListedProcess> next() override
    {
        while (const dirent *const entry = ::readdir(m_folder)) {
            const QByteArray process(entry->d_name);
            bool isNumber = false;
            const quint32 id = process.toUInt(&isNumber);
            const QByteArray name = isNumber ? executableOf(process) : QByteArray();
            if (!name.isEmpty())
                return ListedProcess{id, QFile::decodeName(name)};
        }
        return std::nullopt;
    }

private:
    QByteArray executableOf(const QByteArray &process) const
    {
        const int folder = ::dirfd(m_folder);
        const QByteArray program = programOf(folder, process);
        return program.isEmpty() ? nameOf(folder, process) : program.mid(program.lastIndexOf('/') + 1);
    }

    DIR *const m_folder;
};

class HostProcessTable final : public ProcessTable
{
public:
    std::unique_ptr<ProcessSnapshot> snapshot() const override
    {
        DIR *const folder = ::opendir(ProcessFolder);
        return folder ? std::make_unique<HostSnapshot>(folder) : nullptr;
    }

    HandleResult open(quint32 access, quint32 processId) const override
    {
        HandleResult result;
        if (std::shared_ptr<HostProcess> process = HostProcess::open(processId, &result.error)) {
            result.handle = NativeHandle(new Object{access, std::move(process)},
                                         [](void *native) { delete static_cast<Object *>(native); });
        }
        return result;
    }

    std::optional<QString> programPath(const NativeHandle &process, qsizetype capacity) const override
    {
        const std::shared_ptr<HostProcess> opened = processOf(process, ProcessQuery);
        const HostDescriptor folder(::open(ProcessFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!opened || !folder)
            return std::nullopt;
        const QByteArray path = programOf(folder.get(), QByteArray::number(opened->id()));
        return path.isEmpty() ? std::nullopt : std::optional<QString>(QFile::decodeName(path).left(capacity));
    }

    std::optional<quint32> exitCode(const NativeHandle &process, quint32 *error) const override
    {
        const std::shared_ptr<HostProcess> opened = processOf(process, ProcessQuery, error);
        if (!opened || !opened->hasEnded())
            return opened ? std::optional<quint32>(StillActive) : std::nullopt;
        const std::optional<quint32> code = opened->exitCode();
        if (!code && error)
            *error = SystemError::NotFound;
        return code;
    }

    quint32 poll(const NativeHandle &process) const override
    {
        const std::shared_ptr<HostProcess> opened = processOf(process, Synchronize);
        if (!opened)
            return WaitFailed;
        return opened->hasEnded() ? 0 : WaitTimeout;
    }

    HandleResult callAtEnd(const NativeHandle &process, std::function<void()> callback) const override
    {
        HandleResult result;
        std::shared_ptr<HostProcess> opened = processOf(process, Synchronize, &result.error);
        if (!opened)
            return result;
        const quint64 number = m_watcher->add(std::move(opened), std::move(callback));
        if (number == 0)
            return {NativeHandle(), SystemError::NotEnoughMemory};
        result.handle = NativeHandle(new quint64(number), [watcher = m_watcher](void *native) {
            const std::unique_ptr<const quint64> wait(static_cast<const quint64 *>(native));
            watcher->remove(*wait);
        });
        return result;
    }

    quint32 terminate(const NativeHandle &process, quint32) const override
    {
        quint32 error = 0;
        const std::shared_ptr<HostProcess> opened = processOf(process, ProcessTerminate, &error);
        return opened ? opened->terminate() : error;
    }

private:
    const std::shared_ptr<ProcessWatcher> m_watcher = std::make_shared<ProcessWatcher>();
};

} // namespace

std::shared_ptr<ProcessTable> createHostProcessTable()
{
    return std::make_shared<HostProcessTable>();
}

} // namespace KvPlatform
