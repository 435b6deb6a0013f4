#include "../support/FakePlatform.h"
#include "../support/KvProgramContextProbe.h"
#include "../support/LogCatcher.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

using Probe = KvProgramContextProbe;

namespace {

const QString Model = u"KV-27"_s;

/** Some settings and what owns them. */
class Settings
{
public:
    Settings() = default;
    ~Settings() { qDeleteAll(list); }

    Settings(const Settings &) = delete;
    Settings &operator=(const Settings &) = delete;

    KvAppSetting *add(const QString &executable, const QString &model = Model)
    {
        list.append(new KvAppSetting(nullptr, model, KvAppSetting::ModeFPS1, QString(), QString(), {executable}));
        return list.last();
    }

    QList<KvAppSetting *> list;
};

} // namespace

/** Marks of a monitor model on the installed lists. */
class tst_ModelMarks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void marks_data();
    void marks();
    void firstExecutableCounts();
    void emptyExecutables();
    void gamesAndToolsAreMarkedApart();
    void formerMarksAreTakenBack();
    void markThatStaysIsSetAgain();
    void everyInstalledEntryIsMarked();
    void emptyPlacesAreNoSettings();
    void callIsLogged();

    void statusMarksTheFirst();
    void statusGoesByLowerCase();
    void statusOfToolsLeavesGamesAlone();
    void statusOfNobody();

private:
    KvAppSetting *install(bool isGame, const QString &executable)
    {
        auto *const app = new KvAppSetting;
        app->setExecutable(executable);
        (isGame ? Probe::gameApps(*m_context) : Probe::toolApps(*m_context)).append(app);
        return app;
    }

    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<KvProgramContext> m_context;
};

void tst_ModelMarks::init()
{
    m_platform = std::make_unique<FakePlatform>();
    m_context = Probe::create();
}

void tst_ModelMarks::cleanup()
{
    m_context.reset();
    m_platform.reset();
}

void tst_ModelMarks::marks_data()
{
    QTest::addColumn<QString>("installed");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("isSelected");
    QTest::newRow("same") << u"c:/g.exe"_s << u"c:/g.exe"_s << Model << true;
    QTest::newRow("installed in other case") << u"C:/Games/G.exe"_s << u"c:/games/g.exe"_s << Model << true;
    QTest::newRow("stored with a capital") << u"C:/Games/G.exe"_s << u"C:/Games/G.exe"_s << Model << false;
    QTest::newRow("stored with a capital only") << u"c:/g.exe"_s << u"C:/g.exe"_s << Model << false;
    QTest::newRow("other model") << u"c:/g.exe"_s << u"c:/g.exe"_s << u"KV-32"_s << false;
    QTest::newRow("other case of the model") << u"c:/g.exe"_s << u"c:/g.exe"_s << u"kv-27"_s << false;
    QTest::newRow("other path") << u"c:/g.exe"_s << u"d:/g.exe"_s << Model << false;
    QTest::newRow("letters beyond ASCII") << u"C:/ÄÖ/Д.exe"_s << u"c:/äö/д.exe"_s << Model << true;
}

void tst_ModelMarks::marks()
{
    QFETCH(const QString, installed);
    QFETCH(const QString, stored);
    QFETCH(const QString, model);
    QFETCH(const bool, isSelected);
    const KvAppSetting *const game = install(true, installed);
    const KvAppSetting *const tool = install(false, installed);
    Settings settings;
    settings.add(u"c:/other.exe"_s);
    settings.add(stored, model);
    m_context->updateInstalledAppListByModel(Model, settings.list, settings.list);
    QCOMPARE(game->hasSelected(), isSelected);
    QCOMPARE(tool->hasSelected(), isSelected);
}

void tst_ModelMarks::firstExecutableCounts()
{
    KvAppSetting *const game = install(true, QString());
    game->setExecutableList({u"C:/1.exe"_s, u"C:/2.exe"_s});
    Settings settings;
    KvAppSetting *const stored = settings.add(QString());
    stored->setExecutableList({u"c:/2.exe"_s, u"c:/1.exe"_s});
    m_context->updateInstalledAppListByModel(Model, settings.list, {});
    QVERIFY(!game->hasSelected());
    stored->setExecutableList({u"c:/1.exe"_s});
    m_context->updateInstalledAppListByModel(Model, settings.list, {});
    QVERIFY(game->hasSelected());
}

void tst_ModelMarks::emptyExecutables()
{
    KvAppSetting *const game = install(true, QString());
    game->setExecutableList({});
    Settings settings;
    settings.add(QString(), u"other"_s)->setExecutableList({});
    m_context->updateInstalledAppListByModel(Model, settings.list, {});
    QVERIFY(!game->hasSelected());
    settings.add(QString())->setExecutableList({});
    m_context->updateInstalledAppListByModel(Model, settings.list, {});
    QVERIFY(game->hasSelected());
}

void tst_ModelMarks::gamesAndToolsAreMarkedApart()
{
    const KvAppSetting *const game = install(true, u"c:/a.exe"_s);
    const KvAppSetting *const tool = install(false, u"c:/a.exe"_s);
    Settings settings;
    settings.add(u"c:/a.exe"_s);
    m_context->updateInstalledAppListByModel(Model, settings.list, {});
    QVERIFY(game->hasSelected() && !tool->hasSelected());
    m_context->updateInstalledAppListByModel(Model, {}, settings.list);
    QVERIFY(!game->hasSelected() && tool->hasSelected());
}

void tst_ModelMarks::formerMarksAreTakenBack()
{
    KvAppSetting *const game = install(true, u"c:/a.exe"_s);
    KvAppSetting *const tool = install(false, u"c:/b.exe"_s);
    game->setHasSelected(true);
    tool->setHasSelected(true);
    const QSignalSpy changes(game, &KvAppSetting::hasSelectedChanged);
    m_context->updateInstalledAppListByModel(Model, {}, {});
    QVERIFY(!game->hasSelected() && !tool->hasSelected());
    QCOMPARE(changes.size(), 1);
}

void tst_ModelMarks::markThatStaysIsSetAgain()
{
    KvAppSetting *const game = install(true, u"c:/a.exe"_s);
    game->setHasSelected(true);
    QList<bool> seen;
    connect(game, &KvAppSetting::hasSelectedChanged, game, [&] { seen.append(game->hasSelected()); });
    Settings settings;
    settings.add(u"c:/a.exe"_s);
    settings.add(u"c:/a.exe"_s);
    m_context->updateInstalledAppListByModel(Model, settings.list, {});
    QCOMPARE(seen, (QList<bool>{false, true}));
}

void tst_ModelMarks::everyInstalledEntryIsMarked()
{
    const KvAppSetting *const one = install(false, u"C:/A.exe"_s);
    const KvAppSetting *const two = install(false, u"c:/a.EXE"_s);
    Settings settings;
    settings.add(u"c:/a.exe"_s);
    m_context->updateInstalledAppListByModel(Model, {}, settings.list);
    QVERIFY(one->hasSelected() && two->hasSelected());
}

void tst_ModelMarks::emptyPlacesAreNoSettings()
{
    const KvAppSetting *const one = install(false, u"C:/A.exe"_s);
    Settings settings;
    settings.list.append(nullptr);
    settings.add(u"c:/a.exe"_s);
    m_context->updateInstalledAppListByModel(Model, {nullptr}, settings.list);
    QVERIFY(one->hasSelected());
}

void tst_ModelMarks::callIsLogged()
{
    const LogCatcher log;
    m_context->updateInstalledAppListByModel(u"KV 27"_s, {}, {});
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.texts(QtDebugMsg), QStringList{u"updateInstalledAppListByModel:  \"KV 27\""_s});
    m_context->updateInstalledAppListStatus(u"x"_s, true, true);
    QCOMPARE(log.lines().size(), 1);
}

void tst_ModelMarks::statusMarksTheFirst()
{
    const KvAppSetting *const other = install(true, u"C:/b.exe"_s);
    const KvAppSetting *const one = install(true, u"C:/A.exe"_s);
    const KvAppSetting *const two = install(true, u"c:/a.exe"_s);
    m_context->updateInstalledAppListStatus(u"c:/a.exe"_s, true, true);
    QVERIFY(!other->hasSelected() && one->hasSelected() && !two->hasSelected());
    m_context->updateInstalledAppListStatus(u"c:/a.exe"_s, true, false);
    QVERIFY(!one->hasSelected());
}

void tst_ModelMarks::statusGoesByLowerCase()
{
    const KvAppSetting *const game = install(true, u"C:/A.exe"_s);
    m_context->updateInstalledAppListStatus(u"C:/A.exe"_s, true, true);
    QVERIFY(!game->hasSelected());
}

void tst_ModelMarks::statusOfToolsLeavesGamesAlone()
{
    const KvAppSetting *const game = install(true, u"c:/a.exe"_s);
    const KvAppSetting *const tool = install(false, u"c:/a.exe"_s);
    m_context->updateInstalledAppListStatus(u"c:/a.exe"_s, false, true);
    QVERIFY(!game->hasSelected() && tool->hasSelected());
    m_context->updateInstalledAppListStatus(u"c:/a.exe"_s, true, true);
    m_context->updateInstalledAppListStatus(u"c:/a.exe"_s, false, false);
    QVERIFY(game->hasSelected() && !tool->hasSelected());
}

void tst_ModelMarks::statusOfNobody()
{
    const KvAppSetting *const game = install(true, u"c:/a.exe"_s);
    m_context->updateInstalledAppListStatus(u"c:/b.exe"_s, true, true);
    QVERIFY(!game->hasSelected());
    install(true, QString());
    m_context->updateInstalledAppListStatus(QString(), true, true);
    QVERIFY(m_context->gameApps().last()->hasSelected());
}

QTEST_GUILESS_MAIN(tst_ModelMarks)
#include "tst_modelmarks.moc"
