#include "SdkText.h"

#include <algorithm>
#include <cstring>

namespace utps {

namespace {

int utf8Length(unsigned char lead)
{
    if (lead < 0x80)
        return 1;
    if ((lead >> 5) == 0x6)
        return 2;
    if ((lead >> 4) == 0xE)
        return 3;
    if ((lead >> 3) == 0x1E)
        return 4;
    return 0;
}

// The code point at `i`, which moves past it; a malformed sequence yields
// U+FFFD and moves by one byte only, so the rest of the text survives.
char32_t decodeUtf8(const std::string& text, std::size_t& i)
{
    const auto lead = static_cast<unsigned char>(text[i]);
    const int length = utf8Length(lead);
    if (length == 0 || i + static_cast<std::size_t>(length) > text.size()) {
        ++i;
        return U'\xFFFD';
    }
    char32_t code = length == 1 ? lead : (lead & (0x7F >> length));
    for (int k = 1; k < length; ++k) {
        const auto next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
        if ((next & 0xC0) != 0x80) {
            ++i;
            return U'\xFFFD';
        }
        code = (code << 6) | (next & 0x3F);
    }
    i += static_cast<std::size_t>(length);
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return (surrogate || code > 0x10FFFF) ? U'\xFFFD' : code;
}

} // namespace

void copyTruncated(char* buffer, std::size_t size, const std::string& text)
{
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

std::u16string toUtf16(const std::string& text)
{
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        char32_t code = decodeUtf8(text, i);
        if (code < 0x10000) {
            out.push_back(static_cast<char16_t>(code));
            continue;
        }
        code -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    }
    return out;
}

UTPS_WCHAR* newUtf16Array(const std::string& text)
{
    const std::u16string wide = toUtf16(text);
    auto* buffer = new UTPS_WCHAR[wide.size() + 1]; // released by the caller with delete[]
    std::copy(wide.begin(), wide.end(), buffer);
    buffer[wide.size()] = 0;
    return buffer;
}

} // namespace utps
