#include "stats/SubtitleStats.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <RegionDataItem.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Counts = std::vector<unsigned int>;

/// A region-data record of any encoded size, even larger than a message may be.
class SizedRecord : public RegionDataItem {
public:
    SizedRecord(unsigned int region, unsigned int format, unsigned int encodedSize)
        : size(encodedSize)
    {
        regionId = static_cast<unsigned char>(region);
        subtitleFormat = static_cast<unsigned char>(format);
    }

    unsigned int EncodedSize() const override { return size; }

private:
    unsigned int size;
};

class RegionCounters : public testing::Test {
protected:
    void ExpectOnlyZeros() const
    {
        for (const Counts* counts :
             {&stats.msgs, &stats.bytes, &stats.extraCountsA, &stats.extraCountsB}) {
            EXPECT_EQ(*counts, Counts(4));
        }
    }

    /// \return the printed text
    std::string Count(unsigned int format, unsigned int size)
    {
        SizedRecord record(1, format, size);
        return OutputOf([&] { stats.AddRegionData(record); });
    }

    SubtitleStats::RegionStats stats;
};

TEST_F(RegionCounters, StartWithFourZerosEachAndInvisible)
{
    ExpectOnlyZeros();
    EXPECT_FALSE(stats.visible);
}

// The report does not show it.
TEST_F(RegionCounters, CountTheFourthFormat)
{
    EXPECT_EQ(Count(3, 12), "");
    EXPECT_EQ(stats.msgs, (Counts{0, 0, 0, 1}));
    EXPECT_EQ(stats.bytes, (Counts{0, 0, 0, 12}));
}

TEST_F(RegionCounters, WrapSilentlyAt32Bits)
{
    stats.msgs[2] = 4294967295u;
    Count(2, 4294967295u);
    EXPECT_EQ(Count(2, 11), "");
    EXPECT_EQ(stats.msgs, (Counts{0, 0, 1, 0}));
    EXPECT_EQ(stats.bytes, (Counts{0, 0, 10, 0}));
}

TEST_F(RegionCounters, AreClearedInPlaceExceptForVisible)
{
    stats.extraCountsA = stats.extraCountsB = {1, 2, 3, 4, 5};
    stats.msgs = {1, 2, 3, 4};
    stats.bytes = {1, 2, 3, 4};
    stats.visible = true;
    const unsigned int* msgs = stats.msgs.data();
    const unsigned int* bytes = stats.bytes.data();
    stats.Clear();
    ExpectOnlyZeros();
    EXPECT_TRUE(stats.visible);
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

TEST(FourteenRegions, CountOrReportEveryPairOfRegionAndFormat)
{
    SubtitleStats stats(14);
    std::string expected;
    const std::string printed = OutputOf([&] {
        for (unsigned int pair = 0; pair < 0x10000; ++pair) {
            SizedRecord record(pair >> 8, pair & 0xFF, 10);
            stats.AddRegionData(record);
            if (record.regionId > 14) {
                expected += "AddRegionData: regionId out of range: ";
                expected += {static_cast<char>(record.regionId), '\n'};
            } else if (record.regionId > 0 && record.subtitleFormat > 3) {
                expected += "AddRegionData: subtitleFormat out of range: ";
                expected += {static_cast<char>(record.subtitleFormat), '\n'};
            }
        }
    });
    EXPECT_TEXT(printed, expected);
}

/// The rows of a report of two regions, after these messages.
std::string RowsAfter(std::vector<SizedRecord> records)
{
    SubtitleStats stats(2);
    for (SizedRecord& record : records) {
        stats.AddRegionData(record);
    }
    const std::string report = OutputOf([&] { stats.Display(); });
    return report.substr(report.find("   1   F"));
}

TEST(Report, HasOnlyHeadingsWithoutRegions)
{
    std::string report = OutputOf([] { SubtitleStats(2).Display(); });
    report.erase(report.find("   1   F"), 2 * 100);  // a row has 99 characters and its line end
    EXPECT_TEXT(OutputOf([] { SubtitleStats(0).Display(); }), report);
}

TEST(Report, WrapsSumsAt32BitsBeforeTheyAreShared)
{
    // The region's bytes wrap: 4294967295 + 5 gives 4. All bytes: 4 + 16 = 20.
    EXPECT_TEXT(RowsAfter({{1, 0, 4294967295u}, {1, 1, 5}, {2, 0, 16}}),
                "   1   F        1 +      1 +      0 =      2   4294967295 +        5 +        0 = "
                "       4     20.0 %\n"
                "   2   F        1 +      0 +      0 =      1         16 +        0 +        0 = "
                "      16     80.0 %\n\n\n");
}

TEST(Report, DistinguishesNoTrafficFromAWrapToZero)
{
    // The sum of all bytes wraps: 1 + 4294967295 gives 0. A share of 0 bytes is infinite.
    EXPECT_TEXT(RowsAfter({{1, 0, 1}, {2, 2, 4294967295u}}),
                "   1   F        1 +      0 +      0 =      1          1 +        0 +        0 = "
                "       1      inf %\n"
                "   2   F        0 +      0 +      1 =      1          0 +        0 + 4294967295 = "
                "4294967295      inf %\n\n\n");
}

}  // namespace
