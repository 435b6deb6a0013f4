#pragma once

#include "Launchers.h"
#include "Options.h"
#include "StoredSettings.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtQml/QQmlApplicationEngine>

#include <memory>

QT_BEGIN_NAMESPACE
class QQuickWindow;
QT_END_NAMESPACE

class KvAppSetting;
class Console;
class KvProgramContext;

/**
 * One run: the window if one is wanted, the first scan, and what is to be done when that has completed. Lives on the
 * main thread. It ends the event loop itself: with 0 after an unattended run, 1 if the first scan doesn't complete in
 * time, the window can't be shown or a program can't be started, 2 if a file can't be written. QML sees it as "host".
 */
class Host : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString monitorModel READ monitorModel CONSTANT)

public:
    explicit Host(const Options &options);
    ~Host() override;

    /** The monitor model for which games and tools are marked, as hasSelected; empty if none was chosen. */
    QString monitorModel() const { return m_options.model; }

    /** The launcher of an entry of the game or tool list; empty for null, and if nobody knows. The first question after
     *  a scan takes as long as the launchers' scanners. */
    Q_INVOKABLE QString launcherOf(KvAppSetting *app);

    /** To be called within the event loop. */
    void start();

private:
    bool loadWindow();
    void startFirstScan();
    void markInstalledApps();
    void tellSummary();
    void onScanCompleted();
    void onFirstScanCompleted();
    void onTimeout();
    bool printLists();
    bool launchProgram() const;
    void saveNextFrame();
    void saveScreenshot();
    void end(int exitCode);

    const Options m_options;
    KvProgramContext *const m_catalogue; // The library's; it outlives this object.
    Launchers m_launchers;
    StoredSettings m_storedSettings;
    QElapsedTimer m_elapsed;
    QTimer m_patience;
    bool m_scanned = false;
    std::unique_ptr<Console> m_console; // With --serve.
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QQuickWindow *m_window = nullptr; // The engine's.
};
