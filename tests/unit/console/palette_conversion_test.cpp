#include "cli/SubtitleMgrCli.h"
#include "tests/support/text_compare.h"
#include "tests/unit/captured_console.h"

#include <PaletteItem.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

class APalette : public testing::Test {
protected:
    Bytes Convert(const Bytes& table)
    {
        PaletteItem item;
        item.paletteData = table;
        output = OutputOf([&] { client.ConvertPalette(item); });
        return item.paletteData;
    }

    SubtitleMgrCli client;
    std::string output;
};

/// Numerator over 32768, rounded down or towards zero: in 64 bits and by remainders, unlike the
/// conversion itself.
std::int64_t RoundedDown(std::int64_t number)
{
    const std::int64_t remainder = ((number % 32768) + 32768) % 32768;
    return (number - remainder) / 32768;
}

std::int64_t TowardsZero(std::int64_t number)
{
    return number < 0 ? -RoundedDown(-number) : RoundedDown(number);
}

TEST_F(APalette, ConvertsWhiteAndBlack)
{
    EXPECT_EQ(Convert({255, 255, 255, 1, 0, 0, 0, 2}), (Bytes{234, 128, 128, 1, 16, 128, 128, 2}));
    EXPECT_TEXT(output, "Converting palette of size 8...Done\n");
}

TEST_F(APalette, ConvertsThePrimaryColours)
{
    // Blue: Y = 3176 * 255 / 32768 = 24.7; Cb = 14345 * 255 / 32768 = 111.6; Cr = -17.9.
    // Green: Y = 127.8; Cb = -74.1; Cr = -93.7. Red: Y = 65.6; Cb = -37.5; Cr = 111.6.
    EXPECT_EQ(Convert({255, 0, 0, 9, 0, 255, 0, 9, 0, 0, 255, 9}),
              (Bytes{40, 239, 111, 9, 143, 54, 35, 9, 81, 91, 239, 9}));
}

TEST_F(APalette, TruncatesTheDifferencesTowardsZero)
{
    // Green 1: Cb = -9527 / 32768 and Cr = -12045 / 32768, both above -1 and so 0.
    EXPECT_EQ(Convert({0, 1, 0, 0}), (Bytes{16, 128, 128, 0}));
}

/// All colours with this much red: 65536 entries, each with a fourth byte of its own.
Bytes ColoursWithRed(unsigned int red)
{
    Bytes table;
    table.reserve(65536 * 4);
    for (unsigned int i = 0; i < 65536; ++i) {
        table.push_back(static_cast<unsigned char>(i));
        table.push_back(static_cast<unsigned char>(i >> 8));
        table.push_back(static_cast<unsigned char>(red));
        table.push_back(static_cast<unsigned char>(i * 7));
    }
    return table;
}

using Ycc = std::array<std::int64_t, 3>;

Ycc Expected(std::int64_t b, std::int64_t g, std::int64_t r)
{
    return {16 + RoundedDown(3176 * b + 16425 * g + 8432 * r),
            128 + TowardsZero(14345 * b - 9527 * g - 4818 * r),
            128 + TowardsZero(14345 * r - 12045 * g - 2300 * b)};
}

TEST_F(APalette, OfEveryColourIsExact)
{
    Ycc least{255, 255, 255};
    Ycc most{0, 0, 0};
    for (unsigned int red = 0; red < 256; ++red) {
        const Bytes table = ColoursWithRed(red);
        const Bytes converted = Convert(table);
        ASSERT_EQ(converted.size(), table.size());
        std::size_t wrong = 0;
        for (std::size_t at = 0; at < table.size(); at += 4) {
            const Ycc expected = Expected(table[at], table[at + 1], table[at + 2]);
            wrong += converted[at + 3] != table[at + 3];
            for (std::size_t i = 0; i < 3; ++i) {
                wrong += converted[at + i] != expected[i];
                least[i] = std::min<std::int64_t>(least[i], converted[at + i]);
                most[i] = std::max<std::int64_t>(most[i], converted[at + i]);
            }
        }
        ASSERT_EQ(wrong, 0u) << "bytes of the colours with red " << red;
    }
    EXPECT_EQ(least, (Ycc{16, 17, 17}));
    EXPECT_EQ(most, (Ycc{234, 239, 239}));
}

TEST_F(APalette, KeepsTheBytesBehindItsLastWholeEntry)
{
    EXPECT_EQ(Convert({0, 0, 0, 5, 1, 2, 3}), (Bytes{16, 128, 128, 5, 1, 2, 3}));
    EXPECT_TEXT(output, "Converting palette of size 4...Done\n");
    EXPECT_EQ(Convert({1, 2, 3}), (Bytes{1, 2, 3}));
    EXPECT_TEXT(output, "Converting palette of size 0...Done\n");
}

TEST_F(APalette, MayBeEmpty)
{
    EXPECT_EQ(Convert({}), Bytes{});
    EXPECT_TEXT(output, "Converting palette of size 0...Done\n");
}

TEST_F(APalette, KeepsItsOtherFields)
{
    PaletteItem item;
    item.regionId = 3;
    item.backgroundCode = 31;
    item.fill = true;
    OutputOf([&] { client.ConvertPalette(item); });
    EXPECT_EQ(item.regionId, 3);
    EXPECT_EQ(item.backgroundCode, 31);
    EXPECT_TRUE(item.fill);
}

}  // namespace
