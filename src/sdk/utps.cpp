// The C API. Every function goes through dispatch(): latency, then either a
// programmed fault or the active backend, then the call log. The backend is
// chosen once, at the first call, from UTPS_BACKEND.
#include "Backend.h"
#include "CallControl.h"
#include "SdkHost.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using utps::Backend;

std::unique_ptr<Backend> selectBackend()
{
    const char* env = std::getenv("UTPS_BACKEND");
    const std::string name = (env && *env) ? env : "sim";
    if (auto backend = utps::createBackend(name))
        return backend;
    utps::reportStatus({name, false, "no such backend: every call fails"});
    return utps::createNullBackend();
}

Backend& activeBackend()
{
    // Never destroyed, like the call control: see CallControl::instance().
    static Backend* const backend = selectBackend().release();
    return *backend;
}

// A PIN or PUK: the call log shows its length, never its digits.
struct Secret
{
    const char* text;
};

std::string argText(Secret secret)
{
    if (!secret.text)
        return "null";
    return "\"****\"(" + std::to_string(std::strlen(secret.text)) + ")";
}

std::string argText(int value)
{
    return std::to_string(value);
}

std::string argText(const char* text)
{
    if (!text)
        return "null";
    std::string quoted = "\"";
    for (const char* c = text; *c; ++c) {
        if (*c == '"' || *c == '\\')
            quoted += '\\';
        quoted += *c;
    }
    return quoted + '"';
}

// The call log's argument text: integers in decimal, strings quoted, joined
// by ", ". Out-parameters and callbacks are never passed in here.
template <typename... Args> std::string argList(const Args&... args)
{
    std::string text;
    ((text += (text.empty() ? "" : ", ") + argText(args)), ...);
    return text;
}

template <typename Call> int dispatch(const char* function, std::string args, Call&& call)
{
    utps::CallControl& control = utps::CallControl::instance();
    control.delay(function);
    int result = 0;
    if (!control.takeFault(function, result))
        result = call(activeBackend());
    control.record(sim::CallRecord{function, std::move(args), result});
    return result;
}

} // namespace

void utps::ensureBackend()
{
    activeBackend();
}

extern "C" {

int UTPS_DevSrv_RegisterDevInitEventCallback(UTPS_EVENT_CALLBACK callback)
{
    return dispatch(__func__, {},
                    [&](Backend& b) { return b.registerDevInitEventCallback(callback); });
}

int UTPS_DevSrv_UnRegisterDevInitEventCallback(void)
{
    return dispatch(__func__, {}, [](Backend& b) { return b.unRegisterDevInitEventCallback(); });
}

int UTPS_DevSrv_RegisterDevMgrCallback(UTPS_EVENT_CALLBACK callback)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.registerDevMgrCallback(callback); });
}

int UTPS_DevSrv_UnRegisterDevMgrCallback(void)
{
    return dispatch(__func__, {}, [](Backend& b) { return b.unRegisterDevMgrCallback(); });
}

int UTPS_DevSrv_RegisterMultiDeviceEventCallback(UTPS_EVENT_CALLBACK callback)
{
    return dispatch(__func__, {},
                    [&](Backend& b) { return b.registerMultiDeviceEventCallback(callback); });
}

int UTPS_DevSrv_UnRegisterMultiDeviceEventCallback(void)
{
    return dispatch(__func__, {},
                    [](Backend& b) { return b.unRegisterMultiDeviceEventCallback(); });
}

int UTPS_DevSrv_GetAvailableDeviceList(_UTPS_ST_MULTI_DEVICE_INFO* list)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getAvailableDeviceList(list); });
}

int UTPS_DevSrv_ManualChangeDevice(const char* name, const char* reserved, int port)
{
    return dispatch(__func__, argList(name, reserved, port),
                    [&](Backend& b) { return b.manualChangeDevice(name, reserved, port); });
}

int UTPS_DevSrv_DetectDevice(void)
{
    return dispatch(__func__, {}, [](Backend& b) { return b.detectDevice(); });
}

int UTPS_DevSrv_GetDeviceName(char* name)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getDeviceName(name); });
}

int UTPS_DevSrv_GetDevicePort(int* port)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getDevicePort(port); });
}

int UTPS_DevSrv_GetDevStatus(_UTPS_EN_DEVICE_STATUS* status)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getDevStatus(status); });
}

int UTPS_DevSrv_GetSimStatus(int* status)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getSimStatus(status); });
}

int UTPS_DevSrv_GetProductType(int* productType)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getProductType(productType); });
}

int UTPS_DevSrv_GetImsiInfo(char* imsi)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getImsiInfo(imsi); });
}

int UTPS_DevSrv_GetPinStatus(unsigned char btType, int* status, unsigned char* flag,
                             unsigned char* flag2, unsigned char* retriesLeft)
{
    return dispatch(__func__, argList(btType), [&](Backend& b) {
        return b.getPinStatus(btType, status, flag, flag2, retriesLeft);
    });
}

int UTPS_DevSrv_VerifyPin(unsigned char btType, const char* pin, unsigned char* retriesLeft)
{
    return dispatch(__func__, argList(btType, Secret{pin}),
                    [&](Backend& b) { return b.verifyPin(btType, pin, retriesLeft); });
}

int UTPS_DevSrv_EnablePin(unsigned char btType, const char* pin)
{
    return dispatch(__func__, argList(btType, Secret{pin}),
                    [&](Backend& b) { return b.enablePin(btType, pin); });
}

int UTPS_DevSrv_DisablePin(unsigned char btType, const char* pin)
{
    return dispatch(__func__, argList(btType, Secret{pin}),
                    [&](Backend& b) { return b.disablePin(btType, pin); });
}

int UTPS_DevSrv_ChangePin(unsigned char btType, const char* oldPin, const char* newPin)
{
    return dispatch(__func__, argList(btType, Secret{oldPin}, Secret{newPin}),
                    [&](Backend& b) { return b.changePin(btType, oldPin, newPin); });
}

int UTPS_DevSrv_UnblockPin(unsigned char btType, const char* puk, const char* newPin,
                           unsigned char* retriesLeft)
{
    return dispatch(__func__, argList(btType, Secret{puk}, Secret{newPin}),
                    [&](Backend& b) { return b.unblockPin(btType, puk, newPin, retriesLeft); });
}

int UTPS_DevSrv_GetRFSwitch(_UTPS_ST_RF_SWITCH* rfSwitch)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getRFSwitch(rfSwitch); });
}

int UTPS_DevSrv_SetRFSwitch(int on)
{
    return dispatch(__func__, argList(on), [&](Backend& b) { return b.setRFSwitch(on); });
}

int UTPS_DevSrv_SetOffline(void)
{
    return dispatch(__func__, {}, [](Backend& b) { return b.setOffline(); });
}

int UTPS_NetSrv_SetPSState(int state)
{
    return dispatch(__func__, argList(state), [&](Backend& b) { return b.setPSState(state); });
}

int UTPS_DevSrv_IsWin7(void)
{
    return dispatch(__func__, {}, [](Backend& b) { return b.isWin7(); });
}

int UTPS_DevSrv_IsWWanReady(void)
{
    return dispatch(__func__, {}, [](Backend& b) { return b.isWWanReady(); });
}

int UTPS_DevSrv_IsWWanServiceActive(void)
{
    return dispatch(__func__, {}, [](Backend& b) { return b.isWWanServiceActive(); });
}

int UTPS_GetUserDataDirectory(UTPS_WCHAR** ppDirectory)
{
    return dispatch(__func__, {}, [&](Backend& b) { return b.getUserDataDirectory(ppDirectory); });
}

} // extern "C"
