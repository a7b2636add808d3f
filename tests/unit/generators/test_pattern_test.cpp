#include "cli/SubtitleMgrCli.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <RegionDataItem.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Numbers = std::vector<unsigned int>;

struct Pattern {
    unsigned int start = 0;
    unsigned int increment = 8;
    unsigned int width = 80;
    unsigned int height = 12;
};

unsigned int Columns(const Pattern& pattern)
{
    return pattern.width == 0 ? 0 : 640 / pattern.width;
}
unsigned int Rows(const Pattern& pattern) { return pattern.height == 0 ? 0 : 48 / pattern.height; }

/// Paints a pattern into \p data pixel by pixel.
Bytes Painted(const Pattern& pattern, Bytes data)
{
    data.resize(30720, 0);
    for (unsigned int i = 0; i < 30720 && Columns(pattern) * Rows(pattern) > 0; ++i) {
        const unsigned int column = i % 640 / pattern.width;
        const unsigned int row = i / 640 / pattern.height;
        if (column < Columns(pattern) && row < Rows(pattern)) {
            const unsigned int segment = row * Columns(pattern) + column;
            data[i] =
                static_cast<unsigned char>((pattern.start + segment * pattern.increment) % 256);
        }
    }
    return data;
}

/// The text that the pattern prints.
std::string Printed(const Pattern& pattern)
{
    const unsigned int segments = Rows(pattern) * Columns(pattern);
    std::string text = "Generating test pattern: " + std::to_string(Rows(pattern)) + " rows by " +
                       std::to_string(Columns(pattern)) + " columns,  " + std::to_string(segments) +
                       " colors\n\n";
    for (unsigned int segment = 0; segment < segments; ++segment) {
        const unsigned int line = segment / Columns(pattern) * pattern.height;
        const unsigned int pixel = segment % Columns(pattern) * pattern.width;
        text += "  " + std::to_string(line * 640 + pixel);
    }
    return text + "\n\n";
}

class TestPattern : public testing::Test {
protected:
    /// Generates into `item`. \return the printed text
    std::string Generate(const Pattern& pattern)
    {
        return OutputOf([&] {
            client.GenerateTestPattern(item, static_cast<unsigned char>(pattern.start),
                                       static_cast<unsigned char>(pattern.increment), pattern.width,
                                       pattern.height);
        });
    }

    SubtitleMgrCli client;
    RegionDataItem item;
};

TEST_F(TestPattern, HasBytesOfTheFormula)
{
    const Numbers widths{0,   1,   2,   3,   7,   8,   16,  63,  64,  65,  79,  80,         81,
                         100, 127, 128, 213, 214, 319, 320, 321, 639, 640, 641, 4294967295u};
    const Numbers heights{0, 1, 2, 3, 5, 7, 11, 12, 13, 16, 23, 24, 25, 47, 48, 49, 4294967295u};
    for (const unsigned int width : widths) {
        for (const unsigned int height : heights) {
            const Pattern pattern{(width * 3) % 256, (height * 37) % 256, width, height};
            item.data.assign(30720, 0xEE);
            const Bytes expected = Painted(pattern, item.data);
            const std::string printed = Generate(pattern);
            ASSERT_TRUE(item.data == expected) << width << " x " << height;
            ASSERT_TRUE(printed == Printed(pattern)) << width << " x " << height;
        }
    }
}

TEST_F(TestPattern, TakesEveryStartAndIncrement)
{
    for (unsigned int value = 0; value < 256; ++value) {
        const Pattern pattern{value, 255 - value, 80, 12};
        Generate(pattern);
        ASSERT_TRUE(item.data == Painted(pattern, {})) << value;
    }
}

TEST_F(TestPattern, Has32SegmentsByDefault)
{
    EXPECT_TEXT(Generate({}), "Generating test pattern: 4 rows by 8 columns,  32 colors\n"
                              "\n"
                              "  0  80  160  240  320  400  480  560"
                              "  7680  7760  7840  7920  8000  8080  8160  8240"
                              "  15360  15440  15520  15600  15680  15760  15840  15920"
                              "  23040  23120  23200  23280  23360  23440  23520  23600"
                              "\n"
                              "\n");
    ASSERT_EQ(item.data.size(), 30720u);
    EXPECT_EQ(item.data[79], 0);
    EXPECT_EQ(item.data[80], 8);
    EXPECT_EQ(item.data[640], 0);
    EXPECT_EQ(item.data[7680], 64);
    EXPECT_EQ(item.data[30719], 248);
}

TEST_F(TestPattern, PaintsNothingForEmptySegments)
{
    item.data.assign(30720, 0xEE);
    EXPECT_TEXT(Generate({1, 1, 0, 12}),
                "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n");
    EXPECT_TEXT(Generate({1, 1, 80, 0}),
                "Generating test pattern: 0 rows by 8 columns,  0 colors\n\n\n\n");
    EXPECT_EQ(item.data, Bytes(30720, 0xEE));
}

TEST_F(TestPattern, CutsOrExtendsTheRecord)
{
    for (const std::size_t size : {std::size_t{40000}, std::size_t{100}, std::size_t{0}}) {
        item.data.assign(size, 0xEE);
        const Bytes expected = Painted({1, 1, 641, 12}, item.data);
        Generate({1, 1, 641, 12});
        EXPECT_TRUE(item.data == expected) << size;
    }
}

TEST_F(TestPattern, KeepsTheOtherFieldsOfTheRecord)
{
    item.regionId = 44;
    item.subtitleFormat = 3;
    Generate({});
    EXPECT_EQ(item.regionId, 44);
    EXPECT_EQ(item.subtitleFormat, 3);
}

TEST_F(TestPattern, GetsNoShapes)
{
    Generate({});
    const Bytes before = item.data;
    EXPECT_TEXT(OutputOf([&] { client.AddShapes(item); }), "");
    EXPECT_EQ(item.data, before);
}

}  // namespace
