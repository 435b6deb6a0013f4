#pragma once

#include <QtCore/qalgorithms.h>
#include <QtCore/QtEndian>

/** Runs of printable ASCII in binary data. */
namespace PrintableText {

constexpr bool isPrintable(char byte)
{
    return byte >= 0x20 && byte <= 0x7E;
}

/** The top bit of each of eight bytes, in the order of the bytes from the lowest on, if the byte is not printable. */
constexpr quint64 unprintableBits(quint64 bytes)
{
    constexpr quint64 TopBits = 0x8080808080808080;
    const quint64 low = bytes & ~TopBits;
    const quint64 fromSpaceOn = low + 0x6060606060606060;
    const quint64 isLast = low + 0x0101010101010101;
    return (bytes | ~fromSpaceOn | isLast) & TopBits;
}

/** The place of the first byte from `at` on that is not printable; `size` if there is none. */
inline qsizetype endOfRun(const char *bytes, qsizetype at, qsizetype size)
{
    for (; size - at >= 8; at += 8) {
        if (const quint64 bits = unprintableBits(qFromLittleEndian<quint64>(bytes + at)))
            return at + static_cast<qsizetype>(qCountTrailingZeroBits(bits) / 8);
    }
    while (at < size && isPrintable(bytes[at]))
        ++at;
    return at;
}

/** The place of the first printable byte from `at` on; `size` if there is none. */
inline qsizetype startOfRun(const char *bytes, qsizetype at, qsizetype size)
{
    while (at < size && !isPrintable(bytes[at]))
        ++at;
    return at;
}

} // namespace PrintableText
