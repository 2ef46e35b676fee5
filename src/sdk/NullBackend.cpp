// The backend of an unknown UTPS_BACKEND name: every call fails, nothing is
// modelled. Outputs are left alone, except the user data directory, which
// the caller releases with delete[] whatever the result.
#include "Backend.h"

#include "sim/SimBackend.h"
#ifdef UTPS_HAVE_MODEMMANAGER
#include "modemmanager/ModemManagerBackend.h"
#endif

namespace utps {

namespace {

constexpr int kFailed = 1;

class NullBackend final : public Backend
{
public:
    int registerDevInitEventCallback(UTPS_EVENT_CALLBACK) override { return kFailed; }
    int unRegisterDevInitEventCallback() override { return kFailed; }
    int registerDevMgrCallback(UTPS_EVENT_CALLBACK) override { return kFailed; }
    int unRegisterDevMgrCallback() override { return kFailed; }
    int registerMultiDeviceEventCallback(UTPS_EVENT_CALLBACK) override { return kFailed; }
    int unRegisterMultiDeviceEventCallback() override { return kFailed; }

    int getAvailableDeviceList(_UTPS_ST_MULTI_DEVICE_INFO*) override { return kFailed; }
    int manualChangeDevice(const char*, const char*, int) override { return kFailed; }
    int detectDevice() override { return kFailed; }
    int getDeviceName(char*) override { return kFailed; }
    int getDevicePort(int*) override { return kFailed; }
    int getDevStatus(_UTPS_EN_DEVICE_STATUS*) override { return kFailed; }
    int getSimStatus(int*) override { return kFailed; }
    int getProductType(int*) override { return kFailed; }
    int getImsiInfo(char*) override { return kFailed; }

    int getPinStatus(unsigned char, int*, unsigned char*, unsigned char*, unsigned char*) override
    {
        return kFailed;
    }
    int verifyPin(unsigned char, const char*, unsigned char*) override { return kFailed; }
    int enablePin(unsigned char, const char*) override { return kFailed; }
    int disablePin(unsigned char, const char*) override { return kFailed; }
    int changePin(unsigned char, const char*, const char*) override { return kFailed; }
    int unblockPin(unsigned char, const char*, const char*, unsigned char*) override
    {
        return kFailed;
    }

    int getRFSwitch(_UTPS_ST_RF_SWITCH*) override { return kFailed; }
    int setRFSwitch(int) override { return kFailed; }
    int setOffline() override { return kFailed; }
    int setPSState(int) override { return kFailed; }

    int isWin7() override { return kFailed; }
    int isWWanReady() override { return kFailed; }
    int isWWanServiceActive() override { return kFailed; }

    int getUserDataDirectory(UTPS_WCHAR** directory) override
    {
        if (directory)
            *directory = new UTPS_WCHAR[1]{0}; // released by the caller
        return kFailed;
    }
};

} // namespace

std::unique_ptr<Backend> createNullBackend()
{
    return std::make_unique<NullBackend>();
}

std::unique_ptr<Backend> createBackend(const std::string& name)
{
    if (name == "sim")
        return sim::createSimBackend();
#ifdef UTPS_HAVE_MODEMMANAGER
    if (name == "modemmanager")
        return mm::createModemManagerBackend();
#endif
    return nullptr;
}

} // namespace utps
