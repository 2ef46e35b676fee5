// One data card as the virtual card models it: its configuration with the
// live values (PIN, counters, radio), the SIM's PIN state machine, and the
// start-up flags. No locking and no events: VirtualCard does both.
#pragma once

#include "sim/VirtualCard.h"

#include <utps.h>

#include <optional>
#include <string>

namespace sim {

constexpr int kPinTries = 3;
constexpr int kPukTries = 10;

// What a PIN request did, for the C API to hand back.
struct PinOutcome
{
    int result = 0;
    int retries = 0; // the retries-left output, when the call has one
    bool simReady =
        false; // the SIM stopped waiting for a code (UTPS_EVENT_DEV_SIM_STATE_CHANGE follows)
};

class CardModel
{
public:
    explicit CardModel(const CardConfig& config);

    CardConfig& config() { return m_config; }
    const CardConfig& config() const { return m_config; }
    int pinStatus() const { return m_pinStatus; }

    // The card was plugged in: the SIM asks for its code again and the
    // fingerprint sensor has to be passed again.
    void powerUp();

    // 1..254: a SIM is present and usable.
    bool simUsable() const;
    // PIN required, PUK required or blocked.
    bool waitsForCode() const;
    // The retries GetPinStatus reports: PIN tries, PUK tries while the PUK is
    // required, 0 when blocked.
    int reportedRetries() const;

    PinOutcome verify(const std::string& pin);
    PinOutcome enable(const std::string& pin);
    PinOutcome disable(const std::string& pin);
    PinOutcome change(const std::string& oldPin, const std::string& newPin);
    PinOutcome unblock(const std::string& puk, const std::string& newPin);

    // Start-up state, driven by the virtual card.
    bool deferred = false; // plugged when added, waiting for a callback to start
    bool fingerprintLocked = false;
    bool fingerprintPassed = false;
    bool offline = false;
    int psState = 1;

    // Answers set through the control API in place of the model's.
    struct PinStatusAnswer
    {
        int status = 0;
        unsigned char flag = 0;
    };
    std::optional<PinStatusAnswer> pinStatusOverride;
    std::optional<int> rfStateOverride;
    std::optional<int> devStatusOverride;

private:
    bool pinLocked() const;
    PinOutcome wrongPin();
    bool acceptPin();

    CardConfig m_config;
    int m_pinStatus = UTPS_PIN_STATUS_DISABLED;
};

} // namespace sim
