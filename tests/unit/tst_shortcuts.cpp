#include "../support/FakePlatform.h"
#include "../support/LogCatcher.h"
#include "../support/ScanRunner.h"
#include "../support/SignalLog.h"

#include <XEnvironment.h>

#include <QtTest/QTest>

#include <limits>

using namespace Qt::StringLiterals;

using Probe = KvProgramContextProbe;

namespace {

const QString Key = u"HKEY_USERS\\S-1-5-7\\Software\\Kelvo\\Kelvo Launcher\\ExtraInfo"_s;
const QString WatchedKey = u"S-1-5-7\\Software\\Kelvo\\Kelvo Launcher\\ExtraInfo"_s;

QString slotName(int number)
{
    return u"shortcut00%1"_s.arg(number);
}

} // namespace

/** The pinned programs, over a registry and watches of the test's own. */
class tst_Shortcuts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void addsUpToSeven();
    void refusesWhatItCannotAdd();
    void addWritesAllSlots();
    void writesEachTypeInItsForm_data();
    void writesEachTypeInItsForm();
    void removeMovesTheOthersUp();
    void refusesWhatItCannotRemove();
    void signalsComeAfterTheWrite();
    void readsEachForm_data();
    void readsEachForm();
    void slotsThatNameNothing_data();
    void slotsThatNameNothing();
    void valuesOfOtherTypes();
    void programThatWasRefusedDropsOut();
    void sameProgramInTwoSlots();
    void refreshWithoutAChangeIsSilent();
    void ownSaveIsNotTold();
    void changeBeforeTheFirstScanWritesNothing();
    void changesAreFollowedWithoutAScan();
    void rescanKeepsTheShortcuts();
    void rescanDropsWhatIsGone();
    void completionTellsTwice();
    void refusedWritesKeepTheList();
    void nothingIsLogged();

private:
    ProgramInfo *app(const QString &name) const;
    QStringList slotTexts() const;
    QStringList names() const;
    void setSlots(const QStringList &texts);
    QStringList takeWrites() const;
    void changeSlots(const QStringList &texts);

    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<ScanRunner> m_runner;
};

void tst_Shortcuts::init()
{
    m_platform = std::make_unique<FakePlatform>();
    for (const QString &letter : {u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s, u"F"_s, u"G"_s, u"H"_s})
        m_platform->addLink(letter, u"C:/Programs/%1 x.exe"_s.arg(letter));
    m_platform->packages->packages = {FakePackage::of(u"Package"_s, u"Pack.Age_x1!App"_s)};
    m_runner = std::make_unique<ScanRunner>();
}

void tst_Shortcuts::cleanup()
{
    m_runner.reset();
    m_platform.reset();
    XEnvironment::setDefault(u"app.metadata"_s, QVariant());
}

ProgramInfo *tst_Shortcuts::app(const QString &name) const
{
    for (ProgramInfo *const app : m_runner->context().allApps()) {
        if (app->displayName() == name)
            return app;
    }
    return nullptr;
}

/** The slots' texts, with "-" for a slot that isn't there. */
QStringList tst_Shortcuts::slotTexts() const
{
    QStringList texts;
    for (int number = 0; number < 7; ++number)
        texts.append(m_platform->registry->value(Key, slotName(number), u"-"_s).toString());
    m_platform->registry->calls.take();
    return texts;
}

QStringList tst_Shortcuts::names() const
{
    QStringList names;
    for (const ProgramInfo *const app : m_runner->context().shortcuts())
        names.append(app->displayName());
    return names;
}

void tst_Shortcuts::setSlots(const QStringList &texts)
{
    for (int number = 0; number < 7; ++number)
        m_platform->registry->setValue(Key, slotName(number), texts.value(number));
    m_platform->registry->calls.take();
}

/** As another process does it. */
void tst_Shortcuts::changeSlots(const QStringList &texts)
{
    setSlots(texts);
    QCOMPARE(m_platform->watches->fire(WatchedKey), 1);
}

QStringList tst_Shortcuts::takeWrites() const
{
    return m_platform->registry->calls.take().filter(u"set "_s);
}

void tst_Shortcuts::addsUpToSeven()
{
    QVERIFY(m_runner->scan());
    for (const QString &name : {u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s, u"F"_s, u"G"_s})
        QVERIFY(m_runner->context().addShortcut(app(name)));
    takeWrites();
    SignalLog log(&m_runner->context());
    QVERIFY(!m_runner->context().addShortcut(app(u"H"_s)));
    QCOMPARE(takeWrites(), QStringList());
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(m_runner->context().shortcuts().size(), 7);
}

void tst_Shortcuts::refusesWhatItCannotAdd()
{
    QVERIFY(m_runner->scan());
    QVERIFY(m_runner->context().addShortcut(app(u"A"_s)));
    takeWrites();
    SignalLog log(&m_runner->context());
    QVERIFY(!m_runner->context().addShortcut(nullptr));
    QVERIFY(!m_runner->context().addShortcut(app(u"A"_s)));
    QCOMPARE(takeWrites(), QStringList());
    QCOMPARE(log.take(), QStringList());
    // What counts is the record, not what it names.
    ProgramInfo twin;
    twin.setTargetUrl(app(u"A"_s)->targetUrl());
    QVERIFY(m_runner->context().addShortcut(&twin));
    QVERIFY(m_runner->context().removeShortcut(&twin));
}

void tst_Shortcuts::addWritesAllSlots()
{
    QVERIFY(m_runner->scan());
    takeWrites();
    SignalLog log(&m_runner->context());
    QVERIFY(m_runner->context().addShortcut(app(u"A"_s)));
    QStringList writes;
    for (int number = 0; number < 7; ++number)
        writes.append(u"set [%1] [%2]"_s.arg(Key, slotName(number)));
    QCOMPARE(takeWrites(), writes);
    QCOMPARE(slotTexts(), (QStringList{u"C:\\Programs\\A x.exe"_s, {}, {}, {}, {}, {}, {}}));
    QCOMPARE(log.take(), QStringList{u"shortcutsChanged"_s});
    QCOMPARE(m_platform->registry->value(Key, slotName(6), {}).typeId(), QMetaType::QString);
}

void tst_Shortcuts::writesEachTypeInItsForm_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("productName");
    QTest::addColumn<QString>("text");
    QTest::newRow("file") << u"file:///C:/Program Files/x y.exe"_s << u"P"_s << u"C:\\Program Files\\x y.exe"_s;
    QTest::newRow("file beyond ASCII") << u"file:///D:/B%C3%BCro/%F0%9F%9A%80.exe"_s << u"P"_s << u"D:\\Büro\\🚀.exe"_s;
    QTest::newRow("share") << u"file://server/share/x.exe"_s << u"P"_s << u"\\\\server\\share\\x.exe"_s;
    QTest::newRow("package") << u"uwp:Pack_1.2_x64?1"_s << u"Pack.Age_x1!App"_s << u"Pack.Age_x1!App"_s;
    QTest::newRow("address") << u"https://kim:pw@x.example/a%20b?c=%25#d"_s << u"P"_s
                             << u"https://kim:pw@x.example/a b?c=%25#d"_s;
    QTest::newRow("other scheme") << u"steam:run/7"_s << u"P"_s << u"steam:run/7"_s;
    QTest::newRow("nothing") << QString() << u"P"_s << QString();
}

void tst_Shortcuts::writesEachTypeInItsForm()
{
    QFETCH(QString, target);
    QFETCH(QString, productName);
    ProgramInfo record;
    record.setTargetUrl(QUrl(target));
    record.setProductName(productName);
    QVERIFY(m_runner->context().addShortcut(&record));
    QTEST(slotTexts().constFirst(), "text");
    QVERIFY(m_runner->context().removeShortcut(&record));
}

void tst_Shortcuts::removeMovesTheOthersUp()
{
    QVERIFY(m_runner->scan());
    for (const QString &name : {u"A"_s, u"B"_s, u"C"_s})
        QVERIFY(m_runner->context().addShortcut(app(name)));
    QVERIFY(m_runner->context().removeShortcutAt(0));
    QCOMPARE(names(), (QStringList{u"B"_s, u"C"_s}));
    QCOMPARE(slotTexts().mid(0, 3), (QStringList{u"C:\\Programs\\B x.exe"_s, u"C:\\Programs\\C x.exe"_s, {}}));
    QVERIFY(m_runner->context().removeShortcut(app(u"B"_s)));
    QCOMPARE(slotTexts().mid(0, 2), (QStringList{u"C:\\Programs\\C x.exe"_s, {}}));
    QVERIFY(m_runner->context().removeShortcutAt(0));
    QCOMPARE(slotTexts(), QStringList(7, QString()));
}

void tst_Shortcuts::refusesWhatItCannotRemove()
{
    QVERIFY(m_runner->scan());
    QVERIFY(m_runner->context().addShortcut(app(u"A"_s)));
    takeWrites();
    SignalLog log(&m_runner->context());
    QVERIFY(!m_runner->context().removeShortcut(nullptr));
    QVERIFY(!m_runner->context().removeShortcut(app(u"B"_s)));
    for (const int index : {-1, 1, 7, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        QVERIFY(!m_runner->context().removeShortcutAt(index));
    QCOMPARE(takeWrites(), QStringList());
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(names(), QStringList{u"A"_s});
}

void tst_Shortcuts::signalsComeAfterTheWrite()
{
    QVERIFY(m_runner->scan());
    QStringList seen;
    connect(&m_runner->context(), &KvProgramContext::shortcutsChanged, this,
            [this, &seen] { seen.append(slotTexts().constFirst()); });
    QVERIFY(m_runner->context().addShortcut(app(u"A"_s)));
    QVERIFY(m_runner->context().addShortcut(app(u"B"_s)));
    QVERIFY(m_runner->context().removeShortcutAt(0));
    QVERIFY(m_runner->context().removeShortcut(app(u"B"_s)));
    QCOMPARE(seen, (QStringList{u"C:\\Programs\\A x.exe"_s, u"C:\\Programs\\A x.exe"_s, u"C:\\Programs\\B x.exe"_s,
                                QString()}));
}

void tst_Shortcuts::readsEachForm_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::newRow("as it is written") << u"C:\\Programs\\A x.exe"_s << u"A"_s;
    QTest::newRow("forward slashes") << u"C:/Programs/A x.exe"_s << u"A"_s;
    QTest::newRow("both separators") << u"C:/Programs\\A x.exe"_s << u"A"_s;
    QTest::newRow("doubled separators") << u"C:\\\\Programs\\\\A x.exe"_s << u"A"_s;
    QTest::newRow("way round") << u"C:\\Windows\\..\\Programs\\.\\A x.exe"_s << u"A"_s;
    QTest::newRow("package") << u"Pack.Age_x1!App"_s << u"Package"_s;
    QTest::newRow("address") << u"https://web.example/a b"_s << u"Web"_s;
    QTest::newRow("address with other separators") << u"https://web.example/x/../x"_s << QString();
    QTest::newRow("address of the file") << u"file:///C:/Programs/A x.exe"_s << u"A"_s;
}

void tst_Shortcuts::readsEachForm()
{
    QFETCH(QString, text);
    QFETCH(QString, name);
    QVERIFY(m_runner->scan());
    ProgramInfo web;
    web.setTargetUrl(QUrl(u"https://web.example/a%20b"_s));
    web.setDisplayName(u"Web"_s);
    Probe::targetMap(m_runner->context()).insert(web.targetUrl(), &web);
    changeSlots({text});
    QCOMPARE(names().join(u','), name);
    changeSlots({});
}

void tst_Shortcuts::slotsThatNameNothing_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("blank") << u"  "_s;
    QTest::newRow("dot") << u"."_s;
    QTest::newRow("relative") << u"Programs\\A x.exe"_s;
    QTest::newRow("garbled") << u"\u0001\ufffd%%%zz\\\\?:::"_s;
    QTest::newRow("colons") << u"://"_s;
    QTest::newRow("lone surrogate") << QString(QChar(0xD800)) + u"x"_s;
    QTest::newRow("long") << u"C:\\"_s + QString(100'000, u'x');
    QTest::newRow("absent file") << u"C:\\Programs\\absent.exe"_s;
    QTest::newRow("file in no list") << u"C:\\Programs\\other.exe"_s;
    QTest::newRow("other package") << u"Pack.Age_x1!Other"_s;
    QTest::newRow("other address") << u"https://other.example/"_s;
    QTest::newRow("other letter case") << u"pack.age_x1!app"_s;
}

void tst_Shortcuts::slotsThatNameNothing()
{
    QFETCH(QString, text);
    m_platform->files->addProgram(u"C:/Programs/other.exe"_s);
    QVERIFY(m_runner->scan());
    const QStringList stored{u"C:\\Programs\\B x.exe"_s, text, u"C:\\Programs\\A x.exe"_s, {}, {}, {}, {}};
    changeSlots(stored);
    QCOMPARE(names(), (QStringList{u"B"_s, u"A"_s}));
    QCOMPARE(slotTexts(), stored);
    QVERIFY(m_runner->context().addShortcut(app(u"C"_s)));
    QCOMPARE(slotTexts(),
             (QStringList{
                 u"C:\\Programs\\B x.exe"_s, u"C:\\Programs\\A x.exe"_s, u"C:\\Programs\\C x.exe"_s, {}, {}, {}, {}}));
}

void tst_Shortcuts::valuesOfOtherTypes()
{
    QVERIFY(m_runner->scan());
    const QVariant odd[] = {QVariant(), 7, qint64(1) << 40, QStringList{u"a"_s, u"b"_s}, QByteArray("\0x", 2)};
    int number = 0;
    for (const QVariant &value : odd)
        m_platform->registry->setValue(Key, slotName(number++), value);
    m_platform->registry->setValue(Key, slotName(number), u"C:\\Programs\\A x.exe"_s);
    m_platform->watches->fire(WatchedKey);
    QCOMPARE(names(), QStringList{u"A"_s});
}

void tst_Shortcuts::programThatWasRefusedDropsOut()
{
    m_platform->addLink(u"Uninstall it"_s, u"C:/Programs/uninstall.exe"_s);
    setSlots({u"C:\\Programs\\uninstall.exe"_s, u"C:\\Programs\\A x.exe"_s});
    QVERIFY(m_runner->scan());
    QCOMPARE(names(), QStringList{u"A"_s});
    QCOMPARE(slotTexts(), (QStringList{u"C:\\Programs\\A x.exe"_s, {}, {}, {}, {}, {}, {}}));
}

void tst_Shortcuts::sameProgramInTwoSlots()
{
    QVERIFY(m_runner->scan());
    changeSlots({u"C:\\Programs\\A x.exe"_s, u"C:\\Programs\\B x.exe"_s, u"C:/Programs/A x.exe"_s});
    QCOMPARE(names(), (QStringList{u"A"_s, u"B"_s, u"A"_s}));
    // Only the first of both goes.
    QVERIFY(m_runner->context().removeShortcut(app(u"A"_s)));
    QCOMPARE(names(), (QStringList{u"B"_s, u"A"_s}));
}

void tst_Shortcuts::refreshWithoutAChangeIsSilent()
{
    QVERIFY(m_runner->scan());
    SignalLog log(&m_runner->context());
    changeSlots({u"C:\\Programs\\A x.exe"_s});
    QCOMPARE(log.take(), QStringList{u"shortcutsChanged"_s});
    changeSlots({u"C:/Programs/A x.exe"_s});
    changeSlots({{}, u"nothing"_s, u"C:/Programs/A x.exe"_s});
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(takeWrites(), QStringList());
}

void tst_Shortcuts::ownSaveIsNotTold()
{
    QVERIFY(m_runner->scan());
    SignalLog log(&m_runner->context());
    QVERIFY(m_runner->context().addShortcut(app(u"A"_s)));
    QCOMPARE(log.take(), QStringList{u"shortcutsChanged"_s});
    takeWrites();
    m_platform->watches->fire(WatchedKey);
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(takeWrites(), QStringList());
}

void tst_Shortcuts::changeBeforeTheFirstScanWritesNothing()
{
    SignalLog log(&m_runner->context());
    const QStringList stored{u"C:\\Programs\\A x.exe"_s, u"Pack.Age_x1!App"_s, {}, {}, {}, {}, {}};
    changeSlots(stored);
    QCOMPARE(names(), QStringList());
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(takeWrites(), QStringList());
    QVERIFY(m_runner->scan());
    QCOMPARE(names(), (QStringList{u"A"_s, u"Package"_s}));
    QCOMPARE(slotTexts(), stored);
}

void tst_Shortcuts::changesAreFollowedWithoutAScan()
{
    QVERIFY(m_runner->scan());
    m_runner->context().stopScan();
    changeSlots({u"C:\\Programs\\B x.exe"_s});
    QCOMPARE(names(), QStringList{u"B"_s});
}

void tst_Shortcuts::rescanKeepsTheShortcuts()
{
    QVERIFY(m_runner->scan());
    QVERIFY(m_runner->context().addShortcut(app(u"B"_s)));
    QVERIFY(m_runner->context().addShortcut(app(u"Package"_s)));
    QVERIFY(m_runner->scan());
    QCOMPARE(m_runner->context().shortcuts(), (QList<ProgramInfo *>{app(u"B"_s), app(u"Package"_s)}));
    m_runner->recreate();
    QVERIFY(m_runner->scan());
    QCOMPARE(m_runner->context().shortcuts(), (QList<ProgramInfo *>{app(u"B"_s), app(u"Package"_s)}));
}

void tst_Shortcuts::rescanDropsWhatIsGone()
{
    QVERIFY(m_runner->scan());
    for (const QString &name : {u"A"_s, u"B"_s, u"C"_s})
        QVERIFY(m_runner->context().addShortcut(app(name)));
    m_platform->files->executable.remove(u"C:/Programs/B x.exe"_s);
    m_platform->files->existing.remove(u"C:/Programs/B x.exe"_s);
    QVERIFY(m_runner->scan());
    QCOMPARE(names(), (QStringList{u"A"_s, u"C"_s}));
    QCOMPARE(slotTexts(), (QStringList{u"C:\\Programs\\A x.exe"_s, u"C:\\Programs\\C x.exe"_s, {}, {}, {}, {}, {}}));
    // It is gone for good.
    m_platform->files->addProgram(u"C:/Programs/B x.exe"_s);
    QVERIFY(m_runner->scan());
    QCOMPARE(names(), (QStringList{u"A"_s, u"C"_s}));
}

void tst_Shortcuts::completionTellsTwice()
{
    setSlots({u"C:\\Programs\\A x.exe"_s});
    SignalLog log(&m_runner->context());
    QVERIFY(m_runner->scan());
    QStringList signalNames = log.take();
    signalNames.removeAll(u"gameAppsChanged"_s);
    signalNames.removeAll(u"toolAppsChanged"_s);
    QCOMPARE(signalNames, (QStringList{u"shortcutsChanged"_s, u"allAppsChanged"_s, u"meetingAppsChanged"_s,
                                       u"shortcutsChanged"_s, u"isEmptyChanged"_s}));
}

void tst_Shortcuts::refusedWritesKeepTheList()
{
    QVERIFY(m_runner->scan());
    m_platform->registry->refusesWrites = true;
    SignalLog log(&m_runner->context());
    QVERIFY(m_runner->context().addShortcut(app(u"A"_s)));
    QVERIFY(m_runner->context().addShortcut(app(u"B"_s)));
    QVERIFY(m_runner->context().removeShortcutAt(0));
    QCOMPARE(names(), QStringList{u"B"_s});
    QCOMPARE(log.take(), QStringList(3, u"shortcutsChanged"_s));
    QCOMPARE(slotTexts(), QStringList(7, QString()));
}

void tst_Shortcuts::nothingIsLogged()
{
    QVERIFY(m_runner->scan());
    const LogCatcher log;
    QVERIFY(m_runner->context().addShortcut(app(u"A"_s)));
    QVERIFY(!m_runner->context().addShortcut(nullptr));
    changeSlots({u"garbage"_s, u"C:\\Programs\\B x.exe"_s});
    QVERIFY(m_runner->context().removeShortcutAt(0));
    QCOMPARE(log.lines().size(), 0);
}

QTEST_GUILESS_MAIN(tst_Shortcuts)
#include "tst_shortcuts.moc"
