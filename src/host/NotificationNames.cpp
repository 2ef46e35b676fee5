#include "NotificationNames.h"

QString Notifications::name(unsigned int code)
{
    switch (code) {
    case FrameShown:
        return QStringLiteral("NTF_FRAME_SHOWN");
    case LanguageChanged:
        return QStringLiteral("NTF_LANGUAGE_CHANGED");
    case RfOff:
        return QStringLiteral("NTF_RF_OFF");
    case RfOn:
        return QStringLiteral("NTF_RF_ON");
    case SimReady:
        return QStringLiteral("NTF_SIM_READY");
    case SimNotReady:
        return QStringLiteral("NTF_SIM_NOT_READY");
    case RfSwitchChanged:
        return QStringLiteral("NTF_RF_SWITCH_CHANGED");
    case DeviceInitSuccess:
        return QStringLiteral("NTF_DEVICE_INIT_SUCCESS");
    case MiniFrameDeviceState:
        return QStringLiteral("NTF_MINIFRAME_DEVICE_STATE");
    case DeviceChangeBegin:
        return QStringLiteral("NTF_DEVICE_CHANGE_BEGIN");
    case DeviceChangeEnd:
        return QStringLiteral("NTF_DEVICE_CHANGE_END");
    case PluginsReloading:
        return QStringLiteral("NTF_PLUGINS_RELOADING");
    case 784:
    case 785:
    case 786:
        return QStringLiteral("NTF_CALL_ACTIVE");
    case CallEnd:
        return QStringLiteral("NTF_CALL_END");
    case PowerManagement:
        return QStringLiteral("NTF_POWER_MGR");
    case UpdatePinStatus:
        return QStringLiteral("NTF_UPDATE_PINSTATUS");
    default:
        break;
    }
    return QStringLiteral("unnamed");
}
