// Time of reading Steam's cache, beside `strings` and a bare loop over the same bytes; of the scan that follows; and of
// the walk over uninstall keys, beside one that only reads the same values.
//
// Times are of the processor, so that other programs on the machine matter less; compare rows of one run only.

#include "BenchReport.h"
#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvSteamAppUtil.h"
#include "LogCatcher.h"
#include "MachineBuilder.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "SteamCache.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <ctime>
#include <sys/resource.h>

namespace {

constexpr int Rounds = 5;
constexpr int Manifests = 500;
constexpr int OtherFiles = 5000;
constexpr int UninstallKeys = 2000;

const QString UninstallKey = QStringLiteral("HKEY_LOCAL_MACHINE\\SOFTWARE\\Uninstall");

/** Opens the protected operations. */
class Scanner : public KvGameAppUtil
{
public:
    using KvGameAppUtil::getInstalledAppsFromUninstallRegistry;
    using KvGameAppUtil::getNextToken;
};

double ownTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

double childrensTime()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto milliseconds = [](const timeval &time) {
        return double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3;
    };
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

template<typename Work>
double timed(Work work, double (*clock)() = ownTime)
{
    const double start = clock();
    work();
    return clock() - start;
}

double median(QList<double> times)
{
    std::sort(times.begin(), times.end());
    return times.at(times.size() / 2);
}

bool runStrings(const QString &path)
{
    QProcess strings;
    strings.setStandardOutputFile(QProcess::nullDevice());
    strings.start(QStringLiteral("strings"), {QStringLiteral("-a"), QStringLiteral("-n"), QStringLiteral("1"), path});
    return strings.waitForFinished(-1) && strings.exitStatus() == QProcess::NormalExit && strings.exitCode() == 0;
}

/** The number of runs, found by looking at each mapped byte. */
qint64 countRuns(const QString &path)
{
    QFile file(path);
    const uchar *const bytes = file.open(QIODevice::ReadOnly) ? file.map(0, file.size()) : nullptr;
    const qint64 size = bytes ? file.size() : 0;
    qint64 runs = 0;
    for (qint64 at = 0; at < size;) {
        while (at < size && (bytes[at] < 0x20 || bytes[at] > 0x7E))
            ++at;
        runs += at < size ? 1 : 0;
        while (at < size && bytes[at] >= 0x20 && bytes[at] <= 0x7E)
            ++at;
    }
    return runs;
}

qint64 countTokens(const QString &path)
{
    QFile file(path);
    qint64 tokens = 0;
    if (!file.open(QIODevice::ReadOnly))
        return tokens;
    while (!Scanner::getNextToken(file, false).isEmpty())
        ++tokens;
    return tokens;
}

qsizetype scan(const QString &steam)
{
    KvSteamAppUtil scanner;
    const QList<KvAppSetting *> found = scanner.getInstalledApps(steam, {});
    qDeleteAll(found);
    return found.size();
}

class SteamFolder
{
public:
    explicit SteamFolder(qint64 cacheSize)
    {
        QDir(m_folder.path()).mkpath(QStringLiteral("appcache"));
        QDir(m_folder.path()).mkpath(QStringLiteral("config"));
        QDir(m_folder.path()).mkpath(QStringLiteral("steamapps"));
        m_isWritten = m_cache.write(cachePath(), cacheSize);
    }

    bool isWritten() const { return m_isWritten; }
    QString steam() const { return m_folder.filePath(QStringLiteral("steam.exe")); }
    QString cachePath() const { return m_folder.filePath(QStringLiteral("appcache/appinfo.vdf")); }

    /** Without the list of libraries a scan only reads the cache. */
    void addLibraryList()
    {
        write(QStringLiteral("config/libraryfolders.vdf"), "\"path\"\t\"" + m_folder.path().toLocal8Bit() + "\"\n");
    }

    void addManifests(int count)
    {
        for (int i = 0; i < count; ++i) {
            const QByteArray &name = m_cache.games.at(i * m_cache.games.size() / count);
            write(QStringLiteral("steamapps/appmanifest_%1.acf").arg(i),
                  "\"AppState\"\n{\n\t\"appid\"\t\t\"" + QByteArray::number(i) + "\"\n\t\"name\"\t\t\"" + name +
                      "\"\n\t\"StateFlags\"\t\t\"4\"\n\t\"installdir\"\t\t\"" + name + "\"\n" + QByteArray(700, '\t') +
                      "}\n");
        }
    }

    void addOtherFiles(int from, int to)
    {
        for (int i = from; i < to; ++i)
            write(QStringLiteral("steamapps/other_%1.tmp").arg(i), QByteArray());
    }

private:
    void write(const QString &name, const QByteArray &bytes)
    {
        QFile file(m_folder.filePath(name));
        m_isWritten = m_isWritten && file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    QTemporaryDir m_folder;
    SteamCache m_cache;
    bool m_isWritten = false;
};

QJsonObject readingTimes(const SteamFolder &folder)
{
    QList<double> strings;
    QList<double> bare;
    QList<double> tokens;
    QList<double> pass;
    qint64 count = 0;
    for (int round = 0; round < Rounds; ++round) {
        strings.append(timed([&] { runStrings(folder.cachePath()); }, childrensTime));
        bare.append(timed([&] { count = countRuns(folder.cachePath()); }));
        tokens.append(timed([&] { count -= countTokens(folder.cachePath()); }));
        pass.append(timed([&] { scan(folder.steam()); }));
    }
    return {{QStringLiteral("strings ms"), median(strings)},
            {QStringLiteral("bare loop ms"), median(bare)},
            {QStringLiteral("getNextToken ms"), median(tokens)},
            {QStringLiteral("cache pass ms"), median(pass)},
            {QStringLiteral("runs and tokens differ by"), count},
            {QStringLiteral("getNextToken / strings"), median(tokens) / median(strings)},
            {QStringLiteral("cache pass / strings"), median(pass) / median(strings)},
            {QStringLiteral("cache pass / bare loop"), median(pass) / median(bare)}};
}

QJsonObject scanTimes(SteamFolder &folder)
{
    QList<double> pass;
    QList<double> whole;
    QList<double> half;
    QList<double> all;
    qsizetype games = 0;
    const auto measure = [&folder, &games](QList<double> &times) {
        times.append(timed([&] { games = scan(folder.steam()); }));
    };
    for (int round = 0; round < Rounds; ++round)
        measure(pass);
    folder.addLibraryList();
    folder.addManifests(Manifests);
    for (int round = 0; round < Rounds; ++round)
        measure(whole);
    folder.addOtherFiles(0, OtherFiles / 2);
    for (int round = 0; round < Rounds; ++round)
        measure(half);
    folder.addOtherFiles(OtherFiles / 2, OtherFiles);
    for (int round = 0; round < Rounds; ++round)
        measure(all);
    return {{QStringLiteral("games"), qint64(games)},
            {QStringLiteral("cache pass ms"), median(pass)},
            {QStringLiteral("scan ms"), median(whole)},
            {QStringLiteral("scan / cache pass"), median(whole) / median(pass)},
            {QStringLiteral("2,500 other files add ms"), median(half) - median(whole)},
            {QStringLiteral("5,000 other files add ms"), median(all) - median(whole)}};
}

qsizetype readValues()
{
    const auto registry = KvPlatform::Platform::current()->registry;
    qsizetype length = 0;
    const QStringList children = registry->childGroups(UninstallKey);
    for (const QString &child : children) {
        const QString key = UninstallKey + u'\\' + child;
        for (const char *const name : {"Publisher", "DisplayName", "InstallLocation", "DisplayIcon"})
            length += registry->value(key, QString::fromLatin1(name), QVariant()).toString().size();
    }
    return length;
}

QJsonObject walkTimes()
{
    MachineBuilder machine;
    QString text;
    for (int i = 0; i < UninstallKeys; ++i)
        text += QStringLiteral("[%1\\Game %2]\n\"Publisher\"=\"Ubisoft\"\n\"DisplayName\"=\"Game %2\"\n"
                               "\"InstallLocation\"=\"\\\"C:\\\\Games\\\\%2\\\"\"\n"
                               "\"DisplayIcon\"=\"\\\"C:\\\\Games\\\\%2\\\\game.exe\\\",0\"\n\n")
                    .arg(UninstallKey)
                    .arg(i);
    machine.addRegistry(QStringLiteral("10.reg"), text);
    const ScopedMachine scope(machine);
    QList<double> bare;
    QList<double> walk;
    for (int round = 0; round < Rounds * 3; ++round) {
        bare.append(timed([] { readValues(); }));
        walk.append(timed([] {
            QList<KvGameAppInfo *> apps;
            Scanner::getInstalledAppsFromUninstallRegistry(apps, QStringLiteral("Ubisoft"), QStringLiteral("x.exe"),
                                                           UninstallKey);
            qDeleteAll(apps);
        }));
    }
    return {{QStringLiteral("bare walk ms"), median(bare)},
            {QStringLiteral("walk ms"), median(walk)},
            {QStringLiteral("walk / bare walk"), median(walk) / median(bare)}};
}

/** The limits that are far enough from what is measured not to fail by chance. */
bool isFastEnough(const QJsonObject &reading)
{
    const bool isFast = reading.value(QStringLiteral("cache pass / strings")).toDouble() <= 0.25 &&
                        reading.value(QStringLiteral("cache pass / bare loop")).toDouble() <= 2;
    if (!isFast)
        std::fputs("Steam's cache is read too slowly\n", stderr);
    return isFast;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    const QCoreApplication application(argc, argv);
    QJsonObject report;
    bool isFast = true;
    for (const int megabytes : {64, 256}) {
        SteamFolder folder(qint64(megabytes) * 1024 * 1024);
        QJsonObject reading;
        QJsonObject scans;
        if (folder.isWritten()) {
            const LogCatcher log;
            reading = readingTimes(folder);
            scans = scanTimes(folder);
        }
        if (!folder.isWritten()) {
            std::fputs("the files could not be written\n", stderr);
            return 1;
        }
        isFast = isFastEnough(reading) && isFast;
        report.insert(QStringLiteral("reading %1 MB").arg(megabytes), reading);
        report.insert(QStringLiteral("scan of %1 MB and 500 manifests").arg(megabytes), scans);
    }
    report.insert(QStringLiteral("uninstall walk over 2,000 keys"), walkTimes());
    const int code = writeReport(argv[1], report);
    return code == 0 && !isFast ? 1 : code;
}
