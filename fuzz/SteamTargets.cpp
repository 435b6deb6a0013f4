#include "../tests/support/PlainTokens.h"
#include "../tests/support/SteamCacheBuilder.h"
#include "KvAppSetting.h"
#include "KvSteamAppUtil.h"
#include "platform/Platform.h"
#include "Require.h"
#include "Targets.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

using FuzzTargets::require;

namespace {

/** Opens the protected operation. */
class Scanner : public KvGameAppUtil
{
public:
    using KvGameAppUtil::getNextToken;
};

/** A folder with a Steam client and one game, "Canyon". Made once for each process. */
class SteamFolder
{
public:
    static SteamFolder &instance()
    {
        static SteamFolder folder;
        return folder;
    }

    QString path() const { return m_folder.path(); }
    QString steam() const { return path() + QStringLiteral("/steam.exe"); }

    /** Nothing is written to a disk: the folder should be one in memory. */
    void write(const QString &name, QByteArrayView bytes) const
    {
        QFile file(path() + name);
        require(QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly));
        require(file.write(bytes.data(), bytes.size()) == bytes.size());
    }

private:
    SteamFolder()
    {
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        SteamCacheBuilder cache(SteamCacheBuilder::TreeWithHash);
        cache.add({10, "Canyon", "1c0", {{"game.exe", ""}}});
        cache.add({20, "Last", "", {}});
        write(QStringLiteral("/appcache/appinfo.vdf"), cache.build());
        write(QStringLiteral("/config/libraryfolders.vdf"), "\"path\"\t\"" + path().toLatin1() + "\"\n");
        write(QStringLiteral("/steamapps/a.acf"), "\"name\"\t\"Canyon\"\n");
    }

    QTemporaryDir m_folder;
};

QStringList scannedExecutables()
{
    KvSteamAppUtil scanner;
    const QList<KvAppSetting *> found = scanner.getInstalledApps(SteamFolder::instance().steam(), {});
    QStringList executables;
    for (const KvAppSetting *const setting : found)
        executables += setting->executableList();
    qDeleteAll(found);
    return executables;
}

void requireTokens(QFile &file, QByteArrayView bytes, bool wholeLine)
{
    PlainTokens plain(bytes);
    do {
        require(Scanner::getNextToken(file, wholeLine) == plain.next(wholeLine));
        require(file.pos() == plain.position());
    } while (!plain.atEnd());
    require(file.atEnd());
}

} // namespace

std::shared_ptr<const KvPlatform::Platform> KvPlatform::createPlatform()
{
    return std::make_shared<const Platform>();
}

void FuzzTargets::tokens(QByteArrayView bytes)
{
    const SteamFolder &folder = SteamFolder::instance();
    folder.write(QStringLiteral("/tokens"), bytes);
    for (const QIODevice::OpenMode mode :
         {QIODevice::OpenMode(QIODevice::ReadOnly), QIODevice::OpenMode(QIODevice::ReadWrite)}) {
        for (const bool wholeLine : {false, true}) {
            QFile file(folder.path() + QStringLiteral("/tokens"));
            require(file.open(mode));
            requireTokens(file, bytes, wholeLine);
        }
    }
}

void FuzzTargets::steamAppInfo(QByteArrayView bytes)
{
    const QList<SteamAppInfo::Section> expected = PlainAppInfo::read(bytes);
    // The first byte also says how the bytes come.
    const qsizetype step = bytes.isEmpty() ? 1 : 1 + static_cast<uchar>(bytes.front());
    for (const qsizetype size : {bytes.size() + 1, step}) {
        QList<SteamAppInfo::Section> sections;
        SteamAppInfo reader([&sections](const SteamAppInfo::Section &section) { sections.append(section); });
        for (qsizetype at = 0; at < bytes.size(); at += size)
            reader.read(bytes.sliced(at, qMin(size, bytes.size() - at)));
        reader.finish();
        require(areEqual(sections, expected));
    }
}

void FuzzTargets::steamLibraries(QByteArrayView bytes)
{
    const SteamFolder &folder = SteamFolder::instance();
    QByteArray text = bytes.toByteArray();
    folder.write(QStringLiteral("/config/libraryfolders.vdf"), text.replace("@", folder.path().toLatin1()));
    PlainTokens tokens(text);
    int own = 0;
    for (QString token = tokens.next(false); !token.isEmpty(); token = tokens.next(false)) {
        if (token.contains(QLatin1String("path")) && tokens.next(false).remove(u'"') == folder.path())
            ++own;
    }
    require(scannedExecutables().size() >= own);
}

void FuzzTargets::steamManifest(QByteArrayView bytes)
{
    const SteamFolder &folder = SteamFolder::instance();
    folder.write(QStringLiteral("/steamapps/a.acf"), bytes);
    QString fields[3];
    PlainTokens tokens(bytes);
    for (QString token = tokens.next(false); !token.isEmpty(); token = tokens.next(false)) {
        const char *const keys[3] = {"appid", "name", "installdir"};
        for (int i = 0; i < 3; ++i) {
            if (token.contains(QLatin1String(keys[i])) && fields[i].isEmpty()) {
                fields[i] = tokens.next(false).remove(u'"');
                break;
            }
        }
    }
    const QString program = folder.path() + QStringLiteral("/steamapps/common/%1/game.exe");
    const bool isKnown = fields[1] == QLatin1String("Canyon");
    const QStringList executables = scannedExecutables();
    require(executables.size() == (isKnown ? 1 : 0));
    if (isKnown && !fields[2].contains(u'\\') && !fields[2].contains(u'/') && !fields[2].contains(u'%'))
        require(executables.first() == program.arg(fields[2]));
}
