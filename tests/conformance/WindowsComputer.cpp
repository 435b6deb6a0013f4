#include "Computer.h"
#include "platform/Platform.h"
#include "platform/win/ComScope.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLibrary>
#include <QtCore/QProcess>
#include <QtCore/QSettings>
#include <QtCore/QStringConverter>
#include <QtCore/QTemporaryDir>

namespace {

using namespace Qt::StringLiterals;

/** Everything, on Windows. docs/testing.md tells where Wine falls short. */
Abilities abilitiesOfThisSystem()
{
    Abilities abilities;
    const bool isWine = QLibrary::resolve(u"ntdll"_s, "wine_get_version") != nullptr;
    abilities.resolveFindsLoss = !isWine;
    abilities.environmentTargets = !isWine;
    abilities.currentIdLists = !isWine;
    abilities.sessionsAreToldApart = !isWine;
    abilities.tokensNeedRights = !isWine;
    abilities.accountsIgnoreCase = !isWine;
    // Windows keeps this for its services.
    abilities.tokensStartPrograms = isWine;
    abilities.damagedIconsAreSafe = !isWine;
    abilities.smallIconsStaySmall = !isWine;
    abilities.deletionIsTold = !isWine;
    abilities.usersNeedHives = !isWine;
    abilities.endIsFinal = !isWine;
    return abilities;
}

/** This computer. The main thread gets COM as the threads of the pool do. */
class WindowsComputer final : public Computer
{
public:
    WindowsComputer()
        : m_platform(KvPlatform::createPlatform())
    {
        if (!m_com.hasCom() || !m_folder.isValid())
            qFatal("no COM, or no temporary folder: %s", qPrintable(m_folder.errorString()));
        clearRegistry();
    }

    ~WindowsComputer() override
    {
        clearRegistry();
        for (const QString &name : std::as_const(m_variables))
            qunsetenv(name.toLatin1().constData());
    }

    const Abilities &abilities() const override
    {
        static const Abilities abilities = abilitiesOfThisSystem();
        return abilities;
    }

    void setVariable(const QString &name, const QString &value) override
    {
        m_variables.append(name);
        qputenv(name.toLatin1().constData(), value.toLocal8Bit());
    }

    QString folder() const override { return m_folder.path(); }

    QString addFile(const QString &name, const QByteArray &content) override
    {
        QFile file(m_folder.filePath(name));
        const bool hasFolder = QDir().mkpath(QFileInfo(file.fileName()).path());
        if (!hasFolder || !file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("can't write %s", qPrintable(file.fileName()));
        return file.fileName();
    }

    const KvPlatform::Platform &platform() override { return *m_platform; }

    std::shared_ptr<const KvPlatform::Platform> reopened() const override { return KvPlatform::createPlatform(); }

    void shareWith(QProcessEnvironment *) const override {}

private:
    void importText(const QString &text) override
    {
        QTemporaryDir folder;
        const QString path = QDir::toNativeSeparators(folder.filePath(u"import.reg"_s));
        QFile file(path);
        QStringEncoder encode(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
        if (!file.open(QIODevice::WriteOnly) || file.write(encode(QString(text).replace(u"\n"_s, u"\r\n"_s))) < 0)
            qFatal("can't write %s", qPrintable(path));
        file.close();
        if (QProcess::execute(u"reg"_s, {u"import"_s, path}) != 0)
            qFatal("can't import %s", qPrintable(path));
    }

    static void clearRegistry() { QSettings(registryKey(), QSettings::NativeFormat).remove(QString()); }

    KvPlatform::ComScope m_com;
    QTemporaryDir m_folder;
    QStringList m_variables;
    std::shared_ptr<const KvPlatform::Platform> m_platform;
};

} // namespace

std::unique_ptr<Computer> Computer::create()
{
    return std::make_unique<WindowsComputer>();
}

std::shared_ptr<const KvPlatform::Platform> Computer::sharedPlatform()
{
    return KvPlatform::createPlatform();
}
