#pragma once

#include <cstddef>
#include <string>

/// \return the length of the well-formed UTF-8 sequence at \p at; 0 when \p at has none
///
/// Follows the table of well-formed byte sequences in the Unicode standard and does not decode, so
/// that it shares no mistake with the product.
inline std::size_t ReferenceSequenceAt(const std::string& text, std::size_t at)
{
    struct Row {
        unsigned char firstLow, firstHigh, secondLow, secondHigh;
        std::size_t length;
    };
    static const Row rows[] = {
        {0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};
    const auto isIn = [&](std::size_t i, unsigned char low, unsigned char high) {
        const auto byte = static_cast<unsigned char>(i < text.size() ? text[i] : '\0');
        return i < text.size() && byte >= low && byte <= high;
    };
    for (const Row& row : rows) {
        if (!isIn(at, row.firstLow, row.firstHigh)) {
            continue;
        }
        const bool isWhole = (row.length < 2 || isIn(at + 1, row.secondLow, row.secondHigh)) &&
                             (row.length < 3 || isIn(at + 2, 0x80, 0xBF)) &&
                             (row.length < 4 || isIn(at + 3, 0x80, 0xBF));
        return isWhole ? row.length : 0;
    }
    return 0;
}

/// Whether the \p length bytes at \p at are a control character: C0, DEL or C1.
inline bool ReferenceIsControl(const std::string& text, std::size_t at, std::size_t length)
{
    const auto first = static_cast<unsigned char>(text[at]);
    return length == 1
               ? first < 0x20 || first == 0x7F
               : length == 2 && first == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0;
}
