#include "../support/FakePlatform.h"
#include "../support/LogCatcher.h"
#include "KvProgramContext_p.h"
#include "ManagedApp.h"

#include <QtTest/QTest>

#include <limits>

using namespace Qt::StringLiterals;
using KvPlatform::BitmapPixels;
using KvPlatform::hresult_error;

namespace {

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
    void launchRaisesEachError();

    void logoIsAskedForIn225();
    void unifiesPixels_data();
    void unifiesPixels();
    void logoThatCannotBeReachedIsNull();
    void logoOwnsItsPixels();
    void logoRaisesEachError();
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
    QVERIFY(!ManagedApp::launch(u"A_x64"_s, index));
    QVERIFY(ManagedApp::logo(u"A_x64"_s, index).isNull());
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
    QVERIFY(!ManagedApp::launch(u"C_x64"_s, 0));
    QVERIFY(ManagedApp::logo(u"C_x64"_s, 0).isNull());
    QCOMPARE(log.lines().size(), 0);
}

void tst_ManagedApp::missingPackageManagerIsNoError()
{
    m_platform->packages->hasManager = false;
    QVERIFY(!ManagedApp::launch(u"A_x64"_s, 0));
    QVERIFY(ManagedApp::logo(u"A_x64"_s, 0).isNull());
    QCOMPARE(m_platform->calls->take(), (QStringList{u"packageManager"_s, u"packageManager"_s}));
}

void tst_ManagedApp::launchesForTheUserWhenElevated()
{
    setElevated(true);
    findUser(u"user-1"_s);
    QVERIFY(ManagedApp::launch(u"A_x64"_s, 0));
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
    QVERIFY(ManagedApp::launch(u"A_x64"_s, 0));
    const QStringList calls = m_platform->calls->take();
    QCOMPARE(calls.last(), u"launch"_s);
    QCOMPARE(calls.size(), 6);
}

void tst_ManagedApp::launchesForNobodyIfTheUserIsGone()
{
    setElevated(true);
    findUser(u"user-1"_s);
    m_platform->packages->users.clear();
    QVERIFY(ManagedApp::launch(u"A_x64"_s, 0));
    QCOMPARE(m_platform->calls->take().last(), u"launchForUser nobody"_s);
}

void tst_ManagedApp::launchRaisesEachError()
{
    setElevated(true);
    findUser(u"user-1"_s);
    QVERIFY(ManagedApp::launch(u"A_x64"_s, 0));
    const QStringList calls = m_platform->calls->take();
    for (qsizetype failing = 0; failing < calls.size(); ++failing) {
        m_platform->packages->fails = [failing, at = qsizetype(0)](const QString &) mutable { return at++ == failing; };
        QVERIFY_EXCEPTION_THROWN(ManagedApp::launch(u"A_x64"_s, 0), hresult_error);
        QCOMPARE(m_platform->calls->take(), calls.first(failing + 1));
    }
}

void tst_ManagedApp::logoIsAskedForIn225()
{
    logoOfA().pixels = picture(3, 2);
    const QImage logo = ManagedApp::logo(u"A_x64"_s, 0);
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
    QCOMPARE(ManagedApp::logo(u"A_x64"_s, 0).size(), QSize(2, 2));
    const QStringList all = m_platform->calls->take();
    QCOMPARE(all.sliced(all.indexOf(u"logo 225 225"_s) + 1), calls);
}

void tst_ManagedApp::logoThatCannotBeReachedIsNull()
{
    logoOfA() = {87, 0, picture(2, 2), false};
    const LogCatcher log;
    QVERIFY(ManagedApp::logo(u"A_x64"_s, 0).isNull());
    QCOMPARE(log.lines().size(), 0);
}

void tst_ManagedApp::logoOwnsItsPixels()
{
    logoOfA().pixels = picture(2, 2);
    const QImage logo = ManagedApp::logo(u"A_x64"_s, 0);
    m_platform->packages->packages.clear();
    QCOMPARE(logo.pixel(1, 1), qRgb(1, 1, 7));
}

void tst_ManagedApp::logoRaisesEachError()
{
    logoOfA() = {30, 1, picture(2, 2)};
    QVERIFY(!ManagedApp::logo(u"A_x64"_s, 0).isNull());
    const QStringList calls = m_platform->calls->take();
    QCOMPARE(calls.size(), 11);
    for (qsizetype failing = 0; failing < calls.size(); ++failing) {
        m_platform->packages->fails = [failing, at = qsizetype(0)](const QString &) mutable { return at++ == failing; };
        QVERIFY_EXCEPTION_THROWN(ManagedApp::logo(u"A_x64"_s, 0), hresult_error);
    }
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
    const BitmapPixels pixels = picture(size.width(), size.height());
    const QImage plate(reinterpret_cast<const uchar *>(pixels.bytes.constData()), size.width(), size.height(),
                       QImage::Format_RGBA8888_Premultiplied);
    QCOMPARE(ManagedApp::cutPlate(plate, true), plate.copy(cut));
    const QImage whole = ManagedApp::cutPlate(plate, false);
    QCOMPARE(whole, plate);
    QVERIFY(whole.constBits() != plate.constBits());
}

QTEST_GUILESS_MAIN(tst_ManagedApp)
#include "tst_managedapp.moc"
