#include "platform/portable/MachineIcons.h"

#include "formats/IconFile.h"
#include "formats/PeIcons.h"
#include "platform/Files.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtGui/QImageReader>

#include <algorithm>

namespace KvPlatform {

namespace {

constexpr int LargestSide = 256;
constexpr int CornerSide = 48;
constexpr int UsualSide = 32;
constexpr int MaxPictureSide = 4096;

using Images = QList<IconImage>;

/** A file's bytes, read as they are looked at: programs are large and their icons small. */
class MappedFile
{
public:
    explicit MappedFile(const QString &hostPath)
        : m_file(hostPath)
    {
        m_isOpen = QFileInfo(hostPath).isFile() && m_file.open(QIODevice::ReadOnly);
        if (m_isOpen)
            m_content = m_file.map(0, m_file.size());
    }

    bool isOpen() const { return m_isOpen; }
    QByteArrayView bytes() const { return QByteArrayView(m_content, m_content ? qsizetype(m_file.size()) : 0); }

private:
    QFile m_file;
    bool m_isOpen = false;
    const uchar *m_content = nullptr;
};

int side(QSize size)
{
    return qMax(size.width(), size.height());
}

/** The image for which `isBetter(a, b)` holds against all others; of equal ones that with the most colours. */
template<typename Better>
const IconImage *best(const Images &images, Better isBetter)
{
    const auto found =
        std::min_element(images.cbegin(), images.cend(), [&isBetter](const IconImage &a, const IconImage &b) {
            if (side(a.size()) == side(b.size()))
                return a.bitCount() > b.bitCount();
            return isBetter(side(a.size()), side(b.size()));
        });
    return found == images.cend() ? nullptr : &*found;
}

const IconImage *bestForLargest(const Images &images)
{
    // From the best to the worst: from 256 up, from 48 down, from 49 up.
    const auto rank = [](int side) { return side >= LargestSide ? 0 : side <= CornerSide ? 1 : 2; };
    return best(images, [rank](int a, int b) {
        if (rank(a) != rank(b))
            return rank(a) < rank(b);
        return rank(a) == 1 ? a > b : a < b;
    });
}

const IconImage *bestForUsual(const Images &images)
{
    return best(images, [](int a, int b) {
        const int difference = qAbs(a - UsualSide) - qAbs(b - UsualSide);
        return difference == 0 ? a > b : difference < 0;
    });
}

QImage fitted(const QImage &image, int newSide)
{
    return side(image.size()) == newSide
               ? image
               : image.scaled(newSide, newSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

/** A transparent square with the image at an offset from its top left corner. */
QImage onSquare(QImage image, int squareSide, QPoint offset)
{
    image.convertTo(QImage::Format_ARGB32_Premultiplied);
    if (image.size() == QSize(squareSide, squareSide))
        return image;
    return image.copy(QRect(-offset, QSize(squareSide, squareSide)));
}

QImage centred(const QImage &image, int squareSide)
{
    const QImage inside = fitted(image, squareSide);
    return onSquare(inside, squareSide, {(squareSide - inside.width()) / 2, (squareSide - inside.height()) / 2});
}

std::optional<QImage> largest(const QImage &image)
{
    if (image.isNull())
        return std::nullopt;
    if (side(image.size()) >= LargestSide)
        return centred(image, LargestSide);
    return onSquare(side(image.size()) > CornerSide ? fitted(image, CornerSide) : image, LargestSide, {0, 0});
}

std::optional<QImage> usual(const QImage &image)
{
    return image.isNull() ? std::nullopt : std::optional<QImage>(centred(image, UsualSide));
}

QImage decoded(const IconImage *image)
{
    return image ? image->decode() : QImage();
}

/** The images of an icon, by index or, if that is negative, by resource number. An icon file has one icon. */
std::optional<Images> iconImages(QByteArrayView bytes, int index, quint16 language)
{
    if (IconFile::isIconFile(bytes))
        return index == 0 ? IconFile::parse(bytes) : std::nullopt;
    const std::optional<PeIcons> icons = PeIcons::parse(bytes, language);
    if (!icons)
        return std::nullopt;
    return index < 0 ? icons->withNumber(0U - static_cast<quint32>(index)) : icons->at(index);
}

QImage picture(const QString &hostPath)
{
    static constexpr const char16_t *Suffixes[] = {u".png", u".bmp", u".jpg", u".jpeg", u".gif"};
    if (std::none_of(std::begin(Suffixes), std::end(Suffixes),
                     [&hostPath](QStringView suffix) { return hostPath.endsWith(suffix, Qt::CaseInsensitive); }))
        return QImage();
    QImageReader reader(hostPath);
    reader.setDecideFormatFromContent(true);
    return reader.size().isValid() && side(reader.size()) <= MaxPictureSide ? reader.read() : QImage();
}

} // namespace

MachineIcons::MachineIcons(std::shared_ptr<const Files> files, quint16 language)
    : m_files(std::move(files))
    , m_language(language)
{}

std::optional<QImage> MachineIcons::largestIcon(const QString &nativePath) const
{
    const QString hostPath = m_files->hostPath(nativePath);
    const MappedFile file(hostPath);
    if (!file.isOpen())
        return std::nullopt;
    const std::optional<Images> images = iconImages(file.bytes(), 0, m_language);
    return largest(images ? decoded(bestForLargest(*images)) : picture(hostPath));
}

std::optional<QImage> MachineIcons::extractIcon(const QString &nativePath, int index) const
{
    const MappedFile file(m_files->hostPath(nativePath));
    if (!file.isOpen())
        return QImage();
    const std::optional<Images> images = iconImages(file.bytes(), index, m_language);
    return images ? usual(decoded(bestForUsual(*images))) : std::nullopt;
}

std::optional<QImage> MachineIcons::associatedIcon(const QString &nativePath, quint16 index) const
{
    const QString hostPath = m_files->hostPath(nativePath);
    const MappedFile file(hostPath);
    if (!file.isOpen())
        return std::nullopt;
    const std::optional<Images> images = iconImages(file.bytes(), index, m_language);
    return usual(images ? decoded(bestForUsual(*images)) : picture(hostPath));
}

} // namespace KvPlatform
