// The information pop-up, the closing of every open pop-up, and the
// notifications the service sends to the host's other plug-ins.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "DeviceMgrTrace.h"
#include "SimDlg.h"

#include <CommonUtils.h>
#include <ExtendDialog.h>
#include <IPluginContainer.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QMutexLocker>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr const char* kFile = DeviceMgrTrace::ServiceFile;

constexpr int kInfoDlgWidth = 310;
constexpr int kInfoDlgHeight = 120;

// Window, title hint and a customised frame: no system buttons on the pop-up.

// The call service's notifications this plug-in listens to, in the order
// they are subscribed.
constexpr unsigned int kCallNotifications[] = {NTF_CALL_CONNECTED, NTF_CALL_INCOMING,
                                               NTF_CALL_OUTGOING, NTF_CALL_ENDED};

// Closes the application's active window when it is a dialog other than
// `except` (null: any dialog), such as a message box raised on top of a PIN
// dialog.
void closeActiveDialogExcept(const QWidget* except)
{
    QWidget* active = QApplication::activeWindow();
    if (!active || active == except || !qobject_cast<QDialog*>(active))
        return;
    active->close();
}

// Closes a dialog that asks before it goes away, without asking: a message
// box in front of it first (when one is up), then the dialog itself.
void closeSimDlgSilently(SimDlg* dialog, bool serviceMsgBoxShown, const QWidget* keepActive)
{
    if (dialog->m_bAsking || serviceMsgBoxShown)
        closeActiveDialogExcept(keepActive);
    dialog->m_bAskOnClose = false;
    dialog->close();
}

enum class NotifyLookup
{
    NoContainer,
    NoPlugin,
    NoInterface,
    Found
};

// The host's notification service, through the container cached in
// `container` (fetched the first time).
NotifyLookup findNotifyService(IPluginContainer*& container, INotifyService*& service)
{
    service = nullptr;
    if (!container)
        container = Startup::GetPluginContainer();
    if (!container)
        return NotifyLookup::NoContainer;
    QObject* plugin = container->GetPlugin(LinkPlugins::NotifyClsid, LinkPlugins::NotifyInterface);
    if (!plugin)
        return NotifyLookup::NoPlugin;
    service = qobject_cast<INotifyService*>(plugin);
    return service ? NotifyLookup::Found : NotifyLookup::NoInterface;
}

} // namespace

int CDeviceMgrService::createInfoDlg()
{
    DM_DEBUG("%s: %s : %s, entered", DM_TRACE_ARGS(kFile));

    auto* dialog = new ExtendDialog(m_pParentWidget, Qt::Dialog | Qt::WindowCloseButtonHint,
                                    WIDGET_TYPE_POPUP);
    auto* content = new QWidget(dialog);
    auto* layout = new QVBoxLayout(content);
    auto* label = new QLabel(content);
    if (!dialog || !content || !layout || !label) {
        DM_DEBUG("%s: %s : %s, Error occured in widgret creation", DM_TRACE_ARGS(kFile));
        delete dialog;
        return DEVMGR_RESULT_UNAVAILABLE;
    }

    dialog->setWindowFlags(MessageWindowFlags);
    layout->setObjectName(QStringLiteral("DeviceMgrUI_layoutVBox"));
    dialog->setObjectName(QStringLiteral("DeviceMgrUI_dialogInfoDlg"));
    label->setObjectName(QStringLiteral("DeviceMgrUI_labelInfoLabel"));
    dialog->setFixedSize(kInfoDlgWidth, kInfoDlgHeight);
    dialog->setWindowTitle(QStringLiteral(" "));
    label->setText(QStringLiteral(" "));
    layout->addWidget(label);
    dialog->AddMainWidget(content);
    dialog->setModal(true);
    CommonUtils::MoveCentre(dialog);

    m_pdialogInfoDlg = dialog;
    m_pwidgetInfoDlg = content;
    m_plabelInfoLabel = label;
    m_playoutVBox = layout;

    return 0;
}

void CDeviceMgrService::forgetInfoDlg()
{
    m_pdialogInfoDlg = nullptr;
    m_pwidgetInfoDlg = nullptr;
    m_plabelInfoLabel = nullptr;
    m_playoutVBox = nullptr;
}

void CDeviceMgrService::showInfoDlg(QString& text, int ms)
{
    QMutexLocker guard(&m_mutexGuard);
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pTimer)
        m_pTimer = new QTimer(this);

    if (!m_pdialogInfoDlg && createInfoDlg() != 0) {
        // Still arm the timer: its expiry runs the hide that resets the
        // initialising flag.
        DM_DEBUG("%s: %s: %s: , entered, Error occured while creating Dialog",
                 DM_TRACE_ARGS(kFile));
    } else if (m_pdialogInfoDlg->isVisible()) {
        if (!m_plabelInfoLabel) {
            DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
            return;
        }
        m_plabelInfoLabel->setText(text);
        m_plabelInfoLabel->setWordWrap(true);
        // Restarts the running timer with the new duration; its connection
        // to onTimerOut is still in place.
        m_pTimer->setInterval(ms);
        CommonUtils::MoveCentre(m_pdialogInfoDlg);
        m_pdialogInfoDlg->raise();
        m_pdialogInfoDlg->activateWindow();
        DM_DEBUG("%s : %s : %s : , return set dlg text", DM_TRACE_ARGS(kFile));
        return;
    } else {
        if (m_plabelInfoLabel) {
            m_plabelInfoLabel->setText(text);
            m_plabelInfoLabel->setWordWrap(true);
        }
        CommonUtils::MoveCentre(m_pdialogInfoDlg);
        m_pdialogInfoDlg->show();
    }

    // onTimerOut drops every connection of the timer, so each arming
    // connects again.
    m_pTimer->start(ms);
    connect(m_pTimer, &QTimer::timeout, this, &CDeviceMgrService::onTimerOut, Qt::UniqueConnection);
    DM_DEBUG("%s : %s : %s : , exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::hideInfoDlg()
{
    QMutexLocker guard(&m_mutexGuard);
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(kFile));
    m_bInitialising = false;
    if (m_pdialogInfoDlg && m_pdialogInfoDlg->isVisible()) {
        ExtendDialog* dialog = m_pdialogInfoDlg;
        forgetInfoDlg();
        dialog->close();
        dialog->deleteLater();
    }
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::onTimerOut()
{
    if (!m_pTimer)
        return;
    m_pTimer->stop();
    disconnect(m_pTimer, nullptr, nullptr, nullptr);
    DM_DEBUG("%s : %s : %s : DeviceInfoDlg =====> Time Out hideInfo", DM_TRACE_ARGS(kFile));
    hideInfoDlg();
}

void CDeviceMgrService::closePinDlg()
{
    DM_DEBUG("%s : %s : %s : called", DM_TRACE_ARGS(kFile));
    if (!m_pdialogVerifyPINDlg)
        return;
    closeSimDlgSilently(m_pdialogVerifyPINDlg, m_bMsgBoxShown, m_pdialogVerifyPINDlg);
}

void CDeviceMgrService::closeAllPopups(bool closeChooser)
{
    DM_DEBUG("%s : %s : %s : called", DM_TRACE_ARGS(kFile));
    if (closeChooser && m_pDlgChooseDev)
        m_pDlgChooseDev->CloseDlg();

    closePinDlg();
    if (m_pdialogPINDlg)
        m_pdialogPINDlg->close();
    // Any active dialog, the PUK dialog included: its silent close follows.
    if (m_pdialogPUKDlg)
        closeSimDlgSilently(m_pdialogPUKDlg, m_bMsgBoxShown, nullptr);
    if (m_pdialogModifyDlg)
        m_pdialogModifyDlg->close();

    // A message box of the service (or of a sibling) may still be up.
    QWidget* active = QApplication::activeWindow();
    if (!active)
        return;
    if (m_pParentWidget && m_pParentWidget != active && qobject_cast<QMessageBox*>(active)) {
        active->close();
        return;
    }
    if (m_bMsgBoxShown && qobject_cast<QDialog*>(active)) {
        m_bMsgBoxShown = false;
        active->close();
    }
}

void CDeviceMgrService::sendNotification(unsigned int code)
{
    DM_DEBUG("%s: %s: %s: called", DM_TRACE_ARGS(kFile));
    INotifyService* notify = nullptr;
    switch (findNotifyService(m_pPluginContainer, notify)) {
    case NotifyLookup::NoContainer:
        DM_DEBUG("%s: %s: %s: Startup::GetPluginContainer() returned null ", DM_TRACE_ARGS(kFile));
        return;
    case NotifyLookup::NoPlugin:
        DM_DEBUG("%s: %s: %s: GetPlugin (NOTIFY_PLUGIN) returned NULL", DM_TRACE_ARGS(kFile));
        return;
    case NotifyLookup::NoInterface:
        DM_DEBUG("%s: %s: %s: Notify object is null", DM_TRACE_ARGS(kFile));
        return;
    case NotifyLookup::Found:
        break;
    }
    // Only the mini frame shows the device state and the PIN status itself.
    if (code == NTF_MINIFRAME_DEVICE_STATE || code == NTF_UPDATE_PINSTATUS) {
        notify->SendNotifyTo(LinkPlugins::MiniFrameClsid, code, 0, 0);
        return;
    }
    notify->BroadcastNotify(code, 0, 0);
}

void CDeviceMgrService::subscribeCallNotification()
{
    DM_DEBUG("Start: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
    INotifyService* notify = nullptr;
    if (findNotifyService(m_pPluginContainer, notify) != NotifyLookup::Found)
        return;
    for (unsigned int code : kCallNotifications)
        notify->Subscribe(LinkPlugins::CallServiceClsid, code);
}
