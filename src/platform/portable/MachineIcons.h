#pragma once

#include "platform/Icons.h"

#include <memory>

namespace KvPlatform {

class Files;

/**
 * Icons read from program files, icon files and pictures. May be called from any thread.
 *
 * A file's largest icon is a transparent square of 256 pixels. An image of 256 pixels fills it. Without one, the best
 * image up to 48 pixels stands unscaled in the top left corner; if all are larger than that, the smallest is scaled
 * down to 48. Larger images than 256 are scaled down to it. A file whose images can't be read has no icon, and nothing
 * has one by its kind alone.
 */
class MachineIcons final : public Icons
{
public:
    /** Of icons in several languages, the one in `language` counts if there is one. */
    MachineIcons(std::shared_ptr<const Files> files, quint16 language);

    std::optional<QImage> largestIcon(const QString &nativePath) const override;

    /** Scaled to 32 pixels out of the image that is nearest to it. Pictures that are no icon files have none. */
    std::optional<QImage> extractIcon(const QString &nativePath, int index) const override;

    /** As extractIcon(), and the picture itself of any other picture file. */
    std::optional<QImage> associatedIcon(const QString &nativePath, quint16 index) const override;

private:
    std::shared_ptr<const Files> m_files;
    quint16 m_language;
};

} // namespace KvPlatform
