#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

/**
 * Reads Steam's cache of what it knows about its apps, piece by piece.
 *
 * The cache is taken for a stream of printable runs. Five words are looked for in the runs, wherever they stand in one,
 * and the run that follows such a word is its value; nothing is known of the layout, so that no version of it is
 * refused. A file that keeps its key names apart from the values gives few sections or none.
 *
 * Holds no more of the bytes than the value that is being read.
 */
class SteamAppInfo
{
public:
    /** What stands between two runs that hold "appinfo". */
    struct Section
    {
        QString name;            ///< What followed the first run with "name".
        QString clientIcon;      ///< What followed the first run with "clienticon".
        QStringList executables; ///< What followed runs with "executable" or "arguments" and holds ".exe"; each once.
    };

    /** Called at the end of each section, in the order of the file. The last one has no end and is not told. */
    using Sink = std::function<void(const Section &)>;

    explicit SteamAppInfo(Sink sink);

    /** Takes the next bytes of the file. */
    void read(QByteArrayView bytes);

    /** Tells that the file has ended. */
    void finish();

private:
    /** What the next run is the value of; in the order in which the words are looked for in one run. */
    enum class Value
    {
        None,
        ClientIcon,
        Name,
        Executable,
        Arguments,
    };

    qsizetype readRest(QByteArrayView bytes);
    qsizetype readKey(QByteArrayView bytes, qsizetype at);
    qsizetype readValue(QByteArrayView bytes, qsizetype at);
    void endRun();
    void takeValue(QByteArrayView run);
    void lookFor(unsigned words, Value from);
    void endSection();
    void addExecutable(const QString &value);

    Sink m_sink;
    Section m_section;
    QSet<QString> m_seenExecutables; ///< Those of the section, once they are many.
    Value m_value = Value::None;

    bool m_isInRun = false; ///< Whether the bytes so far end within a run.
    QByteArray m_run;       ///< Of that run all if it is a value, and otherwise its end.
    unsigned m_words = 0;   ///< What has been found in it.
};
