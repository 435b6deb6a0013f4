#include "formats/SteamAppInfo.h"

#include "formats/PrintableText.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace {

// The words, as bits of a set.
constexpr unsigned AppInfo = 1;
constexpr unsigned ClientIcon = 2;
constexpr unsigned Name = 4;
constexpr unsigned Executable = 8;
constexpr unsigned Arguments = 16;

constexpr qsizetype LongestWord = 10;

struct Hit
{
    qsizetype at;
    unsigned word; ///< 0 if there is none.
};

bool startsWith(const char *bytes, qsizetype size, const char *word, qsizetype length)
{
    return size >= length && std::memcmp(bytes, word, static_cast<std::size_t>(length)) == 0;
}

/** The word that begins at `bytes`, or 0. No word begins another. */
unsigned wordAt(const char *bytes, qsizetype size)
{
    switch (*bytes) {
    case 'a':
        if (startsWith(bytes, size, "appinfo", 7))
            return AppInfo;
        return startsWith(bytes, size, "arguments", 9) ? Arguments : 0;
    case 'c':
        return startsWith(bytes, size, "clienticon", 10) ? ClientIcon : 0;
    case 'e':
        return startsWith(bytes, size, "executable", 10) ? Executable : 0;
    case 'n':
        return startsWith(bytes, size, "name", 4) ? Name : 0;
    default:
        return 0;
    }
}

/**
 * Whether a word might begin in the first `Count` bytes; looks at three more. Without a branch, so that compilers make
 * vector code of it.
 */
template<int Count>
bool mayHoldWord(const char *bytes)
{
    unsigned char any = 0;
    for (int i = 0; i < Count; ++i) {
        const auto isPair = [&](int first, char letter, int second, char other) {
            return static_cast<unsigned char>((bytes[i + first] == letter) & (bytes[i + second] == other));
        };
        any = static_cast<unsigned char>(any | isPair(1, 'p', 3, 'i') | isPair(0, 'c', 3, 'e') |
                                         isPair(0, 'n', 2, 'm') | isPair(1, 'x', 3, 'c') | isPair(2, 'g', 3, 'u'));
    }
    return any != 0;
}

Hit findWord(const char *bytes, qsizetype at, qsizetype size)
{
    constexpr int Block = 64;
    constexpr int Part = 16;
    qsizetype slowUntil = at;
    while (at < size) {
        if (at >= slowUntil) {
            if (size - at >= Block + 3 && !mayHoldWord<Block>(bytes + at)) {
                at += Block;
                slowUntil = at;
                continue;
            }
            if (size - at >= Part + 3 && !mayHoldWord<Part>(bytes + at)) {
                at += Part;
                slowUntil = at;
                continue;
            }
            slowUntil = at + Part;
        }
        if (const unsigned word = wordAt(bytes + at, size - at))
            return {at, word};
        ++at;
    }
    return {size, 0};
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
    m_section = Section();
    m_seenExecutables.clear();
}

void SteamAppInfo::addExecutable(const QString &value)
{
    if (m_seenExecutables.contains(value))
        return;
    m_seenExecutables.insert(value);
    m_section.executables.append(value);
}
