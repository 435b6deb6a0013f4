#include "formats/VersionInfo.h"

#include "formats/ByteReader.h"
#include "formats/TextBytes.h"

#include <QtCore/QList>

namespace {

constexpr quint64 HeaderSize = 6;
constexpr char RootKey[] = "VS_VERSION_INFO";

quint64 aligned(quint64 offset)
{
    return (offset + 3) & ~quint64(3);
}

QByteArrayView slice(QByteArrayView bytes, quint64 start, quint64 end)
{
    return bytes.sliced(static_cast<qsizetype>(start), static_cast<qsizetype>(end - start));
}

struct Node
{
    quint64 length = 0;
    QString key;
    VersionInfo::Value value;
    QByteArrayView children;
};

/** Reads the node at the start of `bytes`; nothing if its header, key or length is damaged. */
std::optional<Node> readNode(QByteArrayView bytes)
{
    ByteReader header(bytes);
    const quint16 length = header.u16();
    const quint16 valueLength = header.u16();
    const quint16 type = header.u16();
    if (!header.ok() || length < HeaderSize || length > bytes.size())
        return std::nullopt;

    const QByteArrayView own = bytes.first(length);
    const auto key = TextBytes::beforeZeroUnit(own.sliced(HeaderSize));
    if (!key)
        return std::nullopt;

    Node node;
    node.length = length;
    node.key = TextBytes::fromUtf16(*key);
    node.value.length = valueLength;
    // The root's fixed information is binary whatever its type says.
    const bool isText = type == 1 && node.key != QLatin1String(RootKey);
    const quint64 start = qMin<quint64>(aligned(HeaderSize + static_cast<quint64>(key->size()) + 2), length);
    const quint64 end = qMin<quint64>(start + quint64(valueLength) * (isText ? 2 : 1), length);
    if (valueLength > 0)
        node.value.bytes = slice(own, start, isText ? length : end);
    node.children = slice(own, qMin<quint64>(aligned(end), length), length);
    return node;
}

/** The first child with that key, in any case. */
std::optional<Node> findChild(QByteArrayView children, QStringView key)
{
    while (!children.isEmpty()) {
        auto child = readNode(children);
        if (!child)
            return std::nullopt;
        if (key.compare(child->key, Qt::CaseInsensitive) == 0)
            return child;
        const quint64 size = static_cast<quint64>(children.size());
        children = children.sliced(static_cast<qsizetype>(qMin(aligned(child->length), size)));
    }
    return std::nullopt;
}

} // namespace

std::optional<VersionInfo> VersionInfo::parse(QByteArrayView bytes)
{
    const auto root = readNode(bytes);
    if (!root || root->key != QLatin1String(RootKey))
        return std::nullopt;
    VersionInfo info;
    info.m_bytes = bytes;
    return info;
}

std::optional<VersionInfo::Value> VersionInfo::query(const QString &subBlock) const
{
    auto node = readNode(m_bytes);
    const auto keys = QStringView(subBlock).split(u'\\', Qt::SkipEmptyParts);
    for (qsizetype i = 0; node && i < keys.size(); ++i)
        node = findChild(node->children, keys.at(i));
    if (!node)
        return std::nullopt;
    return node->value;
}

QString VersionInfo::text(const Value &value)
{
    return TextBytes::fromUtf16(TextBytes::beforeZeroUnit(value.bytes).value_or(value.bytes));
}
