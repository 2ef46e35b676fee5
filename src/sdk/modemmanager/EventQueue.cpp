#include "EventQueue.h"

#include "EventRoute.h"

namespace utps::mm {

void EventQueue::setCallback(Route route, UTPS_EVENT_CALLBACK callback)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_callbacks[static_cast<int>(route)] = callback;
    // A caller that unregisters before it goes away must not be called after.
    // One that registers may well hold a lock its callbacks take: no wait then.
    if (!callback && m_deliveringThread != std::this_thread::get_id())
        m_idle.wait(lock, [this] { return !m_delivering; });
}

bool EventQueue::hasDeviceCallback() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_callbacks[static_cast<int>(Route::DeviceManager)] ||
           m_callbacks[static_cast<int>(Route::MultiDevice)];
}

bool EventQueue::push(std::vector<Event> events)
{
    if (events.empty())
        return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    const bool wasEmpty = m_queue.empty();
    for (Event& event : events)
        m_queue.push_back(std::move(event));
    return wasEmpty;
}

UTPS_EVENT_CALLBACK EventQueue::routeFor(int code) const
{
    if (isInitEvent(code))
        return m_callbacks[static_cast<int>(Route::Init)];
    UTPS_EVENT_CALLBACK devMgr = m_callbacks[static_cast<int>(Route::DeviceManager)];
    return devMgr ? devMgr : m_callbacks[static_cast<int>(Route::MultiDevice)];
}

void EventQueue::drain()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_deliveringThread = std::this_thread::get_id();
    while (!m_queue.empty()) {
        Event event = std::move(m_queue.front());
        m_queue.pop_front();
        UTPS_EVENT_CALLBACK callback = routeFor(event.code);
        if (!callback)
            continue;
        // The callback's own copy: valid during the call only.
        DeviceList list{};
        void* payload = nullptr;
        if (event.list) {
            list = *event.list;
            payload = &list;
        } else if (!event.words.empty()) {
            padPayload(event.code, &event.words);
            payload = event.words.data();
        }
        m_delivering = true;
        lock.unlock();
        callback(event.code, payload);
        lock.lock();
        m_delivering = false;
        m_idle.notify_all();
    }
}

} // namespace utps::mm
