// linkhost from start to exit: folders, log, settings, the virtual card, the
// plug-in container with the built-in siblings, the plug-ins, the main
// window, the scenario, and the ordinary shut-down.
#pragma once

#include "HostOptions.h"
#include "ScenarioFile.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QTemporaryDir>

#include <functional>
#include <memory>

class HostSiblings;
class HostTray;
class SingleInstance;
class HostTranslator;
class IDeviceMgr;
class MainWindow;
class PluginContainer;
class QuitOnSignal;
class ScenarioRunner;
class WindowWatcher;

class HostApp : public QObject
{
    Q_OBJECT
public:
    // Exit codes.
    static constexpr int ExitOk = 0;
    static constexpr int ExitFailed = 1;
    static constexpr int ExitBadInput = 2;
    // How long the main window may take to come on screen.
    static constexpr int ExposeTimeoutMs = 5000;

    explicit HostApp(const HostOptions& options, QObject* parent = nullptr);
    ~HostApp() override;

    // Needs the QApplication; returns the process's exit code.
    int run();

    // Switches the catalogue, tells every plug-in and broadcasts NTF_LANGUAGE_CHANGED.
    bool changeLanguage(const QString& lang);
    IDeviceMgr* deviceManager() const;

    // The plug-in folder the options and environment select.
    static QString pluginFolder(const QString& option);
    // The SDK backend: --backend, else UTPS_BACKEND, else the virtual card
    // for virtual cards, else ModemManager when it runs, else the virtual card.
    static QString backendFor(const QString& option, const QString& environment, bool virtualCards,
                              const std::function<bool()>& modemManagerRuns);

private:
    bool claimInstance();
    bool prepare();
    bool readScenario();
    bool chooseBackend();
    bool prepareUserData();
    bool prepareLog();
    bool prepareHostSettings();
    void prepareSdk();
    void installObservers();
    void removeObservers();
    void createHost();
    void showBackendStatus();
    void loadPlugins();
    void startPlugins();
    void createTray();
    void showMainWindow();
    void waitForExposure();
    void waitForTray();
    void frameShown();
    void onScenarioFinished(int exitCode);
    bool screenshot(const QString& file, bool screen, QString* error);
    void finalScreenshot();
    void shutDown();
    void fail(const QString& message);

    HostOptions m_options;
    bool m_replay = false;
    bool m_sim = true;
    Scenario m_scenario;
    QString m_userData;
    std::unique_ptr<QTemporaryDir> m_temporaryUserData;
    int m_exitCode = ExitOk;

    std::unique_ptr<PluginContainer> m_container;
    std::unique_ptr<HostSiblings> m_siblings;
    std::unique_ptr<HostTranslator> m_translator;
    std::unique_ptr<MainWindow> m_mainWindow;
    std::unique_ptr<HostTray> m_tray;
    std::unique_ptr<SingleInstance> m_instance;
    std::unique_ptr<WindowWatcher> m_watcher;
    std::unique_ptr<ScenarioRunner> m_runner;
    std::unique_ptr<QuitOnSignal> m_quitOnSignal;
    QList<QPointer<QObject>> m_plugins;
    QPointer<QObject> m_deviceManager;
    int m_exposeWaitedMs = 0;
    int m_trayWaitedMs = 0;
    bool m_inEventLoop = false;
};
