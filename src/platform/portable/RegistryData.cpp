#include "platform/portable/RegistryData.h"

#include <QtCore/QtEndian>

#include <algorithm>

namespace RegistryData {

namespace {

constexpr QLatin1String ByteArrayMark("@ByteArray(");
constexpr QLatin1String StringMark("@String(");
constexpr QLatin1String InvalidMark("@Invalid()");

QVariant fromText(const QString &text)
{
    if (!text.startsWith(u'@'))
        return text;
    if (text == InvalidMark)
        return QVariant();
    if (text.startsWith(ByteArrayMark) && text.endsWith(u')'))
        return QStringView(text).sliced(ByteArrayMark.size()).chopped(1).toLatin1();
    if (text.startsWith(StringMark) && text.endsWith(u')'))
        return QStringView(text).sliced(StringMark.size()).chopped(1).toString();
    return text.startsWith(u"@@") ? text.mid(1) : text;
}

QString toText(const QVariant &value)
{
    if (!value.isValid())
        return InvalidMark;
    if (value.typeId() == QMetaType::QByteArray)
        return ByteArrayMark + QString::fromLatin1(value.toByteArray()) + u')';
    const QString text = value.toString();
    return text.startsWith(u'@') ? u'@' + text : text;
}

QString textUpToZero(const QString &text)
{
    const qsizetype zero = text.indexOf(QChar::Null);
    return zero < 0 ? text : text.left(zero);
}

QString fromUtf16(const QByteArray &bytes)
{
    QString text(bytes.size() / 2, Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        text[i] = QChar(qFromLittleEndian<quint16>(bytes.constData() + 2 * i));
    return text;
}

QByteArray toUtf16(const QString &text)
{
    QByteArray bytes(text.size() * 2, Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        qToLittleEndian(quint16(text[i].unicode()), bytes.data() + 2 * i);
    return bytes;
}

QVariant fromTexts(const QStringList &texts)
{
    if (std::none_of(texts.begin(), texts.end(), [](const QString &text) { return text.startsWith(u'@'); }))
        return texts;
    QVariantList list;
    for (const QString &text : texts)
        list.append(fromText(text));
    // Escaped texts only are still a list of texts.
    if (std::all_of(list.begin(), list.end(), [](const QVariant &item) { return item.typeId() == QMetaType::QString; }))
        return QVariant(list).toStringList();
    return list;
}

} // namespace

QVariant toSetting(const QVariant &data)
{
    switch (data.typeId()) {
    case QMetaType::QString:
        return fromText(textUpToZero(data.toString()));
    case QMetaType::QStringList:
        return fromTexts(data.toStringList());
    case QMetaType::QByteArray:
        return fromText(fromUtf16(data.toByteArray()));
    default:
        return data;
    }
}

QVariant fromSetting(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
        return value.toInt();
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toLongLong();
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        QStringList texts;
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            texts.append(toText(item));
        return texts;
    }
    default:
        break;
    }
    const QString text = toText(value);
    return text.contains(QChar::Null) ? QVariant(toUtf16(text)) : QVariant(text);
}

} // namespace RegistryData
