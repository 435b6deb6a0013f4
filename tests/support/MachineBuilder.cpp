#include "MachineBuilder.h"

#include "platform/portable/MachinePlatform.h"
#include "ShellLinkBuilder.h"

#include <XEnvironment.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>

namespace {

constexpr char MachineVariable[] = "KVPROGRAM_MACHINE";

QJsonObject user(const QString &name, const char16_t *sid)
{
    return {{QStringLiteral("name"), name},
            {QStringLiteral("domain"), QStringLiteral("DESK")},
            {QStringLiteral("sid"), QString::fromUtf16(sid)}};
}

} // namespace

MachineBuilder::MachineBuilder()
{
    if (!m_folder.isValid())
        qFatal("no temporary folder: %s", qPrintable(m_folder.errorString()));
}

QString MachineBuilder::hostPath(const QString &windowsPath) const
{
    return path() + u'/' + windowsPath.left(1) + windowsPath.mid(2);
}

void MachineBuilder::writeFacts() const
{
    write(QStringLiteral("machine.json"), QJsonDocument(m_facts).toJson());
}

void MachineBuilder::addConsoleUser()
{
    m_facts.insert(QStringLiteral("consoleUser"), user(QStringLiteral("kim"), KimSid));
}

void MachineBuilder::addProcessUser()
{
    m_facts.insert(QStringLiteral("processUser"), user(QStringLiteral("ada"), AdaSid));
}

void MachineBuilder::setEnvironment(const QString &name, const QString &value)
{
    setMember(QStringLiteral("environment"), name, value);
}

void MachineBuilder::setFolder(const QString &name, const QString &windowsPath)
{
    setMember(QStringLiteral("folders"), name, windowsPath);
}

void MachineBuilder::setMember(const QString &object, const QString &name, const QJsonValue &value)
{
    QJsonObject members = m_facts.value(object).toObject();
    members.insert(name, value);
    m_facts.insert(object, members);
}

void MachineBuilder::addPackage(const QJsonObject &package)
{
    QJsonArray packages = m_facts.value(QStringLiteral("packages")).toArray();
    packages.append(package);
    m_facts.insert(QStringLiteral("packages"), packages);
}

void MachineBuilder::addFile(const QString &windowsPath, const QByteArray &content)
{
    write(windowsPath.left(1) + windowsPath.mid(2), content);
}

void MachineBuilder::addFolder(const QString &windowsPath)
{
    if (!QDir().mkpath(hostPath(windowsPath)))
        qFatal("can't make %s", qPrintable(windowsPath));
}

void MachineBuilder::addLink(const QString &windowsPath, const ShellLinkBuilder &link)
{
    addFile(windowsPath, link.build());
}

void MachineBuilder::addLinkTo(const QString &windowsPath, const QString &target)
{
    const QString native = QString(target).replace(u'/', u'\\');
    ShellLinkBuilder link;
    link.idItems = ShellLinkBuilder::idList(native);
    link.localPath = native;
    addLink(windowsPath, link);
}

void MachineBuilder::addRegistry(const QString &fileName, const QString &body)
{
    const QString text = QStringLiteral("Windows Registry Editor Version 5.00\n\n") + body;
    write(QStringLiteral("registry/") + fileName, text.toUtf8());
}

void MachineBuilder::setMetadata(const QJsonArray &rules, const QString &windowsPath)
{
    addFile(windowsPath, QJsonDocument(rules).toJson());
    m_facts.insert(QStringLiteral("metadata"), windowsPath);
}

void MachineBuilder::write(const QString &relativePath, const QByteArray &content) const
{
    QFile file(path() + u'/' + relativePath);
    const bool hasFolder = QDir().mkpath(QFileInfo(file.fileName()).path());
    if (!hasFolder || !file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("can't write %s", qPrintable(file.fileName()));
}

QByteArray MachineBuilder::read(const QString &relativePath) const
{
    QFile file(path() + u'/' + relativePath);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

ScopedMachine::ScopedMachine(const MachineBuilder &machine)
{
    machine.writeFacts();
    qputenv(MachineVariable, QFile::encodeName(machine.path()));
    KvPlatform::Platform::setCurrent(KvPlatform::createMachinePlatform(machine.path()));
}

ScopedMachine::~ScopedMachine()
{
    qunsetenv(MachineVariable);
    KvPlatform::Platform::setCurrent(nullptr);
    XEnvironment::setDefault(QStringLiteral("app.metadata"), QVariant());
}
