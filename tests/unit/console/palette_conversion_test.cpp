#include "cli/SubtitleMgrCli.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <PaletteItem.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

class Palette : public testing::Test {
protected:
    Bytes Convert(const Bytes& table)
    {
        item.paletteData = table;
        output = OutputOf([&] { client.ConvertPalette(item); });
        return item.paletteData;
    }

    SubtitleMgrCli client;
    PaletteItem item;
    std::string output;
};

TEST_F(Palette, ConvertsBlackWhiteAndThePrimaryColours)
{
    // Blue: Y = 3176 * 255 / 32768 = 24.7; Cb = 14345 * 255 / 32768 = 111.6; Cr = -17.9.
    // Green: Y = 127.8; Cb = -74.1; Cr = -93.7. Red: Y = 65.6; Cb = -37.5; Cr = 111.6.
    EXPECT_EQ(Convert({255, 255, 255, 1, 0, 0, 0, 2, 255, 0, 0, 3, 0, 255, 0, 4, 0, 0, 255, 5}),
              (Bytes{234, 128, 128, 1,  16, 128, 128, 2,  40,  239,
                     111, 3,   143, 54, 35, 4,   81,  91, 239, 5}));
    EXPECT_TEXT(output, "Converting palette of size 20...Done\n");
}

/// \p number / 32768, rounded down. Unlike the conversion, it adds a multiple of the divisor first
/// and divides without sign. \p number is at least -512 * 32768.
int RoundedDown(int number)
{
    return static_cast<int>(static_cast<unsigned int>(number + 512 * 32768) / 32768u) - 512;
}

int TowardsZero(int number) { return number < 0 ? -RoundedDown(-number) : RoundedDown(number); }

/// All colours with this red value: 65536 entries with different fourth bytes.
Bytes ColoursWithRed(unsigned int red)
{
    Bytes table(std::size_t{65536} * 4);
    unsigned char* entry = table.data();
    for (unsigned int i = 0; i < 65536; ++i, entry += 4) {
        entry[0] = static_cast<unsigned char>(i);
        entry[1] = static_cast<unsigned char>(i >> 8);
        entry[2] = static_cast<unsigned char>(red);
        entry[3] = static_cast<unsigned char>(i * 7);
    }
    return table;
}

TEST_F(Palette, ConvertsEveryColourExactly)
{
    int least = 255;
    int most = 0;
    // With sanitizers the same arithmetic takes much longer.
    for (unsigned int red = 0; red < 256; red += isSanitized ? 51 : 1) {
        Bytes expected = ColoursWithRed(red);
        const Bytes converted = Convert(expected);
        unsigned char* entry = expected.data();
        for (unsigned int i = 0; i < 65536; ++i, entry += 4) {
            const int b = entry[0];
            const int g = entry[1];
            const int r = entry[2];
            const int luma = 16 + RoundedDown(3176 * b + 16425 * g + 8432 * r);
            const int blueness = 128 + TowardsZero(14345 * b - 9527 * g - 4818 * r);
            const int redness = 128 + TowardsZero(14345 * r - 12045 * g - 2300 * b);
            least = std::min(least, luma);
            most = std::max(most, luma);
            entry[0] = static_cast<unsigned char>(luma);
            entry[1] = static_cast<unsigned char>(blueness);
            entry[2] = static_cast<unsigned char>(redness);
        }
        ASSERT_TRUE(converted == expected) << "colours with red " << red;
    }
    // A luma of 0 marks a transparent entry, so no colour may have it.
    EXPECT_EQ(least, 16);
    EXPECT_EQ(most, 234);
}

TEST_F(Palette, KeepsTheBytesAfterItsLastWholeEntry)
{
    EXPECT_EQ(Convert({0, 0, 0, 5, 1, 2, 3}), (Bytes{16, 128, 128, 5, 1, 2, 3}));
    EXPECT_TEXT(output, "Converting palette of size 4...Done\n");
    EXPECT_EQ(Convert({1, 2, 3}), (Bytes{1, 2, 3}));
    EXPECT_EQ(Convert({}), Bytes{});
    EXPECT_TEXT(output, "Converting palette of size 0...Done\n");
}

TEST_F(Palette, KeepsItsOtherFields)
{
    item.regionId = 3;
    item.backgroundCode = 31;
    item.fill = true;
    Convert({0, 0, 0, 0});
    EXPECT_EQ(item.regionId, 3);
    EXPECT_EQ(item.backgroundCode, 31);
    EXPECT_TRUE(item.fill);
}

}  // namespace
