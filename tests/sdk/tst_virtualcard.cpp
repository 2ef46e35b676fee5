// The virtual card's events and device answers: plug, unplug, switch,
// detection, fingerprint and SIM sequences, routing to the callbacks, and
// the device, radio and host calls.
#include "EventRecorder.h"

#include <sim/VirtualCard.h>
#include <utps.h>

#include <QtTest>

#include <atomic>
#include <cstring>
#include <optional>

namespace {

sim::VirtualCard& card()
{
    return sim::VirtualCard::instance();
}

sim::CardConfig cardConfig(const std::string& name, bool pinEnabled = false, int simStatus = 1)
{
    sim::CardConfig config;
    config.name = name;
    config.sim.pinEnabled = pinEnabled;
    config.sim.status = simStatus;
    return config;
}

EventRecorder& recorder()
{
    return EventRecorder::instance();
}

QList<int> recordedCodes()
{
    QList<int> codes;
    for (int code : recorder().codes())
        codes.append(code);
    return codes;
}

QStringList deviceNames(const RecordedEvent& event)
{
    QStringList names;
    for (const DeviceEntry& device : event.devices)
        names.append(QString::fromStdString(device.name));
    return names;
}

QList<uint> wordList(const RecordedEvent& event)
{
    QList<uint> words;
    for (uint32_t word : event.words)
        words.append(word);
    return words;
}

// The first recorded event with `code`, or null.
const RecordedEvent* findEvent(const std::vector<RecordedEvent>& events, int code)
{
    for (const RecordedEvent& event : events) {
        if (event.code == code)
            return &event;
    }
    return nullptr;
}

QString routeName(Route route)
{
    switch (route) {
    case Route::Init:
        return "init";
    case Route::DevMgr:
        return "devmgr";
    case Route::MultiDevice:
        return "multi";
    }
    return {};
}

QString deviceNameOfCurrent()
{
    char name[UTPS_SHORT_NAME_LEN] = {};
    if (UTPS_DevSrv_GetDeviceName(name) != 0)
        return "<failed>";
    return QString::fromLatin1(name);
}

int deviceStatus()
{
    _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_REJECTED;
    if (UTPS_DevSrv_GetDevStatus(&status) != 0)
        return -1;
    return status;
}

// The answer an override stands in for, read through the C API: PIN status,
// first flag and retries; radio state and support; or the device status.
// Empty when the call fails.
QList<int> sdkAnswer(const QString& kind)
{
    if (kind == "pin") {
        int status = -99;
        unsigned char flag = 99, flag2 = 99, retries = 99;
        if (UTPS_DevSrv_GetPinStatus(0, &status, &flag, &flag2, &retries) != 0)
            return {};
        return {status, flag, retries};
    }
    if (kind == "rf") {
        _UTPS_ST_RF_SWITCH rf{-99, -99};
        if (UTPS_DevSrv_GetRFSwitch(&rf) != 0)
            return {};
        return {rf.nState, rf.nSupport};
    }
    return {deviceStatus()};
}

bool overrideAnswer(const QString& kind, std::optional<int> value, uint8_t flag)
{
    if (kind == "pin")
        return card().overridePinStatus(value, flag);
    if (kind == "rf")
        return card().overrideRfState(value);
    return card().overrideDevStatus(value);
}

const QList<int> kPinOffTail = {UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_DEVICE_NO_PIN,
                                UTPS_EVENT_DEV_DEVICE_INIT_FINISH, UTPS_EVENT_DEV_SIM_STATE_CHANGE};

} // namespace

class TestVirtualCard : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void plugSequence_data();
    void plugSequence();
    void simStateFollowsRightCode_data();
    void simStateFollowsRightCode();
    void fingerprintCardWaitsForFinger();
    void secondCardOnlyReportsDetection();
    void unplugReportsRemainingCards();
    void switchRunsChangeSequence();
    void switchRefusals_data();
    void switchRefusals();
    void detectionReportsPluggedCards();
    void wordEvents_data();
    void wordEvents();
    void rawEvents();
    void routing_data();
    void routing();
    void initiallyPluggedCardsStartAtRegistration_data();
    void initiallyPluggedCardsStartAtRegistration();
    void eventGapSpacesDeliveries();
    void resetWaitsForRunningDelivery();
    void callbacksMayCallTheSdk();

    void callsWithoutCard_data();
    void callsWithoutCard();
    void currentCardAnswers();
    void imsiNeedsUsableSim_data();
    void imsiNeedsUsableSim();
    void shortNameIsTruncated_data();
    void shortNameIsTruncated();
    void deviceListOf64Cards();
    void radioSwitch_data();
    void radioSwitch();
    void offlineAndDetach();
    void answerOverrides_data();
    void answerOverrides();
    void wwanAnswers_data();
    void wwanAnswers();
};

void TestVirtualCard::init()
{
    card().reset();
    recorder().clear();
}

void TestVirtualCard::cleanup()
{
    card().reset();
}

void TestVirtualCard::plugSequence_data()
{
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("simStatus");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QList<int>>("tail"); // after 6606, 6600, 6000

    QTest::newRow("protection off") << false << 1 << 3 << kPinOffTail;
    QTest::newRow("protection on") << true << 1 << 3 << QList<int>{6008, 6011, 6014};
    QTest::newRow("PUK required") << true << 1 << 0 << QList<int>{6008, 6011, 6014};
    QTest::newRow("no SIM") << false << 0 << 3 << QList<int>{6002, 6012, 6014, 6619};
    QTest::newRow("SIM word 255, protection on")
        << true << 255 << 3 << QList<int>{6002, 6011, 6014, 6619};
    QTest::newRow("SIM word 254") << false << 254 << 3 << QList<int>{6008, 6012, 6014, 6619};
}

void TestVirtualCard::plugSequence()
{
    QFETCH(bool, pinEnabled);
    QFETCH(int, simStatus);
    QFETCH(int, pinRetries);
    QFETCH(QList<int>, tail);

    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    sim::CardConfig config = cardConfig("Card A", pinEnabled, simStatus);
    config.sim.pinRetries = pinRetries;
    config.protocol = 5;
    card().addCard(config);
    QVERIFY(card().waitIdle());

    QCOMPARE(recordedCodes(), QList<int>({6606, 6600, 6000}) + tail);
    const std::vector<RecordedEvent> events = recorder().events();
    for (const RecordedEvent& event : events) {
        const bool initEvent = event.code >= 6000 && event.code <= 6018;
        QCOMPARE(event.route, initEvent ? Route::Init : Route::DevMgr);
        QVERIFY(event.thread != std::this_thread::get_id());
        QVERIFY(event.thread == events.front().thread);
    }
    QCOMPARE(events.front().devices, (std::vector<DeviceEntry>{{"Card A", 1, 5}}));
    if (const RecordedEvent* simState = findEvent(events, 6619))
        QCOMPARE(simState->words, std::vector<uint32_t>{uint32_t(simStatus)});
    QCOMPARE(card().currentCard(), 0);
    QCOMPARE(deviceStatus(), int(DEVICE_STATUS_AVAILABLE));
}

void TestVirtualCard::simStateFollowsRightCode_data()
{
    QTest::addColumn<bool>("viaPuk");
    QTest::newRow("right PIN") << false;
    QTest::newRow("right PUK") << true;
}

void TestVirtualCard::simStateFollowsRightCode()
{
    QFETCH(bool, viaPuk);

    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    sim::CardConfig config = cardConfig("Card A", true, 9);
    config.sim.pinRetries = viaPuk ? 0 : 3;
    card().addCard(config);
    QVERIFY(card().waitIdle());
    QVERIFY(!recordedCodes().contains(6619));

    recorder().clear();
    unsigned char left = 0;
    const int wrong = viaPuk ? UTPS_DevSrv_UnblockPin(0, "00000000", "4321", &left)
                             : UTPS_DevSrv_VerifyPin(0, "0000", &left);
    QCOMPARE(wrong, -1);
    QVERIFY(card().waitIdle());
    QCOMPARE(recorder().count(), 0);

    const int right = viaPuk ? UTPS_DevSrv_UnblockPin(0, "12345678", "4321", &left)
                             : UTPS_DevSrv_VerifyPin(0, "1234", &left);
    QCOMPARE(right, 0);
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{6619});
    QCOMPARE(recorder().events().front().words, std::vector<uint32_t>{9});
    QVERIFY(recorder().events().front().thread != std::this_thread::get_id());
}

void TestVirtualCard::fingerprintCardWaitsForFinger()
{
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    sim::CardConfig config = cardConfig("Finger Card");
    config.fingerprint = true;
    const int index = card().addCard(config);
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>({6606, 6600, 6000, 6018}) + kPinOffTail);
    QCOMPARE(recorder().events()[3].route, Route::Init);
    QCOMPARE(deviceStatus(), int(DEVICE_STATUS_AVAILABLE));
    QVERIFY(card().card(index)->fingerprintLocked);

    recorder().clear();
    card().touchFingerprint(VERIFYIND_NO_MATCH);
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{6620});
    QCOMPARE(recorder().events().front().words, std::vector<uint32_t>{255});
    QCOMPARE(deviceStatus(), int(DEVICE_STATUS_AVAILABLE));

    recorder().clear();
    card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{6620});
    QCOMPARE(recorder().events().front().words, std::vector<uint32_t>{0});
    QCOMPARE(recorder().events().front().route, Route::DevMgr);
    QCOMPARE(deviceStatus(), int(DEVICE_STATUS_AVAILABLE));
    QVERIFY(!card().card(index)->fingerprintLocked);

    // Unlocked: a further good image changes nothing.
    recorder().clear();
    card().touchFingerprint(VERIFYIND_GOOD_IMAGE);
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{6620});
}

void TestVirtualCard::secondCardOnlyReportsDetection()
{
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    const int first = card().addCard(cardConfig("Card A"));
    QVERIFY(card().waitIdle());
    recorder().clear();

    card().addCard(cardConfig("Card B"));
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{6606});
    QCOMPARE(deviceNames(recorder().events().front()), QStringList({"Card A", "Card B"}));
    QCOMPARE(card().currentCard(), first);
    QCOMPARE(deviceNameOfCurrent(), QString("Card A"));
}

void TestVirtualCard::unplugReportsRemainingCards()
{
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    const int first = card().addCard(cardConfig("Card A"));
    card().addCard(cardConfig("Card B"));
    QVERIFY(card().waitIdle());
    recorder().clear();

    QVERIFY(card().unplug(first));
    QVERIFY(!card().unplug(first));
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{6601});
    QCOMPARE(deviceNames(recorder().events().front()), QStringList{"Card B"});
    QCOMPARE(card().currentCard(), -1);
    QCOMPARE(deviceStatus(), int(DEVICE_STATUS_NO_DEVICE));
    QCOMPARE(deviceNameOfCurrent(), QString("<failed>"));

    // Plugged back in while none is current: it starts again, listed last.
    recorder().clear();
    QVERIFY(card().plug(first));
    QVERIFY(!card().plug(first));
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>({6606, 6600, 6000}) + kPinOffTail);
    QCOMPARE(deviceNames(recorder().events().front()), QStringList({"Card B", "Card A"}));
    QCOMPARE(card().currentCard(), first);
}

void TestVirtualCard::switchRunsChangeSequence()
{
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    card().addCard(cardConfig("Card A"));
    const int second = card().addCard(cardConfig("Card B", true));
    QVERIFY(card().waitIdle());
    recorder().clear();

    const int port = card().card(second)->config.port;
    QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card B", "", port), 0);
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>({6500, 6604, 6501, 6000, 6008, 6011, 6014}));
    const std::vector<RecordedEvent> events = recorder().events();
    QCOMPARE(events[0].route, Route::DevMgr);
    QCOMPARE(events[2].route, Route::DevMgr);
    QCOMPARE(events[3].route, Route::Init);
    QCOMPARE(card().currentCard(), second);
    QCOMPARE(deviceNameOfCurrent(), QString("Card B"));
    int currentPort = 0;
    QCOMPARE(UTPS_DevSrv_GetDevicePort(&currentPort), 0);
    QCOMPARE(currentPort, port);
}

void TestVirtualCard::switchRefusals_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("port");
    QTest::addColumn<int>("result");

    // Card A on port 1 is current, Card B on port 2 plugged, Card C on port 3 not.
    QTest::newRow("the current card") << QByteArray("Card A") << 1 << 0;
    QTest::newRow("unknown name") << QByteArray("Card X") << 2 << 1;
    QTest::newRow("right name, wrong port") << QByteArray("Card B") << 3 << 1;
    QTest::newRow("card not plugged") << QByteArray("Card C") << 3 << 1;
    QTest::newRow("no name") << QByteArray() << 2 << 1;
}

void TestVirtualCard::switchRefusals()
{
    QFETCH(QByteArray, name);
    QFETCH(int, port);
    QFETCH(int, result);

    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    card().addCard(cardConfig("Card A"));
    card().addCard(cardConfig("Card B"));
    sim::CardConfig unplugged = cardConfig("Card C");
    unplugged.plugged = false;
    card().addCard(unplugged);
    QVERIFY(card().waitIdle());
    recorder().clear();

    QCOMPARE(UTPS_DevSrv_ManualChangeDevice(name.isNull() ? nullptr : name.constData(), "", port),
             result);
    QVERIFY(card().waitIdle());
    QCOMPARE(recorder().count(), 0);
    QCOMPARE(card().currentCard(), 0);
}

void TestVirtualCard::detectionReportsPluggedCards()
{
    EventRecorder::registerDevMgr();
    card().addCard(cardConfig("Card A"));
    sim::CardConfig unplugged = cardConfig("Card C");
    unplugged.plugged = false;
    unplugged.port = 9;
    card().addCard(unplugged);
    card().addCard(cardConfig("Card B"));
    QVERIFY(card().waitIdle());
    recorder().clear();

    QCOMPARE(UTPS_DevSrv_DetectDevice(), 0);
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{6606});
    const RecordedEvent event = recorder().events().front();
    QCOMPARE(event.deviceCount, 2);
    // Automatic ports skip the one Card C asked for.
    QCOMPARE(event.devices, (std::vector<DeviceEntry>{{"Card A", 1, 1}, {"Card B", 2, 1}}));
}

void TestVirtualCard::wordEvents_data()
{
    QTest::addColumn<int>("action");
    QTest::addColumn<int>("code");
    QTest::addColumn<QList<uint>>("words");

    QTest::newRow("radio flipped") << 0 << 6615 << QList<uint>{1, 0};
    QTest::newRow("power event") << 1 << 6616 << QList<uint>{3};
    QTest::newRow("SIM state") << 2 << 6619 << QList<uint>{255};
    QTest::newRow("finger") << 3 << 6620 << QList<uint>{12};
}

void TestVirtualCard::wordEvents()
{
    QFETCH(int, action);
    QFETCH(int, code);
    QFETCH(QList<uint>, words);

    EventRecorder::registerDevMgr();
    card().addCard(cardConfig("Card A"));
    QVERIFY(card().waitIdle());
    recorder().clear();

    switch (action) {
    case 0:
        card().setRadio(0, 1); // hardware off, software on
        break;
    case 1:
        card().powerEvent(3);
        break;
    case 2:
        card().setSimState(255);
        break;
    case 3:
        card().touchFingerprint(12);
        break;
    }
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>{code});
    QCOMPARE(wordList(recorder().events().front()), words);
}

void TestVirtualCard::rawEvents()
{
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    card().addCard(cardConfig("Card A"));
    QVERIFY(card().waitIdle());
    recorder().clear();
    recorder().setWordCount(7777, 3);

    card().raiseEvent(6619, std::nullopt);
    card().raiseEvent(7777, std::vector<uint32_t>{1, 2, 3});
    card().raiseEvent(6620, std::vector<uint32_t>{});
    card().raiseEvent(6016, std::nullopt);
    card().raiseDeviceListEvent(6010);
    QVERIFY(card().waitIdle());

    const std::vector<RecordedEvent> events = recorder().events();
    QCOMPARE(recordedCodes(), QList<int>({6619, 7777, 6620, 6016, 6010}));
    QVERIFY(events[0].nullPayload);
    QCOMPARE(events[1].words, (std::vector<uint32_t>{1, 2, 3}));
    QVERIFY(!events[2].nullPayload);
    QVERIFY(events[3].nullPayload);
    QCOMPARE(events[3].route, Route::Init);
    QCOMPARE(deviceNames(events[4]), QStringList{"Card A"});
    QCOMPARE(events[4].route, Route::DevMgr); // a list update, though among the init codes
}

void TestVirtualCard::routing_data()
{
    QTest::addColumn<bool>("initCallback");
    QTest::addColumn<bool>("devMgrCallback");
    QTest::addColumn<bool>("multiCallback");
    QTest::addColumn<bool>("dropDevMgr"); // unregistered again before the events
    QTest::addColumn<QStringList>("delivered");

    const QString init = "6000 init";
    QTest::newRow("all three") << true << true << true << false
                               << QStringList{init, "6606 devmgr", "6620 devmgr"};
    QTest::newRow("init and multi-device")
        << true << false << true << false << QStringList{init, "6606 multi", "6620 multi"};
    QTest::newRow("device manager unregistered")
        << true << true << true << true << QStringList{init, "6606 multi", "6620 multi"};
    QTest::newRow("device manager only")
        << false << true << false << false << QStringList{"6606 devmgr", "6620 devmgr"};
    QTest::newRow("init only") << true << false << false << false << QStringList{init};
    QTest::newRow("none") << false << false << false << false << QStringList{};
}

void TestVirtualCard::routing()
{
    QFETCH(bool, initCallback);
    QFETCH(bool, devMgrCallback);
    QFETCH(bool, multiCallback);
    QFETCH(bool, dropDevMgr);
    QFETCH(QStringList, delivered);

    if (initCallback)
        EventRecorder::registerInit();
    if (devMgrCallback)
        EventRecorder::registerDevMgr();
    if (multiCallback)
        EventRecorder::registerMultiDevice();
    if (dropDevMgr)
        QCOMPARE(UTPS_DevSrv_UnRegisterDevMgrCallback(), 0);

    card().raiseEvent(6000, std::nullopt);
    card().raiseDeviceListEvent(6606);
    card().raiseEvent(6620, std::vector<uint32_t>{0});
    QVERIFY(card().waitIdle());
    QCOMPARE(card().pendingEvents(), 0);

    QStringList seen;
    for (const RecordedEvent& event : recorder().events())
        seen.append(QString("%1 %2").arg(event.code).arg(routeName(event.route)));
    QCOMPARE(seen, delivered);
}

void TestVirtualCard::initiallyPluggedCardsStartAtRegistration_data()
{
    QTest::addColumn<bool>("viaMultiDevice");
    QTest::newRow("device-manager callback") << false;
    QTest::newRow("multi-device callback") << true;
}

void TestVirtualCard::initiallyPluggedCardsStartAtRegistration()
{
    QFETCH(bool, viaMultiDevice);

    card().addCard(cardConfig("Card A"));
    card().addCard(cardConfig("Card B"));
    EventRecorder::registerInit();
    QVERIFY(card().waitIdle());
    QCOMPARE(recorder().count(), 0);
    QCOMPARE(card().currentCard(), -1);

    if (viaMultiDevice)
        EventRecorder::registerMultiDevice();
    else
        EventRecorder::registerDevMgr();
    QVERIFY(card().waitIdle());
    QCOMPARE(recordedCodes(), QList<int>({6606, 6600, 6000}) + kPinOffTail + QList<int>{6606});
    const std::vector<RecordedEvent> events = recorder().events();
    QCOMPARE(deviceNames(events.front()), QStringList({"Card A", "Card B"}));
    QCOMPARE(events.front().route, viaMultiDevice ? Route::MultiDevice : Route::DevMgr);
    QCOMPARE(card().currentCard(), 0);

    // Only the first registration starts them.
    recorder().clear();
    EventRecorder::registerMultiDevice();
    EventRecorder::registerDevMgr();
    QVERIFY(card().waitIdle());
    QCOMPARE(recorder().count(), 0);
}

void TestVirtualCard::eventGapSpacesDeliveries()
{
    EventRecorder::registerDevMgr();
    card().setEventGapMs(80);
    for (uint32_t i = 0; i < 3; ++i)
        card().powerEvent(i);
    QVERIFY(card().waitIdle());

    const std::vector<RecordedEvent> events = recorder().events();
    QCOMPARE(events.size(), std::size_t(3));
    for (std::size_t i = 1; i < events.size(); ++i) {
        const auto gap =
            std::chrono::duration_cast<std::chrono::milliseconds>(events[i].at - events[i - 1].at);
        QVERIFY2(gap.count() >= 75, qPrintable(QString("gap %1 ms").arg(gap.count())));
        QCOMPARE(events[i].words, std::vector<uint32_t>{uint32_t(i)});
    }
}

void TestVirtualCard::resetWaitsForRunningDelivery()
{
    std::atomic<bool> inCallback{false};
    std::atomic<bool> finished{false};
    recorder().setHook([&](int) {
        inCallback = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        finished = true;
    });
    EventRecorder::registerDevMgr();
    for (uint32_t i = 0; i < 20; ++i)
        card().powerEvent(i);
    QTRY_VERIFY(inCallback);

    card().reset();
    QVERIFY(finished); // reset returned only after the running delivery ended
    QCOMPARE(card().pendingEvents(), 0);
    QVERIFY(card().waitIdle());
    QCOMPARE(recorder().count(), 1); // the rest of the queue was dropped
}

void TestVirtualCard::callbacksMayCallTheSdk()
{
    std::atomic<int> statusInCallback{-1};
    std::atomic<int> pendingInCallback{-1};
    recorder().setHook([&](int code) {
        if (code != UTPS_EVENT_DEV_ACTIVE)
            return;
        _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_REJECTED;
        UTPS_DevSrv_GetDevStatus(&status);
        statusInCallback = status;
        pendingInCallback = card().pendingEvents();
        card().reset(); // must not wait for its own delivery
    });
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    card().addCard(cardConfig("Card A"));
    QVERIFY(card().waitIdle());
    QCOMPARE(statusInCallback.load(), int(DEVICE_STATUS_AVAILABLE));
    QVERIFY(pendingInCallback.load() >= 1);
    // The reset inside the callback dropped the rest of the plug sequence.
    QCOMPARE(recordedCodes(), QList<int>({6606, 6600}));
}

void TestVirtualCard::callsWithoutCard_data()
{
    QTest::addColumn<int>("call");
    const char* names[] = {"name",      "port",          "SIM status", "product type", "IMSI",
                           "RF switch", "set RF switch", "offline",    "PS state"};
    for (int i = 0; i < 9; ++i)
        QTest::newRow(names[i]) << i;
}

void TestVirtualCard::callsWithoutCard()
{
    QFETCH(int, call);

    // A card that was plugged and pulled again: nothing is current.
    const int index = card().addCard(cardConfig("Card A"));
    QVERIFY(card().unplug(index));
    char text[32] = "untouched";
    int value = -99;
    _UTPS_ST_RF_SWITCH rf{-99, -99};
    const int results[] = {
        call == 0 ? UTPS_DevSrv_GetDeviceName(text) : 1,
        call == 1 ? UTPS_DevSrv_GetDevicePort(&value) : 1,
        call == 2 ? UTPS_DevSrv_GetSimStatus(&value) : 1,
        call == 3 ? UTPS_DevSrv_GetProductType(&value) : 1,
        call == 4 ? UTPS_DevSrv_GetImsiInfo(text) : 1,
        call == 5 ? UTPS_DevSrv_GetRFSwitch(&rf) : 1,
        call == 6 ? UTPS_DevSrv_SetRFSwitch(0) : 1,
        call == 7 ? UTPS_DevSrv_SetOffline() : 1,
        call == 8 ? UTPS_NetSrv_SetPSState(0) : 1,
    };
    QCOMPARE(results[call], 1);
    QCOMPARE(QByteArray(text), QByteArray("untouched"));
    QCOMPARE(value, -99);
    QCOMPARE(rf.nState, -99);
    QCOMPARE(deviceStatus(), int(DEVICE_STATUS_NO_DEVICE));
    QCOMPARE(card().card(index)->psState, 1);
    QVERIFY(!card().card(index)->offline);
}

void TestVirtualCard::currentCardAnswers()
{
    EventRecorder::registerDevMgr();
    sim::CardConfig config = cardConfig("Card U", false, 5);
    config.port = 7;
    config.productType = 1;
    config.sim.imsi = "460001234567890";
    card().addCard(config);

    int port = 0, productType = 0, simStatus = 0;
    QCOMPARE(UTPS_DevSrv_GetDevicePort(&port), 0);
    QCOMPARE(UTPS_DevSrv_GetProductType(&productType), 0);
    QCOMPARE(UTPS_DevSrv_GetSimStatus(&simStatus), 0);
    char imsi[UTPS_IMSI_LEN] = {};
    QCOMPARE(UTPS_DevSrv_GetImsiInfo(imsi), 0);
    QCOMPARE(port, 7);
    QCOMPARE(productType, 1);
    QCOMPARE(simStatus, 5);
    QCOMPARE(QByteArray(imsi), QByteArray("460001234567890"));

    card().setSimState(42);
    QCOMPARE(UTPS_DevSrv_GetSimStatus(&simStatus), 0);
    QCOMPARE(simStatus, 42);
}

void TestVirtualCard::imsiNeedsUsableSim_data()
{
    QTest::addColumn<int>("word");
    QTest::addColumn<int>("result");
    QTest::newRow("0: no SIM") << 0 << 1;
    QTest::newRow("1") << 1 << 0;
    QTest::newRow("254") << 254 << 0;
    QTest::newRow("255") << 255 << 1;
    QTest::newRow("300") << 300 << 1;
}

void TestVirtualCard::imsiNeedsUsableSim()
{
    QFETCH(int, word);
    QFETCH(int, result);

    EventRecorder::registerDevMgr();
    card().addCard(cardConfig("Card A"));
    card().setSimState(word);
    char imsi[UTPS_IMSI_LEN + 4];
    std::memset(imsi, 'x', sizeof imsi);
    QCOMPARE(UTPS_DevSrv_GetImsiInfo(imsi), result);
    if (result == 0) {
        QCOMPARE(QByteArray(imsi), QByteArray("262019876543210"));
        QCOMPARE(imsi[UTPS_IMSI_LEN], 'x');
    } else {
        QCOMPARE(imsi[0], 'x');
    }
}

void TestVirtualCard::shortNameIsTruncated_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("shortLength");
    QTest::addColumn<int>("listLength");
    QTest::newRow("5") << 5 << 5 << 5;
    QTest::newRow("23") << 23 << 23 << 23;
    QTest::newRow("24") << 24 << 23 << 24;
    QTest::newRow("40") << 40 << 23 << 40;
    QTest::newRow("127") << 127 << 23 << 127;
    QTest::newRow("200") << 200 << 23 << 127;
}

void TestVirtualCard::shortNameIsTruncated()
{
    QFETCH(int, length);
    QFETCH(int, shortLength);
    QFETCH(int, listLength);

    std::string name;
    for (int i = 0; i < length; ++i)
        name += char('A' + i % 26);
    EventRecorder::registerDevMgr();
    card().addCard(cardConfig(name));

    char buffer[UTPS_SHORT_NAME_LEN + 8];
    std::memset(buffer, '#', sizeof buffer);
    QCOMPARE(UTPS_DevSrv_GetDeviceName(buffer), 0);
    QCOMPARE(QByteArray(buffer), QByteArray::fromStdString(name.substr(0, shortLength)));
    for (std::size_t i = UTPS_SHORT_NAME_LEN; i < sizeof buffer; ++i)
        QCOMPARE(buffer[i], '#');

    _UTPS_ST_MULTI_DEVICE_INFO list;
    std::memset(&list, '#', sizeof list);
    QCOMPARE(UTPS_DevSrv_GetAvailableDeviceList(&list), 0);
    QCOMPARE(list.nDevNum, 1);
    QCOMPARE(QByteArray(list.stDevInfo[0].szDeviceName),
             QByteArray::fromStdString(name.substr(0, listLength)));
}

void TestVirtualCard::deviceListOf64Cards()
{
    EventRecorder::registerDevMgr();
    for (int i = 0; i < MAX_DEVICE_COUNT; ++i)
        card().addCard(cardConfig("Card " + std::to_string(i)));
    QVERIFY(card().waitIdle());

    _UTPS_ST_MULTI_DEVICE_INFO list{};
    QCOMPARE(UTPS_DevSrv_GetAvailableDeviceList(&list), 0);
    QCOMPARE(list.nDevNum, MAX_DEVICE_COUNT);
    for (int i = 0; i < MAX_DEVICE_COUNT; ++i) {
        QCOMPARE(QByteArray(list.stDevInfo[i].szDeviceName),
                 QByteArray("Card ") + QByteArray::number(i));
        QCOMPARE(list.stDevInfo[i].nPort, i + 1);
    }
    const RecordedEvent last = recorder().events().back();
    QCOMPARE(last.code, 6606);
    QCOMPARE(last.deviceCount, MAX_DEVICE_COUNT);

    // A 65th card is plugged but cannot be listed.
    card().addCard(cardConfig("Card 64"));
    QVERIFY(card().waitIdle());
    QCOMPARE(UTPS_DevSrv_GetAvailableDeviceList(&list), 0);
    QCOMPARE(list.nDevNum, MAX_DEVICE_COUNT);
    QCOMPARE(QByteArray(list.stDevInfo[63].szDeviceName), QByteArray("Card 63"));
    QCOMPARE(recorder().events().back().deviceCount, MAX_DEVICE_COUNT);
}

void TestVirtualCard::radioSwitch_data()
{
    QTest::addColumn<bool>("supported");
    QTest::addColumn<int>("sw");
    QTest::addColumn<int>("hw");
    QTest::addColumn<int>("stateBefore");
    QTest::addColumn<int>("on");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("stateAfter");
    QTest::addColumn<QList<uint>>("event"); // 6615 words, empty: no event

    QTest::newRow("switch off") << true << 1 << 1 << 1 << 0 << 0 << 0 << QList<uint>{0, 1};
    QTest::newRow("switch on") << true << 0 << 1 << 0 << 1 << 0 << 1 << QList<uint>{1, 1};
    QTest::newRow("on, hardware off") << true << 0 << 0 << 0 << 1 << 1 << 0 << QList<uint>{};
    QTest::newRow("off, hardware off") << true << 1 << 0 << 0 << 0 << 0 << 0 << QList<uint>{0, 0};
    QTest::newRow("not supported") << false << 1 << 1 << 1 << 0 << 1 << 1 << QList<uint>{};
}

void TestVirtualCard::radioSwitch()
{
    QFETCH(bool, supported);
    QFETCH(int, sw);
    QFETCH(int, hw);
    QFETCH(int, stateBefore);
    QFETCH(int, on);
    QFETCH(int, result);
    QFETCH(int, stateAfter);
    QFETCH(QList<uint>, event);

    EventRecorder::registerDevMgr();
    sim::CardConfig config = cardConfig("Card A");
    config.rf = sim::RfConfig{supported, sw, hw};
    card().addCard(config);
    QVERIFY(card().waitIdle());
    recorder().clear();

    _UTPS_ST_RF_SWITCH rf{-1, -1};
    QCOMPARE(UTPS_DevSrv_GetRFSwitch(&rf), 0);
    QCOMPARE(rf.nState, stateBefore);
    QCOMPARE(rf.nSupport, supported ? 1 : 0);

    QCOMPARE(UTPS_DevSrv_SetRFSwitch(on), result);
    QCOMPARE(UTPS_DevSrv_GetRFSwitch(&rf), 0);
    QCOMPARE(rf.nState, stateAfter);
    QVERIFY(card().waitIdle());
    if (event.isEmpty()) {
        QCOMPARE(recorder().count(), 0);
        return;
    }
    QCOMPARE(recordedCodes(), QList<int>{6615});
    QCOMPARE(wordList(recorder().events().front()), event);
}

void TestVirtualCard::offlineAndDetach()
{
    EventRecorder::registerDevMgr();
    const int index = card().addCard(cardConfig("Card A"));
    QVERIFY(!card().card(index)->offline);
    QCOMPARE(card().card(index)->psState, 1);

    QCOMPARE(UTPS_DevSrv_SetOffline(), 0);
    QCOMPARE(UTPS_NetSrv_SetPSState(0), 0);
    QVERIFY(card().card(index)->offline);
    QCOMPARE(card().card(index)->psState, 0);
}

void TestVirtualCard::answerOverrides_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("flag");
    QTest::addColumn<QList<int>>("model");      // the card's own answer
    QTest::addColumn<QList<int>>("overridden"); // the answer while overridden

    // A card with PIN protection off and 3 tries, radio on and switchable.
    QTest::newRow("PIN status 2 with flag 1")
        << "pin" << 2 << 1 << QList<int>{8, 0, 3} << QList<int>{2, 1, 3};
    QTest::newRow("unmapped PIN status 6")
        << "pin" << 6 << 0 << QList<int>{8, 0, 3} << QList<int>{6, 0, 3};
    QTest::newRow("radio state 2") << "rf" << 2 << 0 << QList<int>{1, 1} << QList<int>{2, 1};
    QTest::newRow("device initialising") << "dev" << 2 << 0 << QList<int>{3} << QList<int>{2};
}

void TestVirtualCard::answerOverrides()
{
    QFETCH(QString, kind);
    QFETCH(int, value);
    QFETCH(int, flag);
    QFETCH(QList<int>, model);
    QFETCH(QList<int>, overridden);

    EventRecorder::registerDevMgr();
    QVERIFY(!overrideAnswer(kind, value, uint8_t(flag))); // no card is current
    card().addCard(cardConfig("Card A"));
    const int second = card().addCard(cardConfig("Card B"));
    QCOMPARE(sdkAnswer(kind), model);

    QVERIFY(overrideAnswer(kind, value, uint8_t(flag)));
    QCOMPARE(sdkAnswer(kind), overridden);
    // Requests that change the model's state do not end it.
    QCOMPARE(UTPS_DevSrv_SetRFSwitch(0), 0);
    QCOMPARE(UTPS_DevSrv_SetRFSwitch(1), 0);
    unsigned char left = 0;
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, "1234", &left), 0);
    QCOMPARE(sdkAnswer(kind), overridden);

    // It belongs to the card that was current: another card answers for
    // itself, and the first one still has it when it is current again.
    const int secondPort = card().card(second)->config.port;
    QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card B", "", secondPort), 0);
    QCOMPARE(sdkAnswer(kind), model);
    QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card A", "", card().card(0)->config.port), 0);
    QCOMPARE(sdkAnswer(kind), overridden);

    QVERIFY(overrideAnswer(kind, std::nullopt, 0));
    QCOMPARE(sdkAnswer(kind), model);
}

void TestVirtualCard::wwanAnswers_data()
{
    QTest::addColumn<bool>("win7");
    QTest::addColumn<int>("readyAfter");
    QTest::addColumn<bool>("active");
    QTest::addColumn<int>("isWin7");
    QTest::addColumn<QList<int>>("readyPolls");
    QTest::addColumn<int>("serviceActive");

    QTest::newRow("default host") << false << 0 << true << 1 << QList<int>{0, 0, 0} << 0;
    QTest::newRow("ready after two polls") << true << 2 << true << 0 << QList<int>{1, 1, 0, 0} << 0;
    QTest::newRow("service inactive") << true << 9 << false << 0 << QList<int>{1, 1, 1} << -1;
}

void TestVirtualCard::wwanAnswers()
{
    QFETCH(bool, win7);
    QFETCH(int, readyAfter);
    QFETCH(bool, active);
    QFETCH(int, isWin7);
    QFETCH(QList<int>, readyPolls);
    QFETCH(int, serviceActive);

    sim::HostConfig host;
    host.win7 = win7;
    host.wwanReadyAfter = readyAfter;
    host.wwanServiceActive = active;
    card().setHost(host);

    QCOMPARE(UTPS_DevSrv_IsWin7(), isWin7);
    QList<int> polls;
    for (int i = 0; i < readyPolls.size(); ++i)
        polls.append(UTPS_DevSrv_IsWWanReady());
    QCOMPARE(polls, readyPolls);
    QCOMPARE(UTPS_DevSrv_IsWWanServiceActive(), serviceActive);
    QCOMPARE(card().host().wwanReadyAfter, readyAfter);
}

QTEST_GUILESS_MAIN(TestVirtualCard)
#include "tst_virtualcard.moc"
