// The cards as the device manager sees them, built from what ModemManager
// shows, and the SDK event sequences their changes make: the same sequences
// the virtual card raises for the same situations.
//
// A card is keyed by its modem's device, not by its D-Bus object: after the
// third wrong PIN, ModemManager drops the modem and re-creates it at a new
// path a few seconds later. A card whose SIM just came to need its PUK is
// therefore held, not unplugged, when its modem goes; it is unplugged only
// when its modem does not come back in time. Ports are handed out per device
// from 1 and kept for the life of the process.
//
// Every operation takes the registry's lock and returns the events to
// deliver, in order; no callback is ever called from here.
#pragma once

#include "EventQueue.h"
#include "ModemSnapshot.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace utps::mm {

class ModemRegistry
{
public:
    using Clock = std::chrono::steady_clock;
    using Events = std::vector<Event>;

    // How long after its SIM came to need the PUK a vanishing modem is taken
    // for one being re-probed, and how long it may take to come back.
    static constexpr std::chrono::seconds ReprobeWindow{10};
    static constexpr std::chrono::seconds ReprobeHold{8};

    struct Current
    {
        int port = 0;
        ModemSnapshot modem;  // the last one seen while it is re-probed
        bool present = false; // its D-Bus object exists now
        bool pinProtection = false;
        int hardwareRadio = 1;
        bool radioSwitchable = true;
    };

    // Every modem ModemManager has now; the ones missing are gone.
    Events reconcile(const std::vector<ModemSnapshot>& modems, Clock::time_point now);
    // Unplugs the held cards whose modem did not come back by `now`.
    Events expire(Clock::time_point now);
    std::optional<Clock::time_point> nextExpiry() const;

    // A device-manager callback was registered or the last one went: cards
    // plugged while nobody listened start when one registers.
    Events setDeviceCallback(bool registered);
    // The kernel's WWAN radio switch (1 on, 0 blocked), for every card.
    Events setHardwareRadio(int hw);
    // UTPS_DevSrv_ManualChangeDevice; false when no plugged card has that
    // name and port.
    bool switchTo(const std::string& name, int port, Events* events);
    // UTPS_DevSrv_DetectDevice.
    Events detect();
    // A request said the SIM now needs its PUK: so it does, and its modem will
    // be re-created.
    void pukRequired(const std::string& device, Clock::time_point now);
    // SetPowerState is not supported by the current card's modem.
    void setRadioUnswitchable();

    DeviceList deviceList() const;
    std::optional<Current> current() const;
    // Waits until the current card's modem shows `unlockRequired` and
    // `retries`, or `timeout` passes; false on timeout.
    bool waitForLock(MMModemLock unlockRequired, const std::map<MMModemLock, int>& retries,
                     std::chrono::milliseconds timeout) const;

private:
    struct Card
    {
        std::string device;
        int port = 0;
        std::optional<ModemSnapshot> modem;
        bool present = false;
        bool plugged = false;  // in the device list
        bool deferred = false; // plugged while no device callback listened
        bool waiting = false;  // the SIM waits for its PIN or PUK
        bool pinProtection = false;
        bool radioSwitchable = true;
        int softwareRadio = 1;
        std::optional<Clock::time_point> reprobeUntil;
        std::optional<Clock::time_point> heldUntil;
    };

    int cardFor(const ModemSnapshot& modem);
    void update(int index, const ModemSnapshot& modem, Clock::time_point now, Events& events);
    void plug(int index, Events& events);
    void start(int index, Events& events);
    void initSequence(int index, Events& events);
    void unplug(int index, Events& events);
    void lose(int index, Clock::time_point now, Events& events);
    Event deviceListEvent(int code) const;
    Event radioEvent(const Card& card) const;
    DeviceList buildList() const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Card> m_cards;  // never shrinks: a card keeps its port
    std::vector<int> m_plugged; // in plug order
    int m_current = -1;
    bool m_deviceCallback = false;
    int m_hardwareRadio = 1;
};

} // namespace utps::mm
