#pragma once

#include <QtCore/QString>
#include <QtCore/QStringView>

/** The text by which Windows compares names of files, keys, values and variables: each UTF-16 unit in upper case. */
inline QString upperCased(QStringView text)
{
    QString result = text.toString();
    for (QChar &unit : result) {
        const QChar upper = unit.toUpper();
        // Windows keeps letters such as the dotless i apart from the ASCII ones.
        if (upper != unit && (unit.unicode() < 0x80 || upper.unicode() >= 0x80))
            unit = upper;
    }
    return result;
}
