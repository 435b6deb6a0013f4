#include "platform/portable/MachineFacts.h"
#include "platform/portable/MachinePackages.h"

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

private:
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
    QCOMPARE(users.size(), size_t(2));
    QCOMPARE(users[0]->authenticationStatus(), 1);
    QCOMPARE(users[0]->nonRoamableId(), u"user-1"_s);
    QCOMPARE(users[1]->type(), 2);
    QVERIFY(packages("{}").findAllUsers().empty());
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
                          << Call([](const Packages &from) { from.findAllUsers().at(0)->type(); }) << code;
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

QTEST_GUILESS_MAIN(TestMachinePackages)
#include "tst_machinepackages.moc"
