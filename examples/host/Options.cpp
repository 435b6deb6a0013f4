#include "Options.h"

#include "OptionChecks.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>

namespace {

/** In the order of the window's tabs. */
QStringList listNames()
{
    return {QStringLiteral("all"), QStringLiteral("meetings"), QStringLiteral("games"), QStringLiteral("tools")};
}

QString text(const char *source)
{
    return QCoreApplication::translate("Options", source);
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(text("Shows the programs on this computer, or on a machine folder."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({
        {QStringLiteral("machine"), text("Scan the machine folder <dir> instead of this computer."), text("dir")},
        {QStringLiteral("metadata"), text("Take the rules for programs from <file>."), text("file")},
        {QStringLiteral("json"), text("Print the lists after the first scan as one JSON object and end.")},
        {QStringLiteral("launch"), text("Start the program called <name> after the first scan and end."), text("name")},
        {QStringLiteral("serve"), text("Show no window, but take commands from standard input and tell of changes.")},
        {QStringLiteral("screenshot"), text("Save the window after the first scan as the PNG <file> and end."),
         text("file")},
        {QStringLiteral("summary"),
         text("Tell the lengths of the lists and the time of the first scan on standard error.")},
        {QStringLiteral("model"),
         text("Mark the games and tools that are set up for the monitor model <name>; the window lets you choose "
              "another."),
         text("name")},
        {QStringLiteral("settings"),
         text("With --model, take what is set up from <file>, a JSON array of objects such as { \"model\": \"KV-27\", "
              "\"list\": \"games\", \"executable\": \"C:/Games/x.exe\" }; list is games or tools. Without it, some "
              "programs of the sample machine are set up for KV-27 and KV-32."),
         text("file")},
        {QStringLiteral("timeout"),
         text("With --json, --launch or --screenshot, give up after <seconds> without a scan (60)."), text("seconds"),
         QStringLiteral("60")},
        {QStringLiteral("theme"), text("Colours: light or dark; the system's if not given."), text("name")},
        {QStringLiteral("size"), text("Size of the window in pixels, such as 1120x720."), text("size")},
        {QStringLiteral("list"), text("List to show first: all, meetings, games or tools."), text("name"),
         listNames().first()},
        {QStringLiteral("search"), text("Text to search for at the start."), text("words")},
        {QStringLiteral("verbose"), text("Show the library's information and debug lines as well as its warnings.")},
    });
}

QString absolutePath(const QString &path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

/** Sets the options that are plain values; gives what is wrong with one, or an empty text. */
QString readValues(const QCommandLineParser &parser, Options &options)
{
    options.json = parser.isSet(QStringLiteral("json"));
    options.serve = parser.isSet(QStringLiteral("serve"));
    if (options.serve && (options.json || parser.isSet(QStringLiteral("screenshot"))))
        return text("With --serve there is neither --json nor --screenshot.");
    options.summary = parser.isSet(QStringLiteral("summary"));
    options.verbose = parser.isSet(QStringLiteral("verbose"));
    options.launch = parser.value(QStringLiteral("launch"));
    if (parser.isSet(QStringLiteral("launch")) && options.launch.isEmpty())
        return text("A program without a name can't be started.");
    options.search = parser.value(QStringLiteral("search"));
    options.model = parser.value(QStringLiteral("model"));
    if (parser.isSet(QStringLiteral("model")) && options.model.isEmpty())
        return text("A monitor model without a name can't be marked.");

    options.theme = parser.value(QStringLiteral("theme"));
    if (parser.isSet(QStringLiteral("theme")) && options.theme != QLatin1String("light") &&
        options.theme != QLatin1String("dark"))
        return text("There is no theme \"%1\", only light and dark.").arg(options.theme);

    const QString list = parser.value(QStringLiteral("list"));
    options.category = static_cast<int>(listNames().indexOf(list));
    if (options.category < 0)
        return text("There is no list \"%1\", only %2.").arg(list, listNames().join(QLatin1String(", ")));

    const QString timeout = parser.value(QStringLiteral("timeout"));
    if (!OptionChecks::readSeconds(timeout, options.timeout))
        return text("\"%1\" is no number of seconds.").arg(timeout);

    const QString size = parser.value(QStringLiteral("size"));
    if (parser.isSet(QStringLiteral("size")) && !OptionChecks::readSize(size, options.size))
        return text("\"%1\" is no window size; it looks like 1120x720 and goes up to 8192x8192.").arg(size);
    return {};
}

/** The same for the options that name files and folders. */
QString readPaths(const QCommandLineParser &parser, Options &options)
{
    const bool machineGiven = parser.isSet(QStringLiteral("machine"));
    options.machine =
        machineGiven ? parser.value(QStringLiteral("machine")) : qEnvironmentVariable("KVPROGRAM_MACHINE");
    if (machineGiven || !options.machine.isEmpty()) {
        if (QString problem = OptionChecks::machineProblem(options.machine); !problem.isEmpty())
            return problem;
    }
    options.metadata = parser.value(QStringLiteral("metadata"));
    if (parser.isSet(QStringLiteral("metadata"))) {
        if (QString problem = OptionChecks::metadataProblem(options.metadata); !problem.isEmpty())
            return problem;
    }
    options.settings = parser.value(QStringLiteral("settings"));
    if (parser.isSet(QStringLiteral("settings"))) {
        if (options.model.isEmpty())
            return text("--settings needs --model.");
        if (QString problem = OptionChecks::settingsProblem(options.settings); !problem.isEmpty())
            return problem;
    }
    options.screenshot = parser.value(QStringLiteral("screenshot"));
    if (parser.isSet(QStringLiteral("screenshot"))) {
        if (QString problem = OptionChecks::outputProblem(options.screenshot); !problem.isEmpty())
            return problem;
    }
    options.machine = absolutePath(options.machine);
    options.metadata = absolutePath(options.metadata);
    options.settings = absolutePath(options.settings);
    options.screenshot = absolutePath(options.screenshot);
    return {};
}

CommandLine refused(QString text)
{
    for (QChar &letter : text) {
        if (letter.category() == QChar::Other_Control || letter.category() == QChar::Separator_Line)
            letter = QLatin1Char(' ');
    }
    return {CommandLine::Refused, text.trimmed(), {}};
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    describe(parser);
    if (!parser.parse(arguments))
        return refused(parser.errorText());
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("help-all")))
        return {Told, parser.helpText(), {}};
    if (parser.isSet(QStringLiteral("version")))
        return {
            Told, QCoreApplication::applicationName() + QLatin1Char(' ') + QCoreApplication::applicationVersion(), {}};
    if (!parser.positionalArguments().isEmpty())
        return refused(text("\"%1\" is not expected here.").arg(parser.positionalArguments().constFirst()));

    Options options;
    QString problem = readValues(parser, options);
    if (problem.isEmpty())
        problem = readPaths(parser, options);
    return problem.isEmpty() ? CommandLine{Run, {}, options} : refused(problem);
}
