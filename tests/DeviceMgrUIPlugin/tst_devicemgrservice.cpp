// The service's lifecycle and its intake of SDK events: registration, the hop
// from the SDK's thread to the GUI thread, payloads, shut-down and teardown.
#include "CardCalls.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "Transcript.h"
#include <sim/VirtualCard.h>

#include <CommonUtils.h>

#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace {

// What the service's signals bring a GUI-thread receiver, in order.
struct Received : QObject
{
    explicit Received(CDeviceMgrService* service)
    {
        using S = CDeviceMgrService;
        connect(service, &S::signalDeviceMgrEventHandler, this,
                [this](qint32 event) { seen << QString::number(event); });
        connect(service, &S::signalDeviceMgrInitEventHandler, this,
                [this](qint32 event) { seen << QStringLiteral("init %1").arg(event); });
        connect(service, &S::signalRFSwitch, this, [this](uint hw, uint sw) {
            seen << QStringLiteral("rf hw %1 sw %2").arg(hw).arg(sw);
        });
        connect(service, &S::signalUpdateChooseDevice, this, [this] { seen << "list update"; });
    }
    QStringList seen;
};

} // namespace

class TestDeviceMgrService : public QObject
{
    Q_OBJECT

private slots:
    void initRegistrations_data()
    {
        QTest::addColumn<QString>("failing");
        QTest::addColumn<bool>("restRuns"); // the other registrations and the internal connections
        QTest::newRow("all succeed") << QString() << true;
        QTest::newRow("init callback fails") << "UTPS_DevSrv_RegisterDevInitEventCallback" << false;
        QTest::newRow("device-manager callback fails")
            << "UTPS_DevSrv_RegisterDevMgrCallback" << true;
        QTest::newRow("multi-device callback fails")
            << "UTPS_DevSrv_RegisterMultiDeviceEventCallback" << true;
    }
    void initRegistrations()
    {
        QFETCH(QString, failing);
        QFETCH(bool, restRuns);

        HostFixture host;
        if (!failing.isEmpty())
            host.card().setFault(failing.toStdString(), 1, 1);
        TraceCapture trace;
        CDeviceMgrService* service = CDeviceMgrService::instance();
        QCOMPARE(service->Init(), failing.isEmpty() ? 1 : 0);

        const QStringList all = {"UTPS_DevSrv_RegisterDevInitEventCallback",
                                 "UTPS_DevSrv_RegisterDevMgrCallback",
                                 "UTPS_DevSrv_RegisterMultiDeviceEventCallback"};
        QCOMPARE(calledFunctions().filter(QRegularExpression("^UTPS_DevSrv_Register")),
                 restRuns ? all : all.mid(0, 1));
        QCOMPARE(trace.warnings().filter(" failed").isEmpty(), failing.isEmpty());
        QVERIFY(failing.isEmpty() || trace.contains("Init: " + failing + " failed"));

        // One event of each callback, as the intake hands them on.
        emit service->signalDeviceMgrInitEventHandler(UTPS_EVENT_DEV_SIM_INVALID);
        emit service->signalDeviceMgrEventHandler(UTPS_EVENT_DEV_ACTIVE);
        QCoreApplication::processEvents();
        QCOMPARE(service->validSim(), !restRuns);
        QCOMPARE(service->deviceAvailable(), restRuns);
    }
    void intake_data()
    {
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<QList<uint>>("payload"); // empty: null, or the list for a list event
        QTest::addColumn<QString>("seen"); // the list as each is forwarded, the signals, words

        using U = QList<uint>;
        const QString list = "list: Card One, Card Two; list update; ";
        QList<int> unknown; // codes no handler knows, so nothing but the intake reacts
        QStringList forwarded;
        for (int code = 7000; code < 7050; ++code) {
            unknown << code;
            forwarded << QString::number(code);
        }
        const auto n = [](int code) { return QString::number(code); };
        // clang-format off
        QTest::newRow("unknown codes, in order") << unknown << U{} << forwarded.join("; ");
        QTest::newRow("detected refreshes the list") << QList{UTPS_EVENT_DEV_DETECTED} << U{} << list + n(UTPS_EVENT_DEV_DETECTED);
        QTest::newRow("list update refreshes the list") << QList{UTPS_EVENT_DEV_LIST_UPDATE} << U{} << list + n(UTPS_EVENT_DEV_LIST_UPDATE);
        QTest::newRow("reject refreshes the list") << QList{UTPS_EVENT_DEV_REJECT} << U{} << list + n(UTPS_EVENT_DEV_REJECT);
        QTest::newRow("active leaves the list")    << QList{UTPS_EVENT_DEV_ACTIVE} << U{} << n(UTPS_EVENT_DEV_ACTIVE);
        // The second radio word is the hardware state.
        const QString rf = n(UTPS_EVENT_DEV_RF_SWITCH), sim = n(UTPS_EVENT_DEV_SIM_STATE_CHANGE), fp = n(UTPS_EVENT_DEV_FP_VERIFY);
        QTest::newRow("radio (0,1)")  << QList{UTPS_EVENT_DEV_RF_SWITCH} << U{0, 1} << "rf hw 1 sw 0; " + rf;
        QTest::newRow("radio (1,0)")  << QList{UTPS_EVENT_DEV_RF_SWITCH} << U{1, 0} << "rf hw 0 sw 1; " + rf;
        QTest::newRow("radio null")   << QList{UTPS_EVENT_DEV_RF_SWITCH} << U{}     << rf;
        QTest::newRow("SIM word 7") << QList{UTPS_EVENT_DEV_SIM_STATE_CHANGE} << U{7}    << sim + "; SIM word 7";
        QTest::newRow("SIM null")   << QList{UTPS_EVENT_DEV_SIM_STATE_CHANGE} << U{}     << sim;
        QTest::newRow("fingerprint word 7") << QList{UTPS_EVENT_DEV_FP_VERIFY} << U{7}    << fp + "; FP word 7";
        QTest::newRow("fingerprint null")   << QList{UTPS_EVENT_DEV_FP_VERIFY} << U{}     << fp;
        // clang-format on
    }
    void intake()
    {
        QFETCH(QList<int>, codes);
        QFETCH(QList<uint>, payload);
        QFETCH(QString, seen);

        HostFixture host;
        CDeviceMgrService* service = host.startWith({namedCard("Card One"), namedCard("Card Two")});
        QVERIFY(service);
        DeviceMgrUILogic* logic = service->uiLogic();
        logic->ClearDeviceInfo();
        const uint simWord = service->simStateWord(), fpWord = service->fpVerifyWord();
        Received received(service);
        // Runs on the GUI thread as the forwarded event arrives: the list is in place by then.
        QStringList names;
        connect(service, &CDeviceMgrService::signalDeviceMgrEventHandler, service, [&] {
            const _UTPS_ST_MULTI_DEVICE_INFO& list = logic->StoredDeviceInfo();
            for (int i = 0; i < list.nDevNum && i < MAX_DEVICE_COUNT; ++i)
                names << QString::fromLatin1(list.stDevInfo[i].szDeviceName);
        });
        TraceCapture trace;
        for (int code : codes) {
            if (payload.isEmpty() &&
                (code == UTPS_EVENT_DEV_DETECTED || code == UTPS_EVENT_DEV_LIST_UPDATE ||
                 code == UTPS_EVENT_DEV_REJECT || code == UTPS_EVENT_DEV_ACTIVE))
                host.card().raiseDeviceListEvent(code);
            else if (payload.isEmpty())
                host.card().raiseEvent(code, std::nullopt);
            else
                host.card().raiseEvent(code, std::vector<uint32_t>(payload.begin(), payload.end()));
        }
        QVERIFY(host.waitForEvents());

        QStringList did = received.seen;
        if (!names.isEmpty())
            did.prepend("list: " + names.join(", "));
        if (service->simStateWord() != simWord)
            did << QStringLiteral("SIM word %1").arg(service->simStateWord());
        if (service->fpVerifyWord() != fpWord)
            did << QStringLiteral("FP word %1").arg(service->fpVerifyWord());
        QCOMPARE(did.join("; "), seen);
        // The callback runs on the SDK's thread, the handling slot on the GUI thread.
        QCOMPARE(trace.threadsWriting("OnDevMgrEventsCB : called event = "), QStringList{"sdk"});
        QCOMPARE(trace.threadsWriting("deviceMgrEventHandler : ,called"), QStringList{"gui"});
    }
    // The list is the GUI thread's: one arriving from the SDK's thread takes
    // its place there, in turn, never while the GUI thread works with it.
    void deviceListsArriveOnTheGuiThread()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startWith({sim::CardConfig{}});
        QVERIFY(service);
        DeviceMgrUILogic* logic = service->uiLogic();
        for (int i = 0; i < 200; ++i)
            host.card().raiseDeviceListEvent(UTPS_EVENT_DEV_DETECTED);
        while (host.card().pendingEvents() > 0) {
            logic->ClearDeviceInfo();
            QThread::usleep(500);
        }
        QCOMPARE(logic->StoredDeviceInfo().nDevNum, 0);
        QVERIFY(host.waitForEvents());
        QCOMPARE(logic->StoredDeviceInfo().nDevNum, 1);
    }
    // A storm from the SDK while the GUI thread is busy: the SDK's thread is
    // held back instead of queueing without bound, but never for long, and
    // every event is handled, in order, once the GUI thread gets to them.
    void aStormWaitsForTheGuiThreadButNotForEver()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startWith({});
        QVERIFY(service);
        TraceCapture trace;
        Received received(service);
        constexpr int kEvents = 3000;
        std::atomic<int> sent{0};
        std::thread sdk([&] {
            for (int i = 0; i < kEvents; ++i) {
                CDeviceMgrService::OnDevMgrEventsCB(7000 + i, nullptr);
                sent.fetch_add(1);
            }
        });
        QThread::msleep(100); // the GUI thread takes nothing up meanwhile
        const int sentWhileBusy = sent.load();
        QThread::msleep(1000); // busy for longer than the SDK's thread waits
        const int sentLater = sent.load();
        QTRY_COMPARE(sent.load(), kEvents); // the GUI thread takes them up
        sdk.join();
        QVERIFY2(sentWhileBusy >= 256 && sentWhileBusy <= 600,
                 qPrintable(QString::number(sentWhileBusy)));
        QCOMPARE(sentLater, kEvents);
        QTRY_COMPARE(received.seen.size(), kEvents);
        for (int i = 0; i < kEvents; ++i)
            QCOMPARE(received.seen[i], QString::number(7000 + i));
    }
    void eventsDroppedAfterAboutToQuit()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startWith({sim::CardConfig{}});
        QVERIFY(service);
        Received received(service);
        QVERIFY(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"));
        QVERIFY(CommonUtils::IsShuttingDown());
        TraceCapture trace;
        Transcript::instance().clear();
        // Past the intake before the quit, the slot drops it.
        emit service->signalDeviceMgrEventHandler(UTPS_EVENT_DEV_ACTIVE);
        host.card().addCard({}); // plugged: raises UTPS_EVENT_DEV_DETECTED
        host.card().raiseEvent(UTPS_EVENT_DEV_INIT_SUCCESS, std::nullopt);
        QVERIFY(host.waitForEvents());

        // The init callback still forwards; its slot drops the event.
        QCOMPARE(received.seen,
                 (QStringList{QString::number(UTPS_EVENT_DEV_ACTIVE),
                              "init " + QString::number(UTPS_EVENT_DEV_INIT_SUCCESS)}));
        QCOMPARE(service->uiLogic()->StoredDeviceInfo().nDevNum, 1);
        QVERIFY(host.records("notify").isEmpty());
        QVERIFY(host.records("menu").isEmpty());
        QVERIFY(trace.contains("OnDevMgrEventsCB : Events ignored: App Shutting down "));
        QVERIFY(trace.contains("deviceMgrEventHandler : Events ignored: App Shutting down "));
        QVERIFY(trace.contains("deviceMgrInitEventHandler : signals ignored: App Shutting down "));
    }
    void destroyTwiceThenFreshInstance()
    {
        HostFixture host;
        CDeviceMgrService* service = host.startService();
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
        QCOMPARE(fresh->Init(), 1);
        QCOMPARE(fresh->uiLogic(), askedDuringDeletion);
        host.card().addCard(namedCard("After Restart"));
        QVERIFY(host.waitForEvents());
        QCOMPARE(fresh->uiLogic()->StoredCurrentDeviceName(), QString("After Restart"));
    }
};

QTEST_MAIN(TestDeviceMgrService)
#include "tst_devicemgrservice.moc"
