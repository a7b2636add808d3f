#include "records/received_record.h"
#include "records/subtitle_formats.h"

#include <LinxIpc.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

class ReceivedMessage : public testing::Test {
protected:
    template <typename Record>
    void Receive(std::string payload, Record& record)
    {
        const auto size = static_cast<unsigned int>(payload.size());
        ASSERT_EQ(endpoint.ReceivedMessage().Allocate(1, size, payload.data()), 0);
        DecodeReceived(endpoint, record);
    }

    LinxIpc endpoint{"test"};
};

TEST_F(ReceivedMessage, FillsRegionData)
{
    RegionDataItem item;
    Receive(std::string("\x0E\x02\x00\x00\x00\x03\x00\x01\xFF", 9), item);
    EXPECT_EQ(item.regionId, 14);
    EXPECT_EQ(item.subtitleFormat, subtitle_formats::cif);
    EXPECT_EQ(item.data, (Bytes{0, 1, 255}));
    Receive(std::string("\x01\x00\x00\x00\x00\x00", 6), item);
    EXPECT_EQ(item.subtitleFormat, subtitle_formats::hd);
    EXPECT_EQ(item.data, Bytes{});
}

TEST_F(ReceivedMessage, FillsRegionVisibility)
{
    RegionVisItem item;
    Receive("\x05\x01", item);
    EXPECT_EQ(item.regionId, 5);
    EXPECT_TRUE(item.visible);
    Receive(std::string("\x06\x00", 2), item);
    EXPECT_EQ(item.regionId, 6);
    EXPECT_FALSE(item.visible);
}

TEST_F(ReceivedMessage, FillsAPalette)
{
    PaletteItem item;
    Receive(std::string("\x02\x1F\x01\x00\x00\x00\x02\x10\xFE", 9), item);
    EXPECT_EQ(item.regionId, 2);
    EXPECT_EQ(item.backgroundCode, 0x1F);
    EXPECT_TRUE(item.fill);
    EXPECT_EQ(item.paletteData, (Bytes{0x10, 0xFE}));
}

TEST(SubtitleFormats, AreTheServicesNumbers)
{
    EXPECT_EQ(subtitle_formats::hd, 0);
    EXPECT_EQ(subtitle_formats::sd, 1);
    EXPECT_EQ(subtitle_formats::cif, 2);
    EXPECT_EQ(subtitle_formats::counted, 4u);
}

}  // namespace
