// The C API's dispatch layer: call log and argument texts, faults, latency,
// thread safety, the user data directory, reset, and the choice of backend.
#include "EventRecorder.h"

#include <sim/VirtualCard.h>
#include <utps.h>

#include <QtTest>

#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <numeric>

using ApiCall = std::function<int()>;
Q_DECLARE_METATYPE(ApiCall)

namespace {

sim::VirtualCard& card()
{
    return sim::VirtualCard::instance();
}

int callback(int, void*)
{
    return 1;
}

std::atomic<bool> slowCallbackEntered{false};

int slowCallback(int, void*)
{
    slowCallbackEntered = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return 1;
}

int simStatus(int* status)
{
    return UTPS_DevSrv_GetSimStatus(status);
}

qint64 elapsedMs(const ApiCall& call)
{
    QElapsedTimer timer;
    timer.start();
    call();
    return timer.elapsed();
}

// Every function of the C API with harmless arguments, by name.
std::vector<std::pair<const char*, ApiCall>> everyCall()
{
    static _UTPS_ST_MULTI_DEVICE_INFO list;
    static char text[UTPS_DEVICE_NAME_LEN];
    static int value;
    static unsigned char byte;
    static _UTPS_EN_DEVICE_STATUS status;
    static _UTPS_ST_RF_SWITCH rf;
    return {
        {"RegisterDevInitEventCallback",
         [] { return UTPS_DevSrv_RegisterDevInitEventCallback(callback); }},
        {"UnRegisterDevInitEventCallback",
         [] { return UTPS_DevSrv_UnRegisterDevInitEventCallback(); }},
        {"RegisterDevMgrCallback", [] { return UTPS_DevSrv_RegisterDevMgrCallback(callback); }},
        {"UnRegisterDevMgrCallback", [] { return UTPS_DevSrv_UnRegisterDevMgrCallback(); }},
        {"RegisterMultiDeviceEventCallback",
         [] { return UTPS_DevSrv_RegisterMultiDeviceEventCallback(callback); }},
        {"UnRegisterMultiDeviceEventCallback",
         [] { return UTPS_DevSrv_UnRegisterMultiDeviceEventCallback(); }},
        {"GetAvailableDeviceList", [] { return UTPS_DevSrv_GetAvailableDeviceList(&list); }},
        {"ManualChangeDevice", [] { return UTPS_DevSrv_ManualChangeDevice("Card A", "", 1); }},
        {"DetectDevice", [] { return UTPS_DevSrv_DetectDevice(); }},
        {"GetDeviceName", [] { return UTPS_DevSrv_GetDeviceName(text); }},
        {"GetDevicePort", [] { return UTPS_DevSrv_GetDevicePort(&value); }},
        {"GetDevStatus", [] { return UTPS_DevSrv_GetDevStatus(&status); }},
        {"GetSimStatus", [] { return UTPS_DevSrv_GetSimStatus(&value); }},
        {"GetProductType", [] { return UTPS_DevSrv_GetProductType(&value); }},
        {"GetImsiInfo", [] { return UTPS_DevSrv_GetImsiInfo(text); }},
        {"GetPinStatus", [] { return UTPS_DevSrv_GetPinStatus(0, &value, &byte, &byte, &byte); }},
        {"VerifyPin", [] { return UTPS_DevSrv_VerifyPin(0, "1234", &byte); }},
        {"EnablePin", [] { return UTPS_DevSrv_EnablePin(0, "1234"); }},
        {"DisablePin", [] { return UTPS_DevSrv_DisablePin(0, "1234"); }},
        {"ChangePin", [] { return UTPS_DevSrv_ChangePin(0, "1234", "1234"); }},
        {"UnblockPin", [] { return UTPS_DevSrv_UnblockPin(0, "12345678", "1234", &byte); }},
        {"GetRFSwitch", [] { return UTPS_DevSrv_GetRFSwitch(&rf); }},
        {"SetRFSwitch", [] { return UTPS_DevSrv_SetRFSwitch(1); }},
        {"SetOffline", [] { return UTPS_DevSrv_SetOffline(); }},
        {"SetPSState", [] { return UTPS_NetSrv_SetPSState(1); }},
        {"IsWin7", [] { return UTPS_DevSrv_IsWin7(); }},
        {"IsWWanReady", [] { return UTPS_DevSrv_IsWWanReady(); }},
        {"IsWWanServiceActive", [] { return UTPS_DevSrv_IsWWanServiceActive(); }},
        {"GetUserDataDirectory",
         [] {
             UTPS_WCHAR* directory = nullptr;
             const int result = UTPS_GetUserDataDirectory(&directory);
             delete[] directory;
             return result;
         }},
    };
}

// Child mode (UTPS_PROBE set): a fully set-up card, then every call once.
// Prints "result <name> <value>" per call and "logged <n>".
int runProbe()
{
    sim::CardConfig config;
    config.name = "Card A";
    config.port = 1;
    card().addCard(config);
    sim::HostConfig host;
    host.win7 = true;
    host.userDataDir = "/tmp/probe/";
    card().setHost(host);
    for (const auto& [name, call] : everyCall())
        std::printf("result %s %d\n", name, call());
    std::printf("logged %d\n", int(card().callLog().size()));
    std::fflush(stdout);

    // Leave with a slow callback busy and events queued behind it: the exit
    // must stop the worker without delivering them all, and without a crash.
    if (UTPS_DevSrv_RegisterDevMgrCallback(slowCallback) != 0)
        return 0; // an unknown backend: nothing to deliver
    card().setEventGapMs(50);
    for (uint32_t i = 0; i < 200; ++i)
        card().powerEvent(i);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!slowCallbackEntered && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    return 0;
}

} // namespace

class TestUtpsApi : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void callLogRecordsArguments_data();
    void callLogRecordsArguments();
    void callObserverRunsOnCallerThread();
    void faultsTakeTheNextCalls_data();
    void faultsTakeTheNextCalls();
    void faultedCallsDoNothing();
    void permanentFaultUntilCleared();
    void latency_data();
    void latency();
    void concurrentCallsWhileEventsFlow();
    void concurrentWrongPinsEachCostOneTry();
    void userDataDirectory_data();
    void userDataDirectory();
    void resetRestoresDefaults();
    void backendSelection_data();
    void backendSelection();

private:
    int addCard(bool pinEnabled = false);
};

void TestUtpsApi::init()
{
    card().reset();
    EventRecorder::instance().clear();
}

void TestUtpsApi::cleanup()
{
    card().reset();
}

int TestUtpsApi::addCard(bool pinEnabled)
{
    sim::CardConfig config;
    config.name = "Card A";
    config.sim.pinEnabled = pinEnabled;
    const int index = card().addCard(config);
    EventRecorder::registerInit();
    EventRecorder::registerDevMgr();
    card().waitIdle();
    card().clearCallLog();
    EventRecorder::instance().clear();
    return index;
}

void TestUtpsApi::callLogRecordsArguments_data()
{
    QTest::addColumn<ApiCall>("call");
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("args");
    QTest::addColumn<int>("result");

    static unsigned char byte;
    static int value;
    QTest::newRow("verify") << ApiCall([] { return UTPS_DevSrv_VerifyPin(0, "1234", &byte); })
                            << "UTPS_DevSrv_VerifyPin"
                            << R"(0, "1234")" << 0;
    QTest::newRow("change device")
        << ApiCall([] { return UTPS_DevSrv_ManualChangeDevice("Card B", "", 2); })
        << "UTPS_DevSrv_ManualChangeDevice"
        << R"("Card B", "", 2)" << 1;
    QTest::newRow("PIN status") << ApiCall([] {
        return UTPS_DevSrv_GetPinStatus(0, &value, &byte, &byte, &byte);
    }) << "UTPS_DevSrv_GetPinStatus"
                                << "0" << 0;
    QTest::newRow("detach") << ApiCall([] { return UTPS_NetSrv_SetPSState(0); })
                            << "UTPS_NetSrv_SetPSState"
                            << "0" << 0;
    QTest::newRow("change PIN") << ApiCall([] { return UTPS_DevSrv_ChangePin(0, "1234", "5678"); })
                                << "UTPS_DevSrv_ChangePin"
                                << R"(0, "1234", "5678")" << -1;
    QTest::newRow("unblock") << ApiCall([] {
        return UTPS_DevSrv_UnblockPin(0, "12345678", "4321", &byte);
    }) << "UTPS_DevSrv_UnblockPin"
                             << R"(0, "12345678", "4321")" << 0;
    QTest::newRow("radio") << ApiCall([] { return UTPS_DevSrv_SetRFSwitch(1); })
                           << "UTPS_DevSrv_SetRFSwitch"
                           << "1" << 0;
    QTest::newRow("callback omitted")
        << ApiCall([] { return UTPS_DevSrv_RegisterMultiDeviceEventCallback(callback); })
        << "UTPS_DevSrv_RegisterMultiDeviceEventCallback"
        << "" << 0;
    QTest::newRow("out-parameter omitted")
        << ApiCall([] { return simStatus(&value); }) << "UTPS_DevSrv_GetSimStatus"
        << "" << 0;
    QTest::newRow("null string") << ApiCall([] {
        return UTPS_DevSrv_ManualChangeDevice(nullptr, "", -3);
    }) << "UTPS_DevSrv_ManualChangeDevice"
                                 << R"(null, "", -3)" << 1;
    QTest::newRow("quote in string")
        << ApiCall([] { return UTPS_DevSrv_EnablePin(7, "12\"4"); }) << "UTPS_DevSrv_EnablePin"
        << R"(7, "12\"4")" << 1;
}

void TestUtpsApi::callLogRecordsArguments()
{
    QFETCH(ApiCall, call);
    QFETCH(QString, function);
    QFETCH(QString, args);
    QFETCH(int, result);

    addCard();
    QCOMPARE(call(), result);
    const std::vector<sim::CallRecord> log = card().callLog();
    QCOMPARE(log.size(), std::size_t(1));
    QCOMPARE(QString::fromStdString(log[0].function), function);
    QCOMPARE(QString::fromStdString(log[0].args), args);
    QCOMPARE(log[0].result, result);
}

void TestUtpsApi::callObserverRunsOnCallerThread()
{
    addCard();
    std::vector<sim::CallRecord> seen;
    std::thread::id observerThread;
    card().setCallObserver([&](const sim::CallRecord& record) {
        seen.push_back(record);
        observerThread = std::this_thread::get_id();
    });
    std::thread::id callerThread;
    int result = -99;
    std::thread caller([&] {
        callerThread = std::this_thread::get_id();
        result = UTPS_DevSrv_VerifyPin(0, "9999", nullptr);
    });
    caller.join();

    QCOMPARE(result, -1);
    QCOMPARE(seen.size(), std::size_t(1));
    QVERIFY(observerThread == callerThread);
    QCOMPARE(seen[0].function, std::string("UTPS_DevSrv_VerifyPin"));
    QCOMPARE(seen[0].args, std::string(R"(0, "9999")"));
    QCOMPARE(seen[0].result, -1);
}

void TestUtpsApi::faultsTakeTheNextCalls_data()
{
    QTest::addColumn<int>("times");
    QTest::newRow("once") << 1;
    QTest::newRow("twice") << 2;
    QTest::newRow("five times") << 5;
}

void TestUtpsApi::faultsTakeTheNextCalls()
{
    QFETCH(int, times);

    addCard();
    card().setFault("UTPS_DevSrv_GetSimStatus", 42, times);
    for (int i = 0; i < times; ++i) {
        int status = -99;
        QCOMPARE(UTPS_DevSrv_GetSimStatus(&status), 42);
        QCOMPARE(status, -99);
    }
    int status = -99;
    QCOMPARE(UTPS_DevSrv_GetSimStatus(&status), 0);
    QCOMPARE(status, 1);
    // Other functions were never affected.
    int port = 0;
    QCOMPARE(UTPS_DevSrv_GetDevicePort(&port), 0);

    const std::vector<sim::CallRecord> log = card().callLog();
    QCOMPARE(log.size(), std::size_t(times + 2));
    QCOMPARE(log.front().result, 42);
    QCOMPARE(log[std::size_t(times)].result, 0);
}

void TestUtpsApi::faultedCallsDoNothing()
{
    const int index = addCard(true);

    card().setFault("UTPS_DevSrv_VerifyPin", 1, 1);
    unsigned char left = 0xAA;
    QCOMPARE(UTPS_DevSrv_VerifyPin(0, "9999", &left), 1);
    QCOMPARE(int(left), 0xAA);
    QCOMPARE(card().card(index)->config.sim.pinRetries, 3);

    card().setFault("UTPS_DevSrv_DetectDevice", 5, 1);
    QCOMPARE(UTPS_DevSrv_DetectDevice(), 5);
    card().setFault("UTPS_DevSrv_UnRegisterDevMgrCallback", 1, 1);
    QCOMPARE(UTPS_DevSrv_UnRegisterDevMgrCallback(), 1);
    card().powerEvent(1); // still delivered: the unregistration did not happen
    QVERIFY(card().waitIdle());
    QCOMPARE(EventRecorder::instance().codes(), std::vector<int>{6616});

    card().setFault("UTPS_GetUserDataDirectory", 1, 1);
    UTPS_WCHAR* directory = nullptr;
    QCOMPARE(UTPS_GetUserDataDirectory(&directory), 1);
    QVERIFY(directory == nullptr);
}

void TestUtpsApi::permanentFaultUntilCleared()
{
    addCard();
    card().setFault("UTPS_DevSrv_IsWin7", 0, -1);
    for (int i = 0; i < 20; ++i)
        QCOMPARE(UTPS_DevSrv_IsWin7(), 0);
    card().clearFaults();
    QCOMPARE(UTPS_DevSrv_IsWin7(), 1);

    card().setFault("UTPS_DevSrv_IsWin7", 0, -1);
    card().setFault("UTPS_DevSrv_IsWin7", 0, 0); // zero times removes it
    QCOMPARE(UTPS_DevSrv_IsWin7(), 1);
}

void TestUtpsApi::latency_data()
{
    QTest::addColumn<QString>("function");
    QTest::addColumn<bool>("simStatusSlow");
    QTest::addColumn<bool>("portSlow");
    QTest::newRow("one function") << "UTPS_DevSrv_GetSimStatus" << true << false;
    QTest::newRow("every function") << "*" << true << true;
    QTest::newRow("another function") << "UTPS_DevSrv_GetDevicePort" << false << true;
}

void TestUtpsApi::latency()
{
    QFETCH(QString, function);
    QFETCH(bool, simStatusSlow);
    QFETCH(bool, portSlow);

    constexpr int kLatencyMs = 150;
    addCard();
    card().setLatency(function.toStdString(), kLatencyMs);
    int value = 0;
    const qint64 simMs = elapsedMs([&] { return UTPS_DevSrv_GetSimStatus(&value); });
    const qint64 portMs = elapsedMs([&] { return UTPS_DevSrv_GetDevicePort(&value); });
    QCOMPARE(simMs >= kLatencyMs, simStatusSlow);
    QCOMPARE(portMs >= kLatencyMs, portSlow);

    card().setLatency(function.toStdString(), 0);
    QVERIFY(elapsedMs([&] { return UTPS_DevSrv_GetSimStatus(&value); }) < kLatencyMs);
}

void TestUtpsApi::concurrentCallsWhileEventsFlow()
{
    addCard(true);
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    constexpr uint32_t kEvents = 600;
    EventRecorder::instance().setWordCount(UTPS_EVENT_DEV_POWER, 1);

    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&failures] {
            for (int i = 0; i < kRounds; ++i) {
                int status = 0;
                unsigned char flag = 0, flag2 = 0, left = 0;
                _UTPS_EN_DEVICE_STATUS device;
                _UTPS_ST_RF_SWITCH rf;
                failures += UTPS_DevSrv_GetPinStatus(0, &status, &flag, &flag2, &left) != 0;
                failures += UTPS_DevSrv_GetDevStatus(&device) != 0;
                failures += UTPS_DevSrv_GetRFSwitch(&rf) != 0;
                failures += UTPS_DevSrv_VerifyPin(0, "1234", &left) != 0;
            }
        });
    }
    threads.emplace_back([] {
        for (uint32_t i = 0; i < kEvents; ++i)
            card().powerEvent(i);
    });
    for (std::thread& thread : threads)
        thread.join();
    QVERIFY(card().waitIdle());

    QCOMPARE(failures.load(), 0);
    QCOMPARE(card().callLog().size(), std::size_t(kThreads * kRounds * 4));
    std::vector<uint32_t> powerWords;
    int simReady = 0;
    for (const RecordedEvent& event : EventRecorder::instance().events()) {
        if (event.code == UTPS_EVENT_DEV_POWER)
            powerWords.push_back(event.words.at(0));
        simReady += event.code == UTPS_EVENT_DEV_SIM_STATE_CHANGE;
    }
    std::vector<uint32_t> raised(kEvents);
    std::iota(raised.begin(), raised.end(), 0u);
    QCOMPARE(powerWords, raised); // all of them, in order
    QCOMPARE(simReady, 1);        // only the first right PIN made the SIM ready
    unsigned char left = 0;
    int status = 0;
    QCOMPARE(UTPS_DevSrv_GetPinStatus(0, &status, &left, &left, &left), 0);
    QCOMPARE(status, UTPS_PIN_STATUS_VERIFIED);
    QCOMPARE(int(left), 3);
}

void TestUtpsApi::concurrentWrongPinsEachCostOneTry()
{
    addCard(true);
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> ready{0};
        std::vector<int> left(3, -1);
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t) {
            threads.emplace_back([&ready, &left, t] {
                ++ready;
                while (ready < 3)
                    std::this_thread::yield();
                unsigned char retries = 0xAA;
                if (UTPS_DevSrv_VerifyPin(0, "0000", &retries) == -1)
                    left[std::size_t(t)] = retries;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        std::sort(left.begin(), left.end());
        QCOMPARE(left, (std::vector<int>{0, 1, 2}));
        unsigned char retries = 0;
        QCOMPARE(UTPS_DevSrv_UnblockPin(0, "12345678", "1234", &retries), 0);
    }
}

void TestUtpsApi::userDataDirectory_data()
{
    QTest::addColumn<QByteArray>("directory"); // as the host configuration holds it: UTF-8
    QTest::addColumn<int>("result");
    QTest::newRow("ASCII") << QByteArray("/home/user/.linkmarrow/") << 0;
    QTest::newRow("Latin-1 letters") << QByteArray("/home/j\xc3\xbcrgen/Daten/") << 0;
    QTest::newRow("beyond the BMP") << QByteArray("/tmp/\xe6\x95\xb0\xf0\x9f\x98\x80/") << 0;
    QTest::newRow("malformed bytes") << QByteArray("/tmp/\xff\xc3/x/") << 0;
    QTest::newRow("empty: failure") << QByteArray() << 1;
}

void TestUtpsApi::userDataDirectory()
{
    QFETCH(QByteArray, directory);
    QFETCH(int, result);

    sim::HostConfig host;
    host.userDataDir = directory.toStdString();
    card().setHost(host);

    UTPS_WCHAR* text = nullptr;
    QCOMPARE(UTPS_GetUserDataDirectory(&text), result);
    QVERIFY(text != nullptr); // handed back even on failure
    const QString received = QString::fromUtf16(text);
    delete[] text;
    QCOMPARE(received, QString::fromUtf8(directory));
    QCOMPARE(UTPS_GetUserDataDirectory(nullptr), 1);
}

void TestUtpsApi::resetRestoresDefaults()
{
    addCard();
    std::atomic<int> observed{0};
    card().setCallObserver([&](const sim::CallRecord&) { ++observed; });
    card().setEventObserver([&](int) { ++observed; });
    card().setFault("UTPS_DevSrv_DetectDevice", 3, -1);
    card().setLatency("*", 200);
    card().setEventGapMs(500);
    sim::HostConfig host;
    host.win7 = true;
    card().setHost(host);

    card().reset();
    observed = 0;
    QCOMPARE(card().cardCount(), 0);
    QCOMPARE(card().currentCard(), -1);
    QVERIFY(!card().host().win7);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(UTPS_DevSrv_DetectDevice(), 0);
    QVERIFY(timer.elapsed() < 200);
    card().raiseEvent(6616, std::vector<uint32_t>{1});
    QVERIFY(card().waitIdle());
    QCOMPARE(EventRecorder::instance().count(), 0); // the callbacks are gone

    // With a callback again: delivered, but no observer left, and no gap
    // between two events any more.
    EventRecorder::registerDevMgr();
    card().powerEvent(1);
    card().powerEvent(2);
    QVERIFY(card().waitIdle(400));
    QCOMPARE(EventRecorder::instance().count(), 2);
    QCOMPARE(card().callLog().size(), std::size_t(2));
    QCOMPARE(observed.load(), 0);
}

void TestUtpsApi::backendSelection_data()
{
    QTest::addColumn<QString>("backend"); // "<unset>": no variable at all
    QTest::addColumn<bool>("known");
    QTest::newRow("unknown") << "bogus" << false;
    QTest::newRow("unset: the virtual card") << "<unset>" << true;
    QTest::newRow("empty: the virtual card") << "" << true;
    QTest::newRow("sim") << "sim" << true;
}

void TestUtpsApi::backendSelection()
{
    QFETCH(QString, backend);
    QFETCH(bool, known);

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("UTPS_PROBE", "1");
    if (backend == "<unset>")
        environment.remove("UTPS_BACKEND");
    else
        environment.insert("UTPS_BACKEND", backend);
    QProcess child;
    child.setProcessEnvironment(environment);
    QElapsedTimer timer;
    timer.start();
    child.start(QCoreApplication::applicationFilePath(), {});
    QVERIFY(child.waitForFinished(30000));
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
    // Delivering the 200 events it left queued would take 14 s.
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));

    const QStringList errorLines = QString::fromUtf8(child.readAllStandardError())
                                       .split('\n', Qt::SkipEmptyParts)
                                       .filter("utps:");
    const QStringList expectedErrors = {
        QString("utps: unknown backend \"%1\": every call fails").arg(backend)};
    QCOMPARE(errorLines, known ? QStringList() : expectedErrors);

    QMap<QString, int> results;
    int logged = -1;
    for (const QString& line : QString::fromUtf8(child.readAllStandardOutput()).split('\n')) {
        const QStringList words = line.split(' ');
        if (words.size() == 3 && words[0] == "result")
            results.insert(words[1], words[2].toInt());
        else if (words.size() == 2 && words[0] == "logged")
            logged = words[1].toInt();
    }
    QCOMPARE(results.size(), int(everyCall().size()));
    QCOMPARE(logged, results.size()); // the call log works whatever the backend
    for (auto it = results.cbegin(); it != results.cend(); ++it) {
        if (!known)
            QVERIFY2(it.value() != 0, qPrintable(it.key()));
    }
    if (known) { // the virtual card answered
        QCOMPARE(results.value("GetDevStatus"), 0);
        QCOMPARE(results.value("IsWin7"), 0);
        QCOMPARE(results.value("GetUserDataDirectory"), 0);
    }
}

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
