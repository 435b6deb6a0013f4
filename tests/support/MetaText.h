#pragma once

#include <QtCore/QMetaClassInfo>
#include <QtCore/QMetaEnum>
#include <QtCore/QMetaMethod>
#include <QtCore/QMetaObject>
#include <QtCore/QMetaProperty>
#include <QtCore/QStringList>

/** What a class declares to the meta-object system, without its base classes' share, as texts in declaration order. */
namespace MetaText {

/** Such as "QString name NOTIFY nameChanged FINAL", with WRITE, RESET, CONSTANT and BINDABLE where they are there. */
inline QString property(const QMetaProperty &property)
{
    QString text =
        QString::fromLatin1(property.metaType().name()) + QLatin1Char(' ') + QString::fromLatin1(property.name());
    if (property.isWritable())
        text += QLatin1String(" WRITE");
    if (property.isResettable())
        text += QLatin1String(" RESET");
    if (property.isConstant())
        text += QLatin1String(" CONSTANT");
    if (property.isBindable())
        text += QLatin1String(" BINDABLE");
    if (property.hasNotifySignal())
        text += QLatin1String(" NOTIFY ") + QString::fromLatin1(property.notifySignal().name());
    if (property.isFinal())
        text += QLatin1String(" FINAL");
    return text;
}

inline QStringList properties(const QMetaObject &meta)
{
    QStringList texts;
    for (int index = meta.propertyOffset(); index < meta.propertyCount(); ++index)
        texts.append(property(meta.property(index)));
    return texts;
}

/** The signatures of the methods of one kind, behind the result's type unless that is void. */
inline QStringList methods(const QMetaObject &meta, QMetaMethod::MethodType type)
{
    QStringList texts;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
        const QMetaMethod method = meta.method(index);
        if (method.methodType() != type)
            continue;
        const QString result = QString::fromLatin1(method.typeName());
        const QString signature = QString::fromLatin1(method.methodSignature());
        texts.append(result == QLatin1String("void") ? signature : result + QLatin1Char(' ') + signature);
    }
    return texts;
}

inline QStringList classInfos(const QMetaObject &meta)
{
    QStringList texts;
    for (int index = meta.classInfoOffset(); index < meta.classInfoCount(); ++index) {
        const QMetaClassInfo info = meta.classInfo(index);
        texts.append(QString::fromLatin1(info.name()) + QLatin1Char('=') + QString::fromUtf8(info.value()));
    }
    return texts;
}

/** Such as "Color: Red 0, Green 1". */
inline QStringList enumerations(const QMetaObject &meta)
{
    QStringList texts;
    for (int index = meta.enumeratorOffset(); index < meta.enumeratorCount(); ++index) {
        const QMetaEnum enumeration = meta.enumerator(index);
        QStringList values;
        for (int key = 0; key < enumeration.keyCount(); ++key)
            values.append(QStringLiteral("%1 %2").arg(QLatin1String(enumeration.key(key))).arg(enumeration.value(key)));
        texts.append(QString::fromLatin1(enumeration.name()) + QLatin1String(": ") + values.join(QLatin1String(", ")));
    }
    return texts;
}

} // namespace MetaText
