// The seam behind the C API: one virtual per UTPS_ function. The dispatch
// layer in utps.cpp adds latency, faults and the call log around every call,
// so a backend only models the device.
#pragma once

#include <utps.h>

#include <memory>
#include <string>

namespace utps {

class Backend
{
public:
    virtual ~Backend() = default;

    virtual int registerDevInitEventCallback(UTPS_EVENT_CALLBACK callback) = 0;
    virtual int unRegisterDevInitEventCallback() = 0;
    virtual int registerDevMgrCallback(UTPS_EVENT_CALLBACK callback) = 0;
    virtual int unRegisterDevMgrCallback() = 0;
    virtual int registerMultiDeviceEventCallback(UTPS_EVENT_CALLBACK callback) = 0;
    virtual int unRegisterMultiDeviceEventCallback() = 0;

    virtual int getAvailableDeviceList(_UTPS_ST_MULTI_DEVICE_INFO* list) = 0;
    virtual int manualChangeDevice(const char* name, const char* reserved, int port) = 0;
    virtual int detectDevice() = 0;
    virtual int getDeviceName(char* name) = 0;
    virtual int getDevicePort(int* port) = 0;
    virtual int getDevStatus(_UTPS_EN_DEVICE_STATUS* status) = 0;
    virtual int getSimStatus(int* status) = 0;
    virtual int getProductType(int* productType) = 0;
    virtual int getImsiInfo(char* imsi) = 0;

    virtual int getPinStatus(unsigned char btType, int* status, unsigned char* flag,
                             unsigned char* flag2, unsigned char* retriesLeft) = 0;
    virtual int verifyPin(unsigned char btType, const char* pin, unsigned char* retriesLeft) = 0;
    virtual int enablePin(unsigned char btType, const char* pin) = 0;
    virtual int disablePin(unsigned char btType, const char* pin) = 0;
    virtual int changePin(unsigned char btType, const char* oldPin, const char* newPin) = 0;
    virtual int unblockPin(unsigned char btType, const char* puk, const char* newPin,
                           unsigned char* retriesLeft) = 0;

    virtual int getRFSwitch(_UTPS_ST_RF_SWITCH* rfSwitch) = 0;
    virtual int setRFSwitch(int on) = 0;
    virtual int setOffline() = 0;
    virtual int setPSState(int state) = 0;

    virtual int isWin7() = 0;
    virtual int isWWanReady() = 0;
    virtual int isWWanServiceActive() = 0;

    virtual int getUserDataDirectory(UTPS_WCHAR** directory) = 0;
};

// The backend registered under `name`, or null when there is none.
std::unique_ptr<Backend> createBackend(const std::string& name);
// Chooses the backend from UTPS_BACKEND unless a call already did.
void ensureBackend();
// A backend whose every call fails: what an unknown UTPS_BACKEND gets.
std::unique_ptr<Backend> createNullBackend();

} // namespace utps
