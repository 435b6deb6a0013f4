#include "../support/MetaText.h"
#include "KvAppSetting.h"
#include "KvGameAppInfo.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;

class tst_KvGameAppInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void declaresItsEnumerationOnly();
    void platformsAreThoseOfTheSettings();
    void startsEmpty();
    void takesConstructorArguments();
    void executableGivesAList_data();
    void executableGivesAList();
    void emptyExecutableIsAnEntryOnceSet();
    void settersAssign();
    void listIsReplaced();
};

void tst_KvGameAppInfo::declaresItsEnumerationOnly()
{
    const QMetaObject &meta = KvGameAppInfo::staticMetaObject;
    QCOMPARE(MetaText::enumerations(meta),
             QStringList{u"AppPlatform: Steam 0, Epic 1, Ubisoft 2, Origin 3, Riot 4, WeGame 5, None 6"_s});
    QCOMPARE(MetaText::properties(meta), QStringList());
    QCOMPARE(MetaText::classInfos(meta), QStringList());
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
}

void tst_KvGameAppInfo::platformsAreThoseOfTheSettings()
{
    const QStringList ofSettings = MetaText::enumerations(KvAppSetting::staticMetaObject);
    QVERIFY(ofSettings.contains(MetaText::enumerations(KvGameAppInfo::staticMetaObject).value(0)));
}

void tst_KvGameAppInfo::startsEmpty()
{
    QObject parent;
    const KvGameAppInfo alone;
    const auto *const child = new KvGameAppInfo(&parent);
    QCOMPARE(alone.parent(), nullptr);
    QCOMPARE(child->parent(), &parent);
    QCOMPARE(alone.name() + alone.clientIcon() + alone.appId() + alone.installDir(), QString());
    QCOMPARE(alone.executableList(), QList<QString>());
    QCOMPARE(alone.ignoreExeFullPath(), false);
    QCOMPARE(alone.platform(), KvGameAppInfo::None);
}

void tst_KvGameAppInfo::takesConstructorArguments()
{
    QObject parent;
    const auto *const info =
        new KvGameAppInfo(&parent, u"Chess"_s, u"C:/chess.ico"_s, u"C:/chess.exe"_s, u"730"_s, u"C:/Chess"_s);
    QCOMPARE(info->parent(), &parent);
    QCOMPARE(info->name(), u"Chess"_s);
    QCOMPARE(info->clientIcon(), u"C:/chess.ico"_s);
    QCOMPARE(info->executableList(), QList<QString>{u"C:/chess.exe"_s});
    QCOMPARE(info->appId(), u"730"_s);
    QCOMPARE(info->installDir(), u"C:/Chess"_s);
    QCOMPARE(info->ignoreExeFullPath(), false);
    QCOMPARE(info->platform(), KvGameAppInfo::None);
}

void tst_KvGameAppInfo::executableGivesAList_data()
{
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QList<QString>>("list");
    QTest::newRow("null") << QString() << QList<QString>();
    QTest::newRow("empty") << u""_s << QList<QString>();
    QTest::newRow("blank") << u" "_s << QList<QString>{u" "_s};
    QTest::newRow("several names") << u"a.exe,b.exe"_s << QList<QString>{u"a.exe,b.exe"_s};
}

void tst_KvGameAppInfo::executableGivesAList()
{
    QFETCH(QString, executable);
    QFETCH(QList<QString>, list);
    const KvGameAppInfo info(nullptr, {}, {}, executable, {}, {});
    QCOMPARE(info.executableList(), list);
    QCOMPARE(info.executable(), executable);
}

void tst_KvGameAppInfo::emptyExecutableIsAnEntryOnceSet()
{
    KvGameAppInfo info(nullptr, u"Chess"_s, {}, u""_s, {}, {});
    QCOMPARE(info.executableList().size(), 0);
    QCOMPARE(info.executable(), QString());
    QVERIFY(!info.executable().isNull());
    info.setExecutable(u""_s);
    QCOMPARE(info.executableList(), QList<QString>{QString()});
    QCOMPARE(info.executable(), QString());
}

void tst_KvGameAppInfo::settersAssign()
{
    KvGameAppInfo info;
    info.setName(u"n"_s);
    info.setClientIcon(u"c"_s);
    info.setAppId(u"a"_s);
    info.setInstallDir(u"i"_s);
    info.setPlatform(KvGameAppInfo::WeGame);
    info.setIgnoreExeFullPath(true);
    QCOMPARE(info.name(), u"n"_s);
    QCOMPARE(info.clientIcon(), u"c"_s);
    QCOMPARE(info.appId(), u"a"_s);
    QCOMPARE(info.installDir(), u"i"_s);
    QCOMPARE(info.platform(), KvGameAppInfo::WeGame);
    QCOMPARE(info.ignoreExeFullPath(), true);
    QCOMPARE(info.executableList(), QList<QString>());
}

void tst_KvGameAppInfo::listIsReplaced()
{
    KvGameAppInfo info(nullptr, {}, {}, u"a"_s, {}, {});
    info.setExecutableList({u"b"_s, u"c"_s});
    QCOMPARE(info.executableList(), QList<QString>({u"b"_s, u"c"_s}));
    QCOMPARE(info.executable(), u"b"_s);
    info.setExecutable(u"d"_s);
    QCOMPARE(info.executableList(), QList<QString>{u"d"_s});
    info.setExecutableList({});
    QCOMPARE(info.executable(), QString());
}

QTEST_GUILESS_MAIN(tst_KvGameAppInfo)
#include "tst_kvgameappinfo.moc"
