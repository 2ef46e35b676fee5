#include "ModemRegistry.h"

#include <algorithm>
#include <cstring>

namespace utps::mm {

namespace {
// An opaque protocol code for the device records; the device manager only
// stores it.
constexpr int kProtocol = 1;
} // namespace

ModemRegistry::Events ModemRegistry::reconcile(const std::vector<ModemSnapshot>& modems,
                                               Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Events events;
    std::vector<int> seen;
    for (const ModemSnapshot& modem : modems) {
        const int index = cardFor(modem);
        seen.push_back(index);
        update(index, modem, now, events);
    }
    for (int index = 0; index < int(m_cards.size()); ++index) {
        const bool stillThere = std::find(seen.begin(), seen.end(), index) != seen.end();
        if (m_cards[std::size_t(index)].present && !stillThere)
            lose(index, now, events);
    }
    m_changed.notify_all();
    return events;
}

int ModemRegistry::cardFor(const ModemSnapshot& modem)
{
    // A modem without a device (never seen from ModemManager) is its own key.
    const std::string& key = modem.device.empty() ? modem.path : modem.device;
    for (std::size_t i = 0; i < m_cards.size(); ++i) {
        if (m_cards[i].device == key)
            return int(i);
    }
    Card card;
    card.device = key;
    card.port = int(m_cards.size()) + 1;
    m_cards.push_back(std::move(card));
    return int(m_cards.size()) - 1;
}

void ModemRegistry::update(int index, const ModemSnapshot& modem, Clock::time_point now,
                           Events& events)
{
    Card& card = m_cards[std::size_t(index)];
    const bool pukBefore = card.modem && card.modem->unlockRequired == MM_MODEM_LOCK_SIM_PUK;
    card.modem = modem;
    card.present = true;
    card.heldUntil.reset();
    if (modem.unlockRequired == MM_MODEM_LOCK_SIM_PUK && !pukBefore)
        card.reprobeUntil = now + ReprobeWindow;
    card.pinProtection = pinProtection(modem, card.pinProtection);

    if (!card.plugged) {
        if (!isSettled(modem))
            return;
        card.waiting = waitsForCode(modem);
        card.softwareRadio = softwareRadio(modem);
        plug(index, events);
        return;
    }
    const bool live = index == m_current && !card.deferred;
    if (waitsForCode(modem)) {
        card.waiting = true;
    } else if (modem.unlockRequired == MM_MODEM_LOCK_NONE) {
        // Unlocked: no re-probe for the PUK is coming.
        card.reprobeUntil.reset();
        // The right code was given, here or by another program; the SIM is
        // ready once the modem has initialised with it (its IMSI read).
        if (card.waiting && modem.state >= MM_MODEM_STATE_DISABLED) {
            if (live)
                events.push_back(
                    {UTPS_EVENT_DEV_SIM_STATE_CHANGE, {simStatusWord(modem)}, nullptr});
            card.waiting = false;
        }
    }
    if (modem.powerState == MM_MODEM_POWER_STATE_UNKNOWN)
        return;
    const int radio = softwareRadio(modem);
    if (radio == card.softwareRadio)
        return;
    card.softwareRadio = radio;
    if (live)
        events.push_back(radioEvent(card));
}

void ModemRegistry::plug(int index, Events& events)
{
    Card& card = m_cards[std::size_t(index)];
    card.plugged = true;
    m_plugged.push_back(index);
    if (m_deviceCallback)
        start(index, events);
    else
        card.deferred = true;
}

void ModemRegistry::start(int index, Events& events)
{
    m_cards[std::size_t(index)].deferred = false;
    events.push_back(deviceListEvent(UTPS_EVENT_DEV_DETECTED));
    if (m_current >= 0)
        return;
    m_current = index;
    events.push_back({UTPS_EVENT_DEV_ACTIVE, {}, nullptr});
    initSequence(index, events);
}

void ModemRegistry::initSequence(int index, Events& events)
{
    const Card& card = m_cards[std::size_t(index)];
    const ModemSnapshot& modem = *card.modem;
    const bool usable = simUsable(modem);
    for (int code : {UTPS_EVENT_DEV_INIT_BEGIN,
                     usable ? UTPS_EVENT_DEV_INIT_SUCCESS : UTPS_EVENT_DEV_SIM_INVALID,
                     card.pinProtection ? UTPS_EVENT_DEV_CHECK_PIN : UTPS_EVENT_DEV_DEVICE_NO_PIN,
                     UTPS_EVENT_DEV_DEVICE_INIT_FINISH})
        events.push_back({code, {}, nullptr});
    // A SIM waiting for its PIN or PUK reports its state once the code is given.
    if (!usable || !waitsForCode(modem))
        events.push_back({UTPS_EVENT_DEV_SIM_STATE_CHANGE, {simStatusWord(modem)}, nullptr});
}

void ModemRegistry::unplug(int index, Events& events)
{
    Card& card = m_cards[std::size_t(index)];
    card.plugged = false;
    card.deferred = false;
    card.heldUntil.reset();
    m_plugged.erase(std::remove(m_plugged.begin(), m_plugged.end(), index), m_plugged.end());
    if (m_current == index)
        m_current = -1;
    events.push_back(deviceListEvent(UTPS_EVENT_DEV_REJECT));
}

void ModemRegistry::lose(int index, Clock::time_point now, Events& events)
{
    Card& card = m_cards[std::size_t(index)];
    card.present = false;
    if (!card.plugged)
        return;
    if (card.reprobeUntil && now < *card.reprobeUntil) {
        card.heldUntil = now + ReprobeHold;
        return;
    }
    unplug(index, events);
}

ModemRegistry::Events ModemRegistry::expire(Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Events events;
    for (int index = 0; index < int(m_cards.size()); ++index) {
        const Card& card = m_cards[std::size_t(index)];
        if (!card.present && card.heldUntil && *card.heldUntil <= now)
            unplug(index, events);
    }
    m_changed.notify_all();
    return events;
}

std::optional<ModemRegistry::Clock::time_point> ModemRegistry::nextExpiry() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::optional<Clock::time_point> next;
    for (const Card& card : m_cards) {
        if (card.heldUntil && (!next || *card.heldUntil < *next))
            next = card.heldUntil;
    }
    return next;
}

ModemRegistry::Events ModemRegistry::setDeviceCallback(bool registered)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Events events;
    m_deviceCallback = registered;
    if (!registered)
        return events;
    const std::vector<int> order = m_plugged;
    for (int index : order) {
        if (m_cards[std::size_t(index)].deferred)
            start(index, events);
    }
    return events;
}

ModemRegistry::Events ModemRegistry::setHardwareRadio(int hw)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Events events;
    if (hw == m_hardwareRadio)
        return events;
    m_hardwareRadio = hw;
    if (m_current >= 0 && !m_cards[std::size_t(m_current)].deferred)
        events.push_back(radioEvent(m_cards[std::size_t(m_current)]));
    return events;
}

bool ModemRegistry::switchTo(const std::string& name, int port, Events* events)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = std::find_if(m_plugged.begin(), m_plugged.end(), [&](int index) {
        const Card& card = m_cards[std::size_t(index)];
        return card.port == port && deviceName(*card.modem) == name;
    });
    if (it == m_plugged.end())
        return false;
    if (*it == m_current)
        return true;
    for (int code : {UTPS_EVENT_DEV_CHANGE_BEGIN, UTPS_EVENT_DEV_SWITCH, UTPS_EVENT_DEV_CHANGE_END})
        events->push_back({code, {}, nullptr});
    m_current = *it;
    m_cards[std::size_t(m_current)].deferred = false;
    initSequence(m_current, *events);
    return true;
}

ModemRegistry::Events ModemRegistry::detect()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return {deviceListEvent(UTPS_EVENT_DEV_DETECTED)};
}

void ModemRegistry::pukRequired(const std::string& device, Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Card& card : m_cards) {
        if (card.device != device || !card.modem)
            continue;
        card.reprobeUntil = now + ReprobeWindow;
        // The daemon may drop the modem before its signals tell.
        card.modem->unlockRequired = MM_MODEM_LOCK_SIM_PUK;
        card.modem->unlockRetries[MM_MODEM_LOCK_SIM_PIN] = 0;
        card.waiting = true;
    }
    m_changed.notify_all();
}

void ModemRegistry::setRadioUnswitchable()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_current >= 0)
        m_cards[std::size_t(m_current)].radioSwitchable = false;
}

DeviceList ModemRegistry::buildList() const
{
    DeviceList list;
    std::memset(&list, 0, sizeof list);
    const auto count = std::min<std::size_t>(m_plugged.size(), MAX_DEVICE_COUNT);
    for (std::size_t i = 0; i < count; ++i) {
        const Card& card = m_cards[std::size_t(m_plugged[i])];
        _UTPS_ST_DEVICE_INFO& record = list.stDevInfo[i];
        record.nPort = card.port;
        record.nProtocol = kProtocol;
        const std::string name = deviceName(*card.modem);
        std::memcpy(record.szDeviceName, name.data(), name.size());
    }
    list.nDevNum = int32_t(count);
    return list;
}

DeviceList ModemRegistry::deviceList() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return buildList();
}

Event ModemRegistry::deviceListEvent(int code) const
{
    return {code, {}, std::make_shared<const DeviceList>(buildList())};
}

Event ModemRegistry::radioEvent(const Card& card) const
{
    return {UTPS_EVENT_DEV_RF_SWITCH,
            {uint32_t(card.softwareRadio), uint32_t(m_hardwareRadio)},
            nullptr};
}

std::optional<ModemRegistry::Current> ModemRegistry::current() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_current < 0)
        return std::nullopt;
    const Card& card = m_cards[std::size_t(m_current)];
    return Current{card.port,          *card.modem,     card.present,
                   card.pinProtection, m_hardwareRadio, card.radioSwitchable};
}

bool ModemRegistry::waitForLock(MMModemLock unlockRequired,
                                const std::map<MMModemLock, int>& retries,
                                std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] {
        if (m_current < 0)
            return true;
        const ModemSnapshot& modem = *m_cards[std::size_t(m_current)].modem;
        return modem.unlockRequired == unlockRequired && modem.unlockRetries == retries;
    });
}

} // namespace utps::mm
