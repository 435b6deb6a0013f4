#include "KvProgramContext.h"
#include "KvProgramIconProvider_p.h"
#include "platform/Files.h"
#include "platform/Icons.h"
#include "platform/Platform.h"
#include "platform/WindowsPath.h"

#include <QtGui/QImageReader>

#include <cstdlib>

using KvPlatform::Platform;

namespace {

constexpr int LargestSize = 100; // Logical pixels.
constexpr int CornerSize = 48;   // The same; what the shell shows of a small icon.
constexpr int IconFileSize = 64;

QString managedPrefix()
{
    return ProgramInfo::SCHEME_MANAGED_APP + u':';
}

} // namespace

QImage KvProgramIconProvider::loadAppIcon(const Shared &shared, const QString &path, int index)
{
    const QString prefix = managedPrefix();
    QImage image;
    if (path.startsWith(prefix))
        image = loadManagedAppIcon(path.mid(prefix.size()), index);
    else if (path.contains(QLatin1String("ico")))
        image = loadIcoAppIcon(path, IconFileSize);
    else
        image = loadDesktopAppIcon(shared, path, index);
    if (image.isNull())
        return image;
    const int limit = shared.scaled(LargestSize);
    return image.width() > limit ? image.scaledToWidth(limit, Qt::SmoothTransformation) : image;
}

QImage KvProgramIconProvider::loadDesktopAppIcon(const Shared &shared, const QString &path, int index)
{
    const std::shared_ptr<const Platform> platform = Platform::current();
    const QString nativePath = WindowsPath::toNativeSeparators(path);
    if (const auto image = platform->icons->largestIcon(nativePath)) {
        if (hasFilledRow(*image, 0))
            return *image;
        // A small icon in the corner of an empty square.
        const int size = shared.scaled(CornerSize);
        return image->copy(0, 0, size, size);
    }
    if (const auto image = platform->icons->extractIcon(nativePath, index))
        return *image;
    return platform->icons->associatedIcon(nativePath, static_cast<quint16>(index)).value_or(QImage());
}

QImage KvProgramIconProvider::loadIcoAppIcon(const QString &path, int size)
{
    QImageReader reader(Platform::current()->files->hostPath(path), QByteArray());
    const int count = reader.imageCount();
    QImage best;
    int bestDifference = 999;
    for (int i = 0; i < count; ++i) {
        reader.jumpToImage(i);
        const QImage image = reader.read();
        const int difference = std::abs(image.width() - size);
        if (difference == 0)
            return image;
        if (difference < bestDifference) {
            best = image;
            bestDifference = difference;
        }
    }
    return best;
}
