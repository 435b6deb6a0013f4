#include "../support/FakePlatform.h"
#include "../support/KvProgramContextProbe.h"
#include "../support/LogCatcher.h"
#include "../support/ScanRunner.h"
#include "Computer.h"
#include "KvRegistrySpy.h"
#include "platform/Registry.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;
using Probe = KvProgramContextProbe;

namespace {

const QString Vendor = u"@HKCU\\Software\\Kelvo"_s;
const QString Key = Vendor + u"\\Kelvo Launcher\\ExtraInfo"_s;
const QString Letters = u"ABCDEFGHIJ"_s;

constexpr int Writes = 10'000;
constexpr int Killed = 9; // Exit code of a process that ends in the middle of a save.

QString pathOf(QChar letter)
{
    return u"C:\\Programs\\%1.exe"_s.arg(letter);
}

/** The other process's registry: ends the process at the call that comes after the allowed writes. */
class MortalRegistry final : public KvPlatform::Registry
{
public:
    MortalRegistry(std::shared_ptr<KvPlatform::Registry> registry, int writes)
        : m_registry(std::move(registry))
        , m_writes(writes)
    {}

    QVariant value(const QString &key, const QString &name, const QVariant &defaultValue) const override
    {
        return m_registry->value(key, name, defaultValue);
    }

    void setValue(const QString &key, const QString &name, const QVariant &value) override
    {
        if (m_isMortal && m_writes-- == 0)
            std::_Exit(Killed);
        m_registry->setValue(key, name, value);
    }

    void begin() { m_isMortal = true; }

private:
    const std::shared_ptr<KvPlatform::Registry> m_registry;
    int m_writes;
    bool m_isMortal = false;
};

/** Programs of fakes, and the registry of the computer under test. */
class Desk
{
public:
    explicit Desk(const KvPlatform::Platform &computer, std::shared_ptr<KvPlatform::Registry> registry = {})
    {
        for (const QChar letter : Letters)
            m_fakes.addLink(letter, pathOf(letter).replace(u'\\', u'/'));
        const auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::Platform::current());
        platform->registry = registry ? registry : computer.registry;
        platform->watches = computer.watches;
        platform->session = computer.session;
        KvPlatform::Platform::setCurrent(platform);
        KvSecurity::forget();
    }

private:
    FakePlatform m_fakes;
};

ProgramInfo *appOf(const KvProgramContext &context, QChar letter)
{
    for (ProgramInfo *const app : context.allApps()) {
        if (app->displayName() == letter)
            return app;
    }
    return nullptr;
}

QString lettersOf(const KvProgramContext &context)
{
    QString letters;
    for (const ProgramInfo *const app : context.shortcuts())
        letters += app->displayName();
    return letters;
}

/** What the slots name, with "-" for an empty one and "?" for anything that was never written. */
QString storedLetters()
{
    QString letters;
    for (int number = 0; number < 7; ++number) {
        const QString text = KvRegistrySpy::readValue(u"%1\\shortcut00%2"_s.arg(Key).arg(number), {}).toString();
        const QChar letter = text.isEmpty() ? u'-' : text.at(text.size() - qMin<qsizetype>(5, text.size()));
        letters += text.isEmpty() || text == pathOf(letter) ? letter : u'?';
    }
    return letters;
}

/** Where the system tells it; else 0. */
qsizetype openFiles()
{
    return QDir(u"/proc/self/fd"_s).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
}

void store(const QString &letters)
{
    for (int number = 0; number < 7; ++number)
        KvRegistrySpy::writeValue(u"%1\\shortcut00%2"_s.arg(Key).arg(number),
                                  number < letters.size() ? pathOf(letters.at(number)) : u""_s);
}

} // namespace

/** Several processes that write to one registry; this program is all of them. */
class SharedRegistrySuite : public QObject
{
    Q_OBJECT

public:
    /** What the other process does. Gives its exit code. */
    static int runOther(const QStringList &arguments);

private Q_SLOTS:
    void init();
    void cleanup();

    void changeOfAnotherProcess();
    void manyWritesOfAnotherProcess();
    void twoHostsShowTheSame();
    void endBetweenTwoWrites_data();
    void endBetweenTwoWrites();
    void killedAtAnyMoment();

private:
    static int writeMany();
    static int pinAndDie(int writes);
    static int pinForever();
    static int host();

    std::unique_ptr<QProcess> startOther(const QStringList &arguments) const;
    static QString ask(QProcess &process, const QByteArray &command);

    std::unique_ptr<Computer> m_computer;
    std::unique_ptr<Desk> m_desk;
    std::unique_ptr<LogCatcher> m_quiet;
};

int SharedRegistrySuite::runOther(const QStringList &arguments)
{
    const QString task = arguments.value(0);
    if (task == u"writeMany")
        return writeMany();
    if (task == u"pinAndDie")
        return pinAndDie(arguments.value(1).toInt());
    return task == u"pinForever" ? pinForever() : host();
}

int SharedRegistrySuite::writeMany()
{
    const Desk desk(*Computer::sharedPlatform());
    const LogCatcher quiet;
    for (int i = 1; i <= Writes; ++i)
        KvRegistrySpy::writeValue(u"%1\\Other\\value%2"_s.arg(Key).arg(i % 10), i);
    return 0;
}

int SharedRegistrySuite::pinAndDie(int writes)
{
    const std::shared_ptr<const KvPlatform::Platform> computer = Computer::sharedPlatform();
    const auto registry = std::make_shared<MortalRegistry>(computer->registry, writes);
    const Desk desk(*computer, registry);
    const LogCatcher quiet;
    ScanRunner runner;
    if (!runner.scan())
        return 1;
    registry->begin();
    runner.context().removeShortcutAt(0);
    return 0;
}

int SharedRegistrySuite::pinForever()
{
    const Desk desk(*Computer::sharedPlatform());
    const LogCatcher quiet;
    ScanRunner runner;
    if (!runner.scan())
        return 1;
    std::puts("ready");
    std::fflush(stdout);
    for (int i = 0;; ++i) {
        if (runner.context().shortcuts().size() == 7)
            runner.context().removeShortcutAt(i % 7);
        runner.context().addShortcut(appOf(runner.context(), Letters.at(i * 7 % Letters.size())));
    }
}

/** Answers commands by the letters of its shortcuts: "+A" pins, "-A" unpins, "?" takes in what has come. */
int SharedRegistrySuite::host()
{
    const Desk desk(*Computer::sharedPlatform());
    const LogCatcher quiet;
    ScanRunner runner;
    if (!runner.scan())
        return 1;
    char line[16] = {};
    do {
        ProgramInfo *const app = appOf(runner.context(), QLatin1Char(line[1]));
        if (line[0] == '+')
            runner.context().addShortcut(app);
        else if (line[0] == '-')
            runner.context().removeShortcut(app);
        QTest::qWait(line[0] == '?' ? 20 : 0);
        std::printf("%s\n", qPrintable(lettersOf(runner.context())));
        std::fflush(stdout);
    } while (std::fgets(line, sizeof line, stdin));
    return 0;
}

void SharedRegistrySuite::init()
{
    m_quiet = std::make_unique<LogCatcher>();
    m_computer = Computer::create();
    m_desk = std::make_unique<Desk>(m_computer->platform());
    KvRegistrySpy::removeKey(Vendor);
}

void SharedRegistrySuite::cleanup()
{
    KvRegistrySpy::removeKey(Vendor);
    m_desk.reset();
    m_computer.reset();
    m_quiet.reset();
}

std::unique_ptr<QProcess> SharedRegistrySuite::startOther(const QStringList &arguments) const
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    m_computer->shareWith(&environment);
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(QCoreApplication::applicationFilePath(), QStringList{u"--other"_s} + arguments);
    return process;
}

QString SharedRegistrySuite::ask(QProcess &process, const QByteArray &command)
{
    process.write(command);
    const QDeadlineTimer patience(30'000);
    while (!process.canReadLine() && !patience.hasExpired())
        process.waitForReadyRead(1000);
    return QString::fromLatin1(process.readLine().trimmed());
}

void SharedRegistrySuite::changeOfAnotherProcess()
{
    store(u"BA"_s);
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(lettersOf(runner.context()), u"BA"_s);
    const auto other = startOther({u"host"_s});
    QCOMPARE(ask(*other, {}), u"BA"_s);
    QCOMPARE(ask(*other, "+C\n"), u"BAC"_s);
    QTRY_COMPARE(lettersOf(runner.context()), u"BAC"_s);
    QVERIFY(runner.context().removeShortcutAt(0));
    QTRY_COMPARE(ask(*other, "?\n"), u"AC"_s);
    other->closeWriteChannel();
    QVERIFY(other->waitForFinished());
}

void SharedRegistrySuite::manyWritesOfAnotherProcess()
{
    store(u"A"_s);
    ScanRunner runner;
    QVERIFY(runner.scan());
    QSignalSpy changes(&runner.context(), &KvProgramContext::shortcutsChanged);
    QSignalSpy notices(Probe::registrySpies(runner.context()).constLast(), &KvRegistrySpy::valueChanged);
    const auto other = startOther({u"writeMany"_s});
    QVERIFY(other->waitForStarted());
    int saves = 0;
    const qsizetype filesBefore = openFiles();
    while (other->state() == QProcess::Running) {
        const bool isFull = runner.context().shortcuts().size() == 7;
        const QChar letter = Letters.at(saves % Letters.size());
        saves += (isFull ? runner.context().removeShortcutAt(0)
                         : runner.context().addShortcut(appOf(runner.context(), letter)))
                     ? 1
                     : runner.context().removeShortcut(appOf(runner.context(), letter));
        QTest::qWait(10);
    }
    QCOMPARE(other->exitCode(), 0);
    // A change of our own, told as the last one, so that everything before it has been told too.
    KvRegistrySpy::writeValue(Key + u"\\last"_s, saves);
    const qsizetype before = notices.size();
    QTRY_VERIFY(notices.size() > before);
    QTest::qWait(100);
    QCOMPARE(changes.size(), saves);
    QVERIFY(openFiles() <= filesBefore + 1);
    QVERIFY2(notices.size() <= Writes + 7 * saves + 1, qPrintable(QString::number(notices.size())));
    // Nothing is told of any more, so nothing echoes.
    const qsizetype after = notices.size();
    QTest::qWait(200);
    QCOMPARE(notices.size(), after);
    QCOMPARE(storedLetters(), lettersOf(runner.context()).leftJustified(7, u'-'));
    for (int i = 0; i < 10; ++i) {
        const int last = Writes - (Writes - i) % 10;
        QCOMPARE(KvRegistrySpy::readValue(u"%1\\Other\\value%2"_s.arg(Key).arg(i), {}), QVariant(last));
    }
    m_quiet->clear();
    std::fprintf(stderr, "%d writes of the other process, %d saves here: %d notices, %d signals\n", Writes, saves,
                 int(notices.size()), int(changes.size()));
}

void SharedRegistrySuite::twoHostsShowTheSame()
{
    store(u"A"_s);
    ScanRunner runner;
    QVERIFY(runner.scan());
    const auto other = startOther({u"host"_s});
    QCOMPARE(ask(*other, {}), u"A"_s);
    for (int i = 0; i < 60; ++i) {
        const char letter = char('A' + i * 3 % 10);
        // Both write at the same time, without having heard of each other.
        other->write(QByteArray(i % 4 == 0 ? "-" : "+") + letter + '\n');
        other->waitForBytesWritten();
        ProgramInfo *const app = appOf(runner.context(), QLatin1Char(char('A' + i * 7 % 10)));
        if (i % 3 == 0)
            runner.context().removeShortcut(app);
        else
            runner.context().addShortcut(app);
        ask(*other, {});
        QCoreApplication::processEvents();
    }
    QString here;
    QString there;
    const auto isSame = [&] {
        there = ask(*other, "?\n");
        here = lettersOf(runner.context());
        const QString stored = storedLetters().remove(u'-');
        return here == there && here == stored;
    };
    QTRY_VERIFY2(isSame(), qPrintable(here + u' ' + there + u' ' + storedLetters()));
    QVERIFY(!storedLetters().contains(u'?'));
    other->closeWriteChannel();
    QVERIFY(other->waitForFinished());
}

void SharedRegistrySuite::endBetweenTwoWrites_data()
{
    QTest::addColumn<int>("writes");
    for (int writes = 0; writes <= 7; ++writes)
        QTest::addRow("%d writes", writes) << writes;
}

void SharedRegistrySuite::endBetweenTwoWrites()
{
    QFETCH(int, writes);
    const QString old = u"ABCDEFG"_s;
    const QString changed = u"BCDEFG-"_s;
    store(old);
    const auto other = startOther({u"pinAndDie"_s, QString::number(writes)});
    QVERIFY(other->waitForFinished());
    QCOMPARE(other->exitCode(), writes < 7 ? Killed : 0);
    // As a computer sees it that starts anew.
    m_desk.reset();
    const std::shared_ptr<const KvPlatform::Platform> again = m_computer->reopened();
    m_desk = std::make_unique<Desk>(*again);
    const QString expected = changed.left(writes) + old.mid(writes);
    QCOMPARE(storedLetters(), expected);
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(lettersOf(runner.context()), QString(expected).remove(u'-'));
    QVERIFY(runner.context().removeShortcutAt(0));
    QCOMPARE(storedLetters(), QString(expected).remove(u'-').mid(1).leftJustified(7, u'-'));
}

void SharedRegistrySuite::killedAtAnyMoment()
{
    store(u"ABCDEFG"_s);
    for (int round = 0; round < 8; ++round) {
        const auto other = startOther({u"pinForever"_s});
        QCOMPARE(ask(*other, {}), u"ready"_s);
        QTest::qWait(5 + 7 * round);
        other->kill();
        QVERIFY(other->waitForFinished());
        m_desk.reset();
        m_quiet->clear();
        const std::shared_ptr<const KvPlatform::Platform> again = m_computer->reopened();
        QVERIFY(m_quiet->texts(QtWarningMsg).isEmpty());
        m_desk = std::make_unique<Desk>(*again);
        QVERIFY2(!storedLetters().contains(u'?'), qPrintable(storedLetters()));
        ScanRunner runner;
        QVERIFY(runner.scan());
        QCOMPARE(lettersOf(runner.context()), storedLetters().remove(u'-'));
    }
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == u"--other")
        return SharedRegistrySuite::runOther(arguments.mid(2));
    SharedRegistrySuite suite;
    return QTest::qExec(&suite, argc, argv);
}
#include "SharedRegistrySuite.moc"
