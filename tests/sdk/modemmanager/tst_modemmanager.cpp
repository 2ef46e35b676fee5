// The modemmanager backend through the C API, against the real ModemManager
// daemon on a private bus with the project's emulated AT modems: the answers
// and event sequences the device manager gets, and what each request does to
// the modem.
#include "../EventRecorder.h"
#include "MmTestBed.h"

#include <SdkHost.h>
#include <utps.h>

#include <QtTest>

#include <ModemManager.h>

#include <future>

namespace {

constexpr int kModemTimeoutMs = 15000;
const QList<int> kLockedPlug = {UTPS_EVENT_DEV_DETECTED,   UTPS_EVENT_DEV_ACTIVE,
                                UTPS_EVENT_DEV_INIT_BEGIN, UTPS_EVENT_DEV_INIT_SUCCESS,
                                UTPS_EVENT_DEV_CHECK_PIN,  UTPS_EVENT_DEV_DEVICE_INIT_FINISH};
const QList<int> kReadyPlug = {UTPS_EVENT_DEV_DETECTED,        UTPS_EVENT_DEV_ACTIVE,
                               UTPS_EVENT_DEV_INIT_BEGIN,      UTPS_EVENT_DEV_INIT_SUCCESS,
                               UTPS_EVENT_DEV_DEVICE_NO_PIN,   UTPS_EVENT_DEV_DEVICE_INIT_FINISH,
                               UTPS_EVENT_DEV_SIM_STATE_CHANGE};

struct PinAnswer
{
    int result = -99;
    int status = -99;
    int retries = -99;
};

PinAnswer pinStatus()
{
    PinAnswer answer;
    unsigned char flag = 9, flag2 = 9, retries = 0;
    answer.result = UTPS_DevSrv_GetPinStatus(0, &answer.status, &flag, &flag2, &retries);
    answer.retries = retries;
    return answer;
}

int port()
{
    int value = -1;
    return UTPS_DevSrv_GetDevicePort(&value) == 0 ? value : -1;
}

QStringList deviceList()
{
    _UTPS_ST_MULTI_DEVICE_INFO list{};
    QStringList names;
    if (UTPS_DevSrv_GetAvailableDeviceList(&list) == 0) {
        for (int i = 0; i < list.nDevNum; ++i)
            names << QString::asprintf("%s:%d:%d", list.stDevInfo[i].szDeviceName,
                                       list.stDevInfo[i].nPort, list.stDevInfo[i].nProtocol);
    }
    return names;
}

std::pair<int, int> radio()
{
    _UTPS_ST_RF_SWITCH rf{-1, -1};
    UTPS_DevSrv_GetRFSwitch(&rf);
    return {rf.nState, rf.nSupport};
}

AtModemConfig sim(bool pinEnabled, bool present = true)
{
    AtModemConfig config;
    config.pinEnabled = pinEnabled;
    config.simPresent = present;
    return config;
}

} // namespace

Q_DECLARE_METATYPE(AtModemConfig)

class TestModemManager : public QObject
{
    Q_OBJECT

    std::unique_ptr<MmTestBed> m_bed;
    QStringList m_plugged;
    QStringList m_log;
    std::mutex m_logMutex;

    // Adds a modem and waits for the events it makes: `codes` from the
    // recorder's start.
    AtModem* plug(const QString& id, const AtModemConfig& config, const QList<int>& codes,
                  const QString& plugin = QStringLiteral("generic"))
    {
        QString error;
        AtModem* modem = m_bed->addModem(id, config, plugin, &error);
        if (!modem) {
            qWarning("%s", qPrintable(error));
            return nullptr;
        }
        m_plugged << id;
        QDeadlineTimer deadline(kModemTimeoutMs);
        while (EventRecorder::codes() != codes && !deadline.hasExpired())
            QTest::qWait(20);
        if (EventRecorder::codes() != codes) {
            qWarning() << "events" << EventRecorder::codes() << "expected" << codes;
            return nullptr;
        }
        return modem;
    }
    void unplug(const QString& id)
    {
        QString error;
        QVERIFY2(m_bed->removeModem(id, &error), qPrintable(error));
        m_plugged.removeAll(id);
    }

private slots:
    void initTestCase()
    {
        const QString missing = MmTestBed::missingTools();
        if (!missing.isEmpty())
            QSKIP(
                qPrintable(QStringLiteral("not installed: %1 (tools/install-deps.sh installs them)")
                               .arg(missing)));
        m_bed = std::make_unique<MmTestBed>(QCoreApplication::applicationDirPath() +
                                            QStringLiteral("/mm-logs/tst_modemmanager"));
        QString error;
        QVERIFY2(m_bed->start(&error), qPrintable(error));
        // Before the first call: the backend is chosen once per process.
        qputenv("UTPS_BACKEND", "modemmanager");
        qputenv("UTPS_MM_BUS", m_bed->busAddress().toUtf8());
        qputenv("UTPS_MM_RFKILL_DIR", QByteArray("/nonexistent"));
        utps::setLogSink([this](utps::LogLevel, const std::string& line) {
            std::lock_guard<std::mutex> lock(m_logMutex);
            m_log << QString::fromStdString(line);
        });
        QTRY_VERIFY_WITH_TIMEOUT(utps::backendStatus().ready, kModemTimeoutMs);
        QVERIFY(
            QString::fromStdString(utps::backendStatus().message).startsWith("ModemManager 1."));
        EventRecorder::registerInit();
    }
    void cleanupTestCase()
    {
        // The backend outlives the test object and its bed.
        utps::setLogSink({});
        m_bed.reset();
    }
    void init()
    {
        EventRecorder::registerDevMgr();
        EventRecorder::clear();
    }
    void cleanup()
    {
        if (m_plugged.isEmpty())
            return;
        EventRecorder::clear();
        for (const QString& id : std::as_const(m_plugged)) {
            QString error;
            m_bed->removeModem(id, &error);
        }
        m_plugged.clear();
        // Every card is gone, and the last unplug told: the next test starts
        // with none current and no event on its way.
        QTRY_VERIFY_WITH_TIMEOUT(!EventRecorder::events().isEmpty() &&
                                     EventRecorder::events().back().code == UTPS_EVENT_DEV_REJECT &&
                                     EventRecorder::events().back().devices.isEmpty(),
                                 kModemTimeoutMs);
    }
    void modemPresentBeforeRegistration()
    {
        UTPS_DevSrv_UnRegisterDevMgrCallback();
        QString error;
        QVERIFY2(m_bed->addModem("early", sim(true), "generic", &error), qPrintable(error));
        m_plugged << "early";
        // Known and listed, but nobody listens: no event yet.
        QTRY_COMPARE_WITH_TIMEOUT(deviceList(), QStringList{"LM Emulated Modem:1:1"},
                                  kModemTimeoutMs);
        QCOMPARE(EventRecorder::codes(), QList<int>{});
        EventRecorder::registerDevMgr();
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), kLockedPlug, kModemTimeoutMs);
        QCOMPARE(EventRecorder::events().front().devices, QStringList{"LM Emulated Modem:1:1"});
        QCOMPARE(port(), 1);
    }
    void plugAndUnplug_data()
    {
        QTest::addColumn<AtModemConfig>("config");
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<int>("simStatus");
        QTest::addColumn<int>("pin"); // the PIN status; -1: the call fails

        AtModemConfig longName = sim(false);
        longName.model = "A Modem With A Very Long Model Name";
        QTest::newRow("PIN locked")
            << sim(true) << kLockedPlug << 1 << UTPS_PIN_STATUS_PIN_REQUIRED;
        QTest::newRow("PIN off") << sim(false) << kReadyPlug << 1 << UTPS_PIN_STATUS_DISABLED;
        QTest::newRow("long model name") << longName << kReadyPlug << 1 << UTPS_PIN_STATUS_DISABLED;
        QList<int> noSim = kReadyPlug; // the SIM found invalid where it would be initialised
        noSim[noSim.indexOf(UTPS_EVENT_DEV_INIT_SUCCESS)] = UTPS_EVENT_DEV_SIM_INVALID;
        QTest::newRow("no SIM") << sim(false, false) << noSim << 255 << -1;
    }
    void plugAndUnplug()
    {
        QFETCH(AtModemConfig, config);
        QFETCH(QList<int>, codes);
        QFETCH(int, simStatus);
        QFETCH(int, pin);
        AtModem* modem = plug("plug", config, codes);
        QVERIFY(modem);
        const QString name = QString::fromStdString(config.model).left(UTPS_SHORT_NAME_LEN - 1);
        if (codes.contains(UTPS_EVENT_DEV_SIM_STATE_CHANGE))
            QCOMPARE(EventRecorder::events().back().words, QList<uint>{uint(simStatus)});

        char shortName[UTPS_SHORT_NAME_LEN];
        int status = -1, type = -1;
        _UTPS_EN_DEVICE_STATUS device = DEVICE_STATUS_NO_DEVICE;
        QCOMPARE(UTPS_DevSrv_GetDeviceName(shortName), 0);
        QCOMPARE(QString(shortName), name);
        QCOMPARE(deviceList(), QStringList{QStringLiteral("%1:%2:1").arg(name).arg(port())});
        QCOMPARE(UTPS_DevSrv_GetDevStatus(&device), 0);
        QCOMPARE(device, DEVICE_STATUS_AVAILABLE);
        QCOMPARE(UTPS_DevSrv_GetSimStatus(&status), 0);
        QCOMPARE(status, simStatus);
        QCOMPARE(UTPS_DevSrv_GetProductType(&type), 0);
        QCOMPARE(type, 2); // a 3GPP modem: SIM type
        const PinAnswer answer = pinStatus();
        QCOMPARE(answer.result == 0 ? answer.status : -1, pin);
        char imsi[UTPS_IMSI_LEN] = {};
        // The IMSI can be read from a SIM that is ready, only.
        QCOMPARE(UTPS_DevSrv_GetImsiInfo(imsi) == 0, pin == UTPS_PIN_STATUS_DISABLED);

        EventRecorder::clear();
        unplug("plug");
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_REJECT},
                                  kModemTimeoutMs);
        QCOMPARE(EventRecorder::events().front().devices, QStringList{});
        QCOMPARE(UTPS_DevSrv_GetDevStatus(&device), 0);
        QCOMPARE(device, DEVICE_STATUS_NO_DEVICE);
        QCOMPARE(UTPS_DevSrv_GetDeviceName(shortName), 1);
    }
    void wrongPinsThenPuk()
    {
        AtModem* modem = plug("puk", sim(true), kLockedPlug);
        QVERIFY(modem);
        const int before = port();
        const QString path = m_bed->modemPath("puk");
        EventRecorder::clear();
        unsigned char left = 0;
        QCOMPARE(UTPS_DevSrv_VerifyPin(0, "0000", &left), -1);
        QCOMPARE(int(left), 2);
        QCOMPARE(modem->state().sim.pinTries, 2);
        const PinAnswer after = pinStatus();
        QCOMPARE(after.status, UTPS_PIN_STATUS_PIN_REQUIRED);
        QCOMPARE(after.retries, 2);
        QCOMPARE(UTPS_DevSrv_VerifyPin(0, "0000", &left), -1);
        QCOMPARE(UTPS_DevSrv_VerifyPin(0, "0000", &left), -1);
        QCOMPARE(int(left), 0);
        QCOMPARE(pinStatus().status, UTPS_PIN_STATUS_PUK_REQUIRED);

        // The daemon drops the modem and makes it again at a new path: the same
        // card, so no unplug and no plug.
        QTRY_VERIFY_WITH_TIMEOUT(
            !m_bed->modemPath("puk").isEmpty() && m_bed->modemPath("puk") != path, kModemTimeoutMs);
        QVERIFY(m_bed->waitForState("puk", MM_MODEM_STATE_LOCKED, kModemTimeoutMs));
        QTest::qWait(300);
        QCOMPARE(EventRecorder::codes(), QList<int>{});
        QCOMPARE(port(), before);
        const PinAnswer puk = pinStatus();
        QCOMPARE(puk.status, UTPS_PIN_STATUS_PUK_REQUIRED);
        QCOMPARE(puk.retries, 10);

        QCOMPARE(UTPS_DevSrv_UnblockPin(0, "87654321", "4321", &left), -1);
        QCOMPARE(int(left), 9);
        QCOMPARE(UTPS_DevSrv_UnblockPin(0, "12345678", "4321", &left), 0);
        QCOMPARE(pinStatus().status, UTPS_PIN_STATUS_VERIFIED);
        QCOMPARE(m_bed->modem("puk")->state().sim.pinTries, 3);
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(),
                                  QList<int>{UTPS_EVENT_DEV_SIM_STATE_CHANGE}, kModemTimeoutMs);
        QCOMPARE(EventRecorder::events().front().words, QList<uint>{1});
        // Ready means initialised with the SIM: its IMSI is known.
        char imsi[UTPS_IMSI_LEN] = {};
        QCOMPARE(UTPS_DevSrv_GetImsiInfo(imsi), 0);
        QCOMPARE(QString(imsi), QString("262019876543210"));
    }
    void reprobeThatNeverComesBack()
    {
        QVERIFY(plug("gone", sim(true), kLockedPlug));
        EventRecorder::clear();
        unsigned char left = 0;
        for (int i = 0; i < 3; ++i)
            QCOMPARE(UTPS_DevSrv_VerifyPin(0, "0000", &left), -1);
        // Unplugged while the daemon was to make it again: held for a while as
        // the same card, then gone.
        QElapsedTimer held;
        held.start();
        unplug("gone");
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_REJECT}, 20000);
        QVERIFY2(held.elapsed() > 4000, qPrintable(QString::number(held.elapsed())));
        QCOMPARE(pinStatus().result, 1);
    }
    void pinProtection()
    {
        AtModem* modem = plug("protect", sim(false), kReadyPlug);
        QVERIFY(modem);
        QCOMPARE(UTPS_DevSrv_EnablePin(0, "0000"), -1);
        QCOMPARE(pinStatus().retries, 2);
        QCOMPARE(UTPS_DevSrv_EnablePin(0, "1234"), 0);
        QVERIFY(modem->state().sim.pinEnabled);
        QCOMPARE(pinStatus().status, UTPS_PIN_STATUS_VERIFIED);
        QCOMPARE(pinStatus().retries, 3);

        QCOMPARE(UTPS_DevSrv_ChangePin(0, "0000", "4321"), -1);
        QCOMPARE(pinStatus().retries, 2);
        QCOMPARE(UTPS_DevSrv_ChangePin(0, "1234", "4321"), 0);
        QCOMPARE(UTPS_DevSrv_DisablePin(0, "1234"), -1); // the old PIN is no more
        QCOMPARE(UTPS_DevSrv_DisablePin(0, "4321"), 0);
        QVERIFY(!modem->state().sim.pinEnabled);
        QCOMPARE(pinStatus().status, UTPS_PIN_STATUS_DISABLED);
        const std::vector<std::string> at = modem->commands();
        QVERIFY(std::count(at.begin(), at.end(), "AT+CPWD=\"SC\",\"****\",\"****\"") == 2);
    }
    void radioOffAndOn()
    {
        // The zte plugin has the modem's power switched with CFUN; the generic
        // one does not.
        AtModem* modem = plug("zte", sim(false), kReadyPlug, QStringLiteral("zte"));
        QVERIFY(modem);
        QCOMPARE(radio(), std::make_pair(1, 1));
        EventRecorder::clear();
        QCOMPARE(UTPS_DevSrv_SetRFSwitch(0), 0);
        QCOMPARE(modem->state().cfun, 4);
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_RF_SWITCH},
                                  kModemTimeoutMs);
        QCOMPARE(EventRecorder::events().back().words, (QList<uint>{0, 1}));
        QCOMPARE(radio(), std::make_pair(0, 1));

        QCOMPARE(UTPS_DevSrv_SetRFSwitch(1), 0);
        QCOMPARE(modem->state().cfun, 1);
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(),
                                  (QList<int>{UTPS_EVENT_DEV_RF_SWITCH, UTPS_EVENT_DEV_RF_SWITCH}),
                                  kModemTimeoutMs);
        QCOMPARE(EventRecorder::events().back().words, (QList<uint>{1, 1}));
        QCOMPARE(radio(), std::make_pair(1, 1));
        // Radio on also enables the modem: it registers with the network.
        QVERIFY(m_bed->waitForState("zte", MM_MODEM_STATE_REGISTERED, kModemTimeoutMs));
    }
    void controlsOfAPlainModem()
    {
        AtModem* modem = plug("plain", sim(false), kReadyPlug);
        QVERIFY(modem);
        QCOMPARE(UTPS_DevSrv_SetRFSwitch(1), 0); // on, and the modem enabled
        QVERIFY(m_bed->waitForState("plain", MM_MODEM_STATE_REGISTERED, kModemTimeoutMs));
        QVERIFY(modem->state().attached);
        QCOMPARE(UTPS_NetSrv_SetPSState(0), 0);
        QVERIFY(modem->waitForCommand("AT+CGATT=0", 1000) >= 0);
        QVERIFY(!modem->state().attached);
        QCOMPARE(UTPS_NetSrv_SetPSState(7), 1);

        // The generic plugin cannot lower the power: not switchable from now on,
        // and left enabled as it was.
        QCOMPARE(UTPS_DevSrv_SetRFSwitch(0), 1);
        QCOMPARE(radio(), std::make_pair(1, 0));
        QVERIFY(m_bed->waitForState("plain", MM_MODEM_STATE_REGISTERED, kModemTimeoutMs));
        QCOMPARE(modem->state().cfun, 1);

        const std::size_t before = modem->commands().size();
        QCOMPARE(UTPS_DevSrv_SetOffline(), 0);
        QVERIFY(modem->waitForCommand("AT+CREG=0", 1000, before) >= 0);
        QVERIFY(m_bed->waitForState("plain", MM_MODEM_STATE_DISABLED, kModemTimeoutMs));
    }
    void twoModemsAndSwitch()
    {
        QVERIFY(plug("first", sim(true), kLockedPlug));
        const int first = port();
        AtModemConfig other = sim(false);
        other.model = "Second Modem";
        QVERIFY(plug("second", other, kLockedPlug + QList<int>{UTPS_EVENT_DEV_DETECTED}));
        const QStringList both = {QStringLiteral("LM Emulated Modem:%1:1").arg(first),
                                  QStringLiteral("Second Modem:%1:1").arg(first + 1)};
        QCOMPARE(EventRecorder::events().back().devices, both);
        QCOMPARE(port(), first); // the second only joins the list

        EventRecorder::clear();
        // Refused when the name and the port name different modems.
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Second Modem", "", first), 1);
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice("Second Modem", "", first + 1), 0);
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(),
                                  (QList<int>{UTPS_EVENT_DEV_CHANGE_BEGIN, UTPS_EVENT_DEV_SWITCH,
                                              UTPS_EVENT_DEV_CHANGE_END} +
                                   kReadyPlug.mid(2)),
                                  kModemTimeoutMs);
        QCOMPARE(port(), first + 1);
        QCOMPARE(pinStatus().status, UTPS_PIN_STATUS_DISABLED);

        EventRecorder::clear();
        unplug("first");
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_REJECT},
                                  kModemTimeoutMs);
        QCOMPARE(EventRecorder::events().front().devices, both.mid(1));
        QCOMPARE(port(), first + 1);
        EventRecorder::clear();
        QCOMPARE(UTPS_DevSrv_DetectDevice(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_DETECTED},
                                  kModemTimeoutMs);
        QCOMPARE(EventRecorder::events().front().devices, both.mid(1));
    }
    void modemVanishesDuringPinRequest()
    {
        AtModem* modem = plug("vanish", sim(true), kLockedPlug);
        QVERIFY(modem);
        modem->setSilentOn("AT+CPIN=");
        EventRecorder::clear();
        auto request = std::async(std::launch::async, [] {
            unsigned char left = 0;
            return UTPS_DevSrv_VerifyPin(0, "1234", &left);
        });
        QVERIFY(modem->waitForCommand("AT+CPIN=", kModemTimeoutMs) >= 0);
        unplug("vanish");
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_REJECT},
                                  kModemTimeoutMs);
        QVERIFY(request.wait_for(std::chrono::seconds(30)) == std::future_status::ready);
        QCOMPARE(request.get(), 1);
        QCOMPARE(pinStatus().result, 1); // no card: a clean failure
    }
    void daemonKilledAndRestarted()
    {
        QVERIFY(plug("restart", sim(true), kLockedPlug));
        const int before = port();
        EventRecorder::clear();
        m_bed->killDaemon();
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), QList<int>{UTPS_EVENT_DEV_REJECT},
                                  kModemTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(!utps::backendStatus().ready, kModemTimeoutMs);
        QVERIFY(QString::fromStdString(utps::backendStatus().message).contains("not running"));
        QCOMPARE(UTPS_DevSrv_IsWWanServiceActive(), -1);
        unsigned char left = 0;
        QCOMPARE(UTPS_DevSrv_VerifyPin(0, "1234", &left), 1);

        QString error;
        QVERIFY2(m_bed->startDaemon(&error), qPrintable(error));
        QTRY_VERIFY_WITH_TIMEOUT(utps::backendStatus().ready, kModemTimeoutMs);
        EventRecorder::clear();
        // The private daemon does not scan for devices: the modem is offered again.
        QVERIFY2(m_bed->registerModem("restart", "generic", &error), qPrintable(error));
        QTRY_COMPARE_WITH_TIMEOUT(EventRecorder::codes(), kLockedPlug, kModemTimeoutMs);
        QCOMPARE(port(), before);
        QCOMPARE(UTPS_DevSrv_IsWWanServiceActive(), 0);
    }
    void noSecretInTheLog()
    {
        std::lock_guard<std::mutex> lock(m_logMutex);
        QStringList failures = m_log.filter(QStringLiteral(" failed: "));
        // Wrong PINs and PUKs, a refused power switch, a modem gone mid-request.
        QVERIFY(failures.size() >= 5);
        for (const QString& line : std::as_const(failures)) {
            for (const char* secret : {"1234", "0000", "4321", "12345678", "87654321"})
                QVERIFY2(!line.contains(QLatin1String(secret)), qPrintable(line));
        }
    }
};

QTEST_GUILESS_MAIN(TestModemManager)
#include "tst_modemmanager.moc"
