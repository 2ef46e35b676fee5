// Names of the notification codes the host and its plug-ins exchange.
#pragma once

#include <QString>

namespace Notifications {
enum Code : unsigned int
{
    FrameShown = 258,
    LanguageChanged = 320,
    RfOff = 576,
    RfOn = 577,
    SimReady = 578,
    SimNotReady = 579,
    RfSwitchChanged = 580,
    DeviceInitSuccess = 581,
    MiniFrameDeviceState = 582,
    DeviceChangeBegin = 583,
    DeviceChangeEnd = 584,
    PluginsReloading = 585,
    CallFirst = 784,
    CallEnd = 787,
    PowerManagement = 854,
    UpdatePinStatus = 1027,
};

// "NTF_SIM_READY" ...; a code without a name gives "unnamed".
QString name(unsigned int code);
} // namespace Notifications
