#pragma once

#include <QtCore/QString>
#include <QtGui/QImage>

#include <optional>

namespace KvPlatform {

/**
 * The pictures that the system has for files. Paths have native separators.
 *
 * Each answer tells two things apart: nothing, when the system has no icon for the file, and an image, when it says
 * that it has one. That image is null if the icon handed out could not be read, which is an answer all the same. Images
 * own their pixels.
 */
class Icons
{
public:
    virtual ~Icons();

    /**
     * Readies the system's icon cache for this process. Called once before the first icon is asked for; a system
     * without such a call does nothing. Source: FileIconInit.
     */
    virtual void prepare() const;

    /**
     * The file's picture in the system's list of largest icons: a square of 256 pixels, which a small icon fills only
     * in its top left corner. Source: SHGetFileInfoW, SHGetImageList and IImageList::GetIcon, all of which must
     * succeed.
     */
    virtual std::optional<QImage> largestIcon(const QString &nativePath) const;

    /**
     * An icon out of a program or icon file, in the system's usual icon size of 32 pixels. `index` counts from 0; a
     * negative one is a resource number with its sign turned. Source: ExtractIconExW. It reports a file that can't be
     * read by a count of its own, which is not 0: that is a null image here.
     */
    virtual std::optional<QImage> extractIcon(const QString &nativePath, int index) const;

    /**
     * The icon that the system shows for a file, out of the file itself or of the program that opens it, in the
     * system's usual icon size. Source: ExtractAssociatedIconW.
     */
    virtual std::optional<QImage> associatedIcon(const QString &nativePath, quint16 index) const;
};

} // namespace KvPlatform
