#include "recording/json_text.h"

#include <cstdint>

namespace recording {

namespace {

/// Bytes of the UTF-8 character that \p text begins with; 0 when it is none.
std::size_t CharacterSize(std::string_view text)
{
    const auto byte = [text](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
    };
    if (byte(0) < 0x80) {
        return 1;
    }
    const std::size_t size = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < size) {
        return 0;
    }
    std::uint32_t character = byte(0) & (0x7Fu >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
        character = character << 6 | (byte(i) & 0x3F);
    }
    constexpr std::uint32_t leastOfSize[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    return character < leastOfSize[size] || character > 0x10FFFF || isSurrogate ? 0 : size;
}

void AppendEscaped(std::string& json, char c)
{
    constexpr char digits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    json += "\\u00";
    json += digits[byte >> 4];
    json += digits[byte & 15];
}

}  // namespace

void AppendQuoted(std::string& json, std::string_view text)
{
    json += '"';
    while (!text.empty()) {
        const std::size_t size = CharacterSize(text);
        const char first = text.front();
        if (size == 0) {
            json += "\xEF\xBF\xBD";
        } else if (size == 1 && (first == '"' || first == '\\')) {
            json += '\\';
            json += first;
        } else if (size == 1 && static_cast<unsigned char>(first) < 0x20) {
            AppendEscaped(json, first);
        } else {
            json.append(text.substr(0, size));
        }
        text.remove_prefix(size == 0 ? 1 : size);
    }
    json += '"';
}

}  // namespace recording
