// SDK events are the plug-in's widest input: any code, any payload the SDK's
// header allows, on the SDK's thread, at any moment. Each input starts a
// service around one virtual card, delivers a short sequence of events to
// both callbacks from a thread standing in for the SDK's, and lets the GUI
// thread handle everything that follows. A fresh service per input keeps
// every finding reproducible from its input alone, and costs less than it
// seems: one service kept across inputs ran slower, since a fingerprint lock
// left by one input holds the init events of every later one back.
//
// Input: one setup byte (the card, see Cards, and ChooserOpen), then up to
// MaxRecords records of
//   selector  1 byte: below Pause one of the SDK's codes; from Pause to
//             RawCode a pause, in which the GUI thread handles what came so
//             far; from RawCode on a raw int32 (little-endian) follows
//   length    1 byte (events only): NullPayload for a null payload, else
//             that many bytes (fewer at the end of the input)
//   payload   zero-padded to the size the SDK promises for the code
#include "DeviceMgrService.h"
#include "FuzzSupport.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <utps.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <thread>
#include <vector>

namespace {

// Raw codes would almost never hit a handled one: most records pick a real
// code, so the handlers behind them get the inputs.
constexpr int Codes[] = {UTPS_EVENT_DEV_INIT_BEGIN,
                         UTPS_EVENT_DEV_SIM_INVALID,
                         UTPS_EVENT_DEV_INIT_SUCCESS,
                         UTPS_EVENT_DEV_LIST_UPDATE,
                         UTPS_EVENT_DEV_CHECK_PIN,
                         UTPS_EVENT_DEV_DEVICE_NO_PIN,
                         UTPS_EVENT_DEV_DEVICE_INIT_FINISH,
                         UTPS_EVENT_DEV_INIT_RESET,
                         UTPS_EVENT_DEV_FPLOCK,
                         UTPS_EVENT_DEV_CHANGE_BEGIN,
                         UTPS_EVENT_DEV_CHANGE_END,
                         UTPS_EVENT_DEV_ACTIVE,
                         UTPS_EVENT_DEV_REJECT,
                         UTPS_EVENT_DEV_SWITCH,
                         UTPS_EVENT_DEV_DETECTED,
                         UTPS_EVENT_DEV_RF_SWITCH,
                         UTPS_EVENT_DEV_POWER,
                         UTPS_EVENT_DEV_SIM_STATE_CHANGE,
                         UTPS_EVENT_DEV_FP_VERIFY};
constexpr uint8_t Pause = 0xE0;
constexpr uint8_t RawCode = 0xF0;
constexpr uint8_t NullPayload = 0xFF;
// Enough to reach every state the handlers keep, short enough to stay fast.
constexpr size_t MaxRecords = 8;
// The events a record starts settle within milliseconds; only a handler
// that keeps posting work runs into this.
constexpr int DrainTimeoutMs = 2000;

// The card the service starts with (the setup byte's low two bits) decides
// which paths the events meet: the PIN workflow only runs for a card that
// asks for its PIN or PUK.
struct CardVariant
{
    bool pinEnabled;
    int pinRetries;
    int simStatus;
};
constexpr CardVariant Cards[] = {
    {false, 3, 1}, // PIN protection off
    {true, 3, 1},  // PIN required
    {true, 0, 1},  // PUK required
    {false, 3, 0}, // SIM not usable
};
// With this bit of the setup byte the device chooser is open when the
// events come, so that the device lists they carry reach its table too.
constexpr uint8_t ChooserOpen = 0x04;

struct Record
{
    bool pause = false;
    int code = 0;
    bool null = false;
    std::vector<unsigned char> payload;
};

class InputReader
{
public:
    InputReader(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool atEnd() const { return m_pos == m_size; }
    bool byte(uint8_t* value)
    {
        if (atEnd())
            return false;
        *value = m_data[m_pos++];
        return true;
    }
    // Up to `count` bytes, fewer at the end.
    std::vector<unsigned char> bytes(size_t count)
    {
        count = std::min(count, m_size - m_pos);
        std::vector<unsigned char> taken(m_data + m_pos, m_data + m_pos + count);
        m_pos += count;
        return taken;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

// False at the end of the input.
bool readSelector(InputReader& in, Record* record)
{
    uint8_t selector = 0;
    if (!in.byte(&selector))
        return false;
    record->pause = selector >= Pause && selector < RawCode;
    if (selector < Pause) {
        record->code = Codes[selector % std::size(Codes)];
        return true;
    }
    if (record->pause)
        return true;
    const std::vector<unsigned char> raw = in.bytes(sizeof(int32_t));
    if (raw.size() < sizeof(int32_t))
        return false;
    uint32_t word = 0;
    for (size_t i = 0; i < raw.size(); ++i)
        word |= uint32_t(raw[i]) << (8 * i);
    record->code = int(int32_t(word));
    return true;
}

bool readRecord(InputReader& in, Record* record)
{
    *record = Record();
    if (!readSelector(in, record))
        return false;
    if (record->pause)
        return true;
    uint8_t length = 0;
    if (!in.byte(&length))
        return false;
    record->null = length == NullPayload;
    if (record->null)
        return true;
    // The SDK's promise: a payload is never shorter than its code's size.
    record->payload = in.bytes(length);
    record->payload.resize(
        std::max<size_t>(record->payload.size(), UTPS_EventPayloadSize(record->code)));
    return true;
}

void deliver(Record& record)
{
    void* payload = record.null ? nullptr : record.payload.data();
    CDeviceMgrService::OnDeviceMgrInitEvent(record.code, payload);
    CDeviceMgrService::OnDevMgrEventsCB(record.code, payload);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::makeApplication();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    InputReader in(data, size);
    uint8_t setup = 0;
    if (!in.byte(&setup))
        return 0;
    std::vector<Record> records;
    Record record;
    while (records.size() < MaxRecords && readRecord(in, &record))
        records.push_back(std::move(record));

    const CardVariant& variant = Cards[setup % std::size(Cards)];
    sim::CardConfig card;
    card.sim.pinEnabled = variant.pinEnabled;
    card.sim.pinRetries = variant.pinRetries;
    card.sim.status = variant.simStatus;

    HostFixture host;
    host.card().addCard(card);
    CDeviceMgrService* service = host.startService();
    host.waitForEvents(DrainTimeoutMs);
    host.frameShown();
    if (setup & ChooserOpen)
        service->ShowChooseDevice();
    host.waitForEvents(DrainTimeoutMs);

    auto next = records.begin();
    while (next != records.end()) {
        const auto pause =
            std::find_if(next, records.end(), [](const Record& r) { return r.pause; });
        std::thread sdk([next, pause] { std::for_each(next, pause, deliver); });
        sdk.join();
        host.waitForEvents(DrainTimeoutMs);
        next = pause == records.end() ? pause : pause + 1;
    }
    return 0;
}
