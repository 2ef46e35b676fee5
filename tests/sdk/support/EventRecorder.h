// Records what the SDK delivers to the three callbacks: which callback, the
// code, the delivering thread and a copy of the payload (it is valid during
// the callback only). The callbacks are plain functions, so there is one
// recorder per process.
#pragma once

#include <utps.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

enum class Route
{
    Init,
    DevMgr,
    MultiDevice
};

struct DeviceEntry
{
    std::string name;
    int port = 0;
    int protocol = 0;
    bool operator==(const DeviceEntry& other) const
    {
        return name == other.name && port == other.port && protocol == other.protocol;
    }
};

struct RecordedEvent
{
    Route route = Route::Init;
    int code = 0;
    std::thread::id thread;
    std::chrono::steady_clock::time_point at;
    bool nullPayload = true;
    std::vector<uint32_t> words;      // the words the code carries
    std::vector<DeviceEntry> devices; // for device-list codes
    int deviceCount = -1;             // nDevNum of a device list
};

class EventRecorder
{
public:
    static EventRecorder& instance();

    // Registers the recorder's callbacks with the SDK.
    static void registerInit();
    static void registerDevMgr();
    static void registerMultiDevice();

    void clear();
    std::vector<RecordedEvent> events() const;
    std::vector<int> codes() const;
    int count() const;
    // How many payload words to copy for `code` (6615: 2; 6616, 6619, 6620: 1).
    void setWordCount(int code, int words);
    // Runs inside the next callbacks, on the SDK thread (for blocking tests).
    void setHook(std::function<void(int code)> hook);

    static int onInit(int code, void* payload);
    static int onDevMgr(int code, void* payload);
    static int onMultiDevice(int code, void* payload);

private:
    EventRecorder();
    int record(Route route, int code, void* payload);

    mutable std::mutex m_mutex;
    std::vector<RecordedEvent> m_events;
    std::map<int, int> m_wordCounts;
    std::function<void(int)> m_hook;
};
