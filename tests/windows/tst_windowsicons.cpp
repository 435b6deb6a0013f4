#include "../support/IconBuilder.h"
#include "../support/IconRequests.h"
#include "../support/KvProgramIconProviderProbe.h"
#include "../support/LogCatcher.h"
#include "platform/Icons.h"
#include "platform/Platform.h"
#include "platform/win/ComScope.h"

#include <XDispatch.h>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <windows.h>

#include <functional>
#include <memory>
#include <thread>

using namespace Qt::StringLiterals;
using KvPlatform::Platform;
using Probe = KvProgramIconProviderProbe;

namespace {

constexpr QRgb Red = 0xFFFF0000;
constexpr QRgb Green = 0xFF00FF00;
constexpr QRgb Blue = 0xFF0000FF;

/** Runs `function` on a thread as the pool has them. */
void runOnWorker(const std::function<void()> &function)
{
    std::thread([&function] {
        const KvPlatform::ComScope com;
        function();
    }).join();
}

/** What the process holds of the limited objects of windows and drawing. */
struct GuiUse
{
    DWORD gdi = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    DWORD user = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
};

} // namespace

/** The loaders over the shell's own calls. */
class tst_WindowsIcons : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { m_log = std::make_unique<LogCatcher>(); }
    void cleanup() { m_log.reset(); }

    void programShowsItsIcon_data();
    void programShowsItsIcon();
    void resourceCompilersProgram();
    void extractsByIndex_data();
    void extractsByIndex();
    void programWithoutIcons();
    void absentFile_data();
    void absentFile();
    void associatedIcon();
    void iconFile();
    void requestsThroughTheProvider();
    void loadsLeaveNothingBehind_data();
    void loadsLeaveNothingBehind();

private:
    QString write(const QString &name, const QByteArray &content) const;
    const KvPlatform::Icons &icons() const { return *Platform::current()->icons; }

    QTemporaryDir m_folder{QDir::tempPath() + u"/shellpics-XXXXXX"_s};
    QString m_program;
    std::unique_ptr<LogCatcher> m_log;
};

/** Gives the path with forward slashes, which mustn't have the letters of icon files. */
QString tst_WindowsIcons::write(const QString &name, const QByteArray &content) const
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("can't write %s", qPrintable(file.fileName()));
    return file.fileName();
}

void tst_WindowsIcons::initTestCase()
{
    QVERIFY(!m_folder.path().contains(u"ico"_s));
    PeBuilder program;
    program.addIcon(1, {IconBuilder::plain(32, Red), IconBuilder::plain(256, Red)}, 1);
    program.addIcon(2, {IconBuilder::plain(32, Green)}, 3);
    program.addIcon(7, {IconBuilder::plain(32, Blue)}, 4);
    m_program = write(u"three.exe"_s, program.build());
    // As each provider does; a second time must do no harm.
    icons().prepare();
    icons().prepare();
}

void tst_WindowsIcons::programShowsItsIcon_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<int>("expected");
    QTest::newRow("1") << 1.0 << 100;
    QTest::newRow("1.5") << 1.5 << 150;
    QTest::newRow("2") << 2.0 << 200;
    QTest::newRow("3") << 3.0 << 256;
}

void tst_WindowsIcons::programShowsItsIcon()
{
    QFETCH(double, scale);
    QFETCH(int, expected);
    runOnWorker([&] {
        const QImage whole = Probe::loadDesktopAppIcon(m_program, 0, scale);
        QCOMPARE(whole.size(), QSize(256, 256));
        const QImage image = Probe::loadAppIcon(m_program, 0, scale);
        QCOMPARE(image.size(), QSize(expected, expected));
        QCOMPARE(image.pixel(0, 0), Red);
        QCOMPARE(image.pixel(expected / 2, expected - 1), Red);
    });
    QVERIFY(m_log->lines().isEmpty());
}

void tst_WindowsIcons::resourceCompilersProgram()
{
#ifndef KV_PROGRAM_WITH_DISC
    QSKIP("the programs of the end-to-end tests were not built");
#else
    // A disc on a transparent ground.
    runOnWorker([] {
        const QImage image = Probe::loadDesktopAppIcon(QStringLiteral(KV_PROGRAM_WITH_DISC));
        QCOMPARE(image.size(), QSize(256, 256));
        QCOMPARE(image.pixel(128, 128), 0xFFF09030);
        QCOMPARE(image.pixel(1, 128), 0xFFF09030);
        QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
        QCOMPARE(qAlpha(image.pixel(255, 255)), 0);
        QVERIFY(!Probe::isContentNarrow(image));
    });
#endif
}

void tst_WindowsIcons::extractsByIndex_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QRgb>("colour");
    QTest::newRow("first") << 0 << Red;
    QTest::newRow("second") << 1 << Green;
    QTest::newRow("third") << 2 << Blue;
    QTest::newRow("number 2") << -2 << Green;
    QTest::newRow("number 7") << -7 << Blue;
}

void tst_WindowsIcons::extractsByIndex()
{
    QFETCH(int, index);
    QFETCH(QRgb, colour);
    runOnWorker([&] {
        const auto image = icons().extractIcon(QDir::toNativeSeparators(m_program), index);
        QVERIFY(image);
        QCOMPARE(image->width(), GetSystemMetrics(SM_CXICON));
        QCOMPARE(image->pixel(5, 5), colour);
    });
}

void tst_WindowsIcons::programWithoutIcons()
{
    const QString program = QDir::toNativeSeparators(write(u"plain.exe"_s, PeBuilder().build()));
    runOnWorker([&] {
        QVERIFY(!icons().extractIcon(program, 0));
        QVERIFY(!icons().extractIcon(QDir::toNativeSeparators(m_program), 3));
        // The shell has a picture for every program.
        QVERIFY(icons().largestIcon(program));
    });
}

void tst_WindowsIcons::absentFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("file") << u"C:\\none\\none.exe"_s;
    QTest::newRow("drive") << u"Q:\\none.exe"_s;
    QTest::newRow("empty") << QString();
    QTest::newRow("longer than a path may be") << u"C:\\"_s + QString(5000, u'x') + u".exe"_s;
    QTest::newRow("1 MB") << QString(1024 * 1024, u'x');
    QTest::newRow("wildcard") << u"C:\\*.exe"_s;
}

void tst_WindowsIcons::absentFile()
{
    QFETCH(QString, path);
    runOnWorker([&] {
        // Nothing, or a null image where the system reports an error as a count.
        QVERIFY(icons().extractIcon(path, 0).value_or(QImage()).isNull());
        QVERIFY(!icons().associatedIcon(path, 0).has_value() || !icons().associatedIcon(path, 0)->isNull());
        Probe::loadAppIcon(path);
    });
    // A handle that is none would have made Qt warn.
    QCOMPARE(m_log->texts(QtWarningMsg), QStringList());
}

void tst_WindowsIcons::associatedIcon()
{
    const QString program = QDir::toNativeSeparators(m_program);
    runOnWorker([&] {
        const auto image = icons().associatedIcon(program, 0);
        QVERIFY(image);
        QCOMPARE(image->pixel(5, 5), Red);
    });
}

void tst_WindowsIcons::iconFile()
{
    const QString file = write(
        u"three.ico"_s,
        IconBuilder::file({IconBuilder::plain(16, Red), IconBuilder::plain(32, Green), IconBuilder::plain(256, Blue)}));
    const QImage image = Probe::loadAppIcon(file);
    QCOMPARE(image.size(), QSize(32, 32));
    QCOMPARE(image.pixel(5, 5), Green);
}

void tst_WindowsIcons::requestsThroughTheProvider()
{
    KvProgramIconProvider provider(nullptr);
    const IconRequest loaded(provider, m_program + u"?v=1"_s);
    const IconRequest failed(provider, u"C:/none/none.ico"_s);
    QVERIFY(XDispatch::waitForBackground(60'000));
    QCOMPARE(loaded.image().size(), QSize(100, 100));
    QVERIFY(failed.image().isNull());
    const IconRequest hit(provider, m_program);
    QVERIFY(XDispatch::waitForBackground(60'000));
    QCOMPARE(hit.image(), loaded.image());
    QCOMPARE(m_log->texts(QtWarningMsg), QStringList{u"[FAIL] can't get program icon for \"C:/none/none.ico\""_s});
}

void tst_WindowsIcons::loadsLeaveNothingBehind_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("loads");
    QTest::newRow("largest") << 0 << 3000;
    QTest::newRow("extracted") << 1 << 3000;
    QTest::newRow("associated") << 2 << 3000;
}

void tst_WindowsIcons::loadsLeaveNothingBehind()
{
    QFETCH(int, source);
    QFETCH(int, loads);
    const QString program = QDir::toNativeSeparators(m_program);
    const auto load = [&] {
        return source == 0   ? icons().largestIcon(program)
               : source == 1 ? icons().extractIcon(program, 1)
                             : icons().associatedIcon(program, 0);
    };
    runOnWorker([&] {
        for (int i = 0; i < 20; ++i)
            QVERIFY(load());
        const GuiUse before;
        int failures = 0;
        for (int i = 0; i < loads; ++i)
            failures += load().value_or(QImage()).isNull() ? 1 : 0;
        const GuiUse after;
        QCOMPARE(failures, 0);
        QCOMPARE(after.gdi, before.gdi);
        QCOMPARE(after.user, before.user);
    });
    QVERIFY(m_log->lines().isEmpty());
}

QTEST_MAIN(tst_WindowsIcons)
#include "tst_windowsicons.moc"
