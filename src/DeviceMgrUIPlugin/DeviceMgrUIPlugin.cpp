#include "DeviceMgrUIPlugin.h"

#include "DeviceMgrService.h"
#include "DeviceMgrTrace.h"

#include <QWidget>

using DeviceMgrTrace::PluginFile;

void CDeviceMgrUI::Release() {}

int CDeviceMgrUI::GetLastError()
{
    return 0;
}

void CDeviceMgrUI::OnDestroy()
{
    CDeviceMgrService::Destroy();
    m_pDeviceMgrService = nullptr;
}

void CDeviceMgrUI::UnSDKRegisterEvent()
{
    DM_DEBUG("%s: %s called", PluginFile, __FUNCTION__);
    CDeviceMgrService::instance()->unSDKRegisterEvent();
    DM_DEBUG("%s: %s exit", PluginFile, __FUNCTION__);
}

int CDeviceMgrUI::Init()
{
    return CDeviceMgrService::instance()->Init();
}

unsigned int CDeviceMgrUI::GetPluginType()
{
    return 1; // the host's value for a UI plug-in
}

QString CDeviceMgrUI::GetCLSID()
{
    // Looked up by interface number only: a null identifier, on purpose.
    return QString();
}

unsigned int CDeviceMgrUI::GetVersion()
{
    return 0;
}

QString CDeviceMgrUI::GetPluginName()
{
    return QStringLiteral("DeviceMgrUI");
}

bool CDeviceMgrUI::IsAllowRelease()
{
    return false;
}

bool CDeviceMgrUI::QueryInterface(int iid, QObject** ppObject)
{
    DM_DEBUG("%s: %s called", PluginFile, __FUNCTION__);
    // Without a place to put the service there is nothing to hand out: a null
    // output pointer is refused rather than written through.
    if (iid != DEVICE_MGR_INTERFACE || !ppObject)
        return false;
    m_pDeviceMgrService = CDeviceMgrService::instance();
    *ppObject = m_pDeviceMgrService;
    return true;
}

int CDeviceMgrUI::ShowWindow(QWidget* parent, QRect& /*rect*/)
{
    return CDeviceMgrService::instance()->ShowWindow(parent);
}

int CDeviceMgrUI::DoModal()
{
    return 0;
}

void CDeviceMgrUI::Hide() {}

void CDeviceMgrUI::FitSize(QRect& /*rect*/) {}

bool CDeviceMgrUI::IsReady()
{
    return true;
}

bool CDeviceMgrUI::ChangeLang(const QString& lang)
{
    // Texts are translated each time they are shown: nothing to redo here.
    return !lang.isEmpty();
}

int CDeviceMgrUI::Notify(unsigned int type, NotifyParam wParam, NotifyParam lParam)
{
    return CDeviceMgrService::instance()->Notify(type, wParam, lParam);
}
