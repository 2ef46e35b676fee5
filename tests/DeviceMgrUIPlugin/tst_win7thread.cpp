// The WWAN readiness thread: it polls the SDK once a second until the
// system's WWAN service has the card (or does not run at all), then signals;
// stop requests and the application's quit end it without the signal, and it
// always leaves the host's thread count as it found it. The 1 s poll is real,
// so only the cases that need a second pass wait for it.
#include "DeviceMgrService.h"
#include "DeviceMgrWin7Thread.h"
#include "HostFixture.h"
#include "TraceCapture.h"

#include "sim/VirtualCard.h"

#include <CommonUtils.h>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

int countCalls(const char* function)
{
    int count = 0;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog()) {
        if (call.function == function)
            ++count;
    }
    return count;
}

sim::HostConfig wwanHost(bool win7, int readyAfter, bool serviceActive = true)
{
    sim::HostConfig host;
    host.win7 = win7;
    host.wwanReadyAfter = readyAfter;
    host.wwanServiceActive = serviceActive;
    return host;
}

} // namespace

class tst_Win7Thread : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void endsWithOneSignal_data();
    void endsWithOneSignal();
    void stopDuringTheLoopEndsWithoutSignal();
    void quitDuringTheLoopSuppressesTheSignal();
    void stopBeforeTheRunIsForgotten();
    void noWwanServiceSignalsTwiceAfterAnEarlierReadiness();
    void instanceIsOneObject();
    void deletedInstanceIsStillHandedOut();
    void serviceChecksAtOnceOnceReady();
    void serviceWithoutWwanChecksDirectly();

private:
    // Runs `thread` to its end and waits for the signals it queued.
    bool runToEnd(DeviceMgrWin7Thread* thread);

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrWin7Thread* m_thread = nullptr;
    int m_threadsBefore = 0;
};

void tst_Win7Thread::init()
{
    m_host = std::make_unique<HostFixture>();
    m_threadsBefore = CommonUtils::ThreadCount();
}

void tst_Win7Thread::cleanup()
{
    if (m_thread) {
        m_thread->Stop();
        delete m_thread;
        m_thread = nullptr;
    }
    m_host.reset();
    // The service (if any) deleted its thread but the class keeps the
    // address; the next test starts with a fresh one.
    DeviceMgrWin7Thread::ForgetInstance();
}

bool tst_Win7Thread::runToEnd(DeviceMgrWin7Thread* thread)
{
    if (!thread->wait(10000))
        return false;
    QCoreApplication::processEvents();
    return true;
}

void tst_Win7Thread::endsWithOneSignal_data()
{
    QTest::addColumn<bool>("win7");
    QTest::addColumn<bool>("serviceActive");
    QTest::addColumn<QString>("trace"); // empty: none of the loop's lines
    QTest::addColumn<int>("readyPolls");
    QTest::addColumn<int>("activeQueries");

    QTest::newRow("ready at the first poll")
        << true << true << "run: UTPS_DevSrv_IsWWanReady ()" << 1 << 0;
    QTest::newRow("WWAN service not running")
        << true << false << "run: UTPS_DevSrv_IsWWanServiceActive" << 1 << 1;
    QTest::newRow("no WWAN service on the system") << false << true << QString() << 0 << 0;
}

void tst_Win7Thread::endsWithOneSignal()
{
    QFETCH(bool, win7);
    QFETCH(bool, serviceActive);
    QFETCH(QString, trace);
    QFETCH(int, readyPolls);
    QFETCH(int, activeQueries);

    // Inactive service: readiness would come only much later.
    m_host->card().setHost(wwanHost(win7, serviceActive ? 0 : 100, serviceActive));
    m_thread = DeviceMgrWin7Thread::Instance();
    QSignalSpy finished(m_thread, &DeviceMgrWin7Thread::deviceInitFinished);
    TraceCapture lines;
    QElapsedTimer clock;
    clock.start();

    m_thread->start();
    QVERIFY(runToEnd(m_thread));

    QCOMPARE(finished.count(), 1);
    QVERIFY2(clock.elapsed() < 900, "no pass should have slept");
    QCOMPARE(countCalls("UTPS_DevSrv_IsWWanReady"), readyPolls);
    QCOMPARE(countCalls("UTPS_DevSrv_IsWWanServiceActive"), activeQueries);
    QCOMPARE(m_thread->isDeviceInitFinished(), win7);
    QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore);
    QVERIFY(lines.contains(QStringLiteral("run: DeviceMgrWin7Thread::run() Entered")));
    QVERIFY(lines.contains(QStringLiteral("run: DeviceMgrWin7Thread::run() Exit")));
    QCOMPARE(lines.contains(QStringLiteral("run: emit deviceInitFinished ()")), win7);
    if (!trace.isEmpty())
        QVERIFY(lines.contains(trace));
    QVERIFY(!lines.contains(QStringLiteral("m_bStopThread || QApplication::closingDown ()")));
}

void tst_Win7Thread::stopDuringTheLoopEndsWithoutSignal()
{
    m_host->card().setHost(wwanHost(true, 1000));
    m_thread = DeviceMgrWin7Thread::Instance();
    QSignalSpy finished(m_thread, &DeviceMgrWin7Thread::deviceInitFinished);
    TraceCapture lines;

    m_thread->start();
    QTRY_VERIFY(countCalls("UTPS_DevSrv_IsWWanServiceActive") >= 1);
    QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore + 1);
    m_thread->Stop();

    QVERIFY(m_thread->isFinished());
    QCoreApplication::processEvents();
    QCOMPARE(finished.count(), 0);
    QVERIFY(!m_thread->isDeviceInitFinished());
    QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore);
    QVERIFY(lines.contains(QStringLiteral("run: m_bStopThread || QApplication::closingDown ()")));
    QVERIFY(lines.contains(QStringLiteral("Stop: DeviceMgrWin7Thread::Stop() Exit")));
}

void tst_Win7Thread::quitDuringTheLoopSuppressesTheSignal()
{
    // Not ready at the first poll, ready at the second, which comes after
    // the quit.
    m_host->card().setHost(wwanHost(true, 1));
    m_thread = DeviceMgrWin7Thread::Instance();
    QSignalSpy finished(m_thread, &DeviceMgrWin7Thread::deviceInitFinished);

    m_thread->start();
    QTRY_VERIFY(countCalls("UTPS_DevSrv_IsWWanServiceActive") >= 1);
    // What the application does on its way out.
    QVERIFY(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit",
                                      Qt::DirectConnection));
    QVERIFY(m_thread->isAppQuit());
    QVERIFY(runToEnd(m_thread));

    QVERIFY(m_thread->isDeviceInitFinished());
    QCOMPARE(finished.count(), 0);
    QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore);
    CommonUtils::ResetShutDownFlag();
}

void tst_Win7Thread::stopBeforeTheRunIsForgotten()
{
    m_host->card().setHost(wwanHost(true, 1));
    m_thread = DeviceMgrWin7Thread::Instance();
    QSignalSpy finished(m_thread, &DeviceMgrWin7Thread::deviceInitFinished);
    m_thread->Stop();
    QVERIFY(m_thread->isStopRequested());

    m_thread->start();
    QVERIFY(runToEnd(m_thread));

    QCOMPARE(countCalls("UTPS_DevSrv_IsWWanReady"), 2);
    QCOMPARE(finished.count(), 1);
    QVERIFY(!m_thread->isStopRequested());
}

void tst_Win7Thread::noWwanServiceSignalsTwiceAfterAnEarlierReadiness()
{
    m_host->card().setHost(wwanHost(true, 0));
    m_thread = DeviceMgrWin7Thread::Instance();
    QSignalSpy finished(m_thread, &DeviceMgrWin7Thread::deviceInitFinished);
    m_thread->start();
    QVERIFY(runToEnd(m_thread));
    QCOMPARE(finished.count(), 1);

    // A ready WWAN is not polled again.
    m_host->card().clearCallLog();
    m_thread->start();
    QVERIFY(runToEnd(m_thread));
    QCOMPARE(finished.count(), 2);
    QCOMPARE(countCalls("UTPS_DevSrv_IsWWanReady"), 0);

    // The system lost its WWAN service: the early signal and, with the
    // earlier readiness on record, the usual one too.
    m_host->card().setHost(wwanHost(false, 0));
    m_thread->start();
    QVERIFY(runToEnd(m_thread));
    QCOMPARE(finished.count(), 4);
    QCOMPARE(CommonUtils::ThreadCount(), m_threadsBefore);
}

void tst_Win7Thread::instanceIsOneObject()
{
    m_thread = DeviceMgrWin7Thread::Instance();
    QCOMPARE(DeviceMgrWin7Thread::Instance(), m_thread);
    QVERIFY(!m_thread->parent());
    QVERIFY(!m_thread->isDeviceInitFinished());
    QVERIFY(!m_thread->isStopRequested());
    QVERIFY(!m_thread->isAppQuit());
}

// Only the service deletes the thread, and only while it is torn down itself:
// the destructor leaves the class's pointer as it is.
void tst_Win7Thread::deletedInstanceIsStillHandedOut()
{
    DeviceMgrWin7Thread* first = DeviceMgrWin7Thread::Instance();
    const quintptr address = reinterpret_cast<quintptr>(first);
    delete first;
    QCOMPARE(reinterpret_cast<quintptr>(DeviceMgrWin7Thread::Instance()), address);
}

void tst_Win7Thread::serviceChecksAtOnceOnceReady()
{
    m_host->card().setHost(wwanHost(true, 0));
    sim::CardConfig card;
    card.sim.pinEnabled = true;
    m_host->card().addCard(card);
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());

    // The card's PIN check started the thread, which found the WWAN ready.
    DeviceMgrWin7Thread* thread = service->win7Thread();
    QVERIFY(thread);
    QVERIFY(thread->wait(5000));
    QVERIFY(m_host->waitForEvents());
    QVERIFY(thread->isDeviceInitFinished());

    m_host->card().clearCallLog();
    TraceCapture lines;
    service->checkPINWithWin7();

    // At once, on this thread, without another run.
    QCOMPARE(countCalls("UTPS_DevSrv_GetPinStatus"), 1);
    QCOMPARE(countCalls("UTPS_DevSrv_IsWWanReady"), 0);
    QVERIFY(!thread->isRunning());
    QVERIFY(lines.contains(QStringLiteral("Win 7 thread initialized. Check PIN")));
    QCOMPARE(service->pinState(), DEVMGR_PIN_VERIFY);
    QCOMPARE(service->win7Thread(), thread);
}

void tst_Win7Thread::serviceWithoutWwanChecksDirectly()
{
    sim::CardConfig card;
    card.sim.pinEnabled = true;
    m_host->card().addCard(card);
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    m_host->card().clearCallLog();

    service->checkPINWithWin7();

    QVERIFY(!service->win7Thread());
    QCOMPARE(countCalls("UTPS_DevSrv_GetPinStatus"), 1);
    QCOMPARE(service->pinState(), DEVMGR_PIN_VERIFY);
}

QTEST_MAIN(tst_Win7Thread)
#include "tst_win7thread.moc"
