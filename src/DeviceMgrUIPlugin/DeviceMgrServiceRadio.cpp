// Placeholder bodies: replaced by the implementation of this concern.
#include "DeviceMgrService.h"

#include <QCloseEvent>
#include <QPoint>

int CDeviceMgrService::EnableRF()
{
    return 0;
}

int CDeviceMgrService::DisableRF()
{
    return 0;
}

int CDeviceMgrService::SetOffline()
{
    return 0;
}

int CDeviceMgrService::DetatchGPRS()
{
    return 0;
}

void CDeviceMgrService::onSignalRFSwitch(uint /*hwstate*/, uint /*swstate*/)
{
}

void CDeviceMgrService::OnPowerMgr(int /*event*/)
{
}

void CDeviceMgrService::initMainMenuObj()
{
}
