#include "SiblingPlugins.h"

#include "Transcript.h"

MainFramePlugin::MainFramePlugin(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("LinkHost_MainFrame"));
}

MiniFramePlugin::MiniFramePlugin(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("LinkHost_MiniFrame"));
}

void MiniFramePlugin::Refresh()
{
    Transcript::instance().record(QStringLiteral("miniframe"), QStringLiteral("Refresh"));
    emit refreshed();
}

MainMenuPlugin::MainMenuPlugin(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("LinkHost_MainMenu"));
}

void MainMenuPlugin::RefreshMenu()
{
    request(QStringLiteral("RefreshMenu"));
}

void MainMenuPlugin::RefreshDeviceMenu()
{
    request(QStringLiteral("RefreshDeviceMenu"));
}

void MainMenuPlugin::DisableDeviceMenu()
{
    request(QStringLiteral("DisableDeviceMenu"));
}

void MainMenuPlugin::request(const QString& op)
{
    Transcript::instance().record(QStringLiteral("menu"), op);
    emit menuRequest(op);
}

DialupPlugin::DialupPlugin(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("LinkHost_Dialup"));
}

bool DialupPlugin::IsConnected()
{
    Transcript::instance().record(QStringLiteral("dialup"), QStringLiteral("IsConnected"));
    return m_connected;
}

int DialupPlugin::GlobalDisconnect(int reason)
{
    Q_UNUSED(reason)
    Transcript::instance().record(QStringLiteral("dialup"), QStringLiteral("GlobalDisconnect"));
    setConnected(false);
    return 0;
}

void DialupPlugin::setConnected(bool connected)
{
    if (m_connected == connected)
        return;
    m_connected = connected;
    emit connectionChanged(connected);
}
