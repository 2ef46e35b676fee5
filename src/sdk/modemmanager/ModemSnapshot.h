// A modem as ModemManager shows it, copied out of the D-Bus proxies, and what
// the C API answers for it. No GLib here: the enumerations come from
// ModemManager's own header.
#pragma once

#include <ModemManager.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace utps::mm {

// The SDK's "unknown" retries count.
constexpr int kRetriesUnknown = 255;
// SIM status words: usable, and missing or failed.
constexpr uint32_t kSimUsable = 1;
constexpr uint32_t kSimNotUsable = 255;
// Product types: a CDMA card with a UIM, and a 3GPP card with a SIM/USIM.
constexpr int kProductUim = 1;
constexpr int kProductSim = 2;

struct ModemSnapshot
{
    std::string path;   // the D-Bus object; a new one each time ModemManager re-probes
    std::string device; // the physical device: the modem's key across re-probes
    std::string model;
    std::string simPath; // "" or "/" when there is no SIM
    MMModemState state = MM_MODEM_STATE_UNKNOWN;
    MMModemLock unlockRequired = MM_MODEM_LOCK_UNKNOWN;
    std::map<MMModemLock, int> unlockRetries;
    MMModemCapability capabilities = MM_MODEM_CAPABILITY_NONE;
    // The SIM facility lock (PIN protection), once the 3GPP interface reports it.
    std::optional<bool> simLockEnabled;
    MMModemPowerState powerState = MM_MODEM_POWER_STATE_UNKNOWN;
};

struct PinStatus
{
    int status = 0; // UTPS_PIN_STATUS_..., 0 when no PIN status applies
    int retries = kRetriesUnknown;
};

// Known well enough to announce: the SIM's state and its PIN protection.
bool isSettled(const ModemSnapshot& modem);
bool simUsable(const ModemSnapshot& modem);
uint32_t simStatusWord(const ModemSnapshot& modem);
// The SIM waits for a code (PIN, PUK, or one the device manager cannot give).
bool waitsForCode(const ModemSnapshot& modem);
int productType(const ModemSnapshot& modem);
// Tries left for `lock`, kRetriesUnknown when the modem did not say.
int retries(const ModemSnapshot& modem, MMModemLock lock);
// PIN protection as far as this snapshot tells; `previous` where it cannot.
bool pinProtection(const ModemSnapshot& modem, bool previous);
PinStatus pinStatus(const ModemSnapshot& modem, bool protection);
// The software radio switch: off in low or off power, on otherwise.
int softwareRadio(const ModemSnapshot& modem);
// The name the device list and UTPS_DevSrv_GetDeviceName give: the model, cut
// to the short name buffer so that both agree.
std::string deviceName(const ModemSnapshot& modem);

} // namespace utps::mm
