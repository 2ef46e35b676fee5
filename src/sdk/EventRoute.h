// Which callback an SDK event goes to, the same for every backend.
#pragma once

#include <utps.h>

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

} // namespace utps
