#include "KvProgramContext.h"
#include "KvProgramInitializer.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>
#include <QtQml/QQmlApplicationEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

/** The example host's window, used as a person would: by keyboard and mouse, over a small machine. */
class tst_HostWindow : public QObject
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

private:
    void writeMachine() const;
    void write(const QString &name, const QByteArray &bytes) const;
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void type(const QString &text);
    QQuickItem *find(const char *name) const;
    QString selected() const;
    bool areDetailsBeside() const;
    int shown() const { return find("grid")->property("count").toInt(); }

    QTemporaryDir m_folder;
    QStringList m_warnings;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QQuickWindow *m_window = nullptr;
};

namespace {

constexpr int Programs = 300;

QQuickItem *findItem(QQuickItem *root, const QString &name)
{
    if (root->objectName() == name)
        return root;
    for (QQuickItem *child : root->childItems()) {
        if (QQuickItem *found = findItem(child, name))
            return found;
    }
    return nullptr;
}

QString numbered(int number)
{
    return QStringLiteral("Program %1").arg(number, 3, 10, QLatin1Char('0'));
}

} // namespace

void tst_HostWindow::write(const QString &name, const QByteArray &bytes) const
{
    QVERIFY(QDir(m_folder.path()).mkpath(QFileInfo(name).path()));
    QFile file(m_folder.filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

void tst_HostWindow::writeMachine() const
{
    QJsonArray rules;
    for (int i = 0; i < Programs; ++i) {
        QJsonObject rule{
            {QStringLiteral("target"), QStringLiteral("https://example.org/%1").arg(i)},
            {QStringLiteral("displayName"), numbered(i)},
            {QStringLiteral("publisherName"), i % 2 == 0 ? QStringLiteral("Even House") : QStringLiteral("Odd House")},
        };
        if (i < 2)
            rule.insert(QStringLiteral("tags"), QJsonArray{QStringLiteral("meeting")});
        rules.append(rule);
    }
    write(QStringLiteral("machine.json"), R"({
        "consoleUser": { "name": "kim", "domain": "DESK", "sid": "S-1-5-21-1-2-3-1001" },
        "metadata": "C:/rules.json"
    })");
    write(QStringLiteral("C/rules.json"), QJsonDocument(rules).toJson());
}

void tst_HostWindow::initTestCase()
{
    QVERIFY(m_folder.isValid());
    writeMachine();
    qputenv("KVPROGRAM_MACHINE", m_folder.path().toLocal8Bit());
    qputenv("QT_QUICK_CONTROLS_STYLE", "Basic");
    qputenv("QT_QUICK_BACKEND", "software");
    KvProgramInitializer::init();
}

void tst_HostWindow::init()
{
    m_engine = std::make_unique<QQmlApplicationEngine>();
    connect(m_engine.get(), &QQmlEngine::warnings, this, [this](const QList<QQmlError> &warnings) {
        for (const QQmlError &warning : warnings)
            m_warnings.append(warning.toString());
    });
    m_engine->load(QUrl::fromLocalFile(QStringLiteral(KV_SOURCE_DIR "/examples/host/qml/Main.qml")));
    m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().value(0));
    QVERIFY(m_window);
    QVERIFY(QTest::qWaitForWindowActive(m_window));

    QSignalSpy completed(KvProgramContext::instance(), &KvProgramContext::isEmptyChanged);
    QVERIFY(QMetaObject::invokeMethod(m_window, "rescan"));
    QVERIFY(completed.wait(30000));
    QTRY_COMPARE(shown(), Programs);
    QTRY_VERIFY(areDetailsBeside()); // The grid has its final width then.
}

void tst_HostWindow::cleanup()
{
    KvProgramContext::instance()->stopScan();
    m_engine.reset();
    QCOMPARE(m_warnings, QStringList());
}

void tst_HostWindow::press(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(m_window, key, modifiers);
}

void tst_HostWindow::type(const QString &text)
{
    for (const QChar letter : text)
        QTest::keyClick(m_window, letter.toLatin1());
}

QQuickItem *tst_HostWindow::find(const char *name) const
{
    return findItem(m_window->contentItem()->parentItem() ? m_window->contentItem()->parentItem()
                                                          : m_window->contentItem(),
                    QString::fromLatin1(name));
}

QString tst_HostWindow::selected() const
{
    return find("details")->property("entry").toMap().value(QStringLiteral("name")).toString();
}

bool tst_HostWindow::areDetailsBeside() const
{
    const QQuickItem *grid = find("grid");
    const QQuickItem *details = find("details");
    return details->isVisible() && details->mapToScene({}).x() >= grid->mapToScene({grid->width(), 0}).x();
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
    QSignalSpy completed(KvProgramContext::instance(), &KvProgramContext::isEmptyChanged);
    QVERIFY(QMetaObject::invokeMethod(m_window, "rescan"));
    QVERIFY(completed.wait(30000));
    QCoreApplication::processEvents();
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
    for (int i = 0; i < 5 && !categories->hasActiveFocus() && !categories->isAncestorOf(m_window->activeFocusItem());
         ++i)
        press(Qt::Key_Tab);
    QVERIFY(categories->isAncestorOf(m_window->activeFocusItem()));
    press(Qt::Key_Right);
    QTRY_COMPARE(shown(), 2);
    QVERIFY(categories->isAncestorOf(m_window->activeFocusItem()));
    press(Qt::Key_Right);
    QTRY_COMPARE(shown(), 0);
    QVERIFY(find("empty")->isVisible());
    press(Qt::Key_Left);
    QTRY_COMPARE(shown(), 2);
    press(Qt::Key_Tab);
    QVERIFY(find("grid")->hasActiveFocus());
}

void tst_HostWindow::tellsThatAProgramCouldNotBeStarted_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("return") << int(Qt::Key_Return);
    QTest::newRow("enter") << int(Qt::Key_Enter);
}

void tst_HostWindow::tellsThatAProgramCouldNotBeStarted()
{
    QFETCH(const int, key);
    QVERIFY(!find("toast")->isVisible());
    press(Qt::Key_Right);
    // A record that is gone can't be started whatever the library makes of launch().
    const QList<ProgramInfo *> apps = KvProgramContext::instance()->allApps();
    QVERIFY(apps.at(1)->displayName() == numbered(1));
    apps.at(1)->setTargetUrl(QUrl());
    press(static_cast<Qt::Key>(key));
    QTRY_VERIFY(find("toast")->isVisible());
    QCOMPARE(find("toast")->property("text").toString(), QStringLiteral("%1 could not be started.").arg(numbered(1)));
}

void tst_HostWindow::selectsAndStartsWithTheMouse()
{
    QQuickItem *grid = find("grid");
    const qreal width = grid->property("cellWidth").toReal();
    const qreal height = grid->property("cellHeight").toReal();
    const QPoint second = grid->mapToScene(QPointF(width * 1.5, height / 2)).toPoint();
    KvProgramContext::instance()->allApps().at(1)->setTargetUrl(QUrl());
    press(Qt::Key_F, Qt::ControlModifier);
    QTest::mouseClick(m_window, Qt::LeftButton, {}, second);
    QCOMPARE(selected(), numbered(1));
    QVERIFY(grid->hasActiveFocus());
    QVERIFY(!find("toast")->isVisible());
    QTest::mouseDClick(m_window, Qt::LeftButton, {}, second);
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
    m_window->resize(1800, 700);
    QTRY_VERIFY(grid->property("columns").toInt() >= 3);
    QTRY_VERIFY(areDetailsBeside());
    m_window->resize(400, 700);
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

QTEST_MAIN(tst_HostWindow)
#include "tst_hostwindow.moc"
