// The host's main window: the device, SIM and radio state as the plug-ins'
// notifications tell it, a live list of every notification, the Device menu
// that drives IDeviceMgr and the Language menu.
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
class QMenu;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    // What the window and a docked panel are laid out for.
    static constexpr QSize DefaultSize{900, 560};
    static constexpr int PanelWidth = 540;

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

protected:
    void changeEvent(QEvent* event) override;

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
    QAction* addAction(QMenu* menu, const char* text, const QString& objectName);
    void retranslate();
    void applyMenuState(bool haveManager, bool deviceAvailable, bool simValid);
    void onNotified(unsigned int code, const QString& to);
    void onMenuRequest(const QString& op);
    void learn(unsigned int code);
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
    // Every menu title and entry with its untranslated text.
    QList<std::pair<QAction*, const char*>> m_actionTexts;
};
