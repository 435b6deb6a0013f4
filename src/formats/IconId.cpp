#include "formats/IconId.h"

#include <QtCore/QUrl>
#include <QtCore/QUrlQuery>

IconId IconId::parse(const QString &id)
{
    const QString text = QUrl::fromPercentEncoding(id.toUtf8());
    const qsizetype mark = text.lastIndexOf(u'?');
    if (mark <= 0)
        return {text, 0, QString()};
    const QUrlQuery query(text.mid(mark + 1));
    return {text.left(mark), query.queryItemValue(QStringLiteral("i")).toInt(),
            query.queryItemValue(QStringLiteral("v"))};
}
