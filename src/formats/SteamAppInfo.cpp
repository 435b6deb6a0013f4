#include "formats/SteamAppInfo.h"

#include "formats/PrintableText.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// The words, as bits of a set.
constexpr unsigned AppInfo = 1;
constexpr unsigned ClientIcon = 2;
constexpr unsigned Name = 4;
constexpr unsigned Executable = 8;
constexpr unsigned Arguments = 16;

struct Word
{
    const char *text;
    qsizetype length;
    unsigned bit;
    int window; ///< Where those four of its letters are that seldom stand elsewhere.
};

constexpr Word Words[] = {
    {"appinfo", 7, AppInfo, 0},        {"clienticon", 10, ClientIcon, 0}, {"name", 4, Name, 0},
    {"executable", 10, Executable, 1}, {"arguments", 9, Arguments, 1},
};

constexpr qsizetype LongestWord = 10;

// As many as it is faster to look through than to keep a set of.
constexpr qsizetype FewExecutables = 16;

struct Hit
{
    qsizetype at;
    unsigned word; ///< 0 if there is none.
};

/**
 * Finds words by the pairs of letters in their windows. A window of four has three pairs, so that it is enough to look
 * at every third pair of the bytes; and what is found there in the table doesn't depend on what was found before.
 */
class WordFinder
{
public:
    static const WordFinder &instance()
    {
        static const WordFinder finder;
        return finder;
    }

    /** The first word that lies in the bytes from `from` on. */
    Hit find(const char *bytes, qsizetype from, qsizetype size) const
    {
        qsizetype at = from;
        for (; size - at > 4 * Step; at += 4 * Step) {
            const char *const here = bytes + at;
            if (!(entry(here) | entry(here + Step) | entry(here + 2 * Step) | entry(here + 3 * Step)))
                continue;
            const Hit hit = findAt(bytes, from, at, at + 4 * Step, size);
            if (hit.word)
                return hit;
        }
        return findAt(bytes, from, at, size - 1, size);
    }

private:
    static constexpr qsizetype Step = 3;

    WordFinder()
    {
        uchar number = 1;
        for (const Word &word : Words) {
            for (int i = 0; i < Step; ++i)
                m_entries[index(word.text + word.window + i)] = number++;
        }
    }

    /** Bytes beyond ASCII fall on others; the words themselves are compared in the end. */
    static std::size_t index(const char *pair)
    {
        return std::size_t(pair[0] & 0x7F) << 7 | std::size_t(pair[1] & 0x7F);
    }

    uchar entry(const char *pair) const { return m_entries[index(pair)]; }

    /** Looks at every third pair from `pair` to before `end`. */
    Hit findAt(const char *bytes, qsizetype from, qsizetype pair, qsizetype end, qsizetype size) const
    {
        for (; pair < end; pair += Step) {
            const int number = entry(bytes + pair) - 1;
            if (number < 0)
                continue;
            const Word &word = Words[number / Step];
            const qsizetype start = pair - word.window - number % Step;
            if (start >= from && size - start >= word.length &&
                std::memcmp(bytes + start, word.text, static_cast<std::size_t>(word.length)) == 0)
                return {start, word.bit};
        }
        return {size, 0};
    }

    // By pair: 0, or the number of the window's pair, from 1 on through all words.
    uchar m_entries[128 * 128] = {};
};

Hit findWord(const char *bytes, qsizetype from, qsizetype size)
{
    return WordFinder::instance().find(bytes, from, size);
}

unsigned wordsIn(QByteArrayView run)
{
    unsigned words = 0;
    for (Hit hit = findWord(run.data(), 0, run.size()); hit.word; hit = findWord(run.data(), hit.at + 1, run.size()))
        words |= hit.word;
    return words;
}

QString text(QByteArrayView run)
{
    return QString::fromLatin1(run.data(), run.size());
}

} // namespace

SteamAppInfo::SteamAppInfo(Sink sink)
    : m_sink(std::move(sink))
{}

void SteamAppInfo::read(QByteArrayView bytes)
{
    qsizetype at = m_isInRun ? readRest(bytes) : 0;
    while (at < bytes.size())
        at = m_value == Value::None ? readKey(bytes, at) : readValue(bytes, at);
}

void SteamAppInfo::finish()
{
    if (m_isInRun)
        endRun();
}

/** Goes on with the run that the former bytes ended in. */
qsizetype SteamAppInfo::readRest(QByteArrayView bytes)
{
    const qsizetype end = PrintableText::endOfRun(bytes.data(), 0, bytes.size());
    const QByteArrayView rest = bytes.first(end);
    if (m_value == Value::None) {
        // A word may have been cut in two.
        m_run += rest.first(std::min(end, LongestWord - 1));
        m_words |= wordsIn(m_run) | wordsIn(rest);
        if (end >= LongestWord)
            m_run = rest.last(LongestWord - 1).toByteArray();
        else if (m_run.size() >= LongestWord)
            m_run = m_run.last(LongestWord - 1);
    } else {
        m_run += rest;
    }
    if (end < bytes.size())
        endRun();
    return end;
}

/** Goes on to behind the next run that holds a word. */
qsizetype SteamAppInfo::readKey(QByteArrayView bytes, qsizetype at)
{
    const Hit hit = findWord(bytes.data(), at, bytes.size());
    const qsizetype end = PrintableText::endOfRun(bytes.data(), hit.at, bytes.size());
    const unsigned words = hit.word ? wordsIn(bytes.sliced(hit.at, end - hit.at)) : 0;
    if (end < bytes.size()) {
        lookFor(words, Value::None);
        return end;
    }
    // No word is longer, so that more of the run's beginning is not needed.
    qsizetype tail = bytes.size();
    while (tail > at && bytes.size() - tail < LongestWord - 1 && PrintableText::isPrintable(bytes[tail - 1]))
        --tail;
    m_isInRun = tail < bytes.size();
    m_run = bytes.sliced(tail).toByteArray();
    m_words = words;
    return bytes.size();
}

/** Goes on to behind the next run, whatever it holds. */
qsizetype SteamAppInfo::readValue(QByteArrayView bytes, qsizetype at)
{
    const qsizetype begin = PrintableText::startOfRun(bytes.data(), at, bytes.size());
    const qsizetype end = PrintableText::endOfRun(bytes.data(), begin, bytes.size());
    const QByteArrayView run = bytes.sliced(begin, end - begin);
    if (end < bytes.size()) {
        takeValue(run);
        return end;
    }
    m_isInRun = !run.isEmpty();
    m_run = run.toByteArray();
    return end;
}

void SteamAppInfo::endRun()
{
    m_isInRun = false;
    const QByteArray run = std::exchange(m_run, {});
    const unsigned words = std::exchange(m_words, 0);
    if (m_value == Value::None)
        lookFor(words, Value::None);
    else
        takeValue(run);
}

void SteamAppInfo::takeValue(QByteArrayView run)
{
    const Value value = std::exchange(m_value, Value::None);
    if (value == Value::ClientIcon)
        m_section.clientIcon = text(run);
    else if (value == Value::Name)
        m_section.name = text(run);
    else if (run.indexOf(".exe") >= 0)
        addExecutable(text(run));
    // A value is looked through as well, for the words that come after its own.
    lookFor(wordsIn(run), value);
}

void SteamAppInfo::lookFor(unsigned words, Value from)
{
    if (from == Value::None && (words & AppInfo))
        endSection();
    if (from < Value::ClientIcon && (words & ClientIcon) && m_section.clientIcon.isEmpty())
        m_value = Value::ClientIcon;
    else if (from < Value::Name && (words & Name) && m_section.name.isEmpty())
        m_value = Value::Name;
    else if (from < Value::Executable && (words & Executable))
        m_value = Value::Executable;
    else if (from < Value::Arguments && (words & Arguments))
        m_value = Value::Arguments;
}

void SteamAppInfo::endSection()
{
    m_sink(m_section);
    if (m_section.executables.size() > FewExecutables)
        m_seenExecutables.clear();
    m_section = Section();
}

void SteamAppInfo::addExecutable(const QString &value)
{
    QStringList &executables = m_section.executables;
    if (executables.size() == FewExecutables)
        m_seenExecutables = QSet<QString>(executables.cbegin(), executables.cend());
    const bool areMany = executables.size() >= FewExecutables;
    if (areMany ? m_seenExecutables.contains(value) : executables.contains(value))
        return;
    if (areMany)
        m_seenExecutables.insert(value);
    executables.append(value);
}
