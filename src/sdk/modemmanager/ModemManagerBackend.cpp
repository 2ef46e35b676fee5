// The C API backend "modemmanager": every UTPS_ call answered from
// ModemManager, the modem service of Linux desktops.
//
// Reads are answered from the registry, which the client keeps in step with
// the daemon; requests are D-Bus calls on the daemon. After a PIN request the
// registry is brought up to what the daemon says now, so that the next read
// sees what the request did.
//
// Honest answers for what Linux does not have: the device manager talks to
// ModemManager itself and announces a modem only once ModemManager has it
// initialised, so there is no separate WWAN service to wait for
// (UTPS_DevSrv_IsWin7 says no, UTPS_DevSrv_IsWWanReady says ready once a
// modem is current, UTPS_DevSrv_IsWWanServiceActive says whether the daemon
// runs). The user data directory is $UTPS_USER_DATA_DIR, or the product's
// folder under $XDG_DATA_HOME (~/.local/share/linkmarrow/). ModemManager has
// no fingerprint sensor and no power events: the fingerprint-lock, fingerprint-verify and power
// events never come.
#include "ModemManagerBackend.h"

#include "MmClient.h"
#include "MmErrors.h"
#include "SdkHost.h"
#include "SdkText.h"

#include <ModemManager.h>

#include <cstdlib>
#include <initializer_list>

namespace utps::mm {

namespace {

constexpr int kFailed = 1;
constexpr int kNotActive = -1;
// SendPin and the like wait for the SIM; a card can take its time.
constexpr int kRequestTimeoutMs = 20000;
constexpr auto kSettleTimeout = std::chrono::milliseconds(500);

std::string environment(const char* name, const std::string& fallback)
{
    const char* value = std::getenv(name);
    return (value && *value) ? std::string(value) : fallback;
}

bool hasSim(const ModemSnapshot& modem)
{
    return !modem.simPath.empty() && modem.simPath != "/";
}

void warn(const std::string& line)
{
    logLine(LogLevel::Warning, "utps: modemmanager: " + line);
}

class ModemManagerBackend final : public Backend
{
public:
    ModemManagerBackend()
        : m_client(m_registry, m_events,
                   {environment("UTPS_MM_BUS", "system"),
                    environment("UTPS_MM_RFKILL_DIR", "/sys/class/rfkill")})
    {
        m_client.start();
    }

    ~ModemManagerBackend() override { m_client.stop(); }

    // The client's thread ends before the process does.
    void stop() { m_client.stop(); }

    int registerDevInitEventCallback(UTPS_EVENT_CALLBACK callback) override
    {
        if (!callback)
            return kFailed;
        m_events.setCallback(EventQueue::Route::Init, callback);
        return 0;
    }

    int unRegisterDevInitEventCallback() override
    {
        m_events.setCallback(EventQueue::Route::Init, nullptr);
        return 0;
    }

    int registerDevMgrCallback(UTPS_EVENT_CALLBACK callback) override
    {
        return callback ? setDeviceCallback(EventQueue::Route::DeviceManager, callback) : kFailed;
    }

    int unRegisterDevMgrCallback() override
    {
        return setDeviceCallback(EventQueue::Route::DeviceManager, nullptr);
    }

    int registerMultiDeviceEventCallback(UTPS_EVENT_CALLBACK callback) override
    {
        return callback ? setDeviceCallback(EventQueue::Route::MultiDevice, callback) : kFailed;
    }

    int unRegisterMultiDeviceEventCallback() override
    {
        return setDeviceCallback(EventQueue::Route::MultiDevice, nullptr);
    }

    int getAvailableDeviceList(_UTPS_ST_MULTI_DEVICE_INFO* list) override
    {
        if (!list)
            return kFailed;
        *list = m_registry.deviceList();
        return 0;
    }

    int manualChangeDevice(const char* name, const char*, int port) override
    {
        ModemRegistry::Events events;
        if (!name || !m_registry.switchTo(name, port, &events))
            return kFailed;
        m_client.post(std::move(events));
        return 0;
    }

    int detectDevice() override
    {
        m_client.post(m_registry.detect());
        return 0;
    }

    int getDeviceName(char* name) override
    {
        const auto card = m_registry.current();
        if (!card || !name)
            return kFailed;
        copyTruncated(name, UTPS_SHORT_NAME_LEN, deviceName(card->modem));
        return 0;
    }

    int getDevicePort(int* port) override
    {
        return answer(port, [](const ModemRegistry::Current& card) { return card.port; });
    }

    int getDevStatus(_UTPS_EN_DEVICE_STATUS* status) override
    {
        if (!status)
            return kFailed;
        // A modem is current only once ModemManager has it initialised.
        *status = m_registry.current() ? DEVICE_STATUS_AVAILABLE : DEVICE_STATUS_NO_DEVICE;
        return 0;
    }

    int getSimStatus(int* status) override
    {
        return answer(status, [](const ModemRegistry::Current& card) {
            return int(simStatusWord(card.modem));
        });
    }

    int getProductType(int* productType) override
    {
        return answer(productType, [](const ModemRegistry::Current& card) {
            return mm::productType(card.modem);
        });
    }

    int getImsiInfo(char* imsi) override
    {
        const auto card = m_registry.current();
        if (!imsi || !card || !card->present || !hasSim(card->modem) || !simUsable(card->modem))
            return kFailed;
        const auto value = m_client.readString(card->modem.simPath, MM_DBUS_INTERFACE_SIM, "Imsi");
        // Empty while the SIM is locked.
        if (!value || value->empty())
            return kFailed;
        copyTruncated(imsi, UTPS_IMSI_LEN, *value);
        return 0;
    }

    int getPinStatus(unsigned char btType, int* status, unsigned char* flag, unsigned char* flag2,
                     unsigned char* retriesLeft) override
    {
        const auto card = m_registry.current();
        if (btType != 0 || !status || !card || !hasSim(card->modem))
            return kFailed;
        const PinStatus pin = pinStatus(card->modem, card->pinProtection);
        *status = pin.status;
        if (flag)
            *flag = 0;
        if (flag2)
            *flag2 = 0;
        if (retriesLeft)
            *retriesLeft = static_cast<unsigned char>(pin.retries);
        return 0;
    }

    int verifyPin(unsigned char btType, const char* pin, unsigned char* retriesLeft) override
    {
        if (btType != 0 || !pin)
            return kFailed;
        return pinRequest("SendPin", g_variant_new("(s)", pin), {pin}, MM_MODEM_LOCK_SIM_PIN,
                          retriesLeft);
    }

    int enablePin(unsigned char btType, const char* pin) override
    {
        if (btType != 0 || !pin)
            return kFailed;
        return pinRequest("EnablePin", g_variant_new("(sb)", pin, TRUE), {pin},
                          MM_MODEM_LOCK_SIM_PIN, nullptr);
    }

    int disablePin(unsigned char btType, const char* pin) override
    {
        if (btType != 0 || !pin)
            return kFailed;
        return pinRequest("EnablePin", g_variant_new("(sb)", pin, FALSE), {pin},
                          MM_MODEM_LOCK_SIM_PIN, nullptr);
    }

    int changePin(unsigned char btType, const char* oldPin, const char* newPin) override
    {
        if (btType != 0 || !oldPin || !newPin)
            return kFailed;
        return pinRequest("ChangePin", g_variant_new("(ss)", oldPin, newPin), {oldPin, newPin},
                          MM_MODEM_LOCK_SIM_PIN, nullptr);
    }

    int unblockPin(unsigned char btType, const char* puk, const char* newPin,
                   unsigned char* retriesLeft) override
    {
        if (btType != 0 || !puk || !newPin)
            return kFailed;
        return pinRequest("SendPuk", g_variant_new("(ss)", puk, newPin), {puk, newPin},
                          MM_MODEM_LOCK_SIM_PUK, retriesLeft);
    }

    int getRFSwitch(_UTPS_ST_RF_SWITCH* rfSwitch) override
    {
        const auto card = m_registry.current();
        if (!card || !rfSwitch)
            return kFailed;
        rfSwitch->nState = (softwareRadio(card->modem) && card->hardwareRadio) ? 1 : 0;
        rfSwitch->nSupport = card->radioSwitchable ? 1 : 0;
        return 0;
    }

    int setRFSwitch(int on) override
    {
        const auto card = m_registry.current();
        if (!card || !card->present || !card->radioSwitchable)
            return kFailed;
        // The kernel's switch holds the radio off whatever the modem is told.
        if (on && !card->hardwareRadio)
            return kFailed;
        return on ? radioOn(card->modem) : radioOff(card->modem);
    }

    int setOffline() override
    {
        const auto card = m_registry.current();
        if (!card || !card->present)
            return kFailed;
        return modemCall(card->modem, "Enable", g_variant_new("(b)", FALSE)) ? 0 : kFailed;
    }

    int setPSState(int state) override
    {
        const auto card = m_registry.current();
        if (!card || !card->present || (state != 0 && state != 1))
            return kFailed;
        const guint32 packet = state ? MM_MODEM_3GPP_PACKET_SERVICE_STATE_ATTACHED
                                     : MM_MODEM_3GPP_PACKET_SERVICE_STATE_DETACHED;
        return request(card->modem.path, MM_DBUS_INTERFACE_MODEM_MODEM3GPP, "SetPacketServiceState",
                       g_variant_new("(u)", packet))
                   ? 0
                   : kFailed;
    }

    int isWin7() override { return kFailed; }

    int isWWanReady() override { return m_registry.current() ? 0 : kFailed; }

    int isWWanServiceActive() override { return m_client.daemonRunning() ? 0 : kNotActive; }

    int getUserDataDirectory(UTPS_WCHAR** directory) override
    {
        if (!directory)
            return kFailed;
        std::string folder = environment("UTPS_USER_DATA_DIR", "");
        if (folder.empty()) {
            const std::string data =
                environment("XDG_DATA_HOME", environment("HOME", "") + "/.local/share");
            folder = data + "/linkmarrow";
        }
        if (folder.back() != '/')
            folder += '/';
        *directory = newUtf16Array(folder);
        return 0;
    }

private:
    int setDeviceCallback(EventQueue::Route route, UTPS_EVENT_CALLBACK callback)
    {
        m_events.setCallback(route, callback);
        // Modems that came while nobody listened start once someone does.
        m_client.post(m_registry.setDeviceCallback(m_events.hasDeviceCallback()));
        return 0;
    }

    template <typename Value, typename Read> int answer(Value* out, Read read)
    {
        const auto card = m_registry.current();
        if (!card || !out)
            return kFailed;
        *out = read(*card);
        return 0;
    }

    CallReply logged(const std::string& path, const char* interface, const char* method,
                     GVariant* args, std::initializer_list<const char*> secrets = {})
    {
        CallReply reply = m_client.call(path, interface, method, args, kRequestTimeoutMs);
        if (!reply.ok)
            warn(std::string(method) + " on " + path + " failed: " + reply.errorName + " (" +
                 redacted(reply.message, secrets) + ")");
        return reply;
    }

    bool request(const std::string& path, const char* interface, const char* method, GVariant* args)
    {
        return logged(path, interface, method, args).ok;
    }

    bool modemCall(const ModemSnapshot& modem, const char* method, GVariant* args)
    {
        return request(modem.path, MM_DBUS_INTERFACE_MODEM, method, args);
    }

    int pinRequest(const char* method, GVariant* args, std::initializer_list<const char*> secrets,
                   MMModemLock counter, unsigned char* retriesLeft)
    {
        const auto card = m_registry.current();
        if (!card || !card->present || !hasSim(card->modem)) {
            g_variant_unref(g_variant_ref_sink(args));
            warn(std::string(method) + ": no modem with a SIM is current");
            return kFailed;
        }
        const ModemSnapshot& modem = card->modem;
        const CallReply reply = logged(modem.simPath, MM_DBUS_INTERFACE_SIM, method, args, secrets);
        const Refusal refusal = reply.ok ? Refusal::None : classify(reply.errorName);
        // What the request left: read from the daemon, and waited for in the
        // registry, which learns it through the daemon's signals.
        const std::optional<LockState> now = m_client.readLock(modem.path);
        m_client.sync();
        if (refusal == Refusal::NeedsPuk)
            m_registry.pukRequired(modem.device, ModemRegistry::Clock::now());
        else if (now)
            m_registry.waitForLock(now->unlockRequired, now->retries, kSettleTimeout);
        if (retriesLeft) {
            ModemSnapshot after = modem;
            if (now)
                after.unlockRetries = now->retries;
            *retriesLeft = static_cast<unsigned char>(refusal == Refusal::NeedsPuk &&
                                                              counter == MM_MODEM_LOCK_SIM_PIN
                                                          ? 0
                                                          : retries(after, counter));
        }
        return pinRequestResult(refusal);
    }

    int radioOn(const ModemSnapshot& modem)
    {
        if (!powerCall(modem, MM_MODEM_POWER_STATE_ON))
            return kFailed;
        return modemCall(modem, "Enable", g_variant_new("(b)", TRUE)) ? 0 : kFailed;
    }

    int radioOff(const ModemSnapshot& modem)
    {
        // ModemManager lowers the power of a disabled modem only.
        const bool wasEnabled = modem.state >= MM_MODEM_STATE_ENABLED;
        if (!modemCall(modem, "Enable", g_variant_new("(b)", FALSE)))
            return kFailed;
        if (powerCall(modem, MM_MODEM_POWER_STATE_LOW))
            return 0;
        // Leave the modem as it was found.
        if (wasEnabled)
            modemCall(modem, "Enable", g_variant_new("(b)", TRUE));
        return kFailed;
    }

    bool powerCall(const ModemSnapshot& modem, MMModemPowerState state)
    {
        const CallReply reply = logged(modem.path, MM_DBUS_INTERFACE_MODEM, "SetPowerState",
                                       g_variant_new("(u)", guint32(state)));
        if (reply.errorName == "org.freedesktop.ModemManager1.Error.Core.Unsupported")
            m_registry.setRadioUnswitchable();
        return reply.ok;
    }

    ModemRegistry m_registry;
    EventQueue m_events;
    MmClient m_client;
};

} // namespace

std::unique_ptr<Backend> createModemManagerBackend()
{
    auto backend = std::make_unique<ModemManagerBackend>();
    // Like the C API's other statics, the backend is never destroyed; its
    // thread is stopped by an exit handler instead.
    static ModemManagerBackend* running = nullptr;
    if (!running) {
        running = backend.get();
        std::atexit([] { running->stop(); });
    }
    return backend;
}

} // namespace utps::mm
