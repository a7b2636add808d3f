#include <IpcMessage.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include "platform/src/wire_format.h"
#include "tests/harness/RawPeer.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <memory>
#include <random>
#include <string>

using namespace platform;

namespace {

std::string Encoded(const Item& item)
{
    std::string bytes(item.EncodedSize(), '\xEE');
    item.Encode(reinterpret_cast<unsigned char*>(bytes.data()));
    return bytes;
}

/// Decodes from a heap buffer of exactly the right size, so that a sanitizer sees one byte too
/// much.
template <typename Record>
Record Decoded(const std::string& bytes)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    Record record;
    record.Decode(exact.get());
    return record;
}

TEST(RegionData, IsEncodedByteForByte)
{
    RegionDataItem item;
    item.regionId = 0x0E;
    item.subtitleFormat = 2;
    item.data = {0x00, 0x03, 0xFF};
    EXPECT_EQ(Encoded(item), Bytes({0x0E, 0x02, 0, 0, 0, 3, 0x00, 0x03, 0xFF}));
    EXPECT_EQ(item.EncodedSize(), 9u);
}

TEST(RegionData, IsDecodedIntoEveryField)
{
    auto item = Decoded<RegionDataItem>(Bytes({0xFE, 0x41, 0, 0, 0, 2, 7, 8}));
    EXPECT_EQ(item.regionId, 0xFE);
    EXPECT_EQ(item.subtitleFormat, 0x41);
    EXPECT_EQ(item.data, (std::vector<unsigned char>{7, 8}));
}

TEST(RegionData, MayBeEmpty)
{
    auto item = Decoded<RegionDataItem>(Bytes({1, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(item.data.empty());
    EXPECT_EQ(item.EncodedSize(), 6u);
}

TEST(RegionData, IsReplacedByASecondDecoding)
{
    RegionDataItem item;
    std::string first = Bytes({1, 0, 0, 0, 0, 3, 1, 2, 3});
    std::string second = Bytes({2, 1, 0, 0, 0, 1, 9});
    item.Decode(reinterpret_cast<unsigned char*>(first.data()));
    item.Decode(reinterpret_cast<unsigned char*>(second.data()));
    EXPECT_EQ(item.regionId, 2);
    EXPECT_EQ(item.data, (std::vector<unsigned char>{9}));
}

TEST(Visibility, IsEncodedByteForByte)
{
    RegionVisItem item;
    item.regionId = 3;
    item.visible = true;
    EXPECT_EQ(Encoded(item), Bytes({3, 1}));
    item.visible = false;
    EXPECT_EQ(Encoded(item), Bytes({3, 0}));
}

TEST(Visibility, TakesEveryByteButZeroAsShown)
{
    for (unsigned int byte = 0; byte <= 255; ++byte) {
        EXPECT_EQ(static_cast<bool>(Decoded<RegionVisItem>(Bytes({1, byte})).visible), byte != 0);
    }
}

TEST(Palette, IsEncodedByteForByte)
{
    PaletteItem item;
    item.regionId = 2;
    item.backgroundCode = 31;
    item.fill = true;
    item.paletteData = {0x10, 0xFF};
    EXPECT_EQ(Encoded(item), Bytes({2, 31, 1, 0, 0, 0, 2, 0x10, 0xFF}));
    EXPECT_EQ(item.EncodedSize(), 9u);
}

TEST(Palette, TakesEveryByteButZeroAsFilled)
{
    EXPECT_FALSE(Decoded<PaletteItem>(Bytes({1, 2, 0, 0, 0, 0, 0})).fill);
    EXPECT_TRUE(Decoded<PaletteItem>(Bytes({1, 2, 1, 0, 0, 0, 0})).fill);
    EXPECT_TRUE(Decoded<PaletteItem>(Bytes({1, 2, 0x80, 0, 0, 0, 0})).fill);
}

TEST(EveryRecord, IsTheSameBytesAfterDecodingAndEncoding)
{
    std::mt19937 random(20240607);
    for (int round = 0; round < 5000; ++round) {
        const auto byte = [&random] { return static_cast<unsigned int>(random() % 256); };
        const unsigned int size = static_cast<unsigned int>(random() % 600);
        std::string data;
        for (unsigned int i = 0; i < size; ++i) {
            data += static_cast<char>(byte());
        }
        const std::string region = Bytes({byte(), byte()}) + U32(size) + data;
        ASSERT_EQ(Encoded(Decoded<RegionDataItem>(region)), region);
        const std::string palette = Bytes({byte(), byte(), byte() % 2}) + U32(size) + data;
        ASSERT_EQ(Encoded(Decoded<PaletteItem>(palette)), palette);
    }
}

TEST(ARecordOf4GiB, SaysTheLargestSizeInsteadOfAWrappedOne)
{
    constexpr unsigned int largest = 0xFFFFFFFFu;
    EXPECT_EQ(RecordSize(6, largest - 7), largest - 1);
    EXPECT_EQ(RecordSize(6, largest - 6), largest);
    EXPECT_EQ(RecordSize(6, largest - 5), largest);
    EXPECT_EQ(RecordSize(7, std::numeric_limits<std::size_t>::max()), largest);
}

TEST(AMessage, CarriesACopyOfItsPayload)
{
    char payload[] = {1, 2, 3};
    IpcMessage message;
    ASSERT_EQ(message.Allocate(7, 3, payload), 0);
    payload[0] = 9;
    EXPECT_EQ(message.Payload()[0], 1);
    EXPECT_EQ(message.Payload()[2], 3);
}

TEST(AMessage, MayBeEmptyWithAPlaceToCopyFrom)
{
    char untouched = 1;
    IpcMessage message;
    ASSERT_EQ(message.Allocate(7, 1, nullptr), 0);
    message.Payload()[0] = 5;
    ASSERT_EQ(message.Allocate(8, 0, &untouched), 0);
    EXPECT_EQ(message.Payload()[0], 5);
}

TEST(AMessage, MayBeAllocatedAgainAndAgain)
{
    IpcMessage message;
    ASSERT_EQ(message.Allocate(7, 100, nullptr), 0);
    std::fill_n(message.Payload(), 100, static_cast<unsigned char>(1));
    ASSERT_EQ(message.Allocate(8, 0, nullptr), 0);
    ASSERT_EQ(message.Allocate(9, 5000, nullptr), 0);
    std::fill_n(message.Payload(), 5000, static_cast<unsigned char>(1));
}

TEST(AMessage, IsRefusedAboveSixteenMebibytes)
{
    IpcMessage message;
    EXPECT_EQ(message.Allocate(7, 16u * 1024 * 1024, nullptr), 0);
    EXPECT_EQ(message.Allocate(7, 16u * 1024 * 1024 + 1, nullptr), EMSGSIZE);
    EXPECT_EQ(message.Allocate(7, 0xFFFFFFFFu, nullptr), EMSGSIZE);
}

}  // namespace
