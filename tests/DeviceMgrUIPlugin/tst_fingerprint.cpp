// The fingerprint lock: the thread that holds back a locked card's init
// events and the prompt that follows the sensor until a good touch.
#include "DevCheckFPThread.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <Change.h>
#include <CommonUtils.h>
#include <ExtendDialog.h>

#include <QElapsedTimer>
#include <QLabel>
#include <QMutex>
#include <QPointer>
#include <QTest>

#include <memory>
#include <thread>

namespace {

// Every init event the service re-emits, with the time it was emitted.
// Connected directly: emissions come from the SDK's and the fingerprint
// thread, and the time that matters is the emission's, not the GUI's. The
// state is shared with the connection so that a late emission never reaches
// a log that is gone.
class InitEventLog
{
public:
    struct Delivery
    {
        int code;
        qint64 ms;
    };

    explicit InitEventLog(CDeviceMgrService* service) : m_state(std::make_shared<State>())
    {
        m_state->clock.start();
        std::shared_ptr<State> state = m_state;
        m_connection = QObject::connect(
            service, &CDeviceMgrService::signalDeviceMgrInitEventHandler, service,
            [state](qint32 code) {
                QMutexLocker lock(&state->mutex);
                state->deliveries.append({code, state->clock.elapsed()});
            },
            Qt::DirectConnection);
    }
    ~InitEventLog() { QObject::disconnect(m_connection); }

    QList<Delivery> deliveries() const
    {
        QMutexLocker lock(&m_state->mutex);
        return m_state->deliveries;
    }
    QList<int> codes() const
    {
        QList<int> result;
        for (const Delivery& delivery : deliveries())
            result.append(delivery.code);
        return result;
    }
    qint64 now() const { return m_state->clock.elapsed(); }

private:
    struct State
    {
        QMutex mutex;
        QList<Delivery> deliveries;
        QElapsedTimer clock;
    };
    std::shared_ptr<State> m_state;
    QMetaObject::Connection m_connection;
};

// The init events the card raised, in the order the SDK delivered them.
class RaisedEvents
{
public:
    explicit RaisedEvents(sim::VirtualCard& card) : m_card(card), m_state(std::make_shared<State>())
    {
        std::shared_ptr<State> state = m_state;
        card.setEventObserver([state](int code) {
            QMutexLocker lock(&state->mutex);
            state->codes.append(code);
        });
    }
    ~RaisedEvents() { m_card.setEventObserver({}); }

    QList<int> initCodesAfter(int code) const
    {
        QMutexLocker lock(&m_state->mutex);
        const QList<int>& codes = m_state->codes;
        const int from = codes.indexOf(code);
        QList<int> result;
        for (int i = from + 1; from >= 0 && i < codes.size(); ++i) {
            if (codes[i] >= UTPS_EVENT_DEV_INIT_BEGIN && codes[i] <= UTPS_EVENT_DEV_FPLOCK)
                result.append(codes[i]);
        }
        return result;
    }

private:
    struct State
    {
        QMutex mutex;
        QList<int> codes;
    };
    sim::VirtualCard& m_card;
    std::shared_ptr<State> m_state;
};

QLabel* promptLabel(CDeviceMgrService* service)
{
    ExtendDialog* dialog = service->fpDialog();
    return dialog ? dialog->findChild<QLabel*>(QStringLiteral("DeviceMgrUI_fplabelInfoLabel"))
                  : nullptr;
}

QString promptText(CDeviceMgrService* service)
{
    QLabel* label = promptLabel(service);
    return label ? label->text() : QStringLiteral("<no prompt>");
}

sim::CardConfig fingerprintCard(bool plugged)
{
    sim::CardConfig config;
    config.name = "FP Card";
    config.fingerprint = true;
    config.plugged = plugged;
    return config;
}

} // namespace

class TestFingerprint : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void lockHoldsBackInitEventsUntilGoodTouch();
    void promptFollowsSensorForOneSecond();
    void changePromptTable_data();
    void changePromptTable();
    void promptIsBuiltOnceAtFrameLaunch();
    void goodTouchWithoutPromptChangesNothing();
    void goodTouchRunsDeferredFrameInitialisation();
    void deviceGoneClosesPromptAndReleasesThread();
    void threadLeavesWithoutDeliveringTheRest_data();
    void threadLeavesWithoutDeliveringTheRest();
    void threadEndsWhenUnlockedAndDrained();
    void popRemovesOnlyTheFirstEqualCode();
    void sendAllNotifiesHoldsTheQueue();
    void sendAllNotifiesDropsEventsWhenShuttingDown();

private:
    std::unique_ptr<HostFixture> m_host;
};

void TestFingerprint::init()
{
    m_host = std::make_unique<HostFixture>();
    QVERIFY(Change::SetLanguage(QStringLiteral("keys")));
}

void TestFingerprint::cleanup()
{
    m_host.reset();
}

void TestFingerprint::lockHoldsBackInitEventsUntilGoodTouch()
{
    const int index = m_host->card().addCard(fingerprintCard(false));
    CDeviceMgrService* service = m_host->startService();
    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    InitEventLog log(service);
    RaisedEvents raised(m_host->card());

    m_host->card().plug(index);
    QTRY_VERIFY(log.codes().contains(UTPS_EVENT_DEV_FPLOCK));
    QTRY_VERIFY(service->fpDialog() != nullptr);
    DevCheckFPThread* thread = service->fpThread();
    QVERIFY(thread);

    // The card's own init events wait behind the lock, and so does one more.
    m_host->card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
    QTRY_VERIFY(!thread->queuedEvents().empty() &&
                thread->queuedEvents().back() == UTPS_EVENT_DEV_INIT_BEGIN);
    QCOMPARE(thread->queuedEvents().front(), int(UTPS_EVENT_DEV_INIT_SUCCESS));
    QTest::qWait(1300); // longer than the thread's pace: a leak would show
    QCOMPARE(log.codes().mid(log.codes().indexOf(UTPS_EVENT_DEV_FPLOCK) + 1), QList<int>());

    const qint64 touchedAt = log.now();
    m_host->card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
    QTRY_VERIFY(service->fpDialog() == nullptr);
    QVERIFY(!thread->isLocked());

    const QList<int> expected = raised.initCodesAfter(UTPS_EVENT_DEV_FPLOCK);
    QCOMPARE(expected.first(), int(UTPS_EVENT_DEV_INIT_SUCCESS));
    QCOMPARE(expected.last(), int(UTPS_EVENT_DEV_INIT_BEGIN));
    QVERIFY(expected.size() >= 3);
    const int lockAt = log.codes().indexOf(UTPS_EVENT_DEV_FPLOCK);
    QTRY_COMPARE_WITH_TIMEOUT(log.codes().size() - lockAt - 1, expected.size(),
                              1500 * int(expected.size()) + 2000);
    const QList<InitEventLog::Delivery> all = log.deliveries();
    const QList<InitEventLog::Delivery> released = all.mid(lockAt + 1);
    QList<int> releasedCodes;
    for (const InitEventLog::Delivery& delivery : released)
        releasedCodes.append(delivery.code);
    QCOMPARE(releasedCodes, expected);

    // One per second, the first a second after the unlock.
    QVERIFY2(released.first().ms - touchedAt >= 900,
             qPrintable(QString::number(released.first().ms - touchedAt)));
    for (int i = 1; i < released.size(); ++i) {
        const qint64 gap = released[i].ms - released[i - 1].ms;
        QVERIFY2(gap >= 900, qPrintable(QStringLiteral("gap %1 before #%2").arg(gap).arg(i)));
    }
    // Frame initialisation was not pending, so the good touch did not run it.
    QVERIFY(m_host->records(QStringLiteral("subscribe")).isEmpty());
    QTRY_VERIFY(thread->isFinished());
}

void TestFingerprint::promptFollowsSensorForOneSecond()
{
    const int index = m_host->card().addCard(fingerprintCard(false));
    CDeviceMgrService* service = m_host->startService();
    m_host->frameShown();
    m_host->card().plug(index);
    QTRY_VERIFY(service->fpDialog() != nullptr);
    QTRY_COMPARE(promptText(service), QStringLiteral("IDS_FPLOCK_PROMPT"));

    m_host->card().touchFingerprint(VERIFYIND_NO_MATCH);
    QTRY_COMPARE(promptText(service), QStringLiteral("IDS_GUIMSG_NO_MATCH"));
    QElapsedTimer shown;
    shown.start();
    QTRY_COMPARE_WITH_TIMEOUT(promptText(service), QStringLiteral("IDS_FPLOCK_PROMPT"), 3000);
    QVERIFY2(shown.elapsed() >= 800, qPrintable(QString::number(shown.elapsed())));
    QVERIFY2(shown.elapsed() <= 2000, qPrintable(QString::number(shown.elapsed())));

    // An unknown state brings the standing prompt back at once, well before
    // the one-second timer of the previous message could.
    m_host->card().touchFingerprint(VERIFYIND_NO_FINGER);
    QTRY_COMPARE(promptText(service), QStringLiteral("IDS_GUIMSG_NO_FINGER"));
    m_host->card().touchFingerprint(300);
    QTRY_COMPARE_WITH_TIMEOUT(promptText(service), QStringLiteral("IDS_FPLOCK_PROMPT"), 800);
    QCOMPARE(service->fpVerifyWord(), 300u);
    // Feedback does not release the card.
    QVERIFY(service->fpDialog() != nullptr);
    QVERIFY(service->fpThread()->isLocked());
}

void TestFingerprint::changePromptTable_data()
{
    QTest::addColumn<uint>("state");
    QTest::addColumn<QString>("key");
    QTest::newRow("0 good image") << 0u << "IDS_GUIMSG_GOOD_IMAGE";
    QTest::newRow("1 no finger") << 1u << "IDS_GUIMSG_NO_FINGER";
    QTest::newRow("12 put finger") << 12u << "IDS_GUIMSG_PUT_FINGER";
    QTest::newRow("24 gui finish") << 24u << "IDS_GUIMSG_GUI_FINISH";
    QTest::newRow("39 put finger 5") << 39u << "IDS_GUIMSG_PUT_FINGER5";
    QTest::newRow("40 enroll progress") << 40u << "IDS_GUIMSG_ENROLL_PROGRESS";
    QTest::newRow("41 unknown") << 41u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("254 unknown") << 254u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("255 no match") << 255u << "IDS_GUIMSG_NO_MATCH";
    QTest::newRow("256 unknown, not 0") << 256u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("267 unknown, not 11") << 267u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("top bit set") << 0x80000001u << "IDS_FPLOCK_PROMPT";
}

void TestFingerprint::changePromptTable()
{
    QFETCH(uint, state);
    QFETCH(QString, key);
    CDeviceMgrService* service = m_host->startService();
    service->handleFPLockOnFramelaunchedEvent();
    QLabel* label = promptLabel(service);
    QVERIFY(label);
    label->setText(QStringLiteral("before"));

    service->ChangePrompt(static_cast<_UTPS_EN_VERIFYINDSTATE>(state));
    QCOMPARE(label->text(), key);
}

void TestFingerprint::promptIsBuiltOnceAtFrameLaunch()
{
    CDeviceMgrService* service = m_host->startService();
    service->handleFPLockOnFramelaunchedEvent();
    QPointer<ExtendDialog> dialog = service->fpDialog();
    QVERIFY(dialog);
    QCOMPARE(dialog->objectName(), QStringLiteral("DeviceMgrUI_fplockInfoDlg"));
    QCOMPARE(dialog->size(), QSize(310, 120));
    QCOMPARE(dialog->windowTitle(), QStringLiteral(" Prompt "));
    QVERIFY(dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    QCOMPARE(dialog->windowModality(), Qt::WindowModal);
    QVERIFY(dialog->isVisible());
    QLabel* label = promptLabel(service);
    QVERIFY(label);
    QCOMPARE(label->text(), QStringLiteral("IDS_FPLOCK_PROMPT"));
    QVERIFY(label->wordWrap());

    // A second frame launch keeps the prompt that is up.
    service->handleFPLockOnFramelaunchedEvent();
    QCOMPARE(service->fpDialog(), dialog.data());
    QCOMPARE(dialog->findChildren<QLabel*>().size(), 1);
}

void TestFingerprint::goodTouchWithoutPromptChangesNothing()
{
    // The card locks before the main frame is shown: no prompt yet.
    m_host->card().addCard(fingerprintCard(true));
    CDeviceMgrService* service = m_host->startService();
    QTRY_VERIFY(service->fpLockPending());
    QVERIFY(m_host->waitForEvents());
    DevCheckFPThread* thread = service->fpThread();
    QVERIFY(thread);
    QVERIFY(!service->fpDialog());

    m_host->card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(service->fpVerifyWord(), 0u);
    QVERIFY(!service->fpDialog());
    QVERIFY(service->fpLockPending());
    QVERIFY(thread->isLocked());
    // The card's resumed start-up stays held back behind the lock.
    QTRY_VERIFY(!thread->queuedEvents().empty());
    QCOMPARE(thread->queuedEvents().front(), int(UTPS_EVENT_DEV_INIT_SUCCESS));
    QVERIFY(m_host->records(QStringLiteral("subscribe")).isEmpty());
}

void TestFingerprint::goodTouchRunsDeferredFrameInitialisation()
{
    // A card that reports itself available while the lock event arrives:
    // the main frame then comes up with the lock pending.
    m_host->card().addCard({});
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    InitEventLog log(service);
    m_host->card().raiseEvent(UTPS_EVENT_DEV_FPLOCK, std::nullopt);
    QTRY_VERIFY(service->fpLockPending());
    DevCheckFPThread* thread = service->fpThread();
    QVERIFY(thread);
    m_host->card().raiseEvent(UTPS_EVENT_DEV_CHECK_PIN, std::nullopt);
    QTRY_COMPARE(thread->queuedEvents(), std::vector<int>{UTPS_EVENT_DEV_CHECK_PIN});

    m_host->frameShown();
    QTRY_VERIFY(service->fpDialog() != nullptr);
    QVERIFY(m_host->records(QStringLiteral("subscribe")).isEmpty());

    m_host->card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
    QTRY_VERIFY(service->fpDialog() == nullptr);
    // Frame initialisation ran now, and it made the check-PIN event that was
    // still held back redundant.
    QTRY_VERIFY(!m_host->records(QStringLiteral("subscribe")).isEmpty());
    QVERIFY(thread->queuedEvents().empty());
    QTRY_VERIFY(thread->isFinished());
    QCOMPARE(log.codes(), QList<int>{UTPS_EVENT_DEV_FPLOCK});
}

void TestFingerprint::deviceGoneClosesPromptAndReleasesThread()
{
    const int index = m_host->card().addCard(fingerprintCard(false));
    CDeviceMgrService* service = m_host->startService();
    m_host->frameShown();
    m_host->card().plug(index);
    QTRY_VERIFY(service->fpDialog() != nullptr);
    QPointer<ExtendDialog> dialog = service->fpDialog();
    DevCheckFPThread* thread = service->fpThread();
    QVERIFY(thread->isLocked());

    service->FPLockOnDialogClose();
    QVERIFY(!service->fpDialog());
    QVERIFY(!thread->isLocked());
    QTRY_VERIFY(dialog.isNull());
    QTRY_VERIFY(thread->isFinished());
    // Nothing left to close: a second call is harmless.
    service->FPLockOnDialogClose();
}

void TestFingerprint::threadLeavesWithoutDeliveringTheRest_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("Stop()") << "stop";
    QTest::newRow("thread's quit slot") << "thread quit";
    QTest::newRow("application quitting") << "service quit";
}

void TestFingerprint::threadLeavesWithoutDeliveringTheRest()
{
    QFETCH(QString, how);
    CDeviceMgrService* service = CDeviceMgrService::instance();
    InitEventLog log(service);
    TraceCapture trace;
    const int threadsBefore = CommonUtils::ThreadCount();

    auto thread = std::make_unique<DevCheckFPThread>();
    thread->FPLock();
    thread->Push(UTPS_EVENT_DEV_FPLOCK);
    thread->Push(UTPS_EVENT_DEV_INIT_SUCCESS);
    thread->Push(UTPS_EVENT_DEV_DEVICE_INIT_FINISH);
    thread->start();
    QTRY_COMPARE(log.codes(), QList<int>{UTPS_EVENT_DEV_FPLOCK});
    QCOMPARE(CommonUtils::ThreadCount(), threadsBefore + 1);

    if (how == QLatin1String("stop")) {
        thread->Stop();
    } else if (how == QLatin1String("thread quit")) {
        thread->appQuitStop();
    } else {
        service->appQuitStop();
    }
    QTRY_VERIFY_WITH_TIMEOUT(thread->isFinished(), 3000);
    QCOMPARE(log.codes(), QList<int>{UTPS_EVENT_DEV_FPLOCK});
    QCOMPARE(thread->queuedEvents(),
             (std::vector<int>{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_DEVICE_INIT_FINISH}));
    QCOMPARE(CommonUtils::ThreadCount(), threadsBefore);
    QVERIFY(trace.contains(QStringLiteral("Exit Device Check FP Thread")));
    if (how == QLatin1String("service quit"))
        QVERIFY(trace.contains(QStringLiteral("Events ignored: App Shutting down ")));
}

void TestFingerprint::threadEndsWhenUnlockedAndDrained()
{
    CDeviceMgrService* service = CDeviceMgrService::instance();
    InitEventLog log(service);
    TraceCapture trace;
    const int threadsBefore = CommonUtils::ThreadCount();
    DevCheckFPThread thread;
    thread.FPLock();
    thread.start();
    // Only the lock keeps an empty thread alive.
    QTest::qWait(300);
    QVERIFY(thread.isRunning());

    thread.Push(UTPS_EVENT_DEV_DEVICE_NO_PIN);
    QTRY_COMPARE(log.codes(), QList<int>{UTPS_EVENT_DEV_DEVICE_NO_PIN});
    thread.FPUnLock();
    QTRY_VERIFY_WITH_TIMEOUT(thread.isFinished(), 3000);
    QVERIFY(trace.contains(QStringLiteral("No Event to report, going to exit Check FP Thread...")));
    QCOMPARE(CommonUtils::ThreadCount(), threadsBefore);
}

void TestFingerprint::popRemovesOnlyTheFirstEqualCode()
{
    DevCheckFPThread thread;
    thread.Push(UTPS_EVENT_DEV_CHECK_PIN);
    thread.Push(UTPS_EVENT_DEV_INIT_SUCCESS);
    thread.Push(UTPS_EVENT_DEV_CHECK_PIN);

    thread.Pop(UTPS_EVENT_DEV_CHECK_PIN);
    QCOMPARE(thread.queuedEvents(),
             (std::vector<int>{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN}));
    thread.Pop(UTPS_EVENT_DEV_DEVICE_NO_PIN); // not queued: nothing changes
    QCOMPARE(thread.queuedEvents().size(), size_t(2));
    thread.ClearNotifyList();
    QVERIFY(thread.queuedEvents().empty());
}

void TestFingerprint::sendAllNotifiesHoldsTheQueue()
{
    CDeviceMgrService* service = CDeviceMgrService::instance();
    InitEventLog log(service);
    DevCheckFPThread thread;
    thread.Push(UTPS_EVENT_DEV_INIT_SUCCESS);
    thread.Push(UTPS_EVENT_DEV_DEVICE_INIT_FINISH);

    std::thread flusher([&thread] { thread.SendAllNotifies(); });
    QTRY_COMPARE(log.codes(), QList<int>{UTPS_EVENT_DEV_INIT_SUCCESS});
    // A push while the backlog drains waits for the flush to end instead of
    // slipping in between.
    thread.Push(UTPS_EVENT_DEV_DEVICE_NO_PIN);
    flusher.join();

    const QList<InitEventLog::Delivery> deliveries = log.deliveries();
    QCOMPARE(log.codes(),
             (QList<int>{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_DEVICE_INIT_FINISH}));
    QVERIFY2(deliveries[1].ms - deliveries[0].ms >= 450,
             qPrintable(QString::number(deliveries[1].ms - deliveries[0].ms)));
    QCOMPARE(thread.queuedEvents(), std::vector<int>{UTPS_EVENT_DEV_DEVICE_NO_PIN});
}

void TestFingerprint::sendAllNotifiesDropsEventsWhenShuttingDown()
{
    CDeviceMgrService* service = CDeviceMgrService::instance();
    InitEventLog log(service);
    TraceCapture trace;
    DevCheckFPThread thread;
    thread.Push(UTPS_EVENT_DEV_INIT_SUCCESS);
    CommonUtils::SetShutDownFlag();

    thread.SendAllNotifies();
    QVERIFY(log.codes().isEmpty());
    QVERIFY(trace.contains(QStringLiteral("Events ignored: App Shutting down ")));
}

QTEST_MAIN(TestFingerprint)
#include "tst_fingerprint.moc"
