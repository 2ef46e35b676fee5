#include "CardModel.h"

#include <utps.h>

#include <algorithm>

namespace sim {

namespace {
constexpr int kBadParameter = 1;
constexpr int kRefused = -1;

bool isValidPin(const std::string& pin)
{
    return pin.size() >= 4 && pin.size() <= 8;
}

bool isValidPuk(const std::string& puk)
{
    return puk.size() == 8;
}

} // namespace

CardModel::CardModel(const CardConfig& config) : m_config(config)
{
    m_config.sim.pinRetries = std::max(0, m_config.sim.pinRetries);
    m_config.sim.pukRetries = std::max(0, m_config.sim.pukRetries);
    powerUp();
}

void CardModel::powerUp()
{
    const SimConfig& sim = m_config.sim;
    if (sim.pukRetries == 0)
        m_pinStatus = UTPS_PIN_STATUS_PUK_BLOCKED;
    else if (sim.pinRetries == 0)
        m_pinStatus = UTPS_PIN_STATUS_PUK_REQUIRED;
    else
        m_pinStatus = sim.pinEnabled ? UTPS_PIN_STATUS_PIN_REQUIRED : UTPS_PIN_STATUS_DISABLED;
    fingerprintLocked = false;
    fingerprintPassed = false;
    offline = false;
    psState = 1;
}

bool CardModel::simUsable() const
{
    return UTPS_SimStatusUsable(m_config.sim.status);
}

bool CardModel::waitsForCode() const
{
    return m_pinStatus == UTPS_PIN_STATUS_PIN_REQUIRED || pinLocked();
}

int CardModel::reportedRetries() const
{
    if (m_pinStatus == UTPS_PIN_STATUS_PUK_BLOCKED)
        return 0;
    if (m_pinStatus == UTPS_PIN_STATUS_PUK_REQUIRED)
        return m_config.sim.pukRetries;
    return m_config.sim.pinRetries;
}

bool CardModel::pinLocked() const
{
    return m_pinStatus == UTPS_PIN_STATUS_PUK_REQUIRED ||
           m_pinStatus == UTPS_PIN_STATUS_PUK_BLOCKED;
}

PinOutcome CardModel::wrongPin()
{
    int& tries = m_config.sim.pinRetries;
    tries = std::max(0, tries - 1);
    if (tries == 0)
        m_pinStatus = UTPS_PIN_STATUS_PUK_REQUIRED;
    return {kRefused, tries, false};
}

// A right PIN restores the counter; a SIM that was waiting for it is ready now.
bool CardModel::acceptPin()
{
    m_config.sim.pinRetries = kPinTries;
    if (m_pinStatus != UTPS_PIN_STATUS_PIN_REQUIRED)
        return false;
    m_pinStatus = UTPS_PIN_STATUS_VERIFIED;
    return true;
}

PinOutcome CardModel::verify(const std::string& pin)
{
    if (!isValidPin(pin))
        return {kBadParameter, pinLocked() ? 0 : m_config.sim.pinRetries, false};
    if (pinLocked())
        return {kRefused, 0, false};
    if (pin != m_config.sim.pin)
        return wrongPin();
    const bool ready = acceptPin();
    return {0, m_config.sim.pinRetries, ready};
}

PinOutcome CardModel::enable(const std::string& pin)
{
    if (!isValidPin(pin))
        return {kBadParameter};
    if (pinLocked() || m_config.sim.pinEnabled)
        return {kRefused};
    if (pin != m_config.sim.pin)
        return wrongPin();
    acceptPin();
    m_config.sim.pinEnabled = true;
    m_pinStatus = UTPS_PIN_STATUS_VERIFIED;
    return {0};
}

PinOutcome CardModel::disable(const std::string& pin)
{
    if (!isValidPin(pin))
        return {kBadParameter};
    if (pinLocked() || !m_config.sim.pinEnabled)
        return {kRefused};
    if (pin != m_config.sim.pin)
        return wrongPin();
    const bool ready = acceptPin();
    m_config.sim.pinEnabled = false;
    m_pinStatus = UTPS_PIN_STATUS_DISABLED;
    return {0, 0, ready};
}

PinOutcome CardModel::change(const std::string& oldPin, const std::string& newPin)
{
    if (!isValidPin(oldPin) || !isValidPin(newPin))
        return {kBadParameter};
    if (pinLocked() || !m_config.sim.pinEnabled)
        return {kRefused};
    if (oldPin != m_config.sim.pin)
        return wrongPin();
    const bool ready = acceptPin();
    m_config.sim.pin = newPin;
    return {0, 0, ready};
}

PinOutcome CardModel::unblock(const std::string& puk, const std::string& newPin)
{
    int& pukTries = m_config.sim.pukRetries;
    if (m_config.wwanPrivilege)
        return {UTPS_ERROR_WWAN_PRIVILEGE, reportedRetries(), false};
    if (!isValidPuk(puk) || !isValidPin(newPin))
        return {kBadParameter, pukTries, false};
    if (m_pinStatus == UTPS_PIN_STATUS_PUK_BLOCKED)
        return {kRefused, 0, false};
    if (puk != m_config.sim.puk) {
        pukTries = std::max(0, pukTries - 1);
        if (pukTries == 0)
            m_pinStatus = UTPS_PIN_STATUS_PUK_BLOCKED;
        return {kRefused, pukTries, false};
    }
    m_config.sim.pin = newPin;
    m_config.sim.pinRetries = kPinTries;
    pukTries = kPukTries;
    m_config.sim.pinEnabled = true;
    m_pinStatus = UTPS_PIN_STATUS_VERIFIED;
    return {0, pukTries, true};
}

} // namespace sim
