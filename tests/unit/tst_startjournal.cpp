#include "../support/LogCatcher.h"
#include "platform/portable/StartJournal.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using KvPlatform::StartJournal;

class tst_StartJournal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendsLines();
    void warnsOnceOfAFileThatCannotBeWritten();
    void linesOfManyThreadsStayWhole();

private:
    QByteArray read() const
    {
        QFile file(m_folder.filePath(u"starts.jsonl"_s));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_folder;
};

void tst_StartJournal::appendsLines()
{
    const QString path = m_folder.filePath(u"starts.jsonl"_s);
    StartJournal(path).append({{u"call"_s, u"package"_s}, {u"fullName"_s, u"Ä\n\"x\""_s}});
    StartJournal(path).append({{u"index"_s, 3}});
    QCOMPARE(read(), QByteArray("{\"call\":\"package\",\"fullName\":\"\xc3\x84\\n\\\"x\\\"\"}\n{\"index\":3}\n"));
}

void tst_StartJournal::warnsOnceOfAFileThatCannotBeWritten()
{
    const LogCatcher log;
    const QString path = m_folder.filePath(u"absent/starts.jsonl"_s);
    const StartJournal journal(path);
    journal.append({{u"call"_s, u"package"_s}});
    journal.append({{u"call"_s, u"package"_s}});
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.texts(QtWarningMsg).first().startsWith(u"[MACHINE] "_s + path + u": "_s));
}

void tst_StartJournal::linesOfManyThreadsStayWhole()
{
    constexpr int Threads = 4;
    constexpr int Lines = 100;
    QFile::remove(m_folder.filePath(u"starts.jsonl"_s));
    const StartJournal journal(m_folder.filePath(u"starts.jsonl"_s));
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i) {
        threads.emplace_back([&journal, i] {
            for (int line = 0; line < Lines; ++line)
                journal.append({{u"index"_s, i}});
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const QList<QByteArray> lines = read().split('\n');
    QCOMPARE(lines.size(), Threads * Lines + 1);
    QVERIFY(lines.last().isEmpty());
    for (const QByteArray &line : lines.first(Threads * Lines))
        QVERIFY2(QJsonDocument::fromJson(line).isObject(), line.constData());
}

QTEST_GUILESS_MAIN(tst_StartJournal)
#include "tst_startjournal.moc"
