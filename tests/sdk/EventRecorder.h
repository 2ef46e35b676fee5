// What the SDK hands to its three callbacks, in order, whatever the backend.
// Payloads are valid during the callback only, so they are copied there.
#pragma once

#include <utps.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <mutex>
#include <thread>

struct Delivery
{
    QString route; // "init", "devmgr" or "multi"
    int code = 0;
    std::thread::id thread;
    bool nullPayload = true;
    QList<uint> words;   // SIM state, power, fingerprint: one word; radio: software, hardware
    QStringList devices; // "name:port:protocol", for device-list codes
    QByteArray bytes;    // the payload, as long as the header promises for the code
};

class EventRecorder
{
public:
    static void registerInit() { UTPS_DevSrv_RegisterDevInitEventCallback(&on<0>); }
    static void registerDevMgr() { UTPS_DevSrv_RegisterDevMgrCallback(&on<1>); }
    static void registerMulti() { UTPS_DevSrv_RegisterMultiDeviceEventCallback(&on<2>); }
    static void clear()
    {
        std::lock_guard<std::mutex> lock(s_mutex);
        s_events.clear();
    }
    static QList<Delivery> events()
    {
        std::lock_guard<std::mutex> lock(s_mutex);
        return s_events;
    }
    static QList<int> codes()
    {
        QList<int> codes;
        for (const Delivery& event : events())
            codes.append(event.code);
        return codes;
    }

private:
    static int wordCount(int code)
    {
        switch (code) {
        case UTPS_EVENT_DEV_RF_SWITCH:
            return 2;
        case UTPS_EVENT_DEV_POWER:
        case UTPS_EVENT_DEV_SIM_STATE_CHANGE:
        case UTPS_EVENT_DEV_FP_VERIFY:
            return 1;
        default:
            return 0;
        }
    }

    template <int route> static int on(int code, void* payload)
    {
        const char* routes[] = {"init", "devmgr", "multi"};
        Delivery event{routes[route], code, std::this_thread::get_id(), !payload, {}, {}, {}};
        // All the header promises for the code, read whatever the code: a
        // backend that delivers less shows up under the address sanitizer.
        if (payload)
            event.bytes = QByteArray(static_cast<const char*>(payload),
                                     static_cast<int>(UTPS_EventPayloadSize(code)));
        const auto* list = static_cast<const _UTPS_ST_MULTI_DEVICE_INFO*>(payload);
        if (payload && (code == UTPS_EVENT_DEV_LIST_UPDATE || code == UTPS_EVENT_DEV_REJECT ||
                        code == UTPS_EVENT_DEV_DETECTED)) {
            for (int i = 0; i < list->nDevNum && i < MAX_DEVICE_COUNT; ++i) {
                const _UTPS_ST_DEVICE_INFO& d = list->stDevInfo[i];
                event.devices << QString::asprintf("%s:%d:%d", d.szDeviceName, d.nPort,
                                                   d.nProtocol);
            }
        }
        for (int i = 0; payload && i < wordCount(code); ++i)
            event.words.append(static_cast<const uint32_t*>(payload)[i]);
        std::lock_guard<std::mutex> lock(s_mutex);
        s_events.append(event);
        return 1;
    }

    inline static std::mutex s_mutex;
    inline static QList<Delivery> s_events;
};
