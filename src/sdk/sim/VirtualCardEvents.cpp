// The virtual card's event side: the queue, the worker thread that delivers
// it, and the event sequences of plugging, starting and initialising a card.
#include "VirtualCardPrivate.h"

#include "EventRoute.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

void fillRecord(_UTPS_ST_DEVICE_INFO& record, const CardConfig& config)
{
    record.nPort = config.port;
    record.nProtocol = config.protocol;
    std::memset(record.szDeviceName, 0, sizeof record.szDeviceName);
    std::strncpy(record.szDeviceName, config.name.c_str(), sizeof record.szDeviceName - 1);
}

} // namespace

CardModel* VirtualCard::Private::currentCard()
{
    return current < 0 ? nullptr : &cards[static_cast<std::size_t>(current)];
}

bool VirtualCard::Private::hasDeviceCallback() const
{
    return devMgrCallback || multiDeviceCallback;
}

std::shared_ptr<const DeviceList> VirtualCard::Private::deviceList()
{
    if (listSnapshot)
        return listSnapshot;
    auto list = std::make_shared<DeviceList>();
    std::memset(list.get(), 0, sizeof(DeviceList));
    const auto count = std::min<std::size_t>(plugged.size(), MAX_DEVICE_COUNT);
    for (std::size_t i = 0; i < count; ++i)
        fillRecord(list->stDevInfo[i], cards[static_cast<std::size_t>(plugged[i])].config());
    list->nDevNum = static_cast<int32_t>(count);
    listSnapshot = list;
    return listSnapshot;
}

void VirtualCard::Private::enqueue(QueuedEvent event)
{
    if (stopping)
        return;
    if (!worker.joinable()) {
        worker = std::thread([this] { workerLoop(); });
        workerId = worker.get_id();
    }
    const bool wasEmpty = queue.empty();
    queue.push_back(std::move(event));
    if (wasEmpty) // the worker only sleeps on an empty queue or a pause it cannot shorten
        wake.notify_all();
}

void VirtualCard::Private::enqueueCode(int code)
{
    QueuedEvent event;
    event.code = code;
    enqueue(std::move(event));
}

void VirtualCard::Private::enqueueWords(int code, std::vector<uint32_t> words)
{
    QueuedEvent event;
    event.code = code;
    event.payload = QueuedEvent::Payload::Words;
    event.words = std::move(words);
    enqueue(std::move(event));
}

void VirtualCard::Private::enqueueDeviceList(int code)
{
    QueuedEvent event;
    event.code = code;
    event.payload = QueuedEvent::Payload::DeviceList;
    event.list = deviceList();
    enqueue(std::move(event));
}

void VirtualCard::Private::enqueueSimState(const CardModel& card)
{
    enqueueWords(UTPS_EVENT_DEV_SIM_STATE_CHANGE,
                 {static_cast<uint32_t>(card.config().sim.status)});
}

void VirtualCard::Private::enqueueRfSwitch(const RfConfig& rf)
{
    enqueueWords(UTPS_EVENT_DEV_RF_SWITCH,
                 {static_cast<uint32_t>(rf.sw), static_cast<uint32_t>(rf.hw)});
}

void VirtualCard::Private::startPluggedCard(int index)
{
    cards[static_cast<std::size_t>(index)].deferred = false;
    enqueueDeviceList(UTPS_EVENT_DEV_DETECTED);
    if (current >= 0)
        return;
    current = index;
    enqueueCode(UTPS_EVENT_DEV_ACTIVE);
    runInit(index);
}

void VirtualCard::Private::startDeferredCards()
{
    // Copied: starting a card does not change the plugged set, but stay safe.
    const std::vector<int> order = plugged;
    for (int index : order) {
        if (cards[static_cast<std::size_t>(index)].deferred)
            startPluggedCard(index);
    }
}

void VirtualCard::Private::runInit(int index)
{
    CardModel& card = cards[static_cast<std::size_t>(index)];
    enqueueCode(UTPS_EVENT_DEV_INIT_BEGIN);
    if (card.config().fingerprint && !card.fingerprintPassed) {
        // The card goes on initialising behind the lock event; holding its
        // events back until a good fingerprint is the host side's job.
        card.fingerprintLocked = true;
        enqueueCode(UTPS_EVENT_DEV_FPLOCK);
    }
    finishInit(index);
}

void VirtualCard::Private::finishInit(int index)
{
    const CardModel& card = cards[static_cast<std::size_t>(index)];
    const bool usable = card.simUsable();
    enqueueCode(usable ? UTPS_EVENT_DEV_INIT_SUCCESS : UTPS_EVENT_DEV_SIM_INVALID);
    enqueueCode(card.config().sim.pinEnabled ? UTPS_EVENT_DEV_CHECK_PIN
                                             : UTPS_EVENT_DEV_DEVICE_NO_PIN);
    enqueueCode(UTPS_EVENT_DEV_DEVICE_INIT_FINISH);
    // A SIM waiting for its PIN or PUK reports its state once the code is given.
    if (!usable || !card.waitsForCode())
        enqueueSimState(card);
}

void VirtualCard::Private::clearState()
{
    queue.clear();
    cards.clear();
    plugged.clear();
    current = -1;
    host = HostConfig{};
    wwanPolls = 0;
    initCallback = nullptr;
    devMgrCallback = nullptr;
    multiDeviceCallback = nullptr;
    eventObserver.reset();
    eventGapMs = 0;
    lastDelivery.reset();
    invalidateDeviceList();
}

void VirtualCard::Private::workerLoop()
{
    Lock lock(mutex);
    for (;;) {
        wake.wait(lock, [this] { return stopping || !queue.empty(); });
        if (stopping)
            return;
        if (eventGapMs > 0 && lastDelivery) {
            const auto due = *lastDelivery + std::chrono::milliseconds(eventGapMs);
            wake.wait_until(lock, due, [this] { return stopping || queue.empty(); });
            if (stopping)
                return;
            if (queue.empty())
                continue; // emptied by a reset during the pause
        }
        QueuedEvent event = std::move(queue.front());
        queue.pop_front();

        UTPS_EVENT_CALLBACK callback =
            utps::isInitEvent(event.code) ? initCallback
                                          : (devMgrCallback ? devMgrCallback : multiDeviceCallback);
        if (!callback) {
            idle.notify_all(); // nobody takes it: dropped
            continue;
        }
        void* payload = nullptr;
        if (event.payload == QueuedEvent::Payload::DeviceList) {
            deliveryBuffer = *event.list;
            payload = &deliveryBuffer;
        } else if (event.payload == QueuedEvent::Payload::Words) {
            // A payload given, even an empty one, is never null.
            utps::padPayload(event.code, &event.words);
            payload = event.words.data();
        }
        auto observer = eventObserver;
        delivering = true;
        lock.unlock();

        if (observer)
            (*observer)(event.code);
        callback(event.code, payload);

        lock.lock();
        delivering = false;
        lastDelivery = std::chrono::steady_clock::now();
        idle.notify_all();
    }
}

void VirtualCard::Private::waitForDelivery(Lock& lock)
{
    if (onWorkerThread())
        return; // a callback resetting the card: its own delivery cannot end first
    idle.wait(lock, [this] { return !delivering; });
}

void VirtualCard::Private::shutdown()
{
    Lock lock(mutex);
    stopping = true;
    queue.clear();
    wake.notify_all();
    std::thread thread = std::move(worker);
    lock.unlock();
    if (!thread.joinable())
        return;
    if (thread.get_id() == std::this_thread::get_id())
        thread.detach(); // exit() called from inside a callback
    else
        thread.join();
}

} // namespace sim
