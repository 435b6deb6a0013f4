#pragma once

#include "KvProgramIconProvider_p.h"

/** Opens the provider's private members to tests. */
struct KvProgramIconProviderProbe
{
    using Provider = KvProgramIconProvider;

    /** What a job works with, for a window of the given scale. */
    static std::shared_ptr<Provider::Shared> shared(double scale)
    {
        auto shared = std::make_shared<Provider::Shared>();
        shared->setScale(WindowScale::fixed(scale));
        return shared;
    }

    static QImage loadAppIcon(const QString &path, int index = 0, double scale = 1)
    {
        return Provider::loadAppIcon(*shared(scale), path, index);
    }

    static QImage loadDesktopAppIcon(const QString &path, int index = 0, double scale = 1)
    {
        return Provider::loadDesktopAppIcon(*shared(scale), path, index);
    }

    static QImage loadIcoAppIcon(const QString &path, int size) { return Provider::loadIcoAppIcon(path, size); }
    static bool hasFilledRow(const QImage &image, int margin = 0) { return Provider::hasFilledRow(image, margin); }
    static bool isContentNarrow(const QImage &image) { return Provider::isContentNarrow(image); }
    static int scaled(double scale, int size) { return shared(scale)->scaled(size); }

    /** The scale that the next load will find, as the size of `size` logical pixels. */
    static int scaled(const Provider &provider, int size) { return provider.m_shared->scaled(size); }

    /** Whether a picture has arrived. If it has, so has the signal. */
    static bool hasImage(const QQuickImageResponse &response)
    {
        const auto &ours = static_cast<const ProgramIconResponse &>(response);
        const std::lock_guard lock(ours.m_presence->mutex);
        return !ours.m_image.isNull();
    }

    /** The bytes kept under `key`. */
    static std::optional<QByteArray> cachedPicture(const Provider &provider, const QString &key)
    {
        return provider.m_shared->find(key, QString());
    }

    static QStringList cachedKeys(const Provider &provider)
    {
        const QMutexLocker lock(&provider.m_shared->m_cacheMutex);
        return provider.m_shared->m_cache.keys();
    }

    /** The bytes of all pictures in the cache. */
    static qint64 cachedBytes(const Provider &provider)
    {
        const QMutexLocker lock(&provider.m_shared->m_cacheMutex);
        qint64 bytes = 0;
        const QStringList keys = provider.m_shared->m_cache.keys();
        for (const QString &key : keys)
            bytes += provider.m_shared->m_cache.object(key)->png.size();
        return bytes;
    }
};
