#include "Host.h"

#include "CatalogueJson.h"
#include "Console.h"
#include "KvProgramContext.h"
#include "KvProgramIconProvider.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QSaveFile>
#include <QtGui/QImage>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int LookTime = 20; // Milliseconds between two looks at the window's pictures.

void tell(const QString &line)
{
    const QByteArray text = line.toLocal8Bit();
    std::fprintf(stderr, "%s\n", text.constData());
}

/** Whether a picture below `item` isn't ready yet. */
bool isLoading(const QQuickItem &item)
{
    const QList<QQuickItem *> children = item.childItems();
    return item.property("loading").toBool() ||
           std::any_of(children.cbegin(), children.cend(), [](const QQuickItem *child) { return isLoading(*child); });
}

} // namespace

Host::Host(const Options &options)
    : m_options(options)
    , m_catalogue(KvProgramContext::instance())
    , m_launchers(*m_catalogue)
    , m_marks(*m_catalogue, options.settings.isEmpty() ? StoredSettings::builtInFile() : options.settings,
              options.model)
{
    connect(m_catalogue, &KvProgramContext::isEmptyChanged, this, &Host::onScanCompleted);
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &Host::onTimeout);
}

Host::~Host() = default;

void Host::start()
{
    if (m_options.needsWindow() && !loadWindow()) {
        tell(tr("The window can't be shown."));
        end(1);
        return;
    }
    if (m_options.serve) {
        m_console = std::make_unique<Console>(*m_catalogue, m_launchers);
        connect(m_console.get(), &Console::ended, this, [this] { end(0); });
        m_console->start();
    }
    startFirstScan();
}

QVariantMap Host::windowProperties()
{
    QVariantMap properties{
        {QStringLiteral("iconsAvailable"), m_engine->imageProvider(ProgramInfo::ICON_PROVIDER) != nullptr},
        {QStringLiteral("firstCategory"), m_options.category},
        {QStringLiteral("firstSearch"), m_options.search},
        {QStringLiteral("marks"), QVariant::fromValue(&m_marks)},
        {QStringLiteral("launchers"), QVariant::fromValue(&m_launchers)},
        {QStringLiteral("running"), QVariant::fromValue(&m_running)},
    };
    if (m_options.size.isValid()) {
        properties.insert(QStringLiteral("width"), m_options.size.width());
        properties.insert(QStringLiteral("height"), m_options.size.height());
    }
    return properties;
}

bool Host::loadWindow()
{
    m_engine = std::make_unique<QQmlApplicationEngine>();
    auto *const icons = new KvProgramIconProvider(nullptr);
    m_engine->addImageProvider(ProgramInfo::ICON_PROVIDER, icons);
    m_engine->setInitialProperties(windowProperties());
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
    if (m_options.summary)
        tellSummary();
    // The lists' other listeners, QML among them, are still to hear of the scan.
    if (m_options.isUnattended())
        QMetaObject::invokeMethod(this, &Host::onFirstScanCompleted, Qt::QueuedConnection);
}

void Host::tellSummary()
{
    const qint64 milliseconds = m_elapsed.elapsed();
    tell(QStringLiteral("%1, scan %2 ms").arg(CatalogueJson::counts(*m_catalogue)).arg(milliseconds));
    if (!m_catalogue->gameApps().isEmpty())
        tell(QStringLiteral("games: ") + CatalogueJson::names(m_catalogue->gameApps(), m_launchers));
    if (!m_catalogue->toolApps().isEmpty())
        tell(QStringLiteral("tools: ") + CatalogueJson::names(m_catalogue->toolApps(), m_launchers));
}

void Host::onFirstScanCompleted()
{
    if (m_options.json && !printLists()) {
        tell(tr("Standard output can't be written."));
        end(2);
        return;
    }
    if (!m_options.launch.isEmpty() && !launchProgram()) {
        end(1);
        return;
    }
    if (m_options.screenshot.isEmpty())
        end(0);
    else
        saveWhenLoaded();
}

void Host::onTimeout()
{
    tell(m_scanned ? tr("The window wasn't drawn within %1 s.").arg(m_options.timeout)
                   : tr("The first scan wasn't completed within %1 s.").arg(m_options.timeout));
    end(1);
}

bool Host::printLists()
{
    QFile output;
    if (!output.open(stdout, QIODevice::WriteOnly))
        return false;
    const QByteArray text = QJsonDocument(CatalogueJson::lists(*m_catalogue, m_launchers)).toJson();
    return output.write(text) == text.size() && output.flush();
}

bool Host::launchProgram() const
{
    const QList<ProgramInfo *> apps = m_catalogue->allApps();
    const auto found = std::find_if(apps.cbegin(), apps.cend(),
                                    [this](const ProgramInfo *app) { return app->displayName() == m_options.launch; });
    if (found == apps.cend())
        tell(tr("There is no program \"%1\".").arg(m_options.launch));
    else if ((*found)->launch())
        return true;
    else
        tell(tr("The program \"%1\" can't be started.").arg(m_options.launch));
    return false;
}

/** Waits for the programs' pictures, which are ready some moments after the lists. */
void Host::saveWhenLoaded()
{
    if (isLoading(*m_window->contentItem()))
        QTimer::singleShot(LookTime, this, &Host::saveWhenLoaded);
    else
        saveNextFrame();
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
    if (m_window)
        dropPictures();
    QCoreApplication::exit(exitCode);
}

void Host::dropPictures()
{
    // Qt deletes the textures of pictures that are gone in the next frame, and forgets them if there is none.
    m_window->setProperty("iconsAvailable", false);
    m_window->grabWindow();
    m_window->releaseResources();
    m_window->grabWindow();
}
