#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtEndian>

/** Appends little-endian numbers and texts to a byte array, for tests that make files of a binary format. */
class ByteWriter
{
public:
    ByteWriter &u8(quint8 number) { return append(number); }
    ByteWriter &u16(quint16 number) { return append(number); }
    ByteWriter &u32(quint32 number) { return append(number); }

    ByteWriter &bytes(const QByteArray &bytes)
    {
        m_bytes += bytes;
        return *this;
    }

    ByteWriter &zeros(qsizetype count) { return bytes(QByteArray(count, '\0')); }

    /** UTF-16 LE without a terminating zero. */
    ByteWriter &utf16(const QString &text)
    {
        for (QChar c : text)
            u16(c.unicode());
        return *this;
    }

    /** UTF-16 LE with a terminating zero. */
    ByteWriter &utf16z(const QString &text) { return utf16(text).u16(0); }

    /** Latin-1 with a terminating zero. */
    ByteWriter &latin1z(const QString &text) { return bytes(text.toLatin1()).u8(0); }

    /** Appends zeros until the size is a multiple of `boundary`. */
    ByteWriter &align(qsizetype boundary) { return zeros((boundary - m_bytes.size() % boundary) % boundary); }

    /** Appends zeros up to the offset. */
    ByteWriter &padTo(qsizetype offset) { return zeros(qMax<qsizetype>(offset - m_bytes.size(), 0)); }

    /** Overwrites a number written before. */
    void patchU16(qsizetype offset, quint16 number) { qToLittleEndian(number, m_bytes.data() + offset); }
    void patchU32(qsizetype offset, quint32 number) { qToLittleEndian(number, m_bytes.data() + offset); }

    qsizetype size() const { return m_bytes.size(); }
    quint16 size16() const { return static_cast<quint16>(m_bytes.size()); }
    quint32 size32() const { return static_cast<quint32>(m_bytes.size()); }
    QByteArray result() const { return m_bytes; }

private:
    template<typename Number>
    ByteWriter &append(Number number)
    {
        m_bytes.resize(m_bytes.size() + static_cast<qsizetype>(sizeof(Number)));
        qToLittleEndian(number, m_bytes.data() + m_bytes.size() - sizeof(Number));
        return *this;
    }

    QByteArray m_bytes;
};
