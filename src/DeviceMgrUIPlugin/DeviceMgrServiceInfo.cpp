// Placeholder bodies: replaced by the implementation of this concern.
#include "DeviceMgrService.h"

#include <QCloseEvent>
#include <QPoint>

int CDeviceMgrService::createInfoDlg()
{
    return 0;
}

void CDeviceMgrService::showInfoDlg(QString& /*text*/, int /*ms*/)
{
}

void CDeviceMgrService::hideInfoDlg()
{
}

void CDeviceMgrService::onTimerOut()
{
}

void CDeviceMgrService::closeAllPopups(bool /*closeChooser*/)
{
}

void CDeviceMgrService::closePinDlg()
{
}

void CDeviceMgrService::sendNotification(unsigned int /*code*/)
{
}

void CDeviceMgrService::subscribeCallNotification()
{
}
