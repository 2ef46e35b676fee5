// Device state handling: the GUI-thread half of the SDK event handling, the
// host notifications coming in, and the state flags other plug-ins read.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "DeviceMgrTrace.h"
#include "DeviceMgrWin7Thread.h"

#include <CommonUtils.h>
#include <IPluginContainer.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QMessageBox>

namespace {

constexpr const char* kFile = DeviceMgrTrace::ServiceFile;

// Lines written by a helper on behalf of the slot whose step it carries out
// name that slot, so the trace reads the same however the code is split.
#define DM_TRACE_AS(function) DeviceMgrTrace::now().constData(), kFile, function

constexpr int kProductTypeUim = 1;
constexpr int kProductTypeUnknown = 3;
constexpr int kPinStatusDisabled = 8;
// The SIM status the device layer reports for a SIM that needs no PIN step.
constexpr int kSimStatusNoPinStep = 240;
constexpr int kInfoShortMs = 3000;
constexpr int kInfoLongMs = 10000;

bool isInitEvent(qint32 event)
{
    return event >= UTPS_EVENT_DEV_INIT_BEGIN && event <= UTPS_EVENT_DEV_FPLOCK;
}

bool isUsableSimWord(unsigned int word)
{
    return UTPS_SimStatusUsable(word);
}

// The product type as the SDK reports it; `current` when it cannot answer.
int queryProductType(int current)
{
    int type = current;
    const int result = UTPS_DevSrv_GetProductType(&type);
    if (result != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetProductType returned error %li",
                   DM_TRACE_ARGS(kFile), static_cast<long>(result));
        return current;
    }
    return type;
}

// Reads the product type into `type` and records it for the other plug-ins.
void readAndStoreProductType(int& type)
{
    type = queryProductType(type);
    CommonUtils::SetSettings(QStringLiteral("Device"), QStringLiteral("ProductType"),
                             QString::number(type));
}

QByteArray numberText(int value)
{
    return QByteArray::number(value);
}

// The first step of both device detection and device change, traced under
// the name of the step that runs it.
void markDeviceActive(const char* function, bool& deviceAvailable, int& productType)
{
    DM_DEBUG("%s : %s : %s : m_bDeviceAvialable = true", DM_TRACE_AS(function));
    deviceAvailable = true;
    readAndStoreProductType(productType);
    DM_DEBUG("%s : %s : %s : enter ProductType : %s", DM_TRACE_AS(function),
             numberText(productType).constData());
}

// A switch between a UIM and a SIM card, both types known, reloads every
// plug-in tied to the card, not only those the container sees changing.
bool needsFullReload(int currentType, int previousType)
{
    if (currentType == previousType)
        return false;
    return currentType != kProductTypeUnknown && previousType != kProductTypeUnknown;
}

void refreshMenu(IMainMenuUI* menu)
{
    if (menu)
        menu->RefreshMenu();
}

// The card is gone or being reset: its menu entries are greyed out.
void disableDeviceMenu(IMainMenuUI* menu)
{
    if (!menu)
        return;
    menu->RefreshDeviceMenu();
    menu->DisableDeviceMenu();
}

QWidget* mainFrameWindow()
{
    IPluginContainer* container = Startup::GetPluginContainer();
    if (!container) {
        DM_DEBUG("%s : %s : %s : GetPluginContainer returned NULL", DM_TRACE_ARGS(kFile));
        return nullptr;
    }
    auto* mainFrame = qobject_cast<IMainFrameUIService*>(
        container->GetPlugin(LinkPlugins::MainFrameClsid, LinkPlugins::MainFrameInterface));
    if (!mainFrame) {
        DM_DEBUG("%s: %s: %s: GetPlugin (MAINFRAME_PLUGIN) returned NULL", DM_TRACE_ARGS(kFile));
        return nullptr;
    }
    return mainFrame->GetMainWindow();
}

void refreshMiniFrame()
{
    IPluginContainer* container = Startup::GetPluginContainer();
    if (!container) {
        DM_DEBUG("%s : %s : %s : GetPluginContainer returned NULL", DM_TRACE_ARGS(kFile));
        return;
    }
    auto* miniFrame = qobject_cast<IMiniFrameUIService*>(
        container->GetPlugin(LinkPlugins::MiniFrameClsid, LinkPlugins::MiniFrameInterface));
    if (!miniFrame) {
        DM_DEBUG("%s: %s: %s: GetPlugin (MINIFRAME_PLUGIN) returned NULL", DM_TRACE_ARGS(kFile));
        return;
    }
    miniFrame->Refresh();
}

} // namespace

// ---------------------------------------------------------------------------
// Host notifications

int CDeviceMgrService::Notify(unsigned int type, NotifyParam /*wParam*/, NotifyParam /*lParam*/)
{
    DM_DEBUG("%s: %s: %s: called", DM_TRACE_ARGS(kFile));
    switch (type) {
    case NTF_CALL_INCOMING:
    case NTF_CALL_OUTGOING:
    case NTF_CALL_CONNECTED:
        m_bCallActive = true;
        break;
    case NTF_CALL_ENDED:
        m_bCallActive = false;
        break;
    case NTF_FRAME_SHOWN:
        DM_DEBUG("%s : %s : %s : got notification NTF_FRAME_SHOWN", DM_TRACE_ARGS(kFile));
        handleFrameShown();
        break;
    case NTF_LANGUAGE_CHANGED:
        changeLangPinDlg();
        changeLangVerifyPinDlg();
        changeLangModifyPinDlg();
        changeLangPukDlg();
        break;
    default:
        break;
    }
    return 0;
}

void CDeviceMgrService::handleFrameShown()
{
    m_bFrameShown = true;
    if (QWidget* window = mainFrameWindow())
        m_pParentWidget = window;
    initMainMenuObj();
    if (!m_pDlgChooseDev)
        m_pDlgChooseDev = new ChooseDevice();
    if (!m_pUILogic || !m_pDlgChooseDev)
        return;

    _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_NO_DEVICE;
    if (m_pUILogic->GetDeviceStatus(status) == DEVMGR_RESULT_SUCCESS &&
        status == DEVICE_STATUS_AVAILABLE) {
        DM_DEBUG("%s : %s : %s :DEVICE_STATUS_AVAILABLE. m_bDeviceAvialable = true",
                 DM_TRACE_AS("Notify"));
        m_bDeviceAvialable = true;
    }
    const _UTPS_ST_MULTI_DEVICE_INFO devices = m_pUILogic->GetDeviceInfo();

    if (m_pUILogic->GetSystemDevStatus() == DEVICE_STATUS_AVAILABLE) {
        if (m_bDeviceAvialable) {
            DM_DEBUG("%s : %s : %s : DeviceInfoDlg =====> Show Main Window showInfo",
                     DM_TRACE_AS("Notify"));
            QString text = tr(QStringLiteral("IDS_INIT_DEV_UNDERWAY"));
            showInfoDlg(text, kInfoShortMs);
        }
        if (m_bFPLockPending) {
            // Main-frame initialisation waits for the fingerprint unlock.
            m_bInitOnFrameShowPending = true;
            handleFPLockOnFramelaunchedEvent();
        } else {
            InitOnMainFrameShow();
        }
        return;
    }

    if (devices.nDevNum > 1) {
        m_pDlgChooseDev->ShowChooseDlg(m_pParentWidget);
        return;
    }
    m_strCurDeviceName = m_pUILogic->GetCurrentDeviceName();
    readAndStoreProductType(m_nCurProductType);
}

void CDeviceMgrService::InitOnMainFrameShow()
{
    if (!m_bValidSim) {
        sendNotification(NTF_SIM_NOT_READY);
        showInvalidSimMsg();
    }
    if (!m_pUILogic) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    if (m_nPinStatus == kPinStatusDisabled && m_pUILogic->GetSimStatus() == kSimStatusNoPinStep)
        m_nPinStatus = 0;
    refreshProductType();
    checkPINWithWin7();
    subscribeCallNotification();
}

void CDeviceMgrService::handleSIMOnFramelaunchedEvent()
{
    if (!m_bFrameShown)
        return;
    sendNotification(NTF_SIM_NOT_READY);
    showInvalidSimMsg();
}

void CDeviceMgrService::showInvalidSimMsg()
{
    DM_DEBUG("%s : %s : %s : ,called", DM_TRACE_ARGS(kFile));
    DM_DEBUG("%s : %s : %s : DeviceInfoDlg =====> Sim Invalid hideInfo", DM_TRACE_ARGS(kFile));
    hideInfoDlg();
    closeAllPopups(false);
    initMainMenuObj();
    refreshMenu(m_pMainMenu);

    QString text = tr(QStringLiteral("IDS_SIM_INVALID"));
    if (!text.isEmpty()) {
        const QString simType =
            CommonUtils::GetSettings(QStringLiteral("customize"), QStringLiteral("simtype"));
        const QString uimType =
            CommonUtils::GetSettings(QStringLiteral("customize"), QStringLiteral("uimtype"));
        int productType = kProductTypeUnknown;
        const int result = UTPS_DevSrv_GetProductType(&productType);
        DM_DEBUG("=======> %s: %s: %s: UTPS_DevSrv_GetProductType(%d) returned %li:",
                 DM_TRACE_ARGS(kFile), productType, static_cast<long>(result));
        QString cardWord;
        if (productType == kProductTypeUim)
            cardWord = uimType.isEmpty() ? QStringLiteral("UIM") : uimType;
        else
            cardWord = simType.isEmpty() ? QStringLiteral("SIM/USIM") : simType;
        text.replace(QStringLiteral("%s"), cardWord, Qt::CaseSensitive);
    }

    m_bMsgBoxShown = true;
    CommonUtils::ShowMessage(QMessageBox::Information, m_pParentWidget,
                             tr(QStringLiteral("IDS_MAINFRM_PROMPT")), text, QString(), QString(),
                             QString(), true, MessageWindowFlags);
    m_bMsgBoxShown = false;
    DM_DEBUG("%s : %s : %s : ,Exit", DM_TRACE_ARGS(kFile));
}

// ---------------------------------------------------------------------------
// Init events (UTPS_EVENT_DEV_INIT_BEGIN to UTPS_EVENT_DEV_FPLOCK)

void CDeviceMgrService::deviceMgrInitEventHandler(qint32 event)
{
    // Only the init range is handled here; anything else is not ours.
    if (!isInitEvent(event))
        return;
    if (CommonUtils::IsShuttingDown()) {
        DM_DEBUG("%s : %s : %s : signals ignored: App Shutting down ", DM_TRACE_ARGS(kFile));
        return;
    }
    switch (event) {
    case UTPS_EVENT_DEV_INIT_BEGIN:
        // Later begin events of the same start-up change nothing.
        m_bInitialising = true;
        break;
    case UTPS_EVENT_DEV_SIM_INVALID:
        m_bValidSim = false;
        if (m_bFrameShown && !m_bFPLockPending)
            emit signalSIMframelaunched();
        break;
    case UTPS_EVENT_DEV_INIT_SUCCESS:
        handleInitSuccess();
        break;
    case UTPS_EVENT_DEV_CHECK_PIN:
        checkPINWithWin7();
        break;
    case UTPS_EVENT_DEV_DEVICE_NO_PIN: {
        E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
        if (m_pUILogic && m_pUILogic->GetPinStatus(&state) == DEVMGR_RESULT_SUCCESS) {
            DM_DEBUG("%s : %s : %s : GetPinStatus success", DM_TRACE_ARGS(kFile));
            m_nPinStatus = m_pUILogic->PinStatus();
        }
        break;
    }
    case UTPS_EVENT_DEV_DEVICE_INIT_FINISH:
        DM_DEBUG("%s : %s : %s :Entered", DM_TRACE_ARGS(kFile));
        handleInitFinish();
        break;
    case UTPS_EVENT_DEV_INIT_RESET:
        handleInitReset();
        break;
    case UTPS_EVENT_DEV_FPLOCK:
        m_bFPLockPending = true;
        if (m_bFrameShown)
            emit signalFplockOnmainframelaunched();
        break;
    default:
        break;
    }
}

void CDeviceMgrService::handleInitSuccess()
{
    m_bDeviceAvialable = true;
    DM_DEBUG("%s : %s : %s : got event(UTPS_EVENT_DEV_INIT_SUCCESS)",
             DM_TRACE_AS("deviceMgrInitEventHandler"));
    if (m_bValidSim) {
        DM_DEBUG("%s : %s : %s : close all popup(UTPS_EVENT_DEV_INIT_SUCCESS)",
                 DM_TRACE_AS("deviceMgrInitEventHandler"));
        closeAllPopups(false);
    }
    initMainMenuObj();
    if (m_pMainMenu)
        m_pMainMenu->RefreshDeviceMenu();
    if (CommonUtils::GetFrameStyle() & CommonUtils::FrameStyleMini)
        refreshMiniFrame();
    sendNotification(NTF_DEVICE_INIT_SUCCESS);
}

void CDeviceMgrService::handleInitFinish()
{
    if (!m_pUILogic)
        m_pUILogic = DeviceMgrUILogic::GetInstance();
    _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_NO_DEVICE;
    if (m_pUILogic)
        m_pUILogic->GetDeviceStatus(status);
    if (status != DEVICE_STATUS_AVAILABLE) {
        DM_DEBUG("%s : %s : %s :DEVICE_STATUS_AVAILABLE != enDevStatus",
                 DM_TRACE_AS("deviceMgrInitEventHandler"));
        return;
    }
    m_bValidPinState = true;
    m_bDeviceAvialable = true;
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_AS("deviceMgrInitEventHandler"));
}

void CDeviceMgrService::handleInitReset()
{
    if (m_bFrameShown) {
        closeAllPopups(true);
        initMainMenuObj();
        disableDeviceMenu(m_pMainMenu);
    }
    if (m_pUILogic)
        m_pUILogic->ClearDeviceInfo();
    sendNotification(NTF_MINIFRAME_DEVICE_STATE);
}

void CDeviceMgrService::onDeviceInitFinishHandler()
{
    DM_DEBUG("%s : %s : %s : UTPS_EVENT_DEV_DEVICE_INIT_FINISH recieved", DM_TRACE_ARGS(kFile));
    _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_NO_DEVICE;
    if (m_pUILogic)
        m_pUILogic->GetDeviceStatus(status);
    if (!m_bFrameShown)
        return;
    if (status == DEVICE_STATUS_AVAILABLE && m_pWin7Thread &&
        m_pWin7Thread->isDeviceInitFinished()) {
        DM_DEBUG("%s : %s : %s : Win 7 thread initialized. Check PIN ", DM_TRACE_ARGS(kFile));
        checkPIN();
    }
    initMainMenuObj();
    refreshMenu(m_pMainMenu);
}

// ---------------------------------------------------------------------------
// Device-manager events (from UTPS_EVENT_DEV_CHANGE_BEGIN on)

void CDeviceMgrService::deviceMgrEventHandler(qint32 event)
{
    noteEventTakenUp();
    DM_DEBUG("%s : %s : %s : ,called", DM_TRACE_ARGS(kFile));
    if (CommonUtils::IsShuttingDown()) {
        DM_DEBUG("%s : %s : %s : Events ignored: App Shutting down ", DM_TRACE_ARGS(kFile));
        return;
    }
    switch (event) {
    case UTPS_EVENT_DEV_CHANGE_BEGIN:
        sendNotification(NTF_DEVICE_CHANGE_BEGIN);
        m_strPrevDeviceName = m_strCurDeviceName;
        m_nPrevProductType = m_nCurProductType;
        break;
    case UTPS_EVENT_DEV_CHANGE_END:
        sendNotification(NTF_DEVICE_CHANGE_END);
        handleDevChangeEvent();
        break;
    case UTPS_EVENT_DEV_ACTIVE:
        DM_DEBUG("%s : %s : %s :UTPS_EVENT_DEV_ACTIVE", DM_TRACE_ARGS(kFile));
        initMainMenuObj();
        refreshMenu(m_pMainMenu);
        handleDevDetectEvent();
        break;
    case UTPS_EVENT_DEV_REJECT:
        DM_DEBUG("%s : %s : %s : %d Device event (UTPS_EVENT_DEV_REJECT)", DM_TRACE_ARGS(kFile),
                 event);
        deviceMgrEventSwich(true);
        break;
    case UTPS_EVENT_DEV_SWITCH:
        DM_DEBUG("%s : %s : %s : %d Device event (UTPS_EVENT_DEV_SWITCH)", DM_TRACE_ARGS(kFile),
                 event);
        deviceMgrEventSwich(false);
        break;
    case UTPS_EVENT_DEV_DETECTED: {
        DM_DEBUG("%s : %s : %s :UTPS_EVENT_DEV_DETECTED", DM_TRACE_ARGS(kFile));
        if (!m_pUILogic)
            break;
        const _UTPS_ST_MULTI_DEVICE_INFO devices = m_pUILogic->GetDeviceInfo();
        if (!m_pDlgChooseDev)
            break;
        DM_DEBUG("%s : %s : %s :Choose device instance NOT null", DM_TRACE_ARGS(kFile));
        // The chooser waits for the main frame like every other window.
        if (devices.nDevNum > 1 && m_bFrameShown) {
            DM_DEBUG("%s : %s : %s :call show choose device", DM_TRACE_ARGS(kFile));
            m_pDlgChooseDev->ShowChooseDlg(m_pParentWidget);
        }
        break;
    }
    case UTPS_EVENT_DEV_SIM_STATE_CHANGE:
        handleSIMStateChangeEvent();
        break;
    case UTPS_EVENT_DEV_FP_VERIFY:
        handleFPVerifyEvent();
        break;
    default:
        DM_DEBUG("%s : %s : %s : ,Unknown event occured ", DM_TRACE_ARGS(kFile));
        break;
    }
    DM_DEBUG("%s : %s : %s : ,exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::deviceMgrEventSwich(bool showMessage)
{
    m_strPrevDeviceName = m_strCurDeviceName;
    m_nPrevProductType = m_nCurProductType;
    sendNotification(NTF_SIM_NOT_READY);

    DM_DEBUG("%s : %s : %s :UTPS_EVENT_DEV_REJECT. m_bDeviceAvialable = false",
             DM_TRACE_ARGS(kFile));
    m_bDeviceAvialable = false;
    m_bValidSim = true;
    m_bValidPinState = false;
    m_bSecondRequest = false;

    if (m_bFrameShown) {
        // The card is gone: nothing asked about it stays on screen.
        closeAllPopups(true);
        FPLockOnDialogClose();
        m_bInitOnFrameShowPending = false;
        m_bFPLockPending = false;
        initMainMenuObj();
        disableDeviceMenu(m_pMainMenu);
        if (showMessage) {
            QString text = tr(QStringLiteral("IDS_DEVICE_INVALID"));
            showInfoDlg(text, kInfoShortMs);
        }
    }
    if (m_pWin7Thread)
        m_pWin7Thread->Stop();
}

void CDeviceMgrService::handleDevDetectEvent()
{
    markDeviceActive(__FUNCTION__, m_bDeviceAvialable, m_nCurProductType);
    if (!m_pUILogic || !m_bFrameShown)
        return;
    DM_DEBUG("%s : %s : %s : DeviceInfoDlg =====> Device Change showInfo", DM_TRACE_ARGS(kFile));
    QString text = tr(QStringLiteral("IDS_DETECTE_DEVICE"));
    showInfoDlg(text, kInfoLongMs);
    m_pUILogic->GetDeviceInfo();
    if (!m_pDlgChooseDev)
        return;
    m_pDlgChooseDev->PopulateList();
    m_pUILogic->GetSystemDevStatus();
    refreshProductType();
    DM_DEBUG("%s : %s : %s : second time ProductType : %s", DM_TRACE_ARGS(kFile),
             numberText(m_nCurProductType).constData());
}

void CDeviceMgrService::handleDevChangeEvent()
{
    markDeviceActive(__FUNCTION__, m_bDeviceAvialable, m_nCurProductType);
    if (!m_pUILogic || !m_bFrameShown || !m_pDlgChooseDev)
        return;
    if (m_bValidSim) {
        DM_DEBUG("%s : %s : %s : DeviceInfoDlg =====> Device Active showInfo",
                 DM_TRACE_ARGS(kFile));
        QString text = tr(QStringLiteral("IDS_INIT_DEV_UNDERWAY"));
        showInfoDlg(text, kInfoShortMs);
    }
    m_pDlgChooseDev->PopulateList();
    refreshProductType();
    DM_DEBUG("%s : %s : %s : second time ProductType : %s", DM_TRACE_ARGS(kFile),
             numberText(m_nCurProductType).constData());
}

void CDeviceMgrService::handleSIMStateChangeEvent()
{
    DM_DEBUG("%s : %s : %s : Enter", DM_TRACE_ARGS(kFile));
    initMainMenuObj();
    refreshMenu(m_pMainMenu);
    if (isUsableSimWord(simStateWord())) {
        sendNotification(NTF_SIM_READY);
        m_bValidPinState = true;
        return;
    }
    DM_DEBUG("%s : %s : %s : send notification (UTPS_EVENT_DEV_SIM_STATE_CHANGE)",
             DM_TRACE_ARGS(kFile));
    sendNotification(NTF_SIM_NOT_READY);
    m_bValidPinState = false;
}

void CDeviceMgrService::refreshProductType()
{
    if (m_pUILogic)
        m_strCurDeviceName = m_pUILogic->GetCurrentDeviceName();
    readAndStoreProductType(m_nCurProductType);
    if (!m_pDlgChooseDev || m_strCurDeviceName == m_strPrevDeviceName)
        return;
    m_pDlgChooseDev->ReloadPlugins(m_strCurDeviceName,
                                   needsFullReload(m_nCurProductType, m_nPrevProductType));
}

// ---------------------------------------------------------------------------
// IDeviceMgr: device presence and choice

bool CDeviceMgrService::IsDeviceAvialable()
{
    _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_NO_DEVICE;
    const int result = UTPS_DevSrv_GetDevStatus(&status);
    if (result != UTPS_ERROR_SUCCESS)
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetDevStatus returned error %li",
                   DM_TRACE_ARGS(kFile), static_cast<long>(result));
    const bool available = result == UTPS_ERROR_SUCCESS &&
                           (status == DEVICE_STATUS_CONNECTED || status == DEVICE_STATUS_AVAILABLE);
    m_bDeviceAvialable = available;
    return available;
}

bool CDeviceMgrService::IsValidSim()
{
    // Through the interface, so that an override is honoured.
    const bool available = static_cast<IDeviceMgr*>(this)->IsDeviceAvialable();
    DM_DEBUG("%s : %s : %s : m_bDeviceAvialable = %d", DM_TRACE_ARGS(kFile),
             static_cast<int>(m_bDeviceAvialable));
    if (!available)
        return false;
    DM_DEBUG("%s : %s : %s : m_bValidSim = %d, m_bValidPinState = %d", DM_TRACE_ARGS(kFile),
             static_cast<int>(m_bValidSim), static_cast<int>(m_bValidPinState));
    return m_pUILogic && m_bValidSim && m_bValidPinState;
}

void CDeviceMgrService::StartDetectDevice()
{
    DM_DEBUG("%s: %s: UTPS_DevSrv_DetectDevice called", kFile, __FUNCTION__);
    if (UTPS_DevSrv_DetectDevice() != UTPS_ERROR_SUCCESS)
        DM_WARNING("%s: %s: UTPS_DevSrv_DetectDevice failed", kFile, __FUNCTION__);
    // Written after a failure too: the result of a detection arrives as
    // events, and the trace has always shown both lines.
    DM_DEBUG("%s: %s: UTPS_DevSrv_DetectDevice success", kFile, __FUNCTION__);
}

void CDeviceMgrService::ShowChooseDevice()
{
    DM_DEBUG("%s: %s: %s: Entered", DM_TRACE_ARGS(kFile));
    if (!m_pDlgChooseDev) {
        DM_DEBUG("%s: %s: %s: m_pDlgChooseDev is NULL", DM_TRACE_ARGS(kFile));
        m_pDlgChooseDev = new ChooseDevice();
    }
    m_pDlgChooseDev->ShowChooseDlg(m_pParentWidget);
    DM_DEBUG("%s: %s: %s: Exit", DM_TRACE_ARGS(kFile));
}
