// Names of the notification codes the host and its plug-ins exchange.
#pragma once

#include <DeviceMgrContract.h>

#include <QString>

namespace Notifications {
// "NTF_SIM_READY" ...; a code without a name gives "unnamed".
QString name(unsigned int code);
} // namespace Notifications
