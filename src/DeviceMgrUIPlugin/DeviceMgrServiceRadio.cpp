// The service's radio, offline and power control: the card-level work is the
// access layer's; this keeps the main menu and the other plug-ins informed.

// The service header's inline parentWidget() needs the complete QWidget.
#include <QWidget>

#include "DeviceMgrService.h"

#include "DeviceMgrTrace.h"

#include <IPluginContainer.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

using DeviceMgrTrace::ServiceFile;

int CDeviceMgrService::EnableRF()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(ServiceFile));
    if (!m_pUILogic) {
        DM_DEBUG("%s : %s : %s : pre-conditions failed", DM_TRACE_ARGS(ServiceFile));
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    const int result = m_pUILogic->SwitchRFMode(true);
    if (result != DEVMGR_RESULT_SUCCESS) {
        DM_DEBUG("%s : %s : %s : , SwitchRFMode returned Error", DM_TRACE_ARGS(ServiceFile));
        return result;
    }
    DM_DEBUG("%s : %s : %s : , SwitchRFMode returned Success", DM_TRACE_ARGS(ServiceFile));
    initMainMenuObj();
    if (!m_pMainMenu) {
        DM_DEBUG("%s : %s : %s : , Main menu initialization failed", DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    m_pMainMenu->RefreshMenu();
    sendNotification(NTF_RF_ON);
    return 0;
}

int CDeviceMgrService::DisableRF()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(ServiceFile));
    if (!m_pUILogic) {
        DM_DEBUG("%s : %s : %s : pre-conditions failed", DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    if (m_pUILogic->SwitchRFMode(false) != DEVMGR_RESULT_SUCCESS) {
        DM_DEBUG("%s : %s : %s : ,  returned SwitchRFMode Error", DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    DM_DEBUG("%s : %s : %s : ,  returned SwitchRFMode Success", DM_TRACE_ARGS(ServiceFile));
    initMainMenuObj();
    if (!m_pMainMenu) {
        DM_DEBUG("%s : %s : %s : , initialization Main menu  failed", DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    m_pMainMenu->RefreshMenu();
    sendNotification(NTF_RF_OFF);
    return 0;
}

int CDeviceMgrService::SetOffline()
{
    DM_DEBUG("%s: %s: %s: called", DM_TRACE_ARGS(ServiceFile));
    if (!m_pUILogic) {
        DM_DEBUG("%s: %s: %s: m_pUILogic is NULL", DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    if (!m_pUILogic->IsIMSIDetachEnabled()) {
        DM_DEBUG("%s: %s: %s: m_pUILogic->IsIMSIDetachEnabled() returned false",
                 DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    // The caller learns nothing from the outcome; it is only traced.
    if (m_pUILogic->SetOffline() == DEVMGR_RESULT_SUCCESS)
        DM_DEBUG("%s: %s: %s: m_pUILogic->SetOffline() Success", DM_TRACE_ARGS(ServiceFile));
    else
        DM_DEBUG("%s: %s: %s: m_pUILogic->SetOffline() returned error", DM_TRACE_ARGS(ServiceFile));
    return 0;
}

int CDeviceMgrService::DetatchGPRS()
{
    DM_DEBUG("%s: %s: %s: called", DM_TRACE_ARGS(ServiceFile));
    if (!m_pUILogic) {
        DM_DEBUG("%s: %s: %s: m_pUILogic is NULL", DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    if (!m_pUILogic->IsGPRSDetachEnabled()) {
        DM_DEBUG("%s: %s: %s: m_pUILogic->IsGPRSDetachEnabled() returned false",
                 DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    if (m_pUILogic->DetachGPRS() == DEVMGR_RESULT_SUCCESS)
        DM_DEBUG("%s: %s: %s: m_pUILogic->DetachGPRS() Success", DM_TRACE_ARGS(ServiceFile));
    else
        DM_DEBUG("%s: %s: %s: m_pUILogic->DetachGPRS() returned error", DM_TRACE_ARGS(ServiceFile));
    return 0;
}

void CDeviceMgrService::onSignalRFSwitch(uint hwstate, uint swstate)
{
    DM_DEBUG("%s : %s : %s : called ", DM_TRACE_ARGS(ServiceFile));
    if (hwstate != 0 && swstate != 0) {
        sendNotification(NTF_RF_ON);
    } else {
        sendNotification(NTF_RF_OFF);
        sendNotification(NTF_RF_SWITCH_CHANGED);
    }
    // Deliberately no lookup here: before the first radio operation the menu
    // is simply not refreshed.
    if (m_pMainMenu) {
        DM_DEBUG("%s : %s : %s : update radio menu on  UTPS_EVENT_DEV_RF_SWITCH event ",
                 DM_TRACE_ARGS(ServiceFile));
        m_pMainMenu->RefreshMenu();
    }
    // Hardware on while the software switch stays off: the receivers get the
    // prompt once more.
    const int previous = m_nLastSwRFState;
    if (swstate == 0 && hwstate == 1 && (previous == 0 || previous == -1))
        sendNotification(NTF_RF_SWITCH_CHANGED);
    m_nLastSwRFState = int(swstate);
}

void CDeviceMgrService::OnPowerMgr(int event)
{
    IPluginContainer* container = Startup::GetPluginContainer();
    if (!container)
        return;
    QObject* plugin = container->GetPlugin(QString::fromLatin1(LinkPlugins::NotifyClsid),
                                           LinkPlugins::NotifyInterface);
    auto* notifier = qobject_cast<INotifyService*>(plugin);
    if (!notifier)
        return;
    notifier->BroadcastNotify(NTF_POWER_MGR, NotifyParam(event), 0);
    DM_DEBUG("%s : %s : %s :POWER MGR %d", DM_TRACE_ARGS(ServiceFile), event);
}

void CDeviceMgrService::initMainMenuObj()
{
    DM_DEBUG("%s: %s: %s: entered", DM_TRACE_ARGS(ServiceFile));
    if (m_pMainMenu) {
        DM_DEBUG("%s: %s: %s: exit", DM_TRACE_ARGS(ServiceFile));
        return;
    }
    IPluginContainer* container = Startup::GetPluginContainer();
    if (!container) {
        DM_WARNING("%s: %s: %s: Startup::GetPluginContainer failed", DM_TRACE_ARGS(ServiceFile));
        return;
    }
    QObject* plugin = container->GetPlugin(QString::fromLatin1(LinkPlugins::MainMenuClsid),
                                           LinkPlugins::MainMenuInterface);
    m_pMainMenu = qobject_cast<IMainMenuUI*>(plugin);
    if (!m_pMainMenu)
        DM_DEBUG("%s: %s: %s: MainMenuBar::GetInstance() failed", DM_TRACE_ARGS(ServiceFile));
    DM_DEBUG("%s: %s: %s: exit", DM_TRACE_ARGS(ServiceFile));
}
