#include "../support/FakePlatform.h"
#include "../support/LogCatcher.h"
#include "KvProgramContext_p.h"
#include "ManagedApp.h"

#include <QtTest/QTest>

#include <limits>
#include <new>

using namespace Qt::StringLiterals;
using KvPlatform::BitmapPixels;
using KvPlatform::hresult_error;

namespace {

const QString Name = u"Name \"A\""_s;
const QString LaunchFailed =
    u"[FAIL] can't launch uwp app: \"Name \\\"A\\\"\" err: -2147024891 reason: \"Access is denied.\""_s;
const QString IconFailed = u"[FAIL] can't get icon for: \"A_x64\" err: -2147024891 reason: \"Access is denied.\""_s;

bool launch(const QString &fullName, int index)
{
    return ManagedApp::launch(fullName, index, Name, "the launch");
}

bool isNarrow(const QImage &)
{
    return true;
}

bool isWide(const QImage &)
{
    return false;
}

QImage icon(const QString &fullName, int index, bool (*check)(const QImage &) = &isWide)
{
    return ManagedApp::icon(fullName, index, check, "the icon");
}

/** Where the last message came from. */
struct LogContext
{
    static inline QString file;
    static inline QString function;

    static void handle(QtMsgType, const QMessageLogContext &context, const QString &)
    {
        file = QString::fromLatin1(context.file);
        function = QString::fromLatin1(context.function);
    }
};

/** The calls that find an entry in a process that isn't elevated. */
QStringList findCalls(const QString &index)
{
    return {u"packageManager"_s, u"findPackageForUser \"\" A_x64"_s, u"appListEntries"_s, u"size"_s, u"at "_s + index};
}

/** A picture of one colour in which each pixel's red and green tell its place. */
BitmapPixels picture(int width, int height)
{
    BitmapPixels pixels{width, height, {}};
    for (int i = 0; i < width * height; ++i)
        pixels.bytes.append(static_cast<char>(i % width)).append(static_cast<char>(i / width)).append("\x07\xff");
    return pixels;
}

} // namespace

class tst_ManagedApp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_platform = std::make_unique<FakePlatform>();
        m_platform->packages->packages = {FakePackage::of(u"A"_s, u"A!1"_s), FakePackage::of(u"B"_s, u"B!1"_s)};
        forgetCurrentUser();
        setElevated(false);
    }
    void cleanup()
    {
        forgetCurrentUser();
        m_platform.reset();
    }

    void elevationChoosesWhoseThePackageIs_data();
    void elevationChoosesWhoseThePackageIs();
    void indexBeyondTheEntries_data();
    void indexBeyondTheEntries();
    void entryByItsIndex();
    void missingPackageIsNoError();
    void missingPackageManagerIsNoError();

    void launchesForTheUserWhenElevated();
    void launchesPlainly_data();
    void launchesPlainly();
    void launchesForNobodyIfTheUserIsGone();
    void launchLogsEachError();
    void errorsAreNamedSigned();
    void linesTellWhereTheyComeFrom();

    void logoIsAskedForIn225();
    void unifiesPixels_data();
    void unifiesPixels();
    void logoThatCannotBeReachedIsNull();
    void logoOwnsItsPixels();
    void iconLogsEachError();
    void iconLogsOtherErrors();
    void cutsGlyphsOutOfPlates_data();
    void cutsGlyphsOutOfPlates();

private:
    void setElevated(bool isElevated)
    {
        m_platform->session->elevated = isElevated;
        KvSecurity::forget();
        KvSecurity::isElevated(); // So that its line stands in no test's log.
        m_platform->calls->take();
    }

    void findUser(const QString &id)
    {
        m_platform->packages->users = {{0, 1, id}};
        findCurrentUser();
        QCOMPARE(nonRoamableId(), id);
        m_platform->calls->take();
    }

    FakeBitmap &logoOfA() { return m_platform->packages->packages.first().entries.first().logo; }

    std::unique_ptr<FakePlatform> m_platform;
};

void tst_ManagedApp::elevationChoosesWhoseThePackageIs_data()
{
    QTest::addColumn<bool>("isElevated");
    QTest::addColumn<QString>("call");
    QTest::newRow("elevated") << true << u"findPackage A_x64"_s;
    QTest::newRow("not elevated") << false << u"findPackageForUser \"\" A_x64"_s;
}

void tst_ManagedApp::elevationChoosesWhoseThePackageIs()
{
    QFETCH(bool, isElevated);
    QFETCH(QString, call);
    setElevated(isElevated);
    QVERIFY(ManagedApp::find(u"A_x64"_s, 0));
    QCOMPARE(m_platform->calls->take(),
             (QStringList{u"packageManager"_s, call, u"appListEntries"_s, u"size"_s, u"at 0"_s}));
}

void tst_ManagedApp::indexBeyondTheEntries_data()
{
    QTest::addColumn<int>("index");
    QTest::newRow("one entry, index 1") << 1;
    QTest::newRow("far beyond") << std::numeric_limits<int>::max();
    QTest::newRow("negative, which is large as an unsigned number") << -1;
    QTest::newRow("most negative") << std::numeric_limits<int>::min();
}

void tst_ManagedApp::indexBeyondTheEntries()
{
    QFETCH(int, index);
    const LogCatcher log;
    QVERIFY(!ManagedApp::find(u"A_x64"_s, index));
    QVERIFY(!launch(u"A_x64"_s, index));
    QVERIFY(icon(u"A_x64"_s, index).isNull());
    const QStringList calls = m_platform->calls->take();
    QVERIFY(calls.filter(u"at "_s).isEmpty());
    QVERIFY(calls.filter(u"launch"_s).isEmpty());
    QCOMPARE(log.lines().size(), 0);
}

void tst_ManagedApp::entryByItsIndex()
{
    m_platform->packages->packages.first().entries.append({u"A two"_s, {}, u"A!2"_s, {}});
    QCOMPARE(ManagedApp::find(u"A_x64"_s, 0)->appUserModelId(), u"A!1"_s);
    QCOMPARE(ManagedApp::find(u"A_x64"_s, 1)->appUserModelId(), u"A!2"_s);
    QVERIFY(!ManagedApp::find(u"A_x64"_s, 2));
}

void tst_ManagedApp::missingPackageIsNoError()
{
    const LogCatcher log;
    QVERIFY(!ManagedApp::find(u"C_x64"_s, 0));
    QVERIFY(!launch(u"C_x64"_s, 0));
    QVERIFY(icon(u"C_x64"_s, 0).isNull());
    QCOMPARE(log.lines().size(), 0);
}

void tst_ManagedApp::missingPackageManagerIsNoError()
{
    m_platform->packages->hasManager = false;
    QVERIFY(!launch(u"A_x64"_s, 0));
    QVERIFY(icon(u"A_x64"_s, 0).isNull());
    QCOMPARE(m_platform->calls->take(), (QStringList{u"packageManager"_s, u"packageManager"_s}));
}

void tst_ManagedApp::launchesForTheUserWhenElevated()
{
    setElevated(true);
    findUser(u"user-1"_s);
    QVERIFY(launch(u"A_x64"_s, 0));
    QCOMPARE(m_platform->calls->take(),
             (QStringList{u"packageManager"_s, u"findPackage A_x64"_s, u"appListEntries"_s, u"size"_s, u"at 0"_s,
                          u"userFromId user-1"_s, u"launchForUser user-1"_s}));
}

void tst_ManagedApp::launchesPlainly_data()
{
    QTest::addColumn<bool>("isElevated");
    QTest::addColumn<QString>("userId");
    QTest::newRow("elevated, but no user found yet") << true << QString();
    QTest::newRow("not elevated, though a user is known") << false << u"user-1"_s;
    QTest::newRow("not elevated, nobody known") << false << QString();
}

void tst_ManagedApp::launchesPlainly()
{
    QFETCH(bool, isElevated);
    QFETCH(QString, userId);
    setElevated(isElevated);
    if (!userId.isEmpty())
        findUser(userId);
    QVERIFY(launch(u"A_x64"_s, 0));
    const QStringList calls = m_platform->calls->take();
    QCOMPARE(calls.last(), u"launch"_s);
    QCOMPARE(calls.size(), 6);
}

void tst_ManagedApp::launchesForNobodyIfTheUserIsGone()
{
    setElevated(true);
    findUser(u"user-1"_s);
    m_platform->packages->users.clear();
    QVERIFY(launch(u"A_x64"_s, 0));
    QCOMPARE(m_platform->calls->take().last(), u"launchForUser nobody"_s);
}

void tst_ManagedApp::launchLogsEachError()
{
    setElevated(true);
    findUser(u"user-1"_s);
    QVERIFY(launch(u"A_x64"_s, 0));
    const QStringList calls = m_platform->calls->take();
    for (qsizetype failing = 0; failing < calls.size(); ++failing) {
        m_platform->packages->fails = [failing, at = qsizetype(0)](const QString &) mutable { return at++ == failing; };
        const LogCatcher log;
        QVERIFY(!launch(u"A_x64"_s, 0));
        QCOMPARE(m_platform->calls->take(), calls.first(failing + 1));
        QCOMPARE(log.texts(QtWarningMsg), QStringList{LaunchFailed});
        QCOMPARE(log.lines().size(), 1);
    }
}

void tst_ManagedApp::errorsAreNamedSigned()
{
    m_platform->packages->fails = [](const QString &call) -> bool {
        if (call == u"launch")
            throw hresult_error(qint32(0x80004002), u"No such interface supported"_s);
        return false;
    };
    const LogCatcher log;
    QVERIFY(!launch(u"A_x64"_s, 0));
    QVERIFY(log.texts(QtWarningMsg).first().endsWith(u" err: -2147467262 reason: \"No such interface supported\""_s));
}

void tst_ManagedApp::linesTellWhereTheyComeFrom()
{
    m_platform->packages->fails = [](const QString &) { return true; };
    const QtMessageHandler former = qInstallMessageHandler(&LogContext::handle);
    launch(u"A_x64"_s, 0);
    const QStringList ofLaunch{LogContext::file, LogContext::function};
    icon(u"A_x64"_s, 0);
    const QStringList ofIcon{LogContext::file, LogContext::function};
    qInstallMessageHandler(former);
    QCOMPARE(ofLaunch, (QStringList{u"KvProgramContext"_s, u"the launch"_s}));
    QCOMPARE(ofIcon, (QStringList{u"KvProgramIconProvider"_s, u"the icon"_s}));
}

void tst_ManagedApp::logoIsAskedForIn225()
{
    logoOfA().pixels = picture(3, 2);
    const QImage logo = icon(u"A_x64"_s, 0);
    QCOMPARE(m_platform->calls->take(),
             findCalls(u"0"_s) +
                 QStringList({u"displayInfo"_s, u"logo 225 225"_s, u"pixelFormat"_s, u"alphaMode"_s, u"pixels"_s}));
    QCOMPARE(logo.size(), QSize(3, 2));
    QCOMPARE(logo.format(), QImage::Format_RGBA8888_Premultiplied);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x)
            QCOMPARE(logo.pixel(x, y), qRgb(x, y, 7));
    }
}

void tst_ManagedApp::unifiesPixels_data()
{
    QTest::addColumn<int>("pixelFormat");
    QTest::addColumn<int>("alphaMode");
    QTest::addColumn<QStringList>("calls");
    const QStringList kept{u"pixelFormat"_s, u"alphaMode"_s, u"pixels"_s};
    const QStringList straight{u"pixelFormat"_s, u"alphaMode"_s, u"convert 30 0"_s, u"pixels"_s};
    const QStringList other{u"pixelFormat"_s, u"convert 30 0"_s, u"pixels"_s};
    QTest::newRow("Rgba8 premultiplied") << 30 << 0 << kept;
    QTest::newRow("Rgba8 straight") << 30 << 1 << straight;
    QTest::newRow("Rgba8 without alpha") << 30 << 2 << kept;
    QTest::newRow("Bgra8 premultiplied") << 87 << 0 << other;
    QTest::newRow("Bgra8 straight") << 87 << 1 << other;
    QTest::newRow("Rgba16") << 12 << 0 << other;
    QTest::newRow("Gray8") << 62 << 2 << other;
    QTest::newRow("Nv12") << 103 << 2 << other;
    QTest::newRow("unknown") << 0 << 0 << other;
}

void tst_ManagedApp::unifiesPixels()
{
    QFETCH(int, pixelFormat);
    QFETCH(int, alphaMode);
    QFETCH(QStringList, calls);
    logoOfA() = {pixelFormat, alphaMode, picture(2, 2)};
    QCOMPARE(icon(u"A_x64"_s, 0).size(), QSize(2, 2));
    const QStringList all = m_platform->calls->take();
    QCOMPARE(all.sliced(all.indexOf(u"logo 225 225"_s) + 1), calls);
}

void tst_ManagedApp::logoThatCannotBeReachedIsNull()
{
    logoOfA() = {87, 0, picture(2, 2), false};
    const LogCatcher log;
    QVERIFY(icon(u"A_x64"_s, 0).isNull());
    QCOMPARE(log.lines().size(), 0);
}

void tst_ManagedApp::logoOwnsItsPixels()
{
    logoOfA().pixels = picture(2, 2);
    const QImage logo = icon(u"A_x64"_s, 0);
    m_platform->packages->packages.clear();
    QCOMPARE(logo.pixel(1, 1), qRgb(1, 1, 7));
}

void tst_ManagedApp::iconLogsEachError()
{
    logoOfA() = {30, 1, picture(2, 2)};
    QVERIFY(!icon(u"A_x64"_s, 0).isNull());
    const QStringList calls = m_platform->calls->take();
    QCOMPARE(calls.size(), 11);
    for (qsizetype failing = 0; failing < calls.size(); ++failing) {
        m_platform->packages->fails = [failing, at = qsizetype(0)](const QString &) mutable { return at++ == failing; };
        const LogCatcher log;
        QVERIFY(icon(u"A_x64"_s, 0).isNull());
        QCOMPARE(log.texts(QtWarningMsg), QStringList{IconFailed});
        QCOMPARE(log.lines().size(), 1);
    }
}

void tst_ManagedApp::iconLogsOtherErrors()
{
    m_platform->packages->fails = [](const QString &call) -> bool {
        if (call == u"pixels")
            throw std::bad_alloc();
        return false;
    };
    const LogCatcher log;
    QVERIFY(icon(u"A_x64"_s, 0).isNull());
    QCOMPARE(log.texts(QtWarningMsg), QStringList{u"[FAIL] can't get icon for: \"A_x64\" unknown error"_s});
    QCOMPARE(log.lines().size(), 1);
}

void tst_ManagedApp::cutsGlyphsOutOfPlates_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("cut");
    QTest::newRow("225 x 225") << QSize(225, 225) << QRect(67, 67, 90, 90);
    QTest::newRow("100 x 50") << QSize(100, 50) << QRect(30, 15, 40, 20);
    QTest::newRow("each product is cut") << QSize(9, 8) << QRect(2, 2, 3, 3);
}

void tst_ManagedApp::cutsGlyphsOutOfPlates()
{
    QFETCH(QSize, size);
    QFETCH(QRect, cut);
    logoOfA().pixels = picture(size.width(), size.height());
    const QImage whole = icon(u"A_x64"_s, 0, &isWide);
    QCOMPARE(whole.size(), size);
    QCOMPARE(whole.pixel(size.width() - 1, size.height() - 1), qRgb(size.width() - 1, size.height() - 1, 7));
    QCOMPARE(icon(u"A_x64"_s, 0, &isNarrow), whole.copy(cut));
}

QTEST_GUILESS_MAIN(tst_ManagedApp)
#include "tst_managedapp.moc"
