// The fingerprint lock: init events held back and the prompt until a good touch.
#include "DevCheckFPThread.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <Change.h>
#include <ExtendDialog.h>

#include <QElapsedTimer>
#include <QLabel>
#include <QTest>

#include <atomic>
#include <thread>

// The init events the service re-emits, as they reach the GUI thread.
struct InitEventLog : QObject
{
    explicit InitEventLog(CDeviceMgrService* service)
    {
        connect(
            service, &CDeviceMgrService::signalDeviceMgrInitEventHandler, this,
            [this](qint32 code) { codes.append(code); }, Qt::QueuedConnection);
    }
    QList<int> codes;
};

class TestFingerprint : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        QVERIFY(Change::SetLanguage(QStringLiteral("keys")));
    }
    void cleanup() { m_host.reset(); }
    // The prompt's texts and the one-second pacing of the released events are
    // checked end to end in the fingerprint scenario.
    void lockedCardIsReleasedByAGoodTouchAfterTheFrame()
    {
        sim::CardConfig config;
        config.fingerprint = true;
        config.sim.pinEnabled = true;
        m_host->card().addCard(config);
        CDeviceMgrService* service = CDeviceMgrService::instance();
        InitEventLog log(service);
        m_host->startService();
        QVERIFY(m_host->waitForEvents());
        DevCheckFPThread* thread = service->fpThread();
        QVERIFY(thread);
        QTRY_COMPARE(thread->queuedEvents(),
                     (std::vector<int>{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN,
                                       UTPS_EVENT_DEV_DEVICE_INIT_FINISH}));
        // The lock event reaches the service from the fingerprint thread.
        QTRY_COMPARE(log.codes, (QList<int>{UTPS_EVENT_DEV_INIT_BEGIN, UTPS_EVENT_DEV_FPLOCK}));
        // A good touch before the frame was shown initialises nothing.
        m_host->card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
        QVERIFY(m_host->waitForEvents());
        QCOMPARE(service->fpVerifyWord(), 0u);
        QVERIFY(!service->fpDialog());
        QVERIFY(service->fpLockPending());
        QVERIFY(thread->isLocked());

        m_host->frameShown();
        QVERIFY(service->fpDialog() && service->fpDialog()->isVisible());
        QVERIFY(m_host->records("subscribe").isEmpty());
        m_host->card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
        QTRY_VERIFY(!service->fpDialog());
        QVERIFY(!service->fpLockPending());
        QVERIFY(!thread->isLocked());
        // Frame initialisation, PIN check included, runs now; the held-back
        // check-PIN event is dropped, the rest follows in order.
        QVERIFY(!m_host->records("subscribe").isEmpty());
        QVERIFY(service->verifyPinDialog());
        const QList<int> released{UTPS_EVENT_DEV_INIT_BEGIN, UTPS_EVENT_DEV_FPLOCK,
                                  UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_DEVICE_INIT_FINISH};
        QTRY_COMPARE_WITH_TIMEOUT(log.codes, released, 5000);
        QTRY_VERIFY(thread->isFinished());
    }
    // The verify word arrives raw from the SDK, any 32-bit value.
    void verifyWordPicksThePrompt_data()
    {
        QTest::addColumn<uint>("state");
        QTest::addColumn<QString>("key");
        QTest::newRow("NO_FINGER") << uint(VERIFYIND_NO_FINGER) << "IDS_GUIMSG_NO_FINGER";
        QTest::newRow("CLEAN_SENSOR") << uint(VERIFYIND_CLEAN_SENSOR) << "IDS_GUIMSG_CLEAN_SENSOR";
        QTest::newRow("ENROLL_PROGRESS")
            << uint(VERIFYIND_ENROLL_PROGRESS) << "IDS_GUIMSG_ENROLL_PROGRESS";
        QTest::newRow("NO_MATCH") << uint(VERIFYIND_NO_MATCH) << "IDS_GUIMSG_NO_MATCH";
        // Unknown states, unsigned: large ones must not wrap onto a named one.
        QTest::newRow("41") << 41u << "IDS_FPLOCK_PROMPT";
        QTest::newRow("256, not 0") << 256u << "IDS_FPLOCK_PROMPT";
        QTest::newRow("511, not 255") << 511u << "IDS_FPLOCK_PROMPT";
        QTest::newRow("all bits") << 4294967295u << "IDS_FPLOCK_PROMPT";
    }
    void verifyWordPicksThePrompt()
    {
        QFETCH(uint, state);
        QFETCH(QString, key);
        CDeviceMgrService* service = m_host->startService();
        service->handleFPLockOnFramelaunchedEvent();
        ExtendDialog* dialog = service->fpDialog();
        auto* label = dialog ? dialog->findChild<QLabel*>("DeviceMgrUI_fplabelInfoLabel") : nullptr;
        QVERIFY(label);
        label->setText(QStringLiteral("before"));
        m_host->card().raiseEvent(UTPS_EVENT_DEV_FP_VERIFY, std::vector<uint32_t>{state});
        QVERIFY(m_host->waitForEvents());
        QCOMPARE(label->text(), key);
    }
    void stopDuringTheWaitDeliversNothingMore()
    {
        InitEventLog log(CDeviceMgrService::instance());
        const int threadsBefore = CommonUtils::ThreadCount();
        DevCheckFPThread thread;
        thread.attach(CDeviceMgrService::instance());
        thread.FPLock();
        for (int code : {UTPS_EVENT_DEV_FPLOCK, UTPS_EVENT_DEV_INIT_SUCCESS,
                         UTPS_EVENT_DEV_DEVICE_INIT_FINISH})
            thread.Push(code);
        thread.start();
        QTRY_COMPARE(log.codes, QList<int>{UTPS_EVENT_DEV_FPLOCK});
        thread.Stop();
        QTRY_VERIFY_WITH_TIMEOUT(thread.isFinished(), 3000);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(log.codes, QList<int>{UTPS_EVENT_DEV_FPLOCK});
        QCOMPARE(CommonUtils::ThreadCount(), threadsBefore);
        // The rest stays queued; a pop takes only the first equal code.
        thread.Push(UTPS_EVENT_DEV_INIT_SUCCESS);
        thread.Pop(UTPS_EVENT_DEV_INIT_SUCCESS);
        thread.Pop(UTPS_EVENT_DEV_CHECK_PIN); // not queued: nothing changes
        QCOMPARE(thread.queuedEvents(), (std::vector<int>{UTPS_EVENT_DEV_DEVICE_INIT_FINISH,
                                                          UTPS_EVENT_DEV_INIT_SUCCESS}));
    }

    // A backlog handed on, paced, by an SDK callback: the GUI thread can
    // still take an event out of the queue, and tear the service down,
    // without waiting for the backlog to drain.
    void drainingBacklogHoldsNoLockTheGuiThreadNeeds()
    {
        CDeviceMgrService* service = m_host->startService();
        InitEventLog log(service);
        std::thread(&CDeviceMgrService::OnDeviceMgrInitEvent, UTPS_EVENT_DEV_FPLOCK, nullptr)
            .join();
        DevCheckFPThread* thread = service->fpThread();
        QVERIFY(thread);
        thread->FPUnLock();
        QTRY_VERIFY(thread->isFinished());
        const QList<int> backlog{UTPS_EVENT_DEV_INIT_SUCCESS,       UTPS_EVENT_DEV_CHECK_PIN,
                                 UTPS_EVENT_DEV_DEVICE_INIT_FINISH, UTPS_EVENT_DEV_INIT_RESET,
                                 UTPS_EVENT_DEV_INIT_SUCCESS,       UTPS_EVENT_DEV_CHECK_PIN};
        for (int code : backlog)
            thread->Push(code);
        log.codes.clear();
        std::thread sdk(&CDeviceMgrService::OnDeviceMgrInitEvent, UTPS_EVENT_DEV_INIT_BEGIN,
                        nullptr);
        QTRY_COMPARE(log.codes, QList<int>{backlog.first()}); // now in its first pause

        QElapsedTimer clock;
        clock.start();
        thread->Pop(UTPS_EVENT_DEV_CHECK_PIN);
        const qint64 popMs = clock.elapsed();
        QTRY_COMPARE(log.codes.size(), 2);
        CDeviceMgrService::Destroy();
        const qint64 teardownMs = clock.elapsed();
        sdk.join();
        QVERIFY2(popMs < 250, qPrintable(QString::number(popMs)));
        QCOMPARE(log.codes.last(), UTPS_EVENT_DEV_DEVICE_INIT_FINISH); // the popped one skipped
        // Two pauses of 500 ms remained; the teardown itself takes some 100 ms.
        QVERIFY2(teardownMs < 1500, qPrintable(QString::number(teardownMs)));
    }

    // The fingerprint thread caught in a delivery for longer than the
    // service's wait for it to stop: the service is not destroyed under it.
    void serviceOutlivesADeliveryUnderWay()
    {
        CDeviceMgrService* service = m_host->startService();
        std::atomic<bool> delivering{false};
        std::atomic<bool> delivered{false};
        connect(
            service, &CDeviceMgrService::signalDeviceMgrInitEventHandler, this,
            [&](qint32) {
                if (QThread::currentThread() == thread())
                    return;
                delivering = true;
                QThread::msleep(9000); // beyond the 5 s + 3 s the service waits
                delivered = true;
            },
            Qt::DirectConnection);
        std::thread(&CDeviceMgrService::OnDeviceMgrInitEvent, UTPS_EVENT_DEV_FPLOCK, nullptr)
            .join();
        QTRY_VERIFY(delivering.load());
        CDeviceMgrService::Destroy(); // the service is gone when it returns
        QVERIFY(delivered.load());
    }
};

QTEST_MAIN(TestFingerprint)
#include "tst_fingerprint.moc"
