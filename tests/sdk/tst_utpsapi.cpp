// The device SDK through its C API on the virtual card: SIM rules, events and
// their routing, overridden answers, and the dispatch layer around them.
#include "EventRecorder.h"

#include <sim/VirtualCard.h>
#include <utps.h>

#include <QtTest>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <future>
#include <thread>

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

// Adds cards with the init and device-manager callbacks registered, then
// forgets their plug events and calls.
void addCards(const QList<sim::CardConfig>& configs)
{
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    for (const sim::CardConfig& config : configs)
        card().addCard(config);
    card().waitIdle();
    card().clearCallLog();
    EventRecorder::clear();
}

const QByteArray kPin = "1234";
const QByteArray kPuk = "12345678";
constexpr int kNone = -1; // the request has no retries output

// One PIN or PUK request on a card with SIM word 7, PIN protection on and 3 PIN
// and 10 PUK tries, unless the row says otherwise; unless it says so too, the
// request succeeds without a retries output, the PIN stays and no event follows.
struct PinCase
{
    sim::CardConfig config = cardConfig("Card A", true, 7);
    std::function<QList<int>()> request; // its result and retries output
    int result = 0, retriesOut = kNone;
    QList<int> status; // UTPS_DevSrv_GetPinStatus's status and retries afterwards
    QByteArray pinAfter = kPin;
    bool simReady = false; // UTPS_EVENT_DEV_SIM_STATE_CHANGE [7] raised

    // clang-format off
    PinCase& pinOff() { config.sim.pinEnabled = false; return *this; }
    PinCase& pinTries(int n) { config.sim.pinRetries = n; return *this; }
    PinCase& pukTries(int n) { config.sim.pukRetries = n; return *this; }
    PinCase& wwanOwnsPin() { config.wwanPrivilege = true; return *this; }
    PinCase& verify(QByteArray pin) { request = [=] { unsigned char n = 0xAA; return QList<int>{UTPS_DevSrv_VerifyPin(0, pin, &n), n}; }; return *this; }
    PinCase& unblock(QByteArray puk, QByteArray pin) { request = [=] { unsigned char n = 0xAA; return QList<int>{UTPS_DevSrv_UnblockPin(0, puk, pin, &n), n}; }; return *this; }
    PinCase& enable(QByteArray pin) { request = [=] { return QList<int>{UTPS_DevSrv_EnablePin(0, pin), kNone}; }; return *this; }
    PinCase& disable(QByteArray pin) { request = [=] { return QList<int>{UTPS_DevSrv_DisablePin(0, pin), kNone}; }; return *this; }
    PinCase& change(QByteArray pin, QByteArray newPin) { request = [=] { return QList<int>{UTPS_DevSrv_ChangePin(0, pin, newPin), kNone}; }; return *this; }
    PinCase& fails(int code) { result = code; return *this; }
    PinCase& left(int n) { retriesOut = n; return *this; }
    PinCase& pinStatus(int code, int retries) { status = {code, retries}; return *this; }
    PinCase& newPin(QByteArray pin) { pinAfter = pin; return *this; }
    PinCase& ready() { simReady = true; return *this; }
    // clang-format on
};

using Action = std::function<void()>;
using ApiCall = std::function<int()>;

// Init codes reach the init callback, all others the device manager's, and
// every one arrives on the same thread, which is not the caller's.
bool deliveredAsTheSdkDoes()
{
    const QList<Delivery> events = EventRecorder::events();
    for (const Delivery& event : events) {
        const bool init =
            event.code >= UTPS_EVENT_DEV_INIT_BEGIN && event.code <= UTPS_EVENT_DEV_FPLOCK;
        if (event.route != (init ? "init" : "devmgr") ||
            event.thread == std::this_thread::get_id() || event.thread != events[0].thread)
            return false;
    }
    return true;
}

// Result, status, both flags and retries of UTPS_DevSrv_GetPinStatus.
QList<int> pinStatus()
{
    int status = -99;
    unsigned char flag = 0xAA, flag2 = 0xAA, retries = 0xAA;
    const int result = UTPS_DevSrv_GetPinStatus(0, &status, &flag, &flag2, &retries);
    return {result, status, flag, flag2, retries};
}

// What an override stands in for: the PIN status, the radio state and
// support, or the device status.
QList<int> sdkAnswer(const QString& kind)
{
    if (kind == "pin")
        return pinStatus();
    if (kind == "rf") {
        _UTPS_ST_RF_SWITCH rf{-99, -99};
        UTPS_DevSrv_GetRFSwitch(&rf);
        return {rf.nState, rf.nSupport};
    }
    _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_REJECTED;
    return {UTPS_DevSrv_GetDevStatus(&status) == 0 ? int(status) : -1};
}

bool overrideAnswer(const QString& kind, std::optional<int> value)
{
    if (kind == "pin")
        return card().overridePinStatus(value, 1);
    return kind == "rf" ? card().overrideRfState(value) : card().overrideDevStatus(value);
}

const QList<int> kPinOff{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_DEVICE_NO_PIN,
                         UTPS_EVENT_DEV_DEVICE_INIT_FINISH, UTPS_EVENT_DEV_SIM_STATE_CHANGE};

// Child mode (UTPS_PROBE set): three calls on a card, then the call log's size.
int runProbe()
{
    card().addCard(sim::CardConfig{});
    unsigned char left = 0;
    _UTPS_EN_DEVICE_STATUS status;
    const int results[] = {UTPS_DevSrv_RegisterDevMgrCallback([](int, void*) { return 1; }),
                           UTPS_DevSrv_GetDevStatus(&status),
                           UTPS_DevSrv_VerifyPin(0, "1234", &left)};
    std::printf("%d %d %d, %d logged\n", results[0], results[1], results[2],
                int(card().callLog().size()));
    return 0;
}

} // namespace

Q_DECLARE_METATYPE(PinCase)
Q_DECLARE_METATYPE(Action)
Q_DECLARE_METATYPE(ApiCall)

class TestUtpsApi : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        card().reset();
        EventRecorder::clear();
    }
    void cleanup() { card().reset(); }

    void pinRequests_data()
    {
        QTest::addColumn<PinCase>("c");
        const QByteArray bad = "4321", badPuk = "87654321";
        // clang-format off
        QTest::newRow("verify right") << PinCase().verify(kPin).left(3).pinStatus(1, 3).ready();
        QTest::newRow("verify right restores counter") << PinCase().pinTries(1).verify(kPin).left(3).pinStatus(1, 3).ready();
        QTest::newRow("verify wrong costs a try") << PinCase().verify(bad).fails(-1).left(2).pinStatus(2, 2);
        QTest::newRow("verify wrong, last try: PUK") << PinCase().pinTries(1).verify(bad).fails(-1).left(0).pinStatus(3, 10);
        QTest::newRow("verify while PUK required") << PinCase().pinTries(0).verify(kPin).fails(-1).left(0).pinStatus(3, 10);
        QTest::newRow("verify PIN too short") << PinCase().verify("123").fails(1).left(3).pinStatus(2, 3);
        QTest::newRow("enable right") << PinCase().pinOff().pinTries(2).enable(kPin).pinStatus(1, 3);
        QTest::newRow("enable wrong") << PinCase().pinOff().pinTries(2).enable(bad).fails(-1).pinStatus(8, 1);
        QTest::newRow("disable right") << PinCase().pinTries(2).disable(kPin).pinStatus(8, 3).ready();
        QTest::newRow("disable, third wrong PIN") << PinCase().pinTries(1).disable(bad).fails(-1).pinStatus(3, 10);
        QTest::newRow("change right") << PinCase().pinTries(2).change(kPin, badPuk).pinStatus(1, 3).newPin(badPuk).ready();
        QTest::newRow("change wrong old PIN") << PinCase().change(bad, "5678").fails(-1).pinStatus(2, 2);
        QTest::newRow("change, new PIN too short") << PinCase().change(kPin, "567").fails(1).pinStatus(2, 3);
        QTest::newRow("unblock right, PUK counter restored") << PinCase().pinTries(0).pukTries(4).unblock(kPuk, bad).left(10).pinStatus(1, 3).newPin(bad).ready();
        QTest::newRow("unblock wrong PUK") << PinCase().pinTries(0).unblock(badPuk, bad).fails(-1).left(9).pinStatus(3, 9);
        QTest::newRow("unblock, tenth wrong PUK blocks") << PinCase().pinTries(0).pukTries(1).unblock(badPuk, bad).fails(-1).left(0).pinStatus(4, 0);
        QTest::newRow("unblock while blocked") << PinCase().pinTries(0).pukTries(0).unblock(kPuk, bad).fails(-1).left(0).pinStatus(4, 0);
        QTest::newRow("unblock, PUK too short") << PinCase().pinTries(0).unblock("1234567", bad).fails(1).left(10).pinStatus(3, 10);
        QTest::newRow("unblock refused: WWAN owns the PIN") << PinCase().pinTries(0).wwanOwnsPin().unblock(kPuk, bad).fails(UTPS_ERROR_WWAN_PRIVILEGE).left(10).pinStatus(3, 10);
        // clang-format on
    }
    void pinRequests()
    {
        QFETCH(PinCase, c);
        addCards({c.config});
        QCOMPARE(c.request(), (QList<int>{c.result, c.retriesOut}));
        QCOMPARE(pinStatus(), (QList<int>{0, c.status[0], 0, 0, c.status[1]}));
        QCOMPARE(QByteArray::fromStdString(card().card(0)->config.sim.pin), c.pinAfter);
        // A SIM waiting for its code reports its state word once the right one was given.
        QVERIFY(card().waitIdle());
        QCOMPARE(EventRecorder::codes(),
                 c.simReady ? QList<int>{UTPS_EVENT_DEV_SIM_STATE_CHANGE} : QList<int>{});
        if (c.simReady)
            QCOMPARE(EventRecorder::events().front().words, QList<uint>{7});
        QVERIFY(deliveredAsTheSdkDoes());
    }

    void plugSequence_data()
    {
        QTest::addColumn<bool>("pinEnabled");
        QTest::addColumn<int>("simStatus");
        QTest::addColumn<bool>("fingerprint");
        QTest::addColumn<QList<int>>("tail"); // after detected, active, init begin
        QTest::newRow("protection off") << false << 1 << false << kPinOff;
        QTest::newRow("protection on")
            << true << 1 << false
            << QList<int>{UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN,
                          UTPS_EVENT_DEV_DEVICE_INIT_FINISH};
        QTest::newRow("no SIM") << false << 0 << false
                                << QList<int>{UTPS_EVENT_DEV_SIM_INVALID,
                                              UTPS_EVENT_DEV_DEVICE_NO_PIN,
                                              UTPS_EVENT_DEV_DEVICE_INIT_FINISH,
                                              UTPS_EVENT_DEV_SIM_STATE_CHANGE};
        QTest::newRow("SIM word 255, protection on")
            << true << 255 << false
            << QList<int>{UTPS_EVENT_DEV_SIM_INVALID, UTPS_EVENT_DEV_CHECK_PIN,
                          UTPS_EVENT_DEV_DEVICE_INIT_FINISH, UTPS_EVENT_DEV_SIM_STATE_CHANGE};
        QTest::newRow("fingerprint card")
            << false << 1 << true << QList<int>{UTPS_EVENT_DEV_FPLOCK} + kPinOff;
    }
    void plugSequence()
    {
        QFETCH(bool, pinEnabled);
        QFETCH(int, simStatus);
        QFETCH(bool, fingerprint);
        QFETCH(QList<int>, tail);
        sim::CardConfig plugged = cardConfig("Card A", pinEnabled, simStatus);
        plugged.protocol = 5;
        plugged.fingerprint = fingerprint;
        EventRecorder::registerInit();
        EventRecorder::registerDevMgr();
        const int index = card().addCard(plugged);
        QVERIFY(card().waitIdle());

        QCOMPARE(EventRecorder::codes(), QList<int>({UTPS_EVENT_DEV_DETECTED, UTPS_EVENT_DEV_ACTIVE,
                                                     UTPS_EVENT_DEV_INIT_BEGIN}) +
                                             tail);
        QVERIFY(deliveredAsTheSdkDoes());
        const QList<Delivery> events = EventRecorder::events();
        QCOMPARE(events.front().devices, QStringList{"Card A:1:5"});
        if (tail.last() == UTPS_EVENT_DEV_SIM_STATE_CHANGE)
            QCOMPARE(events.back().words, QList<uint>{uint(simStatus)});
        QCOMPARE(card().currentCard(), index);
        QCOMPARE(sdkAnswer("dev"), QList<int>{DEVICE_STATUS_AVAILABLE});
        QCOMPARE(card().card(index)->fingerprintLocked, fingerprint);
    }

    void cardsComeAndGo()
    {
        addCards({cardConfig("Card A")});
        card().addCard(cardConfig("Card B", true));
        QVERIFY(card().waitIdle());
        QCOMPARE(EventRecorder::codes(),
                 QList<int>{UTPS_EVENT_DEV_DETECTED}); // a second card only joins the list
        QCOMPARE(EventRecorder::events()[0].devices, QStringList({"Card A:1:1", "Card B:2:1"}));

        EventRecorder::clear(); // refused: unknown name, wrong port, no name
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card X", "", 2), 1);
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card B", "", 3), 1);
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice(nullptr, "", 2), 1);
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card B", "", 2), 0);
        QVERIFY(card().waitIdle());
        QCOMPARE(EventRecorder::codes(),
                 (QList<int>{UTPS_EVENT_DEV_CHANGE_BEGIN, UTPS_EVENT_DEV_SWITCH,
                             UTPS_EVENT_DEV_CHANGE_END, UTPS_EVENT_DEV_INIT_BEGIN,
                             UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN,
                             UTPS_EVENT_DEV_DEVICE_INIT_FINISH}));
        QVERIFY(deliveredAsTheSdkDoes());
        char name[UTPS_SHORT_NAME_LEN] = {};
        QCOMPARE(UTPS_DevSrv_GetDeviceName(name), 0);
        QCOMPARE(QByteArray(name), QByteArray("Card B"));

        EventRecorder::clear();
        QVERIFY(card().unplug(1));
        QVERIFY(card().waitIdle());
        QCOMPARE(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_REJECT});
        QCOMPARE(EventRecorder::events()[0].devices, QStringList{"Card A:1:1"});
        QCOMPARE(card().currentCard(), -1);
        QCOMPARE(sdkAnswer("dev"), QList<int>{DEVICE_STATUS_NO_DEVICE});

        EventRecorder::clear(); // with no card current, a plugged one starts
        QVERIFY(card().plug(1));
        QCOMPARE(UTPS_DevSrv_DetectDevice(), 0);
        QVERIFY(card().waitIdle());
        QCOMPARE(
            EventRecorder::codes(),
            (QList<int>{UTPS_EVENT_DEV_DETECTED, UTPS_EVENT_DEV_ACTIVE, UTPS_EVENT_DEV_INIT_BEGIN,
                        UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN,
                        UTPS_EVENT_DEV_DEVICE_INIT_FINISH, UTPS_EVENT_DEV_DETECTED}));
        QCOMPARE(EventRecorder::events()[0].devices, QStringList({"Card A:1:1", "Card B:2:1"}));
        QCOMPARE(EventRecorder::events().back().devices, EventRecorder::events()[0].devices);
        QVERIFY(deliveredAsTheSdkDoes());
        QCOMPARE(card().currentCard(), 1);
    }

    void routing_data()
    {
        QTest::addColumn<QList<Action>>("registrations");
        QTest::addColumn<QStringList>("delivered");
        const Action init = [] { EventRecorder::registerInit(); };
        const Action devMgr = [] { EventRecorder::registerDevMgr(); };
        const Action multi = [] { EventRecorder::registerMulti(); };
        const Action dropDevMgr = [] { UTPS_DevSrv_UnRegisterDevMgrCallback(); };
        // clang-format off
        QTest::newRow("all three") << QList<Action>{init, devMgr, multi} << QStringList{"begin init", "detected devmgr", "fingerprint devmgr"};
        QTest::newRow("device manager dropped") << QList<Action>{init, devMgr, multi, dropDevMgr} << QStringList{"begin init", "detected multi", "fingerprint multi"};
        QTest::newRow("device manager only") << QList<Action>{devMgr} << QStringList{"detected devmgr", "fingerprint devmgr"};
        QTest::newRow("none") << QList<Action>{} << QStringList{};
        // clang-format on
    }
    void routing()
    {
        QFETCH(QList<Action>, registrations);
        QFETCH(QStringList, delivered);
        for (const Action& registration : registrations)
            registration();
        card().raiseEvent(UTPS_EVENT_DEV_INIT_BEGIN, std::nullopt);
        card().raiseDeviceListEvent(UTPS_EVENT_DEV_DETECTED);
        card().raiseEvent(UTPS_EVENT_DEV_FP_VERIFY, std::vector<uint32_t>{0});
        QVERIFY(card().waitIdle());
        QStringList seen;
        for (const Delivery& event : EventRecorder::events()) {
            const char* raised = event.code == UTPS_EVENT_DEV_INIT_BEGIN  ? "begin"
                                 : event.code == UTPS_EVENT_DEV_DETECTED  ? "detected"
                                 : event.code == UTPS_EVENT_DEV_FP_VERIFY ? "fingerprint"
                                                                          : "other";
            seen.append(QString("%1 %2").arg(raised, event.route));
            QCOMPARE(event.nullPayload,
                     event.code == UTPS_EVENT_DEV_INIT_BEGIN); // a null payload stays null
        }
        QCOMPARE(seen, delivered);
    }

    // A raw event carries the words it was given, then zeros up to the size
    // the header promises for its code: receivers read that much.
    void rawPayloadsArePadded_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QList<uint>>("given");
        QTest::newRow("radio switch, no word") << UTPS_EVENT_DEV_RF_SWITCH << QList<uint>{};
        QTest::newRow("radio switch, one word") << UTPS_EVENT_DEV_RF_SWITCH << QList<uint>{1};
        QTest::newRow("SIM state, no word") << UTPS_EVENT_DEV_SIM_STATE_CHANGE << QList<uint>{};
        QTest::newRow("device detected, count only") << UTPS_EVENT_DEV_DETECTED << QList<uint>{1};
        QTest::newRow("device rejected, no word") << UTPS_EVENT_DEV_REJECT << QList<uint>{};
        QTest::newRow("list update, three words")
            << UTPS_EVENT_DEV_LIST_UPDATE << QList<uint>{2, 7, 1};
        QTest::newRow("init event, more words than needed")
            << UTPS_EVENT_DEV_CHECK_PIN << QList<uint>{5, 6};
    }
    void rawPayloadsArePadded()
    {
        QFETCH(int, code);
        QFETCH(QList<uint>, given);
        EventRecorder::registerInit();
        EventRecorder::registerDevMgr();
        card().raiseEvent(code, std::vector<uint32_t>(given.begin(), given.end()));
        QVERIFY(card().waitIdle());
        QCOMPARE(EventRecorder::events().size(), 1);
        const QByteArray bytes = EventRecorder::events().front().bytes;
        QByteArray expected(static_cast<int>(UTPS_EventPayloadSize(code)), '\0');
        for (int i = 0; i < given.size() && (i + 1) * 4 <= expected.size(); ++i)
            std::memcpy(expected.data() + i * 4, &given[i], 4);
        QCOMPARE(bytes, expected);
    }

    void shortDeviceName()
    {
        for (const std::string name : {"ABCDEFGHIJKLMNOPQRSTUVW", "ABCDEFGHIJKLMNOPQRSTUVWX"}) {
            card().reset(); // 23 characters fit with their terminator, the 24th is cut
            addCards({cardConfig(name)});
            char buffer[UTPS_SHORT_NAME_LEN + 8];
            std::memset(buffer, '#', sizeof buffer);
            QCOMPARE(UTPS_DevSrv_GetDeviceName(buffer), 0);
            QCOMPARE(QByteArray(buffer), QByteArray::fromStdString(name.substr(0, 23)));
            QCOMPARE(QByteArray(buffer + UTPS_SHORT_NAME_LEN, 8), QByteArray(8, '#'));
        }
    }

    void answerOverrides_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("value");
        QTest::addColumn<QList<int>>("model");      // the card's own answer
        QTest::addColumn<QList<int>>("overridden"); // the answer while overridden
        // Cards with PIN protection off and 3 tries, radio on and switchable.
        QTest::newRow("PIN status 2, flag 1")
            << "pin" << 2 << QList<int>{0, 8, 0, 0, 3} << QList<int>{0, 2, 1, 0, 3};
        QTest::newRow("radio state 2") << "rf" << 2 << QList<int>{1, 1} << QList<int>{2, 1};
        QTest::newRow("device initialising") << "dev" << 2 << QList<int>{3} << QList<int>{2};
    }
    void answerOverrides()
    {
        QFETCH(QString, kind);
        QFETCH(int, value);
        QFETCH(QList<int>, model);
        QFETCH(QList<int>, overridden);
        QVERIFY(!overrideAnswer(kind, value)); // no card is current
        addCards({cardConfig("Card A"), cardConfig("Card B")});
        QCOMPARE(sdkAnswer(kind), model);
        QVERIFY(overrideAnswer(kind, value));
        QCOMPARE(sdkAnswer(kind), overridden);
        // It belongs to the card that was current, through a switch and back.
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card B", "", 2), 0);
        QCOMPARE(sdkAnswer(kind), model);
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Card A", "", 1), 0);
        QCOMPARE(sdkAnswer(kind), overridden);
        QVERIFY(overrideAnswer(kind, std::nullopt));
        QCOMPARE(sdkAnswer(kind), model);
    }

    void callLog_data()
    {
        QTest::addColumn<ApiCall>("call");
        QTest::addColumn<QString>("record"); // out-parameters and callbacks are left out
        static unsigned char byte;
        static int value;
        // clang-format off
        QTest::newRow("PIN masked") << ApiCall([] { return UTPS_DevSrv_VerifyPin(0, "1234", &byte); }) << "UTPS_DevSrv_VerifyPin(0, \"****\"(4)) = 0";
        QTest::newRow("PUK and new PIN masked") << ApiCall([] { return UTPS_DevSrv_UnblockPin(0, "12345678", "87654", &byte); }) << "UTPS_DevSrv_UnblockPin(0, \"****\"(8), \"****\"(5)) = 0";
        QTest::newRow("null PIN") << ApiCall([] { return UTPS_DevSrv_ChangePin(0, nullptr, "4321"); }) << "UTPS_DevSrv_ChangePin(0, null, \"****\"(4)) = 1";
        QTest::newRow("null string") << ApiCall([] { return UTPS_DevSrv_ManualChangeDevice(nullptr, "", -3); }) << "UTPS_DevSrv_ManualChangeDevice(null, \"\", -3) = 1";
        QTest::newRow("quote in string") << ApiCall([] { return UTPS_DevSrv_ManualChangeDevice("Card \"A\"", "", 1); }) << "UTPS_DevSrv_ManualChangeDevice(\"Card \\\"A\\\"\", \"\", 1) = 1";
        QTest::newRow("callback") << ApiCall([] { return UTPS_DevSrv_RegisterMultiDeviceEventCallback([](int, void*) { return 1; }); }) << "UTPS_DevSrv_RegisterMultiDeviceEventCallback() = 0";
        QTest::newRow("out-parameter") << ApiCall([] { return UTPS_DevSrv_GetSimStatus(&value); }) << "UTPS_DevSrv_GetSimStatus() = 0";
        // clang-format on
    }
    void callLog()
    {
        QFETCH(ApiCall, call);
        QFETCH(QString, record);
        addCards({cardConfig("Card A")});
        const int result = call();
        const std::vector<sim::CallRecord> log = card().callLog();
        QCOMPARE(log.size(), std::size_t(1));
        QCOMPARE(
            QString("%1(%2) = %3").arg(log[0].function.c_str(), log[0].args.c_str()).arg(result),
            record);
        QCOMPARE(log[0].result, result);
    }

    void faults_data()
    {
        QTest::addColumn<int>("times");
        QTest::newRow("three times") << 3;
        QTest::newRow("until cleared") << -1;
    }
    void faults()
    {
        QFETCH(int, times);
        addCards({cardConfig("Card A", true)});
        card().setFault("UTPS_DevSrv_VerifyPin", 42, times);
        unsigned char left = 0xAA;
        const int failing = times < 0 ? 20 : times;
        for (int i = 0; i < failing; ++i)
            QCOMPARE(UTPS_DevSrv_VerifyPin(0, "9999", &left), 42);
        int port = 0;
        QCOMPARE(UTPS_DevSrv_GetDevicePort(&port), 0); // other functions are not affected
        // A faulted call does nothing else: no output, no try spent.
        QCOMPARE(int(left), 0xAA);
        QCOMPARE(card().card(0)->config.sim.pinRetries, 3);
        if (times < 0)
            card().clearFaults();
        QCOMPARE(UTPS_DevSrv_VerifyPin(0, "9999", &left), -1);
        QCOMPARE(int(left), 2);
        QCOMPARE(card().callLog().size(), std::size_t(failing + 2));
    }

    void latency_data()
    {
        QTest::addColumn<QString>("function");
        QTest::addColumn<bool>("portSlow");
        QTest::newRow("one function") << "UTPS_DevSrv_GetSimStatus" << false;
        QTest::newRow("every function") << "*" << true;
    }
    void latency()
    {
        QFETCH(QString, function);
        QFETCH(bool, portSlow);
        constexpr int kLatencyMs = 100;
        addCards({cardConfig("Card A")});
        card().setLatency(function.toStdString(), kLatencyMs);
        int value = 0;
        QElapsedTimer timer;
        timer.start();
        UTPS_DevSrv_GetSimStatus(&value);
        QVERIFY(timer.restart() >= kLatencyMs);
        UTPS_DevSrv_GetDevicePort(&value);
        QCOMPARE(timer.restart() >= kLatencyMs, portSlow);
        card().setLatency(function.toStdString(), 0);
        UTPS_DevSrv_GetSimStatus(&value);
        QVERIFY(timer.restart() < kLatencyMs);
    }

    void concurrentWrongPinsEachCostATry()
    {
        addCards({cardConfig("Card A", true)});
        for (int round = 0; round < 50; ++round) {
            std::atomic<int> ready{0};
            const auto wrongPin = [&ready] {
                for (++ready; ready < 3;) // all three call at once
                    std::this_thread::yield();
                unsigned char left = 0xAA;
                return UTPS_DevSrv_VerifyPin(0, "0000", &left) == -1 ? int(left) : -1;
            };
            auto first = std::async(std::launch::async, wrongPin);
            auto second = std::async(std::launch::async, wrongPin);
            std::vector<int> left{wrongPin(), first.get(), second.get()};
            std::sort(left.begin(), left.end());
            QCOMPARE(left, (std::vector<int>{0, 1, 2}));
            unsigned char retries = 0;
            QCOMPARE(UTPS_DevSrv_UnblockPin(0, "12345678", "1234", &retries), 0);
        }
        QCOMPARE(card().callLog().size(), std::size_t(50 * 4));
    }

    void userDataDirectory_data()
    {
        QTest::addColumn<QByteArray>("directory"); // as the host configuration holds it: UTF-8
        QTest::newRow("Latin-1 letters") << QByteArray("/home/j\xc3\xbcrgen/Daten/");
        QTest::newRow("beyond the BMP") << QByteArray("/tmp/\xe6\x95\xb0\xf0\x9f\x98\x80/");
        QTest::newRow("empty: failure") << QByteArray();
    }
    void userDataDirectory()
    {
        QFETCH(QByteArray, directory);
        sim::HostConfig host;
        host.userDataDir = directory.toStdString();
        card().setHost(host);
        UTPS_WCHAR* text = nullptr;
        QCOMPARE(UTPS_GetUserDataDirectory(&text), directory.isEmpty() ? 1 : 0);
        QVERIFY(text != nullptr); // handed back even on failure
        const QString received = QString::fromUtf16(text);
        delete[] text;
        QCOMPARE(received, QString::fromUtf8(directory));
        QCOMPARE(UTPS_GetUserDataDirectory(nullptr), 1);
    }

    void backend_data()
    {
        QTest::addColumn<QString>("backend");   // null: no variable at all
        QTest::addColumn<QByteArray>("output"); // the call log works whatever the backend
        QTest::addColumn<QStringList>("errors");
        // clang-format off
        QTest::newRow("unknown: every call fails") << "bogus" << QByteArray("1 1 1, 3 logged\n") << QStringList{"utps: bogus: no such backend: every call fails"};
        QTest::newRow("unset: the virtual card") << QString() << QByteArray("0 0 0, 3 logged\n") << QStringList();
        // clang-format on
    }
    void backend()
    {
        QFETCH(QString, backend);
        QFETCH(QByteArray, output);
        QFETCH(QStringList, errors);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("UTPS_PROBE", "1");
        environment.remove("UTPS_BACKEND");
        if (!backend.isNull())
            environment.insert("UTPS_BACKEND", backend);
        QProcess child;
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitCode(), 0);
        QCOMPARE(child.readAllStandardOutput(), output);
        QCOMPARE(QString(child.readAllStandardError()).split('\n').filter("utps:"), errors);
    }
};

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet("UTPS_PROBE"))
        return runProbe();
    QCoreApplication app(argc, argv);
    TestUtpsApi test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_utpsapi.moc"
