#include "../support/MachineBuilder.h"
#include "platform/Platform.h"
#include "platform/portable/MachineFacts.h"
#include "platform/portable/MachinePackages.h"

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <QtTest/QTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

class TestMachinePackages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsInOrder();
    void allUsersNeedElevation();
    void users();
    void packagesOutliveTheManager();
    void errors_data();
    void errors();
    void errorLeavesOtherMembers();
    void entriesByPosition();
    void packageByItsFullName();
    void onePackageOfAllUsersNeedsElevation();
    void userByItsId();
    void launchesAreJournaled();
    void failedLaunchesAreJournaled();
    void logoIsAnImageFile();
    void logoThatIsNoImage_data();
    void logoThatIsNoImage();
    void machineWithoutFilesHasNoLogos();

private:
    /** The error that `call` raises. */
    template<typename Call>
    static qint32 codeOf(Call call)
    {
        try {
            call();
            return 0;
        } catch (const hresult_error &error) {
            return error.code();
        }
    }

    /** A machine with the package "A", whose entry "one" has a logo and whose entry "two" is broken. */
    static void addPackage(MachineBuilder &machine)
    {
        const QJsonObject error{{u"code"_s, -2147023728}, {u"message"_s, u"Element not found."_s}};
        machine.addPackage(
            {{u"fullName"_s, u"A"_s},
             {u"entries"_s, QJsonArray{QJsonObject{{u"displayName"_s, u"one"_s}, {u"logo"_s, u"C:/Apps/logo.png"_s}},
                                       QJsonObject{{u"error"_s, error}}}}});
    }

    static std::unique_ptr<AppListEntry> entry(quint32 index)
    {
        return Platform::current()
            ->packages->packageManager()
            ->findPackageForUser(QString(), u"A"_s)
            ->appListEntries()
            ->at(index);
    }

    static MachinePackages packages(const QByteArray &json);
};

MachinePackages TestMachinePackages::packages(const QByteArray &json)
{
    QStringList faults;
    return MachinePackages(std::make_shared<const MachineFacts>(MachineFacts::parse(json, &faults)));
}

void TestMachinePackages::listsInOrder()
{
    const auto manager = packages(R"({"elevated": true, "packages": [
        {"fullName": "b", "displayName": "B", "publisherDisplayName": "P", "version": {"major": 1, "revision": 4},
         "entries": [{"displayName": "one", "description": "text", "appUserModelId": "b!1"}, {"displayName": "two"}]},
        {"fullName": "a"}]})")
                             .packageManager();
    const auto list = manager->findPackages();
    const auto first = list->next();
    QCOMPARE(first->id()->fullName(), u"b"_s);
    QCOMPARE(first->displayName(), u"B"_s);
    QCOMPARE(first->publisherDisplayName(), u"P"_s);
    QCOMPARE(first->id()->version().major, quint16(1));
    QCOMPARE(first->id()->version().minor, quint16(0));
    QCOMPARE(first->id()->version().revision, quint16(4));
    const auto entries = first->appListEntries();
    const auto entry = entries->next();
    QCOMPARE(entry->displayInfo()->displayName(), u"one"_s);
    QCOMPARE(entry->displayInfo()->description(), u"text"_s);
    QCOMPARE(entry->appUserModelId(), u"b!1"_s);
    QCOMPARE(entries->next()->displayInfo()->displayName(), u"two"_s);
    QVERIFY(!entries->next());
    QVERIFY(!entries->next());
    const auto second = list->next();
    QCOMPARE(second->id()->fullName(), u"a"_s);
    QVERIFY(!second->appListEntries()->next());
    QVERIFY(!list->next());
}

void TestMachinePackages::allUsersNeedElevation()
{
    const auto manager = packages(R"({"packages": [{"fullName": "a"}]})").packageManager();
    try {
        manager->findPackages();
        QFAIL("raised nothing");
    } catch (const hresult_error &error) {
        QCOMPARE(error.code(), qint32(0x80070005));
    }
    QCOMPARE(manager->findPackagesForUser(u"S-1-5-21-1"_s)->next()->id()->fullName(), u"a"_s);
}

void TestMachinePackages::users()
{
    const auto users = packages(R"({"users": [
        {"type": 0, "authenticationStatus": 1, "nonRoamableId": "user-1"},
        {"type": 2, "authenticationStatus": 0, "nonRoamableId": "user-2"}]})")
                           .findAllUsers();
    const auto first = users->next();
    QCOMPARE(first->authenticationStatus(), 1);
    QCOMPARE(first->nonRoamableId(), u"user-1"_s);
    QCOMPARE(users->next()->type(), 2);
    QVERIFY(!users->next());
    QVERIFY(!packages("{}").findAllUsers()->next());
}

void TestMachinePackages::packagesOutliveTheManager()
{
    std::unique_ptr<PackageList> list =
        packages(R"({"packages": [{"fullName": "a", "entries": [{"appUserModelId": "x"}]}]})")
            .packageManager()
            ->findPackagesForUser(QString());
    const auto entries = list->next()->appListEntries();
    list.reset();
    QCOMPARE(entries->next()->appUserModelId(), u"x"_s);
}

void TestMachinePackages::errors_data()
{
    using Call = std::function<void(const Packages &)>;
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<Call>("call");
    QTest::addColumn<qint32>("code");
    const QByteArray error = R"({"error": {"code": -2147023728, "message": "Element not found."}})";
    const QByteArray unsignedError = R"({"error": {"code": 2147943568, "message": "Element not found."}})";
    const Call find = [](const Packages &from) { from.packageManager()->findPackagesForUser(QString()); };
    const Call entries = [](const Packages &from) {
        from.packageManager()->findPackagesForUser(QString())->next()->appListEntries();
    };
    const auto entryOf = [](const Packages &from) {
        return from.packageManager()->findPackagesForUser(QString())->next()->appListEntries()->next();
    };
    const Call info = [entryOf](const Packages &from) { entryOf(from)->displayInfo(); };
    const Call model = [entryOf](const Packages &from) { entryOf(from)->appUserModelId(); };
    const qint32 code = -2147023728;
    QTest::newRow("all packages") << QByteArray(R"({"packages": )" + error + "}") << find << code;
    QTest::newRow("package") << QByteArray(R"({"packages": [)" + error + "]}") << entries << code;
    QTest::newRow("unsigned code") << QByteArray(R"({"packages": [)" + unsignedError + "]}") << entries << code;
    QTest::newRow("entry") << QByteArray(R"({"packages": [{"entries": [)" + error + "]}]}") << info << code;
    QTest::newRow("entry's model") << QByteArray(R"({"packages": [{"entries": [)" + error + "]}]}") << model << code;
    QTest::newRow("all users") << QByteArray(R"({"users": )" + error + "}")
                               << Call([](const Packages &from) { from.findAllUsers(); }) << code;
    QTest::newRow("user") << QByteArray(R"({"users": [)" + error + "]}")
                          << Call([](const Packages &from) { from.findAllUsers()->next()->type(); }) << code;
}

void TestMachinePackages::errors()
{
    QFETCH(QByteArray, json);
    QFETCH(std::function<void(const Packages &)>, call);
    QFETCH(qint32, code);
    try {
        call(packages(json));
        QFAIL("raised nothing");
    } catch (const hresult_error &error) {
        QCOMPARE(error.code(), code);
        QCOMPARE(error.message(), u"Element not found."_s);
    }
}

void TestMachinePackages::errorLeavesOtherMembers()
{
    const auto list = packages(R"({"packages": [{"fullName": "a", "error": {"code": -1}}, {"fullName": "b"}]})")
                          .packageManager()
                          ->findPackagesForUser(QString());
    QCOMPARE(list->next()->id()->fullName(), u"a"_s);
    QVERIFY(!list->next()->appListEntries()->next());
}

void TestMachinePackages::entriesByPosition()
{
    const auto entries = packages(R"({"packages": [{"fullName": "a", "entries": [
        {"appUserModelId": "a!1"}, {"appUserModelId": "a!2"}]}]})")
                             .packageManager()
                             ->findPackagesForUser(QString())
                             ->next()
                             ->appListEntries();
    QCOMPARE(entries->size(), 2U);
    QCOMPARE(entries->at(1)->appUserModelId(), u"a!2"_s);
    QCOMPARE(entries->next()->appUserModelId(), u"a!1"_s);
    QCOMPARE(codeOf([&entries] { entries->at(2); }), qint32(0x8000000B));
}

void TestMachinePackages::packageByItsFullName()
{
    const auto manager = packages(R"({"packages": [{"fullName": "a_1"}, {"fullName": "B_1"}]})").packageManager();
    QCOMPARE(manager->findPackageForUser(QString(), u"b_1"_s)->id()->fullName(), u"B_1"_s);
    QVERIFY(!manager->findPackageForUser(QString(), u"b"_s));
    QVERIFY(!manager->findPackageForUser(QString(), QString()));
    const auto broken = packages(R"({"packages": {"error": {"code": -1}}})").packageManager();
    QCOMPARE(codeOf([&broken] { broken->findPackageForUser(QString(), u"a"_s); }), -1);
}

void TestMachinePackages::onePackageOfAllUsersNeedsElevation()
{
    const QByteArray list = R"("packages": [{"fullName": "a"}]})";
    const auto limited = packages("{" + list).packageManager();
    QCOMPARE(codeOf([&limited] { limited->findPackage(u"a"_s); }), qint32(0x80070005));
    const auto elevated = packages(R"({"elevated": true, )" + list).packageManager();
    QCOMPARE(elevated->findPackage(u"a"_s)->id()->fullName(), u"a"_s);
    QVERIFY(!elevated->findPackage(u"b"_s));
}

void TestMachinePackages::userByItsId()
{
    const MachinePackages machine =
        packages(R"({"users": [{"nonRoamableId": "u-1"}, {"type": 2, "nonRoamableId": "u-2"}]})");
    QCOMPARE(machine.userFromId(u"u-2"_s)->type(), 2);
    QVERIFY(!machine.userFromId(u"U-2"_s));
    const MachinePackages broken = packages(R"({"users": {"error": {"code": -1}}})");
    QCOMPARE(codeOf([&broken] { broken.userFromId(u"u-1"_s); }), -1);
}

void TestMachinePackages::launchesAreJournaled()
{
    MachineBuilder machine;
    addPackage(machine);
    machine.facts().insert(u"users"_s, QJsonArray{QJsonObject{{u"nonRoamableId"_s, u"user-1"_s}}});
    const ScopedMachine scope(machine);
    entry(0)->launch();
    entry(0)->launchForUser(Platform::current()->packages->userFromId(u"user-1"_s).get());
    QCOMPARE(machine.read(u"starts.jsonl"_s),
             QByteArray(R"({"call":"package","fullName":"A","index":0})"
                        "\n"
                        R"({"call":"package","forUser":"user-1","fullName":"A","index":0})"
                        "\n"));
}

void TestMachinePackages::failedLaunchesAreJournaled()
{
    MachineBuilder machine;
    addPackage(machine);
    const ScopedMachine scope(machine);
    QCOMPARE(codeOf([] { entry(1)->launch(); }), -2147023728);
    QCOMPARE(codeOf([] { entry(0)->launchForUser(nullptr); }), qint32(0x80070057));
    QCOMPARE(machine.read(u"starts.jsonl"_s),
             QByteArray(R"({"call":"package","error":-2147023728,"fullName":"A","index":1})"
                        "\n"
                        R"({"call":"package","error":-2147024809,"fullName":"A","index":0})"
                        "\n"));
}

void TestMachinePackages::logoIsAnImageFile()
{
    MachineBuilder machine;
    addPackage(machine);
    QImage image(3, 2, QImage::Format_ARGB32);
    image.fill(qRgba(255, 0, 100, 51));
    QBuffer png;
    QVERIFY(image.save(&png, "png"));
    machine.addFile(u"C:/Apps/logo.png"_s, png.data());
    const ScopedMachine scope(machine);
    const auto bitmap = entry(0)->displayInfo()->logo(225, 225);
    QCOMPARE(bitmap->pixelFormat(), 30);
    QCOMPARE(bitmap->alphaMode(), 0);
    const auto pixels = bitmap->convert(30, 0)->pixels();
    QVERIFY(pixels);
    QCOMPARE(pixels->width, 3);
    QCOMPARE(pixels->height, 2);
    QCOMPARE(pixels->bytes, QByteArray("\x33\x00\x14\x33", 4).repeated(6));
}

void TestMachinePackages::logoThatIsNoImage_data()
{
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<qint32>("code");
    QTest::newRow("absent") << false << QByteArray() << qint32(0x80070002);
    QTest::newRow("empty") << true << QByteArray() << qint32(0x88982F50);
    QTest::newRow("no image") << true << QByteArray("\x89PNG\r\n") << qint32(0x88982F50);
}

void TestMachinePackages::logoThatIsNoImage()
{
    QFETCH(bool, exists);
    QFETCH(QByteArray, content);
    QFETCH(qint32, code);
    MachineBuilder machine;
    addPackage(machine);
    if (exists)
        machine.addFile(u"C:/Apps/logo.png"_s, content);
    const ScopedMachine scope(machine);
    QCOMPARE(codeOf([] { entry(0)->displayInfo()->logo(225, 225); }), code);
    QCOMPARE(codeOf([] { entry(1)->displayInfo(); }), -2147023728);
}

void TestMachinePackages::machineWithoutFilesHasNoLogos()
{
    const auto list = packages(R"({"packages": [{"entries": [{"logo": "C:/logo.png"}]}]})")
                          .packageManager()
                          ->findPackagesForUser(QString());
    QVERIFY(!list->next()->appListEntries()->at(0)->displayInfo()->logo(225, 225));
}

QTEST_GUILESS_MAIN(TestMachinePackages)
#include "tst_machinepackages.moc"
