// Holds back the card's init events while it is fingerprint-locked and hands
// them to the service one per second once a good fingerprint released it.
#pragma once

#include <QMutex>
#include <QThread>

#include <atomic>
#include <vector>

class DevCheckFPThread : public QThread
{
    Q_OBJECT
public:
    DevCheckFPThread();
    ~DevCheckFPThread() override;

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
    // True when the service, Qt or the host is shutting down.
    static bool isShuttingDown();

    std::atomic<int> m_bStopThread{0};
    std::vector<int> m_vecEvents;
    QMutex m_mutexEvents;
    std::atomic<int> m_bFPLock{0};
};
