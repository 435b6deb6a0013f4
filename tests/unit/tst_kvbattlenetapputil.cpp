#include "../support/LauncherMachine.h"
#include "KvBattleNetAppUtil.h"
#include "KvBSGAppUtil.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;

namespace {

/** What the two scanners differ in. */
struct Twin
{
    QString tag;
    QString opening;
    QString publisher;
    QString launcher;
    std::shared_ptr<KvGameAppUtil> scanner;
};

} // namespace

Q_DECLARE_METATYPE(Twin)

/** The scanners that take uninstall entries as they stand: Battle.net's and BSG's. */
class tst_KvBattleNetAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine = std::make_unique<LauncherMachine>(); }
    void cleanup() { m_machine.reset(); }

    void withoutEntriesThereAreNoGames_data() { twins(); }
    void withoutEntriesThereAreNoGames();
    void entriesBecomeSettings_data() { twins(); }
    void entriesBecomeSettings();
    void linesAreLoggedInOrder_data() { twins(); }
    void linesAreLoggedInOrder();
    void launcherItselfIsLeftOut_data() { twins(); }
    void launcherItselfIsLeftOut();
    void publisherMayStandInALongerText_data() { twins(); }
    void publisherMayStandInALongerText();
    void otherPlacesAreNotLookedAt_data() { twins(); }
    void otherPlacesAreNotLookedAt();
    void emptyIconGivesEmptyExecutable_data() { twins(); }
    void emptyIconGivesEmptyExecutable();
    void missingNameGivesEmptyName_data() { twins(); }
    void missingNameGivesEmptyName();
    void iconIndexStays_data() { twins(); }
    void iconIndexStays();
    void valuesOfOtherTypes_data() { twins(); }
    void valuesOfOtherTypes();

private:
    static void twins();

    std::unique_ptr<LauncherMachine> m_machine;
};

void tst_KvBattleNetAppUtil::twins()
{
    QTest::addColumn<Twin>("twin");
    QTest::newRow("Battle.net") << Twin{u"[KvBattleNetAppUtil]"_s, u"getInstalledBattleNetApps"_s,
                                        u"Blizzard Entertainment"_s, u"Battle.net.exe"_s,
                                        std::make_shared<KvBattleNetAppUtil>()};
    QTest::newRow("BSG") << Twin{u"[KvBSGAppUtil]"_s, u"getInstalledBSGApps"_s, u"Battlestate Games"_s,
                                 u"BsgLauncher.exe"_s, std::make_shared<KvBSGAppUtil>()};
}

void tst_KvBattleNetAppUtil::withoutEntriesThereAreNoGames()
{
    QFETCH(const Twin, twin);
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->debugs, (QStringList{twin.tag + u" "_s + twin.opening,
                                             twin.tag + u" ============================================="_s}));
}

void tst_KvBattleNetAppUtil::entriesBecomeSettings()
{
    QFETCH(const Twin, twin);
    m_machine->addEntry(u"B"_s, twin.publisher, u"Two"_s, u"C:\\Games\\Two"_s, u"\"C:\\Games\\Two\\two.exe\""_s);
    m_machine->addEntry(u"A"_s, twin.publisher, u"One"_s, u"C:\\Games\\One"_s, u"C:\\Games\\One\\One.exe"_s);
    m_machine->addKnown(KvGameAppInfo::None, u"One"_s, u"other.exe"_s, true);
    m_machine->scan(*twin.scanner, u"C:/any.exe"_s);
    QCOMPARE(m_machine->names(), (QStringList{u"One"_s, u"Two"_s}));
    QCOMPARE(m_machine->executables(), (QStringList{u"C:/Games/One/One.exe"_s, u"C:/Games/Two/two.exe"_s}));
    const KvAppSetting &one = *m_machine->found.front();
    QCOMPARE(one.icon(), u"image://app/C:/Games/One/One.exe"_s);
    QCOMPARE(one.fileName(), u"One.exe"_s);
    QCOMPARE(one.platform(), KvAppSetting::None);
    QCOMPARE(one.colorMode(), KvAppSetting::ModeOff);
    QVERIFY(!one.ignoreExeFullPath());
    QVERIFY(!one.parent());
}

void tst_KvBattleNetAppUtil::linesAreLoggedInOrder()
{
    QFETCH(const Twin, twin);
    m_machine->addEntry(u"A"_s, twin.publisher, u"One"_s, u"C:\\Games\\One"_s, u"C:\\Games\\One\\One.exe"_s);
    m_machine->scan(*twin.scanner);
    const QString separator = twin.tag + u" ============================================="_s;
    QCOMPARE(m_machine->debugs,
             (QStringList{twin.tag + u" "_s + twin.opening, separator, twin.tag + u" displayName  \"One\""_s,
                          twin.tag + u" installLocation  \"C:/Games/One\""_s,
                          twin.tag + u" displayIcon  \"C:/Games/One/One.exe\""_s,
                          twin.tag + u" executable  \"C:/Games/One/One.exe\""_s, separator}));
    QCOMPARE(m_machine->infos + m_machine->warnings, QStringList());
}

void tst_KvBattleNetAppUtil::launcherItselfIsLeftOut()
{
    QFETCH(const Twin, twin);
    m_machine->addEntry(u"A"_s, twin.publisher, u"The launcher"_s, u"C:\\L"_s, u"C:\\L\\"_s + twin.launcher + u",0"_s);
    m_machine->addEntry(u"B"_s, twin.publisher, u"Other case"_s, u"C:\\L"_s, u"C:\\L\\"_s + twin.launcher.toLower());
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->names(), QStringList{u"Other case"_s});
}

void tst_KvBattleNetAppUtil::publisherMayStandInALongerText()
{
    QFETCH(const Twin, twin);
    m_machine->addEntry(u"A"_s, u"The "_s + twin.publisher + u" Ltd."_s, u"Longer"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s);
    m_machine->addEntry(u"B"_s, twin.publisher.toLower(), u"Other case"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s);
    m_machine->addEntry(u"C"_s, twin.publisher.chopped(1), u"Shorter"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s);
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->names(), QStringList{u"Longer"_s});
}

void tst_KvBattleNetAppUtil::otherPlacesAreNotLookedAt()
{
    QFETCH(const Twin, twin);
    const QString native = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_s;
    m_machine->addEntry(u"A"_s, twin.publisher, u"64-bit"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s, native);
    m_machine->addEntry(u"B"_s, twin.publisher, u"User"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s,
                        LauncherMachine::userUninstall());
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->names(), QStringList());
}

void tst_KvBattleNetAppUtil::emptyIconGivesEmptyExecutable()
{
    QFETCH(const Twin, twin);
    m_machine->addEntry(u"A"_s, twin.publisher, u"Nameless"_s, u"C:\\G"_s, QString());
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->names(), QStringList{u"Nameless"_s});
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.executable(), QString());
    QCOMPARE(game.icon(), QString());
    QCOMPARE(game.fileName(), QString());
}

void tst_KvBattleNetAppUtil::missingNameGivesEmptyName()
{
    QFETCH(const Twin, twin);
    m_machine->addEntry(u"A"_s, twin.publisher, QString(), u"C:\\G"_s, u"C:\\G\\g.exe"_s);
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->names(), QStringList{QString()});
    QCOMPARE(m_machine->executables(), QStringList{u"C:/G/g.exe"_s});
}

void tst_KvBattleNetAppUtil::iconIndexStays()
{
    QFETCH(const Twin, twin);
    m_machine->addEntry(u"A"_s, twin.publisher, u"Indexed"_s, u"C:\\G"_s, u"\"C:\\G\\g.exe\",0"_s);
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->executables(), QStringList{u"C:/G/g.exe,0"_s});
    QCOMPARE(m_machine->found.front()->fileName(), u"g.exe,0"_s);
}

void tst_KvBattleNetAppUtil::valuesOfOtherTypes()
{
    QFETCH(const Twin, twin);
    const QString publisher = u"\"Publisher\"=\"%1\"\n"_s.arg(twin.publisher);
    const QString key = u"[%1\\%2]\n"_s.arg(LauncherMachine::machineUninstall());
    m_machine->addRegistry(key.arg(u"A"_s) + publisher +
                           u"\"DisplayName\"=dword:00000007\n"
                           u"\"DisplayIcon\"=hex:00,ff,41\n\n"_s);
    m_machine->addRegistry(key.arg(u"B"_s) + u"\"Publisher\"=dword:00000001\n\n"_s);
    m_machine->addRegistry(key.arg(u"C"_s) + publisher + u"\"DisplayName\"=hex(7):41,00,00,00,42,00,00,00,00,00\n\n"_s);
    m_machine->scan(*twin.scanner);
    QCOMPARE(m_machine->found.size(), std::size_t(2));
    QCOMPARE(m_machine->names().first(), u"7"_s);
    QCOMPARE(m_machine->found.back()->executable(), QString());
}

QTEST_GUILESS_MAIN(tst_KvBattleNetAppUtil)
#include "tst_kvbattlenetapputil.moc"
