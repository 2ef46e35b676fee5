#include "ModemSnapshot.h"

#include <utps.h>

namespace utps::mm {

namespace {

bool isCdmaOnly(const ModemSnapshot& modem)
{
    const unsigned threeGpp = MM_MODEM_CAPABILITY_GSM_UMTS | MM_MODEM_CAPABILITY_LTE |
                              MM_MODEM_CAPABILITY_5GNR | MM_MODEM_CAPABILITY_TDS;
    return (modem.capabilities & MM_MODEM_CAPABILITY_CDMA_EVDO) && !(modem.capabilities & threeGpp);
}

bool needsPinOrPuk(const ModemSnapshot& modem)
{
    return modem.unlockRequired == MM_MODEM_LOCK_SIM_PIN ||
           modem.unlockRequired == MM_MODEM_LOCK_SIM_PUK;
}

} // namespace

bool isSettled(const ModemSnapshot& modem)
{
    switch (modem.state) {
    case MM_MODEM_STATE_FAILED:
        return true;
    case MM_MODEM_STATE_UNKNOWN:
    case MM_MODEM_STATE_INITIALIZING:
        return false;
    case MM_MODEM_STATE_LOCKED:
        return modem.unlockRequired != MM_MODEM_LOCK_UNKNOWN;
    default:
        // Initialised: the 3GPP interface has read the SIM's facility locks.
        return isCdmaOnly(modem) || modem.simLockEnabled.has_value();
    }
}

bool simUsable(const ModemSnapshot& modem)
{
    return modem.state != MM_MODEM_STATE_FAILED;
}

uint32_t simStatusWord(const ModemSnapshot& modem)
{
    return simUsable(modem) ? kSimUsable : kSimNotUsable;
}

bool waitsForCode(const ModemSnapshot& modem)
{
    return modem.state == MM_MODEM_STATE_LOCKED;
}

int productType(const ModemSnapshot& modem)
{
    return isCdmaOnly(modem) ? kProductUim : kProductSim;
}

int retries(const ModemSnapshot& modem, MMModemLock lock)
{
    const auto it = modem.unlockRetries.find(lock);
    if (it == modem.unlockRetries.end() || it->second < 0 || it->second >= kRetriesUnknown)
        return kRetriesUnknown;
    return it->second;
}

bool pinProtection(const ModemSnapshot& modem, bool previous)
{
    if (needsPinOrPuk(modem))
        return true;
    // While the modem (re)initialises, the facility locks are not read yet.
    if (modem.state >= MM_MODEM_STATE_DISABLED && modem.simLockEnabled)
        return *modem.simLockEnabled;
    return previous;
}

PinStatus pinStatus(const ModemSnapshot& modem, bool protection)
{
    switch (modem.unlockRequired) {
    case MM_MODEM_LOCK_SIM_PIN:
        return {UTPS_PIN_STATUS_PIN_REQUIRED, retries(modem, MM_MODEM_LOCK_SIM_PIN)};
    case MM_MODEM_LOCK_SIM_PUK: {
        const int left = retries(modem, MM_MODEM_LOCK_SIM_PUK);
        return {left == 0 ? UTPS_PIN_STATUS_PUK_BLOCKED : UTPS_PIN_STATUS_PUK_REQUIRED, left};
    }
    case MM_MODEM_LOCK_NONE:
        return {protection ? UTPS_PIN_STATUS_VERIFIED : UTPS_PIN_STATUS_DISABLED,
                retries(modem, MM_MODEM_LOCK_SIM_PIN)};
    default:
        // Not known yet, or a lock of the modem's (network, corporate ...)
        // that no SIM PIN opens.
        return {};
    }
}

int softwareRadio(const ModemSnapshot& modem)
{
    return (modem.powerState == MM_MODEM_POWER_STATE_LOW ||
            modem.powerState == MM_MODEM_POWER_STATE_OFF)
               ? 0
               : 1;
}

std::string deviceName(const ModemSnapshot& modem)
{
    std::string name = modem.model.empty() ? std::string("Modem") : modem.model;
    if (name.size() > UTPS_SHORT_NAME_LEN - 1)
        name.resize(UTPS_SHORT_NAME_LEN - 1);
    // The SDK's names are ASCII.
    for (char& c : name) {
        if (static_cast<unsigned char>(c) >= 0x80 || static_cast<unsigned char>(c) < 0x20)
            c = '?';
    }
    return name;
}

} // namespace utps::mm
