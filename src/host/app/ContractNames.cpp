#include "ContractNames.h"

#include <utps.h>

#include <iterator>

namespace {

struct Named
{
    const char* name;
    int code;
};

#define NAMED(code)                                                                                \
    {                                                                                              \
#code, code                                                                                \
    }
constexpr Named Names[] = {
    NAMED(NTF_FRAME_SHOWN),
    NAMED(NTF_LANGUAGE_CHANGED),
    NAMED(NTF_RF_OFF),
    NAMED(NTF_RF_ON),
    NAMED(NTF_SIM_READY),
    NAMED(NTF_SIM_NOT_READY),
    NAMED(NTF_RF_SWITCH_CHANGED),
    NAMED(NTF_DEVICE_INIT_SUCCESS),
    NAMED(NTF_MINIFRAME_DEVICE_STATE),
    NAMED(NTF_DEVICE_CHANGE_BEGIN),
    NAMED(NTF_DEVICE_CHANGE_END),
    NAMED(NTF_PLUGINS_RELOADING),
    NAMED(NTF_CALL_INCOMING),
    NAMED(NTF_CALL_OUTGOING),
    NAMED(NTF_CALL_CONNECTED),
    NAMED(NTF_CALL_ENDED),
    NAMED(NTF_POWER_MGR),
    NAMED(NTF_UPDATE_PINSTATUS),
    NAMED(UTPS_EVENT_DEV_INIT_BEGIN),
    NAMED(UTPS_EVENT_DEV_SIM_INVALID),
    NAMED(UTPS_EVENT_DEV_INIT_SUCCESS),
    NAMED(UTPS_EVENT_DEV_LIST_UPDATE),
    NAMED(UTPS_EVENT_DEV_CHECK_PIN),
    NAMED(UTPS_EVENT_DEV_DEVICE_NO_PIN),
    NAMED(UTPS_EVENT_DEV_DEVICE_INIT_FINISH),
    NAMED(UTPS_EVENT_DEV_INIT_RESET),
    NAMED(UTPS_EVENT_DEV_FPLOCK),
    NAMED(UTPS_EVENT_DEV_CHANGE_BEGIN),
    NAMED(UTPS_EVENT_DEV_CHANGE_END),
    NAMED(UTPS_EVENT_DEV_ACTIVE),
    NAMED(UTPS_EVENT_DEV_REJECT),
    NAMED(UTPS_EVENT_DEV_SWITCH),
    NAMED(UTPS_EVENT_DEV_DETECTED),
    NAMED(UTPS_EVENT_DEV_RF_SWITCH),
    NAMED(UTPS_EVENT_DEV_POWER),
    NAMED(UTPS_EVENT_DEV_SIM_STATE_CHANGE),
    NAMED(UTPS_EVENT_DEV_FP_VERIFY),
};
#undef NAMED

} // namespace

std::optional<int> ContractNames::codeNamed(const QString& name)
{
    for (const Named& named : Names) {
        if (name == QLatin1String(named.name))
            return named.code;
    }
    return std::nullopt;
}

bool ContractNames::looksLikeName(const QString& text)
{
    return text.startsWith(QLatin1String("NTF_")) || text.startsWith(QLatin1String("UTPS_"));
}

QString ContractNames::notificationLabel(unsigned int code)
{
    switch (code) {
    case NTF_CALL_INCOMING:
    case NTF_CALL_OUTGOING:
    case NTF_CALL_CONNECTED:
        return QStringLiteral("NTF_CALL_ACTIVE");
    case NTF_CALL_ENDED:
        return QStringLiteral("NTF_CALL_END");
    default:
        break;
    }
    for (const Named& named : Names) {
        if (named.code == int(code) && QLatin1String(named.name).startsWith(QLatin1String("NTF_")))
            return QLatin1String(named.name);
    }
    return QStringLiteral("unnamed");
}
