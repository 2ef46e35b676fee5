// The WWAN readiness thread: one signal once the WWAN service has the card (or
// does not run), none after a stop or quit, the thread count kept on every
// path. The 1 s poll is real: only the cases needing a second pass wait.
#include "CardCalls.h"
#include "DeviceMgrService.h"
#include "DeviceMgrWin7Thread.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <QtTest>

constexpr int NoStop = 0, ByStop = 1, ByQuit = 2;
// WWAN service on the system, running, polls before it is ready, stop during
// the first pass's sleep; signals emitted, m_bDeviceInitFinished, and the
// IsWWanReady / IsWWanServiceActive calls
using Run = std::tuple<bool, bool, int, int, int, bool, QString>;

class tst_Win7Thread : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrWin7Thread* m_thread = nullptr;
    int m_threadsBefore = 0;

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        m_threadsBefore = CommonUtils::ThreadCount();
    }
    void cleanup()
    {
        if (m_thread) {
            m_thread->Stop();
            delete m_thread;
            m_thread = nullptr;
        }
        m_host.reset();
        // The service deletes its thread but the class keeps the address.
        DeviceMgrWin7Thread::ForgetInstance();
    }
    void runEnds_data()
    {
        QTest::addColumn<Run>("run");
        QTest::newRow("ready at the first poll") << Run{true, true, 0, NoStop, 1, true, "1/0"};
        QTest::newRow("WWAN service not running") << Run{true, false, 100, NoStop, 1, true, "1/1"};
        QTest::newRow("no WWAN service on the system")
            << Run{false, true, 0, NoStop, 1, false, "0/0"};
        // A pass tests readiness before the stop flag, so the stopped card never
        // gets ready; a quit holds the signal back even when the WWAN gets ready.
        QTest::newRow("stop") << Run{true, true, 1000, ByStop, 0, false, ""};
        QTest::newRow("quit, ready at the next poll") << Run{true, true, 1, ByQuit, 0, true, ""};
    }
    void runEnds()
    {
        QFETCH(Run, run);
        const auto& [win7, serviceActive, readyAfter, stop, emitted, ready, polls] = run;
        m_host->card().setHost({win7, readyAfter, serviceActive, {}});
        m_thread = DeviceMgrWin7Thread::Instance();
        QSignalSpy finished(m_thread, &DeviceMgrWin7Thread::deviceInitFinished);
        QElapsedTimer clock;
        clock.start();
        m_thread->start();
        if (stop != NoStop) {
            QTRY_VERIFY(callCount("UTPS_DevSrv_IsWWanServiceActive") >= 1);
            QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore + 1);
            if (stop == ByQuit)
                QVERIFY(QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection));
            else
                m_thread->Stop();
        }
        QVERIFY(m_thread->wait(5000));
        QCoreApplication::processEvents();

        QCOMPARE(finished.count(), emitted);
        QCOMPARE(m_thread->isDeviceInitFinished(), ready);
        QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore);
        if (stop == NoStop) {
            QVERIFY2(clock.elapsed() < 900, "no pass should have slept");
            QCOMPARE(QString("%1/%2")
                         .arg(callCount("UTPS_DevSrv_IsWWanReady"))
                         .arg(callCount("UTPS_DevSrv_IsWWanServiceActive")),
                     polls);
        }
    }
    void serviceChecksAtOnceOnceReady()
    {
        m_host->card().setHost({true, 0, true, {}});
        sim::CardConfig card;
        card.sim.pinEnabled = true;
        CDeviceMgrService* service = m_host->startWith({card});
        QVERIFY(service);
        // The card's PIN check started the thread, which found the WWAN ready.
        DeviceMgrWin7Thread* thread = service->win7Thread();
        QVERIFY(thread && thread->wait(5000));
        QVERIFY(m_host->waitForEvents());
        QVERIFY(thread->isDeviceInitFinished());
        QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore);

        m_host->card().clearCallLog();
        service->checkPINWithWin7();
        // At once, on this thread, without another run.
        QCOMPARE(callCount("UTPS_DevSrv_GetPinStatus"), 1);
        QCOMPARE(callCount("UTPS_DevSrv_IsWWanReady"), 0);
        QVERIFY(!thread->isRunning());
        QCOMPARE(service->pinState(), DEVMGR_PIN_VERIFY);
        QCOMPARE(service->win7Thread(), thread);
    }
};

QTEST_MAIN(tst_Win7Thread)
#include "tst_win7thread.moc"
