// The console's sessions check patterns of other sizes; their record always has the right size.

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

class TestPattern : public testing::Test {
protected:
    /// Generates into `item`. \return the printed text
    std::string Generate(unsigned char start, unsigned int width, unsigned int height)
    {
        return OutputOf([&] { client.GenerateTestPattern(item, start, 8, width, height); });
    }

    SubtitleMgrCli client;
    RegionDataItem item;
};

TEST_F(TestPattern, CutsOrExtendsTheRecord)
{
    for (const std::size_t size : {40000u, 100u}) {
        item.data.assign(size, 0xEE);
        Bytes expected = item.data;
        expected.resize(30720, 0);
        EXPECT_TEXT(Generate(1, 641, 12),
                    "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n");
        EXPECT_EQ(item.data, expected);
    }
}

TEST_F(TestPattern, PaintsASegmentUpToTheSizeOfTheRegion)
{
    EXPECT_TEXT(Generate(7, 640, 48),
                "Generating test pattern: 1 rows by 1 columns,  1 colors\n\n  0\n\n");
    EXPECT_EQ(item.data, Bytes(30720, 7));
    EXPECT_TEXT(Generate(9, 640, 49),
                "Generating test pattern: 0 rows by 1 columns,  0 colors\n\n\n\n");
    EXPECT_EQ(item.data, Bytes(30720, 7));
}

}  // namespace
