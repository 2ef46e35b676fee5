// The service's lifecycle and its intake of SDK events: registration, the hop
// from the SDK's thread to the GUI thread, payloads, shut-down and teardown.
#include "CardCalls.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>

#include <QMutex>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <optional>
#include <vector>

namespace {

// Trace lines, each behind "gui " or "sdk " for the thread that wrote it.
QMutex g_traceMutex;
QStringList g_trace;

void noteThread(QtMsgType, const QMessageLogContext&, const QString& text)
{
    const bool gui = QThread::currentThread() == QCoreApplication::instance()->thread();
    QMutexLocker lock(&g_traceMutex);
    g_trace << (gui ? "gui " : "sdk ") + text;
}

// The service's signals as a GUI-thread receiver gets them.
struct Received : QObject
{
    explicit Received(CDeviceMgrService* service)
    {
        connect(service, &CDeviceMgrService::signalDeviceMgrEventHandler, this,
                [this](qint32 event) { events.append(event); });
        connect(service, &CDeviceMgrService::signalDeviceMgrInitEventHandler, this,
                [this](qint32 event) { initEvents.append(event); });
        connect(service, &CDeviceMgrService::signalRFSwitch, this,
                [this](uint hw, uint sw) { rf << hw << sw; });
        connect(service, &CDeviceMgrService::PowerMgrEvent, this,
                [this](int word) { power.append(word); });
        connect(service, &CDeviceMgrService::signalUpdateChooseDevice, this,
                [this] { ++chooserUpdates; });
    }
    QList<int> events, initEvents, power;
    QList<uint> rf; // hwstate, swstate
    int chooserUpdates = 0;
};

} // namespace

class TestDeviceMgrService : public QObject
{
    Q_OBJECT

private slots:
    void initRegistrations_data()
    {
        QTest::addColumn<QString>("failing");
        QTest::addColumn<int>("result");
        QTest::addColumn<QStringList>("registrations");
        QTest::addColumn<bool>("handled");

        const QStringList all = {"UTPS_DevSrv_RegisterDevInitEventCallback",
                                 "UTPS_DevSrv_RegisterDevMgrCallback",
                                 "UTPS_DevSrv_RegisterMultiDeviceEventCallback"};
        QTest::newRow("all succeed") << QString() << 1 << all << true;
        QTest::newRow("init callback fails") << all[0] << 0 << QStringList{all[0]} << false;
        QTest::newRow("device-manager callback fails") << all[1] << 0 << all << true;
        QTest::newRow("multi-device callback fails") << all[2] << 0 << all << true;
    }
    void initRegistrations()
    {
        QFETCH(QString, failing);
        QFETCH(int, result);
        QFETCH(QStringList, registrations);
        QFETCH(bool, handled);

        HostFixture host;
        if (!failing.isEmpty())
            host.card().setFault(failing.toStdString(), 1, 1);
        TraceCapture trace;
        CDeviceMgrService* service = CDeviceMgrService::instance();
        QCOMPARE(service->Init(), result);

        QCOMPARE(calledFunctions().filter(QRegularExpression("^UTPS_DevSrv_Register")),
                 registrations);
        const QStringList failures = trace.warnings().filter(" failed");
        QCOMPARE(failures.size(), failing.isEmpty() ? 0 : 1);
        QVERIFY(failures.join(' ').contains(failing));

        // One event of each callback, as the intake hands them on.
        emit service->signalDeviceMgrInitEventHandler(UTPS_EVENT_DEV_SIM_INVALID);
        emit service->signalDeviceMgrEventHandler(UTPS_EVENT_DEV_ACTIVE);
        QCoreApplication::processEvents();
        QCOMPARE(service->validSim(), !handled);
        QCOMPARE(service->deviceAvailable(), handled);
    }
    void eventsReachGuiThreadInOrder()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startService();
        QVERIFY(host.waitForEvents());
        Received received(service);
        const QtMessageHandler previous = qInstallMessageHandler(noteThread);

        // Codes no handler knows, so nothing but the intake reacts to them.
        QList<int> sent;
        for (int code = 7000; code < 7050; ++code) {
            host.card().raiseEvent(code, std::nullopt);
            sent.append(code);
        }
        host.card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
        QVERIFY(host.waitForEvents());
        qInstallMessageHandler(previous);

        QCOMPARE(received.events, sent);
        QCOMPARE(received.initEvents, QList<int>{UTPS_EVENT_DEV_INIT_BEGIN});
        QVERIFY(service->initialising());
        // The callback runs on the SDK's thread, the handling slot on the GUI thread.
        const QRegularExpression callback("^sdk .*OnDevMgrEventsCB : called event = 70");
        QCOMPARE(g_trace.filter(callback).size(), sent.size());
        QCOMPARE(g_trace.filter(QRegularExpression("^gui .*,Unknown event occured")).size(),
                 sent.size());
    }
    void intake_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QList<uint>>("payload"); // empty: null, or the list for a list event
        QTest::addColumn<QString>("seen");        // what the intake did besides forwarding

        using U = QList<uint>;
        const QString list = "list: Card One, Card Two";
        QTest::newRow("6606 refreshes the list") << 6606 << U{} << list;
        QTest::newRow("6010 refreshes the list") << 6010 << U{} << list;
        QTest::newRow("6601 refreshes the list") << 6601 << U{} << list;
        QTest::newRow("6600 leaves the list") << 6600 << U{} << "";
        // The second radio word is the hardware state.
        QTest::newRow("6615 (0,1)") << 6615 << U{0, 1} << "rf: hw 1 sw 0";
        QTest::newRow("6615 (1,0)") << 6615 << U{1, 0} << "rf: hw 0 sw 1";
        QTest::newRow("6615 null") << 6615 << U{} << "";
        QTest::newRow("6616 word 7") << 6616 << U{7} << "power: 7";
        QTest::newRow("6616 null") << 6616 << U{} << "";
        QTest::newRow("6619 word 7") << 6619 << U{7} << "SIM word: 7";
        QTest::newRow("6619 null") << 6619 << U{} << "";
        QTest::newRow("6620 word 7") << 6620 << U{7} << "FP word: 7";
        QTest::newRow("6620 null") << 6620 << U{} << "";
    }
    void intake()
    {
        QFETCH(int, code);
        QFETCH(QList<uint>, payload);
        QFETCH(QString, seen);

        HostFixture host;
        for (const char* name : {"Card One", "Card Two"}) {
            sim::CardConfig config;
            config.name = name;
            host.card().addCard(config);
        }
        CDeviceMgrService* service = host.startService();
        QVERIFY(host.waitForEvents());
        DeviceMgrUILogic* logic = service->uiLogic();
        logic->ClearDeviceInfo();
        const uint simWord = service->simStateWord();
        const uint fpWord = service->fpVerifyWord();
        Received received(service);
        // Runs on the SDK's thread as the event is forwarded: the list is in place by then.
        QStringList namesAtSignal;
        connect(
            service, &CDeviceMgrService::signalDeviceMgrEventHandler, service,
            [&](qint32) {
                const _UTPS_ST_MULTI_DEVICE_INFO& list = logic->StoredDeviceInfo();
                for (int i = 0; i < list.nDevNum && i < MAX_DEVICE_COUNT; ++i)
                    namesAtSignal.append(QString::fromLatin1(list.stDevInfo[i].szDeviceName));
            },
            Qt::DirectConnection);

        if (payload.isEmpty() && (code == 6606 || code == 6010 || code == 6601 || code == 6600))
            host.card().raiseDeviceListEvent(code);
        else if (payload.isEmpty())
            host.card().raiseEvent(code, std::nullopt);
        else
            host.card().raiseEvent(code, std::vector<uint32_t>(payload.begin(), payload.end()));
        QVERIFY(host.waitForEvents());

        QStringList did;
        if (!namesAtSignal.isEmpty())
            did << "list: " + namesAtSignal.join(", ");
        for (int i = 0; i + 1 < received.rf.size(); i += 2)
            did << QStringLiteral("rf: hw %1 sw %2").arg(received.rf[i]).arg(received.rf[i + 1]);
        for (int word : received.power)
            did << QStringLiteral("power: %1").arg(word);
        if (service->simStateWord() != simWord)
            did << QStringLiteral("SIM word: %1").arg(service->simStateWord());
        if (service->fpVerifyWord() != fpWord)
            did << QStringLiteral("FP word: %1").arg(service->fpVerifyWord());
        QCOMPARE(did.join("; "), seen);
        QCOMPARE(received.events, QList<int>{code}); // forwarded whatever the payload
        QCOMPARE(received.chooserUpdates, namesAtSignal.isEmpty() ? 0 : 1);
        // The constructor's connection carries the power word on to the host.
        QCOMPARE(host.records("notify").filter("broadcast 854 7 0").size(), received.power.size());
    }
    void eventsDroppedAfterAboutToQuit()
    {
        HostFixture host;
        host.card().addCard({});
        CDeviceMgrService* service = host.startService();
        QVERIFY(host.waitForEvents());
        DeviceMgrUILogic* logic = service->uiLogic();
        QCOMPARE(logic->StoredDeviceInfo().nDevNum, 1);
        Received received(service);
        QVERIFY(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"));
        QVERIFY(CommonUtils::IsShuttingDown());
        TraceCapture trace;
        host.card().addCard({}); // plugged: raises 6606
        host.card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
        QVERIFY(host.waitForEvents());

        QVERIFY(received.events.isEmpty());
        QCOMPARE(received.chooserUpdates, 0);
        QCOMPARE(logic->StoredDeviceInfo().nDevNum, 1);
        QVERIFY(trace.contains("OnDevMgrEventsCB : Events ignored: App Shutting down "));
        // The init callback still forwards; the slot drops the event.
        QVERIFY(received.initEvents.contains(UTPS_EVENT_DEV_INIT_BEGIN));
        QVERIFY(trace.contains("deviceMgrInitEventHandler : signals ignored: App Shutting down "));
    }
    void destroyTwiceThenFreshInstance()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startService();
        QVERIFY(host.waitForEvents());
        host.card().raiseEvent(UTPS_EVENT_DEV_SIM_INVALID, std::nullopt);
        QVERIFY(host.waitForEvents());
        QVERIFY(!service->validSim());

        // Asked while the old object's memory is still taken, so that a new object
        // cannot reuse its address: a stale static pointer shows.
        DeviceMgrUILogic* old = service->uiLogic();
        DeviceMgrUILogic* askedDuringDeletion = nullptr;
        connect(old, &QObject::destroyed,
                [&askedDuringDeletion] { askedDuringDeletion = DeviceMgrUILogic::GetInstance(); });
        CDeviceMgrService::Destroy();
        CDeviceMgrService::Destroy();
        QCOMPARE(CDeviceMgrService::existingInstance(), nullptr);
        QVERIFY(askedDuringDeletion);
        QVERIFY2(askedDuringDeletion != old, "the access layer's static pointer outlived it");

        // Still registered with the SDK: late callbacks must not reach the old object.
        TraceCapture trace;
        host.card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
        host.card().raiseDeviceListEvent(UTPS_EVENT_DEV_DETECTED);
        QVERIFY(host.waitForEvents());
        QVERIFY(trace.matching("called event = ").isEmpty());

        CDeviceMgrService* fresh = CDeviceMgrService::instance();
        QVERIFY(fresh->validSim());
        QCOMPARE(fresh->uiLogic(), nullptr);
        QCOMPARE(fresh->Init(), 1);
        QCOMPARE(fresh->uiLogic(), askedDuringDeletion);
        sim::CardConfig config;
        config.name = "After Restart";
        host.card().addCard(config);
        QVERIFY(host.waitForEvents());
        QCOMPARE(fresh->uiLogic()->StoredCurrentDeviceName(), QString("After Restart"));
    }
};

QTEST_MAIN(TestDeviceMgrService)
#include "tst_devicemgrservice.moc"
