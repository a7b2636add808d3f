// Palette conversion of SubtitleMgrCli: blue, green, red to Y, Cb, Cr.

#include "cli/SubtitleMgrCli.h"

#include <PaletteItem.h>

#include <cstddef>
#include <iostream>

namespace {

constexpr std::size_t entrySize = 4;
constexpr int q15 = 32768;

/// Converts one entry in place; its fourth byte stays. The weights are those of ITU-R BT.601 for
/// the studio range, in Q15. For bytes the results are 16 to 234 and 17 to 239, so nothing wraps.
/// Kept on purpose: the Y weights of green and blue differ a little from the published ones, and
/// the division of Cb and Cr truncates towards zero where a shift would round down.
void ConvertEntry(unsigned char* entry)
{
    const int b = entry[0];
    const int g = entry[1];
    const int r = entry[2];
    entry[0] = static_cast<unsigned char>(((3176 * b + 16425 * g + 8432 * r) >> 15) + 16);
    entry[1] = static_cast<unsigned char>((14345 * b - 9527 * g - 4818 * r) / q15 + 128);
    entry[2] = static_cast<unsigned char>((-2300 * b - 12045 * g + 14345 * r) / q15 + 128);
}

}  // namespace

void SubtitleMgrCli::ConvertPalette(PaletteItem& palette)
{
    std::vector<unsigned char>& table = palette.paletteData;
    const std::size_t size = table.size() / entrySize * entrySize;
    std::cout << "Converting palette of size " << size << "...";
    for (std::size_t offset = 0; offset < size; offset += entrySize) {
        ConvertEntry(&table[offset]);
    }
    std::cout << "Done" << std::endl;
}
