#include "Child.h"
#include "KvProgramContext.h"
#include "WindowFixture.h"

#include <QtCore/QFile>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

/** What one does with programs in the example host's window: pin them, mark them, start them, see them change. */
class tst_HostActions : public QObject, private WindowFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void pinsWithTheKey();
    void pinsWithTheButton();
    void pinsFromTheMenu();
    void pinsTheProgramOfAGame();
    void refusesTheEighth();
    void movesThroughTheShortcuts();
    void unpinsInTheBar();
    void startsFromTheBar();
    void keepsTheBarOverARescan();
    void tellsWhatAScanHasChanged_data();
    void tellsWhatAScanHasChanged();
    void dismissesTheNote_data();
    void dismissesTheNote();
    void namesTheLaunchers();
    void marksForAModel();
    void keepsTheMarksOverARescan();
    void marksWhatRuns();
    void forgetsWhatNeverRuns();
    void watchesAProgramOnce();

private:
    void pin(int program) const;
    QQuickItem *slot(int place) const { return find(qPrintable(QStringLiteral("slot%1").arg(place))); }
    QString note() const { return find("note")->isVisible() ? find("note")->property("text").toString() : QString(); }
    void showList(int list) const;
    QString textOf(QQuickItem *root, const char *name) const;
    void click(const QQuickItem *item, Qt::MouseButton button = Qt::LeftButton) const;
    bool isMarkedAsRunning(const QString &name) const;
};

namespace {

enum List
{
    Games = 2,
    Tools = 3,
};

} // namespace

void tst_HostActions::initTestCase()
{
    QVERIFY(prepare());
}

void tst_HostActions::init()
{
    QVERIFY(open());
    QCOMPARE(note(), QString());
}

void tst_HostActions::cleanup()
{
    QCOMPARE(close(), QStringList());
    takeStarts();
}

void tst_HostActions::pin(int program) const
{
    find("grid")->forceActiveFocus();
    select(program);
    press(Qt::Key_P);
}

void tst_HostActions::showList(int list) const
{
    find("categories")->setProperty("currentIndex", list);
    QCoreApplication::processEvents();
}

/** What a label shows; empty if it doesn't. */
QString tst_HostActions::textOf(QQuickItem *root, const char *name) const
{
    const QQuickItem *const label = findIn(root, name);
    return label && label->isVisible() ? label->property("text").toString() : QString();
}

void tst_HostActions::click(const QQuickItem *item, Qt::MouseButton button) const
{
    QTest::mouseClick(window(), button, {}, item->mapToScene({item->width() / 2, item->height() / 2}).toPoint());
}

bool tst_HostActions::isMarkedAsRunning(const QString &name) const
{
    QQuickItem *const shown = tile(name);
    return shown && findIn(shown, "runningMark")->isVisible();
}

void tst_HostActions::pinsWithTheKey()
{
    QCOMPARE(textOf(find("details"), "pin"), QStringLiteral("Pin"));
    press(Qt::Key_P, Qt::ControlModifier);
    QCOMPARE(pinned(), QStringList());
    pin(5);
    pin(3);
    QCOMPARE(pinned(), QStringList({numbered(5), numbered(3)}));
    QCOMPARE(slot(0)->property("text").toString(), numbered(5));
    QCOMPARE(slot(1)->property("text").toString(), numbered(3));
    QCOMPARE(textOf(find("details"), "pin"), QStringLiteral("Unpin"));
    pin(5);
    QCOMPARE(pinned(), QStringList{numbered(3)});
    QCOMPARE(slot(0)->property("text").toString(), numbered(3));
    QCOMPARE(slot(1)->property("text").toString(), QString());
    QVERIFY(find("grid")->hasActiveFocus());
}

void tst_HostActions::pinsWithTheButton()
{
    click(find("pin"));
    QCOMPARE(pinned(), QStringList{numbered(0)});
    QVERIFY(tabTo(find("pin")));
    press(Qt::Key_Space);
    QCOMPARE(pinned(), QStringList());
}

void tst_HostActions::pinsFromTheMenu()
{
    click(tile(numbered(1)), Qt::RightButton);
    QCOMPARE(selected(), numbered(1));
    QObject *const menu = window()->findChild<QObject *>(QStringLiteral("menu"));
    QVERIFY(menu);
    QTRY_VERIFY(menu->property("opened").toBool());
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    QTRY_COMPARE(pinned(), QStringList{numbered(1)});
    QTRY_VERIFY(!menu->property("visible").toBool());

    press(Qt::Key_Menu);
    QTRY_VERIFY(menu->property("opened").toBool());
    press(Qt::Key_Escape);
    QTRY_VERIFY(!menu->property("visible").toBool());
    QCOMPARE(pinned(), QStringList{numbered(1)});
}

void tst_HostActions::pinsTheProgramOfAGame()
{
    showList(Games);
    QCOMPARE(selected(), QStringLiteral("Overwatch"));
    find("grid")->forceActiveFocus();
    press(Qt::Key_P);
    QCOMPARE(pinned(), QStringList{numbered(Game)});
    QCOMPARE(textOf(find("details"), "pin"), QStringLiteral("Unpin"));
    select(1);
    QCOMPARE(selected(), QStringLiteral("Fortnite"));
    QVERIFY(!find("pin")->isEnabled());
    QVERIFY(!textOf(find("details"), "pinProblem").isEmpty());
    press(Qt::Key_P);
    QCOMPARE(pinned(), QStringList{numbered(Game)});
    QTRY_VERIFY(find("toast")->isVisible());
}

void tst_HostActions::refusesTheEighth()
{
    for (int program = 0; program < 7; ++program)
        pin(program);
    QCOMPARE(pinned().size(), 7);
    QVERIFY(find("pin")->isEnabled());
    QCOMPARE(textOf(find("details"), "pinProblem"), QString());

    select(8);
    QVERIFY(!find("pin")->isEnabled());
    QCOMPARE(textOf(find("details"), "pinProblem"), QStringLiteral("All 7 shortcuts are taken."));
    press(Qt::Key_P);
    QCOMPARE(pinned().size(), 7);
    QTRY_VERIFY(find("toast")->isVisible());
    QCOMPARE(find("toast")->property("text").toString(), QStringLiteral("All 7 shortcuts are taken."));

    pin(6);
    pin(8);
    QCOMPARE(pinned().constLast(), numbered(8));
}

void tst_HostActions::movesThroughTheShortcuts()
{
    for (int place = 0; place < 7; ++place)
        QVERIFY(slot(place)->isVisible());
    QVERIFY(!tabTo(find("shortcuts")));
    for (int program = 0; program < 3; ++program)
        pin(program);
    QVERIFY(tabTo(find("shortcuts")));
    QVERIFY(slot(0)->hasActiveFocus());
    const QList<std::pair<Qt::Key, int>> steps{{Qt::Key_Right, 1}, {Qt::Key_Right, 2}, {Qt::Key_Right, 2},
                                               {Qt::Key_Left, 1},  {Qt::Key_Home, 0},  {Qt::Key_Left, 0},
                                               {Qt::Key_End, 2}};
    for (const auto &[key, place] : steps) {
        press(key);
        QVERIFY2(slot(place)->hasActiveFocus(), qPrintable(QString::number(place)));
    }
    // The bar is one stop, and keeps its place.
    press(Qt::Key_Tab);
    QVERIFY(!find("shortcuts")->hasActiveFocus());
    press(Qt::Key_Tab, Qt::ShiftModifier);
    QVERIFY(slot(2)->hasActiveFocus());
    // An empty place is no aim for the mouse either.
    find("grid")->forceActiveFocus();
    click(slot(5));
    QVERIFY(find("grid")->hasActiveFocus());
    QCOMPARE(takeStarts(), QStringList());
}

void tst_HostActions::unpinsInTheBar()
{
    for (int program = 0; program < 3; ++program)
        pin(program);
    QVERIFY(tabTo(find("shortcuts")));
    press(Qt::Key_Right);
    press(Qt::Key_Delete);
    QCOMPARE(pinned(), QStringList({numbered(0), numbered(2)}));
    QVERIFY(slot(1)->hasActiveFocus());
    press(Qt::Key_Delete);
    QCOMPARE(pinned(), QStringList{numbered(0)});
    QVERIFY(slot(0)->hasActiveFocus());
    press(Qt::Key_Delete);
    QCOMPARE(pinned(), QStringList());
    QVERIFY(find("grid")->hasActiveFocus());
}

void tst_HostActions::startsFromTheBar()
{
    pin(4);
    pin(Clock);
    QVERIFY(tabTo(find("shortcuts")));
    press(Qt::Key_Return);
    QCOMPARE(takeStarts(), QStringList{QStringLiteral("url https://example.org/4")});
    press(Qt::Key_Right);
    press(Qt::Key_Enter);
    click(slot(1));
    const QString start = QStringLiteral("detached \"C:\\Apps\\KvTestClock.exe\"");
    QCOMPARE(takeStarts(), QStringList({start, start}));
    QVERIFY(!find("toast")->isVisible());
}

void tst_HostActions::keepsTheBarOverARescan()
{
    pin(4);
    pin(Clock);
    QVERIFY(tabTo(find("shortcuts")));
    press(Qt::Key_Right);
    QVERIFY(rescan());
    QVERIFY(slot(1)->hasActiveFocus());
    press(Qt::Key_Return);
    QCOMPARE(takeStarts().size(), 1);

    // A pinned program goes.
    QVERIFY(QFile::remove(path(QStringLiteral("C/Apps/KvTestClock.exe"))));
    QVERIFY(rescan());
    QVERIFY(write(QStringLiteral("C/Apps/KvTestClock.exe"), "MZ"));
    QCOMPARE(pinned(), QStringList{numbered(4)});
    QVERIFY(slot(0)->hasActiveFocus());
    press(Qt::Key_Return);
    QCOMPARE(takeStarts(), QStringList{QStringLiteral("url https://example.org/4")});
}

void tst_HostActions::tellsWhatAScanHasChanged_data()
{
    QTest::addColumn<QString>("before"); // The programs that are there, of "Others".
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *before, const char *after, const char *expected) {
        QTest::addRow("'%s' to '%s'", before, after)
            << QString::fromLatin1(before) << QString::fromLatin1(after) << QString::fromLatin1(expected);
    };
    row("ABCD", "ABCD", "");
    row("ABC", "ABCD", "1 program added");
    row("ABCD", "CD", "2 programs removed");
    row("A", "BCD", "3 programs added, 1 removed");
    row("AB", "CD", "2 programs added, 2 removed");
}

void tst_HostActions::tellsWhatAScanHasChanged()
{
    QFETCH(const QString, before);
    QFETCH(const QString, after);
    QFETCH(const QString, expected);
    const auto install = [this](const QString &programs) {
        for (const QChar program : QStringLiteral("ABCD")) {
            const QString name = QStringLiteral("C/Apps/%1.exe").arg(program);
            if (programs.contains(program))
                QVERIFY(write(name, "MZ"));
            else
                QFile::remove(path(name));
        }
        QVERIFY(rescan());
    };
    install(before);
    QMetaObject::invokeMethod(find("note"), "dismissed");
    QCOMPARE(note(), QString());
    install(after);
    QCOMPARE(note(), expected);
    QVERIFY(find("grid")->hasActiveFocus());
    QCOMPARE(find("note")->isVisible(), !expected.isEmpty());
    install(QStringLiteral("ABCD"));
}

void tst_HostActions::dismissesTheNote_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("mouse") << 0;
    QTest::newRow("keyboard") << int(Qt::Key_Return);
    QTest::newRow("escape") << int(Qt::Key_Escape);
}

void tst_HostActions::dismissesTheNote()
{
    QFETCH(const int, way);
    QVERIFY(QFile::remove(path(QStringLiteral("C/Apps/A.exe"))));
    QVERIFY(rescan());
    QVERIFY(write(QStringLiteral("C/Apps/A.exe"), "MZ"));
    QCOMPARE(note(), QStringLiteral("1 program removed"));
    QVERIFY(rescan());
    QCOMPARE(note(), QStringLiteral("1 program added"));
    QVERIFY(rescan());
    QCOMPARE(note(), QStringLiteral("1 program added")); // Until it has been seen.
    if (way == 0)
        click(find("dismissal"));
    else if (way == Qt::Key_Return)
        QVERIFY(tabTo(find("dismissal")));
    if (way != 0)
        press(static_cast<Qt::Key>(way));
    QCOMPARE(note(), QString());
    QVERIFY(find("grid")->hasActiveFocus());
}

void tst_HostActions::namesTheLaunchers()
{
    for (int scan = 0; scan < 2; ++scan) {
        showList(Games);
        QCOMPARE(tile(QStringLiteral("Overwatch"))->property("entry").toMap().value(QStringLiteral("kind")).toString(),
                 QStringLiteral("Battle.net"));
        QCOMPARE(tile(QStringLiteral("Fortnite"))->property("entry").toMap().value(QStringLiteral("kind")).toString(),
                 QStringLiteral("Epic"));
        showList(Tools);
        QCOMPARE(tile(numbered(Tool))->property("entry").toMap().value(QStringLiteral("launcher")).toString(),
                 QStringLiteral("POWERPNT.EXE"));
        QVERIFY(rescan());
    }
}

void tst_HostActions::marksForAModel()
{
    const auto mark = [this](const QString &name) { return textOf(tile(name), "mark"); };
    QQuickItem *const models = find("models");
    QCOMPARE(marks().models(), QStringList({QStringLiteral("KV-27"), QStringLiteral("KV-32")}));
    QCOMPARE(models->property("displayText").toString(), QStringLiteral("No monitor"));
    QVERIFY(tabTo(models));
    press(Qt::Key_Down);
    QCOMPARE(marks().model(), QStringLiteral("KV-27"));
    QVERIFY(KvProgramContext::instance()->gameApps().constFirst()->hasSelected());
    showList(Games);
    QCOMPARE(mark(QStringLiteral("Overwatch")), QStringLiteral("KV-27"));
    QCOMPARE(mark(QStringLiteral("Fortnite")), QString());
    QCOMPARE(textOf(find("details"), "markTag"), QStringLiteral("Set up for KV-27"));

    press(Qt::Key_Down);
    QCOMPARE(marks().model(), QStringLiteral("KV-32"));
    QCoreApplication::processEvents();
    QCOMPARE(mark(QStringLiteral("Overwatch")), QString());
    QCOMPARE(textOf(find("details"), "markTag"), QString());
    showList(Tools);
    QCOMPARE(mark(numbered(Tool)), QStringLiteral("KV-32"));

    press(Qt::Key_Up);
    press(Qt::Key_Up);
    QCOMPARE(marks().model(), QString());
    QCoreApplication::processEvents();
    QCOMPARE(mark(numbered(Tool)), QString());
}

void tst_HostActions::keepsTheMarksOverARescan()
{
    marks().setModel(QStringLiteral("KV-27"));
    QVERIFY(rescan());
    QCOMPARE(find("models")->property("displayText").toString(), QStringLiteral("KV-27"));
    showList(Games);
    QCOMPARE(textOf(tile(QStringLiteral("Overwatch")), "mark"), QStringLiteral("KV-27"));

    // The lists are empty while a scan runs; what is shown stays.
    QSignalSpy completed(KvProgramContext::instance(), &KvProgramContext::isEmptyChanged);
    KvProgramContext::instance()->startScan();
    marks().setModel(QStringLiteral("KV-32"));
    QCOMPARE(shown(), 2);
    QVERIFY(completed.wait(30000));
    QCoreApplication::processEvents();
    QCOMPARE(shown(), 2);
    QCOMPARE(textOf(tile(QStringLiteral("Overwatch")), "mark"), QString());
}

void tst_HostActions::marksWhatRuns()
{
    // On the machine nothing runs, but this system has a process of that name.
    const QString program = path(QStringLiteral("KvTestClock.exe"));
    QVERIFY(QFile::exists(program) || QFile::copy(Child::program(), program));
    select(Clock);
    QVERIFY(!isMarkedAsRunning(numbered(Clock)));
    {
        const Child clock = Child::start(Child::Forever, 0, program);
        QVERIFY(!isMarkedAsRunning(numbered(Clock)));
        press(Qt::Key_Return);
        QTRY_VERIFY(isMarkedAsRunning(numbered(Clock)));
        QCOMPARE(textOf(find("details"), "runningTag"), QStringLiteral("Running"));
        QVERIFY(!isMarkedAsRunning(numbered(Refused)));
        QVERIFY(rescan());
        QVERIFY(isMarkedAsRunning(numbered(Clock)));
    }
    QTRY_VERIFY(!isMarkedAsRunning(numbered(Clock)));
    QCOMPARE(textOf(find("details"), "runningTag"), QString());
    QCOMPARE(running().count(), 0);
}

void tst_HostActions::forgetsWhatNeverRuns()
{
    QSignalSpy changes(&running(), &RunningPrograms::filesChanged);
    running().watch(QStringLiteral("C:/Apps/NobodyHasThisName.exe"));
    running().watch(QStringLiteral("C:/Apps/"));
    QCOMPARE(running().count(), 1);
    QTRY_COMPARE(running().count(), 0);
    QCOMPARE(running().files(), QStringList());
    QCOMPARE(changes.size(), 1);
}

void tst_HostActions::watchesAProgramOnce()
{
    const QString program = path(QStringLiteral("KvTestClock.exe"));
    QVERIFY(QFile::exists(program) || QFile::copy(Child::program(), program));
    Child clock = Child::start(Child::Forever, 0, program);
    RunningPrograms programs(1);
    QSignalSpy changes(&programs, &RunningPrograms::filesChanged);
    programs.watch(QStringLiteral("C:\\Apps\\KvTestClock.exe"));
    programs.watch(QStringLiteral("c:\\apps\\kvtestclock.EXE"));
    QTRY_COMPARE(programs.files(), QStringList{QStringLiteral("c:\\apps\\kvtestclock.exe")});
    programs.watch(QStringLiteral("C:\\Apps\\KvTestClock.exe"));
    QCOMPARE(programs.count(), 1);
    QCOMPARE(changes.size(), 1);
}

QTEST_MAIN(tst_HostActions)
#include "tst_hostactions.moc"
