// Placeholder bodies: replaced by the implementation of this concern.
#include "DeviceMgrService.h"

#include <QCloseEvent>
#include <QPoint>

int CDeviceMgrService::createVerifyPINDlg()
{
    return 0;
}

int CDeviceMgrService::createPINDlg()
{
    return 0;
}

int CDeviceMgrService::createPUKDlg()
{
    return 0;
}

int CDeviceMgrService::createInternalPUKLayouts()
{
    return 0;
}

int CDeviceMgrService::createModifyDlg()
{
    return 0;
}

int CDeviceMgrService::setTextCreateModifyDlg()
{
    return 0;
}

int CDeviceMgrService::setButtonsCreateModifyDlg()
{
    return 0;
}

void CDeviceMgrService::setDlgToInitialState()
{
}

void CDeviceMgrService::setDlgToInitialStateVerifyPin()
{
}

void CDeviceMgrService::setDlgToInitialStatePinVerify()
{
}

void CDeviceMgrService::setDlgToInitialStateUnlockPin()
{
}

void CDeviceMgrService::setDlgToInitialStateModifyPin()
{
}

void CDeviceMgrService::processTextEditedUnlockPin()
{
}

void CDeviceMgrService::processTextEditedModifyPin()
{
}

void CDeviceMgrService::changeLangVerifyPinDlg()
{
}

void CDeviceMgrService::changeLangPinDlg()
{
}

void CDeviceMgrService::changeLangModifyPinDlg()
{
}

void CDeviceMgrService::changeLangPukDlg()
{
}

void CDeviceMgrService::onTextEdited(QString /*text*/)
{
}

void CDeviceMgrService::onCloseDialog(QCloseEvent* /*event*/)
{
}

void CDeviceMgrService::showVerifyPinContextMenu(QPoint /*point*/)
{
}

void CDeviceMgrService::showPinContextMenu(QPoint /*point*/)
{
}

void CDeviceMgrService::showCurrPinContextMenu(QPoint /*point*/)
{
}

void CDeviceMgrService::showNewPinContextMenu(QPoint /*point*/)
{
}

void CDeviceMgrService::showConfirmPinContextMenu(QPoint /*point*/)
{
}

void CDeviceMgrService::showPUKContextMenu(QPoint /*point*/)
{
}

void CDeviceMgrService::showPINPUKContextMenu(QPoint /*point*/)
{
}

void CDeviceMgrService::showConfirmPUKContextMenu(QPoint /*point*/)
{
}
