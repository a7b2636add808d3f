#pragma once

#include <charconv>
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

}  // namespace recording
