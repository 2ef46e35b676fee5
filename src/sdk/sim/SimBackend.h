// The C API backend "sim": every UTPS_ call answered by the virtual card.
#pragma once

#include "Backend.h"

#include <memory>

namespace sim {

std::unique_ptr<utps::Backend> createSimBackend();

} // namespace sim
