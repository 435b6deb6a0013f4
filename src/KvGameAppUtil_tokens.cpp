#include "KvGameAppUtil.h"

#include "formats/PrintableText.h"

#include <QtCore/QFile>

#include <typeinfo>

namespace {

using namespace PrintableText;

constexpr qint64 ShortWindow = 64;
constexpr qint64 LineWindow = 256;
constexpr qint64 LongWindow = 2048;

/**
 * Whether looking ahead shows what reading byte by byte would give, and stepping on leaves the file where that would.
 * Not so if others decide what a byte is, or if looking ahead might wait.
 */
bool canLookAhead(const QFile &file)
{
    return file.openMode() == QIODevice::ReadOnly && typeid(file) == typeid(QFile) && !file.isSequential();
}

/** One byte after the other. What the others do must come to the same. */
QString tokenByBytes(QFile &file, bool wholeLine)
{
    QString token;
    char byte = 0;
    while (!file.atEnd() && file.getChar(&byte)) {
        if (isPrintable(byte))
            token.append(QLatin1Char(byte));
        else if (!wholeLine && !token.isEmpty())
            return token;
        else if (wholeLine && byte == '\r' && file.read(&byte, 1) == 1 && byte == '\n')
            return token;
    }
    return token;
}

/** The bytes ahead, none of them taken; 0 at the end. */
template<qint64 Size>
qint64 look(QFile &file, char (&window)[Size])
{
    return file.atEnd() ? 0 : file.peek(window, Size);
}

/** A text for each single character, for the stray ones that binary data abounds in. */
class SingleCharacters
{
public:
    static QString text(char byte)
    {
        static const SingleCharacters characters;
        return QString::fromRawData(&characters.m_texts[static_cast<uchar>(byte)][0], 1);
    }

private:
    SingleCharacters()
    {
        for (char16_t i = 0; i < 128; ++i)
            m_texts[i][0] = QChar(i);
    }

    QChar m_texts[128][2]; // Each with a zero behind it.
};

QString textOf(const char *bytes, qsizetype count)
{
    return count == 1 ? SingleCharacters::text(*bytes) : QString::fromLatin1(bytes, count);
}

QString restOfRun(QFile &file, QString run)
{
    char window[LongWindow];
    for (qint64 count = look(file, window); count > 0; count = look(file, window)) {
        const qsizetype end = endOfRun(window, 0, count);
        run += QLatin1String(window, end);
        file.skip(end < count ? end + 1 : count);
        if (end < count)
            break;
    }
    return run;
}

QString nextRun(QFile &file)
{
    char window[ShortWindow];
    for (qint64 count = look(file, window); count > 0; count = look(file, window)) {
        const qsizetype begin = startOfRun(window, 0, count);
        const qsizetype end = endOfRun(window, begin, count);
        file.skip(end < count ? end + 1 : count);
        if (begin == count)
            continue;
        QString run = textOf(window + begin, end - begin);
        return end < count ? run : restOfRun(file, std::move(run));
    }
    return QString();
}

QString nextLine(QFile &file)
{
    QString line;
    char window[LineWindow];
    for (qint64 count = look(file, window); count > 0; count = look(file, window)) {
        bool isCut = false; // Between a carriage return and what follows it.
        for (qsizetype at = 0; at < count;) {
            const qsizetype end = endOfRun(window, at, count);
            line += QLatin1String(window + at, end - at);
            at = end + 1;
            if (end >= count || window[end] != '\r')
                continue;
            isCut = at == count;
            if (!isCut && window[at++] == '\n') {
                file.skip(at);
                return line;
            }
        }
        file.skip(count);
        char next = 0;
        if (isCut && file.read(&next, 1) == 1 && next == '\n')
            return line;
    }
    return line;
}

} // namespace

QString KvGameAppUtil::getNextToken(QFile &file, bool wholeLine)
{
    if (!canLookAhead(file))
        return tokenByBytes(file, wholeLine);
    return wholeLine ? nextLine(file) : nextRun(file);
}
