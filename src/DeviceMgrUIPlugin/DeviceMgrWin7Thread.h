// Waits until the system's WWAN service has taken the card up, then tells the
// service by deviceInitFinished().
#pragma once

#include <QThread>

#include <atomic>

class DeviceMgrWin7Thread : public QThread
{
    Q_OBJECT
public:
    static DeviceMgrWin7Thread* Instance();
    // Drops the stored instance without deleting it, so that the next
    // Instance() makes a fresh thread. For tests that deleted the old one.
    static void ForgetInstance();
    ~DeviceMgrWin7Thread() override;

    void Stop();
    bool isDeviceInitFinished() const
    {
        return m_bDeviceInitFinished.load(std::memory_order_relaxed);
    }
    bool isStopRequested() const { return m_bStopThread.load(std::memory_order_relaxed); }
    bool isAppQuit() const { return m_bAppQuit.load(std::memory_order_relaxed); }

signals:
    void deviceInitFinished();

public slots:
    void appQuitStop();

protected:
    void run() override;

private:
    DeviceMgrWin7Thread();

    std::atomic<int> m_bDeviceInitFinished{0};
    std::atomic<int> m_bStopThread{0};
    std::atomic<int> m_bAppQuit{0};

    static DeviceMgrWin7Thread* m_pThreadInstance;
};
