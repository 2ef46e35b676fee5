// The virtual card's state, shared by its control API (VirtualCard.cpp), its
// event worker (VirtualCardEvents.cpp) and the C API backend (SimBackend.cpp).
// One mutex guards all of it; it is never held while an event is delivered.
#pragma once

#include "CardModel.h"
#include "sim/VirtualCard.h"

#include <utps.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace sim {

using DeviceList = _UTPS_ST_MULTI_DEVICE_INFO;

struct QueuedEvent
{
    enum class Payload
    {
        None,
        Words,
        DeviceList
    };

    int code = 0;
    Payload payload = Payload::None;
    std::vector<uint32_t> words;
    std::shared_ptr<const DeviceList> list; // shared by events raised with the same list
};

struct VirtualCard::Private
{
    using Lock = std::unique_lock<std::mutex>;

    mutable std::mutex mutex;

    // Cards, by index; the plugged ones in plug order.
    std::vector<CardModel> cards;
    std::vector<int> plugged;
    int current = -1;
    HostConfig host;
    int wwanPolls = 0;

    UTPS_EVENT_CALLBACK initCallback = nullptr;
    UTPS_EVENT_CALLBACK devMgrCallback = nullptr;
    UTPS_EVENT_CALLBACK multiDeviceCallback = nullptr;
    std::shared_ptr<const std::function<void(int)>> eventObserver;

    // The event worker.
    std::deque<QueuedEvent> queue;
    std::condition_variable wake; // new events, a reset, or the end
    std::condition_variable idle; // a delivery finished
    std::thread worker;
    std::thread::id workerId;
    bool delivering = false;
    bool stopping = false; // process exit: no more events, ever
    int eventGapMs = 0;
    std::optional<std::chrono::steady_clock::time_point> lastDelivery;
    std::shared_ptr<const DeviceList> listSnapshot; // dropped when the plugged set changes
    DeviceList deliveryBuffer{};                    // the worker's copy handed to a callback

    // Everything below expects the mutex held.
    CardModel* currentCard();
    bool hasDeviceCallback() const;
    std::shared_ptr<const DeviceList> deviceList();
    void invalidateDeviceList() { listSnapshot.reset(); }

    void enqueue(QueuedEvent event);
    void enqueueCode(int code);
    void enqueueWords(int code, std::vector<uint32_t> words);
    void enqueueDeviceList(int code);
    // The SIM state change with the card's state word; the radio switch with {sw, hw}.
    void enqueueSimState(const CardModel& card);
    void enqueueRfSwitch(const RfConfig& rf);

    // A plugged card starts: it becomes current and runs its plug sequence when
    // none is current, otherwise it is only reported as detected.
    void startPluggedCard(int index);
    void startDeferredCards();
    // The init events; a fingerprint card raises UTPS_EVENT_DEV_FPLOCK among them.
    void runInit(int index);
    void finishInit(int index);
    void clearState();

    // The worker side and the lifecycle; these take the mutex themselves.
    void workerLoop();
    void waitForDelivery(Lock& lock);
    bool onWorkerThread() const { return std::this_thread::get_id() == workerId; }
    void shutdown();
};

} // namespace sim
