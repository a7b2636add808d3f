// Palette conversion and test pattern, compared byte by byte with a second implementation.
//
// Input: the first byte chooses; then the table, or the parameters and the bitmap before.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/redirected_streams.h"

#include "cli/SubtitleMgrCli.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>

#include <cmath>

namespace {

/// Quotients of doubles, which hold all these numbers exactly, instead of shifts and divisions.
unsigned char Scaled(double blue, double green, double red, bool roundsDown, double base)
{
    const double quotient = (blue + green + red) / 32768.0;
    return static_cast<unsigned char>((roundsDown ? std::floor(quotient) : std::trunc(quotient)) +
                                      base);
}

std::string ConvertedTable(const std::string& table)
{
    std::string converted = table;
    for (std::size_t entry = 0; entry < table.size() / 4; ++entry) {
        const auto part = [&](std::size_t i) {
            return static_cast<double>(static_cast<unsigned char>(table[entry * 4 + i]));
        };
        const double b = part(0);
        const double g = part(1);
        const double r = part(2);
        const unsigned char y = Scaled(3176 * b, 16425 * g, 8432 * r, true, 16);
        const unsigned char cb = Scaled(14345 * b, -9527 * g, -4818 * r, false, 128);
        const unsigned char cr = Scaled(-2300 * b, -12045 * g, 14345 * r, false, 128);
        // A transparent entry is marked with a Y of 0, so no conversion may yield one.
        Require(y >= 16 && y <= 234, "a luminance outside the studio range");
        converted[entry * 4] = static_cast<char>(y);
        converted[entry * 4 + 1] = static_cast<char>(cb);
        converted[entry * 4 + 2] = static_cast<char>(cr);
    }
    return converted;
}

void CheckConversion(SubtitleMgrCli& client, const std::string& table)
{
    PaletteItem item;
    item.regionId = 5;
    item.paletteData.assign(table.begin(), table.end());
    const std::string printed = PrintedBy([&] { client.ConvertPalette(item); });
    RequireEqual(std::string(item.paletteData.begin(), item.paletteData.end()),
                 ConvertedTable(table), "converted otherwise");
    RequireEqual(printed,
                 "Converting palette of size " + std::to_string(table.size() - table.size() % 4) +
                     "...Done\n",
                 "another report of the conversion");
    Require(item.regionId == 5 && item.backgroundCode == 0 && !item.fill,
            "the conversion touched another field");
}

struct Pattern {
    unsigned char start;
    unsigned char increment;
    unsigned int width;
    unsigned int height;
};

/// Pixel by pixel, where the generator goes segment by segment.
std::string Painted(const Pattern& pattern, std::string pixels)
{
    pixels.resize(30720, '\0');
    if (pattern.width == 0 || pattern.height == 0) {
        return pixels;
    }
    const std::size_t columns = 640 / pattern.width;
    const std::size_t rows = 48 / pattern.height;
    for (std::size_t line = 0; line < 48; ++line) {
        for (std::size_t pixel = 0; pixel < 640; ++pixel) {
            const std::size_t row = line / pattern.height;
            const std::size_t column = pixel / pattern.width;
            if (row < rows && column < columns) {
                pixels[line * 640 + pixel] = static_cast<char>(
                    (pattern.start + (row * columns + column) * pattern.increment) & 255);
            }
        }
    }
    return pixels;
}

std::string PatternReport(const Pattern& pattern)
{
    const std::size_t columns = pattern.width == 0 ? 0 : 640 / pattern.width;
    const std::size_t rows = pattern.height == 0 ? 0 : 48 / pattern.height;
    std::string report = "Generating test pattern: " + std::to_string(rows) + " rows by " +
                         std::to_string(columns) + " columns,  " + std::to_string(rows * columns) +
                         " colors\n\n";
    for (std::size_t segment = 0; segment < rows * columns; ++segment) {
        report += "  " + std::to_string(segment / columns * pattern.height * 640 +
                                        segment % columns * pattern.width);
    }
    return report + "\n\n";
}

/// Mostly what fits the region: all its dividers and their neighbours, seldom the very small ones,
/// which print a lot.
unsigned int ChooseLength(Choices& choices, unsigned int region)
{
    switch (choices.Below(8)) {
    case 0: return choices.U32();
    case 1: return choices.Byte();
    case 2: return region + choices.Byte() - 128;
    default: {
        const unsigned int divided = region / (1 + choices.Below(24));
        return divided + choices.Below(3) - 1;
    }
    }
}

void CheckPattern(SubtitleMgrCli& client, Choices& choices)
{
    Pattern pattern{};
    pattern.start = static_cast<unsigned char>(choices.Byte());
    pattern.increment = static_cast<unsigned char>(choices.Byte());
    pattern.width = ChooseLength(choices, 640);
    pattern.height = ChooseLength(choices, 48);
    const std::size_t size = choices.OnceIn(4) ? choices.U32() % 65536 : 30720;
    const std::string piece = choices.Rest() + '\x5A';
    std::string before(size, '\x33');
    before.replace(0, piece.size() < size ? piece.size() : size, piece, 0, size);

    RegionDataItem item;
    item.regionId = 44;
    item.subtitleFormat = 3;
    item.data.assign(before.begin(), before.end());
    const std::string printed = PrintedBy([&] {
        client.GenerateTestPattern(item, pattern.start, pattern.increment, pattern.width,
                                   pattern.height);
    });
    RequireEqual(std::string(item.data.begin(), item.data.end()), Painted(pattern, before),
                 "painted otherwise");
    RequireEqual(printed, PatternReport(pattern), "another report of the pattern");
    Require(item.regionId == 44 && item.subtitleFormat == 3, "the pattern touched another field");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static SubtitleMgrCli& client = *new SubtitleMgrCli;
    Choices choices(bytes, size);
    if (choices.OnceIn(2)) {
        CheckPattern(client, choices);
    } else {
        CheckConversion(client, choices.Rest());
    }
    return 0;
}
