#include "../support/FakePlatform.h"
#include "../support/LogCatcher.h"
#include "../support/MetaText.h"
#include "../support/SignalLog.h"
#include "KvProgramContext.h"

#include <QtTest/QTest>

#include <functional>
#include <optional>

using namespace Qt::StringLiterals;

using Change = std::function<void(ProgramInfo &)>;

Q_DECLARE_METATYPE(Change)

namespace {

using Signals = QStringList;

QString encoded(const QUrl &url)
{
    return QString::fromLatin1(url.toEncoded());
}

} // namespace

class tst_ProgramInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void declaresItselfToQml();
    void declaresItsPropertiesInOrder();
    void declaresItsSignalsInOrder();
    void launchIsTheOnlyInvokable();
    void enumeration();
    void constants();
    void startsEmpty();

    void settersEmitOnAChangeOnly_data();
    void settersEmitOnAChangeOnly();
    void comparisonIsCaseSensitive();
    void workingDirSeparators_data();
    void workingDirSeparators();
    void workingDirIsComparedWithoutSeparators();

    void targetDecidesTheType_data();
    void targetDecidesTheType();
    void sameTargetEmitsNothing();
    void targetChangesBeforeType();
    void sameTypeIsNotAnnounced();
    void clearedTargetHasNoType();

    void desktopUrls_data();
    void desktopUrls();
    void desktopTargetWithoutIcon();
    void relativeTargetIsLookedUp();
    void relativeTargetThatIsNowhere();
    void managedUrls_data();
    void managedUrls();
    void managedTargetIndexOfAnyText_data();
    void managedTargetIndexOfAnyText();
    void indexOfTheFormerTargetGoes();
    void pathsOfTheOtherKindAreEmpty();

    void versionIsAddedToTheIcon_data();
    void versionIsAddedToTheIcon();
    void versionOfTheIconUrlStays();
    void clearedIconKeepsTheVersion();
    void sameIconEmitsNothing();
    void iconFile_data();
    void iconFile();
    void versionReplacesThatOfTheIcon_data();
    void versionReplacesThatOfTheIcon();
    void emptyVersionLeavesItsItem_data();
    void emptyVersionLeavesItsItem();
    void versionBeforeTheIcon();
    void versionWithoutValidIcon_data();
    void versionWithoutValidIcon();
    void sameVersionLeavesTheIconAlone();
    void urlWithQueryOnlyIsValid();
    void versionsThatNeedEncoding_data();
    void versionsThatNeedEncoding();
    void nothingIsLogged();

private:
    std::optional<FakePlatform> m_platform;
};

void tst_ProgramInfo::initTestCase()
{
    m_platform.emplace();
    m_platform->folders->ofProcess.insert(KvPlatform::Folder::ProgramFiles, u"C:\\Program Files"_s);
    m_platform->files->addProgram(u"C:/Program Files/Kelvo/found.exe"_s);
}

void tst_ProgramInfo::cleanupTestCase()
{
    m_platform.reset();
}

void tst_ProgramInfo::declaresItselfToQml()
{
    QCOMPARE(MetaText::classInfos(ProgramInfo::staticMetaObject),
             QStringList({u"QML.Element=auto"_s, u"QML.Creatable=false"_s, u"QML.UncreatableReason=internal class"_s}));
}

void tst_ProgramInfo::declaresItsPropertiesInOrder()
{
    const QStringList expected{
        u"ProgramInfo::Type type NOTIFY typeChanged FINAL"_s,
        u"QString displayName NOTIFY displayNameChanged FINAL"_s,
        u"QString productName NOTIFY productNameChanged FINAL"_s,
        u"QString publisherName NOTIFY publisherNameChanged FINAL"_s,
        u"QString description NOTIFY descriptionChanged FINAL"_s,
        u"QUrl target NOTIFY targetChanged FINAL"_s,
        u"QString version NOTIFY versionChanged FINAL"_s,
        u"QUrl icon NOTIFY iconChanged FINAL"_s,
        u"QString arguments NOTIFY argumentsChanged FINAL"_s,
        u"QString shell NOTIFY shellChanged FINAL"_s,
        u"QUrl workingFolder NOTIFY workingDirChanged FINAL"_s,
    };
    QCOMPARE(MetaText::properties(ProgramInfo::staticMetaObject), expected);
}

void tst_ProgramInfo::declaresItsSignalsInOrder()
{
    const QStringList expected{
        u"typeChanged()"_s,        u"displayNameChanged()"_s, u"productNameChanged()"_s, u"publisherNameChanged()"_s,
        u"descriptionChanged()"_s, u"targetChanged()"_s,      u"versionChanged()"_s,     u"iconChanged()"_s,
        u"argumentsChanged()"_s,   u"shellChanged()"_s,       u"workingDirChanged()"_s,
    };
    QCOMPARE(MetaText::methods(ProgramInfo::staticMetaObject, QMetaMethod::Signal), expected);
}

void tst_ProgramInfo::launchIsTheOnlyInvokable()
{
    QCOMPARE(MetaText::methods(ProgramInfo::staticMetaObject, QMetaMethod::Method), QStringList{u"bool launch()"_s});
    QCOMPARE(MetaText::methods(ProgramInfo::staticMetaObject, QMetaMethod::Slot), QStringList());
}

void tst_ProgramInfo::enumeration()
{
    QCOMPARE(MetaText::enumerations(ProgramInfo::staticMetaObject),
             QStringList{u"Type: TypeNone 0, TypeManaged 1, TypeDesktop 2, TypeWeb 3"_s});
    QCOMPARE(sizeof(ProgramInfo::Type), std::size_t(4));
}

void tst_ProgramInfo::constants()
{
    QCOMPARE(ProgramInfo::ICON_PROVIDER, u"app"_s);
    QCOMPARE(ProgramInfo::SCHEME_MANAGED_APP, u"uwp"_s);
    QCOMPARE(ProgramInfo::SCHEME_DESKTOP_APP, u"file"_s);
}

void tst_ProgramInfo::startsEmpty()
{
    QObject parent;
    const auto *const app = new ProgramInfo(&parent);
    QCOMPARE(app->parent(), &parent);
    QCOMPARE(ProgramInfo().parent(), nullptr);
    QCOMPARE(app->type(), ProgramInfo::TypeNone);
    const QStringList texts{
        app->displayName(),   app->description(),   app->productName(),        app->publisherName(),
        app->version(),       app->arguments(),     app->workingDir(),         app->shell(),
        app->desktopTarget(), app->managedTarget(), encoded(app->targetUrl()), encoded(app->iconUrl())};
    QCOMPARE(texts.join(QString()), QString());
    QCOMPARE(app->managedTargetAppIndex(), 0);
}

void tst_ProgramInfo::settersEmitOnAChangeOnly_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *property, const Change &change, const QVariant &value) {
        QTest::newRow(property) << change << value;
    };
    row(
        "displayName", [](ProgramInfo &app) { app.setDisplayName(u"a"_s); }, u"a"_s);
    row(
        "productName", [](ProgramInfo &app) { app.setProductName(u"b"_s); }, u"b"_s);
    row(
        "publisherName", [](ProgramInfo &app) { app.setPublisherName(u"c"_s); }, u"c"_s);
    row(
        "description", [](ProgramInfo &app) { app.setDescription(u"d"_s); }, u"d"_s);
    row(
        "version", [](ProgramInfo &app) { app.setVersion(u"1.2"_s); }, u"1.2"_s);
    row(
        "icon", [](ProgramInfo &app) { app.setIconUrl(QUrl(u"image://app/x"_s)); }, QUrl(u"image://app/x"_s));
    row(
        "arguments", [](ProgramInfo &app) { app.setArguments(u"-e"_s); }, u"-e"_s);
    row(
        "shell", [](ProgramInfo &app) { app.setShell(u"f.exe"_s); }, u"f.exe"_s);
}

void tst_ProgramInfo::settersEmitOnAChangeOnly()
{
    QFETCH(Change, change);
    QFETCH(QVariant, value);
    ProgramInfo app;
    SignalLog log(&app);
    change(app);
    QCOMPARE(app.property(QTest::currentDataTag()), value);
    QCOMPARE(log.take(), Signals{QString::fromLatin1(QTest::currentDataTag()) + u"Changed"_s});
    change(app);
    QCOMPARE(log.take(), Signals());
}

void tst_ProgramInfo::comparisonIsCaseSensitive()
{
    ProgramInfo app;
    app.setDisplayName(u"chess"_s);
    app.setWorkingDir(u"C:/chess"_s);
    SignalLog log(&app);
    app.setDisplayName(u"Chess"_s);
    app.setWorkingDir(u"C:/Chess"_s);
    QCOMPARE(log.take(), Signals({u"displayNameChanged"_s, u"workingDirChanged"_s}));
}

void tst_ProgramInfo::workingDirSeparators_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("url");
    QTest::newRow("backslashes") << u"C:\\Games\\x"_s << u"C:/Games/x"_s << u"file:///C:/Games/x"_s;
    QTest::newRow("mixed") << u"C:\\Games/x"_s << u"C:/Games/x"_s << u"file:///C:/Games/x"_s;
    QTest::newRow("share") << u"\\\\server\\share\\x y"_s << u"//server/share/x y"_s << u"file://server/share/x%20y"_s;
    QTest::newRow("not expanded") << u"%TEMP%\\x"_s << u"%TEMP%/x"_s << u"file:%25TEMP%25/x"_s;
    QTest::newRow("umlaut") << u"C:\\Müll"_s << u"C:/Müll"_s << u"file:///C:/M%C3%BCll"_s;
}

void tst_ProgramInfo::workingDirSeparators()
{
    QFETCH(QString, given);
    ProgramInfo app;
    app.setWorkingDir(given);
    QTEST(app.workingDir(), "path");
    QTEST(encoded(app.workingDirUrl()), "url");
    QCOMPARE(app.property("workingFolder").toUrl(), app.workingDirUrl());
}

void tst_ProgramInfo::workingDirIsComparedWithoutSeparators()
{
    ProgramInfo app;
    SignalLog log(&app);
    app.setWorkingDir(u"C:\\Games\\x"_s);
    QCOMPARE(log.take(), Signals{u"workingDirChanged"_s});
    app.setWorkingDir(u"C:/Games/x"_s);
    app.setWorkingDir(u"C:\\Games/x"_s);
    QCOMPARE(log.take(), Signals());
}

void tst_ProgramInfo::targetDecidesTheType_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<ProgramInfo::Type>("type");
    QTest::newRow("file") << u"file:///C:/x.exe"_s << ProgramInfo::TypeDesktop;
    QTest::newRow("file in capitals") << u"FILE:///C:/x.exe"_s << ProgramInfo::TypeDesktop;
    QTest::newRow("file on a share") << u"file://server/share/x.exe"_s << ProgramInfo::TypeDesktop;
    QTest::newRow("package") << u"uwp:Kelvo.Paint_1.0_x64__abc"_s << ProgramInfo::TypeManaged;
    QTest::newRow("package in capitals") << u"UWP:Kelvo.Paint"_s << ProgramInfo::TypeManaged;
    QTest::newRow("like a package") << u"uwpx:Kelvo.Paint"_s << ProgramInfo::TypeWeb;
    QTest::newRow("web") << u"https://example.com/"_s << ProgramInfo::TypeWeb;
    QTest::newRow("protocol") << u"steam://run/730"_s << ProgramInfo::TypeWeb;
    QTest::newRow("mail") << u"mailto:kim@example.com"_s << ProgramInfo::TypeWeb;
    QTest::newRow("relative") << u"x.exe"_s << ProgramInfo::TypeWeb;
    QTest::newRow("invalid") << u"http://[::1"_s << ProgramInfo::TypeNone;
}

void tst_ProgramInfo::targetDecidesTheType()
{
    QFETCH(QString, target);
    ProgramInfo app;
    app.setTargetUrl(QUrl(target));
    QTEST(app.type(), "type");
    QCOMPARE(app.targetUrl(), QUrl(target));
    QCOMPARE(app.property("target").toUrl(), QUrl(target));
}

void tst_ProgramInfo::sameTargetEmitsNothing()
{
    ProgramInfo app;
    SignalLog log(&app);
    app.setTargetUrl(QUrl());
    QCOMPARE(log.take(), Signals());
    app.setTargetUrl(QUrl(u"file:///C:/x.exe"_s));
    QCOMPARE(log.take(), Signals({u"targetChanged"_s, u"typeChanged"_s}));
    app.setTargetUrl(QUrl(u"file:///C:/x.exe"_s));
    app.setDesktopTarget(u"C:\\x.exe"_s, false);
    QCOMPARE(log.take(), Signals());
}

void tst_ProgramInfo::targetChangesBeforeType()
{
    ProgramInfo app;
    app.setTargetUrl(QUrl(u"https://example.com/"_s));
    QList<ProgramInfo::Type> types;
    connect(&app, &ProgramInfo::targetChanged, this, [&] { types.append(app.type()); });
    connect(&app, &ProgramInfo::typeChanged, this, [&] { types.append(app.type()); });
    app.setTargetUrl(QUrl(u"file:///C:/x.exe"_s));
    QCOMPARE(types, QList<ProgramInfo::Type>({ProgramInfo::TypeWeb, ProgramInfo::TypeDesktop}));
}

void tst_ProgramInfo::sameTypeIsNotAnnounced()
{
    ProgramInfo app;
    app.setTargetUrl(QUrl(u"https://example.com/"_s));
    SignalLog log(&app);
    app.setTargetUrl(QUrl(u"https://example.com/2"_s));
    QCOMPARE(log.take(), Signals{u"targetChanged"_s});
}

void tst_ProgramInfo::clearedTargetHasNoType()
{
    ProgramInfo app;
    app.setTargetUrl(QUrl(u"uwp:x"_s));
    SignalLog log(&app);
    app.setTargetUrl(QUrl());
    QCOMPARE(app.type(), ProgramInfo::TypeNone);
    QCOMPARE(log.take(), Signals({u"targetChanged"_s, u"typeChanged"_s}));
}

void tst_ProgramInfo::desktopUrls_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QString>("back");
    QTest::newRow("backslashes") << u"C:\\Games\\x.exe"_s << u"file:///C:/Games/x.exe"_s
                                 << u"image://app/C:/Games/x.exe"_s << u"C:/Games/x.exe"_s;
    QTest::newRow("slashes") << u"C:/Games/x.exe"_s << u"file:///C:/Games/x.exe"_s << u"image://app/C:/Games/x.exe"_s
                             << u"C:/Games/x.exe"_s;
    QTest::newRow("blanks") << u"C:\\Program Files (x86)\\a b.exe"_s
                            << u"file:///C:/Program%20Files%20(x86)/a%20b.exe"_s
                            << u"image://app/C:/Program%20Files%20(x86)/a%20b.exe"_s
                            << u"C:/Program Files (x86)/a b.exe"_s;
    QTest::newRow("percent") << u"C:\\100%\\a%20b.exe"_s << u"file:///C:/100%25/a%2520b.exe"_s
                             << u"image://app/C:/100%25/a%2520b.exe"_s << u"C:/100%/a%20b.exe"_s;
    QTest::newRow("hash") << u"C:\\C#\\x.exe"_s << u"file:///C:/C%23/x.exe"_s << u"image://app/C:/C%23/x.exe"_s
                          << u"C:/C#/x.exe"_s;
    QTest::newRow("question mark") << u"C:\\a?b\\x.exe"_s << u"file:///C:/a%3Fb/x.exe"_s
                                   << u"image://app/C:/a%3Fb/x.exe"_s << u"C:/a?b/x.exe"_s;
    QTest::newRow("umlauts") << u"C:\\Größe\\ü.exe"_s << u"file:///C:/Gr%C3%B6%C3%9Fe/%C3%BC.exe"_s
                             << u"image://app/C:/Gr%C3%B6%C3%9Fe/%C3%BC.exe"_s << u"C:/Größe/ü.exe"_s;
    QTest::newRow("beyond the BMP") << u"C:\\\U0001F600.exe"_s << u"file:///C:/%F0%9F%98%80.exe"_s
                                    << u"image://app/C:/%F0%9F%98%80.exe"_s << u"C:/\U0001F600.exe"_s;
    QTest::newRow("share") << u"\\\\server\\share\\x y.exe"_s << u"file://server/share/x%20y.exe"_s
                           << u"image://app/share/x%20y.exe"_s << u"//server/share/x y.exe"_s;
    QTest::newRow("long path") << u"\\\\?\\C:\\Games\\x.exe"_s << u"file:///C:/Games/x.exe"_s
                               << u"image://app/C:/Games/x.exe"_s << u"C:/Games/x.exe"_s;
}

void tst_ProgramInfo::desktopUrls()
{
    QFETCH(QString, path);
    ProgramInfo app;
    SignalLog log(&app);
    app.setDesktopTarget(path, true);
    QTEST(encoded(app.targetUrl()), "target");
    QTEST(encoded(app.iconUrl()), "icon");
    QTEST(app.desktopTarget(), "back");
    QCOMPARE(app.type(), ProgramInfo::TypeDesktop);
    QCOMPARE(log.take(), Signals({u"targetChanged"_s, u"typeChanged"_s, u"iconChanged"_s}));
    app.setDesktopTarget(path, true);
    QCOMPARE(log.take(), Signals());
}

void tst_ProgramInfo::desktopTargetWithoutIcon()
{
    ProgramInfo app;
    app.setIconUrl(QUrl(u"image://app/before"_s));
    SignalLog log(&app);
    app.setDesktopTarget(u"C:/x.exe"_s, false);
    QCOMPARE(app.iconUrl(), QUrl(u"image://app/before"_s));
    QCOMPARE(log.take(), Signals({u"targetChanged"_s, u"typeChanged"_s}));
}

void tst_ProgramInfo::relativeTargetIsLookedUp()
{
    ProgramInfo app;
    app.setDesktopTarget(u"Kelvo/found.exe"_s, true);
    QCOMPARE(app.desktopTarget(), u"C:/Program Files/Kelvo/found.exe"_s);
    QCOMPARE(encoded(app.iconUrl()), u"image://app/C:/Program%20Files/Kelvo/found.exe"_s);
}

void tst_ProgramInfo::relativeTargetThatIsNowhere()
{
    ProgramInfo app;
    app.setDesktopTarget(u"C:/x.exe"_s, true);
    app.setDesktopTarget(u"nowhere.exe"_s, true);
    QCOMPARE(KvProgramContext::appInstalledPath(u"nowhere.exe"_s), QString());
    QCOMPARE(app.targetUrl(), QUrl());
    QCOMPARE(app.iconUrl(), QUrl());
    QCOMPARE(app.type(), ProgramInfo::TypeNone);
}

void tst_ProgramInfo::managedUrls_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("icon");
    QTest::addColumn<int>("indexBack");
    const QString id = u"Kelvo.Paint_1.2.3.4_x64__8wekyb3d8bbwe"_s;
    QTest::newRow("first entry") << id << 0 << u"uwp:"_s + id << u"image://app/uwp:"_s + id << 0;
    QTest::newRow("entry 1") << id << 1 << u"uwp:"_s + id + u"?1"_s << u"image://app/uwp:"_s + id + u"?i=1"_s << 1;
    QTest::newRow("entry 3") << id << 3 << u"uwp:"_s + id + u"?3"_s << u"image://app/uwp:"_s + id + u"?i=3"_s << 3;
    QTest::newRow("negative") << id << -1 << u"uwp:"_s + id << u"image://app/uwp:"_s + id << 0;
    QTest::newRow("largest") << id << 2147483647 << u"uwp:"_s + id + u"?2147483647"_s
                             << u"image://app/uwp:"_s + id + u"?i=2147483647"_s << 2147483647;
    QTest::newRow("percent") << u"a%20b%"_s << 2 << u"uwp:a%2520b%25?2"_s << u"image://app/uwp:a%2520b%25?i=2"_s << 2;
    QTest::newRow("hash and question mark")
        << u"a#b?c"_s << 0 << u"uwp:a%23b%3Fc"_s << u"image://app/uwp:a%23b%3Fc"_s << 0;
    QTest::newRow("blanks and umlauts") << u"ä b"_s << 0 << u"uwp:%C3%A4%20b"_s << u"image://app/uwp:%C3%A4%20b"_s << 0;
}

void tst_ProgramInfo::managedUrls()
{
    QFETCH(QString, id);
    QFETCH(int, index);
    ProgramInfo app;
    SignalLog log(&app);
    app.setManagedTarget(id, index);
    QTEST(encoded(app.targetUrl()), "target");
    QTEST(encoded(app.iconUrl()), "icon");
    QTEST(app.managedTargetAppIndex(), "indexBack");
    QCOMPARE(app.managedTarget(), id);
    QCOMPARE(app.type(), ProgramInfo::TypeManaged);
    QCOMPARE(log.take(), Signals({u"targetChanged"_s, u"typeChanged"_s, u"iconChanged"_s}));
    app.setManagedTarget(id, index);
    QCOMPARE(log.take(), Signals());
}

void tst_ProgramInfo::managedTargetIndexOfAnyText_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<int>("index");
    QTest::newRow("number") << u"uwp:x?12"_s << 12;
    QTest::newRow("text") << u"uwp:x?entry"_s << 0;
    QTest::newRow("key and value") << u"uwp:x?i=3"_s << 0;
    QTest::newRow("number and text") << u"uwp:x?3a"_s << 0;
    QTest::newRow("too large") << u"uwp:x?2147483648"_s << 0;
    QTest::newRow("negative") << u"uwp:x?-3"_s << -3;
    QTest::newRow("no query") << u"uwp:x"_s << 0;
    QTest::newRow("empty query") << u"uwp:x?"_s << 0;
    QTest::newRow("web") << u"https://example.com/?3"_s << 0;
    QTest::newRow("desktop") << u"file:///C:/x.exe?3"_s << 0;
}

void tst_ProgramInfo::managedTargetIndexOfAnyText()
{
    QFETCH(QString, target);
    ProgramInfo app;
    app.setTargetUrl(QUrl(target));
    QTEST(app.managedTargetAppIndex(), "index");
}

void tst_ProgramInfo::indexOfTheFormerTargetGoes()
{
    ProgramInfo app;
    app.setManagedTarget(u"x"_s, 3);
    app.setManagedTarget(u"x"_s, 0);
    QCOMPARE(encoded(app.targetUrl()), u"uwp:x"_s);
    QCOMPARE(encoded(app.iconUrl()), u"image://app/uwp:x"_s);
}

void tst_ProgramInfo::pathsOfTheOtherKindAreEmpty()
{
    ProgramInfo app;
    app.setManagedTarget(u"x"_s, 3);
    QCOMPARE(app.desktopTarget(), QString());
    app.setDesktopTarget(u"C:/x.exe"_s, true);
    QCOMPARE(app.managedTarget(), QString());
    app.setTargetUrl(QUrl(u"https://example.com/"_s));
    QCOMPARE(app.desktopTarget() + app.managedTarget(), QString());
}

void tst_ProgramInfo::versionIsAddedToTheIcon_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("icon");
    QTest::newRow("no version") << QString() << u"image://app/x"_s << u"image://app/x"_s;
    QTest::newRow("version") << u"1.2"_s << u"image://app/x"_s << u"image://app/x?v=1.2"_s;
    QTest::newRow("behind the index") << u"1.2"_s << u"image://app/x?i=3"_s << u"image://app/x?i=3&v=1.2"_s;
    QTest::newRow("has one") << u"1.2"_s << u"image://app/x?v=9"_s << u"image://app/x?v=9"_s;
    QTest::newRow("has an empty one") << u"1.2"_s << u"image://app/x?v="_s << u"image://app/x?v="_s;
    QTest::newRow("has one without value") << u"1.2"_s << u"image://app/x?v"_s << u"image://app/x?v"_s;
    QTest::newRow("item in capitals") << u"1.2"_s << u"image://app/x?V=9"_s << u"image://app/x?V=9&v=1.2"_s;
    QTest::newRow("empty URL") << u"1.2"_s << QString() << u"?v=1.2"_s;
    QTest::newRow("web") << u"1.2"_s << u"https://example.com/i.png"_s << u"https://example.com/i.png?v=1.2"_s;
}

void tst_ProgramInfo::versionIsAddedToTheIcon()
{
    QFETCH(QString, version);
    QFETCH(QString, url);
    ProgramInfo app;
    app.setVersion(version);
    app.setIconUrl(QUrl(url));
    QTEST(encoded(app.iconUrl()), "icon");
}

void tst_ProgramInfo::versionOfTheIconUrlStays()
{
    ProgramInfo app;
    app.setVersion(u"2"_s);
    app.setIconUrl(QUrl(u"image://app/x?v=1"_s));
    QCOMPARE(encoded(app.iconUrl()), u"image://app/x?v=1"_s);
    app.setVersion(u"3"_s);
    QCOMPARE(encoded(app.iconUrl()), u"image://app/x?v=3"_s);
}

void tst_ProgramInfo::clearedIconKeepsTheVersion()
{
    ProgramInfo app;
    app.setVersion(u"1.2"_s);
    app.setIconFile(u"C:/x.exe"_s, 0);
    SignalLog log(&app);
    app.setIconFile(QString(), 5);
    QCOMPARE(encoded(app.iconUrl()), u"?v=1.2"_s);
    QCOMPARE(log.take(), Signals{u"iconChanged"_s});
    app.setIconUrl(QUrl());
    QCOMPARE(log.take(), Signals());
}

void tst_ProgramInfo::sameIconEmitsNothing()
{
    ProgramInfo app;
    app.setVersion(u"1"_s);
    app.setIconFile(u"C:/x.exe"_s, 2);
    SignalLog log(&app);
    app.setIconFile(u"C:\\x.exe"_s, 2);
    app.setIconUrl(QUrl(u"image://app/C:/x.exe?i=2"_s));
    QCOMPARE(log.take(), Signals());
    app.setIconFile(u"C:/x.exe"_s, 3);
    QCOMPARE(log.take(), Signals{u"iconChanged"_s});
}

void tst_ProgramInfo::iconFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("icon");
    QTest::newRow("nothing") << QString() << 3 << QString();
    QTest::newRow("index 0") << u"C:\\x.dll"_s << 0 << u"image://app/C:/x.dll"_s;
    QTest::newRow("index 1") << u"C:\\x.dll"_s << 1 << u"image://app/C:/x.dll?i=1"_s;
    QTest::newRow("negative index") << u"C:\\x.dll"_s << -1 << u"image://app/C:/x.dll"_s;
    QTest::newRow("hash") << u"C:\\x#y.dll"_s << 7 << u"image://app/C:/x%23y.dll?i=7"_s;
    QTest::newRow("share") << u"\\\\server\\share\\x.dll"_s << 7 << u"image://app/share/x.dll?i=7"_s;
}

void tst_ProgramInfo::iconFile()
{
    QFETCH(QString, path);
    QFETCH(int, index);
    ProgramInfo app;
    app.setIconFile(path, index);
    QTEST(encoded(app.iconUrl()), "icon");
    QCOMPARE(app.type(), ProgramInfo::TypeNone);
}

void tst_ProgramInfo::versionReplacesThatOfTheIcon_data()
{
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("result");
    QTest::newRow("added") << u"image://app/x"_s << u"2"_s << u"image://app/x?v=2"_s;
    QTest::newRow("replaced") << u"image://app/x?v=1"_s << u"2"_s << u"image://app/x?v=2"_s;
    QTest::newRow("behind the index") << u"image://app/x?v=1&i=3"_s << u"2"_s << u"image://app/x?i=3&v=2"_s;
    QTest::newRow("only the first goes") << u"image://app/x?v=1&v=0"_s << u"2"_s << u"image://app/x?v=0&v=2"_s;
}

void tst_ProgramInfo::versionReplacesThatOfTheIcon()
{
    QFETCH(QString, icon);
    QFETCH(QString, version);
    ProgramInfo app;
    app.setIconUrl(QUrl(icon));
    SignalLog log(&app);
    app.setVersion(version);
    QTEST(encoded(app.iconUrl()), "result");
    QCOMPARE(log.take(), Signals({u"versionChanged"_s, u"iconChanged"_s}));
}

void tst_ProgramInfo::emptyVersionLeavesItsItem_data()
{
    QTest::addColumn<QString>("version");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << u""_s;
}

void tst_ProgramInfo::emptyVersionLeavesItsItem()
{
    QFETCH(QString, version);
    ProgramInfo app;
    app.setVersion(u"1"_s);
    app.setManagedTarget(u"x"_s, 3);
    SignalLog log(&app);
    app.setVersion(version);
    QCOMPARE(encoded(app.iconUrl()), u"image://app/uwp:x?i=3&v="_s);
    QCOMPARE(log.take(), Signals({u"versionChanged"_s, u"iconChanged"_s}));
}

void tst_ProgramInfo::versionBeforeTheIcon()
{
    ProgramInfo app;
    SignalLog log(&app);
    app.setVersion(u"1.2"_s);
    QCOMPARE(app.iconUrl(), QUrl());
    QCOMPARE(log.take(), Signals{u"versionChanged"_s});
    app.setManagedTarget(u"x"_s, 3);
    QCOMPARE(encoded(app.iconUrl()), u"image://app/uwp:x?i=3&v=1.2"_s);
    QCOMPARE(encoded(app.targetUrl()), u"uwp:x?3"_s);
    app.setDesktopTarget(u"C:/x.exe"_s, true);
    QCOMPARE(encoded(app.iconUrl()), u"image://app/C:/x.exe?v=1.2"_s);
}

void tst_ProgramInfo::versionWithoutValidIcon_data()
{
    QTest::addColumn<QString>("icon");
    QTest::newRow("none") << QString();
    QTest::newRow("invalid") << u"http://[::1"_s;
}

void tst_ProgramInfo::versionWithoutValidIcon()
{
    QFETCH(QString, icon);
    ProgramInfo app;
    app.setIconUrl(QUrl(icon));
    SignalLog log(&app);
    app.setVersion(u"1.2"_s);
    QCOMPARE(app.version(), u"1.2"_s);
    QCOMPARE(app.iconUrl(), QUrl(icon));
    QCOMPARE(log.take(), Signals{u"versionChanged"_s});
}

void tst_ProgramInfo::sameVersionLeavesTheIconAlone()
{
    ProgramInfo app;
    app.setVersion(u"2"_s);
    app.setIconUrl(QUrl(u"image://app/x?v=1"_s));
    SignalLog log(&app);
    app.setVersion(u"2"_s);
    QCOMPARE(encoded(app.iconUrl()), u"image://app/x?v=1"_s);
    QCOMPARE(log.take(), Signals());
}

void tst_ProgramInfo::urlWithQueryOnlyIsValid()
{
    ProgramInfo app;
    app.setVersion(u"1"_s);
    app.setIconUrl(QUrl());
    SignalLog log(&app);
    app.setVersion(u"2"_s);
    QCOMPARE(encoded(app.iconUrl()), u"?v=2"_s);
    QCOMPARE(log.take(), Signals({u"versionChanged"_s, u"iconChanged"_s}));
}

void tst_ProgramInfo::versionsThatNeedEncoding_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("icon");
    QTest::newRow("blank") << u"1 beta"_s << u"image://app/C:/x.exe?v=1%20beta"_s;
    QTest::newRow("hash") << u"1#2"_s << u"image://app/C:/x.exe?v=1%232"_s;
    QTest::newRow("umlaut") << u"1ä"_s << u"image://app/C:/x.exe?v=1%C3%A4"_s;
    QTest::newRow("question mark") << u"1?"_s << u"image://app/C:/x.exe?v=1?"_s;
}

void tst_ProgramInfo::versionsThatNeedEncoding()
{
    QFETCH(QString, version);
    ProgramInfo before;
    before.setVersion(version);
    before.setDesktopTarget(u"C:/x.exe"_s, true);
    QTEST(encoded(before.iconUrl()), "icon");
    ProgramInfo after;
    after.setDesktopTarget(u"C:/x.exe"_s, true);
    after.setVersion(version);
    QTEST(encoded(after.iconUrl()), "icon");
}

void tst_ProgramInfo::nothingIsLogged()
{
    const LogCatcher log;
    ProgramInfo app;
    app.setTargetUrl(QUrl(u"http://[::1"_s));
    app.setIconUrl(QUrl(u"http://[::1"_s));
    app.setDesktopTarget(QString(), true);
    app.setManagedTarget(QString(), -1);
    app.setIconFile(u"?"_s, -1);
    app.setVersion(u"%"_s);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

QTEST_GUILESS_MAIN(tst_ProgramInfo)
#include "tst_programinfo.moc"
