#include "../support/MachineBuilder.h"
#include "platform/Environment.h"
#include "platform/Files.h"
#include "platform/Platform.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using KvPlatform::Platform;

/** Which machine a system other than Windows takes for its own. */
class TestCreatePlatform : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        qunsetenv("KVPROGRAM_MACHINE");
        Platform::setCurrent(nullptr);
    }

    void namedMachine();
    void host();
};

void TestCreatePlatform::namedMachine()
{
    MachineBuilder machine;
    machine.setEnvironment(u"Root"_s, u"C:\\Windows"_s);
    machine.addFile(u"C:/file.txt"_s);
    machine.writeFacts();
    qputenv("KVPROGRAM_MACHINE", QFile::encodeName(machine.path()));
    Platform::setCurrent(nullptr);
    const auto platform = Platform::current();
    QVERIFY(platform->files->exists(u"c:/FILE.txt"_s));
    QCOMPARE(platform->environment->expand(u"%root%"_s, 100), u"C:\\Windows"_s);
    // Made once: the variable is not read again.
    qunsetenv("KVPROGRAM_MACHINE");
    QCOMPARE(Platform::current(), platform);
    Platform::setCurrent(nullptr);
    QVERIFY(!Platform::current()->files->exists(u"c:/FILE.txt"_s));
}

void TestCreatePlatform::host()
{
    qputenv("KVC_OWN", "of this process");
    for (const bool isEmpty : {false, true}) {
        if (isEmpty)
            qputenv("KVPROGRAM_MACHINE", "");
        Platform::setCurrent(nullptr);
        QCOMPARE(Platform::current()->environment->expand(u"%KVC_OWN%"_s, 100), u"of this process"_s);
    }
    qunsetenv("KVC_OWN");
}

QTEST_GUILESS_MAIN(TestCreatePlatform)
#include "tst_createplatform.moc"
