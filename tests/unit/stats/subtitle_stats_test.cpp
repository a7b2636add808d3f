#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/stats/sized_record.h"

#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Counts = std::vector<unsigned int>;

const Counts none{0, 0, 0, 0};

class RegionCounters : public testing::Test {
protected:
    /// \return the printed text
    std::string Count(unsigned int format, unsigned int size)
    {
        SizedRecord record(1, format, size);
        return OutputOf([&] { stats.AddRegionData(record); });
    }

    void ExpectAll(const Counts& msgs, const Counts& bytes) const
    {
        EXPECT_EQ(stats.msgs, msgs);
        EXPECT_EQ(stats.bytes, bytes);
        EXPECT_EQ(stats.extraCountsA, none);
        EXPECT_EQ(stats.extraCountsB, none);
    }

    SubtitleStats::RegionStats stats;
};

TEST_F(RegionCounters, StartWithFourZerosEachAndInvisible)
{
    ExpectAll(none, none);
    EXPECT_FALSE(stats.visible);
}

TEST_F(RegionCounters, CountMessagesAndBytesByFormat)
{
    Count(0, 100);
    Count(1, 20);
    Count(1, 30);
    Count(2, 7);
    EXPECT_TEXT(Count(3, 12), "");
    ExpectAll({1, 2, 1, 1}, {100, 50, 7, 12});
}

TEST_F(RegionCounters, CountTheEncodedSizeAndNotThePixels)
{
    RegionDataItem record;
    record.data.resize(30720);
    stats.AddRegionData(record);
    EXPECT_EQ(stats.bytes, (Counts{record.EncodedSize(), 0, 0, 0}));
    EXPECT_GT(record.EncodedSize(), 30720u);
}

TEST_F(RegionCounters, ReportFormatsFromFourOnAsARawByte)
{
    EXPECT_TEXT(Count(4, 12), "AddRegionData: subtitleFormat out of range: \x04\n");
    EXPECT_TEXT(Count(65, 12), "AddRegionData: subtitleFormat out of range: A\n");
    EXPECT_TEXT(Count(255, 12), "AddRegionData: subtitleFormat out of range: \xFF\n");
    ExpectAll(none, none);
}

TEST_F(RegionCounters, WrapSilentlyAt32Bits)
{
    stats.msgs[2] = 4294967295u;
    Count(2, 4294967295u);
    EXPECT_TEXT(Count(2, 11), "");
    ExpectAll({0, 0, 1, 0}, {0, 0, 10, 0});
}

TEST_F(RegionCounters, AreClearedExceptForVisible)
{
    stats.bytes = stats.extraCountsA = stats.extraCountsB = {1, 2, 3, 4, 5};
    stats.msgs = {1};
    stats.visible = true;
    stats.Clear();
    ExpectAll(none, none);
    EXPECT_TRUE(stats.visible);
}

TEST_F(RegionCounters, AreClearedInPlace)
{
    const unsigned int* msgs = stats.msgs.data();
    const unsigned int* bytes = stats.bytes.data();
    stats.Clear();
    EXPECT_EQ(stats.msgs.data(), msgs);
    EXPECT_EQ(stats.bytes.data(), bytes);
}

TEST_F(RegionCounters, AddUpAllFourArraysAndKeepVisible)
{
    SubtitleStats::RegionStats other;
    stats.msgs = {1, 2, 3, 4294967295u};
    other.msgs = {10, 20, 30, 2};
    other.bytes = {5, 6, 7, 8};
    other.extraCountsA = {1, 0, 0, 9};
    other.extraCountsB = {0, 2, 0, 4};
    other.visible = true;
    stats.Add(other);
    stats.Add(other);
    EXPECT_EQ(stats.msgs, (Counts{21, 42, 63, 3}));
    EXPECT_EQ(stats.bytes, (Counts{10, 12, 14, 16}));
    EXPECT_EQ(stats.extraCountsA, (Counts{2, 0, 0, 18}));
    EXPECT_EQ(stats.extraCountsB, (Counts{0, 4, 0, 8}));
    EXPECT_FALSE(stats.visible);
}

TEST_F(RegionCounters, IgnoreVisibilityAndDisplayNothing)
{
    RegionVisItem item;
    item.visible = true;
    EXPECT_TEXT(OutputOf([&] {
                    stats.AddRegionVis(item);
                    stats.Display();
                }),
                "");
    EXPECT_FALSE(stats.visible);
    ExpectAll(none, none);
}

class FourteenRegions : public testing::Test {
protected:
    /// The text that the statistics print while they count a record of this region.
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

TEST_F(FourteenRegions, CountOrReportEveryPairOfRegionAndFormat)
{
    for (unsigned int region = 0; region < 256; ++region) {
        for (unsigned int format = 0; format < 256; ++format) {
            const bool isReported = region > 14 || (region > 0 && format > 3);
            ASSERT_EQ(!Count(region, format).empty(), isReported) << region << " " << format;
        }
    }
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

TEST(NoRegions, CountNothing)
{
    SubtitleStats stats(0);
    SizedRecord record(1, 0, 10);
    EXPECT_TEXT(OutputOf([&] { stats.AddRegionData(record); }),
                "AddRegionData: regionId out of range: \x01\n");
}

}  // namespace
