// Services of the host's other plug-ins that the device manager looks up
// through the plug-in container (class identifier + interface number, then a
// cast by interface identifier).
#pragma once

#include "PluginInterfaces.h"

class QWidget;

// Class identifiers and interface numbers of the sibling plug-ins.
namespace LinkPlugins {
inline constexpr const char* NotifyClsid = "B3D41F6E-29A7-4C8D-95E2-D60F1A7C4B39";
inline constexpr int NotifyInterface = 8209;
inline constexpr const char* MainFrameClsid = "6A1F93C2-7B4E-4d2a-9C61-3E8B5D20ADDF";
inline constexpr int MainFrameInterface = 4113;
inline constexpr const char* MiniFrameClsid = "6A1F93C2-7B4E-4d2a-9C61-3E8B5D20AFFF";
inline constexpr int MiniFrameInterface = 4097;
inline constexpr const char* MainMenuClsid = "E81B2C5D-4F07-4e3b-B7D2-19C6A04F8E25";
inline constexpr int MainMenuInterface = 4099;
inline constexpr const char* DialupClsid = "5E0C7A19-8D3B-4F62-A1C4-7B9E2D6F3A80";
inline constexpr int DialupInterface = 16401;
// The call service is only ever named as the source of call notifications.
inline constexpr const char* CallServiceClsid = "3C9F6D21-A845-4B17-8E3A-C2F7B06D9E14";
} // namespace LinkPlugins

// Routes numbered notifications between plug-ins.
class INotifyService
{
public:
    virtual ~INotifyService() = default;
    // Asks for the notifications with this code that the plug-in `sourceClsid`
    // sends to be delivered to the caller's INotify as well.
    virtual void Subscribe(const QString& sourceClsid, unsigned int code) = 0;
    virtual void SendNotifyTo(const QString& targetClsid, unsigned int code, NotifyParam wParam,
                              NotifyParam lParam) = 0;
    virtual void BroadcastNotify(unsigned int code, NotifyParam wParam, NotifyParam lParam) = 0;
};

class IMainFrameUIService
{
public:
    virtual ~IMainFrameUIService() = default;
    // The main window, parent of every dialog the plug-ins open.
    virtual QWidget* GetMainWindow() = 0;
};

class IMiniFrameUIService
{
public:
    virtual ~IMiniFrameUIService() = default;
    // Re-reads the device state after the device was (re)initialised.
    virtual void Refresh() = 0;
};

class IMainMenuUI
{
public:
    virtual ~IMainMenuUI() = default;
    // Re-reads the device state and enables the menu entries accordingly.
    virtual void RefreshMenu() = 0;
    // Refreshes the device entries (device present, radio, PIN).
    virtual void RefreshDeviceMenu() = 0;
    // Greys out every entry that needs a device.
    virtual void DisableDeviceMenu() = 0;
};

class IDialupUIService
{
public:
    virtual ~IDialupUIService() = default;
    // True while a data connection is up (and would need dropping).
    virtual bool IsConnected() = 0;
    // Drops every data connection; 0 on success.
    virtual int GlobalDisconnect(int reason) = 0;
};

Q_DECLARE_INTERFACE(INotifyService, "com.corvane.linkmarrow.plugin.INotifyService")
Q_DECLARE_INTERFACE(IMainFrameUIService, "com.corvane.linkmarrow.plugin.IMainFrameUIService")
Q_DECLARE_INTERFACE(IMiniFrameUIService, "com.corvane.linkmarrow.plugin.IMiniFrameUIService")
Q_DECLARE_INTERFACE(IMainMenuUI, "com.corvane.linkmarrow.plugin.IMainMenuUI")
Q_DECLARE_INTERFACE(IDialupUIService, "com.corvane.linkmarrow.plugin.IDialupUIService")
