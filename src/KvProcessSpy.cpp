#include "KvProcessSpy.h"

#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/ProcessTable.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDebug>
#include <QtCore/QFileInfo>
#include <QtCore/QMetaObject>
#include <QtCore/QPointer>

#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <utility>

using KvPlatform::HandleResult;
using KvPlatform::NativeHandle;
using KvPlatform::Platform;
using KvPlatform::ProcessTable;

namespace {

// Access rights of winnt.h.
constexpr quint32 ProcessTerminate = 0x1;
constexpr quint32 Synchronize = 0x100000;
constexpr quint32 ProcessWatch = 0x100400; // SYNCHRONIZE, PROCESS_QUERY_INFORMATION

constexpr qsizetype PathCapacity = 260; // MAX_PATH
constexpr int UnknownExitCode = -1;

/** The process, if the number is an id at all. */
HandleResult openProcess(const ProcessTable &table, quint32 access, qint64 processId)
{
    if (processId < 0 || processId > std::numeric_limits<quint32>::max())
        return {};
    return table.open(access, static_cast<quint32>(processId));
}

/** Whether both paths lead to one existing file. */
bool isSameFile(const QString &left, const QString &right)
{
    const std::shared_ptr<KvPlatform::Files> files = Platform::current()->files;
    const QString leftPath = QFileInfo(files->hostPath(left)).canonicalFilePath();
    return !leftPath.isEmpty() && QFileInfo(leftPath) == QFileInfo(files->hostPath(right));
}

std::optional<quint32> findProcess(const QString &target)
{
    const std::shared_ptr<const Platform> platform = Platform::current();
    const std::unique_ptr<KvPlatform::ProcessSnapshot> snapshot = platform->processTable->snapshot();
    if (!snapshot)
        return std::nullopt;
    const bool isName = WindowsPath::isRelative(target);
    const QString name = WindowsPath::fileName(target);
    while (const auto process = snapshot->next()) {
        const bool isMatch = isName ? name.compare(WindowsPath::fileName(process->executable), Qt::CaseInsensitive) == 0
                                    : isSameFile(target, process->executable);
        if (isMatch)
            return process->id;
    }
    return std::nullopt;
}

} // namespace

/** The mutex is never held while a signal is emitted or a handle closed. */
struct KvProcessSpy::Members
{
    /** Both inside the mutex: the code that the process has ended with, and the state, with what a QProcess has anew.
     */
    bool setExit(int code);
    bool setState(QProcess::ProcessState newState);

    std::mutex mutex;
    std::condition_variable visitorLeft;
    KvProcessSpy *spy = nullptr; // Until the spy goes.
    int visitors = 0;            // Callbacks that are inside the spy.
    quint64 binding = 0;         // Tells a callback whether its process is still the one.
    std::shared_ptr<ProcessTable> table;
    std::deque<std::pair<int, QProcess::ExitStatus>> untoldExits;

    QString program;
    qint64 processId = 0;
    QPointer<QProcess> process;
    QProcess::ProcessState state = QProcess::NotRunning;
    int exitCode = 0;
    NativeHandle processHandle;
    NativeHandle waitHandle;
};

bool KvProcessSpy::Members::setExit(int code)
{
    exitCode = code;
    return setState(QProcess::NotRunning);
}

bool KvProcessSpy::Members::setState(QProcess::ProcessState newState)
{
    if (process) {
        program = process->program();
        processId = process->processId();
        exitCode = process->exitCode();
    }
    const bool isNew = state != newState;
    state = newState;
    return isNew;
}

KvProcessSpy::KvProcessSpy(QObject *parent)
    : QObject(parent)
    , m_members(std::make_shared<Members>())
{
    m_members->spy = this;
}

KvProcessSpy::~KvProcessSpy()
{
    unbind();
    // What a receiver has bound just now would be kept open by the very callback that it waits for.
    release();
    std::unique_lock<std::mutex> lock(m_members->mutex);
    m_members->spy = nullptr;
    m_members->visitorLeft.wait(lock, [this] { return m_members->visitors == 0; });
}

bool KvProcessSpy::bind(const QString &name)
{
    if (name.isEmpty())
        return false;
    const std::optional<quint32> id = findProcess(name);
    return id && bind(qint64(*id));
}

bool KvProcessSpy::bind(QProcess *process)
{
    if (!unbindForNext())
        return false;
    if (!process)
        return giveUpBinding();
    connect(process, &QProcess::stateChanged, this, &KvProcessSpy::setState);
    connect(process, &QProcess::finished, this, &KvProcessSpy::onExited);
    {
        const std::lock_guard<std::mutex> lock(m_members->mutex);
        m_members->process = process;
        ++m_members->binding;
    }
    setState(process->state());
    return true;
}

bool KvProcessSpy::bind(qint64 processId)
{
    if (!unbindForNext())
        return false;
    const std::shared_ptr<ProcessTable> table = Platform::current()->processTable;
    HandleResult opened = openProcess(*table, ProcessWatch, processId);
    if (!opened.handle)
        return giveUpBinding();
    const QString program = table->programPath(opened.handle, PathCapacity).value_or(QString());
    {
        const std::lock_guard<std::mutex> lock(m_members->mutex);
        m_members->table = table;
        m_members->processHandle = std::move(opened.handle);
        m_members->processId = processId;
        m_members->program = WindowsPath::fromNativeSeparators(program);
        ++m_members->binding;
    }
    return beginWatch();
}

bool KvProcessSpy::beginWatch()
{
    // Only this thread ever changes the table and the handles; others look at them inside the mutex.
    const Members *const members = m_members.get();
    quint32 error = 0;
    const std::optional<quint32> code = members->table->exitCode(members->processHandle, &error);
    if (!code) {
        qWarning() << "[FAIL] can't get process exit code, err:" << error;
        return giveUpBinding();
    }
    if (*code != ProcessTable::StillActive) {
        onExited(static_cast<int>(*code), QProcess::NormalExit);
        return true;
    }
    if (members->table->poll(members->processHandle) != ProcessTable::WaitTimeout) {
        // It ended with the very code that stands for running, or just now; then its code is another one by now.
        const quint32 lastCode = members->table->exitCode(members->processHandle, nullptr).value_or(*code);
        onExited(static_cast<int>(lastCode), QProcess::NormalExit);
        return true;
    }
    return registerWait();
}

bool KvProcessSpy::registerWait()
{
    const std::shared_ptr<Members> members = m_members;
    const quint64 binding = members->binding;
    setState(QProcess::Running);
    // A receiver may have put an end to this.
    if (!members->spy || members->binding != binding || !members->processHandle)
        return false;
    const auto callback = [members, binding] { callBack(*members, binding); };
    members->waitHandle = members->table->callAtEnd(members->processHandle, callback).handle;
    return static_cast<bool>(members->waitHandle);
}

void KvProcessSpy::unbind()
{
    release();
    setState(QProcess::NotRunning);
}

bool KvProcessSpy::unbindForNext()
{
    const std::shared_ptr<const Members> members = m_members;
    unbind();
    // A receiver may have deleted the spy, or bound it by itself.
    if (!members->spy)
        return false;
    release();
    return true;
}

bool KvProcessSpy::giveUpBinding()
{
    // A receiver that bound the spy when it was unbound has left another state.
    setState(QProcess::NotRunning);
    return false;
}

void KvProcessSpy::release()
{
    Members &members = *m_members;
    if (members.process)
        QObject::disconnect(members.process, nullptr, this, nullptr);
    members.waitHandle = NativeHandle();
    NativeHandle processHandle;
    const std::lock_guard<std::mutex> lock(members.mutex);
    members.process.clear();
    std::swap(processHandle, members.processHandle);
    members.processId = 0;
    members.program.clear();
    members.exitCode = 0;
}

bool KvProcessSpy::kill()
{
    if (!m_members->processHandle)
        return false;
    const std::shared_ptr<ProcessTable> table = m_members->table;
    const qint64 id = processId();
    unbind();
    const HandleResult opened = openProcess(*table, ProcessTerminate, id);
    return opened.handle && table->terminate(opened.handle, static_cast<quint32>(UnknownExitCode)) == 0;
}

bool KvProcessSpy::isRunning() const
{
    return state() != QProcess::NotRunning;
}

bool KvProcessSpy::isRunning(qint64 processId)
{
    const std::shared_ptr<ProcessTable> table = Platform::current()->processTable;
    const HandleResult opened = openProcess(*table, Synchronize, processId);
    return opened.handle && table->poll(opened.handle) == ProcessTable::WaitTimeout;
}

int KvProcessSpy::exitCode() const
{
    const std::lock_guard<std::mutex> lock(m_members->mutex);
    return m_members->exitCode;
}

qint64 KvProcessSpy::processId() const
{
    const std::lock_guard<std::mutex> lock(m_members->mutex);
    return m_members->processId;
}

QString KvProcessSpy::program() const
{
    const std::lock_guard<std::mutex> lock(m_members->mutex);
    return m_members->program;
}

QProcess::ProcessState KvProcessSpy::state() const
{
    const std::lock_guard<std::mutex> lock(m_members->mutex);
    return m_members->state;
}

void KvProcessSpy::setState(QProcess::ProcessState newState)
{
    bool isNew = false;
    {
        const std::lock_guard<std::mutex> lock(m_members->mutex);
        isNew = m_members->setState(newState);
    }
    if (isNew)
        Q_EMIT stateChanged(newState);
}

void KvProcessSpy::onExited(int exitCode, QProcess::ExitStatus status)
{
    bool isNewState = false;
    {
        const std::lock_guard<std::mutex> lock(m_members->mutex);
        isNewState = m_members->setExit(exitCode);
    }
    announceExit(isNewState, exitCode, status);
}

void KvProcessSpy::announceExit(bool isNewState, int exitCode, QProcess::ExitStatus status)
{
    const std::shared_ptr<Members> members = m_members;
    if (isNewState)
        Q_EMIT stateChanged(QProcess::NotRunning);
    {
        const std::lock_guard<std::mutex> lock(members->mutex);
        // A receiver may have deleted the spy.
        if (!members->spy)
            return;
        members->untoldExits.emplace_back(exitCode, status);
    }
    // What QTimer::singleShot does for no time at all, and also on threads that have no timers.
    QMetaObject::invokeMethod(this, "tellExit", Qt::QueuedConnection);
}

void KvProcessSpy::tellExit()
{
    std::pair<int, QProcess::ExitStatus> exit;
    {
        const std::lock_guard<std::mutex> lock(m_members->mutex);
        // Anybody may invoke a slot by its name.
        if (m_members->untoldExits.empty())
            return;
        exit = m_members->untoldExits.front();
        m_members->untoldExits.pop_front();
    }
    Q_EMIT exited(exit.first, exit.second);
}

void KvProcessSpy::callBack(Members &members, quint64 binding)
{
    KvProcessSpy *spy = nullptr;
    {
        const std::lock_guard<std::mutex> lock(members.mutex);
        spy = members.spy;
        members.visitors += spy ? 1 : 0;
    }
    if (!spy)
        return;
    spy->onTerminated(binding);
    const std::lock_guard<std::mutex> lock(members.mutex);
    --members.visitors;
    members.visitorLeft.notify_all();
}

void KvProcessSpy::onTerminated(quint64 binding)
{
    QString program;
    bool isEarly = false;
    bool isNewState = false;
    int code = UnknownExitCode;
    {
        const std::lock_guard<std::mutex> lock(m_members->mutex);
        // The spy watches another process by now.
        if (m_members->binding != binding)
            return;
        program = m_members->program;
        isEarly = !m_members->processHandle;
        if (!isEarly)
            code =
                static_cast<int>(m_members->table->exitCode(m_members->processHandle, nullptr).value_or(quint32(code)));
        isNewState = m_members->setExit(code);
    }
    if (isEarly)
        qWarning().noquote() << "[FAIL] process handle release early, app:" << program;
    announceExit(isNewState, code, QProcess::NormalExit);
}
