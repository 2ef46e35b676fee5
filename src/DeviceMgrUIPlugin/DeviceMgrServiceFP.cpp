// The fingerprint prompt: shown while a fingerprint-locked card waits for its
// owner's finger, it follows the sensor's feedback and goes away once the
// card accepted a fingerprint.
#include "DevCheckFPThread.h"
#include "DeviceMgrService.h"
#include "DeviceMgrTrace.h"

#include <CommonUtils.h>
#include <ExtendDialog.h>

#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int FPPromptMs = 1000;

// Sensor feedback keys by verify state 0..40; 255 and everything else are
// handled by promptKey.
const char* const kVerifyKeys[] = {
    "IDS_GUIMSG_GOOD_IMAGE",
    "IDS_GUIMSG_NO_FINGER",
    "IDS_GUIMSG_TOO_LIGHT",
    "IDS_GUIMSG_TOO_DRY",
    "IDS_GUIMSG_TOO_DARK",
    "IDS_GUIMSG_TOO_HIGH",
    "IDS_GUIMSG_TOO_LOW",
    "IDS_GUIMSG_TOO_LEFT",
    "IDS_GUIMSG_TOO_RIGHT",
    "IDS_GUIMSG_TOO_SMALL",
    "IDS_GUIMSG_TOO_STRANGE",
    "IDS_GUIMSG_BAD_QUALITY",
    "IDS_GUIMSG_PUT_FINGER",
    "IDS_GUIMSG_PUT_FINGER2",
    "IDS_GUIMSG_PUT_FINGER3",
    "IDS_GUIMSG_REMOVE_FINGER",
    "IDS_GUIMSG_CONSOLIDATION_FAIL",
    "IDS_GUIMSG_CONSOLIDATION_SUCCEED",
    "IDS_GUIMSG_CLEAN_SENSOR",
    "IDS_GUIMSG_KEEP_FINGER",
    "IDS_GUIMSG_START",
    "IDS_GUIMSG_VERIFY_START",
    "IDS_GUIMSG_ENROLL_START",
    "IDS_GUIMSG_FINGER_DETECT_START",
    "IDS_GUIMSG_GUI_FINISH",
    "IDS_GUIMSG_GUI_FINISH_SUCCEED",
    "IDS_GUIMSG_GUI_FINISH_FAIL",
    "IDS_GUIMSG_CALIB_START",
    "IDS_GUIMSG_TOO_FAST",
    "IDS_GUIMSG_TOO_SKEWED",
    "IDS_GUIMSG_TOO_SHORT",
    "IDS_GUIMSG_TOUCH_SENSOR",
    "IDS_GUIMSG_PROCESSING_IMAGE",
    "IDS_GUIMSG_SWIPE_IN_PROGRESS",
    "IDS_GUIMSG_BACKWARD_MOVEMENT",
    "IDS_GUIMSG_JOINT_DETECTED",
    "IDS_GUIMSG_CENTER_AND_PRESS_HARDER",
    "IDS_GUIMSG_IMAGE_PROCESSED",
    "IDS_GUIMSG_PUT_FINGER4",
    "IDS_GUIMSG_PUT_FINGER5",
    "IDS_GUIMSG_ENROLL_PROGRESS",
};
constexpr unsigned int kVerifyKeyCount = sizeof(kVerifyKeys) / sizeof(kVerifyKeys[0]);

const char kStandingPrompt[] = "IDS_FPLOCK_PROMPT";

// The state comes from the SDK as an unsigned word: anything it does not
// name falls back to the standing prompt.
QString promptKey(unsigned int state)
{
    if (state < kVerifyKeyCount)
        return QString::fromLatin1(kVerifyKeys[state]);
    if (state == VERIFYIND_NO_MATCH)
        return QStringLiteral("IDS_GUIMSG_NO_MATCH");
    return QString::fromLatin1(kStandingPrompt);
}

// Keeps the message just shown for one second; onFPTimerOut then brings the
// standing prompt back.
void startPromptTimer(QTimer* timer, QObject* service)
{
    timer->start(FPPromptMs);
    QObject::connect(timer, SIGNAL(timeout()), service, SLOT(onFPTimerOut()), Qt::UniqueConnection);
}

// Closes the prompt, forgets it and its parts at once (they die with it, but
// only later, and a new prompt may be made before) and lets the thread hand
// on what it held back.
void releaseFPPrompt(QPointer<ExtendDialog>& dialog, QPointer<QWidget>& widget,
                     QPointer<QLabel>& label, QPointer<QVBoxLayout>& layout,
                     DevCheckFPThread* thread)
{
    dialog->close();
    dialog->deleteLater();
    dialog = nullptr;
    widget = nullptr;
    label = nullptr;
    layout = nullptr;
    if (thread)
        thread->FPUnLock();
}

} // namespace

int CDeviceMgrService::createFPDlg()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    if (!m_pFPTimer)
        m_pFPTimer = new QTimer(this);

    m_pFPlayoutVBox = new QVBoxLayout;
    m_pdialogFPInfoDlg = new ExtendDialog(m_pParentWidget, Qt::Dialog | Qt::WindowCloseButtonHint,
                                          WIDGET_TYPE_POPUP);
    m_pwidgetFPInfoDlg = new QWidget(m_pParentWidget);
    m_plabelFPInfoLabel = new QLabel(m_pwidgetFPInfoDlg);
    if (!m_pdialogFPInfoDlg || !m_pFPlayoutVBox || !m_pwidgetFPInfoDlg || !m_plabelFPInfoLabel)
        return DEVMGR_RESULT_UNAVAILABLE;

    m_pdialogFPInfoDlg->setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowStaysOnTopHint |
                                       Qt::WindowCloseButtonHint);
    m_pFPlayoutVBox->setObjectName(QStringLiteral("DeviceMgrUI_fplayoutVBox"));
    m_pdialogFPInfoDlg->setObjectName(QStringLiteral("DeviceMgrUI_fplockInfoDlg"));
    m_plabelFPInfoLabel->setObjectName(QStringLiteral("DeviceMgrUI_fplabelInfoLabel"));

    m_pdialogFPInfoDlg->setFixedSize(310, 120);
    // Untranslated on purpose: the product has always shown this caption.
    m_pdialogFPInfoDlg->setWindowTitle(QStringLiteral(" Prompt "));
    m_plabelFPInfoLabel->setText(QString());
    m_pFPlayoutVBox->addWidget(m_plabelFPInfoLabel);
    m_pwidgetFPInfoDlg->setLayout(m_pFPlayoutVBox);
    m_pdialogFPInfoDlg->AddMainWidget(m_pwidgetFPInfoDlg);
    m_pdialogFPInfoDlg->setWindowModality(Qt::WindowModal);
    CommonUtils::MoveCentre(m_pdialogFPInfoDlg);

    if (m_pFPTimer)
        startPromptTimer(m_pFPTimer, this);
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    return 0;
}

void CDeviceMgrService::handleFPLockOnFramelaunchedEvent()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    if (m_pdialogFPInfoDlg) {
        DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
        return;
    }
    if (createFPDlg() != 0) {
        DM_DEBUG("%s: %s: %s: , entered, Error occured while creating Dialog",
                 DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
        return;
    }
    m_plabelFPInfoLabel->setText(tr(QString::fromLatin1(kStandingPrompt)));
    m_plabelFPInfoLabel->setWordWrap(true);
    m_pdialogFPInfoDlg->show();
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void CDeviceMgrService::handleFPVerifyEvent()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    const unsigned int state = m_uFPVerifyWord.load(std::memory_order_relaxed);
    // Without a prompt there is nothing to follow: the prompt exists only
    // once the main frame is on screen.
    if (!m_pdialogFPInfoDlg) {
        DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
        return;
    }

    if (state == VERIFYIND_GOOD_IMAGE) {
        m_bFPLockPending = false;
        DevCheckFPThread* thread = m_pFPThread.load();
        releaseFPPrompt(m_pdialogFPInfoDlg, m_pwidgetFPInfoDlg, m_plabelFPInfoLabel,
                        m_pFPlayoutVBox, thread);
        if (m_bInitOnFrameShowPending) {
            // Main-frame initialisation runs the PIN check itself, so the
            // check-PIN event still held back would only start a second one.
            if (thread)
                thread->Pop(UTPS_EVENT_DEV_CHECK_PIN);
            InitOnMainFrameShow();
        }
        DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
        return;
    }

    if (!m_pFPTimer)
        m_pFPTimer = new QTimer(this);
    ChangePrompt(state);
    startPromptTimer(m_pFPTimer, this);
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void CDeviceMgrService::ChangePrompt(_UTPS_EN_VERIFYINDSTATE state)
{
    ChangePrompt(static_cast<unsigned int>(state));
}

void CDeviceMgrService::ChangePrompt(unsigned int state)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    const QString key = promptKey(state);
    if (m_plabelFPInfoLabel)
        m_plabelFPInfoLabel->setText(tr(key));
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void CDeviceMgrService::onFPTimerOut()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    if (m_pFPTimer) {
        m_pFPTimer->stop();
        m_pFPTimer->disconnect();
        // Every sensor message stays for one second, then the standing
        // prompt comes back.
        if (m_pdialogFPInfoDlg && m_plabelFPInfoLabel)
            m_plabelFPInfoLabel->setText(tr(QString::fromLatin1(kStandingPrompt)));
    }
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void CDeviceMgrService::FPLockOnDialogClose()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    if (m_pdialogFPInfoDlg)
        releaseFPPrompt(m_pdialogFPInfoDlg, m_pwidgetFPInfoDlg, m_plabelFPInfoLabel,
                        m_pFPlayoutVBox, m_pFPThread.load());
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}
