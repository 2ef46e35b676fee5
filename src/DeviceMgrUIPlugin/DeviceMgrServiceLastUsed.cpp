// Placeholder bodies: replaced by the implementation of this concern.
#include "DeviceMgrService.h"

#include <QCloseEvent>
#include <QPoint>

QString CDeviceMgrService::GetLastUsedDeviceName()
{
    return QString();
}

QString CDeviceMgrService::getUserDataDirectory()
{
    return QString();
}
