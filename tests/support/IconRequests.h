#pragma once

#include "KvProgramIconProvider.h"

#include <QtCore/QSize>
#include <QtGui/QImage>

#include <atomic>
#include <memory>
#include <vector>

/**
 * One request to a provider, and how often it has finished. That is counted from the constructor's end on, so a test
 * that asks for it holds the load up until then. The response belongs to the request until it is deleted.
 */
class IconRequest
{
public:
    IconRequest(KvProgramIconProvider &provider, const QString &id, const QSize &size = QSize())
        : m_response(provider.requestImageResponse(id, size))
    {
        QObject::connect(
            m_response.get(), &QQuickImageResponse::finished, m_response.get(), [count = m_count] { ++*count; },
            Qt::DirectConnection);
    }

    QQuickImageResponse *response() const { return m_response.get(); }
    int finishedCount() const { return *m_count; }
    void deleteResponse() { m_response.reset(); }

    /** The picture as the engine gets it. */
    QImage image() const
    {
        const std::unique_ptr<QQuickTextureFactory> factory(m_response->textureFactory());
        return factory ? factory->image() : QImage();
    }

private:
    std::shared_ptr<std::atomic<int>> m_count = std::make_shared<std::atomic<int>>(0);
    std::unique_ptr<QQuickImageResponse> m_response;
};
