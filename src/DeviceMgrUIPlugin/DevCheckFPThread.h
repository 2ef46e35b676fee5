// Holds back the card's init events while it is fingerprint-locked and hands
// them to the service one per second once a good fingerprint released it.
#pragma once

#include <QMutex>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

class CDeviceMgrService;

class DevCheckFPThread : public QThread
{
    Q_OBJECT
public:
    DevCheckFPThread();
    ~DevCheckFPThread() override;

    // The service deliveries go to. Once detach() has returned the thread
    // never reaches the service again, and a pause under way ends at once, so
    // the service may be destroyed whatever the thread is doing.
    void attach(CDeviceMgrService* service);
    void detach();

    void Push(int event);
    void Pop(int event);
    void ClearNotifyList();
    void SendAllNotifies();
    void FPLock();
    void FPUnLock();
    void Stop();

    bool isLocked() const { return m_bFPLock.load(std::memory_order_relaxed); }
    std::vector<int> queuedEvents();

signals:
    void ThreadFinished();

public slots:
    void appQuitStop();

protected:
    void run() override;

private:
    // True when the service, Qt or the host is shutting down, or the service
    // is gone.
    bool isShuttingDown();
    bool serviceShuttingDown();
    void deliver(int event);
    // Sleeps `ms` without holding a lock anyone else needs; a stop or a
    // detach ends it early. False when it was ended early.
    bool pause(unsigned long ms);
    void wakePauses();

    std::atomic<int> m_bStopThread{0};
    // Recursive: a delivery on the service's own thread may reach detach().
    std::recursive_mutex m_mutexService;
    CDeviceMgrService* m_pService = nullptr;
    std::atomic<bool> m_bDetached{false};
    std::mutex m_mutexWake;
    std::condition_variable m_wake;
    std::vector<int> m_vecEvents;
    QMutex m_mutexEvents;
    std::atomic<int> m_bFPLock{0};
};
