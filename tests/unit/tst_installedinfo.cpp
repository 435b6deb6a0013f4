#include "../support/FakePlatform.h"
#include "KvProgramContext.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;

using Texts = QMap<QString, QString>;

namespace {

const QString UserKey = u"HKEY_USERS\\S-1-5-7\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths"_s;
const QString MachineKey = u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths"_s;

/** A resource with an English table, then a Japanese one. */
FakeVersion twoLanguages()
{
    FakeVersion version;
    version.translations = FakeVersion::translation(0x0409, 0x04B0) + FakeVersion::translation(0x0411, 0x04E4);
    version.texts = {{u"040904b0\\ProductName"_s, u"Paint"_s},
                     {u"040904b0\\Comments"_s, u"English only"_s},
                     {u"041104e4\\ProductName"_s, u"ペイント"_s}};
    return version;
}

} // namespace

class tst_InstalledInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_platform = std::make_unique<FakePlatform>(); }
    void cleanup() { m_platform.reset(); }

    void appInstalledPath_data();
    void appInstalledPath();
    void unknownFoldersArePassedOver();
    void noNameNamesNoApplication();
    void valueThatIsNoTextIsPassedOver();

    void fileWithoutAVersionResourceGivesNothing();
    void resourceWithoutTranslationsGivesNothing();
    void tableFollowsTheUsersLanguage_data();
    void tableFollowsTheUsersLanguage();
    void lessThanAPairChoosesNoTable();
    void halfAPairAtTheEndIsIgnored();
    void noKeysMeansTheTwelveStandardOnes();
    void keysThatAreNotStandardAreLookedUp();
    void emptyTextsAreLeftOut();
    void blockIsReadOncePerCallWithNativeSeparators();
    void versionNumberIsTheProductVersion();

private:
    static Texts info(const QString &path, const QList<QString> &keys = {})
    {
        return KvProgramContext::appVersionInfo(path, keys);
    }
    void add(const FakeVersion &version) { m_platform->versions->versions.insert(u"C:\\p.exe"_s, version); }

    std::unique_ptr<FakePlatform> m_platform;
};

void tst_InstalledInfo::appInstalledPath_data()
{
    QTest::addColumn<QString>("app");
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("found");
    // What the registry and the folders name, in the order in which they are asked.
    const QString user = u"U:\\user.exe"_s;
    const QString machine = u"M:/machine.exe"_s;
    const QString wide = u"C:/Program Files/sub/p.exe"_s;
    const QString narrow = u"C:/Program Files (x86)/sub/p.exe"_s;
    const QString app = u"sub/p.exe"_s;
    QTest::newRow("the user's entry goes first, as it stands")
        << app << QStringList{user, machine, wide, narrow} << user;
    QTest::newRow("then the machine's") << app << QStringList{machine, wide, narrow} << machine;
    QTest::newRow("then Program Files") << app << QStringList{wide, narrow} << wide;
    QTest::newRow("then the 32-bit Program Files") << app << QStringList{narrow} << narrow;
    QTest::newRow("then nothing") << app << QStringList{} << QString();
    QTest::newRow("backslashes") << u"sub\\p.exe"_s << QStringList{user, wide} << user;
    QTest::newRow("backslashes in a folder") << u"sub\\p.exe"_s << QStringList{wide} << wide;
    QTest::newRow("only the file name counts in the registry") << u"other/p.exe"_s << QStringList{user, wide} << user;
    QTest::newRow("the whole text counts in a folder") << u"p.exe"_s << QStringList{wide, narrow} << QString();
    QTest::newRow("unknown name") << u"q.exe"_s << QStringList{user, machine, wide, narrow} << QString();
}

void tst_InstalledInfo::appInstalledPath()
{
    QFETCH(QString, app);
    QFETCH(QStringList, existing);
    m_platform->registry->setValue(UserKey, u"p.exe"_s, u"U:\\user.exe"_s);
    m_platform->registry->setValue(MachineKey, u"p.exe"_s, u"M:/machine.exe"_s);
    m_platform->folders->ofProcess = {{KvPlatform::Folder::ProgramFiles, u"C:\\Program Files"_s},
                                      {KvPlatform::Folder::ProgramFilesX86, u"C:\\Program Files (x86)"_s}};
    m_platform->files->existing = QSet<QString>(existing.cbegin(), existing.cend());
    QTEST(KvProgramContext::appInstalledPath(app), "found");
    QCOMPARE(KvProgramContext::appInstalledPath(app).isNull(), KvProgramContext::appInstalledPath(app).isEmpty());
}

void tst_InstalledInfo::unknownFoldersArePassedOver()
{
    m_platform->folders->ofProcess = {{KvPlatform::Folder::ProgramFilesX86, u"C:\\x86"_s}};
    m_platform->files->existing = {u"/p.exe"_s, u"C:/x86/p.exe"_s};
    QCOMPARE(KvProgramContext::appInstalledPath(u"p.exe"_s), u"C:/x86/p.exe"_s);
}

void tst_InstalledInfo::noNameNamesNoApplication()
{
    m_platform->folders->ofProcess = {{KvPlatform::Folder::ProgramFiles, u"C:\\Program Files"_s}};
    m_platform->files->existing = {u"C:/Program Files/"_s, u"C:/Program Files"_s};
    QVERIFY(KvProgramContext::appInstalledPath(QString()).isNull());
}

void tst_InstalledInfo::valueThatIsNoTextIsPassedOver()
{
    m_platform->registry->setValue(UserKey, u"p.exe"_s, QStringList{u"a"_s, u"b"_s});
    m_platform->registry->setValue(MachineKey, u"p.exe"_s, 5);
    m_platform->files->existing = {u"a"_s, u""_s};
    QVERIFY(KvProgramContext::appInstalledPath(u"p.exe"_s).isNull());
}

void tst_InstalledInfo::fileWithoutAVersionResourceGivesNothing()
{
    QCOMPARE(info(u"C:/p.exe"_s), Texts());
    QVERIFY(KvProgramContext::appVersionNumber(u"C:/p.exe"_s).isNull());
    QCOMPARE(info(QString()), Texts());
}

void tst_InstalledInfo::resourceWithoutTranslationsGivesNothing()
{
    FakeVersion version = twoLanguages();
    version.translations.reset();
    add(version);
    QCOMPARE(info(u"C:/p.exe"_s), Texts());
}

void tst_InstalledInfo::tableFollowsTheUsersLanguage_data()
{
    QTest::addColumn<QByteArray>("translations");
    QTest::addColumn<quint16>("language");
    QTest::addColumn<QString>("productName");
    const QByteArray english = FakeVersion::translation(0x0409, 0x04B0);
    const QByteArray japanese = FakeVersion::translation(0x0411, 0x04E4);
    const QByteArray otherJapanese = FakeVersion::translation(0x0411, 0x04B0);
    QTest::newRow("second pair") << english + japanese << quint16(0x0411) << u"ペイント"_s;
    QTest::newRow("first pair") << english + japanese << quint16(0x0409) << u"Paint"_s;
    QTest::newRow("first pair for a language that is not there") << english + japanese << quint16(0x0407) << u"Paint"_s;
    QTest::newRow("first later pair") << english + japanese + otherJapanese << quint16(0x0411) << u"ペイント"_s;
    QTest::newRow("later pair of the first pair's language")
        << otherJapanese + japanese << quint16(0x0411) << u"ペイント"_s;
    QTest::newRow("only one table is read") << english + otherJapanese << quint16(0x0411) << QString();
}

void tst_InstalledInfo::tableFollowsTheUsersLanguage()
{
    QFETCH(QByteArray, translations);
    QFETCH(quint16, language);
    FakeVersion version = twoLanguages();
    version.translations = translations;
    add(version);
    m_platform->versions->language = language;
    QTEST(info(u"C:/p.exe"_s).value(u"ProductName"_s), "productName");
}

void tst_InstalledInfo::lessThanAPairChoosesNoTable()
{
    for (const QByteArray &translations : {QByteArray(), QByteArray("\x09\x04\xB0")}) {
        FakeVersion version = twoLanguages();
        version.translations = translations;
        version.texts.insert(u"\\ProductName"_s, u"of no table"_s);
        version.texts.insert(u"ProductName"_s, u"of no table"_s);
        add(version);
        const Texts found = info(u"C:/p.exe"_s, {u"Comments"_s});
        QCOMPARE(found, Texts());
    }
}

void tst_InstalledInfo::halfAPairAtTheEndIsIgnored()
{
    FakeVersion version = twoLanguages();
    version.translations->chop(1);
    add(version);
    m_platform->versions->language = 0x0411;
    QCOMPARE(info(u"C:/p.exe"_s).value(u"ProductName"_s), u"Paint"_s);
}

void tst_InstalledInfo::noKeysMeansTheTwelveStandardOnes()
{
    const QStringList keys{u"Comments"_s,       u"InternalName"_s,   u"ProductName"_s,      u"CompanyName"_s,
                           u"LegalCopyright"_s, u"ProductVersion"_s, u"FileDescription"_s,  u"LegalTrademarks"_s,
                           u"PrivateBuild"_s,   u"FileVersion"_s,    u"OriginalFilename"_s, u"SpecialBuild"_s};
    QHash<QString, QString> texts{{u"Other"_s, u"x"_s}};
    Texts expected;
    for (const QString &key : keys) {
        texts.insert(key, u"text of "_s + key);
        expected.insert(key, u"text of "_s + key);
    }
    add(FakeVersion::of(texts));
    QCOMPARE(info(u"C:/p.exe"_s), expected);
}

void tst_InstalledInfo::keysThatAreNotStandardAreLookedUp()
{
    add(FakeVersion::of({{u"Other"_s, u"x"_s}, {u"ProductName"_s, u"p"_s}}));
    const Texts expected{{u"Other"_s, u"x"_s}};
    QCOMPARE(info(u"C:/p.exe"_s, {u"Missing"_s, u"Other"_s, u"Other"_s}), expected);
}

void tst_InstalledInfo::emptyTextsAreLeftOut()
{
    add(FakeVersion::of({{u"ProductName"_s, QString()}, {u"ProductVersion"_s, QString()}, {u"Comments"_s, u"c"_s}}));
    const Texts expected{{u"Comments"_s, u"c"_s}};
    QCOMPARE(info(u"C:/p.exe"_s), expected);
    QVERIFY(KvProgramContext::appVersionNumber(u"C:/p.exe"_s).isNull());
}

void tst_InstalledInfo::blockIsReadOncePerCallWithNativeSeparators()
{
    m_platform->versions->versions.insert(u"C:\\a\\p.exe"_s, FakeVersion::of({{u"ProductName"_s, u"p"_s}}));
    QCOMPARE(info(u"C:/a/p.exe"_s).size(), 1);
    QCOMPARE(m_platform->calls->take(), QStringList{u"version C:\\a\\p.exe"_s});
}

void tst_InstalledInfo::versionNumberIsTheProductVersion()
{
    add(FakeVersion::of({{u"FileVersion"_s, u"9"_s}, {u"ProductVersion"_s, u"1.2 beta"_s}}));
    QCOMPARE(KvProgramContext::appVersionNumber(u"C:/p.exe"_s), u"1.2 beta"_s);
    add(FakeVersion::of({{u"FileVersion"_s, u"9"_s}}));
    QVERIFY(KvProgramContext::appVersionNumber(u"C:/p.exe"_s).isNull());
}

QTEST_GUILESS_MAIN(tst_InstalledInfo)
#include "tst_installedinfo.moc"
