#include "MmErrors.h"

#include <utps.h>

#include <algorithm>
#include <vector>

namespace utps::mm {

namespace {
constexpr int kFailed = 1;
constexpr int kRefused = -1;
const std::string kMmErrors = "org.freedesktop.ModemManager1.Error.";
} // namespace

Refusal classify(const std::string& errorName)
{
    if (errorName.empty())
        return Refusal::None;
    if (errorName == kMmErrors + "MobileEquipment.IncorrectPassword")
        return Refusal::WrongCode;
    if (errorName == kMmErrors + "MobileEquipment.SimPuk")
        return Refusal::NeedsPuk;
    for (const char* denied :
         {"org.freedesktop.ModemManager1.Error.Core.Unauthorized",
          "org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.AuthFailed",
          "org.freedesktop.DBus.Error.InteractiveAuthorizationRequired"}) {
        if (errorName == denied)
            return Refusal::Unauthorized;
    }
    return Refusal::Other;
}

int pinRequestResult(Refusal refusal)
{
    switch (refusal) {
    case Refusal::None:
        return UTPS_ERROR_SUCCESS;
    case Refusal::WrongCode:
    case Refusal::NeedsPuk:
        return kRefused;
    case Refusal::Unauthorized:
        // The PIN is the system's: the same refusal as a PIN held by the
        // operating system's WWAN service.
        return UTPS_ERROR_WWAN_PRIVILEGE;
    case Refusal::Other:
        break;
    }
    return kFailed;
}

std::string redacted(std::string message, std::initializer_list<const char*> secrets)
{
    std::vector<std::string> ordered;
    for (const char* secret : secrets) {
        if (secret && *secret)
            ordered.emplace_back(secret);
    }
    // The longer first: a PIN can be part of the PUK.
    std::sort(ordered.begin(), ordered.end(),
              [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
    for (const std::string& secret : ordered) {
        for (std::size_t at = message.find(secret); at != std::string::npos;
             at = message.find(secret, at + 4))
            message.replace(at, secret.size(), "****");
    }
    return message;
}

} // namespace utps::mm
