#pragma once

#include "formats/IconImage.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <optional>

/**
 * The icons of a Portable Executable file, each of which is a group of images.
 *
 * Format: "PE Format" and "Icons" (GRPICONDIR), Microsoft. Only views of the bytes are kept, so the bytes must outlive
 * the object. Images that are missing or can't be read are left out of their icon.
 */
class PeIcons
{
public:
    /** Nothing if the bytes are not a PE file. Of an icon in several languages, the one in `language` or the first. */
    static std::optional<PeIcons> parse(QByteArrayView bytes, quint16 language = 0);

    /** The images of an icon, counted from 0 in the order of the file's directory; nothing if there is none. */
    std::optional<QList<IconImage>> at(qsizetype index) const;

    /** The images of the icon with that resource number; nothing if there is none. */
    std::optional<QList<IconImage>> withNumber(quint32 number) const;

private:
    struct Group
    {
        quint32 number = 0; ///< 0 for one that has a text as its name.
        QByteArrayView directory;
    };

    QList<IconImage> images(const Group &group) const;

    QList<Group> m_groups;
    QHash<quint32, QByteArrayView> m_images; ///< By resource number.
};
