// The object the host loads: a thin front that hands every operation that
// matters to the process-wide CDeviceMgrService.
#pragma once

#include <PluginInterfaces.h>

#include <QObject>
#include <QRect>
#include <QString>

class CDeviceMgrService;

class CDeviceMgrUI : public QObject, public IUIPlugin, public INotify
{
    Q_OBJECT
    Q_INTERFACES(IUIPlugin : IBasePlugin INotify)

public:
    // Interface number under which other plug-ins obtain IDeviceMgr.

    CDeviceMgrUI() = default;
    ~CDeviceMgrUI() override = default;

    // IBaseInterface
    void Release() override;
    int GetLastError() override;

    // IDestroyEvent
    void OnDestroy() override;
    void UnSDKRegisterEvent() override;

    // IBasePlugin
    int Init() override;
    unsigned int GetPluginType() override;
    QString GetCLSID() override;
    unsigned int GetVersion() override;
    QString GetPluginName() override;
    bool IsAllowRelease() override;
    bool QueryInterface(int iid, QObject** ppObject) override;

    // IUIPlugin
    int ShowWindow(QWidget* parent, QRect& rect) override;
    int DoModal() override;
    void Hide() override;
    void FitSize(QRect& rect) override;
    bool IsReady() override;
    bool ChangeLang(const QString& lang) override;

    // INotify
    int Notify(unsigned int type, NotifyParam wParam, NotifyParam lParam) override;

    // The service handed out by QueryInterface; null again after OnDestroy.
    CDeviceMgrService* cachedService() const { return m_pDeviceMgrService; }

private:
    // Never owned: the service is the process's singleton.
    CDeviceMgrService* m_pDeviceMgrService = nullptr;
};
