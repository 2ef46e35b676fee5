// What a D-Bus error from ModemManager means to the C API.
#pragma once

#include <initializer_list>
#include <string>

namespace utps::mm {

enum class Refusal
{
    None,
    WrongCode,    // the PIN or PUK was wrong; a try is gone
    NeedsPuk,     // a wrong PIN used the last try: the PUK is required now
    Unauthorized, // D-Bus or polkit refused the caller
    Other         // anything else: wrong state, unsupported, no reply, gone
};

Refusal classify(const std::string& errorName);
// The SDK result of a PIN request refused so.
int pinRequestResult(Refusal refusal);
// `message` with every occurrence of the secrets replaced by "****", so that
// an error text can be logged.
std::string redacted(std::string message, std::initializer_list<const char*> secrets);

} // namespace utps::mm
