#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QtEndian>

/**
 * Reads little-endian numbers one after the other without ever leaving the bytes.
 *
 * A read that would leave them gives zero (or no bytes) and makes the reader fail for good, so a parser may read a
 * whole structure and ask ok() once. Only a view of the bytes is kept.
 */
class ByteReader
{
public:
    explicit ByteReader(QByteArrayView bytes)
        : m_bytes(bytes)
    {}

    /** Starts reading at `offset`; fails if that is beyond the end. */
    ByteReader(QByteArrayView bytes, quint64 offset)
        : m_bytes(bytes)
    {
        seek(offset);
    }

    /** Whether everything so far was inside of the bytes. */
    bool ok() const { return m_ok; }

    /** The offset of the next read, in bytes. */
    quint64 position() const { return static_cast<quint64>(m_position); }

    /** What is left to read, in bytes. */
    quint64 left() const { return static_cast<quint64>(m_bytes.size() - m_position); }

    /** Goes to an absolute offset. */
    void seek(quint64 offset)
    {
        if (offset > static_cast<quint64>(m_bytes.size()))
            m_ok = false;
        else if (m_ok)
            m_position = static_cast<qsizetype>(offset);
    }

    quint8 u8() { return number<quint8>(); }
    quint16 u16() { return number<quint16>(); }
    quint32 u32() { return number<quint32>(); }

    /** The next `length` bytes. */
    QByteArrayView take(quint64 length)
    {
        if (!m_ok || length > left()) {
            m_ok = false;
            return {};
        }
        const QByteArrayView taken = m_bytes.sliced(m_position, static_cast<qsizetype>(length));
        m_position += taken.size();
        return taken;
    }

private:
    template<typename Number>
    Number number()
    {
        const QByteArrayView taken = take(sizeof(Number));
        return m_ok ? qFromLittleEndian<Number>(taken.data()) : Number(0);
    }

    QByteArrayView m_bytes;
    qsizetype m_position = 0;
    bool m_ok = true;
};
