// Placeholder bodies: replaced by the implementation of this concern.
#include "DeviceMgrService.h"

#include <QCloseEvent>
#include <QPoint>

int CDeviceMgrService::createFPDlg()
{
    return 0;
}

void CDeviceMgrService::handleFPLockOnFramelaunchedEvent()
{
}

void CDeviceMgrService::handleFPVerifyEvent()
{
}

void CDeviceMgrService::ChangePrompt(_UTPS_EN_VERIFYINDSTATE /*state*/)
{
}

void CDeviceMgrService::onFPTimerOut()
{
}

void CDeviceMgrService::FPLockOnDialogClose()
{
}
