#include "Computer.h"
#include "platform/Environment.h"
#include "platform/Folders.h"
#include "platform/NativeHandle.h"
#include "platform/Platform.h"
#include "platform/Tokens.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using KvPlatform::Folder;

class EnvironmentSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void expands_data();
    void expands();
    void longTexts();
    void variablesAreReadAtEachCall();
    void folders_data();
    void folders();
};

void EnvironmentSuite::expands_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QString &text, const QString &expected) {
        QTest::newRow(name) << text << expected;
    };
    row("empty", QString(), QString());
    row("plain", u"C:\\a b"_s, u"C:\\a b"_s);
    row("variable", u"%KVC_ONE%"_s, u"first"_s);
    row("within a path", u"C:\\%KVC_ONE%\\x.exe"_s, u"C:\\first\\x.exe"_s);
    row("letter case", u"%kvc_One%"_s, u"first"_s);
    row("side by side", u"%KVC_ONE%%KVC_TWO%"_s, u"first%KVC_ONE%"_s);
    row("only one pass", u"%KVC_TWO%"_s, u"%KVC_ONE%"_s);
    row("unknown", u"a%KVC_NONE%b"_s, u"a%KVC_NONE%b"_s);
    row("unknown, then known", u"%KVC_NONE%\\%KVC_ONE%"_s, u"%KVC_NONE%\\first"_s);
    row("lone sign", u"50% of it"_s, u"50% of it"_s);
    row("lone sign at the end", u"%KVC_ONE% 50%"_s, u"first 50%"_s);
    row("two signs", u"a%%b"_s, u"a%%b"_s);
    row("up to a zero", u"a%KVC_ONE%"_s + QChar(0) + u"b"_s, u"afirst"_s);
}

void EnvironmentSuite::expands()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    const auto computer = Computer::create();
    computer->setVariable(u"KVC_ONE"_s, u"first"_s);
    computer->setVariable(u"KVC_TWO"_s, u"%KVC_ONE%"_s);
    QCOMPARE(computer->platform().environment->expand(text, 8192), expected);
}

void EnvironmentSuite::longTexts()
{
    const auto computer = Computer::create();
    const QString value(1000, u'v');
    computer->setVariable(u"KVC_LONG"_s, value);
    const KvPlatform::Environment &environment = *computer->platform().environment;
    const QString text = u"%KVC_LONG%"_s.repeated(20);
    QCOMPARE(environment.expand(text, 20 * 1000 + 1), value.repeated(20));
    for (const int capacity : {0, 1, 10, 1000, 20 * 1000})
        QVERIFY2(environment.expand(text, capacity).size() <= capacity, qPrintable(QString::number(capacity)));
}

void EnvironmentSuite::variablesAreReadAtEachCall()
{
    const auto computer = Computer::create();
    computer->setVariable(u"KVC_ONE"_s, u"former"_s);
    computer->setVariable(u"KVC_ONE"_s, u"latter"_s);
    QCOMPARE(computer->platform().environment->expand(u"%KVC_ONE%"_s, 100), u"latter"_s);
}

void EnvironmentSuite::folders_data()
{
    QTest::addColumn<Folder>("folder");
    QTest::newRow("Programs") << Folder::Programs;
    QTest::newRow("CommonPrograms") << Folder::CommonPrograms;
    QTest::newRow("ProgramFiles") << Folder::ProgramFiles;
    QTest::newRow("ProgramFilesX86") << Folder::ProgramFilesX86;
}

void EnvironmentSuite::folders()
{
    QFETCH(Folder, folder);
    const auto computer = Computer::create();
    const KvPlatform::Platform &platform = computer->platform();
    const std::optional<QString> path = platform.folders->path(folder, KvPlatform::NativeHandle());
    QVERIFY(path);
    QVERIFY2(path->startsWith(u"C:\\"_s) && !path->endsWith(u'\\') && !path->contains(u'/'), qPrintable(*path));
    constexpr quint32 QueryAndImpersonate = 0x8 | 0x4;
    const KvPlatform::HandleResult token = platform.tokens->openOwnToken(QueryAndImpersonate);
    QVERIFY(token.handle);
    QCOMPARE(platform.folders->path(folder, token.handle), path);
}

QTEST_GUILESS_MAIN(EnvironmentSuite)
#include "EnvironmentSuite.moc"
