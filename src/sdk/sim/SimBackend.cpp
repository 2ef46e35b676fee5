// How the virtual card answers the C API: the device, SIM, radio and host
// calls, each under the card's mutex. Events they cause go to its queue.
#include "SimBackend.h"

#include "VirtualCardPrivate.h"

#include "SdkHost.h"
#include "SdkText.h"

#include <cstring>
#include <string>

namespace sim {

namespace {

constexpr int kFailed = 1;
constexpr int kNotActive = -1;
} // namespace

// Declared a friend by VirtualCard, to reach its state.
class SimBackend final : public utps::Backend
{
public:
    SimBackend() : d(*VirtualCard::instance().d)
    {
        utps::reportStatus({"sim", true, "the virtual card"});
    }

    int registerDevInitEventCallback(UTPS_EVENT_CALLBACK callback) override
    {
        if (!callback)
            return kFailed;
        Lock lock(d.mutex);
        d.initCallback = callback;
        return 0;
    }

    int unRegisterDevInitEventCallback() override { return clearCallback(d.initCallback); }

    int registerDevMgrCallback(UTPS_EVENT_CALLBACK callback) override
    {
        return registerDeviceCallback(d.devMgrCallback, callback);
    }

    int unRegisterDevMgrCallback() override { return clearCallback(d.devMgrCallback); }

    int registerMultiDeviceEventCallback(UTPS_EVENT_CALLBACK callback) override
    {
        return registerDeviceCallback(d.multiDeviceCallback, callback);
    }

    int unRegisterMultiDeviceEventCallback() override
    {
        return clearCallback(d.multiDeviceCallback);
    }

    int getAvailableDeviceList(_UTPS_ST_MULTI_DEVICE_INFO* list) override
    {
        if (!list)
            return kFailed;
        Lock lock(d.mutex);
        *list = *d.deviceList();
        return 0;
    }

    int manualChangeDevice(const char* name, const char*, int port) override
    {
        if (!name)
            return kFailed;
        Lock lock(d.mutex);
        const int index = pluggedCard(name, port);
        if (index < 0)
            return kFailed;
        if (index == d.current)
            return 0;
        d.enqueueCode(UTPS_EVENT_DEV_CHANGE_BEGIN);
        d.enqueueCode(UTPS_EVENT_DEV_SWITCH);
        d.enqueueCode(UTPS_EVENT_DEV_CHANGE_END);
        d.current = index;
        d.cards[static_cast<std::size_t>(index)].deferred = false;
        d.runInit(index);
        return 0;
    }

    int detectDevice() override
    {
        Lock lock(d.mutex);
        d.enqueueDeviceList(UTPS_EVENT_DEV_DETECTED);
        return 0;
    }

    int getDeviceName(char* name) override
    {
        Lock lock(d.mutex);
        const CardModel* card = d.currentCard();
        if (!card || !name)
            return kFailed;
        utps::copyTruncated(name, UTPS_SHORT_NAME_LEN, card->config().name);
        return 0;
    }

    int getDevicePort(int* port) override
    {
        return readCurrent(port, [](const CardModel& card) { return card.config().port; });
    }

    int getDevStatus(_UTPS_EN_DEVICE_STATUS* status) override
    {
        if (!status)
            return kFailed;
        Lock lock(d.mutex);
        const CardModel* card = d.currentCard();
        // A fingerprint-locked card is present and answers; the lock is
        // reported by its own event, and the host shows the prompt for a
        // card that is available.
        if (!card)
            *status = DEVICE_STATUS_NO_DEVICE;
        else if (card->devStatusOverride)
            *status = static_cast<_UTPS_EN_DEVICE_STATUS>(*card->devStatusOverride);
        else
            *status = DEVICE_STATUS_AVAILABLE;
        return 0;
    }

    int getSimStatus(int* status) override
    {
        return readCurrent(status, [](const CardModel& card) { return card.config().sim.status; });
    }

    int getProductType(int* productType) override
    {
        return readCurrent(productType,
                           [](const CardModel& card) { return card.config().productType; });
    }

    int getImsiInfo(char* imsi) override
    {
        Lock lock(d.mutex);
        const CardModel* card = d.currentCard();
        if (!card || !imsi || !card->simUsable())
            return kFailed;
        utps::copyTruncated(imsi, UTPS_IMSI_LEN, card->config().sim.imsi);
        return 0;
    }

    int getPinStatus(unsigned char btType, int* status, unsigned char* flag, unsigned char* flag2,
                     unsigned char* retriesLeft) override
    {
        Lock lock(d.mutex);
        const CardModel* card = pinCard(btType);
        if (!card || !status)
            return kFailed;
        const auto& answer = card->pinStatusOverride;
        *status = answer ? answer->status : card->pinStatus();
        if (flag)
            *flag = answer ? answer->flag : 0;
        if (flag2)
            *flag2 = 0;
        if (retriesLeft)
            *retriesLeft = static_cast<unsigned char>(card->reportedRetries());
        return 0;
    }

    int verifyPin(unsigned char btType, const char* pin, unsigned char* retriesLeft) override
    {
        return pinRequest(btType, {pin}, retriesLeft,
                          [&](CardModel& card) { return card.verify(pin); });
    }

    int enablePin(unsigned char btType, const char* pin) override
    {
        return pinRequest(btType, {pin}, nullptr,
                          [&](CardModel& card) { return card.enable(pin); });
    }

    int disablePin(unsigned char btType, const char* pin) override
    {
        return pinRequest(btType, {pin}, nullptr,
                          [&](CardModel& card) { return card.disable(pin); });
    }

    int changePin(unsigned char btType, const char* oldPin, const char* newPin) override
    {
        return pinRequest(btType, {oldPin, newPin}, nullptr,
                          [&](CardModel& card) { return card.change(oldPin, newPin); });
    }

    int unblockPin(unsigned char btType, const char* puk, const char* newPin,
                   unsigned char* retriesLeft) override
    {
        return pinRequest(btType, {puk, newPin}, retriesLeft,
                          [&](CardModel& card) { return card.unblock(puk, newPin); });
    }

    int getRFSwitch(_UTPS_ST_RF_SWITCH* rfSwitch) override
    {
        Lock lock(d.mutex);
        const CardModel* card = d.currentCard();
        if (!card || !rfSwitch)
            return kFailed;
        const RfConfig& rf = card->config().rf;
        rfSwitch->nState = card->rfStateOverride.value_or((rf.sw != 0 && rf.hw != 0) ? 1 : 0);
        rfSwitch->nSupport = rf.supported ? 1 : 0;
        return 0;
    }

    int setRFSwitch(int on) override
    {
        Lock lock(d.mutex);
        CardModel* card = d.currentCard();
        if (!card)
            return kFailed;
        RfConfig& rf = card->config().rf;
        if (!rf.supported || (on && rf.hw == 0))
            return kFailed;
        rf.sw = on ? 1 : 0;
        d.enqueueRfSwitch(rf);
        return 0;
    }

    int setOffline() override
    {
        Lock lock(d.mutex);
        CardModel* card = d.currentCard();
        if (!card)
            return kFailed;
        card->offline = true;
        return 0;
    }

    int setPSState(int state) override
    {
        Lock lock(d.mutex);
        CardModel* card = d.currentCard();
        if (!card)
            return kFailed;
        card->psState = state;
        return 0;
    }

    int isWin7() override
    {
        Lock lock(d.mutex);
        return d.host.win7 ? 0 : kFailed;
    }

    int isWWanReady() override
    {
        Lock lock(d.mutex);
        if (d.wwanPolls < d.host.wwanReadyAfter) {
            ++d.wwanPolls;
            return kFailed;
        }
        return 0;
    }

    int isWWanServiceActive() override
    {
        Lock lock(d.mutex);
        return d.host.wwanServiceActive ? 0 : kNotActive;
    }

    int getUserDataDirectory(UTPS_WCHAR** directory) override
    {
        if (!directory)
            return kFailed;
        std::string dir;
        {
            Lock lock(d.mutex);
            dir = d.host.userDataDir;
        }
        *directory = utps::newUtf16Array(dir);
        return dir.empty() ? kFailed : 0;
    }

private:
    using Lock = VirtualCard::Private::Lock;

    int registerDeviceCallback(UTPS_EVENT_CALLBACK& slot, UTPS_EVENT_CALLBACK callback)
    {
        if (!callback)
            return kFailed;
        Lock lock(d.mutex);
        slot = callback;
        // Cards plugged before anyone listened start now.
        d.startDeferredCards();
        return 0;
    }

    int clearCallback(UTPS_EVENT_CALLBACK& slot)
    {
        Lock lock(d.mutex);
        slot = nullptr;
        return 0;
    }

    int pluggedCard(const std::string& name, int port) const
    {
        for (int index : d.plugged) {
            const CardConfig& config = d.cards[static_cast<std::size_t>(index)].config();
            if (config.name == name && config.port == port)
                return index;
        }
        return -1;
    }

    // The card whose PIN a request addresses: the current card's SIM PIN.
    CardModel* pinCard(unsigned char btType) { return btType == 0 ? d.currentCard() : nullptr; }

    template <typename Value, typename Read> int readCurrent(Value* out, Read read)
    {
        Lock lock(d.mutex);
        const CardModel* card = d.currentCard();
        if (!card || !out)
            return kFailed;
        *out = read(*card);
        return 0;
    }

    template <typename Request>
    int pinRequest(unsigned char btType, std::initializer_list<const char*> entries,
                   unsigned char* retriesLeft, Request request)
    {
        Lock lock(d.mutex);
        CardModel* card = pinCard(btType);
        if (!card)
            return kFailed;
        for (const char* entry : entries) {
            if (!entry)
                return kFailed;
        }
        const PinOutcome outcome = request(*card);
        if (retriesLeft)
            *retriesLeft = static_cast<unsigned char>(outcome.retries);
        if (outcome.simReady)
            d.enqueueSimState(*card);
        return outcome.result;
    }

    VirtualCard::Private& d;
};

std::unique_ptr<utps::Backend> createSimBackend()
{
    return std::make_unique<SimBackend>();
}

} // namespace sim
