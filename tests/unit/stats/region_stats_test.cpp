#include "stats/SubtitleStats.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/stats/sized_record.h"

#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using RegionStats = SubtitleStats::RegionStats;
using Counts = std::vector<unsigned int>;

const Counts allZero{0, 0, 0, 0};

void Add(RegionStats& stats, unsigned int format, unsigned int size)
{
    SizedRecord record(1, format, size);
    stats.AddRegionData(record);
}

TEST(RegionCounters, StartWithFourZerosEachAndInvisible)
{
    const RegionStats stats;
    EXPECT_EQ(stats.msgs, allZero);
    EXPECT_EQ(stats.bytes, allZero);
    EXPECT_EQ(stats.extraCountsA, allZero);
    EXPECT_EQ(stats.extraCountsB, allZero);
    EXPECT_FALSE(stats.visible);
}

TEST(RegionCounters, CountMessagesAndBytesByFormat)
{
    RegionStats stats;
    Add(stats, 0, 100);
    Add(stats, 1, 20);
    Add(stats, 1, 30);
    Add(stats, 2, 7);
    EXPECT_EQ(stats.msgs, (Counts{1, 2, 1, 0}));
    EXPECT_EQ(stats.bytes, (Counts{100, 50, 7, 0}));
    EXPECT_EQ(stats.extraCountsA, allZero);
    EXPECT_EQ(stats.extraCountsB, allZero);
}

TEST(RegionCounters, CountTheEncodedSizeAndNotThePixels)
{
    RegionStats stats;
    RegionDataItem record;
    record.data.resize(30720);
    stats.AddRegionData(record);
    EXPECT_EQ(stats.bytes, (Counts{record.EncodedSize(), 0, 0, 0}));
    EXPECT_GT(record.EncodedSize(), 30720u);
}

TEST(RegionCounters, AcceptFormatThreeWithoutAWord)
{
    RegionStats stats;
    EXPECT_TEXT(OutputOf([&] { Add(stats, 3, 12); }), "");
    EXPECT_EQ(stats.msgs, (Counts{0, 0, 0, 1}));
    EXPECT_EQ(stats.bytes, (Counts{0, 0, 0, 12}));
}

TEST(RegionCounters, ReportFormatsFromFourOnAsARawByte)
{
    RegionStats stats;
    EXPECT_TEXT(OutputOf([&] { Add(stats, 4, 12); }),
                "AddRegionData: subtitleFormat out of range: \x04\n");
    EXPECT_TEXT(OutputOf([&] { Add(stats, 65, 12); }),
                "AddRegionData: subtitleFormat out of range: A\n");
    EXPECT_TEXT(OutputOf([&] { Add(stats, 255, 12); }),
                "AddRegionData: subtitleFormat out of range: \xFF\n");
    EXPECT_EQ(stats.msgs, allZero);
    EXPECT_EQ(stats.bytes, allZero);
}

TEST(RegionCounters, WrapAt32BitsWithoutAWord)
{
    RegionStats stats;
    stats.msgs[2] = 4294967295u;
    Add(stats, 2, 4294967295u);
    EXPECT_TEXT(OutputOf([&] { Add(stats, 2, 11); }), "");
    EXPECT_EQ(stats.msgs, (Counts{0, 0, 1, 0}));
    EXPECT_EQ(stats.bytes, (Counts{0, 0, 10, 0}));
}

TEST(RegionCounters, AreClearedExceptForVisible)
{
    RegionStats stats;
    stats.msgs = stats.bytes = stats.extraCountsA = stats.extraCountsB = {1, 2, 3, 4};
    stats.visible = true;
    stats.Clear();
    EXPECT_EQ(stats.msgs, allZero);
    EXPECT_EQ(stats.bytes, allZero);
    EXPECT_EQ(stats.extraCountsA, allZero);
    EXPECT_EQ(stats.extraCountsB, allZero);
    EXPECT_TRUE(stats.visible);
}

TEST(RegionCounters, AreClearedInTheStorageTheyHave)
{
    RegionStats stats;
    const unsigned int* msgs = stats.msgs.data();
    const unsigned int* bytes = stats.bytes.data();
    stats.Clear();
    EXPECT_EQ(stats.msgs.data(), msgs);
    EXPECT_EQ(stats.bytes.data(), bytes);
}

TEST(RegionCounters, AreClearedToExactlyFourPlaces)
{
    RegionStats stats;
    stats.msgs = {1};
    stats.bytes = {1, 2, 3, 4, 5};
    stats.Clear();
    EXPECT_EQ(stats.msgs, allZero);
    EXPECT_EQ(stats.bytes, allZero);
}

TEST(RegionCounters, AddUpAllFourArraysAndLeaveVisibleAlone)
{
    RegionStats sum;
    RegionStats other;
    sum.msgs = {1, 2, 3, 4294967295u};
    other.msgs = {10, 20, 30, 2};
    other.bytes = {5, 6, 7, 8};
    other.extraCountsA = {1, 0, 0, 9};
    other.extraCountsB = {0, 2, 0, 4};
    other.visible = true;
    sum.Add(other);
    sum.Add(other);
    EXPECT_EQ(sum.msgs, (Counts{21, 42, 63, 3}));
    EXPECT_EQ(sum.bytes, (Counts{10, 12, 14, 16}));
    EXPECT_EQ(sum.extraCountsA, (Counts{2, 0, 0, 18}));
    EXPECT_EQ(sum.extraCountsB, (Counts{0, 4, 0, 8}));
    EXPECT_FALSE(sum.visible);
}

TEST(RegionCounters, TakeNoNoteOfVisibilityAndDisplayNothing)
{
    RegionStats stats;
    RegionVisItem item;
    item.visible = true;
    EXPECT_TEXT(OutputOf([&] {
                    stats.AddRegionVis(item);
                    stats.Display();
                }),
                "");
    EXPECT_FALSE(stats.visible);
    EXPECT_EQ(stats.msgs, allZero);
}

}  // namespace
