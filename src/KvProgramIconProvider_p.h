#pragma once

#include "KvProgramIconProvider.h"

#include <QtCore/QByteArray>
#include <QtCore/QCache>
#include <QtCore/QMutex>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <atomic>
#include <mutex>
#include <optional>

/** The source file that the provider's warnings name. */
constexpr char IconLogFile[] = "KvProgramIconProvider";

/** A picture as the cache keeps it. */
struct CachedIcon
{
    QByteArray png;
    QString version; ///< The one of the URL that the picture was loaded for.
};

/** What the engine waits for. The engine may delete it whenever it likes. */
class ProgramIconResponse final : public QQuickImageResponse
{
public:
    ProgramIconResponse();
    ~ProgramIconResponse() override;

    QQuickTextureFactory *textureFactory() const override;

protected:
    /**
     * Returns when no signal is under way. The engine first connects and then looks whether the response has finished;
     * in the middle of the signal it would come too late for the one and too early for the other.
     */
    void connectNotify(const QMetaMethod &signal) override;

private:
    friend class IconDelivery;
    friend struct KvProgramIconProviderProbe;

    /** Tells a job whether the response is still there. Recursive, since a listener may delete the response. */
    struct Presence
    {
        std::recursive_mutex mutex;
        ProgramIconResponse *response = nullptr;
    };

    const std::shared_ptr<Presence> m_presence;
    QImage m_image;
};

/** One job's way to its response. A job that is dropped before it has delivered delivers a null image. */
class IconDelivery
{
public:
    explicit IconDelivery(const ProgramIconResponse &response);
    ~IconDelivery();

    IconDelivery(const IconDelivery &) = delete;
    IconDelivery &operator=(const IconDelivery &) = delete;

    /** Finishes the response with `image` if it is still there. Only the first call counts. */
    void finish(const QImage &image);

private:
    std::shared_ptr<ProgramIconResponse::Presence> m_presence;
};

/** The scale of a window, to be read on any thread. It is 1 when the window is gone. */
class WindowScale
{
public:
    double value() const { return m_value; }

    /** The scale of `window`, or 1 for null. On the window's thread. */
    static std::shared_ptr<const WindowScale> follow(QQuickWindow *window);

    /** A scale that never changes. */
    static std::shared_ptr<const WindowScale> fixed(double value);

private:
    class Watcher;

    std::atomic<double> m_value{1.0};
};

/** What the provider shares with its jobs, which may outlive it. All functions may be called from any thread. */
class KvProgramIconProvider::Shared
{
public:
    /** The picture kept under `key`, if `version` is empty or that of the picture. Makes it the most recent one. */
    std::optional<QByteArray> find(const QString &key, const QString &version);

    /** Keeps a picture in place of the former one under `key`. */
    void insert(const QString &key, const QByteArray &png, const QString &version);

    void clear();

    void setScale(std::shared_ptr<const WindowScale> scale);

    /** A number of logical pixels in pixels of the window, rounded half away from zero. */
    int scaled(int logicalSize) const;

private:
    friend struct KvProgramIconProviderProbe;
    static constexpr int MaxIcons = 256;

    mutable QMutex m_cacheMutex; // Never held while a picture is loaded, decoded or encoded.
    QCache<QString, CachedIcon> m_cache{MaxIcons};
    mutable QMutex m_scaleMutex;
    std::shared_ptr<const WindowScale> m_scale = WindowScale::fixed(1.0);
};
