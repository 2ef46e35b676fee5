// What the modemmanager backend makes of ModemManager's modems, for the cases
// the daemon cannot be brought to on demand: a re-probe that never comes
// back, a modem that is back after an unplug, the kernel's radio switch,
// locks and capabilities of other modems, error replies of every kind.
#include <modemmanager/MmErrors.h>
#include <modemmanager/ModemRegistry.h>
#include <modemmanager/Rfkill.h>

#include <QtTest>

#include <QTemporaryDir>

#include <atomic>
#include <mutex>
#include <thread>

using namespace utps::mm;
using namespace std::chrono_literals;

namespace {

ModemSnapshot modem(const std::string& device, MMModemState state, MMModemLock lock,
                    const std::string& path = {})
{
    ModemSnapshot snapshot;
    snapshot.path = path.empty() ? "/Modem/" + device : path;
    snapshot.device = device;
    snapshot.model = "Model " + device;
    snapshot.simPath = "/SIM/" + device;
    snapshot.state = state;
    snapshot.unlockRequired = lock;
    snapshot.unlockRetries = {{MM_MODEM_LOCK_SIM_PIN, 3}, {MM_MODEM_LOCK_SIM_PUK, 10}};
    snapshot.capabilities = MM_MODEM_CAPABILITY_GSM_UMTS;
    snapshot.simLockEnabled = true;
    snapshot.powerState = MM_MODEM_POWER_STATE_ON;
    return snapshot;
}

QList<int> codes(const ModemRegistry::Events& events)
{
    QList<int> result;
    for (const Event& event : events)
        result << event.code;
    return result;
}

const ModemRegistry::Clock::time_point t0{};

std::mutex g_gate; // held to keep a delivery under way
std::atomic<int> g_delivered{0};

} // namespace

Q_DECLARE_METATYPE(ModemSnapshot)

class TestModemRegistry : public QObject
{
    Q_OBJECT

private slots:
    void reprobeThatNeverComesBack()
    {
        ModemRegistry registry;
        registry.setDeviceCallback(true);
        registry.reconcile({modem("a", MM_MODEM_STATE_LOCKED, MM_MODEM_LOCK_SIM_PIN)}, t0);
        // The third wrong PIN: the PUK is required and the modem goes.
        QCOMPARE(codes(registry.reconcile(
                     {modem("a", MM_MODEM_STATE_LOCKED, MM_MODEM_LOCK_SIM_PUK)}, t0 + 1s)),
                 QList<int>{});
        QCOMPARE(codes(registry.reconcile({}, t0 + 2s)), QList<int>{});
        QCOMPARE(registry.current()->present, false);
        QCOMPARE(registry.nextExpiry(), std::optional(t0 + 2s + ModemRegistry::ReprobeHold));
        QCOMPARE(codes(registry.expire(t0 + 3s)), QList<int>{});
        const auto events = registry.expire(t0 + 2s + ModemRegistry::ReprobeHold);
        QCOMPARE(codes(events), QList<int>{UTPS_EVENT_DEV_REJECT});
        QCOMPARE(events[0].list->nDevNum, 0);
        QVERIFY(!registry.current());

        // Out of the window a vanishing modem is unplugged at once.
        registry.reconcile({modem("b", MM_MODEM_STATE_LOCKED, MM_MODEM_LOCK_SIM_PUK)}, t0 + 20s);
        QCOMPARE(codes(registry.reconcile({}, t0 + 20s + ModemRegistry::ReprobeWindow)),
                 QList<int>{UTPS_EVENT_DEV_REJECT});
    }
    void modemBackAfterUnplugKeepsItsPort()
    {
        ModemRegistry registry;
        const auto a = modem("a", MM_MODEM_STATE_DISABLED, MM_MODEM_LOCK_NONE);
        const auto z = modem("z", MM_MODEM_STATE_DISABLED, MM_MODEM_LOCK_NONE);
        // Nobody listens yet: listed once initialised, no event until a callback
        // registers.
        QCOMPARE(codes(registry.reconcile(
                     {modem("a", MM_MODEM_STATE_INITIALIZING, MM_MODEM_LOCK_UNKNOWN)}, t0)),
                 QList<int>{});
        QCOMPARE(registry.deviceList().nDevNum, 0);
        QCOMPARE(codes(registry.reconcile({a}, t0)), QList<int>{});
        QCOMPARE(registry.deviceList().nDevNum, 1);
        QCOMPARE(
            codes(registry.setDeviceCallback(true)),
            (QList<int>{UTPS_EVENT_DEV_DETECTED, UTPS_EVENT_DEV_ACTIVE, UTPS_EVENT_DEV_INIT_BEGIN,
                        UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN,
                        UTPS_EVENT_DEV_DEVICE_INIT_FINISH, UTPS_EVENT_DEV_SIM_STATE_CHANGE}));
        QCOMPARE(codes(registry.reconcile({a, z}, t0)), QList<int>{UTPS_EVENT_DEV_DETECTED});

        ModemRegistry::Events events;
        QVERIFY(registry.switchTo("Model z", 2, &events));
        QCOMPARE(codes(events),
                 (QList<int>{UTPS_EVENT_DEV_CHANGE_BEGIN, UTPS_EVENT_DEV_SWITCH,
                             UTPS_EVENT_DEV_CHANGE_END, UTPS_EVENT_DEV_INIT_BEGIN,
                             UTPS_EVENT_DEV_INIT_SUCCESS, UTPS_EVENT_DEV_CHECK_PIN,
                             UTPS_EVENT_DEV_DEVICE_INIT_FINISH, UTPS_EVENT_DEV_SIM_STATE_CHANGE}));
        QCOMPARE(codes(registry.reconcile({z}, t0)), QList<int>{UTPS_EVENT_DEV_REJECT});
        auto back = a;
        back.path = "/Modem/9";
        QCOMPARE(codes(registry.reconcile({z, back}, t0)), QList<int>{UTPS_EVENT_DEV_DETECTED});
        const DeviceList list = registry.deviceList();
        QCOMPARE(QString(list.stDevInfo[1].szDeviceName), QString("Model a"));
        QCOMPARE(list.stDevInfo[1].nPort, 1);
        QCOMPARE(registry.current()->port, 2);
        QVERIFY(!registry.switchTo("Model a", 2, &events));
    }
    void hardwareRadioSwitch()
    {
        ModemRegistry registry;
        QCOMPARE(codes(registry.setHardwareRadio(0)), QList<int>{}); // no card: nothing to tell
        registry.setDeviceCallback(true);
        registry.reconcile({modem("a", MM_MODEM_STATE_DISABLED, MM_MODEM_LOCK_NONE)}, t0);
        const auto events = registry.setHardwareRadio(1);
        QCOMPARE(codes(events), QList<int>{UTPS_EVENT_DEV_RF_SWITCH});
        QCOMPARE(events[0].words, (std::vector<uint32_t>{1, 1}));
        QCOMPARE(codes(registry.setHardwareRadio(1)), QList<int>{});
        auto low = modem("a", MM_MODEM_STATE_DISABLED, MM_MODEM_LOCK_NONE);
        low.powerState = MM_MODEM_POWER_STATE_LOW;
        QCOMPARE(registry.reconcile({low}, t0)[0].words, (std::vector<uint32_t>{0, 1}));
    }
    void pinStatus_data()
    {
        QTest::addColumn<ModemSnapshot>("snapshot");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("retries");
        QTest::addColumn<int>("productType");

        auto puk = modem("a", MM_MODEM_STATE_LOCKED, MM_MODEM_LOCK_SIM_PUK);
        auto blocked = puk;
        blocked.unlockRetries[MM_MODEM_LOCK_SIM_PUK] = 0;
        auto network = modem("a", MM_MODEM_STATE_LOCKED, MM_MODEM_LOCK_PH_NET_PIN);
        auto cdma = modem("a", MM_MODEM_STATE_DISABLED, MM_MODEM_LOCK_NONE);
        cdma.capabilities = MM_MODEM_CAPABILITY_CDMA_EVDO;
        cdma.simLockEnabled.reset();
        cdma.unlockRetries.clear();
        auto multi = cdma;
        multi.capabilities =
            MMModemCapability(MM_MODEM_CAPABILITY_CDMA_EVDO | MM_MODEM_CAPABILITY_LTE);
        QTest::newRow("PIN") << modem("a", MM_MODEM_STATE_LOCKED, MM_MODEM_LOCK_SIM_PIN) << 2 << 3
                             << 2;
        QTest::newRow("PUK") << puk << 3 << 10 << 2;
        QTest::newRow("PUK blocked") << blocked << 4 << 0 << 2;
        QTest::newRow("network lock: no state") << network << 0 << 255 << 2;
        QTest::newRow("verified") << modem("a", MM_MODEM_STATE_ENABLED, MM_MODEM_LOCK_NONE) << 1
                                  << 3 << 2;
        QTest::newRow("CDMA only, counters unknown") << cdma << 8 << 255 << 1;
        QTest::newRow("CDMA and LTE") << multi << 8 << 255 << 2;
    }
    void pinStatus()
    {
        QFETCH(ModemSnapshot, snapshot);
        QFETCH(int, status);
        QFETCH(int, retries);
        QFETCH(int, productType);
        const PinStatus pin = utps::mm::pinStatus(snapshot, pinProtection(snapshot, false));
        QCOMPARE(pin.status, status);
        QCOMPARE(pin.retries, retries);
        QCOMPARE(utps::mm::productType(snapshot), productType);
    }
    void refusals_data()
    {
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("result");
        const QString mm = "org.freedesktop.ModemManager1.Error.";
        QTest::newRow("success") << QString() << 0;
        QTest::newRow("wrong PIN") << mm + "MobileEquipment.IncorrectPassword" << -1;
        QTest::newRow("last PIN try") << mm + "MobileEquipment.SimPuk" << -1;
        QTest::newRow("polkit") << mm + "Core.Unauthorized" << UTPS_ERROR_WWAN_PRIVILEGE;
        QTest::newRow("bus policy")
            << "org.freedesktop.DBus.Error.AccessDenied" << UTPS_ERROR_WWAN_PRIVILEGE;
        QTest::newRow("wrong state") << mm + "Core.WrongState" << 1;
        QTest::newRow("daemon gone") << "org.freedesktop.DBus.Error.ServiceUnknown" << 1;
        QTest::newRow("no reply") << "org.freedesktop.DBus.Error.NoReply" << 1;
        QTest::newRow("local timeout") << "org.gtk.GDBus.UnmappedGError.Quark._g_2dio.Code24" << 1;
    }
    void refusals()
    {
        QFETCH(QString, error);
        QFETCH(int, result);
        QCOMPARE(pinRequestResult(classify(error.toStdString())), result);
        QCOMPARE(redacted("PIN 1234 and PUK 12345678 wrong: 1234", {"1234", nullptr, "12345678"}),
                 std::string("PIN **** and PUK **** wrong: ****"));
    }
    void rfkill_data()
    {
        QTest::addColumn<QStringList>("switches"); // "type hard"
        QTest::addColumn<int>("hardware");
        QTest::newRow("none") << QStringList{} << 1;
        QTest::newRow("WWAN on") << QStringList{"wwan 0"} << 1;
        QTest::newRow("WWAN blocked") << QStringList{"wlan 0", "wwan 1"} << 0;
        QTest::newRow("only WLAN blocked") << QStringList{"wlan 1", "wwan 0"} << 1;
    }
    void rfkill()
    {
        QFETCH(QStringList, switches);
        QFETCH(int, hardware);
        QTemporaryDir dir;
        for (int i = 0; i < switches.size(); ++i) {
            const QString folder = dir.filePath(QString("rfkill%1").arg(i));
            QDir().mkpath(folder);
            const QStringList fields = switches[i].split(' ');
            for (const auto& [file, value] : {std::pair{"type", fields[0]}, {"hard", fields[1]}}) {
                QFile out(folder + "/" + file);
                QVERIFY(out.open(QIODevice::WriteOnly));
                out.write(value.toUtf8() + "\n");
            }
        }
        QCOMPARE(wwanHardwareRadio(dir.path().toStdString()), hardware);
    }
    // The device manager registers its callbacks holding the lock its callbacks
    // take; a delivery in flight must not hold the registration up for ever.
    void registerWhileDelivering()
    {
        EventQueue queue;
        const auto gated = [](int, void*) {
            std::lock_guard<std::mutex> lock(g_gate);
            ++g_delivered;
            return 1;
        };
        queue.setCallback(EventQueue::Route::DeviceManager, gated);
        queue.push({{UTPS_EVENT_DEV_ACTIVE, {}, nullptr}});
        std::unique_lock<std::mutex> gate(g_gate);
        std::thread sdk([&] { queue.drain(); });
        QTest::qWait(50); // the delivery is under way, waiting for the gate
        queue.setCallback(EventQueue::Route::Init, gated);
        gate.unlock();
        sdk.join();
        QCOMPARE(g_delivered.load(), 1);
        // A clear waits for it: afterwards nothing reaches the old callback.
        queue.push({{UTPS_EVENT_DEV_ACTIVE, {}, nullptr}});
        queue.setCallback(EventQueue::Route::DeviceManager, nullptr);
        queue.drain();
        QCOMPARE(g_delivered.load(), 1);
    }
};

QTEST_GUILESS_MAIN(TestModemRegistry)
#include "tst_modemregistry.moc"
