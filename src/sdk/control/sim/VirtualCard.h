// The virtual card: the SDK backend "sim" and its control API.
//
// It models data cards with a SIM the way the SDK reports real ones, raises
// SDK events on a worker thread of its own, and lets tests, benchmarks and the
// host's scenario runner plug cards, raise raw events, program faults and
// latency, and read back every call made through the C API. The plug-in never
// includes this header.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#if defined(UTPS_LIBRARY)
#define UTPS_SIM_EXPORT __attribute__((visibility("default")))
#else
#define UTPS_SIM_EXPORT
#endif

namespace sim {

struct SimConfig
{
    // SIM status word as UTPS_DevSrv_GetSimStatus reports it and as carried by
    // the SIM-state event: 1..254 usable, 0 and 255 (or more) not usable.
    int status = 1;
    std::string imsi = "262019876543210";
    std::string pin = "1234";
    std::string puk = "12345678";
    bool pinEnabled = false;
    int pinRetries = 3;  // 0 = the PUK is required
    int pukRetries = 10; // 0 = the SIM is blocked for good
};

struct RfConfig
{
    bool supported = true;
    int sw = 1; // software radio switch, 1 on
    int hw = 1; // hardware radio switch, 1 on
};

struct CardConfig
{
    std::string name = "Virtual Card";
    int port = 0; // 0 = next free port, from 1
    int protocol = 1;
    int productType = 2; // 1 = UIM (CDMA) card, other = SIM/USIM
    bool plugged = true;
    SimConfig sim;
    RfConfig rf;
    bool fingerprint = false;   // card stays locked until a good fingerprint
    bool wwanPrivilege = false; // the PIN belongs to the system's WWAN service
};

struct HostConfig
{
    bool win7 = false;      // the system has its own WWAN service
    int wwanReadyAfter = 0; // UTPS_DevSrv_IsWWanReady succeeds from this poll on (0 = first)
    bool wwanServiceActive = true;
    std::string userDataDir; // returned by UTPS_GetUserDataDirectory; "" = SDK failure
};

struct CallRecord
{
    std::string function; // e.g. "UTPS_DevSrv_VerifyPin"
    std::string args;     // e.g. "0, \"1234\""
    int result = 0;
};

// A snapshot of one card, for the host's panel and for tests.
struct CardState
{
    int index = -1;
    CardConfig config; // the current values (PIN, counters, radio ...)
    int pinStatus = 0; // UTPS_PIN_STATUS_...
    bool current = false;
    bool fingerprintLocked = false;
    bool offline = false;
    int psState = 1; // 1 attached, 0 detached
};

class UTPS_SIM_EXPORT VirtualCard
{
public:
    static VirtualCard& instance();

    // Back to no cards, default host, no faults, latency, log or callbacks,
    // and an empty event queue. For tests.
    void reset();

    // Adds a card and returns its index. A card added as plugged raises its
    // plug sequence at once when a device-manager callback is registered,
    // otherwise when one registers.
    int addCard(const CardConfig& config);
    bool plug(int index);
    bool unplug(int index);
    int cardCount() const;
    std::optional<CardState> card(int index) const;
    int currentCard() const; // -1 when none

    void setHost(const HostConfig& host);
    HostConfig host() const;

    // Raises `code` as the SDK would. `payload` words are passed as an array
    // of uint32; nullopt passes a null payload.
    void raiseEvent(int code, std::optional<std::vector<uint32_t>> payload);
    // Raises `code` with the current device list as payload.
    void raiseDeviceListEvent(int code);
    // The user flips the radio switches of the current card (UTPS_EVENT_DEV_RF_SWITCH follows).
    void setRadio(int hw, int sw);
    // The current card's SIM changes state (UTPS_EVENT_DEV_SIM_STATE_CHANGE with the word follows).
    void setSimState(int word);
    // A finger on the current card's sensor (UTPS_EVENT_DEV_FP_VERIFY with the state follows;
    // state 0 unlocks a fingerprint-locked card).
    void touchFingerprint(uint32_t state);
    // A power-management event (UTPS_EVENT_DEV_POWER).
    void powerEvent(uint32_t code);

    // Answers the current card gives in place of its model's, for values a
    // real card can report but the model never reaches (a PIN status of 2
    // with flag 1, an unmapped PIN status, a radio state other than 0/1, a
    // device that is still initialising). Each holds for that card, through
    // requests, plugs and switches, until it is cleared with nullopt or
    // reset() runs. False (and nothing set) when no card is current.
    //   overridePinStatus: UTPS_DevSrv_GetPinStatus reports `status` and the
    //                      first flag `flag` (retries stay the model's).
    //   overrideRfState:   UTPS_DevSrv_GetRFSwitch reports `state` as nState.
    //   overrideDevStatus: UTPS_DevSrv_GetDevStatus reports `status`, one of
    //                      the _UTPS_EN_DEVICE_STATUS values.
    bool overridePinStatus(std::optional<int> status, uint8_t flag = 0);
    bool overrideRfState(std::optional<int> state);
    bool overrideDevStatus(std::optional<int> status);

    // The next `times` calls of `function` return `result` and do nothing
    // else. times < 0 = for ever.
    void setFault(const std::string& function, int result, int times);
    void clearFaults();
    // Every call of `function` ("*" = every function) first sleeps `ms`.
    void setLatency(const std::string& function, int ms);
    // Pause between two delivered events.
    void setEventGapMs(int ms);

    std::vector<CallRecord> callLog() const;
    void clearCallLog();
    // Told of every C API call as it returns, on the caller's thread.
    void setCallObserver(std::function<void(const CallRecord&)> observer);
    // Told of every event as it is about to be delivered, on the SDK thread.
    void setEventObserver(std::function<void(int code)> observer);

    // Blocks until every queued event was delivered (or `timeoutMs` passed).
    bool waitIdle(int timeoutMs = 5000);
    // Events queued or being delivered.
    int pendingEvents() const;

    struct Private;

private:
    VirtualCard();
    ~VirtualCard();
    VirtualCard(const VirtualCard&) = delete;
    VirtualCard& operator=(const VirtualCard&) = delete;
    std::unique_ptr<Private> d;
    friend class SimBackend;
};

} // namespace sim
