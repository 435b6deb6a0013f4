#include "Host.h"

#include "CatalogueJson.h"
#include "KvProgramContext.h"
#include "KvProgramIconProvider.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QSaveFile>
#include <QtGui/QImage>
#include <QtQuick/QQuickWindow>

#include <cstdio>

namespace {

void tell(const QString &line)
{
    const QByteArray text = line.toLocal8Bit();
    std::fprintf(stderr, "%s\n", text.constData());
}

} // namespace

Host::Host(const Options &options)
    : m_options(options)
    , m_catalogue(KvProgramContext::instance())
{
    connect(m_catalogue, &KvProgramContext::isEmptyChanged, this, &Host::onScanCompleted);
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &Host::onTimeout);
}

Host::~Host() = default;

void Host::start()
{
    const bool needsWindow = !m_options.isUnattended() || !m_options.screenshot.isEmpty();
    if (needsWindow && !loadWindow()) {
        tell(tr("The window can't be shown."));
        end(1);
        return;
    }
    startFirstScan();
}

bool Host::loadWindow()
{
    m_engine = std::make_unique<QQmlApplicationEngine>();
    auto *const icons = new KvProgramIconProvider(nullptr);
    m_engine->addImageProvider(ProgramInfo::ICON_PROVIDER, icons);
    QVariantMap properties{
        {QStringLiteral("iconsAvailable"), m_engine->imageProvider(ProgramInfo::ICON_PROVIDER) != nullptr},
        {QStringLiteral("firstCategory"), m_options.category},
        {QStringLiteral("firstSearch"), m_options.search},
    };
    if (m_options.size.isValid()) {
        properties.insert(QStringLiteral("width"), m_options.size.width());
        properties.insert(QStringLiteral("height"), m_options.size.height());
    }
    m_engine->setInitialProperties(properties);
    m_engine->load(QUrl(QStringLiteral("qrc:/KvHost/Main.qml")));
    m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().value(0));
    icons->setContextWindow(m_window);
    return m_window;
}

void Host::startFirstScan()
{
    if (m_options.isUnattended())
        m_patience.start(m_options.timeout * 1000);
    m_elapsed.start();
    if (m_window)
        QMetaObject::invokeMethod(m_window, "rescan");
    else
        m_catalogue->startScan();
}

void Host::onScanCompleted()
{
    if (m_scanned)
        return;
    m_scanned = true;
    if (m_options.summary) {
        const qint64 milliseconds = m_elapsed.elapsed();
        tell(QStringLiteral("%1, scan %2 ms").arg(CatalogueJson::counts(*m_catalogue)).arg(milliseconds));
    }
    // The lists' other listeners, QML among them, are still to hear of the scan.
    if (m_options.isUnattended())
        QMetaObject::invokeMethod(this, &Host::onFirstScanCompleted, Qt::QueuedConnection);
}

void Host::onFirstScanCompleted()
{
    if (m_options.json && !printLists()) {
        tell(tr("Standard output can't be written."));
        end(2);
        return;
    }
    if (m_options.screenshot.isEmpty())
        end(0);
    else
        saveNextFrame();
}

void Host::onTimeout()
{
    tell(m_scanned ? tr("The window wasn't drawn within %1 s.").arg(m_options.timeout)
                   : tr("The first scan wasn't completed within %1 s.").arg(m_options.timeout));
    end(1);
}

bool Host::printLists() const
{
    QFile output;
    if (!output.open(stdout, QIODevice::WriteOnly))
        return false;
    const QByteArray text = QJsonDocument(CatalogueJson::lists(*m_catalogue)).toJson();
    return output.write(text) == text.size() && output.flush();
}

void Host::saveNextFrame()
{
    connect(m_window, &QQuickWindow::frameSwapped, this, &Host::saveScreenshot,
            static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::SingleShotConnection));
    m_window->requestUpdate();
}

void Host::saveScreenshot()
{
    const QImage image = m_window->grabWindow();
    QSaveFile file(m_options.screenshot);
    if (image.isNull() || !file.open(QIODevice::WriteOnly) || !image.save(&file, "PNG") || !file.commit()) {
        tell(tr("\"%1\" can't be written: %2.").arg(m_options.screenshot, file.errorString()));
        end(2);
        return;
    }
    end(0);
}

void Host::end(int exitCode)
{
    m_patience.stop();
    disconnect(m_catalogue, nullptr, this, nullptr);
    m_catalogue->stopScan();
    QCoreApplication::exit(exitCode);
}
