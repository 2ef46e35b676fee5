// Interfaces shared by the host and its plug-ins. Every operation is a pure
// virtual in the slot order the host was built against: changing the order
// breaks binary compatibility with plug-ins built earlier.
#pragma once

#include <QObject>
#include <QRect>
#include <QString>
#include <QtGlobal>

class QWidget;

// Notification parameters are pointer-sized so that a notification can carry
// the address of a list (the plug-ins share one process).
typedef quintptr NotifyParam;

class IBaseInterface
{
public:
    virtual ~IBaseInterface() = default;
    virtual void Release() = 0;
    virtual int GetLastError() = 0;
};

class IDestroyEvent
{
public:
    virtual ~IDestroyEvent() = default;
    virtual void OnDestroy() = 0;
    virtual void UnSDKRegisterEvent() = 0;
};

class IBasePlugin : public IBaseInterface, public IDestroyEvent
{
public:
    virtual int Init() = 0;
    virtual unsigned int GetPluginType() = 0;
    virtual QString GetCLSID() = 0;
    virtual unsigned int GetVersion() = 0;
    virtual QString GetPluginName() = 0;
    virtual bool IsAllowRelease() = 0;
    virtual bool QueryInterface(int iid, QObject** ppObject) = 0;
};

class IUIPlugin : public IBasePlugin
{
public:
    virtual int ShowWindow(QWidget* parent, QRect& rect) = 0;
    virtual int DoModal() = 0;
    virtual void Hide() = 0;
    virtual void FitSize(QRect& rect) = 0;
    virtual bool IsReady() = 0;
    virtual bool ChangeLang(const QString& lang) = 0;
};

class INotify
{
public:
    virtual ~INotify() = default;
    virtual int Notify(unsigned int type, NotifyParam wParam, NotifyParam lParam) = 0;
};

// The device manager's service interface for other plug-ins. The names
// IsDeviceAvialable and DetatchGPRS are part of the contract as spelt.
class IDeviceMgr
{
public:
    virtual ~IDeviceMgr() = default;
    virtual int VerifyPIN() = 0;
    virtual int EnablePIN() = 0;
    virtual int DisablePIN() = 0;
    virtual int UnlockPIN() = 0;
    virtual int ModifyPIN() = 0;
    virtual int EnableRF() = 0;
    virtual int DisableRF() = 0;
    virtual int SetOffline() = 0;
    virtual int DetatchGPRS() = 0;
    virtual void ShowChooseDevice() = 0;
    virtual bool IsDeviceAvialable() = 0;
    virtual bool IsValidSim() = 0;
    virtual void StartDetectDevice() = 0;
    virtual QString GetLastUsedDeviceName() = 0;
};

Q_DECLARE_INTERFACE(IBaseInterface, "com.corvane.linkmarrow.plugin.IBaseInterface")
Q_DECLARE_INTERFACE(IDestroyEvent, "com.corvane.linkmarrow.plugin.IDestroyEvent")
Q_DECLARE_INTERFACE(IBasePlugin, "com.corvane.linkmarrow.plugin.IBasePlugin")
Q_DECLARE_INTERFACE(IUIPlugin, "com.corvane.linkmarrow.plugin.IUIPlugin")
Q_DECLARE_INTERFACE(INotify, "com.corvane.linkmarrow.plugin.INotify")
Q_DECLARE_INTERFACE(IDeviceMgr, "com.corvane.linkmarrow.plugin.IDeviceMgr")
