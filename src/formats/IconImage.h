#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QSize>
#include <QtGui/QImage>

#include <optional>

/**
 * One image of an icon: a PNG file, or a device-independent bitmap with its transparency mask behind it.
 *
 * Format: "Icons", Microsoft; BITMAPINFOHEADER; PNG, W3C. Only a view of the bytes is kept, so the bytes must outlive
 * the object. Parsing looks at nothing but the headers and takes no memory.
 */
class IconImage
{
public:
    /** Images that are wider or higher than this are refused; in pixels. The format itself ends at 256. */
    static constexpr int MaxSide = 1024;

    /**
     * Nothing if the bytes are no image of an icon, if it is too large, or if a bitmap's bytes end before its pixels
     * do. Bitmaps may have 1, 4, 8, 16, 24 or 32 bits for each pixel, uncompressed and bottom-up; those of 32 bits may
     * lack the mask.
     */
    static std::optional<IconImage> parse(QByteArrayView bytes);

    /** In pixels, without the mask. */
    QSize size() const { return m_size; }

    /** Bits for each pixel; 32 for a PNG. */
    int bitCount() const { return m_bitCount; }

    /**
     * The image with straight alpha in QImage::Format_ARGB32, or null if a PNG turns out to be damaged. A bitmap is
     * transparent where its mask is, except that one of 32 bits goes by its own alpha if any pixel has some. What the
     * mask would turn into the inverse of the screen is transparent.
     */
    QImage decode() const;

private:
    static std::optional<IconImage> parsePng(QByteArrayView bytes);
    static std::optional<IconImage> parseBitmap(QByteArrayView bytes);
    void readRow(const char *row, QRgb *line) const;
    bool applyOwnAlpha(QImage *image) const;
    void applyMask(QImage *image) const;

    QSize m_size;
    int m_bitCount = 32;
    QByteArrayView m_png;     ///< The whole file; empty for a bitmap.
    QByteArrayView m_palette; ///< Four bytes for each colour.
    QByteArrayView m_pixels;  ///< Rows from the lowest one up, each padded to four bytes.
    QByteArrayView m_mask;    ///< As the pixels, with one bit each; empty without a mask.
};
