// PIN operations of the access layer against the virtual card's SIM: entry
// rules, state mapping, retry counters and the result code of every request.
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

constexpr char kPin[] = "1234";
constexpr char kPuk[] = "12345678";
constexpr int kUntouched = 42;

// The SIM as the rows describe it: PIN protection, PIN and PUK counters.
sim::CardConfig cardWith(bool pinEnabled, int pinRetries, int pukRetries = 10)
{
    sim::CardConfig config;
    config.sim.pin = kPin;
    config.sim.puk = kPuk;
    config.sim.pinEnabled = pinEnabled;
    config.sim.pinRetries = pinRetries;
    config.sim.pukRetries = pukRetries;
    return config;
}

// Cards only start once someone listens for device events.
int ignoreEvent(int, void*)
{
    return 0;
}

QList<sim::CallRecord> callsOf(const std::string& function)
{
    QList<sim::CallRecord> calls;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog()) {
        if (call.function == function)
            calls.append(call);
    }
    return calls;
}

// The PIN-changing calls a request may make.
int pinRequestCalls()
{
    return callsOf("UTPS_DevSrv_VerifyPin").size() + callsOf("UTPS_DevSrv_EnablePin").size() +
           callsOf("UTPS_DevSrv_DisablePin").size() + callsOf("UTPS_DevSrv_ChangePin").size() +
           callsOf("UTPS_DevSrv_UnblockPin").size();
}

// The states PinStateChanged carried, in order.
QList<int> emittedStates(const QSignalSpy& spy)
{
    QList<int> states;
    for (const QList<QVariant>& arguments : spy)
        states.append(int(arguments.at(0).value<E_DEVMGR_PIN_STATE>()));
    return states;
}

// No state (-1) or the one state a row expects.
QList<int> expectedStates(int emitted)
{
    return emitted < 0 ? QList<int>{} : QList<int>{emitted};
}

} // namespace

class TestPinOperations : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void entryRules_data();
    void entryRules();
    void validatePins_data();
    void validatePins();
    void pinStatusMapping_data();
    void pinStatusMapping();
    void pinStatusAnswers_data();
    void pinStatusAnswers();
    void pinStatusFailures();
    void retryReads_data();
    void retryReads();
    void processPin_data();
    void processPin();
    void verifyPin_data();
    void verifyPin();
    void enableDisablePin_data();
    void enableDisablePin();
    void unlockPin_data();
    void unlockPin();
    void modifyPin_data();
    void modifyPin();
    void refusalWithoutState_data();
    void refusalWithoutState();
    void traceChannels_data();
    void traceChannels();
    void enableDisableErrorCondition_data();
    void enableDisableErrorCondition();

private:
    sim::VirtualCard& card() { return m_host->card(); }

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrUILogic* m_logic = nullptr;
};

void TestPinOperations::initTestCase()
{
    qRegisterMetaType<E_DEVMGR_PIN_STATE>();
}

void TestPinOperations::init()
{
    m_host = std::make_unique<HostFixture>();
    QCOMPARE(UTPS_DevSrv_RegisterDevMgrCallback(ignoreEvent), 0);
    card().clearCallLog();
    m_logic = DeviceMgrUILogic::GetInstance();
    m_logic->init();
}

void TestPinOperations::cleanup()
{
    delete m_logic;
    m_logic = nullptr;
    m_host.reset();
}

void TestPinOperations::entryRules_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<bool>("pinValid");
    QTest::addColumn<bool>("pukValid");

    QTest::newRow("empty") << "" << false << false;
    QTest::newRow("3 digits") << "123" << false << false;
    QTest::newRow("4 digits") << "1234" << true << false;
    QTest::newRow("4 letters") << "abcd" << true << false;
    QTest::newRow("7 digits") << "1234567" << true << false;
    QTest::newRow("8 digits") << "12345678" << true << true;
    QTest::newRow("8 letters") << "abcdefgh" << true << true;
    QTest::newRow("9 digits") << "123456789" << false << false;
}

void TestPinOperations::entryRules()
{
    QFETCH(QString, entry);
    QFETCH(bool, pinValid);
    QFETCH(bool, pukValid);

    TraceCapture trace;
    QCOMPARE(m_logic->isPINValid(entry), pinValid);
    QVERIFY(trace.contains("isPINValid : Exit retval = "));
    QCOMPARE(trace.contains("length is either greater than MAX PIN Len or less than MIN PIN len"),
             !pinValid);
    QCOMPARE(m_logic->isPUKValid(entry), pukValid);
    QCOMPARE(trace.contains("isPUKValid : Invalid input params"), !pukValid);
    QCOMPARE(card().callLog().size(), size_t(0)); // no entry reaches the card
}

void TestPinOperations::validatePins_data()
{
    QTest::addColumn<QString>("pin");
    QTest::addColumn<QString>("confirm");
    QTest::addColumn<int>("result");

    QTest::newRow("equal") << "1234"
                           << "1234" << 0;
    QTest::newRow("equal, 8") << "87654321"
                              << "87654321" << 0;
    QTest::newRow("different") << "1234"
                               << "1235" << 15;
    QTest::newRow("prefix") << "1234"
                            << "12345" << 15;
    QTest::newRow("equal but short") << "123"
                                     << "123" << 15;
    QTest::newRow("equal but long") << "123456789"
                                    << "123456789" << 15;
    QTest::newRow("confirmation invalid") << "1234"
                                          << "12" << 15;
}

void TestPinOperations::validatePins()
{
    QFETCH(QString, pin);
    QFETCH(QString, confirm);
    QFETCH(int, result);
    QCOMPARE(m_logic->ValidatePINs(pin, confirm), result);
}

void TestPinOperations::pinStatusMapping_data()
{
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<int>("pukRetries");
    QTest::addColumn<bool>("verifyFirst");
    QTest::addColumn<int>("sdkStatus");
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("retries");

    QTest::newRow("protection off (8)") << false << 3 << 10 << false << 8 << 0 << 3;
    QTest::newRow("PIN required (2, flag 0)") << true << 3 << 10 << false << 2 << 1 << 3;
    QTest::newRow("PIN verified (1)") << true << 3 << 10 << true << 1 << 0 << 3;
    QTest::newRow("PUK required (3)") << true << 0 << 10 << false << 3 << 4 << 10;
    QTest::newRow("PUK blocked (4)") << true << 0 << 0 << false << 4 << 5 << 0;
}

void TestPinOperations::pinStatusMapping()
{
    QFETCH(bool, pinEnabled);
    QFETCH(int, pinRetries);
    QFETCH(int, pukRetries);
    QFETCH(bool, verifyFirst);
    QFETCH(int, sdkStatus);
    QFETCH(int, state);
    QFETCH(int, retries);

    card().addCard(cardWith(pinEnabled, pinRetries, pukRetries));
    if (verifyFirst) {
        int left = 0;
        QCOMPARE(m_logic->processVerifyPIN(left, kPin), 0);
    }
    // A value no mapping produces, to see that it was replaced.
    E_DEVMGR_PIN_STATE value = DEVMGR_PIN_MODIFY;
    TraceCapture trace;
    QCOMPARE(m_logic->GetPinStatus(&value), 0);
    QCOMPARE(int(value), state);
    QCOMPARE(m_logic->PinStatus(), sdkStatus);
    QCOMPARE(m_logic->RetryTimes(), retries);
    QVERIFY(trace.contains(QString("UTPS_DevSrv_GetPinStatus passed retry %1 PinStatus - %2")
                               .arg(retries)
                               .arg(sdkStatus)));
}

void TestPinOperations::pinStatusAnswers_data()
{
    QTest::addColumn<int>("sdkStatus");
    QTest::addColumn<int>("flag");
    QTest::addColumn<int>("state"); // -1: the caller's value is left alone

    QTest::newRow("2 with flag 0: PIN required") << 2 << 0 << 1;
    QTest::newRow("2 with flag 1: ready") << 2 << 1 << 0;
    QTest::newRow("2 with flag 255: ready") << 2 << 255 << 0;
    QTest::newRow("0: no state") << 0 << 0 << -1;
    QTest::newRow("5: no state") << 5 << 0 << -1;
    QTest::newRow("6: no state") << 6 << 0 << -1;
    QTest::newRow("7: no state") << 7 << 0 << -1;
    QTest::newRow("9, above the table") << 9 << 0 << -1;
    QTest::newRow("negative") << -1 << 0 << -1;
}

void TestPinOperations::pinStatusAnswers()
{
    QFETCH(int, sdkStatus);
    QFETCH(int, flag);
    QFETCH(int, state);

    card().addCard(cardWith(false, 3));
    QVERIFY(card().overridePinStatus(sdkStatus, uint8_t(flag)));
    E_DEVMGR_PIN_STATE value = DEVMGR_PIN_MODIFY;
    TraceCapture trace;
    QCOMPARE(m_logic->GetPinStatus(&value), 0);
    QCOMPARE(int(value), state < 0 ? int(DEVMGR_PIN_MODIFY) : state);
    // The raw status and the counter are kept whether or not a state came of it.
    QCOMPARE(m_logic->PinStatus(), sdkStatus);
    QCOMPARE(m_logic->RetryTimes(), 3);
    QVERIFY(trace.contains(QString("GetPinStatus passed retry 3 PinStatus - %1").arg(sdkStatus)));
}

void TestPinOperations::pinStatusFailures()
{
    card().addCard(cardWith(true, 3));
    E_DEVMGR_PIN_STATE value = DEVMGR_PIN_MODIFY;
    QCOMPARE(m_logic->GetPinStatus(&value), 0);
    QCOMPARE(m_logic->RetryTimes(), 3);

    TraceCapture trace;
    QCOMPARE(m_logic->GetPinStatus(nullptr), 23);
    QVERIFY(trace.contains("GetPinStatus : Pre-condtions failed"));
    QCOMPARE(m_logic->RetryTimes(), 3);

    card().setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
    value = DEVMGR_PIN_MODIFY;
    QCOMPARE(m_logic->GetPinStatus(&value), 1);
    QCOMPARE(value, DEVMGR_PIN_MODIFY);
    QCOMPARE(m_logic->RetryTimes(), -1);
    QCOMPARE(m_logic->PinStatus(), 2); // the raw status of the last good read
    QVERIFY(trace.contains("UTPS_DevSrv_GetPinStatus failed"));
}

void TestPinOperations::retryReads_data()
{
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<int>("faults"); // failed reads before the card answers
    QTest::addColumn<int>("pinResult");
    QTest::addColumn<int>("pukResult");
    QTest::addColumn<int>("sdkStatus");
    QTest::addColumn<int>("counter");

    QTest::newRow("PIN state") << 2 << 0 << 2 << 0 << 2 << 2;
    QTest::newRow("PUK state") << 0 << 0 << 0 << 10 << 3 << 10;
    QTest::newRow("two failures, third answers") << 3 << 2 << 3 << 0 << 2 << 3;
    QTest::newRow("no answer") << 3 << 3 << -1 << -1 << 0 << 0;
}

void TestPinOperations::retryReads()
{
    QFETCH(int, pinRetries);
    QFETCH(int, faults);
    QFETCH(int, pinResult);
    QFETCH(int, pukResult);
    QFETCH(int, sdkStatus);
    QFETCH(int, counter);

    card().addCard(cardWith(true, pinRetries));
    // The fields start from init (0, 0); a read that never answers keeps them.
    card().setFault("UTPS_DevSrv_GetPinStatus", 1, faults);
    TraceCapture trace;
    QCOMPARE(m_logic->GetPINRetryTimes(), pinResult);
    QCOMPARE(int(callsOf("UTPS_DevSrv_GetPinStatus").size()), qMin(faults + 1, 3));
    QCOMPARE(m_logic->PinStatus(), sdkStatus);
    QCOMPARE(m_logic->RetryTimes(), counter);
    QCOMPARE(trace.matching("GetPINRetryTimes : UTPS_DevSrv_GetPinStatus Failed  PinStatus").size(),
             faults);
    QCOMPARE(
        trace.matching("GetPINRetryTimes : UTPS_DevSrv_GetPinStatus Success  PinStatus").size(),
        pinResult < 0 ? 0 : 1);

    card().clearCallLog();
    card().setFault("UTPS_DevSrv_GetPinStatus", 1, faults);
    trace.clear();
    QCOMPARE(m_logic->GetPUKRetryTimes(), pukResult);
    QCOMPARE(int(callsOf("UTPS_DevSrv_GetPinStatus").size()), qMin(faults + 1, 3));
    QCOMPARE(m_logic->PinStatus(), sdkStatus);
    QCOMPARE(m_logic->RetryTimes(), counter);
    QCOMPARE(trace.matching("GetPUKRetryTimes : UTPS_DevSrv_GetPinStatus Failed retry").size(),
             faults);
    QCOMPARE(trace.matching("GetPUKRetryTimes : UTPS_DevSrv_GetPinStatus Success retry").size(),
             pukResult < 0 ? 0 : 1);
}

void TestPinOperations::processPin_data()
{
    QTest::addColumn<int>("request");
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<QString>("pin");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("sdkCall"); // "" = no PIN request reaches the card

    QTest::newRow("verify") << 1 << true << kPin << 0 << "UTPS_DevSrv_VerifyPin";
    QTest::newRow("verify wrong") << 1 << true << "9999" << 1 << "UTPS_DevSrv_VerifyPin";
    QTest::newRow("verify invalid") << 1 << true << "12" << 1 << "";
    QTest::newRow("enable") << 2 << false << kPin << 0 << "UTPS_DevSrv_EnablePin";
    QTest::newRow("disable") << 3 << true << kPin << 0 << "UTPS_DevSrv_DisablePin";
    QTest::newRow("ready is no request") << 0 << true << kPin << 1 << "";
    QTest::newRow("unlock is no request here") << 4 << true << kPin << 1 << "";
    QTest::newRow("modify is no request here") << 6 << true << kPin << 1 << "";
}

void TestPinOperations::processPin()
{
    QFETCH(int, request);
    QFETCH(bool, pinEnabled);
    QFETCH(QString, pin);
    QFETCH(int, result);
    QFETCH(QString, sdkCall);

    card().addCard(cardWith(pinEnabled, 3));
    int retries = kUntouched;
    TraceCapture trace;
    QCOMPARE(m_logic->ProcessPIN(pin, retries, E_DEVMGR_PIN_STATE(request)), result);
    QCOMPARE(trace.contains(QString("ProcessPIN: SimState %1 Failed").arg(request)), result != 0);
    QCOMPARE(pinRequestCalls(), sdkCall.isEmpty() ? 0 : 1);
    if (!sdkCall.isEmpty())
        QCOMPARE(callsOf(sdkCall.toStdString()).size(), 1);
}

void TestPinOperations::verifyPin_data()
{
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("pin");
    QTest::addColumn<int>("fault"); // UTPS_DevSrv_VerifyPin result forced, 0 = none
    QTest::addColumn<bool>("sdkFails");
    QTest::addColumn<int>("retries");
    QTest::addColumn<int>("pinStatus");

    QTest::newRow("right") << 3 << kPin << 0 << false << 3 << 0;
    QTest::newRow("wrong") << 3 << "9999" << 0 << false << 2 << 0;
    QTest::newRow("wrong, last try") << 1 << "9999" << 0 << false << 0 << 3;
    QTest::newRow("wrong, count unknown (255)") << 256 << "9999" << 0 << false << -1 << 0;
    QTest::newRow("too short") << 3 << "123" << 0 << false << kUntouched << 0;
    QTest::newRow("too long") << 3 << "123456789" << 0 << false << kUntouched << 0;
    // A failed call reports no count: retries unknown, not "none left".
    QTest::newRow("SDK failure") << 3 << kPin << 1 << true << -1 << 0;
}

void TestPinOperations::verifyPin()
{
    QFETCH(int, pinRetries);
    QFETCH(QString, pin);
    QFETCH(int, fault);
    QFETCH(bool, sdkFails);
    QFETCH(int, retries);
    QFETCH(int, pinStatus);

    card().addCard(cardWith(true, pinRetries));
    if (fault)
        card().setFault("UTPS_DevSrv_VerifyPin", fault, 1);
    QSignalSpy spy(m_logic, &DeviceMgrUILogic::PinStateChanged);
    int left = kUntouched;
    TraceCapture trace;
    const int result = m_logic->processVerifyPIN(left, pin);

    const bool valid = pin.size() >= 4 && pin.size() <= 8;
    const QList<sim::CallRecord> calls = callsOf("UTPS_DevSrv_VerifyPin");
    QCOMPARE(calls.size(), valid ? 1 : 0);
    if (valid) {
        QCOMPARE(result, calls.first().result);
        QCOMPARE(result != 0, sdkFails || pin != kPin);
        QVERIFY(trace.contains(
            QString("UTPS_DevSrv_VerifyPin called with btType = 0, szPinCode = %1").arg(pin)));
        QVERIFY(trace.contains(QString("UTPS_DevSrv_VerifyPin returned %1").arg(result)));
    } else {
        QCOMPARE(result, -1);
    }
    QCOMPARE(left, retries);
    QCOMPARE(m_logic->PinStatus(), pinStatus);
    QCOMPARE(m_logic->RetryTimes(), 0);
    QCOMPARE(emittedStates(spy), QList<int>());
}

void TestPinOperations::enableDisablePin_data()
{
    QTest::addColumn<bool>("enable");
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("pin");
    QTest::addColumn<int>("fault");      // request result forced, 0 = none
    QTest::addColumn<bool>("readFails"); // the re-read after a refusal fails too
    QTest::addColumn<bool>("succeeds");
    QTest::addColumn<int>("retries");
    QTest::addColumn<int>("retryTimes");
    QTest::addColumn<int>("pinStatus");
    QTest::addColumn<int>("emitted"); // -1 = no signal

    QTest::newRow("enable") << true << false << 3 << kPin << 0 << false << true << kUntouched << 0
                            << 0 << -1;
    QTest::newRow("enable wrong") << true << false << 3 << "9999" << 0 << false << false << 2 << 2
                                  << 8 << 0;
    QTest::newRow("enable wrong, last try")
        << true << false << 1 << "9999" << 0 << false << false << 0 << 0 << 3 << 4;
    QTest::newRow("enable invalid")
        << true << false << 3 << "12" << 0 << false << false << kUntouched << 0 << 0 << -1;
    QTest::newRow("enable refused, re-read fails")
        << true << false << 3 << kPin << -1 << true << false << -1 << -1 << 0 << 0;
    QTest::newRow("disable") << false << true << 3 << kPin << 0 << false << true << kUntouched << 0
                             << 0 << -1;
    QTest::newRow("disable wrong")
        << false << true << 3 << "9999" << 0 << false << false << 2 << 2 << 2 << 1;
    QTest::newRow("disable wrong, last try")
        << false << true << 1 << "9999" << 0 << false << false << 0 << 0 << 3 << 4;
    QTest::newRow("disable invalid")
        << false << true << 3 << "123456789" << 0 << false << false << kUntouched << 0 << 0 << -1;
    QTest::newRow("disable refused (6000)")
        << false << true << 3 << kPin << 6000 << false << false << 3 << 3 << 2 << 1;
}

void TestPinOperations::enableDisablePin()
{
    QFETCH(bool, enable);
    QFETCH(bool, pinEnabled);
    QFETCH(int, pinRetries);
    QFETCH(QString, pin);
    QFETCH(int, fault);
    QFETCH(bool, readFails);
    QFETCH(bool, succeeds);
    QFETCH(int, retries);
    QFETCH(int, retryTimes);
    QFETCH(int, pinStatus);
    QFETCH(int, emitted);

    card().addCard(cardWith(pinEnabled, pinRetries));
    const char* function = enable ? "UTPS_DevSrv_EnablePin" : "UTPS_DevSrv_DisablePin";
    if (fault)
        card().setFault(function, fault, 1);
    if (readFails)
        card().setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
    QSignalSpy spy(m_logic, &DeviceMgrUILogic::PinStateChanged);
    int left = kUntouched;
    const int result =
        enable ? m_logic->processEnablePIN(left, pin) : m_logic->processDisablePIN(left, pin);

    const bool valid = pin.size() >= 4 && pin.size() <= 8;
    const QList<sim::CallRecord> calls = callsOf(function);
    QCOMPARE(calls.size(), valid ? 1 : 0);
    if (valid)
        QCOMPARE(result, calls.first().result);
    else
        QCOMPARE(result, -1);
    QCOMPARE(result == 0, succeeds);
    if (fault)
        QCOMPARE(result, fault);
    QCOMPARE(left, retries);
    QCOMPARE(m_logic->RetryTimes(), retryTimes);
    QCOMPARE(m_logic->PinStatus(), pinStatus);
    QCOMPARE(emittedStates(spy), expectedStates(emitted));
}

void TestPinOperations::unlockPin_data()
{
    QTest::addColumn<bool>("pinBlocked"); // the card wants the PUK
    QTest::addColumn<QString>("puk");
    QTest::addColumn<QString>("newPin");
    QTest::addColumn<int>("fault");      // UTPS_DevSrv_UnblockPin result forced, 0 = none
    QTest::addColumn<bool>("privilege"); // the system's WWAN service holds the PIN
    QTest::addColumn<bool>("simInvalid");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("retries");
    QTest::addColumn<int>("retryTimes");
    QTest::addColumn<int>("pinStatus");

    // Each row first reads the PIN state, so the fields start from the card:
    // PUK state 3 with 10 PUK tries, PIN state 2 with 3 PIN tries.
    QTest::newRow("right PUK") << true << kPuk << "4321" << 0 << false << false << 0 << 10 << 0
                               << 0;
    QTest::newRow("wrong PUK") << true << "87654321"
                               << "4321" << 0 << false << false << 1 << 9 << 9 << 3;
    QTest::newRow("PUK too short") << true << "1234567"
                                   << "4321" << 0 << false << false << 23 << kUntouched << 10 << 3;
    QTest::newRow("PUK too long") << true << "123456789"
                                  << "4321" << 0 << false << false << 23 << kUntouched << 10 << 3;
    QTest::newRow("new PIN too short")
        << true << kPuk << "432" << 0 << false << false << 23 << kUntouched << 10 << 3;
    QTest::newRow("refused, SIM not valid")
        << true << kPuk << "4321" << -1 << false << true << 1 << -1 << 10 << 3;
    QTest::newRow("bad parameter")
        << true << kPuk << "4321" << 1 << false << false << 23 << 255 << 10 << 3;
    QTest::newRow("privilege refusal (6000)")
        << true << kPuk << "4321" << 6000 << false << false << 14 << 255 << 0 << 0;
    QTest::newRow("privilege card")
        << true << kPuk << "4321" << 0 << true << false << 14 << 10 << 0 << 0;
    QTest::newRow("unlisted result")
        << false << kPuk << "4321" << 7 << false << false << 0 << 255 << 3 << 2;
}

void TestPinOperations::unlockPin()
{
    QFETCH(bool, pinBlocked);
    QFETCH(QString, puk);
    QFETCH(QString, newPin);
    QFETCH(int, fault);
    QFETCH(bool, privilege);
    QFETCH(bool, simInvalid);
    QFETCH(int, result);
    QFETCH(int, retries);
    QFETCH(int, retryTimes);
    QFETCH(int, pinStatus);

    sim::CardConfig config = cardWith(true, pinBlocked ? 0 : 3);
    config.wwanPrivilege = privilege;
    card().addCard(config);
    E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
    QCOMPARE(m_logic->GetPinStatus(&state), 0);
    if (fault)
        card().setFault("UTPS_DevSrv_UnblockPin", fault, 1);
    if (simInvalid)
        card().setSimState(0);
    QSignalSpy spy(m_logic, &DeviceMgrUILogic::PinStateChanged);
    int left = kUntouched;
    QCOMPARE(m_logic->UnlockPIN(puk, newPin, left), result);
    QCOMPARE(left, retries);
    QCOMPARE(m_logic->RetryTimes(), retryTimes);
    QCOMPARE(m_logic->PinStatus(), pinStatus);
    QCOMPARE(spy.count(), 0);
    if (result == 0 && fault == 0 && !privilege) {
        // The card took the new PIN.
        int verifyLeft = 0;
        QCOMPARE(m_logic->processVerifyPIN(verifyLeft, newPin), 0);
    }
}

void TestPinOperations::modifyPin_data()
{
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<QString>("oldPin");
    QTest::addColumn<QString>("newPin");
    QTest::addColumn<int>("fault");
    QTest::addColumn<bool>("readFails");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("retries");
    QTest::addColumn<int>("pinStatus");
    QTest::addColumn<int>("emitted");

    // Each row first reads the PIN state (2, with the card's PIN tries).
    QTest::newRow("right") << 3 << kPin << "5678" << 0 << false << 0 << 0 << 2 << -1;
    QTest::newRow("old PIN invalid") << 3 << "12"
                                     << "5678" << 0 << false << 23 << 3 << 2 << -1;
    QTest::newRow("new PIN invalid")
        << 3 << kPin << "123456789" << 0 << false << 23 << 3 << 2 << -1;
    QTest::newRow("wrong old PIN") << 3 << "9999"
                                   << "5678" << 0 << false << 1 << 2 << 2 << 1;
    QTest::newRow("wrong old PIN, last try") << 1 << "9999"
                                             << "5678" << 0 << false << 1 << 0 << 3 << 4;
    QTest::newRow("refused, re-read fails")
        << 3 << kPin << "5678" << -1 << true << 1 << -1 << 2 << 0;
    QTest::newRow("bad parameter") << 3 << kPin << "5678" << 1 << false << 23 << 3 << 2 << -1;
    QTest::newRow("unlisted result") << 3 << kPin << "5678" << 9 << false << 0 << 3 << 2 << -1;
}

void TestPinOperations::modifyPin()
{
    QFETCH(int, pinRetries);
    QFETCH(QString, oldPin);
    QFETCH(QString, newPin);
    QFETCH(int, fault);
    QFETCH(bool, readFails);
    QFETCH(int, result);
    QFETCH(int, retries);
    QFETCH(int, pinStatus);
    QFETCH(int, emitted);

    card().addCard(cardWith(true, pinRetries));
    E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
    QCOMPARE(m_logic->GetPinStatus(&state), 0);
    if (fault)
        card().setFault("UTPS_DevSrv_ChangePin", fault, 1);
    if (readFails)
        card().setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
    QSignalSpy spy(m_logic, &DeviceMgrUILogic::PinStateChanged);
    int left = kUntouched;
    TraceCapture trace;
    QCOMPARE(m_logic->ModifyPIN(oldPin, newPin, left), result);
    QCOMPARE(left, retries);
    QCOMPARE(m_logic->RetryTimes(), retries);
    QCOMPARE(m_logic->PinStatus(), pinStatus);
    QCOMPARE(trace.contains("UTPS_DevSrv_ChangePin returned bad param,"), fault == 1);
    QCOMPARE(emittedStates(spy), expectedStates(emitted));
}

void TestPinOperations::refusalWithoutState_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("result");

    QTest::newRow("enable") << "enable" << false << -1;
    QTest::newRow("disable") << "disable" << true << -1;
    QTest::newRow("modify") << "modify" << true << 1;
}

void TestPinOperations::refusalWithoutState()
{
    QFETCH(QString, request);
    QFETCH(bool, pinEnabled);
    QFETCH(int, result);

    // A wrong PIN, and a card whose state then reads as a status without a
    // mapping: the counter is still taken over and "ready" is reported, so
    // the service keeps the request the user made.
    card().addCard(cardWith(pinEnabled, 3));
    QVERIFY(card().overridePinStatus(6));
    QSignalSpy spy(m_logic, &DeviceMgrUILogic::PinStateChanged);
    int left = kUntouched;
    int outcome = 0;
    if (request == "enable")
        outcome = m_logic->processEnablePIN(left, "9999");
    else if (request == "disable")
        outcome = m_logic->processDisablePIN(left, "9999");
    else
        outcome = m_logic->ModifyPIN("9999", "5678", left);
    QCOMPARE(outcome, result);
    QCOMPARE(left, 2);
    QCOMPARE(m_logic->RetryTimes(), 2);
    QCOMPARE(m_logic->PinStatus(), 6);
    QCOMPARE(emittedStates(spy), QList<int>{DEVMGR_PIN_READY});
}

void TestPinOperations::traceChannels_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("fault"); // function made to fail
    QTest::addColumn<int>("result");    // its forced result
    QTest::addColumn<bool>("warning");
    QTest::addColumn<QString>("text");

    QTest::newRow("PIN status read fails") << "status"
                                           << "UTPS_DevSrv_GetPinStatus" << 1 << true
                                           << "GetPinStatus : UTPS_DevSrv_GetPinStatus failed";
    QTest::newRow("PIN counter read fails")
        << "pin tries"
        << "UTPS_DevSrv_GetPinStatus" << 1 << true
        << "GetPINRetryTimes : UTPS_DevSrv_GetPinStatus Failed  PinStatus 0 retry 0";
    QTest::newRow("PUK counter read fails")
        << "puk tries"
        << "UTPS_DevSrv_GetPinStatus" << 1 << true
        << "GetPUKRetryTimes : UTPS_DevSrv_GetPinStatus Failed retry 0 ";
    QTest::newRow("unblock refused") << "unlock"
                                     << "UTPS_DevSrv_UnblockPin" << -1 << true
                                     << "UnlockPIN : UTPS_DevSrv_UnblockPin returned failure";
    QTest::newRow("change refused") << "modify"
                                    << "UTPS_DevSrv_ChangePin" << -1 << true
                                    << "ModifyPIN : UTPS_DevSrv_ChangePin returned failure";
    QTest::newRow("unblock bad parameter")
        << "unlock"
        << "UTPS_DevSrv_UnblockPin" << 1 << false
        << "UnlockPIN : UTPS_DevSrv_UnblockPin returned bad param,";
    QTest::newRow("change bad parameter")
        << "modify"
        << "UTPS_DevSrv_ChangePin" << 1 << false
        << "ModifyPIN : UTPS_DevSrv_ChangePin returned bad param,";
}

void TestPinOperations::traceChannels()
{
    QFETCH(QString, operation);
    QFETCH(QString, fault);
    QFETCH(int, result);
    QFETCH(bool, warning);
    QFETCH(QString, text);

    card().addCard(cardWith(true, 3));
    card().setFault(fault.toStdString(), result, 3);
    // Fails the test unless the line comes on that channel.
    QTest::ignoreMessage(warning ? QtWarningMsg : QtDebugMsg,
                         QRegularExpression(QRegularExpression::escape(text) + "$"));
    int left = 0;
    E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
    if (operation == "status")
        m_logic->GetPinStatus(&state);
    else if (operation == "pin tries")
        m_logic->GetPINRetryTimes();
    else if (operation == "puk tries")
        m_logic->GetPUKRetryTimes();
    else if (operation == "unlock")
        m_logic->UnlockPIN(kPuk, "4321", left);
    else
        m_logic->ModifyPIN(kPin, "4321", left);
}

void TestPinOperations::enableDisableErrorCondition_data()
{
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<int>("after");
    QTest::addColumn<int>("pinStatus");

    QTest::newRow("tries left") << 3 << 2 << 2;
    QTest::newRow("last try used") << 1 << 0 << 3;
}

void TestPinOperations::enableDisableErrorCondition()
{
    QFETCH(int, pinRetries);
    QFETCH(int, after);
    QFETCH(int, pinStatus);

    card().addCard(cardWith(true, pinRetries));
    E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
    QCOMPARE(m_logic->GetPinStatus(&state), 0);
    TraceCapture trace;
    m_logic->handleEnableDisableErrorCondition();
    QCOMPARE(m_logic->RetryTimes(), after);
    QCOMPARE(m_logic->PinStatus(), pinStatus);
    QVERIFY(trace.contains(QString("Entered m_iRetryTimes %1").arg(pinRetries)));
    QVERIFY(trace.contains(QString("Exit m_iRetryTimes %1").arg(after)));
}

QTEST_MAIN(TestPinOperations)
#include "tst_pinoperations.moc"
