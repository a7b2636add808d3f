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

class AReceivedMessage : public testing::Test {
protected:
    void Receive(unsigned int messageId, std::string payload)
    {
        ASSERT_EQ(endpoint.ReceivedMessage().Allocate(
                      messageId, static_cast<unsigned int>(payload.size()), payload.data()),
                  0);
    }

    LinxIpc endpoint{"test"};
};

TEST_F(AReceivedMessage, FillsRegionData)
{
    Receive(0x3B19, std::string("\x0E\x02\x00\x00\x00\x03\x00\x01\xFF", 9));
    RegionDataItem item;
    DecodeReceived(endpoint, item);
    EXPECT_EQ(item.regionId, 14);
    EXPECT_EQ(item.subtitleFormat, subtitle_formats::cif);
    EXPECT_EQ(item.data, (std::vector<unsigned char>{0, 1, 255}));
}

TEST_F(AReceivedMessage, FillsRegionDataWithoutPixels)
{
    Receive(0x3B19, std::string("\x01\x00\x00\x00\x00\x00", 6));
    RegionDataItem item;
    item.data = {1, 2, 3};
    DecodeReceived(endpoint, item);
    EXPECT_EQ(item.subtitleFormat, subtitle_formats::hd);
    EXPECT_TRUE(item.data.empty());
}

TEST_F(AReceivedMessage, FillsRegionVisibility)
{
    Receive(0x3B1C, "\x05\x01");
    RegionVisItem item;
    DecodeReceived(endpoint, item);
    EXPECT_EQ(item.regionId, 5);
    EXPECT_TRUE(item.visible);
}

TEST_F(AReceivedMessage, FillsAPalette)
{
    Receive(0x3B1D, std::string("\x02\x1F\x01\x00\x00\x00\x02\x10\xFE", 9));
    PaletteItem item;
    DecodeReceived(endpoint, item);
    EXPECT_EQ(item.regionId, 2);
    EXPECT_EQ(item.backgroundCode, 0x1F);
    EXPECT_TRUE(item.fill);
    EXPECT_EQ(item.paletteData, (std::vector<unsigned char>{0x10, 0xFE}));
}

TEST_F(AReceivedMessage, IsReplacedByTheNextOne)
{
    Receive(0x3B1C, "\x05\x01");
    Receive(0x3B1C, std::string("\x06\x00", 2));
    RegionVisItem item;
    DecodeReceived(endpoint, item);
    EXPECT_EQ(item.regionId, 6);
    EXPECT_FALSE(item.visible);
}

TEST(SubtitleFormats, AreTheServicesNumbers)
{
    EXPECT_EQ(subtitle_formats::hd, 0);
    EXPECT_EQ(subtitle_formats::sd, 1);
    EXPECT_EQ(subtitle_formats::cif, 2);
    EXPECT_EQ(subtitle_formats::counted, 4u);
}

}  // namespace
