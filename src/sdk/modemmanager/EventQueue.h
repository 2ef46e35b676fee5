// The backend's events on their way to the three callbacks: queued from any
// thread, delivered in order by the one thread that drains the queue, with
// no lock held while a callback runs.
#pragma once

#include <utps.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace utps::mm {

using DeviceList = _UTPS_ST_MULTI_DEVICE_INFO;

struct Event
{
    int code = 0;
    std::vector<uint32_t> words;            // the payload words (radio switch, SIM state)
    std::shared_ptr<const DeviceList> list; // the payload of a device-list event
};

class EventQueue
{
public:
    enum class Route
    {
        Init,
        DeviceManager,
        MultiDevice
    };

    // Sets or (null) clears a callback. Once a clear returns, the old
    // callback is not running any more, unless it is the caller; so the
    // caller must not hold a lock that the callback takes.
    void setCallback(Route route, UTPS_EVENT_CALLBACK callback);
    bool hasDeviceCallback() const;

    // True when the queue was empty: the caller then arranges a drain.
    bool push(std::vector<Event> events);
    // Delivers everything queued, in order; events nobody takes are dropped.
    void drain();

private:
    UTPS_EVENT_CALLBACK routeFor(int code) const;

    mutable std::mutex m_mutex;
    std::condition_variable m_idle;
    std::deque<Event> m_queue;
    UTPS_EVENT_CALLBACK m_callbacks[3] = {nullptr, nullptr, nullptr};
    bool m_delivering = false;
    std::thread::id m_deliveringThread;
};

} // namespace utps::mm
