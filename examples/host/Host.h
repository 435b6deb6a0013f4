#pragma once

#include "Launchers.h"
#include "MonitorMarks.h"
#include "Options.h"
#include "RunningPrograms.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtQml/QQmlApplicationEngine>

#include <memory>

QT_BEGIN_NAMESPACE
class QQuickWindow;
QT_END_NAMESPACE

class Console;
class KvProgramContext;

/**
 * One run: the window if one is wanted, the first scan, and what is to be done when that has completed. Lives on the
 * main thread. It ends the event loop itself: with 0 after an unattended run, 1 if the first scan doesn't complete in
 * time, the window can't be shown or a program can't be started, 2 if a file can't be written.
 */
class Host : public QObject
{
    Q_OBJECT

public:
    explicit Host(const Options &options);
    ~Host() override;

    /** To be called within the event loop. */
    void start();

private:
    bool loadWindow();
    QVariantMap windowProperties();
    void startFirstScan();
    void tellSummary();
    void onScanCompleted();
    void onFirstScanCompleted();
    void onTimeout();
    bool printLists();
    bool launchProgram() const;
    void saveWhenLoaded();
    void saveNextFrame();
    void saveScreenshot();
    void end(int exitCode);
    void dropPictures();

    const Options m_options;
    KvProgramContext *const m_catalogue; // The library's; it outlives this object.
    Launchers m_launchers;
    MonitorMarks m_marks;
    RunningPrograms m_running;
    QElapsedTimer m_elapsed;
    QTimer m_patience;
    bool m_scanned = false;
    std::unique_ptr<Console> m_console; // With --serve.
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QQuickWindow *m_window = nullptr; // The engine's.
};
