#include "EventRecorder.h"

namespace {

bool isDeviceListCode(int code)
{
    return code == UTPS_EVENT_DEV_LIST_UPDATE || code == UTPS_EVENT_DEV_REJECT ||
           code == UTPS_EVENT_DEV_DETECTED;
}

std::map<int, int> defaultWordCounts()
{
    return {{UTPS_EVENT_DEV_RF_SWITCH, 2},
            {UTPS_EVENT_DEV_POWER, 1},
            {UTPS_EVENT_DEV_SIM_STATE_CHANGE, 1},
            {UTPS_EVENT_DEV_FP_VERIFY, 1}};
}

} // namespace

EventRecorder::EventRecorder() : m_wordCounts(defaultWordCounts()) {}

EventRecorder& EventRecorder::instance()
{
    static EventRecorder recorder;
    return recorder;
}

void EventRecorder::registerInit()
{
    UTPS_DevSrv_RegisterDevInitEventCallback(&EventRecorder::onInit);
}

void EventRecorder::registerDevMgr()
{
    UTPS_DevSrv_RegisterDevMgrCallback(&EventRecorder::onDevMgr);
}

void EventRecorder::registerMultiDevice()
{
    UTPS_DevSrv_RegisterMultiDeviceEventCallback(&EventRecorder::onMultiDevice);
}

void EventRecorder::clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_events.clear();
    m_wordCounts = defaultWordCounts();
    m_hook = nullptr;
}

std::vector<RecordedEvent> EventRecorder::events() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

std::vector<int> EventRecorder::codes() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<int> codes;
    for (const RecordedEvent& event : m_events)
        codes.push_back(event.code);
    return codes;
}

int EventRecorder::count() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_events.size());
}

void EventRecorder::setWordCount(int code, int words)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_wordCounts[code] = words;
}

void EventRecorder::setHook(std::function<void(int)> hook)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_hook = std::move(hook);
}

int EventRecorder::onInit(int code, void* payload)
{
    return instance().record(Route::Init, code, payload);
}

int EventRecorder::onDevMgr(int code, void* payload)
{
    return instance().record(Route::DevMgr, code, payload);
}

int EventRecorder::onMultiDevice(int code, void* payload)
{
    return instance().record(Route::MultiDevice, code, payload);
}

int EventRecorder::record(Route route, int code, void* payload)
{
    RecordedEvent event;
    event.route = route;
    event.code = code;
    event.thread = std::this_thread::get_id();
    event.at = std::chrono::steady_clock::now();
    event.nullPayload = payload == nullptr;
    std::function<void(int)> hook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        hook = m_hook;
        if (payload && isDeviceListCode(code)) {
            const auto* list = static_cast<const _UTPS_ST_MULTI_DEVICE_INFO*>(payload);
            event.deviceCount = list->nDevNum;
            for (int i = 0; i < list->nDevNum && i < MAX_DEVICE_COUNT; ++i) {
                const _UTPS_ST_DEVICE_INFO& info = list->stDevInfo[i];
                event.devices.push_back({info.szDeviceName, info.nPort, info.nProtocol});
            }
        } else if (payload) {
            const auto* words = static_cast<const uint32_t*>(payload);
            auto it = m_wordCounts.find(code);
            const int count = it == m_wordCounts.end() ? 0 : it->second;
            event.words.assign(words, words + count);
        }
    }
    if (hook)
        hook(code);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_events.push_back(std::move(event));
    return 1;
}
