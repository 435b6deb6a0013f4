#include "BenchMachine.h"

#include "PeBuilder.h"
#include "ShellLinkBuilder.h"
#include "VersionBuilder.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <filesystem>

namespace {

constexpr int FilesInFolder = 100;
constexpr int HardLinksOfFile = 20000; // File systems bound the number.

const QString StartMenu = QStringLiteral("/C/ProgramData/Microsoft/Windows/Start Menu/Programs");

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("can't write %s", qPrintable(path));
}

QByteArray makeProgram()
{
    VersionBuilder version;
    version.tables.append({0x0409,
                           0x04B0,
                           {{QStringLiteral("CompanyName"), QStringLiteral("Bench Company")},
                            {QStringLiteral("FileDescription"), QStringLiteral("A program to be found")},
                            {QStringLiteral("ProductName"), QStringLiteral("Bench Product")},
                            {QStringLiteral("ProductVersion"), QStringLiteral("1.2.3.4")}}});
    PeBuilder program;
    program.addIcon(1, {{32, 32, 32, QByteArray(1024, 'x')}});
    program.addVersion(version.build());
    return program.build();
}

QString folderOf(int number)
{
    return QStringLiteral("%1").arg(number / FilesInFolder, 4, 10, QLatin1Char('0'));
}

} // namespace

BenchMachine::BenchMachine(int links, bool doubled)
    : m_program(makeProgram())
{
    writeFacts();
    for (int number = 0; number < links; ++number) {
        const int target = doubled ? number / 2 : number;
        writeLink(number, target);
        if (!doubled || number % 2 == 0)
            writeTarget(target);
    }
}

void BenchMachine::writeFacts() const
{
    writeFile(m_folder.filePath(QStringLiteral("machine.json")), R"({
        "consoleUser": { "name": "kim", "domain": "DESK", "sid": "S-1-5-21-1-2-3-1001" },
        "folders": { "CommonPrograms": "C:/ProgramData/Microsoft/Windows/Start Menu/Programs" }
    })");
}

void BenchMachine::writeLink(int number, int target) const
{
    const QString folder = m_folder.path() + StartMenu + QLatin1String("/Group ") + folderOf(number);
    if (number % FilesInFolder == 0)
        QDir().mkpath(folder);
    ShellLinkBuilder link;
    link.idItems = ShellLinkBuilder::idList(
        QStringLiteral("C:\\Program Files\\Bench\\%1\\program%2.exe").arg(folderOf(target)).arg(target));
    link.description = QStringLiteral("Starts program number %1").arg(target);
    link.arguments = QStringLiteral("--number %1").arg(number);
    link.workingDirectory = QStringLiteral("C:\\Program Files\\Bench\\%1").arg(folderOf(target));
    // The names come in no order.
    const QString name = QStringLiteral("/%1 Program %2.lnk").arg(number * 7919LL % 100003).arg(number);
    writeFile(folder + name, link.build());
}

void BenchMachine::writeTarget(int target)
{
    const QString folder = m_folder.path() + QLatin1String("/C/Program Files/Bench/") + folderOf(target);
    if (target % FilesInFolder == 0)
        QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/program%1.exe").arg(target);
    if (target % HardLinksOfFile == 0) {
        writeFile(path, m_program);
        m_sharedProgram = path;
        return;
    }
    std::filesystem::create_hard_link(m_sharedProgram.toStdString(), path.toStdString());
}
