// PIN requests of the access layer against the virtual card's SIM: entry
// rules, state mapping, retry counters and the result of every request.
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include "sim/VirtualCard.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

constexpr int kUntouched = 42;

sim::CardConfig cardWith(bool pinEnabled, int pinRetries)
{
    sim::CardConfig config;
    config.sim.pinEnabled = pinEnabled;
    config.sim.pinRetries = pinRetries;
    return config;
}

// Cards only start once someone listens for device events.
int ignoreEvent(int, void*)
{
    return 0;
}

int runRequest(DeviceMgrUILogic* logic, const QString& op, const QString& first,
               const QString& second, int& left)
{
    if (op == "verify")
        return logic->processVerifyPIN(left, first);
    if (op == "enable")
        return logic->processEnablePIN(left, first);
    if (op == "disable")
        return logic->processDisablePIN(left, first);
    if (op == "unblock")
        return logic->UnlockPIN(first, second, left);
    return logic->ModifyPIN(first, second, left);
}

// A row of pinRequests: the name starts with the request (as in the SDK's
// UTPS_DevSrv_<Request>Pin), `entries` holds the first and second entry.
void addRequest(const char* name, int pinRetries, const char* entries, int fault, const char* twist,
                int result, int retries, int retryTimes, int pinStatus, int emitted)
{
    const QStringList parts = QString(entries).split(' ');
    const QString op = QString(name).section(' ', 0, 0).remove(',');
    QTest::newRow(name) << op << pinRetries << parts.value(0) << parts.value(1) << fault
                        << QString(twist) << result << retries << retryTimes << pinStatus
                        << emitted;
}

} // namespace

class TestPinOperations : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<E_DEVMGR_PIN_STATE>(); }
    void init();
    void cleanup();
    void entryRules_data();
    void entryRules();
    void stateMapping_data();
    void stateMapping();
    void retryReads_data();
    void retryReads();
    void pinRequests_data();
    void pinRequests();

private:
    sim::VirtualCard& card() { return m_host->card(); }

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrUILogic* m_logic = nullptr;
};

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
    QCOMPARE(m_logic->isPINValid(entry), pinValid);
    QCOMPARE(m_logic->isPUKValid(entry), pukValid);
    // Equal entries match only when both are valid PINs; different never do.
    QCOMPARE(m_logic->ValidatePINs(entry, entry), pinValid ? 0 : 15);
    QCOMPARE(m_logic->ValidatePINs(entry, entry + "0"), 15);
    QVERIFY(card().callLog().empty());
}

void TestPinOperations::stateMapping_data()
{
    QTest::addColumn<int>("sdkStatus");
    QTest::addColumn<int>("flag");
    QTest::addColumn<bool>("readFails");
    QTest::addColumn<int>("state"); // -1: the caller's value is left alone
    QTest::newRow("1 verified") << 1 << 0 << false << 0;
    QTest::newRow("2 with flag 0: PIN required") << 2 << 0 << false << 1;
    QTest::newRow("2 with flag 1: ready") << 2 << 1 << false << 0;
    QTest::newRow("3 PUK required") << 3 << 0 << false << 4;
    QTest::newRow("4 PUK blocked") << 4 << 0 << false << 5;
    QTest::newRow("8 protection off") << 8 << 0 << false << 0;
    QTest::newRow("0 unmapped") << 0 << 0 << false << -1;
    QTest::newRow("6 unmapped") << 6 << 0 << false << -1;
    QTest::newRow("9 above the table") << 9 << 0 << false << -1;
    QTest::newRow("negative") << -1 << 0 << false << -1;
    QTest::newRow("read fails") << 2 << 0 << true << -1;
}

void TestPinOperations::stateMapping()
{
    QFETCH(int, sdkStatus);
    QFETCH(int, flag);
    QFETCH(bool, readFails);
    QFETCH(int, state);
    card().addCard(cardWith(false, 3));
    QVERIFY(card().overridePinStatus(sdkStatus, uint8_t(flag)));
    if (readFails)
        card().setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
    QCOMPARE(m_logic->GetPinStatus(nullptr), 23);
    E_DEVMGR_PIN_STATE value = DEVMGR_PIN_MODIFY; // no status maps to 6
    QCOMPARE(m_logic->GetPinStatus(&value), readFails ? 1 : 0);
    QCOMPARE(int(value), state < 0 ? int(DEVMGR_PIN_MODIFY) : state);
    // The raw status and the counter are kept whether or not a state came of it.
    QCOMPARE(m_logic->PinStatus(), readFails ? 0 : sdkStatus);
    QCOMPARE(m_logic->RetryTimes(), readFails ? -1 : 3);
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
    QTest::newRow("no answer in three") << 3 << 3 << -1 << -1 << 0 << 0;
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
    for (const bool puk : {false, true}) {
        card().clearCallLog();
        card().setFault("UTPS_DevSrv_GetPinStatus", 1, faults);
        const int result = puk ? m_logic->GetPUKRetryTimes() : m_logic->GetPINRetryTimes();
        QCOMPARE(result, puk ? pukResult : pinResult);
        QCOMPARE(int(card().callLog().size()), qMin(faults + 1, 3)); // status reads only
        // A read that never answers keeps the fields from init (0, 0).
        QCOMPARE(m_logic->PinStatus(), sdkStatus);
        QCOMPARE(m_logic->RetryTimes(), counter);
    }
}

void TestPinOperations::pinRequests_data()
{
    QTest::addColumn<QString>("op");
    QTest::addColumn<int>("pinRetries"); // 0: the card wants the PUK (10 tries)
    QTest::addColumn<QString>("first");  // PIN, PUK or old PIN
    QTest::addColumn<QString>("second"); // new PIN
    QTest::addColumn<int>("fault");      // the request's forced result, 0 = none
    QTest::addColumn<QString>("twist");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("retries");    // the out parameter
    QTest::addColumn<int>("retryTimes"); // m_iRetryTimes
    QTest::addColumn<int>("pinStatus");  // m_nPinStatus
    QTest::addColumn<int>("emitted");    // PinStateChanged, -1 = none

    // Each row first reads the PIN state, so the fields start from the card:
    // PIN required (2) with its PIN tries, off (8) for enable, PUK (3) with 10.
    addRequest("verify", 3, "1234", 0, "", 0, 3, 3, 2, -1);
    addRequest("verify wrong", 3, "9999", 0, "", -1, 2, 3, 2, -1);
    addRequest("verify wrong, none left (0)", 1, "9999", 0, "", -1, 0, 1, 3, -1);
    // 256 reads as 0 at first; after the wrong try the card reports 255.
    addRequest("verify wrong, unknown (255)", 256, "9999", 0, "", -1, -1, 0, 2, -1);
    addRequest("verify too short", 3, "123", 0, "", -1, kUntouched, 3, 2, -1);
    addRequest("verify SDK fault (1)", 3, "1234", 1, "", 1, -1, 3, 2, -1);
    addRequest("enable", 3, "1234", 0, "", 0, kUntouched, 0, 8, -1);
    addRequest("enable wrong", 3, "9999", 0, "", -1, 2, 2, 8, 0);
    addRequest("enable wrong, none left", 1, "9999", 0, "", -1, 0, 0, 3, 4);
    addRequest("enable invalid", 3, "12", 0, "", -1, kUntouched, 3, 8, -1);
    addRequest("enable refused, re-read fails", 3, "1234", -1, "readFails", -1, -1, -1, 8, 0);
    addRequest("disable", 3, "1234", 0, "", 0, kUntouched, 0, 2, -1);
    addRequest("disable wrong, none left", 1, "9999", 0, "", -1, 0, 0, 3, 4);
    addRequest("disable refused (6000)", 3, "1234", 6000, "", 6000, 3, 3, 2, 1);
    addRequest("disable wrong, unmapped status", 3, "9999", 0, "unmapped", -1, 2, 2, 6, 0);
    addRequest("unblock", 0, "12345678 4321", 0, "", 0, 10, 0, 0, -1);
    addRequest("unblock wrong PUK", 0, "87654321 4321", 0, "", 1, 9, 9, 3, -1);
    addRequest("unblock PUK of 7", 0, "1234567 4321", 0, "", 23, kUntouched, 10, 3, -1);
    addRequest("unblock new PIN of 3", 0, "12345678 432", 0, "", 23, kUntouched, 10, 3, -1);
    addRequest("unblock refused, SIM not valid", 0, "12345678 4321", -1, "simInvalid", 1, -1, 10, 3,
               -1);
    addRequest("unblock bad parameter (1)", 0, "12345678 4321", 1, "", 23, 255, 10, 3, -1);
    addRequest("unblock refused by privilege (6000)", 0, "12345678 4321", 0, "privilege", 14, 10, 0,
               0, -1);
    addRequest("unblock unlisted result", 3, "12345678 4321", 7, "", 0, 255, 3, 2, -1);
    addRequest("change", 3, "1234 5678", 0, "", 0, 0, 0, 2, -1);
    addRequest("change old PIN invalid", 3, "12 5678", 0, "", 23, 3, 3, 2, -1);
    addRequest("change wrong old PIN", 3, "9999 5678", 0, "", 1, 2, 2, 2, 1);
    addRequest("change wrong, none left", 1, "9999 5678", 0, "", 1, 0, 0, 3, 4);
    addRequest("change refused, re-read fails", 3, "1234 5678", -1, "readFails", 1, -1, -1, 2, 0);
    addRequest("change bad parameter (1)", 3, "1234 5678", 1, "", 23, 3, 3, 2, -1);
    addRequest("change unlisted result", 3, "1234 5678", 9, "", 0, 3, 3, 2, -1);
}

void TestPinOperations::pinRequests()
{
    QFETCH(QString, op);
    QFETCH(int, pinRetries);
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(int, fault);
    QFETCH(QString, twist);
    QFETCH(int, result);
    QFETCH(int, retries);
    QFETCH(int, retryTimes);
    QFETCH(int, pinStatus);
    QFETCH(int, emitted);

    sim::CardConfig config = cardWith(op != "enable", pinRetries);
    config.wwanPrivilege = twist == "privilege";
    card().addCard(config);
    if (twist == "unmapped")
        QVERIFY(card().overridePinStatus(6));
    E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
    QCOMPARE(m_logic->GetPinStatus(&state), 0);
    if (fault)
        card().setFault(
            QString("UTPS_DevSrv_%1%2Pin").arg(op.left(1).toUpper(), op.mid(1)).toStdString(),
            fault, 1);
    if (twist == "readFails")
        card().setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
    if (twist == "simInvalid")
        card().setSimState(0);
    QSignalSpy spy(m_logic, &DeviceMgrUILogic::PinStateChanged);

    int left = kUntouched;
    QCOMPARE(runRequest(m_logic, op, first, second, left), result);
    QCOMPARE(left, retries);
    QCOMPARE(m_logic->RetryTimes(), retryTimes);
    QCOMPARE(m_logic->PinStatus(), pinStatus);
    QList<int> states;
    for (const QList<QVariant>& arguments : spy)
        states.append(int(arguments.at(0).value<E_DEVMGR_PIN_STATE>()));
    QCOMPARE(states, emitted < 0 ? QList<int>() : QList<int>{emitted});
}

QTEST_MAIN(TestPinOperations)
#include "tst_pinoperations.moc"
