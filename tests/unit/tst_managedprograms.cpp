#include "../support/LogCatcher.h"
#include "../support/MachineBuilder.h"
#include "KvProgramContext.h"
#include "KvProgramIconProvider.h"
#include "KvSecurity.h"

#include <XDispatch.h>

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <QtQuick/QQuickTextureFactory>
#include <QtTest/QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

/** Records and icons of packages, over the machine folder: from the public classes down to its files. */
class tst_ManagedPrograms : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { KvSecurity::forget(); }

    void launchIsJournaled();
    void launchOfWhatIsNotThere();
    void failedLaunchIsLogged();
    void iconOfAPackage_data();
    void iconOfAPackage();
    void iconOfTheEntryAtItsIndex();

private:
    static QByteArray logo(const QRect &glyph)
    {
        QImage image(225, 225, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        for (int y = glyph.top(); y <= glyph.bottom(); ++y) {
            for (int x = glyph.left(); x <= glyph.right(); ++x)
                image.setPixel(x, y, qRgb(200, 10, 10));
        }
        QBuffer png;
        image.save(&png, "png");
        return png.data();
    }

    static void addPackage(MachineBuilder &machine)
    {
        machine.addConsoleUser();
        const QJsonObject error{{u"code"_s, -2147023728}, {u"message"_s, u"Element not found."_s}};
        const QJsonObject good{{u"displayName"_s, u"one"_s}, {u"logo"_s, u"C:/logo.png"_s}};
        machine.addPackage(
            {{u"fullName"_s, u"A_1"_s}, {u"entries"_s, QJsonArray{good, QJsonObject{{u"error"_s, error}}}}});
    }

    static bool launch(const QString &package, int index)
    {
        ProgramInfo program;
        program.setManagedTarget(package, index);
        program.setDisplayName(u"Program"_s);
        return program.launch();
    }
};

void tst_ManagedPrograms::launchIsJournaled()
{
    MachineBuilder machine;
    addPackage(machine);
    const ScopedMachine scope(machine);
    QVERIFY(launch(u"A_1"_s, 0));
    QCOMPARE(machine.read(u"starts.jsonl"_s), QByteArray("{\"call\":\"package\",\"fullName\":\"A_1\",\"index\":0}\n"));
}

void tst_ManagedPrograms::launchOfWhatIsNotThere()
{
    MachineBuilder machine;
    addPackage(machine);
    const ScopedMachine scope(machine);
    KvSecurity::isElevated(); // So that its line stands in no test's log.
    const LogCatcher log;
    QVERIFY(!launch(u"A_1"_s, 2));
    QVERIFY(!launch(u"B_1"_s, 0));
    QCOMPARE(log.lines().size(), 0);
    QCOMPARE(machine.read(u"starts.jsonl"_s), QByteArray());
}

void tst_ManagedPrograms::failedLaunchIsLogged()
{
    MachineBuilder machine;
    addPackage(machine);
    const ScopedMachine scope(machine);
    const LogCatcher log;
    QVERIFY(!launch(u"A_1"_s, 1));
    const QString line = u"[FAIL] can't launch uwp app: \"Program\" err: -2147023728 reason: \"Element not found.\""_s;
    QCOMPARE(log.texts(QtWarningMsg), QStringList{line});
    QCOMPARE(log.lines().constLast().file, u"KvProgramContext"_s);
    QVERIFY(log.lines().constLast().function.contains(u"ProgramInfo::launch()"_s));
}

void tst_ManagedPrograms::iconOfAPackage_data()
{
    QTest::addColumn<QRect>("glyph");
    QTest::addColumn<QSize>("size");
    QTest::newRow("wide, scaled to 100") << QRect(0, 0, 225, 225) << QSize(100, 100);
    QTest::newRow("exactly half is not narrow") << QRect(50, 100, 113, 20) << QSize(100, 100);
    QTest::newRow("narrow glyph, cut out") << QRect(90, 90, 40, 40) << QSize(90, 90);
}

void tst_ManagedPrograms::iconOfAPackage()
{
    QFETCH(QRect, glyph);
    QFETCH(QSize, size);
    MachineBuilder machine;
    addPackage(machine);
    machine.addFile(u"C:/logo.png"_s, logo(glyph));
    const ScopedMachine scope(machine);
    KvProgramIconProvider provider(nullptr);
    const std::unique_ptr<QQuickImageResponse> response(provider.requestImageResponse(u"uwp:A_1?i=0&v=1"_s, QSize()));
    // Not for the signal, which may have come before anybody could listen.
    QVERIFY(XDispatch::waitForBackground(30'000));
    const std::unique_ptr<QQuickTextureFactory> texture(response->textureFactory());
    QVERIFY(texture);
    QCOMPARE(texture->image().size(), size);
}

/** The second entry raises an error, which tells that it was the one asked for. */
void tst_ManagedPrograms::iconOfTheEntryAtItsIndex()
{
    MachineBuilder machine;
    addPackage(machine);
    machine.addFile(u"C:/logo.png"_s, logo(QRect(0, 0, 225, 225)));
    const ScopedMachine scope(machine);
    KvProgramIconProvider provider(nullptr);
    const LogCatcher log;
    const std::unique_ptr<QQuickImageResponse> response(provider.requestImageResponse(u"uwp:A_1?i=1"_s, QSize()));
    // Not for the signal, which may have come before anybody could listen.
    QVERIFY(XDispatch::waitForBackground(30'000));
    const QList<LogCatcher::Line> lines = log.lines();
    const QString line = u"[FAIL] can't get icon for: \"A_1\" err: -2147023728 reason: \"Element not found.\""_s;
    const auto told = std::find_if(lines.cbegin(), lines.cend(), [&line](const auto &l) { return l.text == line; });
    QVERIFY(told != lines.cend());
    QCOMPARE(told->type, QtWarningMsg);
    QCOMPARE(told->file, u"KvProgramIconProvider"_s);
    QVERIFY(told->function.contains(u"loadManagedAppIcon"_s));
}

QTEST_MAIN(tst_ManagedPrograms)
#include "tst_managedprograms.moc"
