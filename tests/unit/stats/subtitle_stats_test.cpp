#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/stats/sized_record.h"

#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <string>

namespace {

class FourteenRegions : public testing::Test {
protected:
    /// What the statistics print while they count a record of this region.
    std::string Count(unsigned int region, unsigned int format = 0)
    {
        SizedRecord record(region, format, 10);
        return OutputOf([&] { stats.AddRegionData(record); });
    }

    std::string SeeVisibility(unsigned int region, bool visible)
    {
        RegionVisItem item;
        item.regionId = static_cast<unsigned char>(region);
        item.visible = visible;
        return OutputOf([&] { stats.AddRegionVis(item); });
    }

    std::string Report() const
    {
        return OutputOf([this] { stats.Display(); });
    }

    SubtitleStats stats{14};
};

TEST_F(FourteenRegions, CountTheFirstAndTheLast)
{
    const std::string row = "   F        1 +      0 +      0 =      1         10 +        0 +     "
                            "   0 =       10     50.0 %";
    EXPECT_TEXT(Count(1), "");
    EXPECT_TEXT(Count(14), "");
    EXPECT_TEXT(Report(), RegionReport({{1, "   1" + row}, {14, "  14" + row}}, "  0.0"));
}

TEST_F(FourteenRegions, ReportNumbersAboveAsARawByte)
{
    EXPECT_TEXT(Count(15), "AddRegionData: regionId out of range: \x0F\n");
    EXPECT_TEXT(Count(65), "AddRegionData: regionId out of range: A\n");
    EXPECT_TEXT(Count(255), "AddRegionData: regionId out of range: \xFF\n");
    EXPECT_TEXT(SeeVisibility(15, true), "AddRegionVis: regionId out of range: \x0F\n");
    EXPECT_TEXT(SeeVisibility(97, false), "AddRegionVis: regionId out of range: a\n");
    EXPECT_TEXT(Report(), EmptyRegionReport());
}

TEST_F(FourteenRegions, CheckTheRegionBeforeTheFormat)
{
    EXPECT_TEXT(Count(15, 4), "AddRegionData: regionId out of range: \x0F\n");
    EXPECT_TEXT(Count(14, 4), "AddRegionData: subtitleFormat out of range: \x04\n");
}

TEST_F(FourteenRegions, DropRegionZeroSilently)
{
    EXPECT_TEXT(Count(0), "");
    EXPECT_TEXT(Count(0, 9), "");
    EXPECT_TEXT(SeeVisibility(0, true), "");
    EXPECT_TEXT(Report(), EmptyRegionReport());
}

TEST_F(FourteenRegions, NeverShowVisibility)
{
    for (unsigned int region = 1; region <= 14; ++region) {
        EXPECT_TEXT(SeeVisibility(region, true), "");
    }
    EXPECT_TEXT(Report(), EmptyRegionReport());
}

TEST_F(FourteenRegions, ShowOnlyZerosAfterAClear)
{
    for (unsigned int region = 1; region <= 14; ++region) {
        for (unsigned int format = 0; format < 4; ++format) {
            Count(region, format);
        }
    }
    stats.Clear();
    EXPECT_TEXT(Report(), EmptyRegionReport());
}

TEST(NoRegions, TakeNothing)
{
    SubtitleStats stats(0);
    SizedRecord record(1, 0, 10);
    EXPECT_TEXT(OutputOf([&] { stats.AddRegionData(record); }),
                "AddRegionData: regionId out of range: \x01\n");
}

}  // namespace
