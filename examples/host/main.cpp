#include "Appearance.h"
#include "Host.h"
#include "KvProgramInitializer.h"
#include "Options.h"

#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>
#include <QtGui/QGuiApplication>

#include <cstdio>
#include <cstdlib>

namespace {

void describeApplication()
{
    QCoreApplication::setApplicationName(QStringLiteral("kvprogram-host"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KVHOST_VERSION));
}

CommandLine readCommandLine(int argc, char *argv[])
{
    // Only an application object knows the arguments as Unicode on every system, but the window's can't be made before
    // the options have said on which display.
    const QCoreApplication application(argc, argv);
    return CommandLine::parse(QCoreApplication::arguments());
}

void setVariable(const char *name, const QString &value)
{
    if (value.isEmpty())
        return;
#ifdef Q_OS_WIN
    // The narrow environment can't hold every path there.
    _wputenv_s(QString::fromLatin1(name).toStdWString().c_str(), value.toStdWString().c_str());
#else
    qputenv(name, QFile::encodeName(value));
#endif
}

void prepareEnvironment(const Options &options)
{
    setVariable("KVPROGRAM_MACHINE", options.machine);
    setVariable("KVPROGRAM_METADATA", options.metadata);
    if (!options.verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));
    Appearance::chooseDisplay(options);
}

int runHost(const Options &options)
{
    Host host(options);
    QTimer::singleShot(0, &host, &Host::start);
    return QGuiApplication::exec();
}

// The clock of animations stops through the event loop, some turns after the window is gone. Qt 6.8 crashes on Windows
// if it still runs when the main thread ends.
void letAnimationsEnd()
{
    QEventLoop loop;
    QTimer::singleShot(100, &loop, &QEventLoop::quit);
    loop.exec();
}

int run(int argc, char *argv[], const Options &options)
{
    prepareEnvironment(options);
    const QGuiApplication application(argc, argv);
    Appearance::apply(options);
    KvProgramInitializer::init();
    const int exitCode = runHost(options);
    letAnimationsEnd();
    return exitCode;
}

} // namespace

int main(int argc, char *argv[])
{
    describeApplication();
    const CommandLine commandLine = readCommandLine(argc, argv);
    switch (commandLine.outcome) {
    case CommandLine::Run:
        break;
    case CommandLine::Told:
        std::printf("%s\n", commandLine.message.trimmed().toLocal8Bit().constData());
        return 0;
    case CommandLine::Refused:
        std::fprintf(stderr, "%s\n", commandLine.message.toLocal8Bit().constData());
        return 2;
    }
    return run(argc, argv, commandLine.options);
}
