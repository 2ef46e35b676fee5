// Placeholder bodies: replaced by the implementation of this concern.
#include "DeviceMgrService.h"

#include <QCloseEvent>
#include <QPoint>

int CDeviceMgrService::Notify(unsigned int /*type*/, NotifyParam /*wParam*/, NotifyParam /*lParam*/)
{
    return 0;
}

void CDeviceMgrService::deviceMgrInitEventHandler(qint32 /*event*/)
{
}

void CDeviceMgrService::deviceMgrEventHandler(qint32 /*event*/)
{
}

void CDeviceMgrService::deviceMgrEventSwich(bool /*showMessage*/)
{
}

void CDeviceMgrService::handleDevDetectEvent()
{
}

void CDeviceMgrService::handleDevChangeEvent()
{
}

void CDeviceMgrService::handleSIMStateChangeEvent()
{
}

void CDeviceMgrService::InitOnMainFrameShow()
{
}

void CDeviceMgrService::showInvalidSimMsg()
{
}

void CDeviceMgrService::refreshProductType()
{
}

void CDeviceMgrService::handleInitSuccess()
{
}

void CDeviceMgrService::handleInitFinish()
{
}

void CDeviceMgrService::handleInitReset()
{
}

void CDeviceMgrService::handleFrameShown()
{
}

bool CDeviceMgrService::IsDeviceAvialable()
{
    return false;
}

bool CDeviceMgrService::IsValidSim()
{
    return false;
}

void CDeviceMgrService::StartDetectDevice()
{
}

void CDeviceMgrService::ShowChooseDevice()
{
}

void CDeviceMgrService::onDeviceInitFinishHandler()
{
}

void CDeviceMgrService::handleSIMOnFramelaunchedEvent()
{
}
