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
#include <QRegularExpression>
#include <QTest>
#include <QVBoxLayout>

#include <algorithm>
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
    void cardLockedBeforeFrameGetsPromptAtFrameShown();
    void relockRestartsTheFinishedThread();
    void laterInitEventFlushesWhatAStoppedThreadHeld();
    void deviceGoneClosesPromptAndReleasesThread();
    void threadLeavesWithoutDeliveringTheRest_data();
    void threadLeavesWithoutDeliveringTheRest();
    void threadEndsWhenUnlockedAndDrained();
    void popRemovesOnlyTheFirstEqualCode();
    void sendAllNotifiesHoldsTheQueue();
    void sendAllNotifiesDropsEventsWhenShuttingDown();

private:
    // Starts the service with the main frame up, plugs a fingerprint card
    // and waits for its prompt; null when no prompt came.
    CDeviceMgrService* plugLockedCardWithFrameUp();

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

CDeviceMgrService* TestFingerprint::plugLockedCardWithFrameUp()
{
    const int index = m_host->card().addCard(fingerprintCard(false));
    CDeviceMgrService* service = m_host->startService();
    m_host->frameShown();
    m_host->card().plug(index);
    return QTest::qWaitFor([service] { return service->fpDialog() != nullptr; }) ? service
                                                                                 : nullptr;
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
    CDeviceMgrService* service = plugLockedCardWithFrameUp();
    QVERIFY(service);
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
    // The SDK's name of each sensor state is the key's name: a shifted or
    // misspelt entry shows the user the wrong advice.
#define SENSOR_STATE(name)                                                                         \
    QTest::newRow(#name) << uint(VERIFYIND_##name) << QStringLiteral("IDS_GUIMSG_" #name)
    SENSOR_STATE(GOOD_IMAGE);
    SENSOR_STATE(NO_FINGER);
    SENSOR_STATE(TOO_LIGHT);
    SENSOR_STATE(TOO_DRY);
    SENSOR_STATE(TOO_DARK);
    SENSOR_STATE(TOO_HIGH);
    SENSOR_STATE(TOO_LOW);
    SENSOR_STATE(TOO_LEFT);
    SENSOR_STATE(TOO_RIGHT);
    SENSOR_STATE(TOO_SMALL);
    SENSOR_STATE(TOO_STRANGE);
    SENSOR_STATE(BAD_QUALITY);
    SENSOR_STATE(PUT_FINGER);
    SENSOR_STATE(PUT_FINGER2);
    SENSOR_STATE(PUT_FINGER3);
    SENSOR_STATE(REMOVE_FINGER);
    SENSOR_STATE(CONSOLIDATION_FAIL);
    SENSOR_STATE(CONSOLIDATION_SUCCEED);
    SENSOR_STATE(CLEAN_SENSOR);
    SENSOR_STATE(KEEP_FINGER);
    SENSOR_STATE(START);
    SENSOR_STATE(VERIFY_START);
    SENSOR_STATE(ENROLL_START);
    SENSOR_STATE(FINGER_DETECT_START);
    SENSOR_STATE(GUI_FINISH);
    SENSOR_STATE(GUI_FINISH_SUCCEED);
    SENSOR_STATE(GUI_FINISH_FAIL);
    SENSOR_STATE(CALIB_START);
    SENSOR_STATE(TOO_FAST);
    SENSOR_STATE(TOO_SKEWED);
    SENSOR_STATE(TOO_SHORT);
    SENSOR_STATE(TOUCH_SENSOR);
    SENSOR_STATE(PROCESSING_IMAGE);
    SENSOR_STATE(SWIPE_IN_PROGRESS);
    SENSOR_STATE(BACKWARD_MOVEMENT);
    SENSOR_STATE(JOINT_DETECTED);
    SENSOR_STATE(CENTER_AND_PRESS_HARDER);
    SENSOR_STATE(IMAGE_PROCESSED);
    SENSOR_STATE(PUT_FINGER4);
    SENSOR_STATE(PUT_FINGER5);
    SENSOR_STATE(ENROLL_PROGRESS);
    SENSOR_STATE(NO_MATCH);
#undef SENSOR_STATE
    // Anything the SDK does not name shows the standing prompt; the state is
    // compared unsigned, so large values do not wrap onto a named one.
    QTest::newRow("41 unknown") << 41u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("254 unknown") << 254u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("256 unknown, not 0") << 256u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("267 unknown, not 11") << 267u << "IDS_FPLOCK_PROMPT";
    QTest::newRow("511 unknown, not 255") << 511u << "IDS_FPLOCK_PROMPT";
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
    QVERIFY(dialog->findChild<QVBoxLayout*>(QStringLiteral("DeviceMgrUI_fplayoutVBox")));
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

void TestFingerprint::cardLockedBeforeFrameGetsPromptAtFrameShown()
{
    // Plugged (and locked) before the main window is up: its whole start-up,
    // check-PIN included, arrives before the frame does.
    sim::CardConfig config = fingerprintCard(true);
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
    QCOMPARE(log.codes(), (QList<int>{UTPS_EVENT_DEV_INIT_BEGIN, UTPS_EVENT_DEV_FPLOCK}));
    QVERIFY(service->fpLockPending());
    QVERIFY(!service->fpDialog());

    m_host->frameShown();
    QVERIFY(service->fpDialog());
    QVERIFY(service->fpDialog()->isVisible());
    QCOMPARE(promptText(service), QStringLiteral("IDS_FPLOCK_PROMPT"));
    // Main-frame initialisation waits for the unlock.
    QVERIFY(m_host->records(QStringLiteral("subscribe")).isEmpty());
    QVERIFY(!service->verifyPinDialog());

    const qint64 touchedAt = log.now();
    m_host->card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
    QTRY_VERIFY(service->fpDialog() == nullptr);
    QVERIFY(!service->fpLockPending());
    QVERIFY(!thread->isLocked());
    // It runs at the good touch, PIN check included, which makes the
    // check-PIN event still held back redundant.
    QVERIFY(!m_host->records(QStringLiteral("subscribe")).isEmpty());
    QVERIFY(service->verifyPinDialog());
    const std::vector<int> left = thread->queuedEvents();
    QVERIFY(std::find(left.begin(), left.end(), int(UTPS_EVENT_DEV_CHECK_PIN)) == left.end());

    // The rest follows one per second, the first a second after the touch.
    const QList<int> expected{UTPS_EVENT_DEV_INIT_BEGIN, UTPS_EVENT_DEV_FPLOCK,
                              UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_DEVICE_INIT_FINISH};
    QTRY_COMPARE_WITH_TIMEOUT(log.codes(), expected, 5000);
    const QList<InitEventLog::Delivery> all = log.deliveries();
    QVERIFY2(all[2].ms - touchedAt >= 900, qPrintable(QString::number(all[2].ms - touchedAt)));
    QVERIFY2(all[3].ms - all[2].ms >= 900, qPrintable(QString::number(all[3].ms - all[2].ms)));
    QTRY_VERIFY(thread->isFinished());
}

void TestFingerprint::relockRestartsTheFinishedThread()
{
    const int index = m_host->card().addCard(fingerprintCard(false));
    CDeviceMgrService* service = m_host->startService();
    m_host->frameShown();
    QVERIFY(m_host->waitForEvents());
    // A first lock, released with nothing held behind it: the thread ends.
    m_host->card().raiseEvent(UTPS_EVENT_DEV_FPLOCK, std::nullopt);
    QTRY_VERIFY(service->fpDialog() != nullptr);
    DevCheckFPThread* thread = service->fpThread();
    QVERIFY(thread);
    service->FPLockOnDialogClose();
    QTRY_VERIFY_WITH_TIMEOUT(thread->isFinished(), 3000);

    // The finished thread is started again, and holds back again.
    InitEventLog log(service);
    m_host->card().plug(index);
    QTRY_VERIFY(service->fpDialog() != nullptr);
    QCOMPARE(service->fpThread(), thread);
    QVERIFY(thread->isRunning());
    QVERIFY(thread->isLocked());
    QTRY_VERIFY(!thread->queuedEvents().empty());
    QCOMPARE(thread->queuedEvents().front(), int(UTPS_EVENT_DEV_INIT_SUCCESS));
    QCOMPARE(log.codes(), (QList<int>{UTPS_EVENT_DEV_INIT_BEGIN, UTPS_EVENT_DEV_FPLOCK}));
}

void TestFingerprint::laterInitEventFlushesWhatAStoppedThreadHeld()
{
    m_host->card().addCard({});
    CDeviceMgrService* service = m_host->startService();
    QVERIFY(m_host->waitForEvents());
    m_host->card().raiseEvent(UTPS_EVENT_DEV_FPLOCK, std::nullopt);
    m_host->card().raiseEvent(UTPS_EVENT_DEV_INIT_SUCCESS, std::nullopt);
    m_host->card().raiseEvent(UTPS_EVENT_DEV_DEVICE_INIT_FINISH, std::nullopt);
    QVERIFY(m_host->card().waitIdle());
    DevCheckFPThread* thread = service->fpThread();
    QVERIFY(thread);
    // The thread delivered the lock event and waits for the finger (a stop
    // request before that would be cleared by the thread's start).
    QTRY_VERIFY(service->fpLockPending());
    // Told to stop while it waits: it leaves with the two events still
    // queued.
    emit thread->ThreadFinished();
    QTRY_VERIFY_WITH_TIMEOUT(thread->isFinished(), 3000);
    QCOMPARE(thread->queuedEvents().size(), size_t(2));

    // The next init event hands those on first, half a second apart.
    InitEventLog log(service);
    m_host->card().raiseEvent(UTPS_EVENT_DEV_INIT_RESET, std::nullopt);
    QVERIFY(m_host->card().waitIdle());
    QCOMPARE(log.codes(),
             (QList<int>{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_DEVICE_INIT_FINISH,
                         UTPS_EVENT_DEV_INIT_RESET}));
    const QList<InitEventLog::Delivery> all = log.deliveries();
    QVERIFY2(all[1].ms - all[0].ms >= 450, qPrintable(QString::number(all[1].ms - all[0].ms)));
    QVERIFY(thread->queuedEvents().empty());
    QVERIFY(!thread->isRunning());
}

void TestFingerprint::deviceGoneClosesPromptAndReleasesThread()
{
    CDeviceMgrService* service = plugLockedCardWithFrameUp();
    QVERIFY(service);
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
    if (how == QLatin1String("stop")) {
        QVERIFY(trace.lines().contains(QStringLiteral("DevCheckFPThread::Stop() Entered")));
        QVERIFY(trace.lines().contains(QStringLiteral("DevCheckFPThread::Stop() Exit")));
    }
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
    TraceCapture trace;
    thread.Push(UTPS_EVENT_DEV_CHECK_PIN);
    thread.Push(UTPS_EVENT_DEV_INIT_SUCCESS);
    thread.Push(UTPS_EVENT_DEV_CHECK_PIN);

    thread.Pop(UTPS_EVENT_DEV_CHECK_PIN);
    QCOMPARE(thread.queuedEvents(),
             (std::vector<int>{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN}));
    thread.Pop(UTPS_EVENT_DEV_DEVICE_NO_PIN); // not queued: nothing changes
    QCOMPARE(thread.queuedEvents().size(), size_t(2));
    // Both name the code first, before time, file and function.
    const QRegularExpression popLine(QStringLiteral(
        "^6012 \\d\\d:\\d\\d:\\d\\d:\\d{3}: "
        "\\.\\./\\.\\./src/DeviceMgrUIPlugin/DeviceMgrService\\.cpp: Pop: Entered$"));
    QCOMPARE(trace.lines().filter(popLine).size(), 1);
    QCOMPARE(
        trace.lines().filter(QRegularExpression(QStringLiteral("^6011 .*: Push: Entered$"))).size(),
        2);
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
