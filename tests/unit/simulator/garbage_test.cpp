#include "simulator/service/notification.h"

#include "tests/harness/frames.h"

#include <PaletteItem.h>
#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <set>

namespace {

class Garbage : public testing::Test {
protected:
    /// A copy of \p good with one change: the frame is well-formed, its record is malformed.
    static SharedFrame Spoil(const SharedFrame& good, unsigned int way)
    {
        const SharedFrame spoilt = sim::Spoil(good, way);
        FrameHeader original{};
        FrameHeader header{};
        DecodeFrameHeader(good->data(), original);
        EXPECT_EQ(DecodeFrameHeader(spoilt->data(), header), nullptr);
        EXPECT_EQ(header.length, spoilt->size() - frameHeaderSize);
        EXPECT_EQ(header.kind, FrameKind::Notification);
        EXPECT_EQ(header.messageId, original.messageId);
        EXPECT_EQ(header.correlation, original.correlation);
        EXPECT_FALSE(
            IsWellFormed(header.messageId, spoilt->data() + frameHeaderSize, header.length));
        return spoilt;
    }

    static std::size_t WaysToSpoil(const SharedFrame& good)
    {
        std::set<std::string> different;
        for (unsigned int i = 0; i < 10; ++i) {
            different.insert(BytesOf(Spoil(good, i)));
        }
        return different.size();
    }
};

TEST_F(Garbage, SpoilsEachRecordInEveryWay)
{
    RegionDataItem bitmap;
    bitmap.data = {1, 2, 3};
    PaletteItem palette;
    palette.paletteData = {1, 2, 3, 4};
    EXPECT_EQ(WaysToSpoil(EncodeNotification(2, bitmap)), 5u);
    EXPECT_EQ(WaysToSpoil(EncodeNotification(10, palette)), 5u);
    // For an empty record, length - 1 is the largest length, so two of the ways are the same.
    EXPECT_EQ(WaysToSpoil(EncodeNotification(2, RegionDataItem())), 4u);
    // This record has no inner length.
    EXPECT_EQ(WaysToSpoil(EncodeNotification(6, RegionVisItem())), 2u);
}

/// One byte more would exceed the largest frame.
TEST_F(Garbage, ShortensABitmapThatCannotBeLonger)
{
    RegionDataItem record;
    record.data.resize(maxPayload - 6);
    const SharedFrame good = EncodeNotification(2, record);
    for (unsigned int i = 0; i < 5; ++i) {
        EXPECT_EQ(Spoil(good, i)->size(), good->size() - (i < 3 ? 0 : 1));
    }
}

}  // namespace
