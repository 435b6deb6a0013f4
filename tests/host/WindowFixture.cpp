#include "WindowFixture.h"

#include "KvProgramContext.h"
#include "KvProgramIconProvider.h"
#include "KvProgramInitializer.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtGui/QImage>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>

namespace {

constexpr int Patience = 30'000;

const char *const Files[] = {"Office/POWERPNT.EXE", "Battle/Overwatch.exe", "Apps/KvTestClock.exe", "Apps/Refused.exe",
                             "Apps/A.exe",          "Apps/B.exe",           "Apps/C.exe",           "Apps/D.exe"};

QJsonObject ruleOf(int program)
{
    QJsonObject rule{
        {QStringLiteral("target"), QStringLiteral("https://example.org/%1").arg(program)},
        {QStringLiteral("displayName"), WindowFixture::numbered(program)},
        {QStringLiteral("publisherName"),
         program % 2 == 0 ? QStringLiteral("Even House") : QStringLiteral("Odd House")},
    };
    if (program < 2)
        rule.insert(QStringLiteral("tags"), QJsonArray{QStringLiteral("meeting")});
    const int file = program - WindowFixture::Tool;
    if (file >= 0 && file < int(std::size(Files)))
        rule.insert(QStringLiteral("desktopTarget"), QStringLiteral("C:/") + QString::fromLatin1(Files[file]));
    if (program >= WindowFixture::Pictured && program <= WindowFixture::Broken)
        rule.insert(QStringLiteral("icon"), QStringLiteral("image://app/C:/icons/%1.png").arg(program));
    return rule;
}

QQuickItem *findLoading(QQuickItem *root)
{
    if (root->property("loading").toBool())
        return root;
    for (QQuickItem *child : root->childItems()) {
        if (QQuickItem *found = findLoading(child))
            return found;
    }
    return nullptr;
}

} // namespace

bool WindowFixture::prepare()
{
    if (!m_folder.isValid() || !writeMachine() || !writeGames() || !writeIcons())
        return false;
    qputenv("KVPROGRAM_MACHINE", m_folder.path().toLocal8Bit());
    qputenv("QT_QUICK_CONTROLS_STYLE", "Basic");
    qputenv("QT_QUICK_BACKEND", "software");
    KvProgramInitializer::init();
    return true;
}

bool WindowFixture::write(const QString &name, const QByteArray &bytes) const
{
    QFile file(path(name));
    return QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly) &&
           file.write(bytes) == bytes.size();
}

bool WindowFixture::writeMachine() const
{
    QJsonArray rules;
    for (int i = 0; i < Programs; ++i)
        rules.append(ruleOf(i));
    bool written = write(QStringLiteral("machine.json"), R"({
        "consoleUser": { "name": "kim", "domain": "DESK", "sid": "S-1-5-21-1-2-3-1001" },
        "metadata": "C:/rules.json"
    })");
    written = write(QStringLiteral("C/rules.json"), QJsonDocument(rules).toJson()) && written;
    for (const char *const file : Files)
        written = write(QStringLiteral("C/") + QString::fromLatin1(file), "MZ") && written;
    return write(QStringLiteral("C/Apps/Refused.exe.start.json"), R"({ "error": 5 })") && written;
}

/** One game is among the programs, and one isn't. */
bool WindowFixture::writeGames() const
{
    bool written = write(QStringLiteral("registry/games.reg"), R"(Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\Software\RegisteredApplications]
[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall]
[HKEY_USERS\S-1-5-21-1-2-3-1001\Software\RegisteredApplications]
[HKEY_USERS\S-1-5-21-1-2-3-1001\Software\Microsoft\Windows\CurrentVersion\Uninstall]
[HKEY_USERS\S-1-5-21-1-2-3-1001\Software\Kelvo\Kelvo Launcher\ExtraInfo]
[HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node\Microsoft\Windows\CurrentVersion\Uninstall\Overwatch]
"Publisher"="Blizzard Entertainment"
"DisplayName"="Overwatch"
"DisplayIcon"="C:\\Battle\\Overwatch.exe"
)");
    written = write(QStringLiteral("C/ProgramData/Epic/UnrealEngineLauncher/LauncherInstalled.dat"),
                    R"({ "InstallationList": [ { "AppName": "Fortnite", "InstallLocation": "C:\\Fortnite" } ] })") &&
              written;
    return write(QStringLiteral("settings.json"), R"([
        { "model": "KV-27", "list": "games", "executable": "C:\\Battle\\Overwatch.exe" },
        { "model": "KV-32", "list": "tools", "executable": "C:/Office/POWERPNT.EXE" },
        { "model": "KV-27", "list": "tools", "executable": "C:/nobody.exe" }
    ])") && written;
}

bool WindowFixture::writeIcons() const
{
    QImage picture(64, 64, QImage::Format_RGB32);
    picture.fill(Qt::red);
    return write(QStringLiteral("C/icons/%1.png").arg(Broken), "no picture") &&
           picture.save(path(QStringLiteral("C/icons/%1.png").arg(Pictured)));
}

bool WindowFixture::open()
{
    m_launchers = std::make_unique<Launchers>(*KvProgramContext::instance());
    m_marks =
        std::make_unique<MonitorMarks>(*KvProgramContext::instance(), path(QStringLiteral("settings.json")), QString());
    m_running = std::make_unique<RunningPrograms>(1);
    m_engine = std::make_unique<QQmlApplicationEngine>();
    QObject::connect(m_engine.get(), &QQmlEngine::warnings, [this](const QList<QQmlError> &warnings) {
        for (const QQmlError &warning : warnings)
            m_warnings.append(warning.toString());
    });
    auto *const icons = new KvProgramIconProvider(nullptr);
    m_engine->addImageProvider(ProgramInfo::ICON_PROVIDER, icons);
    m_engine->setInitialProperties({
        {QStringLiteral("iconsAvailable"), true},
        {QStringLiteral("marks"), QVariant::fromValue(m_marks.get())},
        {QStringLiteral("launchers"), QVariant::fromValue(m_launchers.get())},
        {QStringLiteral("running"), QVariant::fromValue(m_running.get())},
    });
    m_engine->load(QUrl::fromLocalFile(QStringLiteral(KV_SOURCE_DIR "/examples/host/qml/Main.qml")));
    m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().value(0));
    icons->setContextWindow(m_window);
    return m_window && QTest::qWaitForWindowActive(m_window) && rescan() &&
           QTest::qWaitFor([this] { return shown() == Programs && areDetailsBeside(); }, Patience);
}

QStringList WindowFixture::close()
{
    KvProgramContext *const catalogue = KvProgramContext::instance();
    catalogue->stopScan();
    while (catalogue->removeShortcutAt(0)) {
    }
    // An engine that goes never deletes the responses that it still waits for.
    if (m_window && !QTest::qWaitFor([this] { return !isLoading(); }, Patience))
        m_warnings.append(QStringLiteral("A picture is never ready."));
    if (m_window)
        dropPictures();
    m_engine.reset();
    m_window = nullptr;
    return std::exchange(m_warnings, {});
}

/** Qt deletes the textures of pictures that are gone in the next frame, and forgets them if there is none. */
void WindowFixture::dropPictures() const
{
    m_window->setProperty("iconsAvailable", false);
    m_window->grabWindow();
    m_window->releaseResources();
    m_window->grabWindow();
}

bool WindowFixture::rescan()
{
    QSignalSpy completed(KvProgramContext::instance(), &KvProgramContext::isEmptyChanged);
    const bool isDone = QMetaObject::invokeMethod(m_window, "rescan") && completed.wait(Patience);
    QCoreApplication::processEvents();
    return isDone;
}

void WindowFixture::press(Qt::Key key, Qt::KeyboardModifiers modifiers) const
{
    QTest::keyClick(m_window, key, modifiers);
}

void WindowFixture::type(const QString &text) const
{
    for (const QChar letter : text)
        QTest::keyClick(m_window, letter.toLatin1());
}

void WindowFixture::select(int program) const
{
    QMetaObject::invokeMethod(find("grid"), "select", Q_ARG(int, program));
}

bool WindowFixture::tabTo(const QQuickItem *item) const
{
    const auto hasFocus = [this, item] {
        const QQuickItem *const focused = m_window->activeFocusItem();
        return focused && (focused == item || item->isAncestorOf(focused));
    };
    for (int i = 0; i < 20 && !hasFocus(); ++i)
        press(Qt::Key_Tab);
    return hasFocus();
}

QQuickItem *WindowFixture::find(const char *name) const
{
    QQuickItem *const content = m_window->contentItem();
    return findIn(content->parentItem() ? content->parentItem() : content, name);
}

QQuickItem *WindowFixture::findIn(QQuickItem *root, const char *name)
{
    if (root->objectName() == QLatin1String(name))
        return root;
    for (QQuickItem *child : root->childItems()) {
        if (QQuickItem *found = findIn(child, name))
            return found;
    }
    return nullptr;
}

QQuickItem *WindowFixture::tile(const QString &name) const
{
    const QList<QQuickItem *> tiles = find("grid")->property("contentItem").value<QQuickItem *>()->childItems();
    const auto found = std::find_if(tiles.cbegin(), tiles.cend(), [&name](const QQuickItem *item) {
        return item->isVisible() && item->property("entry").toMap().value(QStringLiteral("name")).toString() == name;
    });
    return found == tiles.cend() ? nullptr : *found;
}

QString WindowFixture::selected() const
{
    return find("details")->property("entry").toMap().value(QStringLiteral("name")).toString();
}

bool WindowFixture::areDetailsBeside() const
{
    const QQuickItem *grid = find("grid");
    const QQuickItem *details = find("details");
    return details->isVisible() && details->mapToScene({}).x() >= grid->mapToScene({grid->width(), 0}).x();
}

int WindowFixture::shown() const
{
    return find("grid")->property("count").toInt();
}

bool WindowFixture::isLoading() const
{
    return findLoading(m_window->contentItem()) != nullptr;
}

QString WindowFixture::numbered(int number)
{
    return QStringLiteral("Program %1").arg(number, 3, 10, QLatin1Char('0'));
}

ProgramInfo *WindowFixture::record(int program)
{
    const QList<ProgramInfo *> apps = KvProgramContext::instance()->allApps();
    const auto found = std::find_if(apps.cbegin(), apps.cend(), [program](const ProgramInfo *app) {
        return app->displayName() == numbered(program);
    });
    return found == apps.cend() ? nullptr : *found;
}

QStringList WindowFixture::pinned()
{
    QStringList names;
    const QList<ProgramInfo *> apps = KvProgramContext::instance()->shortcuts();
    for (const ProgramInfo *app : apps)
        names.append(app->displayName());
    return names;
}

QStringList WindowFixture::takeStarts() const
{
    QStringList starts;
    QFile file(path(QStringLiteral("starts.jsonl")));
    if (!file.open(QIODevice::ReadOnly))
        return starts;
    while (!file.atEnd()) {
        const QJsonObject start = QJsonDocument::fromJson(file.readLine()).object();
        starts.append(start.value(QLatin1String("call")).toString() + QLatin1Char(' ') +
                      start.value(QLatin1String("command")).toString() + start.value(QLatin1String("url")).toString());
    }
    file.remove();
    return starts;
}
