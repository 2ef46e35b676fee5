// The five sibling plug-ins the host builds in, registered in its container
// under their class identifiers and interface numbers.
#pragma once

#include "NotifyServicePlugin.h"
#include "SiblingPlugins.h"

#include <QObject>

class PluginContainer;
class QWidget;

class HostSiblings : public QObject
{
    Q_OBJECT
public:
    // Creates the siblings and registers each in `container` (which may be
    // null: then they are only created).
    explicit HostSiblings(PluginContainer* container, QObject* parent = nullptr);

    // What IMainFrameUIService::GetMainWindow returns.
    void setMainWindow(QWidget* window);
    void setDialupConnected(bool connected);
    // A loaded plug-in: its INotify receives broadcasts, and SendNotifyTo
    // its class identifier. Returns false when it has no INotify.
    bool addNotifyTarget(QObject* plugin);
    void removeNotifyTarget(QObject* plugin);

    NotifyServicePlugin* notifyService() const { return m_notify; }
    MainFramePlugin* mainFrame() const { return m_mainFrame; }
    MiniFramePlugin* miniFrame() const { return m_miniFrame; }
    MainMenuPlugin* mainMenu() const { return m_mainMenu; }
    DialupPlugin* dialup() const { return m_dialup; }

private:
    NotifyServicePlugin* m_notify;
    MainFramePlugin* m_mainFrame;
    MiniFramePlugin* m_miniFrame;
    MainMenuPlugin* m_mainMenu;
    DialupPlugin* m_dialup;
};
