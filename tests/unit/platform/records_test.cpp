#include <IpcMessage.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include "platform/src/wire_format.h"
#include "tests/harness/RawPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <random>
#include <string>

namespace {

std::string Encoded(const Item& item)
{
    std::string bytes(item.EncodedSize(), '\xEE');
    item.Encode(reinterpret_cast<unsigned char*>(bytes.data()));
    return bytes;
}

/// Decodes from a heap buffer of exactly the right size, so that a sanitizer reports a read of one
/// byte too many.
void Decode(const std::string& bytes, Item& record)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    record.Decode(exact.get());
}

template <typename Record>
Record Decoded(const std::string& bytes)
{
    Record record;
    Decode(bytes, record);
    return record;
}

TEST(RegionData, IsEncodedByteForByte)
{
    RegionDataItem item;
    item.regionId = 0x0E;
    item.subtitleFormat = 2;
    item.data = {0x00, 0x03, 0xFF};
    EXPECT_EQ(Encoded(item), Bytes({0x0E, 0x02, 0, 0, 0, 3, 0x00, 0x03, 0xFF}));
}

TEST(RegionData, IsReplacedByASecondDecoding)
{
    auto item = Decoded<RegionDataItem>(Bytes({1, 0, 0, 0, 0, 3, 1, 2, 3}));
    Decode(Bytes({0xFE, 0x41, 0, 0, 0, 2, 7, 8}), item);
    EXPECT_EQ(item.regionId, 0xFE);
    EXPECT_EQ(item.subtitleFormat, 0x41);
    EXPECT_EQ(item.data, (std::vector<unsigned char>{7, 8}));
    Decode(Bytes({1, 0, 0, 0, 0, 0}), item);
    EXPECT_TRUE(item.data.empty());
    EXPECT_EQ(item.EncodedSize(), 6u);
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

TEST(Palette, IsEncodedByteForByte)
{
    PaletteItem item;
    item.regionId = 2;
    item.backgroundCode = 31;
    item.fill = true;
    item.paletteData = {0x10, 0xFF};
    EXPECT_EQ(Encoded(item), Bytes({2, 31, 1, 0, 0, 0, 2, 0x10, 0xFF}));
}

TEST(EveryRecord, DecodesEveryNonzeroByteAsTrue)
{
    for (unsigned int byte = 0; byte <= 255; ++byte) {
        EXPECT_EQ(static_cast<bool>(Decoded<RegionVisItem>(Bytes({1, byte})).visible), byte != 0);
        EXPECT_EQ(Decoded<PaletteItem>(Bytes({1, 2, byte, 0, 0, 0, 0})).fill, byte != 0);
    }
}

TEST(EveryRecord, HasTheSameBytesAfterDecodingAndEncoding)
{
    std::mt19937 random(20240607);
    const auto byte = [&random] { return static_cast<unsigned int>(random() % 256); };
    for (int round = 0; round < 500; ++round) {
        std::string data(random() % 600, '\0');
        std::generate(data.begin(), data.end(), [&] { return static_cast<char>(byte()); });
        const std::string counted = U32(static_cast<unsigned int>(data.size())) + data;
        const std::string region = Bytes({byte(), byte()}) + counted;
        ASSERT_EQ(Encoded(Decoded<RegionDataItem>(region)), region);
        const std::string palette = Bytes({byte(), byte(), byte() % 2}) + counted;
        ASSERT_EQ(Encoded(Decoded<PaletteItem>(palette)), palette);
        const std::string visibility = Bytes({byte(), byte() % 2});
        ASSERT_EQ(Encoded(Decoded<RegionVisItem>(visibility)), visibility);
    }
}

TEST(RecordSize, StopsAtTheLargestNumberInsteadOfWrapping)
{
    constexpr unsigned int largest = 0xFFFFFFFFu;
    EXPECT_EQ(RecordSize(6, largest - 7), largest - 1);
    EXPECT_EQ(RecordSize(6, largest - 6), largest);
    EXPECT_EQ(RecordSize(6, largest - 5), largest);
    EXPECT_EQ(RecordSize(7, std::numeric_limits<std::size_t>::max()), largest);
}

TEST(Message, HasACopyOfItsPayload)
{
    char payload[] = {1, 2, 3};
    IpcMessage message;
    ASSERT_EQ(message.Allocate(7, 3, payload), 0);
    payload[0] = 9;
    EXPECT_EQ(message.Payload()[0], 1);
    EXPECT_EQ(message.Payload()[2], 3);
    ASSERT_EQ(message.Allocate(8, 0, payload), 0);
    EXPECT_EQ(message.Payload()[0], 1) << "the payload is not the message's own memory";
}

TEST(Message, IsRefusedAboveSixteenMebibytes)
{
    IpcMessage message;
    EXPECT_EQ(message.Allocate(7, 16u * 1024 * 1024, nullptr), 0);
    EXPECT_EQ(message.Allocate(7, 16u * 1024 * 1024 + 1, nullptr), EMSGSIZE);
    EXPECT_EQ(message.Allocate(7, 0xFFFFFFFFu, nullptr), EMSGSIZE);
}

}  // namespace
