// The host's main window: the device, SIM and radio state as the plug-ins'
// notifications tell it, a live list of every notification, the Device menu
// that drives IDeviceMgr, the Language menu and the Settings menu.
#pragma once

#include <QMainWindow>
#include <QPointer>

#include <functional>
#include <utility>

class HostSiblings;
class IDeviceMgr;
class QAction;
class QCheckBox;
class QDockWidget;
class QGroupBox;
class QLabel;
class QListWidget;
class QCloseEvent;
class QMenu;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    // What the window and a docked panel are laid out for.
    static constexpr QSize DefaultSize{900, 560};
    static constexpr int PanelWidth = 540;

    // The device, SIM and radio state in one word, for the tray.
    enum class Summary
    {
        NoCard,
        PinNeeded, // the SIM is not ready: its PIN (or PUK) is wanted
        Ready,
        RadioOff,
    };

    explicit MainWindow(HostSiblings* siblings, QWidget* parent = nullptr);

    // The plug-in object that offers IDeviceMgr, or null when none is loaded.
    void setDeviceManager(QObject* manager);
    IDeviceMgr* deviceManager() const;
    // Where the device's name comes from once a device is initialised.
    void setDeviceNameSource(std::function<QString()> source);
    // What the device SDK talks to; `healthy` is false when it cannot reach
    // devices and will not without help.
    void setBackendStatus(const QString& message, bool healthy);
    // Ticks the entry of `lang` in the Language menu.
    void setLanguage(const QString& lang);

    // Docks `panel` at the right, as wide as a panel needs.
    void addPanel(QDockWidget* panel);

    QMenu* deviceMenu() const { return m_deviceMenu; }
    Summary summary() const;
    // The Settings menu's choice (on unless switched off).
    bool desktopNotificationsOn() const;
    // The current device's name; empty without one or before it is known.
    QString deviceName() const { return m_name; }
    // Whether closing the window only hides it (a tray keeps the host
    // reachable); without it closing the window ends the host.
    void setCloseHides(std::function<bool()> closeHides);
    // Shows the window, brought to the front even from the tray.
    void bringToFront();
    // Enables the Device menu's entries by the device manager's state; the
    // menu does this itself each time it is about to be shown.
    void updateDeviceMenu();

    // Which operations the Device menu offers when.
    static bool isOperationEnabled(const QString& op, bool haveManager, bool deviceAvailable,
                                   bool simValid);
    // How the notification list names a notification's receivers: "all",
    // a sibling plug-in's name, or the class identifier as it was given.
    static QString routeName(const QString& to);

signals:
    void languageRequested(const QString& lang);
    // File > Quit: the host ends, whatever closing the window would do.
    void quitRequested();
    // The window was closed, not just hidden to the tray.
    void closed();
    // summary() or deviceName() changed.
    void stateChanged();
    // Something a person must know even while the window is hidden.
    void notice(const QString& title, const QString& text);

protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    enum class Device
    {
        None,
        Present,
        Changing
    };
    enum class Tristate
    {
        Unknown,
        Yes,
        No
    };

    void buildCentre();
    void buildMenus();
    void buildDeviceMenu();
    void buildLanguageMenu();
    void buildSettingsMenu();
    void onStartAtLogin(bool on);
    QAction* addAction(QMenu* menu, const char* text, const QString& objectName);
    void retranslate();
    void applyMenuState(bool haveManager, bool deviceAvailable, bool simValid);
    void onNotified(unsigned int code, const QString& to);
    void onMenuRequest(const QString& op);
    void learn(unsigned int code);
    void tell(Device deviceBefore, Tristate simBefore, unsigned int code);
    // The device's name for a sentence, "The card" while it is unknown.
    QString cardName() const;
    void forgetDevice();
    void showState();
    void showStatus(const QString& message);

    HostSiblings* m_siblings;
    QPointer<QObject> m_manager;
    std::function<QString()> m_deviceName;

    Device m_device = Device::None;
    QString m_name;
    Tristate m_sim = Tristate::Unknown;
    Tristate m_radio = Tristate::Unknown;

    QString m_backendMessage;

    QGroupBox* m_stateBox = nullptr;
    QLabel* m_backendLabel = nullptr;
    QLabel* m_deviceLabel = nullptr;
    QLabel* m_simLabel = nullptr;
    QLabel* m_radioLabel = nullptr;
    QLabel* m_listTitle = nullptr;
    QListWidget* m_notifications = nullptr;
    QCheckBox* m_dialup = nullptr;
    QMenu* m_deviceMenu = nullptr;
    QMenu* m_languageMenu = nullptr;
    QAction* m_startAtLogin = nullptr;
    QAction* m_desktopNotifications = nullptr;
    std::function<bool()> m_closeHides;
    Summary m_summary = Summary::NoCard;
    QString m_summaryName;
    // Every menu title and entry with its untranslated text.
    QList<std::pair<QAction*, const char*>> m_actionTexts;
};
