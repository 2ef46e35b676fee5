#include "MainWindow.h"

#include "Autostart.h"
#include "CommonUtils.h"
#include "ContractNames.h"
#include "DeviceCalls.h"
#include "HostSiblings.h"

#include <QAction>
#include <QActionGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDockWidget>
#include <QEvent>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QStatusBar>
#include <QVBoxLayout>

namespace {
constexpr int StatusMessageMs = 3000;
const char SettingsGroup[] = "Host";
const char NotificationsKey[] = "DesktopNotifications";

struct DeviceEntry
{
    const char* text; // null: a separator
    const char* op;
    const char* objectName;
};

// The Device menu from top to bottom: every IDeviceMgr operation a person
// starts, none of the state queries.
const DeviceEntry DeviceEntries[] = {
    {QT_TRANSLATE_NOOP("MainWindow", "Choose device..."), "ShowChooseDevice",
     "LinkHost_ActionChooseDevice"},
    {nullptr, nullptr, nullptr},
    {QT_TRANSLATE_NOOP("MainWindow", "Verify PIN..."), "VerifyPIN", "LinkHost_ActionVerifyPIN"},
    {QT_TRANSLATE_NOOP("MainWindow", "Enable PIN..."), "EnablePIN", "LinkHost_ActionEnablePIN"},
    {QT_TRANSLATE_NOOP("MainWindow", "Disable PIN..."), "DisablePIN", "LinkHost_ActionDisablePIN"},
    {QT_TRANSLATE_NOOP("MainWindow", "Change PIN..."), "ModifyPIN", "LinkHost_ActionChangePIN"},
    {QT_TRANSLATE_NOOP("MainWindow", "Unblock PIN..."), "UnlockPIN", "LinkHost_ActionUnblockPIN"},
    {nullptr, nullptr, nullptr},
    {QT_TRANSLATE_NOOP("MainWindow", "Radio on"), "EnableRF", "LinkHost_ActionRadioOn"},
    {QT_TRANSLATE_NOOP("MainWindow", "Radio off"), "DisableRF", "LinkHost_ActionRadioOff"},
    {QT_TRANSLATE_NOOP("MainWindow", "Go offline"), "SetOffline", "LinkHost_ActionOffline"},
    {QT_TRANSLATE_NOOP("MainWindow", "Detach packet data"), "DetatchGPRS", "LinkHost_ActionDetach"},
    {nullptr, nullptr, nullptr},
    {QT_TRANSLATE_NOOP("MainWindow", "Detect devices"), "StartDetectDevice",
     "LinkHost_ActionDetect"},
};

// Operations that need a device, and those that need a usable SIM as well.
bool needsDevice(const QString& op)
{
    return op != QLatin1String("ShowChooseDevice") && op != QLatin1String("StartDetectDevice");
}

bool needsSim(const QString& op)
{
    return op == QLatin1String("EnablePIN") || op == QLatin1String("DisablePIN") ||
           op == QLatin1String("ModifyPIN");
}
} // namespace

MainWindow::MainWindow(HostSiblings* siblings, QWidget* parent)
    : QMainWindow(parent), m_siblings(siblings)
{
    setObjectName(QStringLiteral("LinkHost_MainWindow"));
    setWindowTitle(QStringLiteral("linkhost"));
    resize(DefaultSize);
    buildCentre();
    buildMenus();
    connect(siblings->notifyService(), &NotifyServicePlugin::notified, this,
            &MainWindow::onNotified);
    connect(siblings->mainMenu(), &MainMenuPlugin::menuRequest, this, &MainWindow::onMenuRequest);
    connect(siblings->miniFrame(), &MiniFramePlugin::refreshed, this,
            [this] { showStatus(tr("Mini frame refreshed")); });
    connect(siblings->dialup(), &DialupPlugin::connectionChanged, m_dialup, &QCheckBox::setChecked);
    retranslate();
}

void MainWindow::buildCentre()
{
    auto* centre = new QWidget(this);
    auto* layout = new QVBoxLayout(centre);
    m_stateBox = new QGroupBox(centre);
    m_stateBox->setObjectName(QStringLiteral("LinkHost_StateBox"));
    auto* state = new QVBoxLayout(m_stateBox);
    const auto stateLabel = [this, state](const QString& name) {
        auto* label = new QLabel(m_stateBox);
        label->setObjectName(name);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        state->addWidget(label);
        return label;
    };
    m_backendLabel = stateLabel(QStringLiteral("LinkHost_BackendLabel"));
    m_backendLabel->setWordWrap(true);
    m_deviceLabel = stateLabel(QStringLiteral("LinkHost_DeviceLabel"));
    m_simLabel = stateLabel(QStringLiteral("LinkHost_SimLabel"));
    m_radioLabel = stateLabel(QStringLiteral("LinkHost_RadioLabel"));
    layout->addWidget(m_stateBox);

    m_dialup = new QCheckBox(centre);
    m_dialup->setObjectName(QStringLiteral("LinkHost_DialupConnected"));
    m_dialup->setChecked(m_siblings->dialup()->connected());
    connect(m_dialup, &QCheckBox::toggled, m_siblings, &HostSiblings::setDialupConnected);
    layout->addWidget(m_dialup);

    m_listTitle = new QLabel(centre);
    layout->addWidget(m_listTitle);
    m_notifications = new QListWidget(centre);
    m_notifications->setObjectName(QStringLiteral("LinkHost_NotificationList"));
    m_notifications->setUniformItemSizes(true);
    layout->addWidget(m_notifications, 1);
    setCentralWidget(centre);
}

QAction* MainWindow::addAction(QMenu* menu, const char* text, const QString& objectName)
{
    QAction* action = menu->addAction(tr(text));
    action->setObjectName(objectName);
    m_actionTexts.append({action, text});
    return action;
}

void MainWindow::buildMenus()
{
    QMenu* file = menuBar()->addMenu(QString());
    m_actionTexts.append({file->menuAction(), QT_TR_NOOP("&File")});
    QAction* quit = addAction(file, QT_TR_NOOP("&Quit"), QStringLiteral("LinkHost_ActionQuit"));
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, &MainWindow::quitRequested);
    buildDeviceMenu();
    buildLanguageMenu();
    buildSettingsMenu();
}

void MainWindow::buildSettingsMenu()
{
    QMenu* settings = menuBar()->addMenu(QString());
    settings->setObjectName(QStringLiteral("LinkHost_SettingsMenu"));
    m_actionTexts.append({settings->menuAction(), QT_TR_NOOP("&Settings")});
    m_startAtLogin = addAction(settings, QT_TR_NOOP("Start at login"),
                               QStringLiteral("LinkHost_ActionStartAtLogin"));
    m_startAtLogin->setCheckable(true);
    m_startAtLogin->setChecked(Autostart::isEnabled());
    connect(m_startAtLogin, &QAction::triggered, this, &MainWindow::onStartAtLogin);
    m_desktopNotifications = addAction(settings, QT_TR_NOOP("Desktop notifications"),
                                       QStringLiteral("LinkHost_ActionDesktopNotifications"));
    m_desktopNotifications->setCheckable(true);
    const QString stored = CommonUtils::GetSettings(SettingsGroup, NotificationsKey);
    m_desktopNotifications->setChecked(stored.isEmpty() || CommonUtils::IsYes(stored));
    connect(m_desktopNotifications, &QAction::triggered, this, [](bool on) {
        CommonUtils::SetSettings(SettingsGroup, NotificationsKey,
                                 on ? QStringLiteral("yes") : QStringLiteral("no"));
    });
}

bool MainWindow::desktopNotificationsOn() const
{
    return m_desktopNotifications->isChecked();
}

void MainWindow::onStartAtLogin(bool on)
{
    QString error;
    if (Autostart::setEnabled(on, QCoreApplication::applicationFilePath(), &error)) {
        showStatus(on ? tr("linkhost starts at login") : tr("linkhost no longer starts at login"));
        return;
    }
    // The entry is what it was: so is the tick.
    m_startAtLogin->setChecked(Autostart::isEnabled());
    qWarning("linkhost: start at login: %s", qPrintable(error));
    CommonUtils::ShowMessage(QMessageBox::Warning, this, tr("Start at login"), error);
}

void MainWindow::setCloseHides(std::function<bool()> closeHides)
{
    m_closeHides = std::move(closeHides);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (m_closeHides && m_closeHides()) {
        hide();
        event->ignore();
        return;
    }
    QMainWindow::closeEvent(event);
    emit closed();
}

void MainWindow::bringToFront()
{
    if (isMinimized())
        showNormal();
    else
        show();
    raise();
    activateWindow();
}

MainWindow::Summary MainWindow::summary() const
{
    if (m_device != Device::Present)
        return Summary::NoCard;
    if (m_sim == Tristate::No)
        return Summary::PinNeeded;
    return m_radio == Tristate::No ? Summary::RadioOff : Summary::Ready;
}

void MainWindow::buildDeviceMenu()
{
    m_deviceMenu = menuBar()->addMenu(QString());
    m_deviceMenu->setObjectName(QStringLiteral("LinkHost_DeviceMenu"));
    m_actionTexts.append({m_deviceMenu->menuAction(), QT_TR_NOOP("&Device")});
    for (const DeviceEntry& entry : DeviceEntries) {
        if (!entry.text) {
            m_deviceMenu->addSeparator();
            continue;
        }
        const QString op = QLatin1String(entry.op);
        QAction* action = addAction(m_deviceMenu, entry.text, QLatin1String(entry.objectName));
        action->setData(op);
        connect(action, &QAction::triggered, this, [this, op] {
            if (!DeviceCalls::invoke(deviceManager(), op))
                showStatus(tr("No device manager is loaded"));
        });
    }
    connect(m_deviceMenu, &QMenu::aboutToShow, this, &MainWindow::updateDeviceMenu);
    applyMenuState(false, false, false);
}

void MainWindow::buildLanguageMenu()
{
    m_languageMenu = menuBar()->addMenu(QString());
    m_languageMenu->setObjectName(QStringLiteral("LinkHost_LanguageMenu"));
    m_actionTexts.append({m_languageMenu->menuAction(), QT_TR_NOOP("&Language")});
    auto* group = new QActionGroup(m_languageMenu);
    // Each language by its own name, so that a person finds it whatever the
    // current one is.
    const QList<std::pair<QString, QString>> languages = {
        {QStringLiteral("English"), QStringLiteral("en")},
        {QStringLiteral("Deutsch"), QStringLiteral("de")}};
    for (const auto& [text, lang] : languages) {
        QAction* action = m_languageMenu->addAction(text);
        action->setObjectName(QStringLiteral("LinkHost_ActionLanguage_") + lang);
        action->setData(lang);
        group->addAction(action);
    }
    QAction* keys = addAction(m_languageMenu, QT_TR_NOOP("Resource keys"),
                              QStringLiteral("LinkHost_ActionLanguage_keys"));
    keys->setData(QStringLiteral("keys"));
    group->addAction(keys);
    for (QAction* action : group->actions()) {
        action->setCheckable(true);
        action->setChecked(action->data().toString() == QLatin1String("en"));
        const QString lang = action->data().toString();
        connect(action, &QAction::triggered, this, [this, lang] { emit languageRequested(lang); });
    }
}

void MainWindow::addPanel(QDockWidget* panel)
{
    addDockWidget(Qt::RightDockWidgetArea, panel);
    resizeDocks({panel}, {PanelWidth}, Qt::Horizontal);
}

void MainWindow::setDeviceManager(QObject* manager)
{
    m_manager = manager;
    // The device state is asked for when the menu opens, not now.
    applyMenuState(deviceManager() != nullptr, false, false);
}

IDeviceMgr* MainWindow::deviceManager() const
{
    return m_manager ? qobject_cast<IDeviceMgr*>(m_manager.data()) : nullptr;
}

void MainWindow::setDeviceNameSource(std::function<QString()> source)
{
    m_deviceName = std::move(source);
}

void MainWindow::setBackendStatus(const QString& message, bool healthy)
{
    m_backendMessage = message;
    // A backend that cannot reach devices is what the person must see first.
    m_backendLabel->setStyleSheet(healthy ? QString() : QStringLiteral("color: #b00020;"));
    showState();
}

void MainWindow::setLanguage(const QString& lang)
{
    for (QAction* action : m_languageMenu->actions())
        action->setChecked(action->data().toString() == lang);
}

bool MainWindow::isOperationEnabled(const QString& op, bool haveManager, bool deviceAvailable,
                                    bool simValid)
{
    if (!haveManager)
        return false;
    if (!needsDevice(op))
        return true;
    if (!deviceAvailable)
        return false;
    return !needsSim(op) || simValid;
}

QString MainWindow::routeName(const QString& to)
{
    if (to == QLatin1String(NotifyServicePlugin::BroadcastTarget))
        return tr("all");
    if (to == QLatin1String(NotifyServicePlugin::SubscribersTarget))
        return tr("subscribers");
    const std::pair<const char*, const char*> siblings[] = {
        {LinkPlugins::MiniFrameClsid, QT_TR_NOOP("mini frame")},
        {LinkPlugins::MainFrameClsid, QT_TR_NOOP("main frame")},
        {LinkPlugins::MainMenuClsid, QT_TR_NOOP("main menu")},
        {LinkPlugins::DialupClsid, QT_TR_NOOP("dial-up")},
        {LinkPlugins::NotifyClsid, QT_TR_NOOP("notification service")}};
    for (const auto& [clsid, name] : siblings) {
        // Exactly as the notification service routes: another spelling
        // reaches no sibling, and the list must not say it did.
        if (to == QLatin1String(clsid))
            return tr(name);
    }
    return to;
}

void MainWindow::updateDeviceMenu()
{
    IDeviceMgr* manager = deviceManager();
    // Asked here, when the menu opens, and never while the device manager
    // is in the middle of telling us something.
    const bool device = manager && manager->IsDeviceAvialable();
    const bool sim = device && manager->IsValidSim();
    applyMenuState(manager != nullptr, device, sim);
}

void MainWindow::applyMenuState(bool haveManager, bool deviceAvailable, bool simValid)
{
    for (QAction* action : m_deviceMenu->actions()) {
        const QString op = action->data().toString();
        if (!op.isEmpty())
            action->setEnabled(isOperationEnabled(op, haveManager, deviceAvailable, simValid));
    }
}

void MainWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    QMainWindow::changeEvent(event);
}

void MainWindow::retranslate()
{
    for (const auto& [action, text] : std::as_const(m_actionTexts))
        action->setText(tr(text));
    m_stateBox->setTitle(tr("Device state"));
    m_dialup->setText(tr("Data connection up"));
    m_listTitle->setText(tr("Notifications:"));
    showState();
}

void MainWindow::onNotified(unsigned int code, const QString& to)
{
    const QString route = routeName(to);
    auto* item = new QListWidgetItem(
        QStringLiteral("%1 %2 -> %3").arg(code).arg(ContractNames::notificationLabel(code), route));
    if (route != to)
        item->setToolTip(to);
    m_notifications->addItem(item);
    m_notifications->scrollToBottom();
    const Device deviceBefore = m_device;
    const Tristate simBefore = m_sim;
    learn(code);
    tell(deviceBefore, simBefore, code);
    showState();
}

void MainWindow::tell(Device deviceBefore, Tristate simBefore, unsigned int code)
{
    const QString name = cardName();
    if (deviceBefore != Device::Present && m_device == Device::Present)
        emit notice(tr("Card detected"), tr("%1 was plugged in.").arg(name));
    if (m_device == Device::Present && simBefore != Tristate::Yes && m_sim == Tristate::Yes)
        emit notice(tr("SIM ready"), tr("%1 is ready to connect.").arg(name));
    if (code == NTF_RF_SWITCH_CHANGED)
        emit notice(tr("Radio switched"), tr("The radio was switched by the hardware switch."));
}

void MainWindow::onMenuRequest(const QString& op)
{
    // The device entries go grey when the device is gone or cleared.
    if (op == QLatin1String("DisableDeviceMenu")) {
        forgetDevice();
        showState();
    }
    showStatus(tr("Menu: %1").arg(op));
}

void MainWindow::learn(unsigned int code)
{
    switch (code) {
    case NTF_DEVICE_INIT_SUCCESS:
    case NTF_DEVICE_CHANGE_END:
        m_device = Device::Present;
        m_name = m_deviceName ? m_deviceName() : QString();
        break;
    case NTF_DEVICE_CHANGE_BEGIN:
        m_device = Device::Changing;
        break;
    case NTF_MINIFRAME_DEVICE_STATE:
        forgetDevice();
        break;
    case NTF_SIM_READY:
        m_sim = Tristate::Yes;
        break;
    case NTF_SIM_NOT_READY:
        m_sim = Tristate::No;
        break;
    case NTF_RF_ON:
        m_radio = Tristate::Yes;
        break;
    case NTF_RF_OFF:
        m_radio = Tristate::No;
        break;
    case NTF_RF_SWITCH_CHANGED:
        showStatus(tr("Radio switch changed"));
        break;
    default:
        break;
    }
}

QString MainWindow::cardName() const
{
    return m_name.isEmpty() ? tr("The card") : m_name;
}

void MainWindow::forgetDevice()
{
    if (m_device == Device::Present)
        emit notice(tr("Card removed"), tr("%1 was removed.").arg(cardName()));
    // What the last card said about its radio says nothing about the next.
    m_device = Device::None;
    m_name.clear();
    m_radio = Tristate::Unknown;
}

void MainWindow::showState()
{
    if (summary() != m_summary || m_name != m_summaryName) {
        m_summary = summary();
        m_summaryName = m_name;
        emit stateChanged();
    }
    m_backendLabel->setText(tr("Devices from: %1").arg(m_backendMessage));
    switch (m_device) {
    case Device::None:
        m_deviceLabel->setText(tr("Device: none"));
        break;
    case Device::Changing:
        m_deviceLabel->setText(tr("Device: changing"));
        break;
    case Device::Present:
        m_deviceLabel->setText(m_name.isEmpty() ? tr("Device: present")
                                                : tr("Device: %1").arg(m_name));
        break;
    }
    const auto word = [](Tristate state, const char* yes, const char* no) {
        return tr(state == Tristate::Unknown ? QT_TR_NOOP("unknown")
                  : state == Tristate::Yes   ? yes
                                             : no);
    };
    m_simLabel->setText(
        tr("SIM: %1").arg(word(m_sim, QT_TR_NOOP("ready"), QT_TR_NOOP("not ready"))));
    m_radioLabel->setText(tr("Radio: %1").arg(word(m_radio, QT_TR_NOOP("on"), QT_TR_NOOP("off"))));
}

void MainWindow::showStatus(const QString& message)
{
    statusBar()->showMessage(message, StatusMessageMs);
}
