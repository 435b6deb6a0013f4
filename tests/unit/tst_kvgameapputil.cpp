#include "../support/PlainTokens.h"
#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvGameAppUtil.h"
#include "platform/Platform.h"
#include "platform/Registry.h"

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QMap>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <memory>
#include <vector>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

/** Opens the protected operations to the tests. */
class Scanner : public KvGameAppUtil
{
public:
    using KvGameAppUtil::getInstalledAppsFromUninstallRegistry;
    using KvGameAppUtil::getNextToken;
};

struct Token
{
    QString text;
    qint64 end; ///< Where the file stands afterwards.
};

bool operator==(const Token &a, const Token &b)
{
    return a.text == b.text && a.end == b.end;
}

/** What reading byte by byte gives, told by the bytes alone. */
QList<Token> expectedTokens(const QByteArray &bytes, bool wholeLine)
{
    QList<Token> list;
    PlainTokens tokens(bytes);
    do {
        const QString text = tokens.next(wholeLine);
        list.append({text, tokens.position()});
    } while (!tokens.atEnd());
    return list;
}

QList<Token> readTokens(QFile &file, bool wholeLine)
{
    QList<Token> tokens;
    do {
        const QString text = Scanner::getNextToken(file, wholeLine);
        tokens.append({text, file.pos()});
    } while (!file.atEnd());
    return tokens;
}

QStringList texts(const QList<Token> &tokens)
{
    QStringList list;
    for (const Token &token : tokens)
        list.append(token.text);
    return list;
}

/** Bytes of which most are printable, with runs of the length that the seed decides. */
QByteArray mixture(quint32 seed, qsizetype size)
{
    static constexpr char Others[] = {'\0', '\r', '\n', '\t', '\x7F', '\x80', '\xE9', '\xFF', '\x1F', '\r'};
    QRandomGenerator random(seed);
    const quint32 rarity = 1 + seed * seed % 97;
    QByteArray bytes;
    for (qsizetype i = 0; i < size; ++i) {
        const bool isPrintable = random.bounded(rarity) != 0;
        bytes += isPrintable ? static_cast<char>(0x20 + random.bounded(0x5F)) : Others[random.bounded(10)];
        if (bytes.back() == '\r' && random.bounded(2))
            bytes += '\n';
    }
    return bytes;
}

const QString Uninstall = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Uninstall"_s;

using Values = QMap<QString, QVariant>;

/** Uninstall entries, in the order in which they were added. Counts the questions. */
class FakeUninstallKeys final : public KvPlatform::Registry
{
public:
    void add(const QString &name, const Values &values)
    {
        m_names.append(name);
        m_values.insert(Uninstall + u'\\' + name, values);
    }

    QStringList childGroups(const QString &key) const override { return key == Uninstall ? m_names : QStringList(); }

    QVariant value(const QString &key, const QString &name, const QVariant &defaultValue) const override
    {
        ++questions;
        return m_values.value(key).value(name, defaultValue);
    }

    mutable int questions = 0;

private:
    QStringList m_names;
    QHash<QString, Values> m_values;
};

/** A computer with uninstall entries and nothing else, in force while it lives. */
struct UninstallKeys
{
    UninstallKeys()
    {
        const auto platform = std::make_shared<KvPlatform::Platform>();
        platform->registry = registry;
        KvPlatform::Platform::setCurrent(platform);
    }

    ~UninstallKeys() { KvPlatform::Platform::setCurrent(nullptr); }

    UninstallKeys(const UninstallKeys &) = delete;
    UninstallKeys &operator=(const UninstallKeys &) = delete;

    std::vector<std::unique_ptr<KvGameAppInfo>> walk(const QString &publisher, const QString &excluded = QString())
    {
        QList<KvGameAppInfo *> apps;
        Scanner::getInstalledAppsFromUninstallRegistry(apps, publisher, excluded, Uninstall);
        return {apps.cbegin(), apps.cend()};
    }

    const std::shared_ptr<FakeUninstallKeys> registry = std::make_shared<FakeUninstallKeys>();
};

Values entry(const QVariant &publisher, const QVariant &name, const QVariant &location, const QVariant &icon)
{
    return {{u"Publisher"_s, publisher},
            {u"DisplayName"_s, name},
            {u"InstallLocation"_s, location},
            {u"DisplayIcon"_s, icon}};
}

} // namespace

class tst_KvGameAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void baseFindsNothing();
    void keepsItsPath();

    void tokens_data();
    void tokens();
    void everyByteInBothModes();
    void tokensOfAnyFile_data();
    void tokensOfAnyFile();
    void tokensFromTheMiddle();
    void readsBetweenTokens();
    void growingFile();
    void shrinkingFile();
    void longLines_data();
    void longLines();
    void pipe();
    void filesThatCannotBeRead_data();
    void filesThatCannotBeRead();

    void publishers_data();
    void publishers();
    void excludedIcons_data();
    void excludedIcons();
    void entryBecomesARecord();
    void entryWithoutTexts();
    void recordsAreAppendedInOrder();
    void oddValues();
    void manyKeysAreLinear();

private:
    QTemporaryDir m_folder;

    QString write(const QByteArray &bytes)
    {
        QFile file(m_folder.filePath(u"file"_s));
        const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
        return isWritten ? file.fileName() : QString();
    }
};

void tst_KvGameAppUtil::baseFindsNothing()
{
    KvGameAppUtil scanner;
    QCOMPARE(scanner.parent(), nullptr);
    QCOMPARE(scanner.getInstalledApps(u"C:/x.exe"_s, {nullptr}), QList<KvAppSetting *>());
    const QMetaObject &meta = KvGameAppUtil::staticMetaObject;
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), 0);
}

void tst_KvGameAppUtil::keepsItsPath()
{
    KvGameAppUtil scanner;
    QCOMPARE(scanner.appDataPath(), QString());
    scanner.setAppDataPath(u"C:/Steam/steam.exe"_s);
    QCOMPARE(scanner.appDataPath(), u"C:/Steam/steam.exe"_s);
}

void tst_KvGameAppUtil::tokens_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("wholeLine");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("empty file") << QByteArray() << false << QStringList{QString()};
    QTest::newRow("empty file, lines") << QByteArray() << true << QStringList{QString()};
    QTest::newRow("token at the end") << QByteArray("\1abc") << false << QStringList{u"abc"_s};
    QTest::newRow("line at the end") << QByteArray("abc") << true << QStringList{u"abc"_s};
    QTest::newRow("runs") << QByteArray("ab\1\0cd\0", 7) << false << QStringList{u"ab"_s, u"cd"_s, QString()};
    QTest::newRow("letter beyond ASCII") << QByteArray("f\xE9s") << false << QStringList{u"f"_s, u"s"_s};
    QTest::newRow("UTF-8") << QByteArray("Br\xC3\xBCtal") << false << QStringList{u"Br"_s, u"tal"_s};
    QTest::newRow("UTF-8 in a line") << QByteArray("Br\xC3\xBCtal\r\n") << true << QStringList{u"Brtal"_s};
    QTest::newRow("quotes and blanks") << QByteArray("\"name\"\t\t\"Half Life 2\"\n{\n") << false
                                       << QStringList{u"\"name\""_s, u"\"Half Life 2\""_s, u"{"_s};
    QTest::newRow("blanks join") << QByteArray("a b  c\n") << false << QStringList{u"a b  c"_s};
    QTest::newRow("edges of the printable") << QByteArray("\x1F ~\x7F") << false << QStringList{u" ~"_s};
    QTest::newRow("cut line end") << QByteArray("ab\rc\nd\r\n") << true << QStringList{u"abd"_s};
    QTest::newRow("two returns") << QByteArray("a\r\r\nb\r\n") << true << QStringList{u"ab"_s};
    QTest::newRow("lone line feeds") << QByteArray("a\nb\nc\n") << true << QStringList{u"abc"_s};
    QTest::newRow("empty lines") << QByteArray("\r\n\r\na\r\n") << true << QStringList{QString(), QString(), u"a"_s};
    QTest::newRow("line without text") << QByteArray("\1\2\r\nb\r\n") << true << QStringList{QString(), u"b"_s};
    QTest::newRow("return at the end") << QByteArray("a\r") << true << QStringList{u"a"_s};
    QTest::newRow("last line open") << QByteArray("a\r\nb") << true << QStringList{u"a"_s, u"b"_s};
}

void tst_KvGameAppUtil::tokens()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, wholeLine);
    QFETCH(QStringList, expected);
    QFile file(write(bytes));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QStringList read = texts(readTokens(file, wholeLine));
    if (expected.size() == read.size() + 1 && expected.last().isEmpty())
        read.append(Scanner::getNextToken(file, wholeLine));
    QCOMPARE(read, expected);
    QCOMPARE(Scanner::getNextToken(file, wholeLine), QString());
}

void tst_KvGameAppUtil::everyByteInBothModes()
{
    for (int value = 0; value < 256; ++value) {
        const char byte = static_cast<char>(value);
        const bool isPrintable = value >= 0x20 && value <= 0x7E;
        for (const bool wholeLine : {false, true}) {
            QFile file(write(QByteArray("abcdefgh") + byte + "ijklmnopq"));
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString first = Scanner::getNextToken(file, wholeLine);
            const QString middle = isPrintable ? QString(QLatin1Char(byte)) : QString();
            // A carriage return takes the byte behind it along.
            const QString rest = wholeLine && byte == '\r' ? u"jklmnopq"_s : u"ijklmnopq"_s;
            QCOMPARE(first, isPrintable || wholeLine ? u"abcdefgh"_s + middle + rest : u"abcdefgh"_s);
        }
    }
}

void tst_KvGameAppUtil::tokensOfAnyFile_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("as scanners open it") << int(QIODevice::ReadOnly);
    QTest::newRow("unbuffered") << int(QIODevice::ReadOnly | QIODevice::Unbuffered);
    QTest::newRow("for writing too") << int(QIODevice::ReadWrite);
    QTest::newRow("existing only") << int(QIODevice::ReadOnly | QIODevice::ExistingOnly);
}

void tst_KvGameAppUtil::tokensOfAnyFile()
{
    QFETCH(int, mode);
    const qsizetype size = mode & QIODevice::Unbuffered ? 3000 : 70000;
    for (quint32 seed = 0; seed < 12; ++seed) {
        const QByteArray bytes = mixture(seed, size);
        for (const bool wholeLine : {false, true}) {
            QFile file(write(bytes));
            QVERIFY(file.open(QIODevice::OpenMode(mode)));
            QVERIFY2(readTokens(file, wholeLine) == expectedTokens(bytes, wholeLine),
                     qPrintable(QString::number(seed)));
        }
    }
}

void tst_KvGameAppUtil::tokensFromTheMiddle()
{
    const QByteArray bytes = mixture(7, 40000);
    QFile file(write(bytes));
    QVERIFY(file.open(QIODevice::ReadOnly));
    for (const qint64 from : {0, 1, 16383, 16384, 16385, 20000, 39999, 100}) {
        for (const bool wholeLine : {false, true}) {
            QVERIFY(file.seek(from));
            const Token expected = expectedTokens(bytes.mid(from), wholeLine).first();
            QCOMPARE(Scanner::getNextToken(file, wholeLine), expected.text);
            QCOMPARE(file.pos(), from + expected.end);
        }
    }
}

void tst_KvGameAppUtil::readsBetweenTokens()
{
    QFile file(write("one\0two\0three\0four\0"_ba));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(Scanner::getNextToken(file, false), u"one"_s);
    QCOMPARE(file.read(1), QByteArray("t"));
    file.ungetChar('X');
    QCOMPARE(Scanner::getNextToken(file, false), u"Xwo"_s);
    file.setTextModeEnabled(true);
    QCOMPARE(Scanner::getNextToken(file, false), u"three"_s);
    QCOMPARE(file.pos(), 14);
    file.setTextModeEnabled(false);
    QCOMPARE(Scanner::getNextToken(file, false), u"four"_s);
    QCOMPARE(Scanner::getNextToken(file, false), QString());
}

void tst_KvGameAppUtil::growingFile()
{
    QFile file(write("one"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(Scanner::getNextToken(file, false), u"one"_s);
    QFile writer(file.fileName());
    QVERIFY(writer.open(QIODevice::Append));
    writer.write(QByteArray(1, '\0') + "two");
    writer.close();
    QCOMPARE(Scanner::getNextToken(file, false), u"two"_s);
    QCOMPARE(file.pos(), 7);
}

void tst_KvGameAppUtil::shrinkingFile()
{
    QFile file(write(QByteArray(100000, 'a')));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.seek(50000));
    QVERIFY(QFile::resize(file.fileName(), 60000));
    QCOMPARE(Scanner::getNextToken(file, false), QString(10000, u'a'));
    QVERIFY(file.seek(10));
    QVERIFY(QFile::resize(file.fileName(), 5));
    // What was read ahead may still be told, but it ends.
    QVERIFY(Scanner::getNextToken(file, true).size() < 20000);
}

void tst_KvGameAppUtil::longLines_data()
{
    QTest::addColumn<bool>("wholeLine");
    QTest::newRow("runs") << false;
    QTest::newRow("lines") << true;
}

void tst_KvGameAppUtil::longLines()
{
    QFETCH(bool, wholeLine);
    constexpr qsizetype Size = 10 * 1024 * 1024;
    QFile file(write(QByteArray(Size, 'x') + "\r\nend"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(Scanner::getNextToken(file, wholeLine), QString(Size, u'x'));
    QCOMPARE(file.pos(), Size + (wholeLine ? 2 : 1));
    QCOMPARE(Scanner::getNextToken(file, wholeLine), u"end"_s);
}

void tst_KvGameAppUtil::pipe()
{
#ifdef Q_OS_UNIX
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    QFile file;
    QVERIFY(file.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
    QCOMPARE(::write(ends[1], "one\0two\0", 8), ssize_t(8));
    ::close(ends[1]);
    // Byte by byte the end is asked for first, and Qt takes a pipe that it hasn't read from for ended.
    QCOMPARE(Scanner::getNextToken(file, false), QString());
    QCOMPARE(file.read(1), QByteArray("o"));
    QCOMPARE(Scanner::getNextToken(file, false), u"ne"_s);
    QCOMPARE(Scanner::getNextToken(file, false), u"two"_s);
#else
    QSKIP("Pipes are made by Unix's means");
#endif
}

void tst_KvGameAppUtil::filesThatCannotBeRead_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("not open") << QString();
#ifdef Q_OS_LINUX
    QTest::newRow("without a size") << u"/proc/self/status"_s;
    QTest::newRow("refuses to be read") << u"/proc/self/mem"_s;
    QTest::newRow("shorter than it says") << u"/sys/kernel/mm/transparent_hugepage/enabled"_s;
#endif
}

void tst_KvGameAppUtil::filesThatCannotBeRead()
{
    QFETCH(QString, name);
    for (const bool wholeLine : {false, true}) {
        QFile file(name);
        if (!name.isEmpty() && !file.open(QIODevice::ReadOnly))
            QSKIP("This system has no such file");
        // Comes to an end, whatever it is.
        for (int i = 0; i < 1000 && !Scanner::getNextToken(file, wholeLine).isEmpty(); ++i) {
        }
        QCOMPARE(Scanner::getNextToken(file, wholeLine), QString());
    }
}

void tst_KvGameAppUtil::publishers_data()
{
    QTest::addColumn<QVariant>("publisher");
    QTest::addColumn<bool>("matches");
    QTest::newRow("exact") << QVariant(u"Riot Games"_s) << true;
    QTest::newRow("longer") << QVariant(u"The Riot Games, Inc"_s) << true;
    QTest::newRow("lower case") << QVariant(u"riot games"_s) << false;
    QTest::newRow("shorter") << QVariant(u"Riot"_s) << false;
    QTest::newRow("empty") << QVariant(QString()) << false;
    QTest::newRow("none") << QVariant() << false;
    QTest::newRow("number") << QVariant(7) << false;
    QTest::newRow("list of one") << QVariant(QStringList{u"Riot Games"_s}) << true;
    QTest::newRow("list of two") << QVariant(QStringList{u"Riot Games"_s, u"x"_s}) << false;
}

void tst_KvGameAppUtil::publishers()
{
    QFETCH(QVariant, publisher);
    QFETCH(bool, matches);
    UninstallKeys keys;
    keys.registry->add(u"A"_s, entry(publisher, u"Game"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s));
    QCOMPARE(keys.walk(u"Riot Games"_s).size(), std::size_t(matches));
}

void tst_KvGameAppUtil::excludedIcons_data()
{
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QString>("excluded");
    QTest::addColumn<bool>("isLeftOut");
    QTest::newRow("launcher") << u"\"C:\\L\\Launcher.exe\",0"_s << u"Launcher.exe"_s << true;
    QTest::newRow("path over folders") << u"C:\\L\\Launcher.exe"_s << u"L/Launcher.exe"_s << true;
    QTest::newRow("other case") << u"C:\\L\\launcher.exe"_s << u"Launcher.exe"_s << false;
    QTest::newRow("other program") << u"C:\\L\\game.exe"_s << u"Launcher.exe"_s << false;
    QTest::newRow("no icon") << QString() << u"Launcher.exe"_s << false;
    QTest::newRow("nothing excluded") << u"C:\\L\\Launcher.exe"_s << QString() << false;
    QTest::newRow("nothing excluded, no icon") << QString() << QString() << false;
}

void tst_KvGameAppUtil::excludedIcons()
{
    QFETCH(QString, icon);
    QFETCH(QString, excluded);
    QFETCH(bool, isLeftOut);
    UninstallKeys keys;
    keys.registry->add(u"A"_s, entry(u"P"_s, u"Game"_s, u"C:\\G"_s, icon));
    QCOMPARE(keys.walk(u"P"_s, excluded).size(), std::size_t(!isLeftOut));
}

void tst_KvGameAppUtil::entryBecomesARecord()
{
    UninstallKeys keys;
    keys.registry->add(u"A"_s, entry(u"Riot Games, Inc"_s, u"VALORANT"_s, u"\"C:\\Riot Games\\VALORANT\""_s,
                                     u"\"C:\\Riot Games\\v.exe\",0"_s));
    const auto apps = keys.walk(u"Riot Games"_s);
    QCOMPARE(apps.size(), std::size_t(1));
    const KvGameAppInfo &app = *apps.front();
    QCOMPARE(app.parent(), nullptr);
    QCOMPARE(app.name(), u"VALORANT"_s);
    QCOMPARE(app.installDir(), u"C:/Riot Games/VALORANT"_s);
    QCOMPARE(app.clientIcon(), u"C:/Riot Games/v.exe,0"_s);
    QCOMPARE(app.executableList(), QList<QString>{u"C:/Riot Games/v.exe,0"_s});
    QCOMPARE(app.appId(), QString());
    QCOMPARE(app.ignoreExeFullPath(), false);
}

void tst_KvGameAppUtil::entryWithoutTexts()
{
    UninstallKeys keys;
    keys.registry->add(u"A"_s, {{u"Publisher"_s, u"P"_s}});
    const auto apps = keys.walk(u"P"_s, u"x.exe"_s);
    QCOMPARE(apps.size(), std::size_t(1));
    QCOMPARE(apps.front()->name() + apps.front()->clientIcon() + apps.front()->installDir(), QString());
    QCOMPARE(apps.front()->executableList(), QList<QString>());
}

void tst_KvGameAppUtil::recordsAreAppendedInOrder()
{
    UninstallKeys keys;
    for (const QString &name : {u"c"_s, u"a"_s, u"b"_s})
        keys.registry->add(name, entry(u"P"_s, name, QString(), QString()));
    KvGameAppInfo former;
    QList<KvGameAppInfo *> apps{&former};
    Scanner::getInstalledAppsFromUninstallRegistry(apps, u"P"_s, QString(), Uninstall);
    Scanner::getInstalledAppsFromUninstallRegistry(apps, u"P"_s, QString(), u"HKEY_LOCAL_MACHINE\\Absent"_s);
    QCOMPARE(apps.takeFirst(), &former);
    QStringList names;
    for (const KvGameAppInfo *const app : std::as_const(apps))
        names.append(app->name());
    qDeleteAll(apps);
    QCOMPARE(names, (QStringList{u"c"_s, u"a"_s, u"b"_s}));
}

void tst_KvGameAppUtil::oddValues()
{
    UninstallKeys keys;
    keys.registry->add(u"A"_s, entry(QVariant(QByteArray("P")), QVariant(7), QVariant(qint64(8)), QVariant(9.5)));
    keys.registry->add(QString(), entry(u"P"_s, u"Key without a name"_s, QStringList{u"a"_s, u"b"_s}, QVariant()));
    const auto apps = keys.walk(u"P"_s);
    QCOMPARE(apps.size(), std::size_t(2));
    QCOMPARE(apps.front()->name(), u"7"_s);
    QCOMPARE(apps.front()->installDir(), u"8"_s);
    QCOMPARE(apps.front()->executable(), u"9.5"_s);
    QCOMPARE(apps.back()->name(), u"Key without a name"_s);
    QCOMPARE(apps.back()->installDir(), QString());
}

void tst_KvGameAppUtil::manyKeysAreLinear()
{
    constexpr int Count = 100000;
    UninstallKeys keys;
    for (int i = 0; i < Count; ++i)
        keys.registry->add(QString::number(i), entry(i % 2 ? u"P"_s : u"Q"_s, u"G"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s));
    QCOMPARE(keys.walk(u"P"_s).size(), std::size_t(Count / 2));
    // One question for each entry of others, three more for each that counts.
    QCOMPARE(keys.registry->questions, Count + 3 * Count / 2);
}

QTEST_GUILESS_MAIN(tst_KvGameAppUtil)
#include "tst_kvgameapputil.moc"
