// The numbers the device manager plug-in, the host and the other plug-ins
// agree on: notification codes, the device manager's interface number and
// the result codes of its operations. Defined here once; nobody else writes
// them as numbers.
#pragma once

// Notification codes, sent by the host and by the plug-ins through the
// notification service.
enum E_NOTIFICATION_CODE : unsigned int
{
    // The host's.
    NTF_FRAME_SHOWN = 258,
    NTF_LANGUAGE_CHANGED = 320,
    // The device manager's.
    NTF_RF_OFF = 576,
    NTF_RF_ON = 577,
    NTF_SIM_READY = 578,
    NTF_SIM_NOT_READY = 579,
    NTF_RF_SWITCH_CHANGED = 580,
    NTF_DEVICE_INIT_SUCCESS = 581,
    NTF_MINIFRAME_DEVICE_STATE = 582,
    NTF_DEVICE_CHANGE_BEGIN = 583,
    NTF_DEVICE_CHANGE_END = 584,
    NTF_PLUGINS_RELOADING = 585,
    // The call service's: a call coming in, going out, connected, ended.
    NTF_CALL_INCOMING = 784,
    NTF_CALL_OUTGOING = 785,
    NTF_CALL_CONNECTED = 786,
    NTF_CALL_ENDED = 787,
    // Power management (suspend, resume), as the device manager passes it on.
    NTF_POWER_MGR = 854,
    NTF_UPDATE_PINSTATUS = 1027,
};

// The interface number under which the device manager plug-in hands out its
// service (IDeviceMgr) through QueryInterface.
inline constexpr int DEVICE_MGR_INTERFACE = 4097;

// Result codes of the device manager's operations.
enum E_DEVMGR_RESULT
{
    DEVMGR_RESULT_SUCCESS = 0,
    DEVMGR_RESULT_SDK_FAILURE = 1,
    // Something the operation needs is missing or could not be made (the
    // device access layer, a dialog).
    DEVMGR_RESULT_UNAVAILABLE = 13,
    DEVMGR_RESULT_WWAN_PRIVILEGE = 14,
    DEVMGR_RESULT_GENERAL_ERROR = 15,
    DEVMGR_RESULT_INVALID_INPUT = 23,
};
