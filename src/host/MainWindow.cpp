#include "MainWindow.h"

#include "DeviceCalls.h"
#include "HostSiblings.h"
#include "NotificationNames.h"

#include <QAction>
#include <QActionGroup>
#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QStatusBar>
#include <QVBoxLayout>

namespace {
constexpr int StatusMessageMs = 3000;

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
    resize(900, 560);
    buildCentre();
    buildMenus();
    connect(siblings->notifyService(), &NotifyServicePlugin::notified, this,
            &MainWindow::onNotified);
    connect(siblings->mainMenu(), &MainMenuPlugin::menuRequest, this, &MainWindow::onMenuRequest);
    connect(siblings->miniFrame(), &MiniFramePlugin::refreshed, this,
            [this] { statusBar()->showMessage(tr("Mini frame refreshed"), StatusMessageMs); });
    connect(siblings->dialup(), &DialupPlugin::connectionChanged, m_dialup, &QCheckBox::setChecked);
    showState();
}

void MainWindow::buildCentre()
{
    auto* centre = new QWidget(this);
    auto* layout = new QVBoxLayout(centre);
    auto* state = new QFormLayout;
    m_deviceLabel = new QLabel(centre);
    m_deviceLabel->setObjectName(QStringLiteral("LinkHost_DeviceLabel"));
    m_simLabel = new QLabel(centre);
    m_simLabel->setObjectName(QStringLiteral("LinkHost_SimLabel"));
    m_radioLabel = new QLabel(centre);
    m_radioLabel->setObjectName(QStringLiteral("LinkHost_RadioLabel"));
    state->addRow(m_deviceLabel);
    state->addRow(m_simLabel);
    state->addRow(m_radioLabel);
    layout->addLayout(state);

    m_dialup = new QCheckBox(tr("Data connection up"), centre);
    m_dialup->setObjectName(QStringLiteral("LinkHost_DialupConnected"));
    m_dialup->setChecked(m_siblings->dialup()->connected());
    connect(m_dialup, &QCheckBox::toggled, m_siblings, &HostSiblings::setDialupConnected);
    layout->addWidget(m_dialup);

    layout->addWidget(new QLabel(tr("Notifications:"), centre));
    m_notifications = new QListWidget(centre);
    m_notifications->setObjectName(QStringLiteral("LinkHost_NotificationList"));
    layout->addWidget(m_notifications, 1);
    setCentralWidget(centre);
}

void MainWindow::buildMenus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    QAction* quit = file->addAction(tr("&Quit"), this, &QWidget::close);
    quit->setObjectName(QStringLiteral("LinkHost_ActionQuit"));
    quit->setShortcut(QKeySequence::Quit);

    m_deviceMenu = menuBar()->addMenu(tr("&Device"));
    m_deviceMenu->setObjectName(QStringLiteral("LinkHost_DeviceMenu"));
    addDeviceAction(tr("Choose device..."), QStringLiteral("ShowChooseDevice"),
                    QStringLiteral("LinkHost_ActionChooseDevice"));
    m_deviceMenu->addSeparator();
    addDeviceAction(tr("Verify PIN..."), QStringLiteral("VerifyPIN"),
                    QStringLiteral("LinkHost_ActionVerifyPIN"));
    addDeviceAction(tr("Enable PIN..."), QStringLiteral("EnablePIN"),
                    QStringLiteral("LinkHost_ActionEnablePIN"));
    addDeviceAction(tr("Disable PIN..."), QStringLiteral("DisablePIN"),
                    QStringLiteral("LinkHost_ActionDisablePIN"));
    addDeviceAction(tr("Change PIN..."), QStringLiteral("ModifyPIN"),
                    QStringLiteral("LinkHost_ActionChangePIN"));
    addDeviceAction(tr("Unblock PIN..."), QStringLiteral("UnlockPIN"),
                    QStringLiteral("LinkHost_ActionUnblockPIN"));
    m_deviceMenu->addSeparator();
    addDeviceAction(tr("Radio on"), QStringLiteral("EnableRF"),
                    QStringLiteral("LinkHost_ActionRadioOn"));
    addDeviceAction(tr("Radio off"), QStringLiteral("DisableRF"),
                    QStringLiteral("LinkHost_ActionRadioOff"));
    addDeviceAction(tr("Offline"), QStringLiteral("SetOffline"),
                    QStringLiteral("LinkHost_ActionOffline"));
    addDeviceAction(tr("Detach"), QStringLiteral("DetatchGPRS"),
                    QStringLiteral("LinkHost_ActionDetach"));
    m_deviceMenu->addSeparator();
    addDeviceAction(tr("Detect devices"), QStringLiteral("StartDetectDevice"),
                    QStringLiteral("LinkHost_ActionDetect"));
    connect(m_deviceMenu, &QMenu::aboutToShow, this, &MainWindow::updateDeviceMenu);
    applyMenuState(false, false, false);

    m_languageMenu = menuBar()->addMenu(tr("&Language"));
    m_languageMenu->setObjectName(QStringLiteral("LinkHost_LanguageMenu"));
    auto* group = new QActionGroup(m_languageMenu);
    const QList<std::pair<QString, QString>> languages = {
        {QStringLiteral("English"), QStringLiteral("en")},
        {QStringLiteral("Deutsch"), QStringLiteral("de")},
        {tr("Keys"), QStringLiteral("keys")}};
    for (const auto& [text, lang] : languages) {
        QAction* action = m_languageMenu->addAction(text);
        action->setObjectName(QStringLiteral("LinkHost_ActionLanguage_") + lang);
        action->setData(lang);
        action->setCheckable(true);
        action->setChecked(lang == QLatin1String("en"));
        group->addAction(action);
        const QString code = lang;
        connect(action, &QAction::triggered, this, [this, code] { emit languageRequested(code); });
    }
}

void MainWindow::addDeviceAction(const QString& text, const QString& op, const QString& objectName)
{
    QAction* action = m_deviceMenu->addAction(text);
    action->setObjectName(objectName);
    action->setData(op);
    connect(action, &QAction::triggered, this, [this, op] {
        if (!DeviceCalls::invoke(deviceManager(), op))
            statusBar()->showMessage(tr("No device manager is loaded"), StatusMessageMs);
    });
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

void MainWindow::onNotified(unsigned int code, const QString& to)
{
    auto* item = new QListWidgetItem(
        QStringLiteral("%1 %2 -> %3").arg(code).arg(Notifications::name(code), to));
    m_notifications->addItem(item);
    m_notifications->scrollToBottom();
    learn(code);
    showState();
}

void MainWindow::onMenuRequest(const QString& op)
{
    // The device entries go grey when the device is gone or cleared.
    if (op == QLatin1String("DisableDeviceMenu")) {
        m_device = Device::None;
        showState();
    }
    statusBar()->showMessage(tr("Menu: %1").arg(op), StatusMessageMs);
}

void MainWindow::learn(unsigned int code)
{
    switch (code) {
    case Notifications::DeviceInitSuccess:
    case Notifications::DeviceChangeEnd:
        m_device = Device::Present;
        m_name = m_deviceName ? m_deviceName() : QString();
        break;
    case Notifications::DeviceChangeBegin:
        m_device = Device::Changing;
        break;
    case Notifications::MiniFrameDeviceState:
        m_device = Device::None;
        break;
    case Notifications::SimReady:
        m_sim = Tristate::Yes;
        break;
    case Notifications::SimNotReady:
        m_sim = Tristate::No;
        break;
    case Notifications::RfOn:
        m_radio = Tristate::Yes;
        break;
    case Notifications::RfOff:
        m_radio = Tristate::No;
        break;
    case Notifications::RfSwitchChanged:
        statusBar()->showMessage(tr("Radio switch changed"), StatusMessageMs);
        break;
    default:
        break;
    }
}

void MainWindow::showState()
{
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
    const auto word = [](Tristate state, const QString& yes, const QString& no) {
        return state == Tristate::Unknown ? QStringLiteral("unknown")
               : state == Tristate::Yes   ? yes
                                          : no;
    };
    m_simLabel->setText(tr("SIM: %1").arg(word(m_sim, tr("ready"), tr("not ready"))));
    m_radioLabel->setText(tr("Radio: %1").arg(word(m_radio, tr("on"), tr("off"))));
}
