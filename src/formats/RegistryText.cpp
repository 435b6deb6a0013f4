#include "formats/RegistryText.h"

#include "formats/TextBytes.h"

#include <QtCore/QStringList>
#include <QtCore/QtEndian>

#include <algorithm>
#include <optional>

namespace {

using RegistryText::Document;
using RegistryText::Entry;

constexpr QStringView WideHeader = u"Windows Registry Editor Version 5.00";
constexpr QStringView NarrowHeader = u"REGEDIT4";

/** The registry's value types, as winnt.h numbers them. */
enum ValueType : uint
{
    Text = 1,
    ExpandableText = 2,
    Binary = 3,
    Number32 = 4,
    BigEndianNumber32 = 5,
    TextList = 7,
    Number64 = 11,
};

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t' || c == u'\r';
}

int hexDigit(QChar c)
{
    const ushort u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if ((u | 0x20) >= 'a' && (u | 0x20) <= 'f')
        return (u | 0x20) - 'a' + 10;
    return -1;
}

/** "1", "0f" or "deadbeef" as a number; nothing for anything else or more than eight digits. */
std::optional<quint32> hexNumber(QStringView digits)
{
    if (digits.isEmpty() || digits.size() > 8)
        return std::nullopt;
    quint32 number = 0;
    for (QChar c : digits) {
        const int digit = hexDigit(c);
        if (digit < 0)
            return std::nullopt;
        number = number << 4 | static_cast<quint32>(digit);
    }
    return number;
}

/** "01, 2,ff" as bytes; nothing if anything else is in between. */
std::optional<QByteArray> hexBytes(QStringView data)
{
    QByteArray bytes;
    data = data.trimmed();
    if (data.isEmpty())
        return bytes;
    bytes.reserve(data.size() / 3 + 1);
    for (qsizetype start = 0; start <= data.size();) {
        qsizetype end = data.indexOf(u',', start);
        if (end < 0)
            end = data.size();
        const QStringView digits = data.sliced(start, end - start).trimmed();
        const auto number = hexNumber(digits);
        if (!number || digits.size() > 2)
            return std::nullopt;
        bytes.append(static_cast<char>(*number));
        start = end + 1;
    }
    return bytes;
}

/** The size in bytes that a type prescribes; nothing for one that takes any. */
std::optional<qsizetype> sizeOfType(uint type)
{
    if (type == Number32 || type == BigEndianNumber32)
        return 4;
    if (type == Number64)
        return 8;
    return std::nullopt;
}

QString textUntilZero(const QString &text)
{
    const qsizetype end = text.indexOf(QChar(u'\0'));
    return end < 0 ? text : text.left(end);
}

QStringList textsUntilEmpty(const QString &joined)
{
    QStringList texts;
    const auto parts = QStringView(joined).split(QChar(u'\0'));
    for (QStringView part : parts) {
        if (part.isEmpty())
            break;
        texts.append(part.toString());
    }
    return texts;
}

/** One pass over a file's text. Each read...() moves m_position past what it understood or says what is wrong. */
class Parser
{
public:
    Parser(QString text, bool isWide)
        : m_text(std::move(text))
        , m_isWide(isWide)
    {}

    Document run();

private:
    using Failure = QString; // Empty if all is well.

    Failure readLine();
    Failure readKey();
    Failure readAssignment();
    Failure readValue(Entry &entry);
    Failure readQuoted(QString &text);
    Failure readTyped(Entry &entry);
    Failure readHexData(QByteArray &bytes);
    Failure setTyped(Entry &entry, uint type, const QByteArray &bytes) const;

    bool atEnd() const { return m_position >= m_text.size(); }
    QChar current() const { return atEnd() ? QChar(u'\n') : m_text.at(m_position); }
    qsizetype lineEnd(qsizetype from) const;
    void skipBlanks();
    bool atLineEnd();
    QString decoded(const QByteArray &bytes) const;

    QString m_text;
    bool m_isWide;
    qsizetype m_position = 0;
    qsizetype m_resume = 0; ///< Where reading goes on if the present line turns out to be faulty.
    bool m_hasKey = false;
    QString m_key;
    Document m_document;
};

Document Parser::run()
{
    int line = 2;
    m_position = qMin(lineEnd(0) + 1, m_text.size());
    while (!atEnd()) {
        const qsizetype start = m_position;
        m_resume = lineEnd(start) + 1;
        const Failure failure = readLine();
        if (failure.isEmpty())
            m_resume = lineEnd(m_position) + 1;
        else
            m_document.faults.append({line, failure});
        m_position = qMin(m_resume, m_text.size());
        line += static_cast<int>(QStringView(m_text).sliced(start, m_position - start).count(u'\n'));
    }
    return m_document;
}

Parser::Failure Parser::readLine()
{
    if (atLineEnd())
        return {};
    if (current() == u'[')
        return readKey();
    if (current() == u'"' || current() == u'@')
        return readAssignment();
    return QStringLiteral("the line is neither a key nor a value");
}

Parser::Failure Parser::readKey()
{
    m_hasKey = false;
    const qsizetype start = m_position + 1;
    QStringView line = QStringView(m_text).sliced(start, lineEnd(start) - start);
    const qsizetype end = line.lastIndexOf(u']');
    if (end < 0)
        return QStringLiteral("the key has no closing bracket");
    m_position = start + end + 1;
    if (!atLineEnd())
        return QStringLiteral("something follows the key's closing bracket");
    const bool removes = line.startsWith(u'-');
    const QString key = line.first(end).sliced(removes ? 1 : 0).toString();
    if (key.isEmpty())
        return QStringLiteral("the key has no name");

    Entry entry;
    entry.kind = removes ? Entry::RemoveKey : Entry::AddKey;
    entry.key = key;
    m_document.entries.append(entry);
    m_hasKey = !removes;
    m_key = key;
    return {};
}

Parser::Failure Parser::readAssignment()
{
    Entry entry;
    entry.kind = Entry::SetValue;
    Failure failure;
    if (current() == u'@')
        ++m_position;
    else
        failure = readQuoted(entry.name);
    if (!failure.isEmpty())
        return failure;
    skipBlanks();
    if (current() != u'=')
        return QStringLiteral("no equals sign follows the value's name");
    ++m_position;
    skipBlanks();
    failure = readValue(entry);
    if (!failure.isEmpty())
        return failure;
    if (!atLineEnd())
        return QStringLiteral("something follows the value");
    if (!m_hasKey)
        return QStringLiteral("the value has no key");
    entry.key = m_key;
    m_document.entries.append(entry);
    return {};
}

Parser::Failure Parser::readValue(Entry &entry)
{
    if (current() == u'-') {
        ++m_position;
        entry.kind = Entry::RemoveValue;
        return {};
    }
    if (current() != u'"')
        return readTyped(entry);
    QString text;
    Failure failure = readQuoted(text);
    entry.value = text;
    return failure;
}

Parser::Failure Parser::readQuoted(QString &text)
{
    // A missing quotation mark must not make the search for it run through the whole of a huge file.
    constexpr qsizetype MaxLength = 1 << 20;
    const qsizetype limit = qMin(m_text.size(), lineEnd(m_position) + MaxLength);
    qsizetype runStart = ++m_position;
    for (; m_position < limit; ++m_position) {
        const QChar c = current();
        if (c != u'"' && c != u'\\')
            continue;
        text += QStringView(m_text).sliced(runStart, m_position - runStart);
        ++m_position;
        if (c == u'"')
            return {};
        if (current() != u'"' && current() != u'\\')
            return QStringLiteral("a backslash in a text is followed by neither a backslash nor a quotation mark");
        runStart = m_position;
    }
    return QStringLiteral("a text has no closing quotation mark");
}

Parser::Failure Parser::readTyped(Entry &entry)
{
    const QStringView line = QStringView(m_text).sliced(m_position, lineEnd(m_position) - m_position);
    const qsizetype colon = line.indexOf(u':');
    const QStringView name = line.first(qMax<qsizetype>(colon, 0));
    if (name.compare(u"dword", Qt::CaseInsensitive) == 0) {
        const QStringView rest = line.sliced(colon + 1);
        const auto number = hexNumber(rest.first(rest.contains(u';') ? rest.indexOf(u';') : rest.size()).trimmed());
        if (!number)
            return QStringLiteral("a dword takes one to eight hexadecimal digits");
        entry.value = static_cast<int>(*number);
        m_position += line.size();
        return {};
    }

    std::optional<quint32> type;
    if (name.compare(u"hex", Qt::CaseInsensitive) == 0)
        type = Binary;
    else if (name.startsWith(u"hex(", Qt::CaseInsensitive) && name.endsWith(u')'))
        type = hexNumber(name.sliced(4, name.size() - 5));
    if (!type)
        return QStringLiteral("the value is of no known type");
    m_position += colon + 1;
    QByteArray bytes;
    const Failure failure = readHexData(bytes);
    return failure.isEmpty() ? setTyped(entry, *type, bytes) : failure;
}

Parser::Failure Parser::readHexData(QByteArray &bytes)
{
    QString data;
    for (bool goesOn = true; goesOn;) {
        const qsizetype end = lineEnd(m_position);
        QStringView line = QStringView(m_text).sliced(m_position, end - m_position);
        const qsizetype comment = line.indexOf(u';');
        line = (comment < 0 ? line : line.first(comment)).trimmed();
        m_position = end;
        m_resume = end + 1;
        goesOn = line.endsWith(u'\\');
        data += goesOn ? line.chopped(1) : line;
        data += u' ';
        if (!goesOn)
            break;
        m_position = qMin(m_resume, m_text.size());
        skipBlanks();
        if (atEnd() || current() == u'[' || current() == u'"' || current() == u'@')
            return QStringLiteral("the data's last line is missing");
    }
    const auto read = hexBytes(data);
    if (!read)
        return QStringLiteral("the data is not a list of hexadecimal bytes");
    bytes = *read;
    return {};
}

Parser::Failure Parser::setTyped(Entry &entry, uint type, const QByteArray &bytes) const
{
    if (bytes.size() != sizeOfType(type).value_or(bytes.size()))
        return QStringLiteral("the data is too short or too long for its type");
    switch (type) {
    case Text:
    case ExpandableText:
        entry.value = textUntilZero(decoded(bytes));
        entry.expandable = type == ExpandableText;
        break;
    case TextList:
        entry.value = textsUntilEmpty(decoded(bytes));
        break;
    case Number32:
        entry.value = qFromLittleEndian<int>(bytes.constData());
        break;
    case BigEndianNumber32:
        entry.value = qFromBigEndian<int>(bytes.constData());
        break;
    case Number64:
        entry.value = qFromLittleEndian<qint64>(bytes.constData());
        break;
    default:
        entry.value = bytes;
        break;
    }
    return {};
}

qsizetype Parser::lineEnd(qsizetype from) const
{
    const qsizetype end = m_text.indexOf(u'\n', from);
    return end < 0 ? m_text.size() : end;
}

void Parser::skipBlanks()
{
    while (!atEnd() && isBlank(current()))
        ++m_position;
}

bool Parser::atLineEnd()
{
    skipBlanks();
    return current() == u'\n' || current() == u';';
}

QString Parser::decoded(const QByteArray &bytes) const
{
    return m_isWide ? TextBytes::fromUtf16(bytes) : TextBytes::fromWindows1252(bytes);
}

QString fileText(QByteArrayView bytes)
{
    if (bytes.startsWith(QByteArrayView("\xFF\xFE")))
        return TextBytes::fromUtf16(bytes.sliced(2));
    if (bytes.startsWith(QByteArrayView("REGEDIT4")))
        return TextBytes::fromWindows1252(bytes);
    const bool hasMark = bytes.startsWith(QByteArrayView("\xEF\xBB\xBF"));
    return QString::fromUtf8(hasMark ? bytes.sliced(3) : bytes);
}

QString quoted(QString text)
{
    text.replace(u'\\', QLatin1String("\\\\")).replace(u'"', QLatin1String("\\\""));
    return u'"' + text + u'"';
}

bool fitsOnLine(const QString &text)
{
    const auto isControl = [](QChar c) { return c < QChar(u' ') || c == QChar(0x7F); };
    return QStringView(text).isValidUtf16() && std::none_of(text.cbegin(), text.cend(), isControl);
}

QByteArray utf16Bytes(const QString &text)
{
    QByteArray bytes(text.size() * 2, Qt::Uninitialized);
    qToLittleEndian<char16_t>(text.utf16(), text.size(), bytes.data());
    return bytes;
}

QByteArray number64Bytes(qint64 number)
{
    QByteArray bytes(sizeof(number), Qt::Uninitialized);
    qToLittleEndian(number, bytes.data());
    return bytes;
}

QByteArray hexData(const char *type, const QByteArray &bytes)
{
    constexpr qsizetype BytesPerLine = 25;
    QByteArray line(type);
    for (qsizetype i = 0; i < bytes.size(); i += BytesPerLine) {
        if (i > 0)
            line += ",\\\r\n  ";
        line += bytes.mid(i, BytesPerLine).toHex(',');
    }
    return line;
}

QByteArray textData(const char *type, const QString &text)
{
    return hexData(type, utf16Bytes(text + QChar(u'\0')));
}

QByteArray valueText(const Entry &entry)
{
    switch (entry.value.typeId()) {
    case QMetaType::Int:
        return "dword:" + QByteArray::number(static_cast<uint>(entry.value.toInt()), 16).rightJustified(8, '0');
    case QMetaType::LongLong:
        return hexData("hex(b):", number64Bytes(entry.value.toLongLong()));
    case QMetaType::QByteArray:
        return hexData("hex:", entry.value.toByteArray());
    case QMetaType::QStringList: {
        QString joined;
        for (const QString &text : entry.value.toStringList())
            joined += text + QChar(u'\0');
        return textData("hex(7):", joined);
    }
    default: {
        const QString text = entry.value.toString();
        if (entry.expandable)
            return textData("hex(2):", text);
        return fitsOnLine(text) ? quoted(text).toUtf8() : textData("hex(1):", text);
    }
    }
}

bool isWritable(const Entry &entry)
{
    const bool hasKey = !entry.key.isEmpty() && !entry.key.startsWith(u'-') && !entry.key.contains(u'\n');
    return hasKey && QStringView(entry.key).isValidUtf16() && QStringView(entry.name).isValidUtf16();
}

} // namespace

bool RegistryText::operator==(const Entry &left, const Entry &right)
{
    return left.kind == right.kind && left.key == right.key && left.name == right.name &&
           left.value.typeId() == right.value.typeId() && left.value == right.value &&
           left.expandable == right.expandable;
}

RegistryText::Document RegistryText::parse(QByteArrayView bytes)
{
    const QString text = fileText(bytes);
    const qsizetype end = text.indexOf(u'\n');
    const QStringView header = QStringView(text).first(end < 0 ? text.size() : end).trimmed();
    if (header != WideHeader && header != NarrowHeader)
        return {{}, {{1, QStringLiteral("the first line is not the header of a registry file")}}};
    return Parser(text, header == WideHeader).run();
}

QByteArray RegistryText::serialize(const QList<Entry> &entries)
{
    QByteArray out = WideHeader.toUtf8() + "\r\n";
    QString currentKey;
    for (const Entry &entry : entries) {
        if (!isWritable(entry))
            continue;
        const bool isRemoval = entry.kind == Entry::RemoveKey;
        if (isRemoval || entry.kind == Entry::AddKey || entry.key != currentKey) {
            out += (isRemoval ? "\r\n[-" : "\r\n[") + entry.key.toUtf8() + "]\r\n";
            currentKey = isRemoval ? QString() : entry.key;
        }
        if (entry.kind != Entry::SetValue && entry.kind != Entry::RemoveValue)
            continue;
        out += entry.name.isEmpty() ? QByteArray("@") : quoted(entry.name).toUtf8();
        out += '=' + (entry.kind == Entry::RemoveValue ? QByteArray("-") : valueText(entry)) + "\r\n";
    }
    return out;
}
