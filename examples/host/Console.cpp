#include "Console.h"

#include "CatalogueJson.h"
#include "KvProgramContext.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/** The way from the reading thread to the console, as long as there is one. */
struct Console::Input
{
    std::mutex mutex;
    Console *console = nullptr;
    std::vector<QString> lines; // That the console has not taken yet.

    void post(const QString &line)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        lines.push_back(line);
        if (console)
            QMetaObject::invokeMethod(console, "onLines", Qt::QueuedConnection);
    }

    std::vector<QString> take()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return std::exchange(lines, {});
    }
};

namespace {

const QString Quit = QStringLiteral("quit");

QJsonArray names(const QList<ProgramInfo *> &apps)
{
    QJsonArray names;
    for (const ProgramInfo *const app : apps)
        names.append(app->displayName());
    return names;
}

ProgramInfo *find(const QList<ProgramInfo *> &apps, const QString &name)
{
    for (ProgramInfo *const app : apps) {
        if (app->displayName() == name)
            return app;
    }
    return nullptr;
}

} // namespace

Console::Console(KvProgramContext &catalogue, Launchers &launchers)
    : m_catalogue(catalogue)
    , m_launchers(launchers)
    , m_input(std::make_shared<Input>())
{
    m_input->console = this;
    connect(&m_catalogue, &KvProgramContext::isEmptyChanged, this, [this] {
        tell({{QStringLiteral("event"), QStringLiteral("scan")},
              {QStringLiteral("apps"), names(m_catalogue.allApps())},
              {QStringLiteral("shortcuts"), names(m_catalogue.shortcuts())}});
    });
    connect(&m_catalogue, &KvProgramContext::shortcutsChanged, this, [this] {
        tell({{QStringLiteral("event"), QStringLiteral("shortcuts")},
              {QStringLiteral("shortcuts"), names(m_catalogue.shortcuts())}});
    });
}

Console::~Console()
{
    const std::lock_guard<std::mutex> lock(m_input->mutex);
    m_input->console = nullptr;
}

void Console::start()
{
    // Standard input can be waited for by a thread of its own only, if it has to work on every system.
    std::thread([input = m_input] {
        QFile file;
        QString line;
        if (file.open(stdin, QIODevice::ReadOnly | QIODevice::Text)) {
            while (line != Quit) {
                const QByteArray bytes = file.readLine();
                if (bytes.isEmpty())
                    break;
                line = QString::fromUtf8(bytes).trimmed();
                if (line != Quit)
                    input->post(line);
            }
        }
        input->post(Quit);
    }).detach();
}

void Console::onLines()
{
    for (const QString &line : m_input->take())
        onLine(line);
}

void Console::onLine(const QString &line)
{
    if (line == Quit) {
        Q_EMIT ended();
        return;
    }
    QJsonObject answer = run(line.section(QLatin1Char(' '), 0, 0), line.section(QLatin1Char(' '), 1));
    answer.insert(QStringLiteral("command"), line);
    tell(answer);
}

QJsonObject Console::run(const QString &command, const QString &name)
{
    const QString done = QStringLiteral("done");
    if (command == QLatin1String("pin"))
        return {{done, m_catalogue.addShortcut(find(m_catalogue.allApps(), name))}};
    if (command == QLatin1String("unpin"))
        return {{done, m_catalogue.removeShortcut(find(m_catalogue.shortcuts(), name))}};
    if (command == QLatin1String("lists"))
        return {{QStringLiteral("lists"), CatalogueJson::lists(m_catalogue, m_launchers)}};
    if (command != QLatin1String("scan"))
        return {{QStringLiteral("error"), QStringLiteral("unknown command")}};
    m_catalogue.startScan();
    return {{done, true}};
}

void Console::tell(const QJsonObject &object) const
{
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact);
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
}
