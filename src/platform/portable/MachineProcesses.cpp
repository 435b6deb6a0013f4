#include "platform/portable/MachineProcesses.h"

#include "platform/Files.h"
#include "platform/portable/CommandPrograms.h"
#include "platform/portable/StartJournal.h"
#include "platform/SystemValues.h"
#include "platform/Tokens.h"
#include "platform/WindowsPath.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>

#include <atomic>
#include <limits>

namespace KvPlatform {

namespace {

constexpr quint32 StillActive = 259;
constexpr qint64 MaximumFileSize = 65536;

// No host gives its processes ids as high as these.
constexpr quint32 FirstProcessId = 0x40000000;

/** What a handle of a process or a thread points to. */
struct Started
{
    quint32 processId = 0;
};

NativeHandle makeHandle(quint32 processId)
{
    return NativeHandle(new Started{processId}, [](void *native) { delete static_cast<Started *>(native); });
}

quint32 nextProcessId()
{
    static std::atomic<quint32> started{0};
    // Ids are multiples of 4.
    return FirstProcessId + 4 * (++started % 0x0FFFFFFF);
}

QString joined(const QString &file, const QString &parameters)
{
    return parameters.isEmpty() ? file : file + u' ' + parameters;
}

} // namespace

MachineProcesses::MachineProcesses(std::shared_ptr<const Files> files, std::shared_ptr<const Tokens> tokens,
                                   std::shared_ptr<const StartJournal> journal)
    : m_files(std::move(files))
    , m_tokens(std::move(tokens))
    , m_journal(std::move(journal))
{}

NativeHandle MachineProcesses::createEnvironmentBlock(const NativeHandle &, bool) const
{
    return makeHandle(0);
}

StartResult MachineProcesses::createProcess(const ProcessStart &start) const
{
    return create(QStringLiteral("detached"), start);
}

StartResult MachineProcesses::createProcessAsUser(const NativeHandle &token, const ProcessStart &start) const
{
    if (!token)
        return {false, SystemError::InvalidHandle, NativeHandle(), NativeHandle()};
    const bool isElevated = m_tokens->isElevated(token).value_or(false);
    return create(isElevated ? QStringLiteral("elevated") : QStringLiteral("user"), start);
}

StartResult MachineProcesses::createProcessWithToken(const NativeHandle &token, quint32,
                                                     const ProcessStart &start) const
{
    if (!token)
        return {false, SystemError::InvalidHandle, NativeHandle(), NativeHandle()};
    return create(QStringLiteral("restricted"), start);
}

StartResult MachineProcesses::shellExecute(const ShellStart &start) const
{
    const QJsonObject entry{{QStringLiteral("call"), QStringLiteral("admin")},
                            {QStringLiteral("command"), joined(start.file, start.parameters)},
                            {QStringLiteral("file"), start.file},
                            {QStringLiteral("parameters"), start.parameters},
                            {QStringLiteral("mask"), qint64(start.mask)},
                            {QStringLiteral("directory"), start.directory},
                            {QStringLiteral("flags"), 0},
                            {QStringLiteral("show"), start.showCommand},
                            {QStringLiteral("environment"), QStringLiteral("inherit")}};
    StartResult result = finish(entry, errorOf({{start.file, start.parameters}}));
    // The shell hands over no thread, and the process only if it is asked to.
    result.thread.reset();
    if (!(start.mask & KeepProcess))
        result.process.reset();
    return result;
}

std::optional<quint32> MachineProcesses::exitCode(const NativeHandle &process) const
{
    return process ? std::optional<quint32>(StillActive) : std::nullopt;
}

quint32 MachineProcesses::processId(const NativeHandle &process) const
{
    const auto *const started = static_cast<const Started *>(process.native());
    return started ? started->processId : 0;
}

bool MachineProcesses::openUrl(const QUrl &url) const
{
    m_journal->append(
        {{QStringLiteral("call"), QStringLiteral("url")}, {QStringLiteral("url"), url.toString(QUrl::FullyEncoded)}});
    return true;
}

StartResult MachineProcesses::create(const QString &call, const ProcessStart &start) const
{
    const QString environment = start.environment ? QStringLiteral("block") : QStringLiteral("inherit");
    const QJsonObject entry{{QStringLiteral("call"), call},
                            {QStringLiteral("command"), start.command},
                            {QStringLiteral("directory"), start.directory},
                            {QStringLiteral("flags"), qint64(start.flags)},
                            {QStringLiteral("show"), start.showCommand},
                            {QStringLiteral("environment"), environment}};
    return finish(entry, errorOf(commandPrograms(start.command)));
}

/** Writes the start down, and makes its result. */
StartResult MachineProcesses::finish(QJsonObject entry, quint32 error) const
{
    if (error != 0)
        entry.insert(QStringLiteral("error"), qint64(error));
    m_journal->append(entry);
    if (error != 0)
        return {false, error, NativeHandle(), NativeHandle()};
    const quint32 id = nextProcessId();
    return {true, 0, makeHandle(id), makeHandle(id)};
}

quint32 MachineProcesses::errorOf(const QList<CommandProgram> &programs) const
{
    for (const CommandProgram &program : programs) {
        const QString path = find(program.program);
        if (!path.isEmpty())
            return prescribedError(path);
    }
    return SystemError::FileNotFound;
}

/** The path of a program that the machine has; a null text if it has none of that name. */
QString MachineProcesses::find(const QString &program) const
{
    const bool isBare = WindowsPath::fileName(program) == program;
    // Nobody says which folder the machine's programs would be in.
    if (!isBare && WindowsPath::isRelative(program))
        return QString();
    const QStringList folders = isBare
                                    ? QStringList{QStringLiteral("C:/Windows/"), QStringLiteral("C:/Windows/System32/")}
                                    : QStringList{QString()};
    const QStringList names = programNames(program);
    for (const QString &folder : folders) {
        for (const QString &name : names) {
            QString path = folder + WindowsPath::fromNativeSeparators(name);
            // A folder of the host is executable, too.
            if (m_files->isExecutable(path) && QFileInfo(m_files->hostPath(path)).isFile())
                return path;
        }
    }
    return QString();
}

quint32 MachineProcesses::prescribedError(const QString &path) const
{
    QFile file(m_files->hostPath(path + QStringLiteral(".start.json")));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QJsonDocument document = QJsonDocument::fromJson(file.read(MaximumFileSize));
    const double error = document.object().value(QStringLiteral("error")).toDouble();
    return error > 0 && error <= std::numeric_limits<quint32>::max() ? quint32(error) : 0;
}

} // namespace KvPlatform
