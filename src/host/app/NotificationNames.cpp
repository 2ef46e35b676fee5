#include "NotificationNames.h"

QString Notifications::name(unsigned int code)
{
    switch (code) {
    case NTF_FRAME_SHOWN:
        return QStringLiteral("NTF_FRAME_SHOWN");
    case NTF_LANGUAGE_CHANGED:
        return QStringLiteral("NTF_LANGUAGE_CHANGED");
    case NTF_RF_OFF:
        return QStringLiteral("NTF_RF_OFF");
    case NTF_RF_ON:
        return QStringLiteral("NTF_RF_ON");
    case NTF_SIM_READY:
        return QStringLiteral("NTF_SIM_READY");
    case NTF_SIM_NOT_READY:
        return QStringLiteral("NTF_SIM_NOT_READY");
    case NTF_RF_SWITCH_CHANGED:
        return QStringLiteral("NTF_RF_SWITCH_CHANGED");
    case NTF_DEVICE_INIT_SUCCESS:
        return QStringLiteral("NTF_DEVICE_INIT_SUCCESS");
    case NTF_MINIFRAME_DEVICE_STATE:
        return QStringLiteral("NTF_MINIFRAME_DEVICE_STATE");
    case NTF_DEVICE_CHANGE_BEGIN:
        return QStringLiteral("NTF_DEVICE_CHANGE_BEGIN");
    case NTF_DEVICE_CHANGE_END:
        return QStringLiteral("NTF_DEVICE_CHANGE_END");
    case NTF_PLUGINS_RELOADING:
        return QStringLiteral("NTF_PLUGINS_RELOADING");
    case NTF_CALL_INCOMING:
    case NTF_CALL_OUTGOING:
    case NTF_CALL_CONNECTED:
        return QStringLiteral("NTF_CALL_ACTIVE");
    case NTF_CALL_ENDED:
        return QStringLiteral("NTF_CALL_END");
    case NTF_POWER_MGR:
        return QStringLiteral("NTF_POWER_MGR");
    case NTF_UPDATE_PINSTATUS:
        return QStringLiteral("NTF_UPDATE_PINSTATUS");
    default:
        break;
    }
    return QStringLiteral("unnamed");
}
