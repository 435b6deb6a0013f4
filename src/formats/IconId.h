#pragma once

#include <QtCore/QString>

/**
 * What an image URL asks of the icon provider: the part of "image://app/<path>?i=<index>&v=<version>" behind the host,
 * percent-encoded as QUrl writes it.
 */
struct IconId
{
    QString path;    ///< A file, or a package's full name behind "uwp:".
    int index = 0;   ///< The icon's number in the file, or the entry's in the package.
    QString version; ///< The record's version; empty if the URL names none.

    /**
     * Reads any text. What follows the last question mark is the query, unless that mark comes first; an index that is
     * no decimal number is 0. Pure.
     */
    static IconId parse(const QString &id);
};
