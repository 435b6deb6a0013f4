// Time of a Ubisoft scan of 200 games over a configuration of 20 MB, beside one reading of the same file's tokens.

#include "BenchReport.h"
#include "KvAppSetting.h"
#include "KvUbisoftAppUtil.h"
#include "LogCatcher.h"
#include "MachineBuilder.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QRandomGenerator>

#include <algorithm>

namespace {

constexpr int Games = 200;
constexpr int Rounds = 5;
constexpr qsizetype ConfigurationSize = 20 * 1024 * 1024;

/** Reads tokens as the scanner does. */
class TokenReader final : public KvGameAppUtil
{
public:
    static qsizetype readAll(const QString &path)
    {
        QFile file(path);
        qsizetype length = 0;
        if (!file.open(QIODevice::ReadOnly))
            return length;
        for (QString line = getNextToken(file, true); !line.isEmpty(); line = getNextToken(file, true))
            length += line.size();
        return length;
    }
};

QByteArray makeConfiguration()
{
    QRandomGenerator random(1);
    QByteArray text = "version: 2.0\r\n";
    for (int game = 0; text.size() < ConfigurationSize; ++game) {
        const QByteArray number = QByteArray::number(game);
        text += "root:\r\n  name: Game " + number + ".\r\n  start_game:\r\n    executables:\r\n";
        text += "      - shortcut_name: Game " + number + ".\r\n        path:\r\n          relative: bin/" + number +
                ".exe\r\n";
        for (int line = random.bounded(40); line > 0; --line)
            text += "  localizations: a line that says nothing of use here, " + QByteArray::number(line) + "\r\n";
    }
    return text;
}

void install(MachineBuilder &machine)
{
    machine.addFile(QStringLiteral("C:/U/cache/configuration/configurations"), makeConfiguration());
    QString entries;
    for (int game = 0; game < Games; ++game) {
        entries += QStringLiteral("[HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\"
                                  "Uninstall\\%1]\n\"Publisher\"=\"Ubisoft\"\n\"DisplayName\"=\"Game %1.\"\n"
                                  "\"InstallLocation\"=\"C:/Games/%1/\"\n\n")
                       .arg(game);
    }
    machine.addRegistry(QStringLiteral("10.reg"), entries);
}

template<typename Work>
double milliseconds(Work work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e6;
}

double median(QList<double> times)
{
    std::sort(times.begin(), times.end());
    return times.at(times.size() / 2);
}

/** Gives the number of games with an executable. */
int scan()
{
    KvUbisoftAppUtil scanner;
    int found = 0;
    const QList<KvAppSetting *> games = scanner.getInstalledApps(QStringLiteral("C:/U/UbisoftConnect.exe"), {});
    for (const KvAppSetting *const game : games)
        found += game->executable().isEmpty() ? 0 : 1;
    qDeleteAll(games);
    return found;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    const QCoreApplication application(argc, argv);
    MachineBuilder machine;
    install(machine);
    const ScopedMachine scope(machine);
    const LogCatcher log;
    const QString file = machine.hostPath(QStringLiteral("C:/U/cache/configuration/configurations"));
    QList<double> passes;
    QList<double> scans;
    int found = 0;
    for (int round = 0; round < Rounds; ++round) {
        passes.append(milliseconds([&file] { TokenReader::readAll(file); }));
        scans.append(milliseconds([&found] { found = scan(); }));
    }
    const double pass = median(passes);
    return writeReport(argv[1], {{QStringLiteral("games"), found},
                                 {QStringLiteral("token pass ms"), pass},
                                 {QStringLiteral("scan ms"), median(scans)},
                                 {QStringLiteral("scan / one pass"), median(scans) / pass},
                                 {QStringLiteral("scan / a pass for each game"), median(scans) / (pass * Games)}});
}
