#pragma once

#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** What a run of the host was asked to do. Paths are absolute. */
struct Options
{
    QString machine;    ///< Folder that stands for the computer; empty for the computer itself.
    QString metadata;   ///< The metadata file; empty for the machine's own.
    QString screenshot; ///< Where the picture of the window goes; empty for none.
    QString model;      ///< Monitor model whose stored settings are marked in the lists; empty for none.
    QString settings;   ///< File with the stored settings; empty for the built-in one.
    QString theme;      ///< "light", "dark", or empty for the system's.
    QString launch;     ///< The name of the program that is started after the first scan; empty for none.
    QString search;     ///< What the search field holds at the start.
    int category = 0;   ///< Which list the window shows at the start: all, meetings, games, tools.
    QSize size;         ///< Size of the window in device-independent pixels; invalid for the window's own choice.
    int timeout = 60;   ///< Seconds to wait for the first scan when nobody is watching.
    bool json = false;
    bool serve = false; ///< No window, but commands on standard input; see Console.
    bool summary = false;
    bool verbose = false;

    /** Whether the run ends by itself, after the first scan, and needs no display. */
    bool isUnattended() const { return json || !launch.isEmpty() || !screenshot.isEmpty(); }

    bool needsWindow() const { return !serve && (!isUnattended() || !screenshot.isEmpty()); }
};

/** What became of a command line. */
struct CommandLine
{
    enum Outcome
    {
        Run,     ///< Go ahead with `options`.
        Told,    ///< The user asked for `message` (help, version); nothing else is to be done.
        Refused, ///< `message` is one line that says why; the exit code is 2.
    };

    Outcome outcome = Run;
    QString message;
    Options options;

    /**
     * Reads a command line whose first element is the program. Names of files and folders are checked too, so that a
     * run doesn't fail late. Needs an application object, and touches neither the environment nor the library.
     */
    static CommandLine parse(const QStringList &arguments);
};
