#include "formats/AppList.h"

#include <QtCore/QXmlStreamReader>

void AppList::read(const QByteArray &list, const std::function<void(const QXmlStreamAttributes &)> &visit)
{
    QXmlStreamReader reader(list);
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (reader.name() == QLatin1String("APP"))
            visit(reader.attributes());
        reader.readNext();
    }
}
