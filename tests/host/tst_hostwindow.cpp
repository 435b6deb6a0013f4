#include "KvProgramContext.h"
#include "WindowFixture.h"

#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>

/** The example host's window, used as a person would: by keyboard and mouse, over a small machine. */
class tst_HostWindow : public QObject, private WindowFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void showsTheProgramsAfterTheScan();
    void movesWithTheKeyboard_data();
    void movesWithTheKeyboard();
    void keepsTheSelectionOverARescan();
    void searches_data();
    void searches();
    void clearsTheSearchWithEscape();
    void switchesListsWithTheKeyboard();
    void tellsThatAProgramCouldNotBeStarted_data();
    void tellsThatAProgramCouldNotBeStarted();
    void selectsAndStartsWithTheMouse();
    void rescansWithF5();
    void changesItsShapeWithItsWidth();
    void namesItsEntriesForScreenReaders();
    void showsPicturesOrInitials_data();
    void showsPicturesOrInitials();
    void scrollsThroughTenThousandEntries();
};

void tst_HostWindow::initTestCase()
{
    QVERIFY(prepare());
}

void tst_HostWindow::init()
{
    QVERIFY(open());
}

void tst_HostWindow::cleanup()
{
    QCOMPARE(close(), QStringList());
}

void tst_HostWindow::showsTheProgramsAfterTheScan()
{
    QCOMPARE(selected(), numbered(0));
    QVERIFY(find("grid")->hasActiveFocus());
    QVERIFY(!find("empty")->isVisible());
}

void tst_HostWindow::movesWithTheKeyboard_data()
{
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<QString>("expected"); // A sum of steps: r for a row, p for a page, a number for columns.
    QTest::newRow("right") << QList<int>{Qt::Key_Right} << QStringLiteral("1");
    QTest::newRow("right, left") << QList<int>{Qt::Key_Right, Qt::Key_Left} << QStringLiteral("0");
    QTest::newRow("left at the start") << QList<int>{Qt::Key_Left} << QStringLiteral("0");
    QTest::newRow("down") << QList<int>{Qt::Key_Down} << QStringLiteral("r");
    QTest::newRow("down, up") << QList<int>{Qt::Key_Down, Qt::Key_Up} << QStringLiteral("0");
    QTest::newRow("page down") << QList<int>{Qt::Key_PageDown} << QStringLiteral("p");
    QTest::newRow("page down, up") << QList<int>{Qt::Key_PageDown, Qt::Key_PageUp} << QStringLiteral("0");
    QTest::newRow("page up keeps the column") << QList<int>{Qt::Key_Right, Qt::Key_PageUp} << QStringLiteral("1");
    QTest::newRow("end") << QList<int>{Qt::Key_End} << QStringLiteral("e");
    QTest::newRow("end, page down") << QList<int>{Qt::Key_End, Qt::Key_PageDown} << QStringLiteral("e");
    QTest::newRow("end, home") << QList<int>{Qt::Key_End, Qt::Key_Home} << QStringLiteral("0");
}

void tst_HostWindow::movesWithTheKeyboard()
{
    QFETCH(const QList<int>, keys);
    QFETCH(const QString, expected);
    for (const int key : keys)
        press(static_cast<Qt::Key>(key));

    const int columns = find("grid")->property("columns").toInt();
    const int rows = find("grid")->property("rowsPerPage").toInt();
    QVERIFY(columns >= 2);
    QVERIFY(rows >= 2);
    const QMap<QString, int> places{
        {QStringLiteral("r"), columns}, {QStringLiteral("p"), rows * columns}, {QStringLiteral("e"), Programs - 1}};
    QCOMPARE(selected(), numbered(places.value(expected, expected.toInt())));
}

void tst_HostWindow::keepsTheSelectionOverARescan()
{
    press(Qt::Key_End);
    QCOMPARE(selected(), numbered(Programs - 1));
    QVERIFY(rescan());
    QCOMPARE(selected(), numbered(Programs - 1));
    QCOMPARE(find("grid")->property("currentIndex").toInt(), Programs - 1);
}

void tst_HostWindow::searches_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("expected");
    QTest::newRow("name") << QStringLiteral("program 29") << 13; // 290 to 299, 029, 129, 229.
    QTest::newRow("publisher") << QStringLiteral("EVEN") << Programs / 2;
    QTest::newRow("every word, any order") << QStringLiteral("house 001 odd") << 1;
    QTest::newRow("not every word") << QStringLiteral("even 001") << 0;
    QTest::newRow("blanks") << QStringLiteral("   ") << Programs;
    QTest::newRow("no pattern") << QStringLiteral("P.*") << 0;
}

void tst_HostWindow::searches()
{
    QFETCH(const QString, text);
    QFETCH(const int, expected);
    press(Qt::Key_F, Qt::ControlModifier);
    QVERIFY(find("search")->hasActiveFocus());
    type(text);
    press(Qt::Key_Return);
    QCOMPARE(shown(), expected);
    QVERIFY(find("grid")->hasActiveFocus());
    QCOMPARE(find("empty")->isVisible(), expected == 0);
    QCOMPARE(find("details")->isVisible(), expected != 0);
}

void tst_HostWindow::clearsTheSearchWithEscape()
{
    press(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("even"));
    QCOMPARE(shown(), Programs); // Not for each letter.
    QTRY_COMPARE(shown(), Programs / 2);
    press(Qt::Key_Escape);
    QCOMPARE(find("search")->property("text").toString(), QString());
    QCOMPARE(shown(), Programs);

    type(QStringLiteral("odd"));
    press(Qt::Key_Down);
    QVERIFY(find("grid")->hasActiveFocus());
    press(Qt::Key_Escape);
    QCOMPARE(shown(), Programs);
}

void tst_HostWindow::switchesListsWithTheKeyboard()
{
    press(Qt::Key_F, Qt::ControlModifier);
    QQuickItem *categories = find("categories");
    QVERIFY(tabTo(categories));
    press(Qt::Key_Right);
    QTRY_COMPARE(shown(), 2);
    QVERIFY(categories->isAncestorOf(window()->activeFocusItem()));
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    QTRY_COMPARE(shown(), 1);
    press(Qt::Key_Left);
    QTRY_COMPARE(shown(), 2);
    press(Qt::Key_Tab);
    QVERIFY(find("grid")->hasActiveFocus());
}

void tst_HostWindow::tellsThatAProgramCouldNotBeStarted_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("program");
    QTest::addColumn<QString>("package");
    QTest::newRow("return") << int(Qt::Key_Return) << 1 << QString();
    QTest::newRow("enter") << int(Qt::Key_Enter) << 1 << QString();
    QTest::newRow("package") << int(Qt::Key_Return) << 1 << QStringLiteral("Gone_1.0_x64__abc");
    QTest::newRow("program file") << int(Qt::Key_Return) << int(Refused) << QString();
}

void tst_HostWindow::tellsThatAProgramCouldNotBeStarted()
{
    QFETCH(const int, key);
    QFETCH(const int, program);
    QFETCH(const QString, package);
    QVERIFY(!find("toast")->isVisible());
    select(program);
    // A record that is gone can't be started whatever the library makes of launch().
    if (!package.isEmpty())
        record(program)->setManagedTarget(package, 0);
    else if (record(program)->type() == ProgramInfo::TypeWeb)
        record(program)->setTargetUrl(QUrl());
    press(static_cast<Qt::Key>(key));
    QTRY_VERIFY(find("toast")->isVisible());
    QCOMPARE(find("toast")->property("text").toString(),
             QStringLiteral("%1 could not be started.").arg(numbered(program)));
    QCOMPARE(running().count(), 0);
}

void tst_HostWindow::selectsAndStartsWithTheMouse()
{
    QQuickItem *grid = find("grid");
    const qreal width = grid->property("cellWidth").toReal();
    const qreal height = grid->property("cellHeight").toReal();
    const QPoint second = grid->mapToScene(QPointF(width * 1.5, height / 2)).toPoint();
    KvProgramContext::instance()->allApps().at(1)->setTargetUrl(QUrl());
    press(Qt::Key_F, Qt::ControlModifier);
    QTest::mouseClick(window(), Qt::LeftButton, {}, second);
    QCOMPARE(selected(), numbered(1));
    QVERIFY(grid->hasActiveFocus());
    QVERIFY(!find("toast")->isVisible());
    QTest::mouseDClick(window(), Qt::LeftButton, {}, second);
    QTRY_VERIFY(find("toast")->isVisible());
}

void tst_HostWindow::rescansWithF5()
{
    QSignalSpy completed(KvProgramContext::instance(), &KvProgramContext::isEmptyChanged);
    press(Qt::Key_F5);
    QVERIFY(find("busy")->isVisible());
    QVERIFY(!find("rescan")->isEnabled());
    QCOMPARE(shown(), Programs);
    QVERIFY(completed.wait(30000));
    QVERIFY(!find("busy")->isVisible());
    QVERIFY(find("rescan")->isEnabled());
    QCOMPARE(completed.size(), 1);
}

void tst_HostWindow::changesItsShapeWithItsWidth()
{
    QQuickItem *grid = find("grid");
    QQuickItem *details = find("details");
    window()->resize(1800, 700);
    QTRY_VERIFY(grid->property("columns").toInt() >= 3);
    QTRY_VERIFY(areDetailsBeside());
    window()->resize(400, 700);
    QTRY_COMPARE(grid->property("columns").toInt(), 1);
    QTRY_VERIFY(details->mapToScene({}).y() >= grid->mapToScene({0, grid->height()}).y());
    QCOMPARE(details->width(), 400.0);
}

void tst_HostWindow::namesItsEntriesForScreenReaders()
{
    QQuickItem *current = find("grid")->property("currentItem").value<QQuickItem *>();
    QVERIFY(current);
    const QObjectList children = current->children();
    const auto accessible = std::find_if(children.cbegin(), children.cend(), [](const QObject *child) {
        return QByteArray(child->metaObject()->className()) == "QQuickAccessibleAttached";
    });
    QVERIFY(accessible != children.cend());
    QCOMPARE((*accessible)->property("name").toString(), numbered(0) + QStringLiteral(", Even House, Web"));
    QVERIFY((*accessible)->property("focused").toBool());
    QVERIFY((*accessible)->property("selected").toBool());
}

void tst_HostWindow::showsPicturesOrInitials_data()
{
    QTest::addColumn<int>("program");
    QTest::addColumn<bool>("pictured");
    QTest::newRow("picture") << int(Pictured) << true;
    QTest::newRow("no file") << int(Missing) << false;
    QTest::newRow("no picture") << int(Broken) << false;
    QTest::newRow("no icon") << 0 << false;
}

void tst_HostWindow::showsPicturesOrInitials()
{
    QFETCH(const int, program);
    QFETCH(const bool, pictured);
    select(program);
    QQuickItem *const shown = tile(numbered(program));
    QVERIFY(shown);
    QTRY_VERIFY(!isLoading());
    QQuickItem *const icon = findIn(shown, "icon");
    QCOMPARE(findIn(icon, "picture")->isVisible() && findIn(icon, "picture")->implicitWidth() > 0, pictured);
    QCOMPARE(findIn(icon, "initial")->isVisible(), !pictured);
    const QPoint corner = icon->mapToScene({icon->width() / 2, icon->height() / 8}).toPoint();
    QCOMPARE(window()->grabWindow().pixelColor(corner) == QColor(Qt::red), pictured);
}

void tst_HostWindow::scrollsThroughTenThousandEntries()
{
    QVariantList entries;
    for (int i = 0; i < 10'000; ++i) {
        QVariantMap entry{{QStringLiteral("key"), i}, {QStringLiteral("name"), numbered(i)}};
        for (const char *const text :
             {"publisher", "version", "description", "icon", "kind", "executable", "file", "launcher"})
            entry.insert(QString::fromLatin1(text), QString());
        entries.append(entry);
    }
    QQuickItem *const grid = find("grid");
    QVERIFY(QMetaObject::invokeMethod(grid, "show", Q_ARG(QVariant, entries)));
    QTRY_COMPARE(shown(), 10'000);
    const QQuickItem *const content = grid->property("contentItem").value<QQuickItem *>();
    const int page = grid->property("rowsPerPage").toInt() * grid->property("columns").toInt();
    const qreal step = grid->height() / 3;
    for (int i = 0; i < 40; ++i) {
        grid->setProperty("contentY", grid->property("contentY").toReal() + step);
        QVERIFY(!window()->grabWindow().isNull());
    }
    QVERIFY(grid->property("contentY").toReal() > step * 39);
    // The tiles are used again: those in view, those close by, and some that wait.
    QVERIFY2(content->childItems().size() < page * 4, qPrintable(QString::number(content->childItems().size())));
}

QTEST_MAIN(tst_HostWindow)
#include "tst_hostwindow.moc"
