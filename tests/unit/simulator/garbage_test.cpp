#include "simulator/notification.h"

#include "tests/harness/frames.h"

#include <PaletteItem.h>
#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <set>

using namespace platform;
using namespace sim;

namespace {

/// Spoils \p good ten times, twice in each way.
void ExpectRightFramesWithMalformedRecords(const SharedFrame& good, std::size_t ways)
{
    FrameHeader original{};
    DecodeFrameHeader(good->data(), original);
    std::set<std::string> different;
    for (unsigned int i = 0; i < 10; ++i) {
        const SharedFrame spoilt = Spoil(good, i);
        FrameHeader header{};
        ASSERT_EQ(DecodeFrameHeader(spoilt->data(), header), nullptr);
        EXPECT_EQ(header.length, spoilt->size() - frameHeaderSize);
        EXPECT_EQ(header.kind, FrameKind::Notification);
        EXPECT_EQ(header.messageId, original.messageId);
        EXPECT_EQ(header.correlation, original.correlation);
        EXPECT_FALSE(
            IsWellFormed(header.messageId, spoilt->data() + frameHeaderSize, header.length));
        different.insert(BytesOf(spoilt));
    }
    EXPECT_EQ(different.size(), ways);
}

TEST(Garbage, SpoilsABitmapInFiveWays)
{
    RegionDataItem record;
    record.data = {1, 2, 3};
    ExpectRightFramesWithMalformedRecords(EncodeNotification(2, record), 5);
}

/// One byte more would be no frame.
TEST(Garbage, SpoilsTheLargestBitmapByAByteLessWhereOthersGetOneMore)
{
    RegionDataItem record;
    record.data.resize(maxPayload - 6);
    const SharedFrame good = EncodeNotification(2, record);
    for (unsigned int i = 0; i < 5; ++i) {
        const SharedFrame spoilt = Spoil(good, i);
        FrameHeader header{};
        ASSERT_EQ(DecodeFrameHeader(spoilt->data(), header), nullptr);
        EXPECT_EQ(header.length, i < 3 ? maxPayload : maxPayload - 1);
        EXPECT_FALSE(
            IsWellFormed(header.messageId, spoilt->data() + frameHeaderSize, header.length));
    }
}

TEST(Garbage, SpoilsAnEmptyBitmap)
{
    // One less than an empty record's length is the largest length there is: two ways in one.
    ExpectRightFramesWithMalformedRecords(EncodeNotification(2, RegionDataItem()), 4);
}

TEST(Garbage, SpoilsAPalette)
{
    PaletteItem record;
    record.paletteData = {1, 2, 3, 4};
    ExpectRightFramesWithMalformedRecords(EncodeNotification(10, record), 5);
}

TEST(Garbage, SpoilsAVisibilityRecordWhichHasNoLengthInside)
{
    ExpectRightFramesWithMalformedRecords(EncodeNotification(6, RegionVisItem()), 2);
}

TEST(Garbage, LeavesTheGoodFrameAlone)
{
    RegionDataItem record;
    record.data = {1, 2, 3};
    const SharedFrame good = EncodeNotification(2, record);
    for (unsigned int i = 0; i < 5; ++i) {
        Spoil(good, i);
    }
    EXPECT_EQ(BytesOf(good), NotificationBytes(2, 15129, RegionDataRecord(0, 0, "\1\2\3")));
}

}  // namespace
