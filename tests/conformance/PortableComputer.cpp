#include "../support/MachineBuilder.h"
#include "Computer.h"
#include "platform/Platform.h"
#include "platform/portable/HostProcessTable.h"
#include "platform/portable/MachinePlatform.h"

#include <QtCore/QProcessEnvironment>

namespace {

using namespace Qt::StringLiterals;

/** Everything, but the processes are the host system's. */
Abilities abilitiesOfThisSystem()
{
    Abilities abilities;
    abilities.seesProcesses = KvPlatform::createHostProcessTable()->snapshot() != nullptr;
    abilities.wideExitCodes = false;
    return abilities;
}

constexpr char MachineVariable[] = "KVPROGRAM_TEST_MACHINE";

/** A machine folder with a console user and the usual folders. */
class PortableComputer final : public Computer
{
public:
    PortableComputer()
    {
        m_machine.addConsoleUser();
        m_machine.addFolder(folder());
        m_machine.addFile(u"C:/Windows/System32/cmd.exe"_s);
        const std::pair<QString, QString> folders[] = {{u"CommonPrograms"_s, u"C:/ProgramData/Programs"_s},
                                                       {u"Programs"_s, u"C:/Users/kim/Programs"_s},
                                                       {u"ProgramFiles"_s, u"C:/Program Files"_s},
                                                       {u"ProgramFilesX86"_s, u"C:/Program Files (x86)"_s}};
        for (const auto &[name, path] : folders) {
            m_machine.setFolder(name, path);
            m_machine.addFolder(path);
        }
    }

    const Abilities &abilities() const override
    {
        static const Abilities abilities = abilitiesOfThisSystem();
        return abilities;
    }

    void setVariable(const QString &name, const QString &value) override { m_machine.setEnvironment(name, value); }
    QString folder() const override { return u"C:/Conformance"_s; }

    QString addFile(const QString &name, const QByteArray &content) override
    {
        m_machine.addFile(folder() + u'/' + name, content);
        return folder() + u'/' + name;
    }

    const KvPlatform::Platform &platform() override
    {
        if (!m_platform) {
            m_machine.writeFacts();
            m_platform = KvPlatform::createMachinePlatform(m_machine.path());
        }
        return *m_platform;
    }

    std::shared_ptr<const KvPlatform::Platform> reopened() const override
    {
        return KvPlatform::createMachinePlatform(m_machine.path());
    }

    void shareWith(QProcessEnvironment *environment) const override
    {
        environment->insert(QLatin1String(MachineVariable), m_machine.path());
    }

private:
    void importText(const QString &text) override { m_machine.write(u"registry/conformance.reg"_s, text.toUtf8()); }

    MachineBuilder m_machine;
    std::shared_ptr<const KvPlatform::Platform> m_platform;
};

} // namespace

std::unique_ptr<Computer> Computer::create()
{
    return std::make_unique<PortableComputer>();
}

std::shared_ptr<const KvPlatform::Platform> Computer::sharedPlatform()
{
    return KvPlatform::createMachinePlatform(qEnvironmentVariable(MachineVariable));
}
