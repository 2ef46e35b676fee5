#include "DeviceMgrWin7Thread.h"

#include "DeviceMgrTrace.h"

#include <CommonUtils.h>
#include <utps.h>

#include <QCoreApplication>

namespace {

constexpr const char* kFile = DeviceMgrTrace::ServiceFile;

constexpr unsigned long kPollIntervalMs = 1000;
constexpr unsigned int kStopWaitBound = 5;
// UTPS_DevSrv_IsWWanServiceActive: the system's WWAN service is not running.
constexpr int kWWanServiceInactive = -1;

} // namespace

DeviceMgrWin7Thread* DeviceMgrWin7Thread::m_pThreadInstance = nullptr;

DeviceMgrWin7Thread* DeviceMgrWin7Thread::Instance()
{
    DM_DEBUG("%s: %s: %s: Entered", DM_TRACE_ARGS(kFile));
    if (!m_pThreadInstance)
        m_pThreadInstance = new DeviceMgrWin7Thread();
    return m_pThreadInstance;
}

void DeviceMgrWin7Thread::ForgetInstance()
{
    m_pThreadInstance = nullptr;
}

DeviceMgrWin7Thread::DeviceMgrWin7Thread() : QThread(nullptr)
{
    if (QCoreApplication* app = QCoreApplication::instance())
        connect(app, SIGNAL(aboutToQuit()), this, SLOT(appQuitStop()));
}

// Leaves m_pThreadInstance alone: the service deletes the thread only while
// it is torn down itself.
DeviceMgrWin7Thread::~DeviceMgrWin7Thread()
{
    DM_DEBUG("%s: %s: %s: Entered", DM_TRACE_ARGS(kFile));
    m_bStopThread.store(1, std::memory_order_relaxed);
    DM_DEBUG("%s: %s: %s: Exit", DM_TRACE_ARGS(kFile));
}

void DeviceMgrWin7Thread::Stop()
{
    DM_DEBUG("%s: %s: %s: DeviceMgrWin7Thread::Stop() Entered", DM_TRACE_ARGS(kFile));
    m_bStopThread.store(1, std::memory_order_relaxed);
    CommonUtils::WaitForThreadToStop(this, kStopWaitBound);
    DM_DEBUG("%s: %s: %s: DeviceMgrWin7Thread::Stop() Exit", DM_TRACE_ARGS(kFile));
}

void DeviceMgrWin7Thread::appQuitStop()
{
    DM_DEBUG("%s: %s: %s: Entered", DM_TRACE_ARGS(kFile));
    m_bAppQuit.store(1, std::memory_order_relaxed);
    DM_DEBUG("%s: %s: %s: Exit", DM_TRACE_ARGS(kFile));
}

void DeviceMgrWin7Thread::run()
{
    CommonUtils::ThreadCountInc(QString::fromLatin1(kFile), QString::fromLatin1(__FUNCTION__));
    DM_DEBUG("%s: %s: %s: DeviceMgrWin7Thread::run() Entered", DM_TRACE_ARGS(kFile));
    m_bStopThread.store(0, std::memory_order_relaxed);

    if (UTPS_DevSrv_IsWin7() != UTPS_ERROR_SUCCESS) {
        // Nothing to wait for. With an earlier readiness on record the
        // signal goes out once more below; callers rely on that.
        emit deviceInitFinished();
    } else {
        // One pass a second until the WWAN side has the card, is known not to
        // run, or the thread is asked to end. No bound on the passes, on
        // purpose.
        while (!m_bDeviceInitFinished.load(std::memory_order_relaxed)) {
            if (UTPS_DevSrv_IsWWanReady() == UTPS_ERROR_SUCCESS) {
                DM_DEBUG("%s: %s: %s: UTPS_DevSrv_IsWWanReady ()", DM_TRACE_ARGS(kFile));
                m_bDeviceInitFinished.store(1, std::memory_order_relaxed);
                break;
            }
            if (UTPS_DevSrv_IsWWanServiceActive() == kWWanServiceInactive) {
                DM_DEBUG("%s: %s: %s: UTPS_DevSrv_IsWWanServiceActive", DM_TRACE_ARGS(kFile));
                m_bDeviceInitFinished.store(1, std::memory_order_relaxed);
                break;
            }
            if (m_bAppQuit.load(std::memory_order_relaxed) ||
                m_bStopThread.load(std::memory_order_relaxed) || QCoreApplication::closingDown()) {
                DM_DEBUG("%s: %s: %s: m_bStopThread || QApplication::closingDown ()",
                         DM_TRACE_ARGS(kFile));
                break;
            }
            QThread::msleep(kPollIntervalMs);
        }
    }

    if (!m_bAppQuit.load(std::memory_order_relaxed) &&
        m_bDeviceInitFinished.load(std::memory_order_relaxed)) {
        DM_DEBUG("%s: %s: %s: emit deviceInitFinished ()", DM_TRACE_ARGS(kFile));
        emit deviceInitFinished();
    }

    DM_DEBUG("%s: %s: %s: Before Dec", DM_TRACE_ARGS(kFile));
    CommonUtils::ThreadCountDec(QString::fromLatin1(kFile), QString::fromLatin1(__FUNCTION__));
    DM_DEBUG("%s: %s: %s: DeviceMgrWin7Thread::run() Exit", DM_TRACE_ARGS(kFile));
}
