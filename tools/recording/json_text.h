#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace recording {

/// Appends \p text as a JSON string. Bytes that are no UTF-8 become U+FFFD.
void AppendQuoted(std::string& json, std::string_view text);

template <typename Number>
void AppendNumber(std::string& json, Number number)
{
    char digits[24];
    json.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

/// A checksum as the format has it: eight lower-case hexadecimal digits.
inline std::string HexOf(std::uint32_t checksum)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) {
        text += digits[checksum >> shift & 15];
    }
    return text;
}

}  // namespace recording
