#include "../support/FakePlatform.h"
#include "KvProgramContext_p.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;

namespace {

const QString LinkPath = u"C:/Menu/My.Paint.lnk"_s;
const QString NativeLinkPath = u"C:\\Menu\\My.Paint.lnk"_s;

using Properties = QMap<QString, QVariant>;

/** The texts of a record that a table compares, in one text. */
QString summary(const ProgramInfo &app)
{
    return QStringList{app.targetUrl().toString(),
                       app.iconUrl().toString(),
                       app.displayName(),
                       app.description(),
                       app.productName(),
                       app.publisherName(),
                       app.version(),
                       app.arguments(),
                       app.shell(),
                       app.workingDir()}
        .join(u'|');
}

/** Notes the signals that a record emits, in order. */
QStringList *watch(const ProgramInfo &app, QStringList *names)
{
    const auto note = [names, &app](void (ProgramInfo::*signal)(), const char *name) {
        QObject::connect(&app, signal, &app, [names, name] { names->append(QLatin1String(name)); });
    };
    note(&ProgramInfo::typeChanged, "type");
    note(&ProgramInfo::displayNameChanged, "displayName");
    note(&ProgramInfo::productNameChanged, "productName");
    note(&ProgramInfo::publisherNameChanged, "publisherName");
    note(&ProgramInfo::descriptionChanged, "description");
    note(&ProgramInfo::targetChanged, "target");
    note(&ProgramInfo::versionChanged, "version");
    note(&ProgramInfo::iconChanged, "icon");
    note(&ProgramInfo::argumentsChanged, "arguments");
    note(&ProgramInfo::shellChanged, "shell");
    note(&ProgramInfo::workingDirChanged, "workingDir");
    return names;
}

/** A link in which every field is there. */
FakeLink fullLink()
{
    FakeLink link;
    link.idListPath = u"C:\\Tools\\%X%\\paint.exe"_s;
    link.rawPath = u"C:\\Raw\\raw.exe"_s;
    link.displayName = u"Paint for all"_s;
    link.description = u"Draws %X%"_s;
    link.arguments = u"--open %X%"_s;
    link.workingDirectory = u"C:\\%X%\\dir"_s;
    return link;
}

} // namespace

class tst_LinkFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_platform = std::make_unique<FakePlatform>();
        m_platform->environment->variables.insert(u"X"_s, u"expanded"_s);
    }
    void cleanup() { m_platform.reset(); }

    void expandEnvironment_data();
    void expandEnvironment();
    void longTextsAreExpandedIntoABufferThatIsLongerByAFixedLength();
    void expansionEndsAtTheBuffersEnd();

    void linkIsReadInOrder();
    void rawPathIsAskedForOnlyWithoutAListPath();
    void eachFailingStepEndsTheLoad_data();
    void eachFailingStepEndsTheLoad();
    void missingTextsAreEmpty();
    void emptyDisplayNameGivesWayToTheBaseName();
    void pathOfTheIdListIsNotExpanded();
    void rawPathIsExpanded();
    void virtualFolderWithoutAPathHasNoType();
    void relativeTargetIsLookedUpAmongTheInstalledApplications();
    void versionResourceGivesTheProductFields();
    void iconIsThatOfTheTarget();
    void textsEndAtTheBuffersEnd();

    void propertiesGiveTheRecord_data();
    void propertiesGiveTheRecord();
    void propertiesAreReadInOrder();
    void wrongTypesAreEmptyTexts_data();
    void wrongTypesAreEmptyTexts();
    void missingPropertiesClearWhatWasThere();

private:
    bool load(ProgramInfo &app, const FakeLink &link)
    {
        m_platform->links->links.insert(NativeLinkPath, link);
        m_platform->calls->take();
        return app.loadFromLinkFile(LinkPath);
    }

    std::unique_ptr<FakePlatform> m_platform;
};

void tst_LinkFiles::expandEnvironment_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expanded");
    QTest::addColumn<QStringList>("calls");
    QTest::newRow("no percent sign") << u"C:\\X"_s << u"C:\\X"_s << QStringList();
    QTest::newRow("empty") << QString() << QString() << QStringList();
    QTest::newRow("known") << u"%X%\\a"_s << u"expanded\\a"_s << QStringList{u"expand %X%\\a 8196"_s};
    QTest::newRow("unknown") << u"%Y%\\a"_s << u"%Y%\\a"_s << QStringList{u"expand %Y%\\a 8196"_s};
    QTest::newRow("one percent sign") << u"100%"_s << u"100%"_s << QStringList{u"expand 100% 8195"_s};
    QTest::newRow("twice") << u"%X%%X%"_s << u"expandedexpanded"_s << QStringList{u"expand %X%%X% 8197"_s};
}

void tst_LinkFiles::expandEnvironment()
{
    QFETCH(QString, text);
    QTEST(::expandEnvironment(text), "expanded");
    QTEST(m_platform->calls->take(), "calls");
}

void tst_LinkFiles::longTextsAreExpandedIntoABufferThatIsLongerByAFixedLength()
{
    m_platform->environment->variables.insert(u"LONG"_s, QString(8000, u'x'));
    const QString tail(100'000, u'y');
    QCOMPARE(::expandEnvironment(u"%LONG%"_s + tail), QString(8000, u'x') + tail);
}

void tst_LinkFiles::expansionEndsAtTheBuffersEnd()
{
    m_platform->environment->variables.insert(u"LONG"_s, QString(9000, u'x'));
    QCOMPARE(::expandEnvironment(u"%LONG%"_s).size(), 6 + 8191);
}

void tst_LinkFiles::linkIsReadInOrder()
{
    ProgramInfo app;
    QVERIFY(load(app, fullLink()));
    const QStringList order{u"create"_s,
                            u"load "_s + NativeLinkPath,
                            u"resolve 81"_s,
                            u"idListPath"_s,
                            u"displayName "_s + NativeLinkPath,
                            u"description"_s,
                            u"arguments"_s,
                            u"expand --open %X% 8201"_s,
                            u"workingDirectory"_s,
                            u"expand C:\\%X%\\dir 8201"_s,
                            u"version C:\\Tools\\%X%\\paint.exe"_s};
    QCOMPARE(m_platform->calls->take(), order);
    QCOMPARE(m_platform->links->living(), 0);
}

void tst_LinkFiles::rawPathIsAskedForOnlyWithoutAListPath()
{
    FakeLink link = fullLink();
    link.idListPath.reset();
    ProgramInfo app;
    QVERIFY(load(app, link));
    const QStringList calls = m_platform->calls->take();
    QCOMPARE(calls.indexOf(u"rawPath"_s), calls.indexOf(u"idListPath"_s) + 1);
    QCOMPARE(app.desktopTarget(), u"C:/Raw/raw.exe"_s);
}

void tst_LinkFiles::eachFailingStepEndsTheLoad_data()
{
    QTest::addColumn<QString>("step");
    QTest::newRow("the shell offers no link") << u"create"_s;
    QTest::newRow("the file can't be read") << u"load "_s + NativeLinkPath;
    QTest::newRow("the target is gone") << u"resolve 81"_s;
    QTest::newRow("there is no raw path") << u"rawPath"_s;
}

void tst_LinkFiles::eachFailingStepEndsTheLoad()
{
    QFETCH(QString, step);
    FakeLink link = fullLink();
    m_platform->links->creates = step != u"create";
    link.loads = !step.startsWith(u"load");
    link.resolves = !step.startsWith(u"resolve");
    link.idListPath.reset();
    link.rawPath.reset();
    ProgramInfo app;
    QVERIFY(!load(app, link));
    QCOMPARE(m_platform->calls->take().last(), step);
    QCOMPARE(m_platform->links->living(), 0);
    QCOMPARE(summary(app), u"|||||||||"_s);
}

void tst_LinkFiles::missingTextsAreEmpty()
{
    FakeLink link;
    link.idListPath = u"C:\\paint.exe"_s;
    ProgramInfo app;
    app.setDescription(u"before"_s);
    app.setArguments(u"before"_s);
    app.setWorkingDir(u"before"_s);
    app.setProductName(u"before"_s);
    app.setPublisherName(u"before"_s);
    QVERIFY(load(app, link));
    QCOMPARE(summary(app), u"file:///C:/paint.exe|image://app/C:/paint.exe|My|||||||"_s);
}

void tst_LinkFiles::emptyDisplayNameGivesWayToTheBaseName()
{
    FakeLink link = fullLink();
    link.displayName = QString();
    ProgramInfo app;
    QVERIFY(load(app, link));
    QCOMPARE(app.displayName(), u"My"_s);
}

void tst_LinkFiles::pathOfTheIdListIsNotExpanded()
{
    ProgramInfo app;
    QVERIFY(load(app, fullLink()));
    QCOMPARE(app.desktopTarget(), u"C:/Tools/%X%/paint.exe"_s);
    QCOMPARE(app.displayName(), u"Paint for all"_s);
    QCOMPARE(app.description(), u"Draws %X%"_s);
    QCOMPARE(app.arguments(), u"--open expanded"_s);
    QCOMPARE(app.workingDir(), u"C:/expanded/dir"_s);
}

void tst_LinkFiles::rawPathIsExpanded()
{
    FakeLink link = fullLink();
    link.idListPath.reset();
    link.rawPath = u"C:\\%X%\\%Y%\\raw.exe"_s;
    ProgramInfo app;
    QVERIFY(load(app, link));
    QCOMPARE(app.desktopTarget(), u"C:/expanded/%Y%/raw.exe"_s);
}

void tst_LinkFiles::virtualFolderWithoutAPathHasNoType()
{
    // A computer has a Program Files folder, which must not be taken for the program without a name in it.
    m_platform->folders->ofProcess.insert(KvPlatform::Folder::ProgramFiles, u"C:\\Program Files"_s);
    m_platform->files->addProgram(u"C:/Program Files/"_s);
    FakeLink link = fullLink();
    link.idListPath.reset();
    link.rawPath = QString();
    ProgramInfo app;
    QVERIFY(load(app, link));
    QCOMPARE(app.type(), ProgramInfo::TypeNone);
    QVERIFY(!app.iconUrl().isValid());
    QCOMPARE(app.displayName(), u"Paint for all"_s);
}

void tst_LinkFiles::relativeTargetIsLookedUpAmongTheInstalledApplications()
{
    m_platform->folders->ofProcess.insert(KvPlatform::Folder::ProgramFiles, u"C:\\Program Files"_s);
    m_platform->files->addProgram(u"C:/Program Files/Paint/paint.exe"_s);
    FakeLink link = fullLink();
    link.idListPath.reset();
    link.rawPath = u"Paint\\paint.exe"_s;
    ProgramInfo app;
    QVERIFY(load(app, link));
    QCOMPARE(app.desktopTarget(), u"C:/Program Files/Paint/paint.exe"_s);
}

void tst_LinkFiles::versionResourceGivesTheProductFields()
{
    m_platform->versions->versions.insert(u"C:\\paint.exe"_s, FakeVersion::of({{u"ProductName"_s, u"Paint"_s},
                                                                               {u"CompanyName"_s, u"Contoso"_s},
                                                                               {u"ProductVersion"_s, u"1.2"_s},
                                                                               {u"productversion"_s, u"9"_s}}));
    ProgramInfo app;
    QVERIFY(load(app, FakeLink::to(u"C:\\paint.exe"_s, u"P"_s)));
    QCOMPARE(summary(app), u"file:///C:/paint.exe|image://app/C:/paint.exe?v=1.2|P||Paint|Contoso|1.2|||"_s);
}

void tst_LinkFiles::iconIsThatOfTheTarget()
{
    ProgramInfo app;
    QVERIFY(load(app, FakeLink::to(u"C:\\a b\\p#1.exe"_s, u"P"_s)));
    QCOMPARE(app.iconUrl().path(QUrl::FullyDecoded), u"/C:/a b/p#1.exe"_s);
    QCOMPARE(app.iconUrl().host(), u"app"_s);
    QCOMPARE(app.iconUrl().query(), QString());
}

void tst_LinkFiles::textsEndAtTheBuffersEnd()
{
    FakeLink link = fullLink();
    link.description = QString(9000, u'd');
    link.arguments = QString(9000, u'a');
    link.workingDirectory = QString(9000, u'w');
    link.idListPath.reset();
    link.rawPath = u"C:/"_s + QString(9000, u'r');
    ProgramInfo app;
    QVERIFY(load(app, link));
    QCOMPARE(app.description().size(), 8191);
    QCOMPARE(app.arguments().size(), 8191);
    QCOMPARE(app.workingDir().size(), 8191);
    QCOMPARE(app.desktopTarget().size(), 8191);
}

void tst_LinkFiles::propertiesGiveTheRecord_data()
{
    QTest::addColumn<Properties>("properties");
    QTest::addColumn<bool>("loaded");
    QTest::addColumn<QString>("fields");
    const QVariant web = u"https://a.example/x%20y.html?q"_s;
    const QString webFields = u"https://a.example/x y.html?q||x y.html|||||||"_s;

    QTest::newRow("empty") << Properties() << false << u"|||||||||"_s;
    QTest::newRow("no target") << Properties{{u"displayName"_s, u"N"_s}, {u"arguments"_s, u"a"_s}} << false
                               << u"|||||||||"_s;
    QTest::newRow("keys are case-sensitive") << Properties{{u"Target"_s, web}} << false << u"|||||||||"_s;
    QTest::newRow("web") << Properties{{u"target"_s, web}} << true << webFields;
    QTest::newRow("web target of a file")
        << Properties{{u"target"_s, u"file:///C:/a/b.exe"_s}} << true << u"file:///C:/a/b.exe||b.exe|||||||"_s;
    QTest::newRow("desktop") << Properties{{u"desktopTarget"_s, u"C:\\%X%\\a.b.exe"_s}} << true
                             << u"file:///C:/expanded/a.b.exe|image://app/C:/expanded/a.b.exe|a|||||||"_s;
    QTest::newRow("desktop goes before the others")
        << Properties{{u"desktopTarget"_s, u"C:/a.exe"_s}, {u"target"_s, web}, {u"managedTarget"_s, u"m"_s}} << true
        << u"file:///C:/a.exe|image://app/C:/a.exe|a|||||||"_s;
    QTest::newRow("managed goes before web, and has no name of its own")
        << Properties{{u"target"_s, web}, {u"managedTarget"_s, u"m_1"_s}} << true
        << u"uwp:m_1|image://app/uwp:m_1||||||||"_s;
    QTest::newRow("managed with an index") << Properties{{u"managedTarget"_s, u"m"_s}, {u"managedTargetAppIndex"_s, 2}}
                                           << true << u"uwp:m?2|image://app/uwp:m?i=2||||||||"_s;
    QTest::newRow("an empty target is a target")
        << Properties{{u"desktopTarget"_s, QString()}, {u"target"_s, web}} << true << u"|||||||||"_s;
    QTest::newRow("display name") << Properties{{u"target"_s, web}, {u"displayName"_s, u"N"_s}} << true
                                  << u"https://a.example/x y.html?q||N|||||||"_s;
    QTest::newRow("empty display name") << Properties{{u"target"_s, web}, {u"displayName"_s, QString()}} << true
                                        << u"https://a.example/x y.html?q|||||||||"_s;
    QTest::newRow("icon and version") << Properties{{u"desktopTarget"_s, u"C:/a.exe"_s},
                                                    {u"icon"_s, u"https://i/i.png"_s},
                                                    {u"version"_s, u"3"_s}}
                                      << true << u"file:///C:/a.exe|https://i/i.png?v=3|a||||3|||"_s;
    QTest::newRow("texts") << Properties{{u"target"_s, u"s:t"_s},     {u"description"_s, u"%X% d"_s},
                                         {u"productName"_s, u"p"_s},  {u"publisherName"_s, u"pub"_s},
                                         {u"arguments"_s, u"-%X%"_s}, {u"shell"_s, u"%X%.exe"_s}}
                           << true << u"s:t||t|%X% d|p|pub||-expanded|%X%.exe|"_s;
    QTest::newRow("working directory goes before the folder")
        << Properties{{u"target"_s, u"s:t"_s}, {u"workingDir"_s, u"C:\\%X%"_s}, {u"workingFolder"_s, u"file:///D:/f"_s}}
        << true << u"s:t||t|||||||C:/expanded"_s;
    QTest::newRow("an empty working directory, too")
        << Properties{{u"target"_s, u"s:t"_s}, {u"workingDir"_s, QString()}, {u"workingFolder"_s, u"file:///D:/f"_s}}
        << true << u"s:t||t|||||||"_s;
    QTest::newRow("working folder") << Properties{{u"target"_s, u"s:t"_s},
                                                  {u"workingFolder"_s, u"file:///D:/%25X%25"_s}}
                                    << true << u"s:t||t|||||||D:/%X%"_s;
    QTest::newRow("working folder that is no file")
        << Properties{{u"target"_s, u"s:t"_s}, {u"workingFolder"_s, u"https://x/y"_s}} << true << u"s:t||t|||||||"_s;
}

void tst_LinkFiles::propertiesGiveTheRecord()
{
    QFETCH(Properties, properties);
    ProgramInfo app;
    QTEST(app.loadFromProperties(properties), "loaded");
    QTEST(summary(app), "fields");
}

void tst_LinkFiles::propertiesAreReadInOrder()
{
    const Properties properties{
        {u"arguments"_s, u"a"_s},     {u"description"_s, u"d"_s}, {u"desktopTarget"_s, u"C:/a.exe"_s},
        {u"displayName"_s, u"N"_s},   {u"icon"_s, u"i:i"_s},      {u"productName"_s, u"p"_s},
        {u"publisherName"_s, u"q"_s}, {u"shell"_s, u"s"_s},       {u"version"_s, u"1"_s},
        {u"workingDir"_s, u"w"_s}};
    ProgramInfo app;
    QStringList names;
    watch(app, &names);
    QVERIFY(app.loadFromProperties(properties));
    const QStringList order{u"target"_s, u"type"_s,        u"icon"_s,        u"displayName"_s,   u"displayName"_s,
                            u"icon"_s,   u"description"_s, u"productName"_s, u"publisherName"_s, u"version"_s,
                            u"icon"_s,   u"arguments"_s,   u"shell"_s,       u"workingDir"_s};
    QCOMPARE(names, order);
}

void tst_LinkFiles::wrongTypesAreEmptyTexts_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("list") << QVariant(QVariantList{1, u"a"_s}) << QString();
    QTest::newRow("object") << QVariant(QVariantMap{{u"a"_s, 1}}) << QString();
    QTest::newRow("null") << QVariant::fromValue(nullptr) << QString();
    QTest::newRow("invalid") << QVariant() << QString();
    QTest::newRow("number") << QVariant(5) << u"5"_s;
    QTest::newRow("huge number") << QVariant(1e300) << u"1e+300"_s;
    QTest::newRow("boolean") << QVariant(true) << u"true"_s;
}

void tst_LinkFiles::wrongTypesAreEmptyTexts()
{
    QFETCH(QVariant, value);
    QFETCH(QString, text);
    Properties properties{{u"managedTarget"_s, value}};
    for (const QString &key : {u"displayName"_s, u"icon"_s, u"description"_s, u"productName"_s, u"publisherName"_s,
                               u"version"_s, u"arguments"_s, u"shell"_s, u"workingDir"_s})
        properties.insert(key, value);
    ProgramInfo app;
    QVERIFY(app.loadFromProperties(properties));
    QCOMPARE(app.managedTarget(), text);
    QCOMPARE(app.displayName(), text);
    QCOMPARE(app.productName(), text);
    QCOMPARE(app.arguments(), text);
    QCOMPARE(app.workingDir(), text);

    properties.insert(u"desktopTarget"_s, value);
    QVERIFY(app.loadFromProperties(properties));
    QCOMPARE(app.type(), ProgramInfo::TypeNone);

    // The index of something else than a number is any number, but no harm.
    QVERIFY(ProgramInfo().loadFromProperties({{u"managedTarget"_s, u"m"_s}, {u"managedTargetAppIndex"_s, value}}));
    ProgramInfo web;
    QVERIFY(web.loadFromProperties({{u"target"_s, value}, {u"workingFolder"_s, value}}));
    QCOMPARE(web.type(), ProgramInfo::TypeNone);
    QCOMPARE(web.workingDir(), QString());
}

void tst_LinkFiles::missingPropertiesClearWhatWasThere()
{
    ProgramInfo app;
    app.setDescription(u"before"_s);
    app.setArguments(u"before"_s);
    app.setShell(u"before"_s);
    app.setWorkingDir(u"stays"_s);
    QVERIFY(app.loadFromProperties({{u"target"_s, u"s:t"_s}}));
    QCOMPARE(summary(app), u"s:t||t|||||||stays"_s);
}

QTEST_GUILESS_MAIN(tst_LinkFiles)
#include "tst_linkfiles.moc"
