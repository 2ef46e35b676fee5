// Placeholder bodies: replaced by the implementation of this concern.
#include "DeviceMgrService.h"

#include <QCloseEvent>
#include <QPoint>

void CDeviceMgrService::checkPINWithWin7()
{
}

void CDeviceMgrService::checkPIN()
{
}

void CDeviceMgrService::launchPinDlg(E_DEVMGR_PIN_STATE /*state*/)
{
}

void CDeviceMgrService::launchSpecificPinDlg(E_DEVMGR_PIN_STATE /*state*/)
{
}

int CDeviceMgrService::VerifyPIN()
{
    return 0;
}

int CDeviceMgrService::EnablePIN()
{
    return 0;
}

int CDeviceMgrService::DisablePIN()
{
    return 0;
}

int CDeviceMgrService::UnlockPIN()
{
    return 0;
}

int CDeviceMgrService::ModifyPIN()
{
    return 0;
}

void CDeviceMgrService::processPINPUK()
{
}

void CDeviceMgrService::showPINDlg()
{
}

void CDeviceMgrService::showVerifyPINDlg()
{
}

void CDeviceMgrService::displaySuccessMsgBoxPINOkButtonClicked()
{
}

void CDeviceMgrService::displayFailureMsgBoxPINOkButtonClicked()
{
}

void CDeviceMgrService::modifyPinModOkButtonClicked(QString& /*oldPin*/, QString& /*newPin*/)
{
}

void CDeviceMgrService::onVerifyPINOkButtonClicked()
{
}

void CDeviceMgrService::onPINOkButtonClicked()
{
}

void CDeviceMgrService::onPUKOkButtonClicked()
{
}

void CDeviceMgrService::onModOkButtonClicked()
{
}

void CDeviceMgrService::onCancelButtonClicked()
{
}
