#include "HostApp.h"

#include "Change.h"
#include "CommonUtils.h"
#include "DeviceMgrContract.h"
#include "HostLog.h"
#include "HostSiblings.h"
#include "HostTranslator.h"
#include "HostTray.h"
#include "MainWindow.h"
#include "QuitOnSignal.h"
#include "RecordMatcher.h"
#include "ScenarioRunner.h"
#include "SingleInstance.h"
#include "Startup.h"
#include "Transcript.h"
#include "VirtualCardPanel.h"
#include "WindowWatcher.h"
#include <PluginContainer.h>
#include <SdkHost.h>
#include <sim/VirtualCard.h>

#include <utps.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTimer>
#include <QWindow>

#include <cstdio>

namespace {
constexpr int ExposePollMs = 10;
// How long a hidden start waits for a tray before it shows the window.
constexpr int TrayWaitMs = 5000;
constexpr int TrayPollMs = 250;

void printError(const QString& message)
{
    std::fprintf(stderr, "linkhost: %s\n", message.toLocal8Bit().constData());
    std::fflush(stderr);
}

QString buttonsText(const MessageRequest& request)
{
    int last = 2;
    while (last > 0 && request.buttons[last].isEmpty())
        --last;
    QStringList buttons;
    for (int i = 0; i <= last; ++i)
        buttons.append(request.buttons[i]);
    return buttons.join(QLatin1Char('|'));
}

void recordMessage(const MessageRequest& request, int reply)
{
    Transcript::instance().record(QStringLiteral("msgbox"),
                                  QStringLiteral("icon=%1 title=%2 text=%3 buttons=%4 -> %5")
                                      .arg(int(request.icon))
                                      .arg(RecordMatcher::quote(request.title),
                                           RecordMatcher::quote(request.text),
                                           RecordMatcher::quote(buttonsText(request)))
                                      .arg(reply));
}

QString currentCardName()
{
    sim::VirtualCard& cards = sim::VirtualCard::instance();
    const std::optional<sim::CardState> current = cards.card(cards.currentCard());
    return current ? QString::fromStdString(current->config.name) : QString();
}

QString currentDeviceName()
{
    char name[UTPS_SHORT_NAME_LEN] = {};
    return UTPS_DevSrv_GetDeviceName(name) == UTPS_ERROR_SUCCESS ? QString::fromLatin1(name)
                                                                 : QString();
}

bool modemManagerOnSystemBus()
{
    const QString service = QStringLiteral("org.freedesktop.ModemManager1");
    QDBusConnectionInterface* bus = QDBusConnection::systemBus().interface();
    return bus && (bus->isServiceRegistered(service).value() ||
                   bus->activatableServiceNames().value().contains(service));
}
} // namespace

HostApp::HostApp(const HostOptions& options, QObject* parent) : QObject(parent), m_options(options)
{
    m_replay = !options.scenario.isEmpty();
}

HostApp::~HostApp()
{
    shutDown();
    HostLog::close();
}

int HostApp::run()
{
    if (!claimInstance())
        return m_exitCode;
    if (!prepare())
        return m_exitCode;
    createHost();
    loadPlugins();
    startPlugins();
    showMainWindow();
    m_inEventLoop = true;
    const int code = QApplication::exec();
    m_inEventLoop = false;
    qDebug("linkhost: event loop left with %d", code);
    // Something else ended the application while steps were left.
    if (m_runner && !m_runner->isFinished())
        m_runner->abort(QStringLiteral("the application quit before the scenario ended"));
    finalScreenshot();
    shutDown();
    return m_replay ? m_exitCode : code;
}

void HostApp::fail(const QString& message)
{
    printError(message);
    m_exitCode = ExitBadInput;
}

bool HostApp::claimInstance()
{
    // A replay is a test of its own: it neither finds nor blocks a host the
    // user runs.
    if (m_replay)
        return true;
    m_instance = std::make_unique<SingleInstance>();
    QString message;
    const SingleInstance::Role role = m_instance->claim(&message);
    if (!message.isEmpty())
        printError(message);
    if (role != SingleInstance::Role::Second) {
        connect(m_instance.get(), &SingleInstance::activationRequested, this, [this] {
            qDebug("linkhost: shown at the request of another linkhost");
            if (m_mainWindow)
                m_mainWindow->bringToFront();
        });
        return true;
    }
    printError(QStringLiteral("already running; its window was asked to show itself"));
    m_instance.reset();
    m_exitCode = ExitOk;
    return false;
}

bool HostApp::prepare()
{
    if (!readScenario() || !chooseBackend() || !prepareUserData() || !prepareLog() ||
        !prepareHostSettings())
        return false;
    prepareSdk();
    installObservers();
    if (m_replay) {
        RunnerHooks hooks;
        hooks.deviceManager = [this] { return deviceManager(); };
        hooks.notifyService = [this] { return m_siblings ? m_siblings->notifyService() : nullptr; };
        hooks.changeLanguage = [this](const QString& lang) { return changeLanguage(lang); };
        hooks.screenshot = [this](const QString& file, bool screen, QString* error) {
            return screenshot(file, screen, error);
        };
        m_runner = std::make_unique<ScenarioRunner>(m_scenario.steps, hooks);
        m_runner->setExpectTimeoutCap(m_options.expectTimeoutMs);
        // From the very start: a plug-in may ask something before step 1.
        m_runner->installResponder();
        connect(m_runner.get(), &ScenarioRunner::finished, this, &HostApp::onScenarioFinished);
    }
    // Only the main window's close ends the host (createTray), and not
    // while a scenario plays: it may close every window and still have steps
    // to play. A prompt closed while the window sits in the tray is not the
    // last window closing.
    QApplication::setQuitOnLastWindowClosed(false);
    connect(qApp, &QCoreApplication::aboutToQuit, this, [] { qDebug("linkhost: about to quit"); });
    m_quitOnSignal = std::make_unique<QuitOnSignal>();
    connect(m_quitOnSignal.get(), &QuitOnSignal::signalled, this, [](int signal) {
        qDebug("linkhost: quitting on signal %d", signal);
        QCoreApplication::quit();
    });
    return true;
}

bool HostApp::readScenario()
{
    const QString path = m_replay ? m_options.scenario : m_options.setup;
    if (path.isEmpty())
        return true;
    QString error;
    const auto mode = m_replay ? ScenarioFile::Replay : ScenarioFile::Setup;
    if (ScenarioFile::load(path, mode, &m_scenario, &error))
        return true;
    fail(error);
    return false;
}

QString HostApp::backendFor(const QString& option, const QString& environment, bool virtualCards,
                            const std::function<bool()>& modemManagerRuns)
{
    if (!option.isEmpty())
        return option;
    if (!environment.isEmpty())
        return environment;
    if (virtualCards)
        return QStringLiteral("sim");
    return modemManagerRuns() ? QStringLiteral("modemmanager") : QStringLiteral("sim");
}

bool HostApp::chooseBackend()
{
    const bool virtualCards = !m_scenario.devices.empty();
    const QString backend = backendFor(m_options.backend, qEnvironmentVariable("UTPS_BACKEND"),
                                       virtualCards, modemManagerOnSystemBus);
    if (virtualCards && backend != QLatin1String("sim")) {
        fail(QStringLiteral("the scenario's devices are virtual cards: they need the sim "
                            "backend, not %1")
                 .arg(backend));
        return false;
    }
    // Before the SDK's first call, which chooses its backend once.
    qputenv("UTPS_BACKEND", backend.toUtf8());
    m_sim = backend == QLatin1String("sim");
    return true;
}

bool HostApp::prepareUserData()
{
    m_userData = m_options.userData;
    if (m_userData.isEmpty())
        m_userData = m_scenario.host.userDataDir;
    if (m_userData.isEmpty() && m_replay) {
        // A scenario starts from nothing, whatever the user's own state.
        m_temporaryUserData =
            std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/linkhost-XXXXXX"));
        if (!m_temporaryUserData->isValid()) {
            fail(QStringLiteral("cannot create a temporary user data folder: %1")
                     .arg(m_temporaryUserData->errorString()));
            return false;
        }
        m_userData = m_temporaryUserData->path();
    }
    if (m_userData.isEmpty())
        m_userData = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    m_userData = QDir(m_userData).absolutePath();
    if (!QDir().mkpath(m_userData)) {
        fail(QStringLiteral("cannot create the user data folder %1").arg(m_userData));
        return false;
    }
    // What the SDK reports as the user data directory, whatever its backend.
    if (!m_sim)
        qputenv("UTPS_USER_DATA_DIR", QFile::encodeName(m_userData + QLatin1Char('/')));
    return true;
}

bool HostApp::prepareLog()
{
    QString error;
    if (!HostLog::open(QDir(m_userData).filePath(QStringLiteral("linkhost.log")), m_options.trace,
                       &error)) {
        fail(error);
        return false;
    }
    qDebug("linkhost: user data folder %s", qPrintable(m_userData));
    utps::setLogSink([](utps::LogLevel level, const std::string& line) {
        if (level == utps::LogLevel::Warning)
            qWarning("%s", line.c_str());
        else
            qDebug("%s", line.c_str());
    });
    return true;
}

bool HostApp::prepareHostSettings()
{
    CommonUtils::SetSettingsFolder(m_userData);
    const ScenarioHost& host = m_scenario.host;
    for (const auto& [path, value] : host.settings) {
        const int slash = path.indexOf(QLatin1Char('/'));
        CommonUtils::SetSettings(path.left(slash), path.mid(slash + 1), value);
    }
    CommonUtils::SetFrameStyle(host.frameStyle);
    if (!Change::SetLanguage(host.language)) {
        fail(QStringLiteral("no catalogue for language \"%1\" (known: %2)")
                 .arg(host.language, Change::Languages().join(QStringLiteral(", "))));
        return false;
    }
    Transcript::instance().clear();
    if (!m_options.transcript.isEmpty() &&
        !Transcript::instance().setOutputFile(m_options.transcript)) {
        fail(QStringLiteral("cannot write the transcript %1").arg(m_options.transcript));
        return false;
    }
    return true;
}

void HostApp::prepareSdk()
{
    ScenarioHost& host = m_scenario.host;
    // Last, so that they win over the scenario's own for the same function.
    for (const HostOptions::Fault& fault : std::as_const(m_options.faults))
        host.faults.append({fault.function, fault.result, -1});
    sim::VirtualCard& cards = sim::VirtualCard::instance();
    // Faults are the C API's: they hold whatever the backend.
    for (const ScenarioFault& fault : host.faults)
        cards.setFault(fault.function.toStdString(), fault.result, fault.times);
    if (!m_sim)
        return;
    sim::HostConfig config = host.sdk;
    if (!host.sdkUserDataDirSet)
        config.userDataDir = (m_userData + QLatin1Char('/')).toStdString();
    cards.setHost(config);
    cards.setEventGapMs(host.eventGapMs);
    // Before the plug-ins start: a plugged card announces itself as soon as
    // the device manager registers for events.
    for (const sim::CardConfig& device : m_scenario.devices)
        cards.addCard(device);
}

void HostApp::installObservers()
{
    CommonUtils::SetMessageObserver([this](const MessageRequest& request, int reply) {
        recordMessage(request, reply);
        // A box that the scenario answered was never on screen: its picture
        // stands in for it.
        if (!m_replay || !m_watcher || m_watcher->screenshotFolder().isEmpty())
            return;
        QString error;
        if (!m_watcher->saveMessage(request, &error))
            printError(error);
    });
    CommonUtils::SetSettingsObserver(
        [](const QString& group, const QString& key, const QString& value) {
            Transcript::instance().record(QStringLiteral("setting"),
                                          QStringLiteral("%1/%2 = %3").arg(group, key, value));
        });
    sim::VirtualCard::instance().setCallObserver([](const sim::CallRecord& call) {
        Transcript::instance().record(
            QStringLiteral("sdk"),
            QStringLiteral("%1(%2) = %3")
                .arg(QString::fromStdString(call.function), QString::fromStdString(call.args))
                .arg(call.result));
    });
}

void HostApp::removeObservers()
{
    CommonUtils::SetMessageObserver({});
    CommonUtils::SetSettingsObserver({});
    sim::VirtualCard::instance().setCallObserver({});
    utps::setBackendStatusObserver({});
}

void HostApp::createHost()
{
    m_container = std::make_unique<PluginContainer>();
    Startup::SetPluginContainer(m_container.get());
    if (m_scenario.host.hasReloadMap)
        m_container->setReloadMap(m_scenario.host.reloadMap);
    connect(m_container.get(), &PluginContainer::pluginOperation, this,
            [](const QString& op, const QString& id) {
                Transcript::instance().record(QStringLiteral("plugin"), op + QLatin1Char(' ') + id);
            });
    m_siblings = std::make_unique<HostSiblings>(m_container.get());
    m_siblings->setDialupConnected(m_scenario.host.dialupConnected);

    m_watcher = std::make_unique<WindowWatcher>();
    if (!m_options.screenshots.isEmpty()) {
        if (!QDir().mkpath(m_options.screenshots))
            printError(QStringLiteral("cannot create the screenshot folder %1")
                           .arg(m_options.screenshots));
        m_watcher->setScreenshotFolder(m_options.screenshots);
    }

    // Before the first window, so that it starts in the host's language.
    m_translator = std::make_unique<HostTranslator>();
    m_translator->setLanguage(Change::Language());
    QCoreApplication::installTranslator(m_translator.get());
    m_mainWindow = std::make_unique<MainWindow>(m_siblings.get());
    m_mainWindow->setLanguage(Change::Language());
    m_siblings->setMainWindow(m_mainWindow.get());
    connect(m_mainWindow.get(), &MainWindow::languageRequested, this,
            [this](const QString& lang) { changeLanguage(lang); });
    showBackendStatus();
    if (m_sim) {
        m_mainWindow->setDeviceNameSource(currentCardName);
        m_mainWindow->addPanel(new VirtualCardPanel(m_mainWindow.get()));
    } else {
        m_mainWindow->setDeviceNameSource(currentDeviceName);
    }
    createTray();
}

void HostApp::createTray()
{
    m_tray = std::make_unique<HostTray>(m_mainWindow.get());
    const auto quit = [] {
        qDebug("linkhost: quit chosen");
        QCoreApplication::quit();
    };
    connect(m_mainWindow.get(), &MainWindow::quitRequested, this, quit);
    connect(m_tray.get(), &HostTray::quitRequested, this, quit);
    if (!m_replay)
        connect(m_mainWindow.get(), &MainWindow::closed, this, quit);
    // Asked at each close: a tray may come and go with the desktop's panel.
    m_mainWindow->setCloseHides(&HostTray::available);
    if (!HostTray::available())
        qDebug("linkhost: no system tray on this desktop: closing the window ends linkhost");
}

void HostApp::showBackendStatus()
{
    const auto show = [](MainWindow* window, const utps::BackendStatus& status) {
        window->setBackendStatus(QString::fromStdString(status.message),
                                 status.ready || status.pending);
    };
    // The backend tells from its own thread.
    QPointer<MainWindow> window = m_mainWindow.get();
    utps::setBackendStatusObserver([window, show](const utps::BackendStatus& status) {
        QMetaObject::invokeMethod(
            qApp,
            [window, show, status] {
                if (window)
                    show(window, status);
            },
            Qt::QueuedConnection);
    });
    show(m_mainWindow.get(), utps::backendStatus());
}

QString HostApp::pluginFolder(const QString& option)
{
    QString folder = option;
    if (folder.isEmpty())
        folder = qEnvironmentVariable("LINK_PLUGIN_DIR");
    if (folder.isEmpty())
        folder =
            QCoreApplication::applicationDirPath() + QStringLiteral("/../lib/linkhost/plugins");
    return QDir::cleanPath(QDir(folder).absolutePath());
}

void HostApp::loadPlugins()
{
    const QString folder = pluginFolder(m_options.plugins);
    CommonUtils::SetPluginLibraryPath(QFileInfo(folder).absolutePath());
    qDebug("linkhost: plug-in folder %s", qPrintable(folder));
    if (!QFileInfo(folder).isDir()) {
        printError(QStringLiteral("plug-in folder %1 does not exist; running without plug-ins")
                       .arg(folder));
        return;
    }
    QStringList errors;
    const QList<QObject*> loaded = m_container->loadPluginFolder(folder, &errors);
    for (const QString& error : errors)
        printError(QStringLiteral("plug-in not loaded: %1").arg(error));
    for (QObject* plugin : loaded)
        m_plugins.append(plugin);
}

void HostApp::startPlugins()
{
    QList<QPointer<QObject>> started;
    for (const QPointer<QObject>& plugin : std::as_const(m_plugins)) {
        auto* base = plugin ? qobject_cast<IBasePlugin*>(plugin.data()) : nullptr;
        if (!base) {
            printError(QStringLiteral("%1 offers no IBasePlugin; not started")
                           .arg(plugin ? QLatin1String(plugin->metaObject()->className())
                                       : QLatin1String("a plug-in")));
            continue;
        }
        m_siblings->addNotifyTarget(plugin);
        if (!base->Init())
            printError(QStringLiteral("%1: Init failed").arg(base->GetPluginName()));
        started.append(plugin);
    }
    m_plugins = started;
    for (const QPointer<QObject>& plugin : std::as_const(m_plugins)) {
        if (auto* ui = qobject_cast<IUIPlugin*>(plugin.data())) {
            QRect rect = m_mainWindow->geometry();
            ui->ShowWindow(m_mainWindow.get(), rect);
        }
        QObject* service = nullptr;
        auto* base = qobject_cast<IBasePlugin*>(plugin.data());
        // A plug-in may have gone again during another's Init.
        if (!base)
            continue;
        if (!m_deviceManager && base->QueryInterface(DEVICE_MGR_INTERFACE, &service) &&
            qobject_cast<IDeviceMgr*>(service))
            m_deviceManager = service;
    }
    m_mainWindow->setDeviceManager(m_deviceManager);
}

void HostApp::showMainWindow()
{
    if (!m_options.hidden) {
        m_mainWindow->show();
        QTimer::singleShot(0, this, &HostApp::waitForExposure);
        return;
    }
    qDebug("linkhost: starting hidden");
    // The tray is the frame now: the plug-ins may show what they must (the
    // PIN prompt) without waiting for a window nobody sees.
    QTimer::singleShot(0, this, &HostApp::frameShown);
    waitForTray();
}

void HostApp::waitForTray()
{
    if (HostTray::available())
        return;
    // Started at login, linkhost may be quicker than the desktop's panel.
    if (m_trayWaitedMs < TrayWaitMs) {
        m_trayWaitedMs += TrayPollMs;
        QTimer::singleShot(TrayPollMs, this, &HostApp::waitForTray);
        return;
    }
    printError(QStringLiteral("no system tray on this desktop: showing the window instead of "
                              "staying hidden"));
    m_mainWindow->show();
}

void HostApp::waitForExposure()
{
    QWindow* window = m_mainWindow->windowHandle();
    if ((window && window->isExposed()) || m_exposeWaitedMs >= ExposeTimeoutMs) {
        frameShown();
        return;
    }
    m_exposeWaitedMs += ExposePollMs;
    QTimer::singleShot(ExposePollMs, this, &HostApp::waitForExposure);
}

void HostApp::frameShown()
{
    m_siblings->notifyService()->BroadcastNotify(NTF_FRAME_SHOWN, 0, 0);
    if (m_runner)
        m_runner->start();
}

IDeviceMgr* HostApp::deviceManager() const
{
    return m_deviceManager ? qobject_cast<IDeviceMgr*>(m_deviceManager.data()) : nullptr;
}

bool HostApp::changeLanguage(const QString& lang)
{
    if (!Change::SetLanguage(lang))
        return false;
    for (const QPointer<QObject>& plugin : std::as_const(m_plugins)) {
        if (auto* ui = qobject_cast<IUIPlugin*>(plugin.data()))
            ui->ChangeLang(lang);
    }
    // Removing and installing again tells every window to retranslate.
    m_translator->setLanguage(lang);
    QCoreApplication::removeTranslator(m_translator.get());
    QCoreApplication::installTranslator(m_translator.get());
    m_mainWindow->setLanguage(lang);
    m_siblings->notifyService()->BroadcastNotify(NTF_LANGUAGE_CHANGED, 0, 0);
    return true;
}

void HostApp::onScenarioFinished(int exitCode)
{
    m_exitCode = exitCode;
    if (exitCode != ExitOk)
        printError(m_runner->failure());
    // After the main loop, a quit would only cut short the loops that the
    // plug-ins' shut-down may still run.
    if (m_inEventLoop)
        QCoreApplication::exit(exitCode);
}

bool HostApp::screenshot(const QString& file, bool screen, QString* error)
{
    QWidget* window = screen ? m_mainWindow.get() : m_watcher->currentWindow();
    if (!window)
        window = m_mainWindow.get();
    const QString name = screen ? QStringLiteral("screen") : window->objectName();
    QString path = file;
    const QString folder =
        m_options.screenshots.isEmpty() ? QDir::currentPath() : m_options.screenshots;
    if (path.isEmpty())
        path = m_options.screenshots.isEmpty()
                   ? QDir(folder).filePath(name + QStringLiteral(".png"))
                   : m_watcher->nextScreenshotPath(name);
    else if (QFileInfo(path).isRelative())
        path = QDir(folder).filePath(path);
    if (screen)
        return WindowWatcher::save(m_watcher->screen(window), path, error);
    return WindowWatcher::save(window, path, error);
}

void HostApp::finalScreenshot()
{
    if (m_options.screenshots.isEmpty() || !m_mainWindow)
        return;
    QString error;
    if (!WindowWatcher::save(m_mainWindow.get(),
                             m_watcher->nextScreenshotPath(m_mainWindow->objectName()), &error))
        printError(error);
}

void HostApp::shutDown()
{
    if (!m_container)
        return;
    CommonUtils::SetShutDownFlag();
    // The device manager must leave the SDK before it is destroyed.
    for (const QPointer<QObject>& plugin : std::as_const(m_plugins)) {
        if (auto* base = qobject_cast<IBasePlugin*>(plugin.data()))
            base->UnSDKRegisterEvent();
    }
    for (const QPointer<QObject>& plugin : std::as_const(m_plugins)) {
        if (auto* base = qobject_cast<IBasePlugin*>(plugin.data()))
            base->OnDestroy();
    }
    m_plugins.clear();
    m_deviceManager = nullptr;
    removeObservers();
    m_runner.reset();
    m_tray.reset();
    m_mainWindow.reset();
    m_watcher.reset();
    Startup::SetPluginContainer(nullptr);
    m_container.reset();
    m_siblings.reset();
    QCoreApplication::removeTranslator(m_translator.get());
    m_translator.reset();
    m_instance.reset();
    qDebug("linkhost: shut down");
}
