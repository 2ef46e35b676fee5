// The kernel's radio switches of type WWAN (/sys/class/rfkill): the hardware
// side of a card's radio switch.
#pragma once

#include <string>

namespace utps::mm {

// 0 when a WWAN switch is hard-blocked, 1 otherwise (also when there is none).
int wwanHardwareRadio(const std::string& classDir);

} // namespace utps::mm
