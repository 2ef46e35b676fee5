// Which callback an SDK event goes to, and what its payload holds, the same
// for every backend.
#pragma once

#include <utps.h>

#include <cstdint>
#include <vector>

namespace utps {

// The init codes go to the init callback; the others to the device-manager
// callback, or to the multi-device one when none is registered. The list
// update sits among the init codes but carries the device list, which only
// the device-manager callback takes in.
constexpr bool isInitEvent(int code)
{
    return code >= UTPS_EVENT_DEV_INIT_BEGIN && code <= UTPS_EVENT_DEV_FPLOCK &&
           code != UTPS_EVENT_DEV_LIST_UPDATE;
}

// The callback has no length to go by: words given for an event (a raw event
// from a scenario, say) are padded with zeros to at least the size the header
// promises for its code, so that no receiver reads past them.
inline void padPayload(int code, std::vector<uint32_t>* words)
{
    const size_t bytes = UTPS_EventPayloadSize(code);
    const size_t least = (bytes + sizeof(uint32_t) - 1) / sizeof(uint32_t);
    if (words->size() < least)
        words->resize(least, 0);
}

} // namespace utps
