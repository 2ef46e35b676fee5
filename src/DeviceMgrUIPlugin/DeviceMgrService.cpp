// CDeviceMgrService: creation, start-up, SDK event intake and teardown.
//
// The SDK calls the two static callbacks on a thread of its own. They touch
// only a few atomic words and the fingerprint thread, copy a device list, and
// emit signals; the automatic connections queue every signal (and the copied
// list) to the GUI thread, where all real handling happens.
#include "DeviceMgrService.h"

#include "DevCheckFPThread.h"
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrTrace.h"
#include "DeviceMgrWin7Thread.h"
#include "SimDlg.h"

#include <Change.h>
#include <CommonUtils.h>
#include <ExtendDialog.h>

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <memory>
#include <mutex>
#include <thread>

using DeviceMgrTrace::ServiceFile;

CDeviceMgrService* CDeviceMgrService::m_pInstance = nullptr;
std::atomic<CDeviceMgrService*> CDeviceMgrService::m_pCallbackInstance{nullptr};

namespace {

// Serialises the callbacks' bodies against two moments on the GUI thread:
// start-up, from the first registration until the internal connections exist
// (an event raised in between would otherwise be emitted to nobody), and
// teardown, when the callbacks' pointer is cleared (a callback that already
// read the pointer must have left before the service is freed). Uncontended
// at any other time.
std::mutex& callbackGate()
{
    static std::mutex gate;
    return gate;
}

// Device-manager events the SDK's thread has queued to the GUI thread and
// the GUI thread has not taken up yet. Without a bound, a storm of events
// would pile up in the GUI thread's queue for as long as it lasts; with one,
// the SDK's thread waits for the GUI thread instead (in no lock, so nothing
// else waits with it). A GUI thread that is busy elsewhere for longer than
// the patience stops the waiting until it has caught up, so the SDK is never
// held for long.
std::atomic<int> g_eventsQueued{0};
std::atomic<bool> g_outOfPatience{false};
constexpr int kEventsQueuedMax = 512;
constexpr auto kPatience = std::chrono::milliseconds(200);

void waitForTheGuiThread()
{
    const int queued = g_eventsQueued.load(std::memory_order_relaxed);
    if (queued < kEventsQueuedMax / 2)
        g_outOfPatience.store(false, std::memory_order_relaxed);
    if (queued < kEventsQueuedMax || g_outOfPatience.load(std::memory_order_relaxed))
        return;
    const QCoreApplication* app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread())
        return; // the one thread that could make room
    const auto giveUpAt = std::chrono::steady_clock::now() + kPatience;
    while (g_eventsQueued.load(std::memory_order_relaxed) >= kEventsQueuedMax / 2) {
        if (std::chrono::steady_clock::now() >= giveUpAt) {
            g_outOfPatience.store(true, std::memory_order_relaxed);
            return;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

void eventTakenUp()
{
    // Never below zero: the handler may also be called directly.
    int queued = g_eventsQueued.load(std::memory_order_relaxed);
    while (queued > 0 &&
           !g_eventsQueued.compare_exchange_weak(queued, queued - 1, std::memory_order_relaxed)) {
    }
}

template <typename T> void deleteAndNull(T*& object)
{
    delete object;
    object = nullptr;
}

// A stop request made just before a worker's run() began is forgotten by it
// (run() clears the request first); a second request, made once run() is
// under way, ends its loop within one pass.
template <typename Thread> void stopLateStartedThread(Thread* thread)
{
    constexpr unsigned long kLateStopWaitMs = 3000;
    if (!thread->isRunning())
        return;
    thread->appQuitStop();
    thread->wait(kLateStopWaitMs);
}

// Deleting a QThread that still runs aborts the process: one that would not
// stop goes once it has finished.
template <typename Thread> void deleteWhenFinished(Thread*& thread)
{
    if (thread->isRunning())
        QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    else
        delete thread;
    thread = nullptr;
}

uint32_t payloadWord(const void* data, int index)
{
    return static_cast<const uint32_t*>(data)[index];
}

bool carriesDeviceList(int event)
{
    return event == UTPS_EVENT_DEV_DETECTED || event == UTPS_EVENT_DEV_LIST_UPDATE ||
           event == UTPS_EVENT_DEV_REJECT;
}

} // namespace

CDeviceMgrService::CDeviceMgrService()
{
    DM_DEBUG("%s : %s : %s : constructor called", DM_TRACE_ARGS(ServiceFile));
    if (QCoreApplication* app = QCoreApplication::instance())
        connect(app, SIGNAL(aboutToQuit()), this, SLOT(appQuitStop()));
    connect(this, SIGNAL(PowerMgrEvent(int)), this, SLOT(OnPowerMgr(int)));
}

CDeviceMgrService::~CDeviceMgrService()
{
    // The one trace line that puts the time last.
    DM_DEBUG("%s: %s: %s entered", ServiceFile, __FUNCTION__, DeviceMgrTrace::now().constData());
    // Normally releaseData has done this already; a service deleted without
    // it must not stay reachable from the SDK's thread either.
    std::lock_guard<std::mutex> gate(callbackGate());
    CDeviceMgrService* self = this;
    m_pCallbackInstance.compare_exchange_strong(self, nullptr);
}

CDeviceMgrService* CDeviceMgrService::instance()
{
    if (!m_pInstance)
        m_pInstance = new CDeviceMgrService();
    return m_pInstance;
}

void CDeviceMgrService::Destroy()
{
    // A second Destroy (or one before any instance()) finds nothing to do.
    if (!m_pInstance)
        return;
    m_pInstance->OnDestroy();
    CDeviceMgrService* dying = m_pInstance;
    m_pInstance = nullptr;
    delete dying;
}

int CDeviceMgrService::Init()
{
    DM_DEBUG("%s : %s : %s : called", DM_TRACE_ARGS(ServiceFile));
    m_pCallbackInstance.store(this);

    m_pUILogic = DeviceMgrUILogic::GetInstance();
    if (!m_pUILogic) {
        DM_WARNING("%s: %s: DeviceMgrUILogic init failed", ServiceFile, __FUNCTION__);
        return 0;
    }
    qRegisterMetaType<E_DEVMGR_PIN_STATE>("E_DEVMGR_PIN_STATE");
    connect(m_pUILogic, SIGNAL(PinStateChanged(E_DEVMGR_PIN_STATE)), this,
            SLOT(onPinStateChanged(E_DEVMGR_PIN_STATE)), Qt::UniqueConnection);
    m_pUILogic->init();

    std::lock_guard<std::mutex> gate(callbackGate());
    if (UTPS_DevSrv_RegisterDevInitEventCallback(OnDeviceMgrInitEvent) != UTPS_ERROR_SUCCESS) {
        // Without the init events nothing could ever be handled: skip the
        // remaining registrations and the internal connections.
        DM_WARNING("%s: %s: UTPS_DevSrv_RegisterDevInitEventCallback failed", ServiceFile,
                   __FUNCTION__);
        return 0;
    }
    int result = 1;
    if (UTPS_DevSrv_RegisterDevMgrCallback(OnDevMgrEventsCB) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s: %s: UTPS_DevSrv_RegisterDevMgrCallback failed", ServiceFile, __FUNCTION__);
        result = 0;
    }
    if (UTPS_DevSrv_RegisterMultiDeviceEventCallback(OnDevMgrEventsCB) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s: %s: UTPS_DevSrv_RegisterMultiDeviceEventCallback failed", ServiceFile,
                   __FUNCTION__);
        result = 0;
    }

    // Automatic type, so that what the SDK's thread emits is queued to this
    // thread; unique, so that a second Init does not handle every event twice.
    const auto type = static_cast<Qt::ConnectionType>(Qt::AutoConnection | Qt::UniqueConnection);
    connect(this, SIGNAL(signalDeviceMgrInitEventHandler(qint32)), this,
            SLOT(deviceMgrInitEventHandler(qint32)), type);
    connect(this, SIGNAL(signalDeviceMgrEventHandler(qint32)), this,
            SLOT(deviceMgrEventHandler(qint32)), type);
    connect(this, SIGNAL(signalRFSwitch(uint, uint)), this, SLOT(onSignalRFSwitch(uint, uint)),
            type);
    connect(this, SIGNAL(signalUpdateChooseDevice()), this, SLOT(onUpdateChooseDevice()), type);
    connect(this, SIGNAL(signalFplockOnmainframelaunched()), this,
            SLOT(handleFPLockOnFramelaunchedEvent()), type);
    connect(this, SIGNAL(signalSIMframelaunched()), this, SLOT(handleSIMOnFramelaunchedEvent()),
            type);
    return result;
}

void CDeviceMgrService::OnDestroy()
{
    releaseData();
}

void CDeviceMgrService::unSDKRegisterEvent()
{
    DM_DEBUG("%s: %s called", ServiceFile, __FUNCTION__);
    UTPS_DevSrv_UnRegisterDevInitEventCallback();
    UTPS_DevSrv_UnRegisterDevMgrCallback();
    UTPS_DevSrv_UnRegisterMultiDeviceEventCallback();
    DM_DEBUG("%s: %s exit", ServiceFile, __FUNCTION__);
}

int CDeviceMgrService::ShowWindow(QWidget* parent)
{
    DM_DEBUG("%s: %s : %s, entered", DM_TRACE_ARGS(ServiceFile));
    if (!parent) {
        DM_DEBUG("%s: %s : %s, NULL Input Parameter", DM_TRACE_ARGS(ServiceFile));
        return 0;
    }
    m_pParentWidget = parent;
    return 1;
}

int CDeviceMgrService::OnDeviceMgrInitEvent(int event, void* /*data*/)
{
    std::lock_guard<std::mutex> gate(callbackGate());
    CDeviceMgrService* service = m_pCallbackInstance.load();
    if (!service)
        return 1;
    DM_DEBUG("%s : %s : %s : called event = %d", DM_TRACE_ARGS(ServiceFile), event);

    DevCheckFPThread* fpThread = service->m_pFPThread.load();
    if (event == UTPS_EVENT_DEV_FPLOCK) {
        if (!fpThread) {
            fpThread = new DevCheckFPThread();
            // Made here on the SDK's thread; its slots and its deletion
            // belong to the service's thread.
            fpThread->moveToThread(service->thread());
            fpThread->attach(service);
            fpThread->FPLock();
            service->m_pFPThread.store(fpThread);
            fpThread->start();
        } else {
            fpThread->FPLock();
            if (!fpThread->isRunning()) {
                fpThread->ClearNotifyList();
                fpThread->start();
            }
        }
    }

    if (fpThread && fpThread->isRunning()) {
        // Held back until the card is unlocked; the thread hands it on.
        fpThread->Push(event);
    } else {
        if (fpThread)
            fpThread->SendAllNotifies();
        emit service->signalDeviceMgrInitEventHandler(event);
    }
    DM_DEBUG("%s : %s : %s : exit", DM_TRACE_ARGS(ServiceFile));
    return 1;
}

int CDeviceMgrService::OnDevMgrEventsCB(int event, void* data)
{
    waitForTheGuiThread();
    std::lock_guard<std::mutex> gate(callbackGate());
    CDeviceMgrService* service = m_pCallbackInstance.load();
    if (!service)
        return 1;
    DM_DEBUG("%s : %s : %s : called event = %d ", DM_TRACE_ARGS(ServiceFile), event);
    if (service->m_bShuttingDown.load(std::memory_order_relaxed)) {
        DM_DEBUG("%s : %s : %s : Events ignored: App Shutting down ", DM_TRACE_ARGS(ServiceFile));
        return 1;
    }

    if (event == UTPS_EVENT_DEV_RF_SWITCH) {
        DM_DEBUG("%s : %s : %s : got UTPS_EVENT_DEV_RF_SWITCH event ", DM_TRACE_ARGS(ServiceFile));
        if (data) {
            DM_DEBUG("%s : %s : %s : Emit signal on getting UTPS_EVENT_DEV_RF_SWITCH event ",
                     DM_TRACE_ARGS(ServiceFile));
            // The SDK sends the software state first, the hardware state second.
            emit service->signalRFSwitch(payloadWord(data, 1), payloadWord(data, 0));
        }
    } else {
        if (carriesDeviceList(event) && service->m_pUILogic) {
            DM_DEBUG("%s : %s : %s :Update Device Info on events", DM_TRACE_ARGS(ServiceFile));
            service->takeDeviceList(static_cast<const _UTPS_ST_MULTI_DEVICE_INFO*>(data));
            emit service->signalUpdateChooseDevice();
        }
        if (data) {
            if (event == UTPS_EVENT_DEV_SIM_STATE_CHANGE)
                service->m_uSimStateWord.store(payloadWord(data, 0), std::memory_order_relaxed);
            else if (event == UTPS_EVENT_DEV_FP_VERIFY)
                service->m_uFPVerifyWord.store(payloadWord(data, 0), std::memory_order_relaxed);
            else if (event == UTPS_EVENT_DEV_POWER)
                emit service->PowerMgrEvent(static_cast<int>(payloadWord(data, 0)));
        }
    }

    g_eventsQueued.fetch_add(1, std::memory_order_relaxed);
    emit service->signalDeviceMgrEventHandler(event);
    DM_DEBUG("%s : %s : %s : exit", DM_TRACE_ARGS(ServiceFile));
    return 1;
}

void CDeviceMgrService::noteEventTakenUp()
{
    eventTakenUp();
}

void CDeviceMgrService::takeDeviceList(const _UTPS_ST_MULTI_DEVICE_INFO* list)
{
    if (QThread::currentThread() == thread()) {
        applyDeviceList(const_cast<_UTPS_ST_MULTI_DEVICE_INFO*>(list));
        return;
    }
    // The payload is valid during the callback only. Queued like the
    // signals emitted after it, so the list is in place before they arrive.
    std::shared_ptr<_UTPS_ST_MULTI_DEVICE_INFO> copy;
    if (list)
        copy = std::make_shared<_UTPS_ST_MULTI_DEVICE_INFO>(*list);
    QMetaObject::invokeMethod(
        this, [this, copy] { applyDeviceList(copy.get()); }, Qt::QueuedConnection);
}

void CDeviceMgrService::applyDeviceList(_UTPS_ST_MULTI_DEVICE_INFO* list)
{
    if (!m_pUILogic)
        return;
    m_pUILogic->ClearDeviceInfo();
    m_pUILogic->SetDeviceInfo(list);
}

void CDeviceMgrService::OnMyDeviceMgrInitEventHandler(int event)
{
    emit signalDeviceMgrInitEventHandler(event);
}

void CDeviceMgrService::appQuitStop()
{
    DM_DEBUG("%s: %s: %s: Entered", DM_TRACE_ARGS(ServiceFile));
    m_bShuttingDown.store(true, std::memory_order_relaxed);
    CommonUtils::SetShutDownFlag();
    DM_DEBUG("%s: %s: %s: Exit", DM_TRACE_ARGS(ServiceFile));
}

void CDeviceMgrService::releaseData()
{
    DM_DEBUG("%s : %s : %s : destructor called", DM_TRACE_ARGS(ServiceFile));
    // A held-back backlog may be handing events on, paced, inside an SDK
    // callback that holds the gate: cut it off first, or the wait for the
    // gate below would last as long as the backlog.
    if (DevCheckFPThread* fpThread = m_pFPThread.load())
        fpThread->detach();
    {
        // From here on a late SDK callback finds no service.
        std::lock_guard<std::mutex> gate(callbackGate());
        CDeviceMgrService* self = this;
        m_pCallbackInstance.compare_exchange_strong(self, nullptr);
    }
    // What was queued to this service will never be taken up.
    g_eventsQueued.store(0, std::memory_order_relaxed);

    deleteAndNull(m_pDlgChooseDev);
    disconnect();

    if (m_pWin7Thread) {
        m_pWin7Thread->Stop();
        stopLateStartedThread(m_pWin7Thread);
        // The thread's own static pointer must not outlive it: a service made
        // later gets a new thread.
        DeviceMgrWin7Thread::ForgetInstance();
        deleteWhenFinished(m_pWin7Thread);
    }
    if (DevCheckFPThread* fpThread = m_pFPThread.exchange(nullptr)) {
        // Again: a callback may have made the thread since.
        fpThread->detach();
        fpThread->Stop();
        stopLateStartedThread(fpThread);
        deleteWhenFinished(fpThread);
    }

    // The pop-up timers would otherwise fire on dialogs that are gone.
    if (m_pTimer)
        m_pTimer->stop();
    if (m_pFPTimer)
        m_pFPTimer->stop();

    // Deleting a dialog clears the pointers to it and to its parts.
    delete m_pdialogInfoDlg.data();
    delete m_pdialogFPInfoDlg.data();
    delete m_pdialogVerifyPINDlg.data();
    delete m_pdialogPINDlg.data();
    delete m_pdialogModifyDlg.data();
    delete m_pdialogPUKDlg.data();

    deleteAndNull(m_pUILogic);
    DM_DEBUG("%s : %s : %s : destructor exit", DM_TRACE_ARGS(ServiceFile));
}

void CDeviceMgrService::onPinStateChanged(E_DEVMGR_PIN_STATE penStatus)
{
    m_eReportedPinState = penStatus;
}

void CDeviceMgrService::onUpdateChooseDevice()
{
    if (m_pDlgChooseDev)
        m_pDlgChooseDev->PopulateList();
}

QString CDeviceMgrService::tr(const QString& key)
{
    return Change::tr(key, "DeviceMgrUIPlugin");
}
