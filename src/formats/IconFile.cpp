#include "formats/IconFile.h"

#include "formats/ByteReader.h"

bool IconFile::isIconFile(QByteArrayView bytes)
{
    return bytes.startsWith(QByteArrayView("\0\0\1\0", 4));
}

std::optional<QList<IconImage>> IconFile::parse(QByteArrayView bytes)
{
    if (!isIconFile(bytes))
        return std::nullopt;
    ByteReader reader(bytes, 4);
    const int count = reader.u16();
    QList<IconImage> images;
    for (int i = 0; i < count; ++i) {
        // What the entry tells of the image's looks is often wrong; its own header isn't.
        reader.take(8);
        const quint32 size = reader.u32();
        const quint32 offset = reader.u32();
        if (!reader.ok())
            break;
        ByteReader data(bytes, offset);
        if (const auto image = IconImage::parse(data.take(size)))
            images.append(*image);
    }
    return images;
}
