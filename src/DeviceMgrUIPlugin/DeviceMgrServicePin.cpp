// The PIN workflow: reading the SIM's PIN state once the card is ready,
// opening the dialog the state calls for, and carrying OK and Cancel of the
// PIN dialogs to the access layer and back to the user.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "DeviceMgrTrace.h"
#include "DeviceMgrWin7Thread.h"
#include "LineEdit.h"
#include "SimDlg.h"

#include <Change.h>
#include <CommonUtils.h>
#include <ExtendDialog.h>
#include <SiblingInterfaces.h>
#include <utps.h>

#include <QCloseEvent>
#include <QCoreApplication>
#include <QLabel>
#include <QPoint>
#include <QPushButton>

#include <cstring>

namespace {

constexpr const char* kFile = DeviceMgrTrace::ServiceFile;

// An IMSI needs more than this many digits to name a network.
constexpr int kMinImsiLength = 4;

// The message frame with the close button alone.
const Qt::WindowFlags kMessageFlags = MessageWindowFlags | Qt::WindowCloseButtonHint;

const char kWWanPrivilegeFallback[] = "This method is not allowed for calling process privileges. "
                                      "Please use system's WWAN UI to unblock the PIN";
const char kCardBlockedFallback[] =
    "The Data card is permanently blocked. Please contact your Operator";

QString text(const char* key)
{
    return CDeviceMgrService::tr(QString::fromLatin1(key));
}

// The translation of `key`, or the English text when the catalogue has none.
QString textOr(const char* key, const char* fallback)
{
    const QString translated = text(key);
    return translated.isEmpty() ? QString::fromLatin1(fallback) : translated;
}

// A result box of the PIN workflow: one OK button, `boxShown` set while it is
// up.
void showPinMessage(bool& boxShown, QMessageBox::Icon icon, QWidget* parent, const QString& body)
{
    boxShown = true;
    CommonUtils::ShowMessage(icon, parent, text("IDS_MAINFRM_PROMPT"), body,
                             Change::tr(QStringLiteral("IDS_OK"), QStringLiteral("XFramePlugin")),
                             QString(), QString(), true, kMessageFlags);
    boxShown = false;
}

// The service closes a dialog that asks before closing: no question then.
void closeWithoutAsking(SimDlg* dialog)
{
    if (!dialog)
        return;
    dialog->m_bAskOnClose = false;
    dialog->close();
}

// Forgets `dialog` now and deletes it once control is back in the event loop
// (the click that brought us here may come from one of its buttons).
template <typename Dialog> void discardDialog(QPointer<Dialog>& dialog)
{
    if (!dialog)
        return;
    Dialog* old = dialog;
    dialog = nullptr;
    old->hide();
    old->deleteLater();
}

// Puts a freshly built dialog in place of `dialog`; false when `create` could
// not build it.
template <typename Dialog, typename Create>
bool replaceDialog(QPointer<Dialog>& dialog, Create create)
{
    discardDialog(dialog);
    return create() == 0 && dialog;
}

void showAndFocus(QDialog* dialog, QWidget* firstField)
{
    CommonUtils::MoveCentre(dialog);
    dialog->show();
    dialog->activateWindow();
    if (firstField)
        firstField->setFocus();
}

} // namespace

void CDeviceMgrService::checkPINWithWin7()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (UTPS_DevSrv_IsWin7() != UTPS_ERROR_SUCCESS) {
        checkPIN();
        DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
        return;
    }
    DM_DEBUG("%s : %s : %s : UTPS_ERROR_SUCCESS == UTPS_DevSrv_IsWin7 ", DM_TRACE_ARGS(kFile));
    if (!m_pWin7Thread) {
        m_pWin7Thread = DeviceMgrWin7Thread::Instance();
        connect(m_pWin7Thread, SIGNAL(deviceInitFinished()), this,
                SLOT(onDeviceInitFinishHandler()));
    }
    // Read once: a thread that turns ready right after the start reports
    // through its signal, and the check must not run twice.
    const bool ready = m_pWin7Thread->isDeviceInitFinished();
    if (!ready) {
        m_pWin7Thread->start();
        DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
        return;
    }
    DM_DEBUG("%s : %s : %s : Win 7 thread initialized. Check PIN ", DM_TRACE_ARGS(kFile));
    checkPIN();
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::checkPIN()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(kFile));
    if ((m_pdialogPINDlg && m_pdialogPINDlg->isActiveWindow()) ||
        (m_pdialogPUKDlg && m_pdialogPUKDlg->isActiveWindow())) {
        DM_DEBUG("%s : %s : %s : Either PIN window or PUK window is active", DM_TRACE_ARGS(kFile));
        return;
    }
    if (!m_pUILogic) {
        DM_DEBUG("%s : %s : %s : Pre-conditions  failed", DM_TRACE_ARGS(kFile));
        return;
    }
    // A status without a mapping leaves the last known state in place.
    E_DEVMGR_PIN_STATE state = m_ePinState;
    if (m_pUILogic->GetPinStatus(&state) != DEVMGR_RESULT_SUCCESS) {
        DM_DEBUG("%s : %s : %s : GetPinStatus failed", DM_TRACE_ARGS(kFile));
        return;
    }
    m_ePinState = state;

    if (m_ePinState == DEVMGR_PIN_READY && m_bFrameShown) {
        char imsi[UTPS_IMSI_LEN] = {};
        if (UTPS_DevSrv_GetImsiInfo(imsi) == UTPS_ERROR_SUCCESS) {
            const QString imsiText = QString::fromLatin1(imsi, int(strnlen(imsi, sizeof imsi)));
            if (imsiText.length() > kMinImsiLength) {
                if (!m_pDlgChooseDev)
                    m_pDlgChooseDev = new ChooseDevice();
                m_pDlgChooseDev->ReloadPlugins(QStringLiteral("IMSI") + imsiText, false);
            }
        }
    }

    initMainMenuObj();
    if (m_pMainMenu) {
        m_pMainMenu->RefreshMenu();
        m_pMainMenu->RefreshDeviceMenu();
    }
    if (m_bFrameShown && !m_bFPLockPending)
        launchPinDlg(m_ePinState);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::launchPinDlg(E_DEVMGR_PIN_STATE state)
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (m_bFrameShown) {
        launchSpecificPinDlg(state);
        DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
        return;
    }
    // Nothing is shown before the frame; the other plug-ins still learn
    // whether the SIM can be used.
    if (state != DEVMGR_PIN_READY) {
        m_bValidPinState = false;
        DM_DEBUG("%s : %s : %s :Pin not ready. m_bValidPinState = false", DM_TRACE_ARGS(kFile));
        sendNotification(NTF_SIM_NOT_READY);
    } else {
        m_bValidPinState = true;
        DM_DEBUG("%s : %s : %s : DEVMGR_PIN_READY. m_bValidPinState = true", DM_TRACE_ARGS(kFile));
        sendNotification(NTF_SIM_READY);
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::launchSpecificPinDlg(E_DEVMGR_PIN_STATE state)
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    IDeviceMgr* deviceMgr = this;
    switch (state) {
    case DEVMGR_PIN_VERIFY:
        m_bValidPinState = false;
        DM_DEBUG("%s : %s : %s : DEVMGR_PIN_VERIFY. m_bValidPinState = false",
                 DM_TRACE_ARGS(kFile));
        sendNotification(NTF_SIM_NOT_READY);
        if (m_pdialogInfoDlg && m_pdialogInfoDlg->isVisible())
            hideInfoDlg();
        deviceMgr->VerifyPIN();
        break;
    case DEVMGR_UNLOCK_PIN:
        m_bValidPinState = false;
        DM_DEBUG("%s : %s : %s : DEVMGR_UNLOCK_PIN. m_bValidPinState = false",
                 DM_TRACE_ARGS(kFile));
        sendNotification(NTF_SIM_NOT_READY);
        if (m_pdialogInfoDlg && m_pdialogInfoDlg->isVisible())
            hideInfoDlg();
        deviceMgr->UnlockPIN();
        break;
    case DEVMGR_PIN_READY:
        m_bValidPinState = true;
        DM_DEBUG("%s : %s : %s :DEV_MGR_PIN_READY. m_bValidPinState = true", DM_TRACE_ARGS(kFile));
        sendNotification(NTF_SIM_READY);
        break;
    default:
        break;
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

int CDeviceMgrService::VerifyPIN()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    m_ePinState = DEVMGR_PIN_VERIFY;
    showVerifyPINDlg();
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return m_pdialogVerifyPINDlg ? 1 : 0;
}

int CDeviceMgrService::EnablePIN()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    m_ePinState = DEVMGR_PIN_ENABLE;
    showPINDlg();
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return m_pdialogPINDlg ? 1 : 0;
}

int CDeviceMgrService::DisablePIN()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    m_ePinState = DEVMGR_PIN_DISABLE;
    showPINDlg();
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return m_pdialogPINDlg ? 1 : 0;
}

int CDeviceMgrService::UnlockPIN()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    m_ePinState = DEVMGR_UNLOCK_PIN;
    if (!replaceDialog(m_pdialogPUKDlg, [this] { return createPUKDlg(); })) {
        DM_DEBUG("%s : %s : %s : , createPUKDlg failed", DM_TRACE_ARGS(kFile));
        return 0;
    }
    showAndFocus(m_pdialogPUKDlg, m_peditPUKText);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 1;
}

int CDeviceMgrService::ModifyPIN()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    m_ePinState = DEVMGR_PIN_MODIFY;
    if (!replaceDialog(m_pdialogModifyDlg, [this] { return createModifyDlg(); })) {
        DM_DEBUG("%s: %s: %s: ,entered, Error occured while creating Dialog", DM_TRACE_ARGS(kFile));
        return 0;
    }
    showAndFocus(m_pdialogModifyDlg, m_peditCurrPINText);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 1;
}

void CDeviceMgrService::showVerifyPINDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!replaceDialog(m_pdialogVerifyPINDlg, [this] { return createVerifyPINDlg(); })) {
        DM_DEBUG("%s : %s : %s : , createPINDlg failed", DM_TRACE_ARGS(kFile));
        return;
    }
    showAndFocus(m_pdialogVerifyPINDlg, m_peditVerifyPINText);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::showPINDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!replaceDialog(m_pdialogPINDlg, [this] { return createPINDlg(); })) {
        DM_DEBUG("%s : %s : %s : , createPINDlg failed", DM_TRACE_ARGS(kFile));
        return;
    }
    setDlgToInitialState();
    showAndFocus(m_pdialogPINDlg, m_peditPINText);
    if (m_ePinState == DEVMGR_PIN_ENABLE)
        m_pdialogPINDlg->setWindowTitle(text("IDS_MAINFRM_ENABLE_WINDOWSTXT"));
    else if (m_ePinState == DEVMGR_PIN_DISABLE)
        m_pdialogPINDlg->setWindowTitle(text("IDS_MAINFRM_DISABLE_WINDOWSTXT"));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::onVerifyPINOkButtonClicked()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    initMainMenuObj();
    if (!m_pdialogVerifyPINDlg || !m_peditVerifyPINText || !m_pbuttonVerifyPINOK ||
        !m_plabelVerifyPINTimes || !m_pUILogic) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    if (m_bCallActive) {
        showPinMessage(m_bMsgBoxShown, QMessageBox::Warning, m_pdialogVerifyPINDlg,
                       text("IDS_PROMPT_CALLING_DISABLE"));
        closeWithoutAsking(m_pdialogVerifyPINDlg);
        return;
    }
    if (m_ePinState != DEVMGR_PIN_VERIFY)
        return;

    m_pbuttonVerifyPINOK->setEnabled(false);
    int remaining = -1;
    const int result = m_pUILogic->ProcessPIN(m_peditVerifyPINText->text(), remaining, m_ePinState);
    DM_DEBUG("%s : %s : %s : NTF_UPDATE_PINSTATUS = true", DM_TRACE_ARGS(kFile));
    sendNotification(NTF_UPDATE_PINSTATUS);
    if (m_pMainMenu)
        m_pMainMenu->RefreshMenu();

    if (result == DEVMGR_RESULT_SUCCESS) {
        m_bValidPinState = true;
        DM_DEBUG("%s : %s : %s : m_bValidPinState = true", DM_TRACE_ARGS(kFile));
        closeWithoutAsking(m_pdialogVerifyPINDlg);
        DM_DEBUG("%s : %s : %s : After m_pdialogVerifyPINDlg->close ()", DM_TRACE_ARGS(kFile));
        sendNotification(NTF_SIM_READY);
        return;
    }

    if (remaining < 0) {
        closeWithoutAsking(m_pdialogVerifyPINDlg);
        if (remaining == -1) {
            m_peditVerifyPINText->clear();
            m_plabelVerifyPINTimes->setText(text("IDS_MAINFRM_UNKNOWN"));
        }
    } else {
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, nullptr,
                       text("IDS_PIN_CHECK_FAILED"));
        if (remaining > 0) {
            setDlgToInitialStateVerifyPin();
        } else {
            // The last try is gone: the SIM now wants its PUK.
            closeWithoutAsking(m_pdialogVerifyPINDlg);
            if (!openPukDialogInInitialState()) {
                DM_DEBUG("%s : %s : %s : , createPUKDlg failed", DM_TRACE_ARGS(kFile));
                return;
            }
        }
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

bool CDeviceMgrService::openPukDialogInInitialState()
{
    if (!replaceDialog(m_pdialogPUKDlg, [this] { return createPUKDlg(); }))
        return false;
    m_ePinState = DEVMGR_UNLOCK_PIN;
    CommonUtils::MoveCentre(m_pdialogPUKDlg);
    setDlgToInitialState(); // shows it
    return true;
}

void CDeviceMgrService::onPINOkButtonClicked()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    initMainMenuObj();
    if (!m_peditPINText || !m_pUILogic || !m_pdialogPINDlg || !m_plabelPINTimes) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    if (m_bCallActive) {
        showPinMessage(m_bMsgBoxShown, QMessageBox::Warning, m_pdialogPINDlg,
                       text("IDS_PROMPT_CALLING_DISABLE"));
        m_pdialogPINDlg->close();
        return;
    }
    if (m_ePinState != DEVMGR_PIN_ENABLE && m_ePinState != DEVMGR_PIN_DISABLE)
        return;

    int remaining = -1;
    const int result = m_pUILogic->ProcessPIN(m_peditPINText->text(), remaining, m_ePinState);
    DM_DEBUG("%s : %s : %s : , send NTF_UPDATE_PINSTATUS", DM_TRACE_ARGS(kFile));
    sendNotification(NTF_UPDATE_PINSTATUS);

    if (result == DEVMGR_RESULT_SUCCESS) {
        m_pdialogPINDlg->close();
        if (m_pMainMenu)
            m_pMainMenu->RefreshMenu();
        displaySuccessMsgBoxPINOkButtonClicked();
        return;
    }

    if (remaining != -1)
        displayFailureMsgBoxPINOkButtonClicked();
    else
        m_pdialogPINDlg->close();

    if (remaining > 0) {
        if (m_eReportedPinState != DEVMGR_PIN_READY)
            m_ePinState = m_eReportedPinState;
        setDlgToInitialState();
    } else if (remaining == -1) {
        m_peditPINText->clear();
        if (m_pMainMenu)
            m_pMainMenu->RefreshMenu();
        m_plabelPINTimes->setText(text("IDS_MAINFRM_UNKNOWN"));
    } else if (remaining == 0) {
        processPINPUK();
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::processPINPUK()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogPINDlg || !m_pMainMenu || !m_peditPINText || !m_plabelPINTimes) {
        DM_DEBUG("%s : %s : %s : , failed,", DM_TRACE_ARGS(kFile));
        return;
    }
    m_pdialogPINDlg->close();
    m_pMainMenu->RefreshMenu();
    if (!replaceDialog(m_pdialogPUKDlg, [this] { return createPUKDlg(); })) {
        DM_DEBUG("%s : %s : %s : , createPUKDlg failed", DM_TRACE_ARGS(kFile));
        return;
    }
    m_ePinState = DEVMGR_UNLOCK_PIN;
    m_bValidPinState = false;
    DM_DEBUG("%s : %s : %s : m_bValidPinState = false", DM_TRACE_ARGS(kFile));
    sendNotification(NTF_SIM_NOT_READY);
    setDlgToInitialState();
    showAndFocus(m_pdialogPUKDlg, m_peditPUKText);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::onPUKOkButtonClicked()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    initMainMenuObj();
    if (!m_pUILogic || !m_peditPUKPINText || !m_peditConfirmPUKPINText || !m_pdialogPUKDlg ||
        !m_peditPUKText || !m_plabelPUKTimes || !m_pbuttonPUKOK) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    if (m_bCallActive) {
        showPinMessage(m_bMsgBoxShown, QMessageBox::Warning, m_pdialogPUKDlg,
                       text("IDS_PROMPT_CALLING_DISABLE"));
        closeWithoutAsking(m_pdialogPUKDlg);
        return;
    }

    const QString puk = m_peditPUKText->text();
    const QString newPin = m_peditPUKPINText->text();
    const QString confirmation = m_peditConfirmPUKPINText->text();
    if (m_pUILogic->ValidatePINs(newPin, confirmation) != DEVMGR_RESULT_SUCCESS) {
        // The entries stay for the user to correct.
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogPUKDlg,
                       text("IDS_PIN_MSG_PIN_DIFFER"));
        return;
    }

    m_pbuttonPUKOK->setEnabled(false);
    int remaining = -1;
    const int result = m_pUILogic->UnlockPIN(puk, newPin, remaining);
    if (result == DEVMGR_RESULT_SUCCESS) {
        DM_DEBUG("%s : %s : %s : send NTF_UPDATE_PINSTATUS PUK", DM_TRACE_ARGS(kFile));
        sendNotification(NTF_UPDATE_PINSTATUS);
        if (m_pMainMenu)
            m_pMainMenu->RefreshMenu();
        closeWithoutAsking(m_pdialogPUKDlg);
        QCoreApplication::processEvents();
        m_bValidPinState = true;
        sendNotification(NTF_SIM_READY);
        return;
    }
    if (result == DEVMGR_RESULT_WWAN_PRIVILEGE) {
        if (m_pMainMenu)
            m_pMainMenu->RefreshMenu();
        closeWithoutAsking(m_pdialogPUKDlg);
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, nullptr,
                       textOr("IDS_MSG_WWAN_PRIVILIGE", kWWanPrivilegeFallback));
        return;
    }
    if (remaining == -1) {
        m_plabelPUKTimes->setText(text("IDS_MAINFRM_UNKNOWN"));
        m_peditPUKText->clear();
        m_peditPUKPINText->clear();
        m_peditConfirmPUKPINText->clear();
        if (m_pMainMenu)
            m_pMainMenu->RefreshMenu();
        return;
    }
    if (remaining == 0) {
        if (m_pMainMenu)
            m_pMainMenu->RefreshMenu();
        closeWithoutAsking(m_pdialogPUKDlg);
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, nullptr,
                       textOr("IDS_MSG_CARD_BLOCKED", kCardBlockedFallback));
        return;
    }
    showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogPUKDlg,
                   text("IDS_PIN_PUK_FAILED"));
    setDlgToInitialState();
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::onModOkButtonClicked()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    initMainMenuObj();
    if (!m_pUILogic || !m_peditNewPINText || !m_peditConfirmNewPINText || !m_pdialogModifyDlg ||
        !m_pbuttonModOK || !m_peditCurrPINText) {
        DM_DEBUG("%s: %s: %s: ,Either widget are NUL or Memory allocation failed",
                 DM_TRACE_ARGS(kFile));
        return;
    }
    if (m_bCallActive) {
        showPinMessage(m_bMsgBoxShown, QMessageBox::Warning, m_pdialogModifyDlg,
                       text("IDS_PROMPT_CALLING_DISABLE"));
        m_pdialogModifyDlg->close();
        return;
    }
    QString oldPin = m_peditCurrPINText->text();
    QString newPin = m_peditNewPINText->text();
    const QString confirmation = m_peditConfirmNewPINText->text();
    if (m_pUILogic->ValidatePINs(newPin, confirmation) != DEVMGR_RESULT_SUCCESS) {
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogModifyDlg,
                       text("IDS_PIN_MSG_PIN_DIFFER"));
        // Unlike the PUK dialog, every entry starts over.
        setDlgToInitialState();
        return;
    }
    modifyPinModOkButtonClicked(oldPin, newPin);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::modifyPinModOkButtonClicked(QString& oldPin, QString& newPin)
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogModifyDlg || !m_pUILogic || !m_pMainMenu) {
        DM_DEBUG("%s: %s: %s: , Memory allocation failed", DM_TRACE_ARGS(kFile));
        return;
    }
    int remaining = -1;
    const int result = m_pUILogic->ModifyPIN(oldPin, newPin, remaining);
    m_pMainMenu->RefreshMenu();
    if (result == DEVMGR_RESULT_SUCCESS) {
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogModifyDlg,
                       text("IDS_MAINFRM_CHANGEPIN_SUCCESS"));
        m_pdialogModifyDlg->close();
        return;
    }

    if (remaining != -1)
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogModifyDlg,
                       text("IDS_PIN_CHANGE_FAILED"));
    else
        m_pdialogModifyDlg->close();

    if (remaining > 0) {
        setDlgToInitialState();
    } else if (remaining == 0) {
        m_pdialogModifyDlg->close();
        if (!openPukDialogInInitialState()) {
            DM_DEBUG("%s : %s : %s : , createPUKDlg failed", DM_TRACE_ARGS(kFile));
            return;
        }
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::displaySuccessMsgBoxPINOkButtonClicked()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogPINDlg) {
        DM_DEBUG("%s : %s : %s : , m_pdialogPINDlg failed,", DM_TRACE_ARGS(kFile));
        return;
    }
    if (m_ePinState == DEVMGR_PIN_ENABLE)
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogPINDlg,
                       text("IDS_MAINFRM_ENABLEPIN_SUCCESS"));
    else if (m_ePinState == DEVMGR_PIN_DISABLE)
        showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogPINDlg,
                       text("IDS_MAINFRM_DISABLEPIN_SUCCESS"));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::displayFailureMsgBoxPINOkButtonClicked()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogPINDlg) {
        DM_DEBUG("%s : %s : %s : , m_pdialogPINDlg failed,", DM_TRACE_ARGS(kFile));
        return;
    }
    const char* failedKey = nullptr;
    if (m_ePinState == DEVMGR_PIN_ENABLE)
        failedKey = "IDS_PIN_ENABLE_FAILED";
    else if (m_ePinState == DEVMGR_PIN_DISABLE)
        failedKey = "IDS_PIN_DISABLE_FAILED";
    if (!failedKey)
        return;
    // The failure has just blocked the PIN: say so, if the catalogue can.
    QString body;
    if (m_eReportedPinState == DEVMGR_UNLOCK_PIN)
        body = text("IDS_PIN_PIN_LOCKED");
    if (body.isEmpty())
        body = text(failedKey);
    showPinMessage(m_bMsgBoxShown, QMessageBox::Information, m_pdialogPINDlg, body);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::onCancelButtonClicked()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    initMainMenuObj();
    // The two dialogs the SIM forces keep their question: the close only
    // happens once the user confirms it.
    switch (m_ePinState) {
    case DEVMGR_PIN_VERIFY:
        if (m_pdialogVerifyPINDlg)
            m_pdialogVerifyPINDlg->close();
        break;
    case DEVMGR_PIN_ENABLE:
    case DEVMGR_PIN_DISABLE:
        if (m_pdialogPINDlg)
            m_pdialogPINDlg->close();
        else
            DM_DEBUG("%s : %s : %s : , PIN Dlg is NULL", DM_TRACE_ARGS(kFile));
        break;
    case DEVMGR_UNLOCK_PIN:
        if (m_pdialogPUKDlg)
            m_pdialogPUKDlg->close();
        break;
    case DEVMGR_PIN_MODIFY:
        if (m_pdialogModifyDlg)
            m_pdialogModifyDlg->close();
        else
            DM_DEBUG("%s : %s : %s : , Modify Dlg is NULL", DM_TRACE_ARGS(kFile));
        break;
    default:
        break;
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}
