// PIN requests of the access layer against the virtual card's SIM: entry
// rules, state mapping, retry counters and the result of every request.
#include "DeviceMgrUILogic.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

constexpr int kUntouched = 42;

sim::CardConfig cardWith(bool pinEnabled, int pinRetries)
{
    sim::CardConfig config;
    config.sim = {.pinEnabled = pinEnabled, .pinRetries = pinRetries};
    return config;
}

// What a row of pinRequests sets up; the row name starts with the request,
// as in UTPS_DevSrv_<Request>Pin.
struct Given
{
    int pinRetries = 3;   // 0: the card wants the PUK (10 tries)
    QString entries = {}; // PIN, PUK or old PIN, then the new PIN
    int fault = 0;        // the request's forced result, 0 = none
    QString twist = {};   // privilege, unmapped, readFails or simInvalid
};

// What comes of it. Each row first reads the PIN state, so the fields start
// from the card: PIN required (2) with its PIN tries, off (8) for enable, PUK
// (3) with 10.
struct Then
{
    int result = -1;
    int left = kUntouched; // the out parameter
    int retryTimes = 3;
    int pinStatus = 2;
    int emitted = -1; // PinStateChanged, -1 = none
};

void row(const char* name, const Given& given, const Then& then)
{
    QTest::newRow(name) << given << then;
}

} // namespace

Q_DECLARE_METATYPE(Given)
Q_DECLARE_METATYPE(Then)

class TestPinOperations : public QObject
{
    Q_OBJECT

    sim::VirtualCard& card() { return m_host->card(); }

    std::unique_ptr<HostFixture> m_host;
    DeviceMgrUILogic* m_logic = nullptr;

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        m_logic = m_host->startLogic();
    }
    void cleanup() { m_host.reset(); }

    void entryRules_data()
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

    void entryRules()
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

    void stateMapping_data()
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

    void stateMapping()
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

    void retryReads_data()
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

    void retryReads()
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

    void pinRequests_data()
    {
        QTest::addColumn<Given>("given");
        QTest::addColumn<Then>("then");
        const QString puk = "12345678 4321";
        row("verify", {.entries = "1234"}, {.result = DEVMGR_RESULT_SUCCESS, .left = 3});
        row("verify wrong", {.entries = "9999"}, {.left = 2});
        row("verify wrong, none left (0)", {.pinRetries = 1, .entries = "9999"},
            {.left = 0, .retryTimes = 1, .pinStatus = 3});
        // 256 reads as 0 at first; after the wrong try the card reports 255.
        row("verify wrong, unknown (255)", {.pinRetries = 256, .entries = "9999"},
            {.left = -1, .retryTimes = 0});
        row("verify too short", {.entries = "123"}, {});
        row("verify SDK fault (1)", {.entries = "1234", .fault = 1},
            {.result = DEVMGR_RESULT_SDK_FAILURE, .left = -1});
        row("enable", {.entries = "1234"},
            {.result = DEVMGR_RESULT_SUCCESS, .retryTimes = 0, .pinStatus = 8});
        row("enable wrong", {.entries = "9999"},
            {.left = 2, .retryTimes = 2, .pinStatus = 8, .emitted = 0});
        row("enable wrong, none left", {.pinRetries = 1, .entries = "9999"},
            {.left = 0, .retryTimes = 0, .pinStatus = 3, .emitted = 4});
        row("enable invalid", {.entries = "12"}, {.pinStatus = 8});
        row("enable refused, re-read fails", {.entries = "1234", .fault = -1, .twist = "readFails"},
            {.left = -1, .retryTimes = -1, .pinStatus = 8, .emitted = 0});
        row("disable", {.entries = "1234"}, {.result = DEVMGR_RESULT_SUCCESS, .retryTimes = 0});
        row("disable wrong, none left", {.pinRetries = 1, .entries = "9999"},
            {.left = 0, .retryTimes = 0, .pinStatus = 3, .emitted = 4});
        row("disable refused (WWAN privilege)",
            {.entries = "1234", .fault = UTPS_ERROR_WWAN_PRIVILEGE},
            {.result = UTPS_ERROR_WWAN_PRIVILEGE, .left = 3, .emitted = 1});
        row("disable wrong, unmapped status", {.entries = "9999", .twist = "unmapped"},
            {.left = 2, .retryTimes = 2, .pinStatus = 6, .emitted = 0});
        row("unblock", {.pinRetries = 0, .entries = puk},
            {.result = DEVMGR_RESULT_SUCCESS, .left = 10, .retryTimes = 0, .pinStatus = 0});
        row("unblock wrong PUK", {.pinRetries = 0, .entries = "87654321 4321"},
            {.result = DEVMGR_RESULT_SDK_FAILURE, .left = 9, .retryTimes = 9, .pinStatus = 3});
        row("unblock PUK of 7", {.pinRetries = 0, .entries = "1234567 4321"},
            {.result = DEVMGR_RESULT_INVALID_INPUT, .retryTimes = 10, .pinStatus = 3});
        row("unblock new PIN of 3", {.pinRetries = 0, .entries = "12345678 432"},
            {.result = DEVMGR_RESULT_INVALID_INPUT, .retryTimes = 10, .pinStatus = 3});
        row("unblock refused, SIM not valid",
            {.pinRetries = 0, .entries = puk, .fault = -1, .twist = "simInvalid"},
            {.result = DEVMGR_RESULT_SDK_FAILURE, .left = -1, .retryTimes = 10, .pinStatus = 3});
        row("unblock bad parameter (1)", {.pinRetries = 0, .entries = puk, .fault = 1},
            {.result = DEVMGR_RESULT_INVALID_INPUT, .left = 255, .retryTimes = 10, .pinStatus = 3});
        row("unblock refused by privilege", {.pinRetries = 0, .entries = puk, .twist = "privilege"},
            {.result = DEVMGR_RESULT_WWAN_PRIVILEGE, .left = 10, .retryTimes = 0, .pinStatus = 0});
        row("unblock unlisted result", {.entries = puk, .fault = 7},
            {.result = DEVMGR_RESULT_SUCCESS, .left = 255});
        row("change", {.entries = "1234 5678"},
            {.result = DEVMGR_RESULT_SUCCESS, .left = 0, .retryTimes = 0});
        row("change old PIN invalid", {.entries = "12 5678"},
            {.result = DEVMGR_RESULT_INVALID_INPUT, .left = 3});
        row("change wrong old PIN", {.entries = "9999 5678"},
            {.result = DEVMGR_RESULT_SDK_FAILURE, .left = 2, .retryTimes = 2, .emitted = 1});
        row("change wrong, none left", {.pinRetries = 1, .entries = "9999 5678"},
            {.result = DEVMGR_RESULT_SDK_FAILURE,
             .left = 0,
             .retryTimes = 0,
             .pinStatus = 3,
             .emitted = 4});
        row("change refused, re-read fails",
            {.entries = "1234 5678", .fault = -1, .twist = "readFails"},
            {.result = DEVMGR_RESULT_SDK_FAILURE, .left = -1, .retryTimes = -1, .emitted = 0});
        row("change bad parameter (1)", {.entries = "1234 5678", .fault = 1},
            {.result = DEVMGR_RESULT_INVALID_INPUT, .left = 3});
        row("change unlisted result", {.entries = "1234 5678", .fault = 9},
            {.result = DEVMGR_RESULT_SUCCESS, .left = 3});
    }

    void pinRequests()
    {
        QFETCH(Given, given);
        QFETCH(Then, then);
        const QString op = QString(QTest::currentDataTag()).section(' ', 0, 0);
        sim::CardConfig config = cardWith(op != "enable", given.pinRetries);
        config.wwanPrivilege = given.twist == "privilege";
        card().addCard(config);
        if (given.twist == "unmapped")
            QVERIFY(card().overridePinStatus(6));
        E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
        QCOMPARE(m_logic->GetPinStatus(&state), 0);
        if (given.fault)
            card().setFault(
                QString("UTPS_DevSrv_%1%2Pin").arg(op.left(1).toUpper(), op.mid(1)).toStdString(),
                given.fault, 1);
        if (given.twist == "readFails")
            card().setFault("UTPS_DevSrv_GetPinStatus", 1, 1);
        if (given.twist == "simInvalid")
            card().setSimState(0);
        QSignalSpy spy(m_logic, &DeviceMgrUILogic::PinStateChanged);

        const QString first = given.entries.section(' ', 0, 0),
                      second = given.entries.section(' ', 1);
        int left = kUntouched;
        const int result = op == "verify"    ? m_logic->processVerifyPIN(left, first)
                           : op == "enable"  ? m_logic->processEnablePIN(left, first)
                           : op == "disable" ? m_logic->processDisablePIN(left, first)
                           : op == "unblock" ? m_logic->UnlockPIN(first, second, left)
                                             : m_logic->ModifyPIN(first, second, left);
        QCOMPARE(result, then.result);
        QCOMPARE(left, then.left);
        QCOMPARE(m_logic->RetryTimes(), then.retryTimes);
        QCOMPARE(m_logic->PinStatus(), then.pinStatus);
        QList<int> states;
        for (const QList<QVariant>& arguments : spy)
            states.append(int(arguments.at(0).value<E_DEVMGR_PIN_STATE>()));
        QCOMPARE(states, then.emitted < 0 ? QList<int>() : QList<int>{then.emitted});
    }
};

QTEST_MAIN(TestPinOperations)
#include "tst_pinoperations.moc"
