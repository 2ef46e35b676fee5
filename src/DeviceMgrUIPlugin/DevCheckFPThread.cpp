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

// Hands one held-back event to the service, which re-emits it as its queued
// init-event signal: the thread itself never touches the GUI.
void deliver(int event)
{
    CDeviceMgrService* service = CDeviceMgrService::existingInstance();
    if (service)
        service->OnMyDeviceMgrInitEventHandler(event);
}

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
    qDebug("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bStopThread = 1;
    qDebug("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    // Owners call Stop() first; waiting here keeps a forgotten Stop() from
    // destroying a running QThread.
    wait();
}

void DevCheckFPThread::Push(int event)
{
    qDebug("%d %s: %s: %s: Entered", event, DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    QMutexLocker lock(&m_mutexEvents);
    m_vecEvents.push_back(event);
}

void DevCheckFPThread::Pop(int event)
{
    qDebug("%d %s: %s: %s: Entered", event, DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
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
    // The lock stays held across the pauses on purpose: an event pushed while
    // the backlog drains must queue up behind it, not overtake it.
    QMutexLocker lock(&m_mutexEvents);
    while (!m_vecEvents.empty()) {
        if (isShuttingDown()) {
            qDebug("%s : %s : %s : Events ignored: App Shutting down ",
                   DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
            return;
        }
        const int event = m_vecEvents.front();
        m_vecEvents.erase(m_vecEvents.begin());
        qDebug("%s : %s : %s : called event = %d", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile),
               event);
        deliver(event);
        QThread::msleep(FlushGapMs);
    }
}

void DevCheckFPThread::FPLock()
{
    qDebug("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bFPLock = 1;
    qDebug("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void DevCheckFPThread::FPUnLock()
{
    qDebug("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bFPLock = 0;
    qDebug("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

void DevCheckFPThread::Stop()
{
    qDebug("DevCheckFPThread::Stop() Entered");
    m_bStopThread = 1;
    QThread::msleep(PollMs);
    CommonUtils::WaitForThreadToStop(this, StopBound);
    qDebug("DevCheckFPThread::Stop() Exit");
}

void DevCheckFPThread::appQuitStop()
{
    qDebug("%s : %s : %s : Entered", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    m_bStopThread = 1;
    qDebug("%s : %s : %s : Exit", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}

bool DevCheckFPThread::isShuttingDown()
{
    CDeviceMgrService* service = CDeviceMgrService::existingInstance();
    if (service && service->shuttingDown())
        return true;
    if (QCoreApplication::closingDown())
        return true;
    return CommonUtils::IsShuttingDown();
}

void DevCheckFPThread::run()
{
    qDebug("%s : %s : %s : Start Device Check FP Thread...",
           DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
    CommonUtils::ThreadCountInc(QString::fromLatin1(DeviceMgrTrace::ServiceFile),
                                QStringLiteral("run"));
    m_bStopThread = 0;

    for (;;) {
        if (m_bStopThread)
            break;
        CDeviceMgrService* service = CDeviceMgrService::existingInstance();
        if (service && service->shuttingDown()) {
            qDebug("%s : %s : %s : Events ignored: App Shutting down ",
                   DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
            break;
        }

        m_mutexEvents.lock();
        if (m_vecEvents.empty()) {
            m_mutexEvents.unlock();
            // Only the lock keeps an empty thread alive: once released and
            // drained, the thread ends by itself.
            if (!m_bFPLock) {
                qDebug("%s : %s : %s : No Event to report, going to exit Check FP Thread...",
                       DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
                break;
            }
            QThread::msleep(PollMs);
            continue;
        }
        const int event = m_vecEvents.front();
        m_vecEvents.erase(m_vecEvents.begin());
        m_mutexEvents.unlock();

        qDebug("%s : %s : %s : called event = %d", DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile),
               event);
        deliver(event);

        // Nothing queued behind the lock event may reach the service before
        // the user's fingerprint has been accepted.
        if (event == LockEvent) {
            while (m_bFPLock && !m_bStopThread) {
                if (isShuttingDown()) {
                    qDebug("%s : %s : %s : Events ignored: App Shutting down ",
                           DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
                    break;
                }
                QThread::msleep(PollMs);
            }
        }

        if (isShuttingDown()) {
            qDebug("%s : %s : %s : Events ignored: App Shutting down ",
                   DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
            break;
        }
        QThread::msleep(DeliveryGapMs);
    }

    CommonUtils::ThreadCountDec(QString::fromLatin1(DeviceMgrTrace::ServiceFile),
                                QStringLiteral("run"));
    qDebug("%s : %s : %s : Exit Device Check FP Thread",
           DM_TRACE_ARGS(DeviceMgrTrace::ServiceFile));
}
