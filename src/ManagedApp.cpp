#include "ManagedApp.h"

#include "KvProgramContext_p.h"
#include "KvSecurity.h"

#include <QtCore/QDebug>

using KvPlatform::AppListEntry;
using KvPlatform::hresult_error;
using KvPlatform::Package;
using KvPlatform::Platform;
using KvPlatform::SoftwareBitmap;

namespace {

constexpr float LogoSize = 225;

std::unique_ptr<Package> findPackage(const QString &fullName)
{
    const std::unique_ptr<KvPlatform::PackageManager> manager = Platform::current()->packages->packageManager();
    if (!manager)
        return nullptr;
    return KvSecurity::isElevated() ? manager->findPackage(fullName) : manager->findPackageForUser(QString(), fullName);
}

/** The same picture as 8 bits each of red, green, blue and alpha, the colours multiplied by alpha. */
std::unique_ptr<SoftwareBitmap> unified(std::unique_ptr<SoftwareBitmap> bitmap)
{
    constexpr int Rgba8 = 30;
    constexpr int Premultiplied = 0;
    constexpr int Straight = 1;
    if (bitmap->pixelFormat() == Rgba8 && bitmap->alphaMode() != Straight)
        return bitmap;
    return bitmap->convert(Rgba8, Premultiplied);
}

bool launchEntry(const QString &fullName, int index)
{
    const std::unique_ptr<AppListEntry> entry = ManagedApp::find(fullName, index);
    if (!entry)
        return false;
    const QString userId = nonRoamableId();
    if (KvSecurity::isElevated() && !userId.isEmpty())
        entry->launchForUser(Platform::current()->packages->userFromId(userId).get());
    else
        entry->launch();
    return true;
}

QImage loadLogo(const QString &fullName, int index)
{
    const std::unique_ptr<AppListEntry> entry = ManagedApp::find(fullName, index);
    if (!entry)
        return QImage();
    std::unique_ptr<SoftwareBitmap> bitmap = entry->displayInfo()->logo(LogoSize, LogoSize);
    if (!bitmap)
        return QImage();
    const std::optional<KvPlatform::BitmapPixels> pixels = unified(std::move(bitmap))->pixels();
    if (!pixels)
        return QImage();
    const auto *const bytes = reinterpret_cast<const uchar *>(pixels->bytes.constData());
    return QImage(bytes, pixels->width, pixels->height, QImage::Format_RGBA8888_Premultiplied).copy();
}

QImage middleOf(const QImage &plate)
{
    const auto part = [](double share, int length) { return static_cast<int>(share * length); };
    return plate.copy(part(0.3, plate.width()), part(0.3, plate.height()), part(0.4, plate.width()),
                      part(0.4, plate.height()));
}

} // namespace

std::unique_ptr<AppListEntry> ManagedApp::find(const QString &fullName, int index)
{
    const std::unique_ptr<Package> package = findPackage(fullName);
    if (!package)
        return nullptr;
    const std::unique_ptr<KvPlatform::AppListEntries> entries = package->appListEntries();
    // As unsigned numbers, so that a negative position is beyond every end.
    const auto position = static_cast<quint32>(index);
    return entries->size() > position ? entries->at(position) : nullptr;
}

bool ManagedApp::launch(const QString &fullName, int index, const QString &displayName, const char *function)
{
    try {
        return launchEntry(fullName, index);
    } catch (const hresult_error &error) {
        QMessageLogger("KvProgramContext", __LINE__, function).warning()
            << "[FAIL] can't launch uwp app:" << displayName << "err:" << error.code() << "reason:" << error.message();
        return false;
    }
}

QImage ManagedApp::icon(const QString &fullName, int index, bool (*isNarrow)(const QImage &image), const char *function)
{
    const QMessageLogger logger("KvProgramIconProvider", __LINE__, function);
    try {
        const QImage logo = loadLogo(fullName, index);
        return !logo.isNull() && isNarrow(logo) ? middleOf(logo) : logo;
    } catch (const hresult_error &error) {
        logger.warning() << "[FAIL] can't get icon for:" << fullName << "err:" << error.code()
                         << "reason:" << error.message();
    } catch (...) {
        logger.warning() << "[FAIL] can't get icon for:" << fullName << "unknown error";
    }
    return QImage();
}
