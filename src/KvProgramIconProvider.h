#pragma once

#include "kvprogram_export.h"

#include <QtGui/QImage>
#include <QtQuick/QQuickAsyncImageProvider>

#include <memory>

QT_BEGIN_NAMESPACE
class QQuickWindow;
QT_END_NAMESPACE

/**
 * Answers the image URLs of programs and packages.
 *
 * A host adds one to its QML engine, which then owns it, and tells it the window that shows the pictures:
 *
 *     auto *const icons = new KvProgramIconProvider(nullptr);
 *     engine.addImageProvider(ProgramInfo::ICON_PROVIDER, icons);
 *     icons->setContextWindow(window);
 *
 * An id is a path, percent-encoded as QUrl writes it, with an optional query of two items:
 *
 *     C:/dir/prog.exe?i=<icon index>&v=<version>       a program's icon, or an icon file
 *     uwp:<package full name>?i=<entry index>&v=<version>    a package entry's logo
 *
 * Pictures are loaded in the background and are at most 100 logical pixels wide. The last 256 are kept as PNG; a
 * request with another version than the one kept loads anew. A picture that can't be got is a null image without an
 * error text; a warning is logged, and the next request tries again. The engine and the provider may go at any moment,
 * whatever is still loading.
 */
class KVPROGRAM_EXPORT KvProgramIconProvider : public QQuickAsyncImageProvider
{
    Q_OBJECT

public:
    /** Readies the system's icon cache. `parent` is not used: the engine that the provider is added to owns it. */
    explicit KvProgramIconProvider(QObject *parent);
    ~KvProgramIconProvider() override;

    /**
     * Returns at once; the response, which the caller owns, emits finished() once, from a background thread.
     * `requestedSize` has no effect. May be called from any thread.
     */
    QQuickImageResponse *requestImageResponse(const QString &id, const QSize &requestedSize) override;

    /**
     * Sizes the pictures loaded from now on for the scale of `window`, which it follows until the window is gone. Null
     * stands for scale 1. To be called on the window's thread; the window stays the caller's.
     */
    void setContextWindow(QQuickWindow *window);

private:
    friend struct KvProgramIconProviderProbe;
    class Shared;

    // Background jobs run these and may outlive the provider.
    static QImage loadAppIcon(const Shared &shared, const QString &path, int index);
    static QImage loadDesktopAppIcon(const Shared &shared, const QString &path, int index);
    static QImage loadIcoAppIcon(const QString &path, int size);
    static QImage loadManagedAppIcon(const QString &target, int index);
    static bool hasFilledRow(const QImage &image, int margin);
    static bool isContentNarrow(const QImage &image);

    const std::shared_ptr<Shared> m_shared;
};
