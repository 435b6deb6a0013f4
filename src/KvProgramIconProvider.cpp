#include "KvProgramIconProvider.h"

#include "formats/IconId.h"
#include "KvProgramIconProvider_p.h"
#include "platform/Icons.h"
#include "platform/Platform.h"

#include <XDispatch.h>

#include <QtCore/QBuffer>
#include <QtCore/QDebug>
#include <QtCore/QEvent>
#include <QtGui/QScreen>
#include <QtQuick/QQuickWindow>

#include <utility>

namespace {

QByteArray encode(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG", -1);
    png.squeeze(); // The buffer grows ahead of what is written.
    return png;
}

} // namespace

ProgramIconResponse::ProgramIconResponse()
    : m_presence(std::make_shared<Presence>())
{
    m_presence->response = this;
}

ProgramIconResponse::~ProgramIconResponse()
{
    const std::lock_guard lock(m_presence->mutex);
    m_presence->response = nullptr;
}

QQuickTextureFactory *ProgramIconResponse::textureFactory() const
{
    return QQuickTextureFactory::textureFactoryForImage(m_image);
}

void ProgramIconResponse::connectNotify(const QMetaMethod &signal)
{
    const std::lock_guard lock(m_presence->mutex);
    QQuickImageResponse::connectNotify(signal);
}

IconDelivery::IconDelivery(const ProgramIconResponse &response)
    : m_presence(response.m_presence)
{}

IconDelivery::~IconDelivery()
{
    finish(QImage());
}

void IconDelivery::finish(const QImage &image)
{
    const auto presence = std::exchange(m_presence, nullptr);
    if (!presence)
        return;
    const std::lock_guard lock(presence->mutex);
    if (ProgramIconResponse *const response = presence->response) {
        response->m_image = image;
        Q_EMIT response->finished();
    }
}

/** Belongs to the window and lives on its thread. Every change of the scale comes with an event. */
class WindowScale::Watcher final : public QObject
{
public:
    Watcher(QQuickWindow *window, const std::shared_ptr<WindowScale> &scale)
        : QObject(window)
        , m_window(window)
        , m_scale(scale)
    {
        read();
        window->installEventFilter(this);
        connect(window, &QWindow::screenChanged, this, &Watcher::read);
    }

    ~Watcher() override
    {
        if (const auto scale = m_scale.lock())
            scale->m_value = 1.0;
    }

    bool eventFilter(QObject *, QEvent *) override
    {
        read();
        return false;
    }

private:
    void read()
    {
        const auto scale = m_scale.lock();
        if (!scale)
            deleteLater();
        else if (m_window->screen())
            scale->m_value = m_window->devicePixelRatio();
    }

    QQuickWindow *const m_window;
    const std::weak_ptr<WindowScale> m_scale; // Gone once the provider follows another window.
};

std::shared_ptr<const WindowScale> WindowScale::follow(QQuickWindow *window)
{
    auto scale = std::make_shared<WindowScale>();
    if (window)
        new Watcher(window, scale);
    return scale;
}

std::shared_ptr<const WindowScale> WindowScale::fixed(double value)
{
    auto scale = std::make_shared<WindowScale>();
    scale->m_value = value;
    return scale;
}

std::optional<QByteArray> KvProgramIconProvider::Shared::find(const QString &key, const QString &version)
{
    const QMutexLocker lock(&m_cacheMutex);
    const CachedIcon *const icon = m_cache.object(key);
    if (!icon || (!version.isEmpty() && version != icon->version))
        return std::nullopt;
    return icon->png;
}

void KvProgramIconProvider::Shared::insert(const QString &key, const QByteArray &png, const QString &version)
{
    auto icon = std::make_unique<CachedIcon>(CachedIcon{png, version});
    const QMutexLocker lock(&m_cacheMutex);
    m_cache.insert(key, icon.release(), 1);
}

void KvProgramIconProvider::Shared::clear()
{
    const QMutexLocker lock(&m_cacheMutex);
    m_cache.clear();
}

void KvProgramIconProvider::Shared::setScale(std::shared_ptr<const WindowScale> scale)
{
    const QMutexLocker lock(&m_scaleMutex);
    m_scale.swap(scale);
}

int KvProgramIconProvider::Shared::scaled(int logicalSize) const
{
    const QMutexLocker lock(&m_scaleMutex);
    return qRound(m_scale->value() * logicalSize);
}

KvProgramIconProvider::KvProgramIconProvider(QObject *parent)
    : m_shared(std::make_shared<Shared>())
{
    Q_UNUSED(parent);
    KvPlatform::Platform::current()->icons->prepare();
}

KvProgramIconProvider::~KvProgramIconProvider()
{
    m_shared->clear();
}

QQuickImageResponse *KvProgramIconProvider::requestImageResponse(const QString &id, const QSize &requestedSize)
{
    Q_UNUSED(requestedSize);
    const IconId icon = IconId::parse(id);
    auto response = std::make_unique<ProgramIconResponse>();
    const auto delivery = std::make_shared<IconDelivery>(*response);
    const QString key = icon.path + u'@' + QString::number(icon.index);
    if (const auto png = m_shared->find(key, icon.version)) {
        XDispatch::runInBackground(this, [delivery, png] { delivery->finish(QImage::fromData(*png, "PNG")); });
        return response.release();
    }
    XDispatch::runInBackground(this, [shared = m_shared, icon, key, delivery] {
        const QImage image = loadAppIcon(*shared, icon.path, icon.index);
        if (image.isNull()) {
            QMessageLogger(IconLogFile, __LINE__, Q_FUNC_INFO).warning()
                << "[FAIL] can't get program icon for" << icon.path;
            delivery->finish(image);
            return;
        }
        // Ahead of the encoding, which nobody is to wait for.
        delivery->finish(image);
        shared->insert(key, encode(image), icon.version);
    });
    return response.release();
}

void KvProgramIconProvider::setContextWindow(QQuickWindow *window)
{
    m_shared->setScale(WindowScale::follow(window));
}
