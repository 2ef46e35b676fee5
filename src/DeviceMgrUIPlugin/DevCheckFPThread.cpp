#include "DevCheckFPThread.h"

#include "DeviceMgrService.h"
#include "DeviceMgrTrace.h"

#include <CommonUtils.h>

#include <QCoreApplication>
#include <QMutexLocker>

#include <algorithm>

namespace {

constexpr int LockEvent = UTPS_EVENT_DEV_FPLOCK;
constexpr unsigned long PollMs = 100;
constexpr unsigned long DeliveryGapMs = 1000;
constexpr unsigned long FlushGapMs = 500;
constexpr unsigned int StopBound = 5;

} // namespace

DevCheckFPThread::DevCheckFPThread() : QThread(nullptr)
{
    // The SDK callback creates the thread on the SDK's own thread, which runs
    // no event loop: hand the object to the GUI thread so that its slot is
    // actually called when the application quits.
    QCoreApplication* app = QCoreApplication::instance();
    if (app && thread() != app->thread())
        moveToThread(app->thread());
    if (app)
        connect(app, SIGNAL(aboutToQuit()), this, SLOT(appQuitStop()));
    connect(this, SIGNAL(ThreadFinished()), this, SLOT(appQuitStop()));
}

DevCheckFPThread::~DevCheckFPThread()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bStopThread = 1;
    wakePauses();
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    // Owners call Stop() first; waiting here keeps a forgotten Stop() from
    // destroying a running QThread.
    wait();
}

void DevCheckFPThread::attach(CDeviceMgrService* service)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexService);
    m_pService = service;
    m_bDetached = false;
}

void DevCheckFPThread::detach()
{
    {
        // Waits for a delivery under way: the service outlives it.
        std::lock_guard<std::recursive_mutex> lock(m_mutexService);
        m_pService = nullptr;
        m_bDetached = true;
    }
    wakePauses();
}

// Re-emitted by the service as its queued init-event signal: the thread
// itself never touches the GUI.
void DevCheckFPThread::deliver(int event)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexService);
    if (m_pService)
        m_pService->OnMyDeviceMgrInitEventHandler(event);
}

bool DevCheckFPThread::serviceShuttingDown()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexService);
    return !m_pService || m_pService->shuttingDown();
}

bool DevCheckFPThread::pause(unsigned long ms)
{
    std::unique_lock<std::mutex> lock(m_mutexWake);
    return !m_wake.wait_for(lock, std::chrono::milliseconds(ms),
                            [this] { return m_bStopThread.load() || m_bDetached.load(); });
}

void DevCheckFPThread::wakePauses()
{
    // Taking the mutex orders the flag just set before a sleeper's test of it.
    {
        std::lock_guard<std::mutex> lock(m_mutexWake);
    }
    m_wake.notify_all();
}

void DevCheckFPThread::Push(int event)
{
    DM_DEBUG("%d %s: %s: %s: Entered", event, DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    QMutexLocker lock(&m_mutexEvents);
    m_vecEvents.push_back(event);
}

void DevCheckFPThread::Pop(int event)
{
    DM_DEBUG("%d %s: %s: %s: Entered", event, DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    QMutexLocker lock(&m_mutexEvents);
    auto it = std::find(m_vecEvents.begin(), m_vecEvents.end(), event);
    if (it != m_vecEvents.end())
        m_vecEvents.erase(it);
}

void DevCheckFPThread::ClearNotifyList()
{
    QMutexLocker lock(&m_mutexEvents);
    m_vecEvents.clear();
}

std::vector<int> DevCheckFPThread::queuedEvents()
{
    QMutexLocker lock(&m_mutexEvents);
    return m_vecEvents;
}

void DevCheckFPThread::SendAllNotifies()
{
    // The queue is locked only to take one event out, never across a delivery
    // or a pause: an event pushed while the backlog drains joins its end and
    // cannot overtake it, and nobody waits for the drain to finish.
    for (;;) {
        int event = 0;
        {
            QMutexLocker lock(&m_mutexEvents);
            if (m_vecEvents.empty())
                return;
            if (m_bStopThread || isShuttingDown()) {
                DM_DEBUG("%s : %s : %s : Events ignored: App Shutting down ",
                         DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
                return;
            }
            event = m_vecEvents.front();
            m_vecEvents.erase(m_vecEvents.begin());
        }
        DM_DEBUG("%s : %s : %s : called event = %d", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile),
                 event);
        deliver(event);
        pause(FlushGapMs);
    }
}

void DevCheckFPThread::FPLock()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bFPLock = 1;
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void DevCheckFPThread::FPUnLock()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bFPLock = 0;
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void DevCheckFPThread::Stop()
{
    DM_DEBUG("DevCheckFPThread::Stop() Entered");
    m_bStopThread = 1;
    wakePauses();
    QThread::msleep(PollMs);
    CommonUtils::WaitForThreadToStop(this, StopBound);
    DM_DEBUG("DevCheckFPThread::Stop() Exit");
}

void DevCheckFPThread::appQuitStop()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bStopThread = 1;
    wakePauses();
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

bool DevCheckFPThread::isShuttingDown()
{
    if (serviceShuttingDown())
        return true;
    if (QCoreApplication::closingDown())
        return true;
    return CommonUtils::IsShuttingDown();
}

void DevCheckFPThread::run()
{
    DM_DEBUG("%s : %s : %s : Start Device Check FP Thread...",
             DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    CommonUtils::ThreadCountInc(QString::fromLatin1(DeviceMgrTrace::ServiceFile),
                                QStringLiteral("run"));
    m_bStopThread = 0;

    for (;;) {
        if (m_bStopThread)
            break;
        if (serviceShuttingDown()) {
            DM_DEBUG("%s : %s : %s : Events ignored: App Shutting down ",
                     DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
            break;
        }

        m_mutexEvents.lock();
        if (m_vecEvents.empty()) {
            m_mutexEvents.unlock();
            // Only the lock keeps an empty thread alive: once released and
            // drained, the thread ends by itself.
            if (!m_bFPLock) {
                DM_DEBUG("%s : %s : %s : No Event to report, going to exit Check FP Thread...",
                         DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
                break;
            }
            pause(PollMs);
            continue;
        }
        const int event = m_vecEvents.front();
        m_vecEvents.erase(m_vecEvents.begin());
        m_mutexEvents.unlock();

        DM_DEBUG("%s : %s : %s : called event = %d", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile),
                 event);
        deliver(event);

        // Nothing queued behind the lock event may reach the service before
        // the user's fingerprint has been accepted.
        if (event == LockEvent) {
            while (m_bFPLock && !m_bStopThread) {
                if (isShuttingDown()) {
                    DM_DEBUG("%s : %s : %s : Events ignored: App Shutting down ",
                             DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
                    break;
                }
                pause(PollMs);
            }
        }

        if (isShuttingDown()) {
            DM_DEBUG("%s : %s : %s : Events ignored: App Shutting down ",
                     DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
            break;
        }
        pause(DeliveryGapMs);
    }

    CommonUtils::ThreadCountDec(QString::fromLatin1(DeviceMgrTrace::ServiceFile),
                                QStringLiteral("run"));
    DM_DEBUG("%s : %s : %s : Exit Device Check FP Thread",
             DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}
