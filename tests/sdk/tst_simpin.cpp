// The SIM's PIN and PUK rules as the virtual card answers them through the
// C API: counters, state changes, refusals and the SIM-ready event.
#include "EventRecorder.h"

#include <sim/VirtualCard.h>
#include <utps.h>

#include <QtTest>

#include <algorithm>

namespace {

enum Request
{
    Verify,
    Enable,
    Disable,
    Change,
    Unblock
};

constexpr int kNoRetries = -1;
const QByteArray kPin = "1234";
const QByteArray kPuk = "12345678";

sim::VirtualCard& card()
{
    return sim::VirtualCard::instance();
}

struct PinStatus
{
    int result = -99;
    int status = -99;
    int flag = -99;
    int flag2 = -99;
    int retries = -99;
};

PinStatus readPinStatus()
{
    PinStatus read;
    unsigned char flag = 0xAA, flag2 = 0xAA, retries = 0xAA;
    read.result = UTPS_DevSrv_GetPinStatus(0, &read.status, &flag, &flag2, &retries);
    read.flag = flag;
    read.flag2 = flag2;
    read.retries = retries;
    return read;
}

// Runs one request; `retries` receives the retries-left output, when it has one.
int runRequest(int request, const QByteArray& first, const QByteArray& second, int& retries)
{
    unsigned char left = 0xAA;
    int result = -99;
    retries = kNoRetries;
    switch (request) {
    case Verify:
        result = UTPS_DevSrv_VerifyPin(0, first.constData(), &left);
        retries = left;
        break;
    case Enable:
        result = UTPS_DevSrv_EnablePin(0, first.constData());
        break;
    case Disable:
        result = UTPS_DevSrv_DisablePin(0, first.constData());
        break;
    case Change:
        result = UTPS_DevSrv_ChangePin(0, first.constData(), second.constData());
        break;
    case Unblock:
        result = UTPS_DevSrv_UnblockPin(0, first.constData(), second.constData(), &left);
        retries = left;
        break;
    }
    return result;
}

int countCode(int code)
{
    const std::vector<int> codes = EventRecorder::instance().codes();
    return static_cast<int>(std::count(codes.begin(), codes.end(), code));
}

} // namespace

class TestSimPin : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void pinRequests_data();
    void pinRequests();
    void thirdWrongPinRequiresPuk();
    void tenthWrongPukBlocksForGood();
    void rightPinAfterWrongOnesRestoresCounter();
    void replugAsksForPinAgain();
    void pinCallsFail_data();
    void pinCallsFail();

private:
    int addCard(bool pinEnabled, int pinRetries = 3, int pukRetries = 10,
                bool wwanPrivilege = false);
};

void TestSimPin::init()
{
    card().reset();
    EventRecorder::instance().clear();
    EventRecorder::registerDevMgr();
}

void TestSimPin::cleanup()
{
    card().reset();
}

int TestSimPin::addCard(bool pinEnabled, int pinRetries, int pukRetries, bool wwanPrivilege)
{
    sim::CardConfig config;
    config.sim.status = 7;
    config.sim.pinEnabled = pinEnabled;
    config.sim.pinRetries = pinRetries;
    config.sim.pukRetries = pukRetries;
    config.wwanPrivilege = wwanPrivilege;
    const int index = card().addCard(config);
    card().waitIdle();
    EventRecorder::instance().clear();
    return index;
}

void TestSimPin::pinRequests_data()
{
    QTest::addColumn<bool>("pinEnabled");
    QTest::addColumn<int>("pinRetries");
    QTest::addColumn<int>("pukRetries");
    QTest::addColumn<bool>("wwanPrivilege");
    QTest::addColumn<int>("request");
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("retriesOut");  // kNoRetries: the call has none, or not checked
    QTest::addColumn<int>("statusAfter"); // as GetPinStatus reports it
    QTest::addColumn<int>("reportedAfter");
    QTest::addColumn<bool>("enabledAfter");
    QTest::addColumn<QByteArray>("pinAfter");
    QTest::addColumn<bool>("simReady"); // 6619 raised

    const QByteArray wrongPin = "4321";
    const QByteArray wrongPuk = "87654321";
    const QByteArray none;

    // clang-format off
    QTest::newRow("verify right while required") << true << 3 << 10 << false << int(Verify) << kPin << none << 0 << 3 << 1 << 3 << true << kPin << true;
    QTest::newRow("verify right, protection off") << false << 3 << 10 << false << int(Verify) << kPin << none << 0 << 3 << 8 << 3 << false << kPin << false;
    QTest::newRow("verify right restores counter") << true << 1 << 10 << false << int(Verify) << kPin << none << 0 << 3 << 1 << 3 << true << kPin << true;
    QTest::newRow("verify wrong costs a try") << true << 3 << 10 << false << int(Verify) << wrongPin << none << -1 << 2 << 2 << 2 << true << kPin << false;
    QTest::newRow("verify wrong on last try") << true << 1 << 10 << false << int(Verify) << wrongPin << none << -1 << 0 << 3 << 10 << true << kPin << false;
    QTest::newRow("verify wrong, protection off") << false << 3 << 10 << false << int(Verify) << wrongPin << none << -1 << 2 << 8 << 2 << false << kPin << false;
    QTest::newRow("verify while PUK required") << true << 0 << 10 << false << int(Verify) << kPin << none << -1 << 0 << 3 << 10 << true << kPin << false;
    QTest::newRow("verify while blocked") << true << 0 << 0 << false << int(Verify) << kPin << none << -1 << 0 << 4 << 0 << true << kPin << false;
    QTest::newRow("verify PIN too short") << true << 3 << 10 << false << int(Verify) << QByteArray("123") << none << 1 << 3 << 2 << 3 << true << kPin << false;
    QTest::newRow("verify PIN too long") << true << 2 << 10 << false << int(Verify) << QByteArray("123456789") << none << 1 << 2 << 2 << 2 << true << kPin << false;
    QTest::newRow("verify eight digits") << true << 3 << 10 << false << int(Verify) << QByteArray("12345678") << none << -1 << 2 << 2 << 2 << true << kPin << false;

    QTest::newRow("enable with right PIN") << false << 2 << 10 << false << int(Enable) << kPin << none << 0 << kNoRetries << 1 << 3 << true << kPin << false;
    QTest::newRow("enable with wrong PIN") << false << 2 << 10 << false << int(Enable) << wrongPin << none << -1 << kNoRetries << 8 << 1 << false << kPin << false;
    QTest::newRow("enable, third wrong PIN") << false << 1 << 10 << false << int(Enable) << wrongPin << none << -1 << kNoRetries << 3 << 10 << false << kPin << false;
    QTest::newRow("enable when already on") << true << 2 << 10 << false << int(Enable) << kPin << none << -1 << kNoRetries << 2 << 2 << true << kPin << false;
    QTest::newRow("enable, PIN too short") << false << 3 << 10 << false << int(Enable) << QByteArray("12") << none << 1 << kNoRetries << 8 << 3 << false << kPin << false;

    QTest::newRow("disable with right PIN") << true << 2 << 10 << false << int(Disable) << kPin << none << 0 << kNoRetries << 8 << 3 << false << kPin << true;
    QTest::newRow("disable when already off") << false << 2 << 10 << false << int(Disable) << wrongPin << none << -1 << kNoRetries << 8 << 2 << false << kPin << false;
    QTest::newRow("disable with wrong PIN") << true << 3 << 10 << false << int(Disable) << wrongPin << none << -1 << kNoRetries << 2 << 2 << true << kPin << false;
    QTest::newRow("disable, third wrong PIN") << true << 1 << 10 << false << int(Disable) << wrongPin << none << -1 << kNoRetries << 3 << 10 << true << kPin << false;
    QTest::newRow("disable while PUK required") << true << 0 << 10 << false << int(Disable) << kPin << none << -1 << kNoRetries << 3 << 10 << true << kPin << false;

    QTest::newRow("change with right old PIN") << true << 2 << 10 << false << int(Change) << kPin << QByteArray("87654321") << 0 << kNoRetries << 1 << 3 << true << QByteArray("87654321") << true;
    QTest::newRow("change with wrong old PIN") << true << 3 << 10 << false << int(Change) << wrongPin << QByteArray("5678") << -1 << kNoRetries << 2 << 2 << true << kPin << false;
    QTest::newRow("change, third wrong old PIN") << true << 1 << 10 << false << int(Change) << wrongPin << QByteArray("5678") << -1 << kNoRetries << 3 << 10 << true << kPin << false;
    QTest::newRow("change when protection off") << false << 2 << 10 << false << int(Change) << kPin << QByteArray("5678") << -1 << kNoRetries << 8 << 2 << false << kPin << false;
    QTest::newRow("change, new PIN too short") << true << 3 << 10 << false << int(Change) << kPin << QByteArray("567") << 1 << kNoRetries << 2 << 3 << true << kPin << false;
    QTest::newRow("change, old PIN too long") << true << 3 << 10 << false << int(Change) << QByteArray("123456789") << QByteArray("5678") << 1 << kNoRetries << 2 << 3 << true << kPin << false;

    QTest::newRow("unblock with right PUK") << true << 0 << 10 << false << int(Unblock) << kPuk << QByteArray("4321") << 0 << 10 << 1 << 3 << true << QByteArray("4321") << true;
    QTest::newRow("unblock restores PUK counter") << true << 0 << 4 << false << int(Unblock) << kPuk << kPin << 0 << 10 << 1 << 3 << true << kPin << true;
    QTest::newRow("unblock turns protection on") << false << 3 << 10 << false << int(Unblock) << kPuk << QByteArray("5555") << 0 << 10 << 1 << 3 << true << QByteArray("5555") << true;
    QTest::newRow("unblock with wrong PUK") << true << 0 << 10 << false << int(Unblock) << wrongPuk << QByteArray("4321") << -1 << 9 << 3 << 9 << true << kPin << false;
    QTest::newRow("unblock, tenth wrong PUK") << true << 0 << 1 << false << int(Unblock) << wrongPuk << QByteArray("4321") << -1 << 0 << 4 << 0 << true << kPin << false;
    QTest::newRow("unblock while blocked") << true << 0 << 0 << false << int(Unblock) << kPuk << QByteArray("4321") << -1 << 0 << 4 << 0 << true << kPin << false;
    QTest::newRow("unblock, PUK too short") << true << 0 << 10 << false << int(Unblock) << QByteArray("1234567") << QByteArray("4321") << 1 << 10 << 3 << 10 << true << kPin << false;
    QTest::newRow("unblock, PUK too long") << true << 0 << 6 << false << int(Unblock) << QByteArray("123456789") << QByteArray("4321") << 1 << 6 << 3 << 6 << true << kPin << false;
    QTest::newRow("unblock, new PIN too short") << true << 0 << 10 << false << int(Unblock) << kPuk << QByteArray("432") << 1 << 10 << 3 << 10 << true << kPin << false;
    QTest::newRow("unblock refused: WWAN owns the PIN") << true << 0 << 10 << true << int(Unblock) << kPuk << QByteArray("4321") << 6000 << kNoRetries << 3 << 10 << true << kPin << false;
    // clang-format on
}

void TestSimPin::pinRequests()
{
    QFETCH(bool, pinEnabled);
    QFETCH(int, pinRetries);
    QFETCH(int, pukRetries);
    QFETCH(bool, wwanPrivilege);
    QFETCH(int, request);
    QFETCH(QByteArray, first);
    QFETCH(QByteArray, second);
    QFETCH(int, result);
    QFETCH(int, retriesOut);
    QFETCH(int, statusAfter);
    QFETCH(int, reportedAfter);
    QFETCH(bool, enabledAfter);
    QFETCH(QByteArray, pinAfter);
    QFETCH(bool, simReady);

    const int index = addCard(pinEnabled, pinRetries, pukRetries, wwanPrivilege);

    int retries = kNoRetries;
    QCOMPARE(runRequest(request, first, second, retries), result);
    if (retriesOut != kNoRetries)
        QCOMPARE(retries, retriesOut);

    const PinStatus read = readPinStatus();
    QCOMPARE(read.result, 0);
    QCOMPARE(read.status, statusAfter);
    QCOMPARE(read.retries, reportedAfter);
    QCOMPARE(read.flag, 0);
    QCOMPARE(read.flag2, 0);

    const sim::CardState state = *card().card(index);
    QCOMPARE(state.pinStatus, statusAfter);
    QCOMPARE(state.config.sim.pinEnabled, enabledAfter);
    QCOMPARE(QByteArray::fromStdString(state.config.sim.pin), pinAfter);

    QVERIFY(card().waitIdle());
    QCOMPARE(countCode(UTPS_EVENT_DEV_SIM_STATE_CHANGE), simReady ? 1 : 0);
    if (simReady)
        QCOMPARE(EventRecorder::instance().events().back().words, std::vector<uint32_t>{7});
}

void TestSimPin::thirdWrongPinRequiresPuk()
{
    addCard(true);
    const int expectedStatus[] = {2, 2, 3};
    const int expectedReported[] = {2, 1, 10};
    for (int attempt = 0; attempt < 3; ++attempt) {
        unsigned char left = 0xAA;
        QCOMPARE(UTPS_DevSrv_VerifyPin(0, "9999", &left), -1);
        QCOMPARE(int(left), 2 - attempt);
        const PinStatus read = readPinStatus();
        QCOMPARE(read.status, expectedStatus[attempt]);
        QCOMPARE(read.retries, expectedReported[attempt]);
    }
    unsigned char left = 0xAA;
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, kPin.constData(), &left), -1);
    QCOMPARE(int(left), 0);
    QCOMPARE(readPinStatus().status, 3);
}

void TestSimPin::tenthWrongPukBlocksForGood()
{
    addCard(true, 0);
    for (int attempt = 1; attempt <= 10; ++attempt) {
        unsigned char left = 0xAA;
        QCOMPARE(UTPS_DevSrv_UnblockPin(0, "00000000", "4321", &left), -1);
        QCOMPARE(int(left), 10 - attempt);
        QCOMPARE(readPinStatus().status, attempt < 10 ? 3 : 4);
    }
    unsigned char left = 0xAA;
    QCOMPARE(UTPS_DevSrv_UnblockPin(0, kPuk.constData(), "4321", &left), -1);
    QCOMPARE(int(left), 0);
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, kPin.constData(), &left), -1);
    QCOMPARE(UTPS_DevSrv_EnablePin(0, kPin.constData()), -1);
    const PinStatus read = readPinStatus();
    QCOMPARE(read.status, 4);
    QCOMPARE(read.retries, 0);
    QCOMPARE(countCode(UTPS_EVENT_DEV_SIM_STATE_CHANGE), 0);
}

void TestSimPin::rightPinAfterWrongOnesRestoresCounter()
{
    addCard(true);
    unsigned char left = 0;
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, "9999", &left), -1);
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, "9999", &left), -1);
    QCOMPARE(int(left), 1);
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, kPin.constData(), &left), 0);
    QCOMPARE(int(left), 3);
    // The counter is back to three: two more wrong PINs still leave one try.
    QCOMPARE(UTPS_DevSrv_DisablePin(0, "9999"), -1);
    QCOMPARE(UTPS_DevSrv_DisablePin(0, "9999"), -1);
    const PinStatus read = readPinStatus();
    QCOMPARE(read.status, 1);
    QCOMPARE(read.retries, 1);
}

void TestSimPin::replugAsksForPinAgain()
{
    const int index = addCard(true);
    unsigned char left = 0;
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, kPin.constData(), &left), 0);
    QCOMPARE(readPinStatus().status, 1);
    QVERIFY(card().unplug(index));
    QVERIFY(card().plug(index));
    QCOMPARE(readPinStatus().status, 2);
}

void TestSimPin::pinCallsFail_data()
{
    QTest::addColumn<bool>("withCard");
    QTest::addColumn<int>("btType");
    QTest::addColumn<int>("request"); // -1: GetPinStatus

    const int requests[] = {-1, Verify, Enable, Disable, Change, Unblock};
    const char* names[] = {"status", "verify", "enable", "disable", "change", "unblock"};
    for (int i = 0; i < 6; ++i) {
        QTest::addRow("%s without a card", names[i]) << false << 0 << requests[i];
        QTest::addRow("%s of PIN type 1", names[i]) << true << 1 << requests[i];
    }
}

void TestSimPin::pinCallsFail()
{
    QFETCH(bool, withCard);
    QFETCH(int, btType);
    QFETCH(int, request);

    if (withCard)
        addCard(true);
    const auto type = static_cast<unsigned char>(btType);
    unsigned char left = 0xAA;
    int status = -99;
    int result = 0;
    switch (request) {
    case -1:
        result = UTPS_DevSrv_GetPinStatus(type, &status, &left, &left, &left);
        QCOMPARE(status, -99);
        break;
    case Verify:
        result = UTPS_DevSrv_VerifyPin(type, kPin.constData(), &left);
        break;
    case Enable:
        result = UTPS_DevSrv_EnablePin(type, kPin.constData());
        break;
    case Disable:
        result = UTPS_DevSrv_DisablePin(type, kPin.constData());
        break;
    case Change:
        result = UTPS_DevSrv_ChangePin(type, kPin.constData(), "5678");
        break;
    case Unblock:
        result = UTPS_DevSrv_UnblockPin(type, kPuk.constData(), "5678", &left);
        break;
    }
    QCOMPARE(result, 1);
    QCOMPARE(int(left), 0xAA);
    if (withCard) // nothing was spent on the SIM's own PIN
        QCOMPARE(readPinStatus().retries, 3);
}

QTEST_GUILESS_MAIN(TestSimPin)
#include "tst_simpin.moc"
