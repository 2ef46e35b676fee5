// The host in the tray: an icon whose picture and tooltip follow the main
// window's device state, a menu with the Device menu's entries and
// Show/Quit, and desktop notifications of what the main window tells while
// it is hidden.
#pragma once

#include "MainWindow.h"

#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <memory>

class QMenu;
class QSystemTrayIcon;

class HostTray : public QObject
{
    Q_OBJECT
public:
    explicit HostTray(MainWindow* window, QObject* parent = nullptr);
    ~HostTray() override;

    // Whether the desktop has a tray to show the icon in now.
    static bool available();
    // Whether desktop notifications can reach a person: a notification
    // service on the session bus. `why` tells when they cannot.
    static bool notificationsReachable(QString* why);

    // The tray's icon and tooltip for a state (the device's name may be empty).
    static QIcon iconFor(MainWindow::Summary summary);
    static QString toolTipFor(MainWindow::Summary summary, const QString& deviceName);

    QSystemTrayIcon* icon() const { return m_icon; }
    QMenu* menu() const { return m_menu.get(); }
    // The notifications posted, as "title: text", for a look afterwards.
    QStringList posted() const { return m_posted; }

signals:
    void quitRequested();

private:
    void update();
    void post(const QString& title, const QString& text);

    QPointer<MainWindow> m_window;
    QSystemTrayIcon* m_icon = nullptr;
    std::unique_ptr<QMenu> m_menu;
    QStringList m_posted;
    bool m_unreachableTold = false;
};
