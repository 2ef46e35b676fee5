// The service's lifecycle and its intake of SDK events: registration and its
// failures, the hop from the SDK's thread to the GUI thread, the payload
// words, shut-down and teardown.
#include "DevCheckFPThread.h"
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "DeviceMgrWin7Thread.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>
#include <ExtendDialog.h>

#include <QMetaMethod>
#include <QMutex>
#include <QPointer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>
#include <optional>
#include <vector>

using Payload = std::optional<std::vector<uint32_t>>;

namespace {

// How many connections a signal of `object` has (QObject::receivers is
// protected; a pointer to it taken in a derived class may be called on any
// QObject).
struct ReceiverCount : QObject
{
    static int of(const QObject* object, const char* signal)
    {
        auto receivers = &ReceiverCount::receivers;
        return (object->*receivers)(signal);
    }
};

// The internal connections Init makes, as signal signature texts.
const char* const kInternalSignals[] = {
    SIGNAL(signalDeviceMgrInitEventHandler(qint32)),
    SIGNAL(signalDeviceMgrEventHandler(qint32)),
    SIGNAL(signalRFSwitch(uint, uint)),
    SIGNAL(signalUpdateChooseDevice()),
    SIGNAL(signalFplockOnmainframelaunched()),
    SIGNAL(signalSIMframelaunched()),
};

// Trace lines with the thread that wrote them.
class ThreadTrace
{
public:
    struct Line
    {
        QString text;
        bool onGuiThread;
    };

    ThreadTrace()
    {
        s_self = this;
        m_previous = qInstallMessageHandler(&ThreadTrace::handle);
    }
    ~ThreadTrace()
    {
        qInstallMessageHandler(m_previous);
        s_self = nullptr;
    }
    QList<Line> matching(const QString& text) const
    {
        QMutexLocker lock(&m_mutex);
        QList<Line> found;
        for (const Line& line : m_lines) {
            if (line.text.contains(text))
                found.append(line);
        }
        return found;
    }

private:
    static void handle(QtMsgType, const QMessageLogContext&, const QString& text)
    {
        const bool gui = QThread::currentThread() == QCoreApplication::instance()->thread();
        QMutexLocker lock(&s_self->m_mutex);
        s_self->m_lines.append({text, gui});
    }

    static inline ThreadTrace* s_self = nullptr;
    QtMessageHandler m_previous = nullptr;
    mutable QMutex m_mutex;
    QList<Line> m_lines;
};

} // namespace

// Receives the service's signals the way its own slots do (automatic
// connection, so queued from the SDK's thread) and notes what arrived where.
class Recorder : public QObject
{
    Q_OBJECT
public:
    QList<int> events;
    QList<QPair<uint, uint>> rfSwitches;
    QList<int> powerEvents;
    int offGuiThread = 0;

public slots:
    void onEvent(qint32 event)
    {
        noteThread();
        events.append(event);
    }
    void onRFSwitch(uint hwstate, uint swstate)
    {
        noteThread();
        rfSwitches.append({hwstate, swstate});
    }
    void onPower(int event)
    {
        noteThread();
        powerEvents.append(event);
    }

private:
    void noteThread()
    {
        if (QThread::currentThread() != QCoreApplication::instance()->thread())
            ++offGuiThread;
    }
};

class TestDeviceMgrService : public QObject
{
    Q_OBJECT

private slots:
    void signalAndSlotTexts_data();
    void signalAndSlotTexts();
    void initRegistrations_data();
    void initRegistrations();
    void initTwiceConnectsOnce();
    void eventsReachGuiThreadInOrder();
    void deviceListRefreshedBeforeSignal_data();
    void deviceListRefreshedBeforeSignal();
    void rfSwitchWordOrder_data();
    void rfSwitchWordOrder();
    void payloadWords_data();
    void payloadWords();
    void chooserRepopulatedOnListEvents_data();
    void chooserRepopulatedOnListEvents();
    void pinStateChangeQueuedFromAnotherThread();
    void eventsDroppedAfterAboutToQuit();
    void fingerprintLockHoldsInitEvents();
    void showWindowKeepsParent();
    void destroyTwice();
    void instanceAfterDestroyIsFresh();
    void lateCallbackAfterDestroy();
    void freshAccessLayerAfterDestroy();
    void releaseDataFreesOwnedObjects();
    void freshWwanThreadAfterDestroy_data();
    void freshWwanThreadAfterDestroy();
};

static QStringList sdkCalls(const sim::VirtualCard& card, const QString& prefix)
{
    QStringList calls;
    for (const sim::CallRecord& record : card.callLog()) {
        const QString function = QString::fromStdString(record.function);
        if (function.startsWith(prefix))
            calls.append(function);
    }
    return calls;
}

void TestDeviceMgrService::signalAndSlotTexts_data()
{
    QTest::addColumn<QMetaMethod::MethodType>("type");
    QTest::addColumn<QStringList>("texts");

    // Hosts and sibling plug-ins connect by these texts.
    QTest::newRow("signals") << QMetaMethod::Signal
                             << QStringList{"signalDeviceMgrInitEventHandler(qint32)",
                                            "signalDeviceMgrEventHandler(qint32)",
                                            "signalAboutToClose()",
                                            "signalRFSwitch(uint,uint)",
                                            "signalUpdateChooseDevice()",
                                            "PowerMgrEvent(int)",
                                            "signalFplockOnmainframelaunched()",
                                            "signalSIMframelaunched()"};
    QTest::newRow("slots") << QMetaMethod::Slot
                           << QStringList{"appQuitStop()",
                                          "onTextEdited(QString)",
                                          "onVerifyPINOkButtonClicked()",
                                          "onPINOkButtonClicked()",
                                          "onPUKOkButtonClicked()",
                                          "onModOkButtonClicked()",
                                          "deviceMgrInitEventHandler(qint32)",
                                          "deviceMgrEventHandler(qint32)",
                                          "onCancelButtonClicked()",
                                          "releaseData()",
                                          "onTimerOut()",
                                          "onFPTimerOut()",
                                          "handleFPLockOnFramelaunchedEvent()",
                                          "handleSIMOnFramelaunchedEvent()",
                                          "onCloseDialog(QCloseEvent*)",
                                          "OnPowerMgr(int)",
                                          "showVerifyPinContextMenu(QPoint)",
                                          "showPinContextMenu(QPoint)",
                                          "showCurrPinContextMenu(QPoint)",
                                          "showNewPinContextMenu(QPoint)",
                                          "showConfirmPinContextMenu(QPoint)",
                                          "showPUKContextMenu(QPoint)",
                                          "showPINPUKContextMenu(QPoint)",
                                          "showConfirmPUKContextMenu(QPoint)",
                                          "onDeviceInitFinishHandler()",
                                          "onPinStateChanged(E_DEVMGR_PIN_STATE)",
                                          "onSignalRFSwitch(uint,uint)",
                                          "onUpdateChooseDevice()"};
}

void TestDeviceMgrService::signalAndSlotTexts()
{
    QFETCH(QMetaMethod::MethodType, type);
    QFETCH(QStringList, texts);

    const QMetaObject& meta = CDeviceMgrService::staticMetaObject;
    QStringList declared;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == type)
            declared.append(QString::fromLatin1(method.methodSignature()));
    }
    // The meta-object records qint32 by its underlying type; a string
    // connection that names qint32 matches it by type all the same.
    QStringList expected;
    for (const QString& text : texts) {
        QString normalized =
            QString::fromLatin1(QMetaObject::normalizedSignature(qPrintable(text)));
        expected.append(normalized.replace(QLatin1String("qint32"), QLatin1String("int")));
    }
    QCOMPARE(declared, expected);

    if (type == QMetaMethod::Signal) {
        const QMetaMethod rfSwitch = meta.method(meta.indexOfSignal("signalRFSwitch(uint,uint)"));
        QCOMPARE(rfSwitch.parameterNames(), (QList<QByteArray>{"hwstate", "swstate"}));
    }
}

void TestDeviceMgrService::initRegistrations_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("registrations");
    QTest::addColumn<bool>("connected");

    const QStringList all = {"UTPS_DevSrv_RegisterDevInitEventCallback",
                             "UTPS_DevSrv_RegisterDevMgrCallback",
                             "UTPS_DevSrv_RegisterMultiDeviceEventCallback"};
    QTest::newRow("all succeed") << QString() << 1 << all << true;
    QTest::newRow("init callback fails") << all[0] << 0 << QStringList{all[0]} << false;
    QTest::newRow("device-manager callback fails") << all[1] << 0 << all << true;
    QTest::newRow("multi-device callback fails") << all[2] << 0 << all << true;
}

void TestDeviceMgrService::initRegistrations()
{
    QFETCH(QString, failing);
    QFETCH(int, result);
    QFETCH(QStringList, registrations);
    QFETCH(bool, connected);

    HostFixture host;
    if (!failing.isEmpty())
        host.card().setFault(failing.toStdString(), 1, 1);
    TraceCapture trace;
    CDeviceMgrService* service = CDeviceMgrService::instance();
    QCOMPARE(service->Init(), result);

    QCOMPARE(sdkCalls(host.card(), "UTPS_DevSrv_Register"), registrations);
    if (!failing.isEmpty()) {
        // A start-up failure: file and function only, on the warning channel.
        const QString line =
            "../../src/DeviceMgrUIPlugin/DeviceMgrService.cpp: Init: " + failing + " failed";
        QCOMPARE(trace.warnings(), QStringList{line});
    } else {
        QVERIFY(trace.matching(" failed").isEmpty());
    }

    for (const char* signal : kInternalSignals)
        QVERIFY2((ReceiverCount::of(service, signal) > 0) == connected, signal);

    // An init event and a device-manager event as the host would see them.
    emit service->signalDeviceMgrInitEventHandler(UTPS_EVENT_DEV_SIM_INVALID);
    QCoreApplication::processEvents();
    QCOMPARE(service->validSim(), !connected);

    // Whatever failed, the access layer was set up before the registrations.
    QVERIFY(service->uiLogic());
}

void TestDeviceMgrService::initTwiceConnectsOnce()
{
    HostFixture host;
    CDeviceMgrService* service = CDeviceMgrService::instance();
    QCOMPARE(service->Init(), 1);
    QCOMPARE(service->Init(), 1);
    // Otherwise every event would be handled twice.
    for (const char* signal : kInternalSignals)
        QVERIFY2(ReceiverCount::of(service, signal) == 1, signal);
    QCOMPARE(ReceiverCount::of(service->uiLogic(), SIGNAL(PinStateChanged(E_DEVMGR_PIN_STATE))), 1);
}

void TestDeviceMgrService::eventsReachGuiThreadInOrder()
{
    HostFixture host;
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    Recorder initEvents;
    Recorder managerEvents;
    connect(service, SIGNAL(signalDeviceMgrInitEventHandler(qint32)), &initEvents,
            SLOT(onEvent(qint32)));
    connect(service, SIGNAL(signalDeviceMgrEventHandler(qint32)), &managerEvents,
            SLOT(onEvent(qint32)));
    ThreadTrace trace;

    // Codes no handler knows, so nothing but the intake reacts to them.
    QList<int> sent;
    for (int i = 0; i < 50; ++i) {
        const int code = 7000 + i;
        host.card().raiseEvent(code, std::nullopt);
        sent.append(code);
    }
    host.card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
    QVERIFY(host.waitForEvents());

    QCOMPARE(managerEvents.events, sent);
    QCOMPARE(managerEvents.offGuiThread, 0);
    QCOMPARE(initEvents.events, QList<int>{UTPS_EVENT_DEV_INIT_BEGIN});
    QCOMPARE(initEvents.offGuiThread, 0);
    // The init event was forwarded before any frame was shown.
    QVERIFY(service->initialising());

    const auto callbackLines = trace.matching("OnDevMgrEventsCB : called event = 70");
    QCOMPARE(callbackLines.size(), sent.size());
    for (const auto& line : callbackLines)
        QVERIFY2(!line.onGuiThread, qPrintable(line.text));
    const auto slotLines = trace.matching("deviceMgrEventHandler : ,Unknown event occured");
    QCOMPARE(slotLines.size(), sent.size());
    for (const auto& line : slotLines)
        QVERIFY2(line.onGuiThread, qPrintable(line.text));
}

void TestDeviceMgrService::deviceListRefreshedBeforeSignal_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("detected") << UTPS_EVENT_DEV_DETECTED;
    QTest::newRow("list update") << UTPS_EVENT_DEV_LIST_UPDATE;
    QTest::newRow("reject") << UTPS_EVENT_DEV_REJECT;
    QTest::newRow("active: no refresh") << UTPS_EVENT_DEV_ACTIVE;
}

void TestDeviceMgrService::deviceListRefreshedBeforeSignal()
{
    QFETCH(int, code);
    const bool carriesList = code != UTPS_EVENT_DEV_ACTIVE;

    HostFixture host;
    sim::CardConfig first;
    first.name = "Card One";
    sim::CardConfig second;
    second.name = "Card Two";
    host.card().addCard(first);
    host.card().addCard(second);
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    DeviceMgrUILogic* logic = service->uiLogic();
    QVERIFY(logic);
    logic->ClearDeviceInfo();

    // Runs on the SDK's thread at the moment the signal is emitted.
    int devicesAtSignal = -1;
    QStringList namesAtSignal;
    connect(
        service, &CDeviceMgrService::signalDeviceMgrEventHandler, service,
        [&](qint32 event) {
            if (event != code)
                return;
            const _UTPS_ST_MULTI_DEVICE_INFO& list = logic->StoredDeviceInfo();
            devicesAtSignal = list.nDevNum;
            for (int i = 0; i < list.nDevNum && i < MAX_DEVICE_COUNT; ++i)
                namesAtSignal.append(QString::fromLatin1(list.stDevInfo[i].szDeviceName));
        },
        Qt::DirectConnection);
    std::atomic<int> chooserUpdates{0};
    connect(
        service, &CDeviceMgrService::signalUpdateChooseDevice, service,
        [&chooserUpdates] { ++chooserUpdates; }, Qt::DirectConnection);

    host.card().raiseDeviceListEvent(code);
    QVERIFY(host.waitForEvents());

    if (carriesList) {
        QCOMPARE(devicesAtSignal, 2);
        QCOMPARE(namesAtSignal, (QStringList{"Card One", "Card Two"}));
        QCOMPARE(chooserUpdates.load(), 1);
    } else {
        QCOMPARE(devicesAtSignal, 0);
        QCOMPARE(chooserUpdates.load(), 0);
    }
}

void TestDeviceMgrService::rfSwitchWordOrder_data()
{
    QTest::addColumn<uint>("word0");
    QTest::addColumn<uint>("word1");
    QTest::newRow("(0,1)") << 0u << 1u;
    QTest::newRow("(1,0)") << 1u << 0u;
    QTest::newRow("(1,1)") << 1u << 1u;
}

void TestDeviceMgrService::rfSwitchWordOrder()
{
    QFETCH(uint, word0);
    QFETCH(uint, word1);

    HostFixture host;
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    Recorder recorder;
    connect(service, SIGNAL(signalRFSwitch(uint, uint)), &recorder, SLOT(onRFSwitch(uint, uint)));
    connect(service, SIGNAL(signalDeviceMgrEventHandler(qint32)), &recorder, SLOT(onEvent(qint32)));

    host.card().raiseEvent(UTPS_EVENT_DEV_RF_SWITCH, std::vector<uint32_t>{word0, word1});
    QVERIFY(host.waitForEvents());

    // The second word is the hardware state.
    QCOMPARE(recorder.rfSwitches, (QList<QPair<uint, uint>>{{word1, word0}}));
    QCOMPARE(recorder.events, QList<int>{UTPS_EVENT_DEV_RF_SWITCH});
    QCOMPARE(recorder.offGuiThread, 0);
    // The radio slot saw the software state.
    QCOMPARE(service->lastSwRFState(), int(word0));
}

void TestDeviceMgrService::payloadWords_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("withPayload");

    const int codes[] = {UTPS_EVENT_DEV_RF_SWITCH, UTPS_EVENT_DEV_POWER,
                         UTPS_EVENT_DEV_SIM_STATE_CHANGE, UTPS_EVENT_DEV_FP_VERIFY};
    for (int code : codes) {
        QTest::addRow("%d null", code) << code << false;
        QTest::addRow("%d word 7", code) << code << true;
    }
}

void TestDeviceMgrService::payloadWords()
{
    QFETCH(int, code);
    QFETCH(bool, withPayload);

    HostFixture host;
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    Recorder recorder;
    connect(service, SIGNAL(signalDeviceMgrEventHandler(qint32)), &recorder, SLOT(onEvent(qint32)));
    connect(service, SIGNAL(signalRFSwitch(uint, uint)), &recorder, SLOT(onRFSwitch(uint, uint)));
    connect(service, SIGNAL(PowerMgrEvent(int)), &recorder, SLOT(onPower(int)));
    TraceCapture trace;

    const Payload payload =
        withPayload ? Payload(std::vector<uint32_t>{7, 7}) : Payload(std::nullopt);
    host.card().raiseEvent(code, payload);
    QVERIFY(host.waitForEvents());

    // Forwarded in every case.
    QCOMPARE(recorder.events, QList<int>{code});
    QCOMPARE(recorder.rfSwitches.size(), code == UTPS_EVENT_DEV_RF_SWITCH && withPayload ? 1 : 0);
    QCOMPARE(recorder.powerEvents,
             code == UTPS_EVENT_DEV_POWER && withPayload ? QList<int>{7} : QList<int>{});
    QCOMPARE(service->simStateWord(),
             code == UTPS_EVENT_DEV_SIM_STATE_CHANGE && withPayload ? 7u : 0u);
    QCOMPARE(service->fpVerifyWord(), code == UTPS_EVENT_DEV_FP_VERIFY && withPayload ? 7u : 256u);
    if (code == UTPS_EVENT_DEV_RF_SWITCH) {
        QVERIFY(trace.contains("got UTPS_EVENT_DEV_RF_SWITCH event "));
        QCOMPARE(trace.contains("Emit signal on getting UTPS_EVENT_DEV_RF_SWITCH event "),
                 withPayload);
    }
    if (code == UTPS_EVENT_DEV_POWER) {
        // The constructor's connection carries the word on to the host.
        QCOMPARE(host.records("notify").filter("854 7 0").size(), withPayload ? 1 : 0);
    }
}

void TestDeviceMgrService::chooserRepopulatedOnListEvents_data()
{
    QTest::addColumn<bool>("chooserOpen");
    QTest::newRow("chooser open") << true;
    QTest::newRow("no chooser") << false;
}

void TestDeviceMgrService::chooserRepopulatedOnListEvents()
{
    QFETCH(bool, chooserOpen);

    HostFixture host;
    host.card().addCard({});
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    if (chooserOpen)
        service->ShowChooseDevice();
    ThreadTrace trace;

    // A list update: nothing but the intake's refresh reacts to it.
    host.card().raiseDeviceListEvent(UTPS_EVENT_DEV_LIST_UPDATE);
    QVERIFY(host.waitForEvents());

    const auto populated = trace.matching("PopulateList : called");
    QCOMPARE(populated.size(), chooserOpen ? 1 : 0);
    // Widgets belong to the GUI thread, never to the SDK's.
    for (const auto& line : populated)
        QVERIFY(line.onGuiThread);
    QCOMPARE(service->chooser() != nullptr, chooserOpen);
}

void TestDeviceMgrService::pinStateChangeQueuedFromAnotherThread()
{
    HostFixture host;
    CDeviceMgrService* service = host.startService();
    DeviceMgrUILogic* logic = service->uiLogic();
    QVERIFY(logic);

    // Emitted off the GUI thread the value has to be queued, which needs the
    // type registered.
    std::unique_ptr<QThread> emitter(
        QThread::create([logic] { emit logic->PinStateChanged(DEVMGR_PIN_BLOCKED); }));
    emitter->start();
    QVERIFY(emitter->wait(5000));
    QTRY_COMPARE(service->reportedPinState(), DEVMGR_PIN_BLOCKED);

    emit logic->PinStateChanged(DEVMGR_UNLOCK_PIN);
    QCOMPARE(service->reportedPinState(), DEVMGR_UNLOCK_PIN);
    // The reported state is kept apart: the dialog in use stays the request.
    QCOMPARE(service->pinState(), DEVMGR_PIN_READY);
}

void TestDeviceMgrService::eventsDroppedAfterAboutToQuit()
{
    HostFixture host;
    sim::CardConfig config;
    config.name = "Only Card";
    host.card().addCard(config);
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    DeviceMgrUILogic* logic = service->uiLogic();
    QCOMPARE(logic->StoredDeviceInfo().nDevNum, 1);
    Recorder managerEvents;
    Recorder initEvents;
    connect(service, SIGNAL(signalDeviceMgrEventHandler(qint32)), &managerEvents,
            SLOT(onEvent(qint32)));
    connect(service, SIGNAL(signalDeviceMgrInitEventHandler(qint32)), &initEvents,
            SLOT(onEvent(qint32)));
    std::atomic<int> chooserUpdates{0};
    connect(
        service, &CDeviceMgrService::signalUpdateChooseDevice, service,
        [&chooserUpdates] { ++chooserUpdates; }, Qt::DirectConnection);

    QVERIFY(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"));
    QVERIFY(service->shuttingDown());
    QVERIFY(CommonUtils::IsShuttingDown());

    sim::CardConfig another;
    another.name = "Late Card";
    TraceCapture trace;
    host.card().addCard(another); // plugged: raises its plug sequence
    host.card().raiseDeviceListEvent(UTPS_EVENT_DEV_DETECTED);
    host.card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
    QVERIFY(host.waitForEvents());

    QVERIFY(managerEvents.events.isEmpty());
    QCOMPARE(chooserUpdates.load(), 0);
    QCOMPARE(logic->StoredDeviceInfo().nDevNum, 1);
    QVERIFY(!trace.contains("Update Device Info on events"));
    QVERIFY(trace.contains("OnDevMgrEventsCB : called event = 6606 "));
    QVERIFY(trace.contains("OnDevMgrEventsCB : Events ignored: App Shutting down "));

    // The init callback still forwards; the slot drops the event.
    QVERIFY(initEvents.events.contains(UTPS_EVENT_DEV_INIT_BEGIN));
    QVERIFY(trace.contains("deviceMgrInitEventHandler : signals ignored: App Shutting down "));
}

void TestDeviceMgrService::fingerprintLockHoldsInitEvents()
{
    HostFixture host;
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    Recorder initEvents;
    connect(service, SIGNAL(signalDeviceMgrInitEventHandler(qint32)), &initEvents,
            SLOT(onEvent(qint32)));

    host.card().raiseEvent(UTPS_EVENT_DEV_FPLOCK, std::nullopt);
    host.card().raiseEvent(UTPS_EVENT_DEV_CHECK_PIN, std::nullopt);
    QVERIFY(host.card().waitIdle());

    DevCheckFPThread* thread = service->fpThread();
    QVERIFY(thread);
    QVERIFY(thread->isLocked());
    // The thread lives with the service, not with the SDK thread that made it.
    QCOMPARE(thread->thread(), service->thread());
    // The lock event itself goes on at once; what came behind it waits.
    QTRY_COMPARE(initEvents.events, QList<int>{UTPS_EVENT_DEV_FPLOCK});
    QTRY_COMPARE(thread->queuedEvents(), std::vector<int>{UTPS_EVENT_DEV_CHECK_PIN});
    QVERIFY(thread->isRunning());
    QVERIFY(service->fpLockPending());
}

void TestDeviceMgrService::showWindowKeepsParent()
{
    HostFixture host;
    CDeviceMgrService* service = CDeviceMgrService::instance();
    TraceCapture trace;
    QCOMPARE(service->ShowWindow(nullptr), 0);
    QVERIFY(trace.contains("ShowWindow, NULL Input Parameter"));
    QCOMPARE(service->parentWidget(), nullptr);

    QCOMPARE(service->ShowWindow(host.mainWindow()), 1);
    QCOMPARE(service->parentWidget(), host.mainWindow());
    // A later null keeps the parent it had.
    QCOMPARE(service->ShowWindow(nullptr), 0);
    QCOMPARE(service->parentWidget(), host.mainWindow());
}

void TestDeviceMgrService::destroyTwice()
{
    HostFixture host;
    host.startService();
    QVERIFY(host.waitForEvents());
    CDeviceMgrService::Destroy();
    QCOMPARE(CDeviceMgrService::existingInstance(), nullptr);
    CDeviceMgrService::Destroy();
    QCOMPARE(CDeviceMgrService::existingInstance(), nullptr);
}

void TestDeviceMgrService::instanceAfterDestroyIsFresh()
{
    HostFixture host;
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    host.card().raiseEvent(UTPS_EVENT_DEV_SIM_INVALID, std::nullopt);
    host.card().raiseEvent(UTPS_EVENT_DEV_SIM_STATE_CHANGE, std::vector<uint32_t>{9});
    host.card().raiseEvent(UTPS_EVENT_DEV_FP_VERIFY, std::vector<uint32_t>{4});
    QVERIFY(host.waitForEvents());
    QVERIFY(!service->validSim());
    QCOMPARE(service->simStateWord(), 9u);
    service->appQuitStop();

    CDeviceMgrService::Destroy();
    CommonUtils::ResetShutDownFlag();
    CDeviceMgrService* fresh = CDeviceMgrService::instance();
    QVERIFY(fresh);
    QCOMPARE(CDeviceMgrService::existingInstance(), fresh);
    QVERIFY(fresh->validSim());
    QVERIFY(!fresh->deviceAvailable());
    QVERIFY(!fresh->shuttingDown());
    QCOMPARE(fresh->simStateWord(), 0u);
    QCOMPARE(fresh->fpVerifyWord(), 256u);
    QCOMPARE(fresh->lastSwRFState(), -1);
    QCOMPARE(fresh->pinStatus(), 8);
    QCOMPARE(fresh->currentProductType(), 3);
    QCOMPARE(fresh->uiLogic(), nullptr);
}

void TestDeviceMgrService::lateCallbackAfterDestroy()
{
    HostFixture host;
    host.startService();
    QVERIFY(host.waitForEvents());
    // Destroyed without unregistering: the SDK still calls the callbacks.
    CDeviceMgrService::Destroy();

    TraceCapture trace;
    host.card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
    host.card().raiseDeviceListEvent(UTPS_EVENT_DEV_DETECTED);
    host.card().raiseEvent(UTPS_EVENT_DEV_SIM_STATE_CHANGE, std::vector<uint32_t>{5});
    QVERIFY(host.waitForEvents());
    QVERIFY(trace.matching("called event = ").isEmpty());
    QCOMPARE(CDeviceMgrService::existingInstance(), nullptr);
}

void TestDeviceMgrService::freshAccessLayerAfterDestroy()
{
    HostFixture host;
    CDeviceMgrService* service = host.startService();
    QVERIFY(host.waitForEvents());
    DeviceMgrUILogic* old = service->uiLogic();
    QVERIFY(old);
    QCOMPARE(DeviceMgrUILogic::GetInstance(), old);

    // Asked while the old object's memory is still allocated, so a new
    // object cannot reuse its address: a stale static pointer shows.
    DeviceMgrUILogic* askedDuringDeletion = nullptr;
    connect(old, &QObject::destroyed,
            [&askedDuringDeletion] { askedDuringDeletion = DeviceMgrUILogic::GetInstance(); });
    CDeviceMgrService::Destroy();
    QVERIFY(askedDuringDeletion);
    QVERIFY2(askedDuringDeletion != old, "the access layer's static pointer outlived it");

    CDeviceMgrService* fresh = host.startService();
    QCOMPARE(fresh->uiLogic(), askedDuringDeletion);
    sim::CardConfig config;
    config.name = "After Restart";
    host.card().addCard(config);
    QVERIFY(host.waitForEvents());
    QCOMPARE(fresh->uiLogic()->StoredDeviceInfo().nDevNum, 1);
    QCOMPARE(fresh->uiLogic()->StoredCurrentDeviceName(), QString("After Restart"));
}

void TestDeviceMgrService::releaseDataFreesOwnedObjects()
{
    HostFixture host;
    sim::CardConfig config;
    config.fingerprint = true;
    CDeviceMgrService* service = host.startService();
    host.frameShown();
    host.card().addCard(config);
    QVERIFY(host.waitForEvents());
    QTRY_VERIFY(service->fpThread());
    QTRY_VERIFY(service->fpDialog());
    QVERIFY(service->chooser());

    QPointer<DevCheckFPThread> thread = service->fpThread();
    QPointer<ExtendDialog> fpDialog = service->fpDialog();
    QPointer<ChooseDevice> chooser = service->chooser();
    QPointer<DeviceMgrUILogic> logic = service->uiLogic();

    TraceCapture trace;
    service->OnDestroy();
    QVERIFY(!thread);
    QVERIFY(!fpDialog);
    QVERIFY(!chooser);
    QVERIFY(!logic);
    QCOMPARE(service->fpThread(), nullptr);
    QCOMPARE(service->fpDialog(), nullptr);
    QCOMPARE(service->chooser(), nullptr);
    QCOMPARE(service->uiLogic(), nullptr);
    for (const char* signal : kInternalSignals)
        QVERIFY2(ReceiverCount::of(service, signal) == 0, signal);
    const QStringList lines = trace.lines();
    QCOMPARE(lines.filter("releaseData : destructor called").size(), 1);
    QCOMPARE(lines.filter("releaseData : destructor exit").size(), 1);

    // The object itself goes with Destroy, whose releaseData finds nothing left.
    CDeviceMgrService::Destroy();
    QCOMPARE(CDeviceMgrService::existingInstance(), nullptr);
    // The one line with the time last.
    const QRegularExpression destructorLine(
        "DeviceMgrService\\.cpp: ~CDeviceMgrService: \\d\\d:\\d\\d:\\d\\d:\\d{3} entered$");
    QCOMPARE(trace.lines().filter(destructorLine).size(), 1);
}

void TestDeviceMgrService::freshWwanThreadAfterDestroy_data()
{
    QTest::addColumn<bool>("polling");
    QTest::newRow("thread polling") << true;
    // A stop that may come before run() has begun, which forgets it.
    QTest::newRow("thread just started") << false;
}

void TestDeviceMgrService::freshWwanThreadAfterDestroy()
{
    QFETCH(bool, polling);

    HostFixture host;
    sim::HostConfig wwanHost;
    wwanHost.win7 = true;
    wwanHost.wwanReadyAfter = 1000; // keeps the thread polling
    host.card().setHost(wwanHost);
    sim::CardConfig config;
    config.sim.pinEnabled = true;
    host.card().addCard(config);
    CDeviceMgrService* service = host.startService();
    QTRY_VERIFY(service->win7Thread());
    QPointer<DeviceMgrWin7Thread> old = service->win7Thread();
    if (polling)
        QTRY_VERIFY(!sdkCalls(host.card(), "UTPS_DevSrv_IsWWanReady").isEmpty());

    DeviceMgrWin7Thread* askedDuringDeletion = nullptr;
    connect(old, &QObject::destroyed,
            [&askedDuringDeletion] { askedDuringDeletion = DeviceMgrWin7Thread::Instance(); });
    DeviceMgrWin7Thread* oldAddress = old;
    CDeviceMgrService::Destroy();
    QVERIFY(!old);
    QVERIFY(askedDuringDeletion);
    QVERIFY2(askedDuringDeletion != oldAddress, "the WWAN thread's static pointer outlived it");
    QVERIFY(!askedDuringDeletion->isRunning());
    DeviceMgrWin7Thread::ForgetInstance();
    delete askedDuringDeletion;
}

QTEST_MAIN(TestDeviceMgrService)
#include "tst_devicemgrservice.moc"
