#include "HostSiblings.h"

#include <PluginContainer.h>

HostSiblings::HostSiblings(PluginContainer* container, QObject* parent)
    : QObject(parent), m_notify(new NotifyServicePlugin(this)),
      m_mainFrame(new MainFramePlugin(this)), m_miniFrame(new MiniFramePlugin(this)),
      m_mainMenu(new MainMenuPlugin(this)), m_dialup(new DialupPlugin(this))
{
    if (!container)
        return;
    container->registerPlugin(QString::fromLatin1(LinkPlugins::NotifyClsid),
                              LinkPlugins::NotifyInterface, m_notify);
    container->registerPlugin(QString::fromLatin1(LinkPlugins::MainFrameClsid),
                              LinkPlugins::MainFrameInterface, m_mainFrame);
    container->registerPlugin(QString::fromLatin1(LinkPlugins::MiniFrameClsid),
                              LinkPlugins::MiniFrameInterface, m_miniFrame);
    container->registerPlugin(QString::fromLatin1(LinkPlugins::MainMenuClsid),
                              LinkPlugins::MainMenuInterface, m_mainMenu);
    container->registerPlugin(QString::fromLatin1(LinkPlugins::DialupClsid),
                              LinkPlugins::DialupInterface, m_dialup);
}

void HostSiblings::setMainWindow(QWidget* window)
{
    m_mainFrame->setMainWindow(window);
}

void HostSiblings::setDialupConnected(bool connected)
{
    m_dialup->setConnected(connected);
}

bool HostSiblings::addNotifyTarget(QObject* plugin)
{
    return m_notify->addTarget(plugin);
}

void HostSiblings::removeNotifyTarget(QObject* plugin)
{
    m_notify->removeTarget(plugin);
}
