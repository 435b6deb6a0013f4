#include "KvRegistrySpy.h"
#include "LogCatcher.h"
#include "MenuPlatform.h"
#include "platform/win/Handles.h"
#include "ScanRunner.h"
#include "ShellLinkBuilder.h"
#include "ShellLinkWriter.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>
#include <QtCore/QSemaphore>
#include <QtTest/QTest>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using KvPlatform::wide;

namespace {

const QString TestKey = u"Software\\KvProgram windows test"_s;
const QString ShellFolders = u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders"_s;

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

/**
 * Removes all files below a folder, and the folders that nobody walks. Without Qt, which would ask the shell about each
 * link, and for another kind of apartment than a worker has.
 */
void removeAll(const QString &folder)
{
    std::error_code ignored;
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder.toStdWString(), ignored)) {
        if (entry.is_regular_file(ignored))
            files.push_back(entry.path());
    }
    for (const std::filesystem::path &file : files)
        std::filesystem::remove(file, ignored);
    std::filesystem::remove_all(folder.toStdWString(), ignored);
}

/** COM for this thread in the kind of apartment that Qt uses on it as well. */
struct ComApartment
{
    ComApartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~ComApartment() { CoUninitialize(); }
    ComApartment(const ComApartment &) = delete;
    ComApartment &operator=(const ComApartment &) = delete;
};

/** Sets a value of the user's registry, and puts back what was there. */
class ScopedUserValue
{
public:
    ScopedUserValue(const QString &key, const QString &name)
        : m_key(key)
        , m_name(name)
    {
        DWORD size = sizeof m_former;
        m_hadFormer = RegGetValueW(HKEY_CURRENT_USER, wide(key), wide(name), RRF_RT_ANY | RRF_NOEXPAND, &m_formerType,
                                   m_former, &size) == ERROR_SUCCESS;
        m_formerSize = size;
    }

    ~ScopedUserValue()
    {
        if (m_hadFormer)
            RegSetKeyValueW(HKEY_CURRENT_USER, wide(m_key), wide(m_name), m_formerType, m_former, m_formerSize);
        else
            RegDeleteKeyValueW(HKEY_CURRENT_USER, wide(m_key), wide(m_name));
    }

    ScopedUserValue(const ScopedUserValue &) = delete;
    ScopedUserValue &operator=(const ScopedUserValue &) = delete;

    bool setExpandable(const QString &text)
    {
        const DWORD size = static_cast<DWORD>((text.size() + 1) * qsizetype(sizeof(wchar_t)));
        return RegSetKeyValueW(HKEY_CURRENT_USER, wide(m_key), wide(m_name), REG_EXPAND_SZ, wide(text), size) ==
               ERROR_SUCCESS;
    }

private:
    const QString m_key;
    const QString m_name;
    bool m_hadFormer = false;
    DWORD m_formerType = REG_NONE;
    DWORD m_formerSize = 0;
    BYTE m_former[2048] = {};
};

} // namespace

/** Scans of this computer that meet what they shouldn't: damage, and things that disappear under their hands. */
class TestWindowsScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void passesOverDamagedLinks_data();
    void passesOverDamagedLinks();
    void entersAFolderNamedLikeALink();
    void menuThatDisappears();
    void absentNetworkPaths();
    void stopsWhileALinkBlocks();
    void startsAgainWhenTheSourceHasEnded();
    void keyThatDisappearsWhileItIsRead();
    void redirectedMenu();

private:
    /** A program of the test's own and a link to it. */
    static void addProgram(const MenuPlatform &platform, const QString &link)
    {
        const QString target = platform.path(u"programs/"_s + QFileInfo(link).completeBaseName() + u".exe"_s);
        write(target, "MZ");
        QVERIFY(ShellLinkWriter::write(platform.path(link), {target, {}, {}, {}}));
    }

    ComApartment m_com;
};

void TestWindowsScan::cleanup()
{
    RegDeleteTreeW(HKEY_CURRENT_USER, wide(TestKey));
}

void TestWindowsScan::passesOverDamagedLinks_data()
{
    QTest::addColumn<QByteArray>("bytes");
    ShellLinkBuilder builder;
    builder.localPath = u"C:\\Windows\\notepad.exe"_s;
    const QByteArray good = builder.build();
    const auto changed = [&good](qsizetype offset, const QByteArray &bytes) {
        return QByteArray(good).replace(offset, bytes.size(), bytes);
    };
    QByteArray noise(512, 0);
    QRandomGenerator random(7);
    std::generate(noise.begin(), noise.end(), [&random] { return static_cast<char>(random.generate()); });

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("one byte") << good.left(1);
    QTest::newRow("noise") << noise;
    QTest::newRow("only zeros") << QByteArray(4096, '\0');
    QTest::newRow("header cut off") << good.left(20);
    QTest::newRow("last byte of the header missing") << good.left(75);
    QTest::newRow("nothing but a header") << ShellLinkBuilder().build();
    QTest::newRow("link information missing") << good.left(76);
    QTest::newRow("link information cut off") << good.left(100);
    QTest::newRow("other class") << changed(4, QByteArray(16, 'x'));
    QTest::newRow("other header size") << changed(0, QByteArray::fromHex("4d000000"));
    QTest::newRow("huge link information") << changed(76, QByteArray::fromHex("ffffff7f"));
    ShellLinkBuilder list;
    list.idItems = ShellLinkBuilder::idList(u"C:\\Windows\\notepad.exe"_s);
    QTest::newRow("huge list") << list.build().replace(76, 2, QByteArray::fromHex("ffff"));
    list.idItems->first() = QByteArray(300, '\xff');
    QTest::newRow("list of nonsense") << list.build();
}

void TestWindowsScan::passesOverDamagedLinks()
{
    QFETCH(QByteArray, bytes);
    MenuPlatform platform;
    addProgram(platform, u"common/A.lnk"_s);
    addProgram(platform, u"user/Z.lnk"_s);
    for (const QString &menu : {u"common/Damaged.lnk"_s, u"user/Folder/Damaged.lnk"_s})
        write(platform.path(menu), bytes);
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), QStringList({u"A"_s, u"Z"_s}));
    QCOMPARE(platform.links->count(), 4);
}

void TestWindowsScan::entersAFolderNamedLikeALink()
{
    MenuPlatform platform;
    addProgram(platform, u"common/Folder.lnk/Deep/夜.LNK"_s);
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), QStringList{u"夜"_s});
}

void TestWindowsScan::menuThatDisappears()
{
    MenuPlatform platform;
    constexpr int Links = 100;
    for (int i = 0; i < Links; ++i)
        addProgram(platform, u"common/%1/%2.lnk"_s.arg(i / 10).arg(i));
    addProgram(platform, u"user/Other.lnk"_s);
    platform.folders->user.clear();
    platform.links->onCreate = [&platform](int number) {
        if (number == Links / 2)
            removeAll(platform.folders->common);
    };
    ScanRunner runner;
    QVERIFY(runner.scan());
    // The folder that is being walked may stay until the walk ends.
    QVERIFY(!QDirIterator(platform.folders->common, QDir::Files, QDirIterator::Subdirectories).hasNext());
    const qsizetype found = runner.names().size();
    QVERIFY2(found >= Links / 2 - 1 && found < Links, qPrintable(QString::number(found)));

    platform.folders->user = platform.path(u"user"_s);
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), QStringList{u"Other"_s});
}

void TestWindowsScan::absentNetworkPaths()
{
    MenuPlatform platform;
    addProgram(platform, u"common/Here.lnk"_s);
    const QString share = u"\\\\kv-absent.invalid\\share"_s;
    ShellLinkBuilder link;
    link.networkShare = share;
    link.pathSuffix = u"tool.exe"_s;
    write(platform.path(u"common/Away.lnk"_s), link.build());
    // The shell may refuse to write this one; then the other has to do.
    ShellLinkWriter::write(platform.path(u"common/Away, too.lnk"_s), {share + u"\\other.exe"_s, {}, {}, share});
    platform.folders->user = share + u"\\menu"_s;
    ScanRunner runner;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(runner.scan());
    QVERIFY2(timer.elapsed() < 30'000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(runner.names(), QStringList{u"Here"_s});
}

void TestWindowsScan::stopsWhileALinkBlocks()
{
    MenuPlatform platform;
    addProgram(platform, u"common/A.lnk"_s);
    ScanRunner runner;
    QVERIFY(runner.scan());
    addProgram(platform, u"common/B.lnk"_s);
    QSemaphore reached;
    QSemaphore goOn;
    platform.links->onCreate = [&](int) {
        reached.release();
        goOn.acquire();
    };
    runner.context().startScan();
    const bool isBlocked = reached.tryAcquire(1, 30'000);
    QElapsedTimer timer;
    timer.start();
    runner.context().stopScan();
    const qint64 stopTime = timer.elapsed();
    goOn.release(2);
    QVERIFY(isBlocked);
    QVERIFY2(stopTime < 1000, qPrintable(QString::number(stopTime)));
    QVERIFY(XDispatch::waitForBackground(60'000));
    runner.advance(1000);
    QCOMPARE(runner.names(), QStringList{u"A"_s});
    // The other link wasn't touched any more.
    QCOMPARE(platform.links->count(), 2);
}

void TestWindowsScan::startsAgainWhenTheSourceHasEnded()
{
    MenuPlatform platform;
    addProgram(platform, u"common/A.lnk"_s);
    QSemaphore reached;
    QSemaphore goOn;
    platform.links->onCreate = [&](int number) {
        if (number > 1)
            return;
        reached.release();
        goOn.acquire();
    };
    ScanRunner runner;
    int published = 0;
    connect(&runner.context(), &KvProgramContext::isEmptyChanged, this, [&published] { ++published; });
    runner.context().startScan();
    const bool isBlocked = reached.tryAcquire(1, 30'000);
    runner.context().stopScan();
    runner.context().startScan();
    for (int i = 0; i < 20; ++i)
        runner.advance(100);
    const int publishedEarly = published;
    const int linksReadEarly = platform.links->count();
    goOn.release();
    QVERIFY(isBlocked);
    QCOMPARE(publishedEarly, 0);
    QCOMPARE(linksReadEarly, 1);
    QVERIFY(XDispatch::waitForBackground(60'000));
    for (int i = 0; i < 5; ++i) {
        runner.advance(100);
        QVERIFY(XDispatch::waitForBackground(60'000));
    }
    QCOMPARE(published, 1);
    QCOMPARE(runner.names(), QStringList{u"A"_s});
    QCOMPARE(platform.links->count(), 2);
}

void TestWindowsScan::keyThatDisappearsWhileItIsRead()
{
    const QString key = TestKey + u"\\Coming and going"_s;
    const QString path = u"HKCU\\"_s + key;
    std::atomic<bool> isOver{false};
    std::atomic<int> rounds{0};
    std::thread changer([&] {
        while (!isOver) {
            const QString deep = key + u"\\Child\\Grandchild"_s;
            RegSetKeyValueW(HKEY_CURRENT_USER, wide(key), L"Name", REG_SZ, L"text", 5 * sizeof(wchar_t));
            RegSetKeyValueW(HKEY_CURRENT_USER, wide(deep), L"Deep", REG_SZ, L"text", 5 * sizeof(wchar_t));
            RegDeleteTreeW(HKEY_CURRENT_USER, wide(key));
            ++rounds;
        }
    });
    // Qt warns of each read that the end of the key cuts short.
    LogCatcher log;
    const auto registry = KvPlatform::Platform::current()->registry;
    const QStringList allowedTexts{u"text"_s, u"none"_s};
    QStringList surprises;
    for (int i = 0; i < 300 || rounds < 300; ++i) {
        const QString text = KvRegistrySpy::readValue(path + u"\\Name"_s, u"none"_s).toString();
        if (!allowedTexts.contains(text))
            surprises.append(text);
        KvRegistrySpy::containsKey(path + u"\\Child\\Grandchild\\Deep"_s);
        for (const QString &child : registry->childGroups(u"HKEY_CURRENT_USER\\"_s + key)) {
            if (child != u"Child")
                surprises.append(child);
        }
        for (const QString &name : registry->allKeys(u"HKEY_CURRENT_USER\\"_s + key)) {
            if (name != u"Name" && name != u"Child/Grandchild/Deep")
                surprises.append(name);
        }
    }
    isOver = true;
    changer.join();
    QCOMPARE(surprises, QStringList());
    RegDeleteTreeW(HKEY_CURRENT_USER, wide(key));
    QCOMPARE(KvRegistrySpy::readValue(path + u"\\Name"_s, u"none"_s), QVariant(u"none"_s));
}

void TestWindowsScan::redirectedMenu()
{
    MenuPlatform menus;
    addProgram(menus, u"redirected/Redirected.lnk"_s);
    // The folders are the system's here, so there may be other programs.
    const auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::Platform::current());
    platform->folders = KvPlatform::createPlatform()->folders;
    KvPlatform::Platform::setCurrent(platform);
    ScanRunner runner;
    QVERIFY(runner.scan());
    QVERIFY(!runner.names().contains(u"Redirected"_s));
    {
        ScopedUserValue programs(ShellFolders, u"Programs"_s);
        QVERIFY(programs.setExpandable(QDir::toNativeSeparators(menus.path(u"redirected"_s))));
        QVERIFY(runner.scan());
        QCOMPARE(runner.names().count(u"Redirected"_s), 1);
        QVERIFY(programs.setExpandable(QDir::toNativeSeparators(menus.path(u"absent"_s))));
        QVERIFY(runner.scan());
        QVERIFY(!runner.names().contains(u"Redirected"_s));
    }
    QVERIFY(runner.scan());
    QVERIFY(!runner.names().contains(u"Redirected"_s));
}

QTEST_GUILESS_MAIN(TestWindowsScan)
#include "tst_windowsscan.moc"
