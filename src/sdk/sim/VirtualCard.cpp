// The virtual card's control API, for tests, benchmarks and the host's
// scenario runner. Faults, latency and the call log belong to the dispatch
// layer (CallControl) and are only forwarded from here.
#include "VirtualCardPrivate.h"

#include "CallControl.h"

#include <algorithm>
#include <cstdlib>

namespace sim {

namespace {

constexpr std::size_t kMaxNameLength = UTPS_DEVICE_NAME_LEN - 1;

int nextFreePort(const std::vector<CardModel>& cards)
{
    int port = 1;
    for (;;) {
        const bool used = std::any_of(cards.begin(), cards.end(), [port](const CardModel& card) {
            return card.config().port == port;
        });
        if (!used)
            return port;
        ++port;
    }
}

} // namespace

VirtualCard& VirtualCard::instance()
{
    // Lives as long as the process, so that calls made while other libraries
    // destroy their statics still find it; the worker thread is stopped and
    // joined by an exit handler instead.
    static VirtualCard* const card = [] {
        auto* created = new VirtualCard;
        std::atexit([] { VirtualCard::instance().d->shutdown(); });
        return created;
    }();
    return *card;
}

VirtualCard::VirtualCard() : d(std::make_unique<Private>()) {}

VirtualCard::~VirtualCard()
{
    d->shutdown();
}

void VirtualCard::reset()
{
    utps::CallControl::instance().reset();
    Private::Lock lock(d->mutex);
    d->clearState();
    d->wake.notify_all(); // ends a pause between two events at once
    d->idle.notify_all();
    d->waitForDelivery(lock);
}

int VirtualCard::addCard(const CardConfig& config)
{
    Private::Lock lock(d->mutex);
    CardModel card(config);
    CardConfig& stored = card.config();
    if (stored.name.size() > kMaxNameLength)
        stored.name.resize(kMaxNameLength);
    if (stored.port <= 0)
        stored.port = nextFreePort(d->cards);
    const int index = static_cast<int>(d->cards.size());
    d->cards.push_back(std::move(card));
    if (!config.plugged)
        return index;
    d->plugged.push_back(index);
    d->invalidateDeviceList();
    if (d->hasDeviceCallback())
        d->startPluggedCard(index);
    else
        d->cards.back().deferred = true;
    return index;
}

bool VirtualCard::plug(int index)
{
    Private::Lock lock(d->mutex);
    if (index < 0 || index >= static_cast<int>(d->cards.size()))
        return false;
    if (std::find(d->plugged.begin(), d->plugged.end(), index) != d->plugged.end())
        return false;
    CardModel& card = d->cards[static_cast<std::size_t>(index)];
    card.powerUp();
    card.config().plugged = true;
    d->plugged.push_back(index);
    d->invalidateDeviceList();
    d->startPluggedCard(index);
    return true;
}

bool VirtualCard::unplug(int index)
{
    Private::Lock lock(d->mutex);
    auto it = std::find(d->plugged.begin(), d->plugged.end(), index);
    if (it == d->plugged.end())
        return false;
    d->plugged.erase(it);
    CardModel& card = d->cards[static_cast<std::size_t>(index)];
    card.config().plugged = false;
    card.deferred = false;
    card.fingerprintLocked = false;
    if (d->current == index)
        d->current = -1;
    d->invalidateDeviceList();
    d->enqueueDeviceList(UTPS_EVENT_DEV_REJECT);
    return true;
}

int VirtualCard::cardCount() const
{
    Private::Lock lock(d->mutex);
    return static_cast<int>(d->cards.size());
}

std::optional<CardState> VirtualCard::card(int index) const
{
    Private::Lock lock(d->mutex);
    if (index < 0 || index >= static_cast<int>(d->cards.size()))
        return std::nullopt;
    const CardModel& model = d->cards[static_cast<std::size_t>(index)];
    CardState state;
    state.index = index;
    state.config = model.config();
    state.pinStatus = model.pinStatus();
    state.current = d->current == index;
    state.fingerprintLocked = model.fingerprintLocked;
    state.offline = model.offline;
    state.psState = model.psState;
    return state;
}

int VirtualCard::currentCard() const
{
    Private::Lock lock(d->mutex);
    return d->current;
}

void VirtualCard::setHost(const HostConfig& host)
{
    Private::Lock lock(d->mutex);
    d->host = host;
    d->wwanPolls = 0;
}

HostConfig VirtualCard::host() const
{
    Private::Lock lock(d->mutex);
    return d->host;
}

void VirtualCard::raiseEvent(int code, std::optional<std::vector<uint32_t>> payload)
{
    Private::Lock lock(d->mutex);
    if (payload)
        d->enqueueWords(code, std::move(*payload));
    else
        d->enqueueCode(code);
}

void VirtualCard::raiseDeviceListEvent(int code)
{
    Private::Lock lock(d->mutex);
    d->enqueueDeviceList(code);
}

void VirtualCard::setRadio(int hw, int sw)
{
    Private::Lock lock(d->mutex);
    CardModel* card = d->currentCard();
    if (!card)
        return;
    RfConfig& rf = card->config().rf;
    rf.hw = hw;
    rf.sw = sw;
    d->enqueueRfSwitch(rf);
}

void VirtualCard::setSimState(int word)
{
    Private::Lock lock(d->mutex);
    CardModel* card = d->currentCard();
    if (!card)
        return;
    card->config().sim.status = word;
    d->enqueueSimState(*card);
}

void VirtualCard::touchFingerprint(uint32_t state)
{
    Private::Lock lock(d->mutex);
    CardModel* card = d->currentCard();
    if (!card)
        return;
    d->enqueueWords(UTPS_EVENT_DEV_FP_VERIFY, {state});
    if (state != VERIFYIND_GOOD_IMAGE || !card->fingerprintLocked)
        return;
    card->fingerprintLocked = false;
    card->fingerprintPassed = true;
}

void VirtualCard::powerEvent(uint32_t code)
{
    Private::Lock lock(d->mutex);
    d->enqueueWords(UTPS_EVENT_DEV_POWER, {code});
}

bool VirtualCard::overridePinStatus(std::optional<int> status, uint8_t flag)
{
    Private::Lock lock(d->mutex);
    CardModel* card = d->currentCard();
    if (!card)
        return false;
    if (status)
        card->pinStatusOverride = CardModel::PinStatusAnswer{*status, flag};
    else
        card->pinStatusOverride.reset();
    return true;
}

bool VirtualCard::overrideRfState(std::optional<int> state)
{
    Private::Lock lock(d->mutex);
    CardModel* card = d->currentCard();
    if (!card)
        return false;
    card->rfStateOverride = state;
    return true;
}

bool VirtualCard::overrideDevStatus(std::optional<int> status)
{
    Private::Lock lock(d->mutex);
    CardModel* card = d->currentCard();
    if (!card)
        return false;
    card->devStatusOverride = status;
    return true;
}

void VirtualCard::setFault(const std::string& function, int result, int times)
{
    utps::CallControl::instance().setFault(function, result, times);
}

void VirtualCard::clearFaults()
{
    utps::CallControl::instance().clearFaults();
}

void VirtualCard::setLatency(const std::string& function, int ms)
{
    utps::CallControl::instance().setLatency(function, ms);
}

void VirtualCard::setEventGapMs(int ms)
{
    Private::Lock lock(d->mutex);
    d->eventGapMs = std::max(0, ms);
}

std::vector<CallRecord> VirtualCard::callLog() const
{
    return utps::CallControl::instance().callLog();
}

void VirtualCard::clearCallLog()
{
    utps::CallControl::instance().clearCallLog();
}

void VirtualCard::setCallObserver(std::function<void(const CallRecord&)> observer)
{
    utps::CallControl::instance().setObserver(std::move(observer));
}

void VirtualCard::setEventObserver(std::function<void(int code)> observer)
{
    Private::Lock lock(d->mutex);
    if (observer)
        d->eventObserver = std::make_shared<const std::function<void(int)>>(std::move(observer));
    else
        d->eventObserver.reset();
}

bool VirtualCard::waitIdle(int timeoutMs)
{
    Private::Lock lock(d->mutex);
    auto isIdle = [this] { return d->queue.empty() && !d->delivering; };
    if (d->onWorkerThread())
        return isIdle();
    return d->idle.wait_for(lock, std::chrono::milliseconds(std::max(0, timeoutMs)), isIdle);
}

int VirtualCard::pendingEvents() const
{
    Private::Lock lock(d->mutex);
    return static_cast<int>(d->queue.size()) + (d->delivering ? 1 : 0);
}

} // namespace sim
