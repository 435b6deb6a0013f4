#include "../support/MachineBuilder.h"
#include "platform/portable/MachineFacts.h"
#include "platform/portable/MachineRegistry.h"
#include "platform/portable/MachineRegistryWatch.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSaveFile>
#include <QtTest/QTest>

#include <thread>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

constexpr quint32 LocalMachine = 0x80000002;
constexpr quint32 Access = 0x110;
constexpr quint32 Filter = 5;
const QString Software = u"HKEY_LOCAL_MACHINE\\Software"_s;

QString body(const QString &value)
{
    return u"[HKEY_LOCAL_MACHINE\\Software]\n\"a\"=\"%1\"\n[HKEY_LOCAL_MACHINE\\Software\\Child]\n"_s.arg(value);
}

} // namespace

/** What the machine folder's watches make of the files; what all watches do is in the suite of both back-ends. */
class tst_MachineRegistryWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void fileEditedInPlace();
    void fileReplaced();
    void fileWrittenSlowly();
    void emptyFileOfTheFuture();
    void newFileAndRemovedFile();
    void folderThatComesLater();
    void otherRegistryWrites();
    void fileWithTheSameContent();
    void changeElsewhere();
    void noticeComesOncePerArming();
    void keyThatGoesWithAFile();
    void emptiedHiveIsNotDeleted();
    void missingKeyIsLookedForInTheFiles();
    void rootsThatAreNone();
    void registryInMemory();
    void changesDuringTheEndOfAWatch();

private:
    void start();
    void watch(const QString &subKey, bool withSubtree);

    std::unique_ptr<MachineBuilder> m_machine;
    std::shared_ptr<MachineRegistry> m_registry;
    std::unique_ptr<MachineRegistryWatches> m_watches;
    std::unique_ptr<RegistryWatch> m_watch;
    int m_notices = 0;
};

void tst_MachineRegistryWatch::init()
{
    m_machine = std::make_unique<MachineBuilder>();
    m_machine->addRegistry(u"a.reg"_s, body(u"1"_s));
    m_notices = 0;
    start();
}

void tst_MachineRegistryWatch::cleanup()
{
    m_watch.reset();
    m_watches.reset();
    m_registry.reset();
    m_machine.reset();
}

void tst_MachineRegistryWatch::start()
{
    m_watch.reset();
    m_registry = std::make_shared<MachineRegistry>(m_machine->path() + u"/registry"_s, MachineFacts());
    m_watches = std::make_unique<MachineRegistryWatches>(m_registry);
}

/** Counts the notices, and arms anew after each. */
void tst_MachineRegistryWatch::watch(const QString &subKey, bool withSubtree)
{
    RegistryWatchResult opened = m_watches->open(LocalMachine, subKey, Access);
    QCOMPARE(opened.error, 0U);
    m_watch = std::move(opened.watch);
    m_watch->notify([this, withSubtree] {
        ++m_notices;
        m_watch->arm(withSubtree, Filter);
    });
    QCOMPARE(m_watch->arm(withSubtree, Filter), 0U);
}

void tst_MachineRegistryWatch::fileEditedInPlace()
{
    watch(u"software"_s, false);
    for (int i = 2; i < 5; ++i) {
        QFile file(m_machine->path() + u"/registry/a.reg"_s);
        QVERIFY(file.open(QIODevice::ReadWrite));
        file.seek(file.readAll().indexOf("=\"") + 2);
        QCOMPARE(file.write(QByteArray::number(i)), 1);
        file.close();
        QTRY_COMPARE(m_notices, i - 1);
        QCOMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(QString::number(i)));
    }
}

void tst_MachineRegistryWatch::fileReplaced()
{
    watch(u"Software"_s, false);
    for (int i = 2; i < 5; ++i) {
        QSaveFile file(m_machine->path() + u"/registry/a.reg"_s);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("REGEDIT4\n" + body(QString::number(i)).toLatin1());
        QVERIFY(file.commit());
        QTRY_COMPARE(m_notices, i - 1);
    }
}

void tst_MachineRegistryWatch::fileWrittenSlowly()
{
    watch(u"Software\\Child"_s, true);
    QFile file(m_machine->path() + u"/registry/a.reg"_s);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QTest::qWait(100);
    QCOMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(u"1"_s));
    file.write("REGEDIT4\n" + body(u"2"_s).toLatin1());
    file.close();
    QTRY_COMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(u"2"_s));
    QCOMPARE(m_notices, 0);
}

void tst_MachineRegistryWatch::emptyFileOfTheFuture()
{
    QFile file(m_machine->path() + u"/registry/empty.reg"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.setFileTime(QDateTime::currentDateTimeUtc().addYears(1), QFileDevice::FileModificationTime));
    file.close();
    watch(u"Software"_s, false);
    m_machine->addRegistry(u"a.reg"_s, body(u"2"_s));
    QTRY_VERIFY(m_notices >= 1);
    QTRY_COMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(u"2"_s));
}

void tst_MachineRegistryWatch::newFileAndRemovedFile()
{
    watch(u"Software"_s, false);
    m_machine->addRegistry(u"b.reg"_s, body(u"2"_s));
    QTRY_COMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(u"2"_s));
    QTRY_VERIFY(m_notices >= 1);
    const int before = m_notices;
    QVERIFY(QFile::remove(m_machine->path() + u"/registry/b.reg"_s));
    QTRY_COMPARE(m_notices, before + 1);
    QCOMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(u"1"_s));
}

void tst_MachineRegistryWatch::folderThatComesLater()
{
    QVERIFY(QDir(m_machine->path() + u"/registry"_s).removeRecursively());
    start();
    watch(QString(), true);
    m_machine->addRegistry(u"late.reg"_s, body(u"2"_s));
    QTRY_VERIFY(m_notices >= 1);
    QTRY_COMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(u"2"_s));
}

void tst_MachineRegistryWatch::otherRegistryWrites()
{
    watch(u"Software\\Child"_s, true);
    MachineRegistry other(m_machine->path() + u"/registry"_s, MachineFacts());
    for (int i = 1; i < 5; ++i) {
        other.setValue(Software + u"\\Child\\Deep"_s, u"value"_s, i);
        QTRY_COMPARE(m_notices, i);
        QCOMPARE(m_registry->value(Software + u"\\Child\\Deep"_s, u"value"_s, {}), QVariant(i));
    }
}

void tst_MachineRegistryWatch::fileWithTheSameContent()
{
    watch(u"Software"_s, true);
    m_machine->addRegistry(u"a.reg"_s, body(u"1"_s) + u"; a comment\n"_s);
    m_registry->setValue(Software, u"a"_s, u"1"_s);
    m_registry->remove(Software, u"nothing"_s);
    QTest::qWait(100);
    QCOMPARE(m_notices, 0);
}

void tst_MachineRegistryWatch::changeElsewhere()
{
    watch(u"Software\\Child"_s, true);
    m_machine->addRegistry(u"a.reg"_s, body(u"2"_s));
    QTRY_COMPARE(m_registry->value(Software, u"a"_s, {}), QVariant(u"2"_s));
    m_registry->setValue(Software + u"\\Children"_s, u"a"_s, 1);
    m_registry->remove(Software, u"Children"_s);
    QTest::qWait(20);
    // While a file is written anew it may be seen without its content.
    QVERIFY(m_notices <= 2);
}

void tst_MachineRegistryWatch::noticeComesOncePerArming()
{
    watch(u"Software"_s, false);
    m_watch.reset();
    RegistryWatchResult opened = m_watches->open(LocalMachine, u"Software"_s, Access);
    opened.watch->notify([this] { ++m_notices; });
    m_registry->setValue(Software, u"a"_s, 2);
    QTest::qWait(20);
    QCOMPARE(m_notices, 0);
    QCOMPARE(opened.watch->arm(false, Filter), 0U);
    QCOMPARE(opened.watch->arm(false, Filter), 0U);
    m_registry->setValue(Software, u"a"_s, 3);
    m_registry->setValue(Software, u"a"_s, 4);
    QTRY_COMPARE(m_notices, 1);
    m_registry->setValue(Software, u"a"_s, 5);
    QTest::qWait(20);
    QCOMPARE(m_notices, 1);
    // What was not delivered yet is taken back.
    QCOMPARE(opened.watch->arm(false, Filter), 0U);
    m_registry->setValue(Software, u"a"_s, 6);
    QCOMPARE(opened.watch->arm(false, Filter), 0U);
    QTest::qWait(20);
    QCOMPARE(m_notices, 1);
}

void tst_MachineRegistryWatch::keyThatGoesWithAFile()
{
    RegistryWatchResult opened = m_watches->open(LocalMachine, u"Software\\Child"_s, Access);
    QVERIFY(opened.watch);
    opened.watch->notify([this] { ++m_notices; });
    QCOMPARE(opened.watch->arm(true, Filter), 0U);
    QVERIFY(QFile::remove(m_machine->path() + u"/registry/a.reg"_s));
    QTRY_COMPARE(m_notices, 1);
    QCOMPARE(opened.watch->arm(true, Filter), 1018U);
    m_registry->setValue(Software + u"\\Child"_s, u"a"_s, 1);
    QCOMPARE(opened.watch->arm(true, Filter), 1018U);
}

void tst_MachineRegistryWatch::emptiedHiveIsNotDeleted()
{
    watch(QString(), false);
    QVERIFY(QFile::remove(m_machine->path() + u"/registry/a.reg"_s));
    QTRY_COMPARE(m_notices, 1);
    m_registry->setValue(Software, u"a"_s, 1);
    QTRY_COMPARE(m_notices, 2);
    m_registry->remove(u"HKEY_LOCAL_MACHINE"_s, QString());
    QTRY_COMPARE(m_notices, 3);
    m_registry->setValue(Software, u"a"_s, 1);
    QTRY_COMPARE(m_notices, 4);
}

void tst_MachineRegistryWatch::missingKeyIsLookedForInTheFiles()
{
    QCOMPARE(m_watches->open(LocalMachine, u"Software\\New"_s, Access).error, 2U);
    MachineRegistry other(m_machine->path() + u"/registry"_s, MachineFacts());
    other.setValue(Software + u"\\New"_s, u"a"_s, 1);
    // Nothing stands yet by which the change would be noticed.
    QCOMPARE(m_watches->open(LocalMachine, u"Software\\New"_s, Access).error, 0U);
}

void tst_MachineRegistryWatch::rootsThatAreNone()
{
    for (const quint32 root : {0U, 1U, 0x80000004U, 0xFFFFFFFFU}) {
        const RegistryWatchResult opened = m_watches->open(root, u"Software"_s, Access);
        QCOMPARE(opened.error, 2U);
        QVERIFY(!opened.watch);
    }
    QCOMPARE(m_watches->open(LocalMachine, u"\\Software"_s, Access).error, 2U);
}

void tst_MachineRegistryWatch::registryInMemory()
{
    m_registry = std::make_shared<MachineRegistry>(QString(), MachineFacts());
    m_watches = std::make_unique<MachineRegistryWatches>(m_registry);
    watch(QString(), true);
    m_registry->setValue(Software, u"a"_s, 1);
    QTRY_COMPARE(m_notices, 1);
}

void tst_MachineRegistryWatch::changesDuringTheEndOfAWatch()
{
    m_registry = std::make_shared<MachineRegistry>(QString(), MachineFacts());
    m_watches = std::make_unique<MachineRegistryWatches>(m_registry);
    std::atomic<bool> isEnding{false};
    std::thread writer([this, &isEnding] {
        for (int i = 0; !isEnding; ++i)
            m_registry->setValue(Software, u"a"_s, i);
    });
    for (int i = 0; i < 500; ++i) {
        watch(QString(), true);
        if (i % 10 == 0)
            QCoreApplication::processEvents();
        m_watch.reset();
    }
    isEnding = true;
    writer.join();
}

QTEST_GUILESS_MAIN(tst_MachineRegistryWatch)
#include "tst_machineregistrywatch.moc"
