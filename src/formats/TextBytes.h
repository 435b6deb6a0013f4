#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QString>
#include <QtCore/QtEndian>

#include <optional>

/** Texts as Windows files store them. The bytes need no alignment. */
namespace TextBytes {

/** Windows-1252 as Unicode. The five bytes without a character become the control character of the same number. */
inline QString fromWindows1252(QByteArrayView bytes)
{
    static constexpr char16_t High[32] = {
        0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
    };
    QString text = QString::fromLatin1(bytes.data(), bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<uchar>(bytes[i]);
        if (byte >= 0x80 && byte < 0xA0)
            text[i] = QChar(High[byte - 0x80]);
    }
    return text;
}

/** UTF-16 LE, unpaired surrogates kept as they are. An odd last byte is left out. */
inline QString fromUtf16(QByteArrayView bytes)
{
    QString text(bytes.size() / 2, Qt::Uninitialized);
    if (!text.isEmpty()) // An empty view may have no address to copy from.
        qFromLittleEndian<char16_t>(bytes.data(), text.size(), text.data());
    return text;
}

/** The bytes before the first zero byte; nothing if there is none. */
inline std::optional<QByteArrayView> beforeZero(QByteArrayView bytes)
{
    const qsizetype end = bytes.indexOf('\0');
    if (end < 0)
        return std::nullopt;
    return bytes.first(end);
}

/** The bytes before the first UTF-16 unit that is zero; nothing if there is none. */
inline std::optional<QByteArrayView> beforeZeroUnit(QByteArrayView bytes)
{
    for (qsizetype i = 0; i + 1 < bytes.size(); i += 2) {
        if (bytes[i] == '\0' && bytes[i + 1] == '\0')
            return bytes.first(i);
    }
    return std::nullopt;
}

} // namespace TextBytes
