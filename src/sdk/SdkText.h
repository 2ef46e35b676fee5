// Texts the C API hands out: bounded C strings and the UTF-16 user data
// directory. Shared by every backend.
#pragma once

#include <utps.h>

#include <cstddef>
#include <string>

namespace utps {

// Copies `text` into `buffer` of `size` bytes, cut to fit, always terminated.
void copyTruncated(char* buffer, std::size_t size, const std::string& text);

// UTF-8 to UTF-16; a malformed sequence becomes U+FFFD and the rest survives.
std::u16string toUtf16(const std::string& text);

// `text` as a terminated UTF-16 array allocated with new[], for the caller of
// UTPS_GetUserDataDirectory to release with delete[].
UTPS_WCHAR* newUtf16Array(const std::string& text);

} // namespace utps
