#include "formats/PeIcons.h"

#include "formats/ByteReader.h"
#include "formats/PeFile.h"

#include <algorithm>

namespace {

/** One resource for each position: the first in the language, or else the first. */
QList<PeFile::Resource> inLanguage(const QList<PeFile::Resource> &resources, quint16 language)
{
    QList<PeFile::Resource> chosen;
    for (const PeFile::Resource &resource : resources) {
        if (chosen.isEmpty() || chosen.last().position != resource.position)
            chosen.append(resource);
        else if (resource.language == language && chosen.last().language != language)
            chosen.last() = resource;
    }
    return chosen;
}

} // namespace

std::optional<PeIcons> PeIcons::parse(QByteArrayView bytes, quint16 language)
{
    const std::optional<PeFile> file = PeFile::parse(bytes);
    if (!file)
        return std::nullopt;
    PeIcons icons;
    for (const PeFile::Resource &group : inLanguage(file->resources(PeFile::GroupIcon), language)) {
        // A name whose resources are damaged counts all the same, so that the others keep their places.
        icons.m_groups.resize(group.position);
        icons.m_groups.append({group.name, group.data});
    }
    if (icons.m_groups.isEmpty())
        return icons;
    for (const PeFile::Resource &image : inLanguage(file->resources(PeFile::Icon), language)) {
        if (image.name != 0 && !icons.m_images.contains(image.name))
            icons.m_images.insert(image.name, image.data);
    }
    return icons;
}

std::optional<QList<IconImage>> PeIcons::at(qsizetype index) const
{
    if (index < 0 || index >= m_groups.size())
        return std::nullopt;
    return images(m_groups.at(index));
}

std::optional<QList<IconImage>> PeIcons::withNumber(quint32 number) const
{
    const auto found = std::find_if(m_groups.cbegin(), m_groups.cend(),
                                    [number](const Group &group) { return number != 0 && group.number == number; });
    return found == m_groups.cend() ? std::nullopt : std::optional<QList<IconImage>>(images(*found));
}

QList<IconImage> PeIcons::images(const Group &group) const
{
    ByteReader reader(group.directory);
    reader.take(2);
    const bool isIcon = reader.u16() == 1;
    const int count = reader.u16();
    QList<IconImage> images;
    for (int i = 0; isIcon && i < count; ++i) {
        reader.take(12);
        const quint32 number = reader.u16();
        if (!reader.ok())
            break;
        if (const auto image = IconImage::parse(m_images.value(number)))
            images.append(*image);
    }
    return images;
}
