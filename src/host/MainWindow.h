// The host's main window: the device, SIM and radio state as the plug-ins'
// notifications tell it, a live list of every notification, the Device menu
// that drives IDeviceMgr and the Language menu.
#pragma once

#include <QMainWindow>
#include <QPointer>

#include <functional>

class HostSiblings;
class IDeviceMgr;
class QAction;
class QCheckBox;
class QLabel;
class QListWidget;
class QMenu;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(HostSiblings* siblings, QWidget* parent = nullptr);

    // The plug-in object that offers IDeviceMgr, or null when none is loaded.
    void setDeviceManager(QObject* manager);
    IDeviceMgr* deviceManager() const;
    // Where the device's name comes from once a device is initialised.
    void setDeviceNameSource(std::function<QString()> source);
    // Ticks the entry of `lang` in the Language menu.
    void setLanguage(const QString& lang);

    QMenu* deviceMenu() const { return m_deviceMenu; }
    // Enables the Device menu's entries by the device manager's state; the
    // menu does this itself each time it is about to be shown.
    void updateDeviceMenu();

    // Which operations the Device menu offers when.
    static bool isOperationEnabled(const QString& op, bool haveManager, bool deviceAvailable,
                                   bool simValid);

signals:
    void languageRequested(const QString& lang);

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
    void addDeviceAction(const QString& text, const QString& op, const QString& objectName);
    void applyMenuState(bool haveManager, bool deviceAvailable, bool simValid);
    void onNotified(unsigned int code, const QString& to);
    void onMenuRequest(const QString& op);
    void learn(unsigned int code);
    void showState();

    HostSiblings* m_siblings;
    QPointer<QObject> m_manager;
    std::function<QString()> m_deviceName;

    Device m_device = Device::None;
    QString m_name;
    Tristate m_sim = Tristate::Unknown;
    Tristate m_radio = Tristate::Unknown;

    QLabel* m_deviceLabel = nullptr;
    QLabel* m_simLabel = nullptr;
    QLabel* m_radioLabel = nullptr;
    QListWidget* m_notifications = nullptr;
    QCheckBox* m_dialup = nullptr;
    QMenu* m_deviceMenu = nullptr;
    QMenu* m_languageMenu = nullptr;
};
