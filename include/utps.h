/* The device SDK: C API of the data card's device, network and host services.
 *
 * Every function returns UTPS_ERROR_SUCCESS (0) for success (or "yes") and a
 * non-zero value otherwise. Events are delivered through callbacks on a thread
 * of the SDK's own, never on the caller's thread. All functions are safe to
 * call from several threads. */
#ifndef UTPS_H
#define UTPS_H

#include <stdint.h>

#if defined(UTPS_LIBRARY)
#define UTPS_API __attribute__((visibility("default")))
#else
#define UTPS_API
#endif

#ifdef __cplusplus
extern "C" {
typedef char16_t UTPS_WCHAR;
#else
typedef uint16_t UTPS_WCHAR;
#endif

#define UTPS_ERROR_SUCCESS 0
#define MAX_DEVICE_COUNT 64
#define UTPS_DEVICE_NAME_LEN 128
/* The buffer UTPS_DevSrv_GetDeviceName fills, terminator included. */
#define UTPS_SHORT_NAME_LEN 24
/* The buffer UTPS_DevSrv_GetImsiInfo fills: 15 digits and the terminator. */
#define UTPS_IMSI_LEN 16

typedef struct _UTPS_ST_DEVICE_INFO
{
    int32_t nPort;
    int32_t nProtocol;
    char szDeviceName[UTPS_DEVICE_NAME_LEN];
} _UTPS_ST_DEVICE_INFO;

typedef struct _UTPS_ST_MULTI_DEVICE_INFO
{
    int32_t nDevNum;
    _UTPS_ST_DEVICE_INFO stDevInfo[MAX_DEVICE_COUNT];
} _UTPS_ST_MULTI_DEVICE_INFO;

#ifdef __cplusplus
static_assert(sizeof(_UTPS_ST_DEVICE_INFO) == 136, "device record layout is fixed by the SDK");
static_assert(sizeof(_UTPS_ST_MULTI_DEVICE_INFO) == 8708, "device list layout is fixed by the SDK");
#endif

typedef enum _UTPS_EN_DEVICE_STATUS
{
    DEVICE_STATUS_NO_DEVICE = 0,
    DEVICE_STATUS_CONNECTED = 1, /* present, with a data connection up */
    DEVICE_STATUS_INITIALIZING = 2,
    DEVICE_STATUS_AVAILABLE = 3,
    DEVICE_STATUS_REJECTED = 4
} _UTPS_EN_DEVICE_STATUS;

/* Fingerprint sensor feedback carried by UTPS_EVENT_DEV_FP_VERIFY. */
typedef enum _UTPS_EN_VERIFYINDSTATE
{
    VERIFYIND_GOOD_IMAGE = 0,
    VERIFYIND_NO_FINGER = 1,
    VERIFYIND_TOO_LIGHT = 2,
    VERIFYIND_TOO_DRY = 3,
    VERIFYIND_TOO_DARK = 4,
    VERIFYIND_TOO_HIGH = 5,
    VERIFYIND_TOO_LOW = 6,
    VERIFYIND_TOO_LEFT = 7,
    VERIFYIND_TOO_RIGHT = 8,
    VERIFYIND_TOO_SMALL = 9,
    VERIFYIND_TOO_STRANGE = 10,
    VERIFYIND_BAD_QUALITY = 11,
    VERIFYIND_PUT_FINGER = 12,
    VERIFYIND_PUT_FINGER2 = 13,
    VERIFYIND_PUT_FINGER3 = 14,
    VERIFYIND_REMOVE_FINGER = 15,
    VERIFYIND_CONSOLIDATION_FAIL = 16,
    VERIFYIND_CONSOLIDATION_SUCCEED = 17,
    VERIFYIND_CLEAN_SENSOR = 18,
    VERIFYIND_KEEP_FINGER = 19,
    VERIFYIND_START = 20,
    VERIFYIND_VERIFY_START = 21,
    VERIFYIND_ENROLL_START = 22,
    VERIFYIND_FINGER_DETECT_START = 23,
    VERIFYIND_GUI_FINISH = 24,
    VERIFYIND_GUI_FINISH_SUCCEED = 25,
    VERIFYIND_GUI_FINISH_FAIL = 26,
    VERIFYIND_CALIB_START = 27,
    VERIFYIND_TOO_FAST = 28,
    VERIFYIND_TOO_SKEWED = 29,
    VERIFYIND_TOO_SHORT = 30,
    VERIFYIND_TOUCH_SENSOR = 31,
    VERIFYIND_PROCESSING_IMAGE = 32,
    VERIFYIND_SWIPE_IN_PROGRESS = 33,
    VERIFYIND_BACKWARD_MOVEMENT = 34,
    VERIFYIND_JOINT_DETECTED = 35,
    VERIFYIND_CENTER_AND_PRESS_HARDER = 36,
    VERIFYIND_IMAGE_PROCESSED = 37,
    VERIFYIND_PUT_FINGER4 = 38,
    VERIFYIND_PUT_FINGER5 = 39,
    VERIFYIND_ENROLL_PROGRESS = 40,
    VERIFYIND_NO_MATCH = 255
} _UTPS_EN_VERIFYINDSTATE;

/* The radio switch: current state (1 on, 0 off) and whether it can be switched. */
typedef struct _UTPS_ST_RF_SWITCH
{
    int32_t nState;
    int32_t nSupport;
} _UTPS_ST_RF_SWITCH;

/* SIM PIN status values reported by UTPS_DevSrv_GetPinStatus. */
#define UTPS_PIN_STATUS_VERIFIED 1
#define UTPS_PIN_STATUS_PIN_REQUIRED 2 /* with first flag 0 */
#define UTPS_PIN_STATUS_PUK_REQUIRED 3
#define UTPS_PIN_STATUS_PUK_BLOCKED 4
#define UTPS_PIN_STATUS_DISABLED 8

/* A SIM status word (UTPS_DevSrv_GetSimStatus, UTPS_EVENT_DEV_SIM_STATE_CHANGE)
 * from 1 to 254 is a usable SIM; 0, 255 and more (and a negative) are not. */
static inline int UTPS_SimStatusUsable(long long word)
{
    return word >= 1 && word <= 254;
}

/* UTPS_DevSrv_UnblockPin: the PIN belongs to the system's WWAN service and the
 * calling process may not unblock it. */
#define UTPS_ERROR_WWAN_PRIVILEGE 6000

/* Event codes. Init events reach the init callback; the others reach the
 * device-manager callback (or, when none is registered, the multi-device
 * callback). Payloads are valid during the callback only.
 *
 * The callback carries no length: a payload is at least as long as
 * UTPS_EventPayloadSize says for its code, whatever raised the event, and any
 * code may come with a null payload.
 *   6010, 6601, 6606   sizeof(_UTPS_ST_MULTI_DEVICE_INFO), 8708 bytes
 *   6615               two uint32 words, 8 bytes
 *   6616, 6619, 6620   one uint32 word, 4 bytes
 *   any other code     one uint32 word, 4 bytes, which the receiver ignores */
#define UTPS_EVENT_DEV_INIT_BEGIN 6000
#define UTPS_EVENT_DEV_SIM_INVALID 6002
#define UTPS_EVENT_DEV_INIT_SUCCESS 6008
#define UTPS_EVENT_DEV_LIST_UPDATE 6010 /* payload: _UTPS_ST_MULTI_DEVICE_INFO */
#define UTPS_EVENT_DEV_CHECK_PIN 6011
#define UTPS_EVENT_DEV_DEVICE_NO_PIN 6012
#define UTPS_EVENT_DEV_DEVICE_INIT_FINISH 6014
#define UTPS_EVENT_DEV_INIT_RESET 6016
#define UTPS_EVENT_DEV_FPLOCK 6018
#define UTPS_EVENT_DEV_CHANGE_BEGIN 6500
#define UTPS_EVENT_DEV_CHANGE_END 6501
#define UTPS_EVENT_DEV_ACTIVE 6600
#define UTPS_EVENT_DEV_REJECT 6601 /* payload: _UTPS_ST_MULTI_DEVICE_INFO */
#define UTPS_EVENT_DEV_SWITCH 6604
#define UTPS_EVENT_DEV_DETECTED 6606         /* payload: _UTPS_ST_MULTI_DEVICE_INFO */
#define UTPS_EVENT_DEV_RF_SWITCH 6615        /* payload: uint32 sw, uint32 hw */
#define UTPS_EVENT_DEV_POWER 6616            /* payload: uint32 power event */
#define UTPS_EVENT_DEV_SIM_STATE_CHANGE 6619 /* payload: uint32 SIM state word */
#define UTPS_EVENT_DEV_FP_VERIFY 6620        /* payload: uint32 verify state */

/* The least number of bytes a non-null payload of `event` holds. */
static inline uint32_t UTPS_EventPayloadSize(int event)
{
    switch (event) {
    case UTPS_EVENT_DEV_LIST_UPDATE:
    case UTPS_EVENT_DEV_REJECT:
    case UTPS_EVENT_DEV_DETECTED:
        return (uint32_t)sizeof(_UTPS_ST_MULTI_DEVICE_INFO);
    case UTPS_EVENT_DEV_RF_SWITCH:
        return 2 * (uint32_t)sizeof(uint32_t);
    default:
        return (uint32_t)sizeof(uint32_t);
    }
}

typedef int (*UTPS_EVENT_CALLBACK)(int event, void* payload);

/* Callbacks */
UTPS_API int UTPS_DevSrv_RegisterDevInitEventCallback(UTPS_EVENT_CALLBACK callback);
UTPS_API int UTPS_DevSrv_UnRegisterDevInitEventCallback(void);
UTPS_API int UTPS_DevSrv_RegisterDevMgrCallback(UTPS_EVENT_CALLBACK callback);
UTPS_API int UTPS_DevSrv_UnRegisterDevMgrCallback(void);
UTPS_API int UTPS_DevSrv_RegisterMultiDeviceEventCallback(UTPS_EVENT_CALLBACK callback);
UTPS_API int UTPS_DevSrv_UnRegisterMultiDeviceEventCallback(void);

/* Devices */
UTPS_API int UTPS_DevSrv_GetAvailableDeviceList(_UTPS_ST_MULTI_DEVICE_INFO* list);
UTPS_API int UTPS_DevSrv_ManualChangeDevice(const char* name, const char* reserved, int port);
UTPS_API int UTPS_DevSrv_DetectDevice(void);
UTPS_API int UTPS_DevSrv_GetDeviceName(char* name /* UTPS_SHORT_NAME_LEN bytes */);
UTPS_API int UTPS_DevSrv_GetDevicePort(int* port);
UTPS_API int UTPS_DevSrv_GetDevStatus(_UTPS_EN_DEVICE_STATUS* status);
UTPS_API int UTPS_DevSrv_GetSimStatus(int* status);
UTPS_API int UTPS_DevSrv_GetProductType(int* productType);
UTPS_API int UTPS_DevSrv_GetImsiInfo(char* imsi /* UTPS_IMSI_LEN bytes */);

/* PIN (btType 0 = the SIM's PIN 1) */
UTPS_API int UTPS_DevSrv_GetPinStatus(unsigned char btType, int* status, unsigned char* flag,
                                      unsigned char* flag2, unsigned char* retriesLeft);
UTPS_API int UTPS_DevSrv_VerifyPin(unsigned char btType, const char* pin,
                                   unsigned char* retriesLeft);
UTPS_API int UTPS_DevSrv_EnablePin(unsigned char btType, const char* pin);
UTPS_API int UTPS_DevSrv_DisablePin(unsigned char btType, const char* pin);
UTPS_API int UTPS_DevSrv_ChangePin(unsigned char btType, const char* oldPin, const char* newPin);
UTPS_API int UTPS_DevSrv_UnblockPin(unsigned char btType, const char* puk, const char* newPin,
                                    unsigned char* retriesLeft);

/* Radio, offline, packet service */
UTPS_API int UTPS_DevSrv_GetRFSwitch(_UTPS_ST_RF_SWITCH* rfSwitch);
UTPS_API int UTPS_DevSrv_SetRFSwitch(int on);
UTPS_API int UTPS_DevSrv_SetOffline(void);
UTPS_API int UTPS_NetSrv_SetPSState(int state);

/* The operating system's WWAN service */
UTPS_API int UTPS_DevSrv_IsWin7(void);
UTPS_API int UTPS_DevSrv_IsWWanReady(void);
/* -1 when the system's WWAN service is not active. */
UTPS_API int UTPS_DevSrv_IsWWanServiceActive(void);

/* The user's data directory, ending with a separator. *ppDirectory receives a
 * UTF-16 string allocated with new[]; the caller releases it with delete[],
 * also when the call reports failure. */
UTPS_API int UTPS_GetUserDataDirectory(UTPS_WCHAR** ppDirectory);

#ifdef __cplusplus
}
#endif

#endif /* UTPS_H */
