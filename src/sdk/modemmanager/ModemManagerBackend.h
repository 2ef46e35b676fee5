// The C API backend "modemmanager": the modems ModemManager manages, on the
// bus UTPS_MM_BUS names ("system", the default; "session"; or an address).
#pragma once

#include "Backend.h"

#include <memory>

namespace utps::mm {

std::unique_ptr<Backend> createModemManagerBackend();

} // namespace utps::mm
