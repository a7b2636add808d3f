#include "platform/src/wire_format.h"

#include "tests/harness/RawPeer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

using namespace platform;

namespace {

std::array<unsigned char, frameHeaderSize> PingHeader()
{
    return {'S', 'T', 1, 1, 0x00, 0x00, 0x3B, 0x01, 0xA1, 0xB2, 0xC3, 0xD4, 0x00, 0x01, 0x02, 0x03};
}

TEST(AFrameHeader, IsTheseSixteenBytes)
{
    std::array<unsigned char, frameHeaderSize> bytes{};
    EncodeFrameHeader({FrameKind::Request, 0x3B01, 0xA1B2C3D4, 0x010203}, bytes.data());
    EXPECT_EQ(bytes, PingHeader());
}

TEST(AFrameHeader, IsReadBack)
{
    FrameHeader header{};
    ASSERT_EQ(DecodeFrameHeader(PingHeader().data(), header), nullptr);
    EXPECT_EQ(header.kind, FrameKind::Request);
    EXPECT_EQ(header.messageId, 0x3B01u);
    EXPECT_EQ(header.correlation, 0xA1B2C3D4u);
    EXPECT_EQ(header.length, 0x010203u);
}

struct BadHeader {
    std::size_t offset;
    unsigned char value;
    const char* problem;
};

class ABadFrameHeader : public testing::TestWithParam<BadHeader> {};

TEST_P(ABadFrameHeader, IsRefusedWithItsReason)
{
    auto bytes = PingHeader();
    bytes[GetParam().offset] = GetParam().value;
    FrameHeader header{};
    EXPECT_STREQ(DecodeFrameHeader(bytes.data(), header), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, ABadFrameHeader,
    testing::Values(BadHeader{0, 's', "not a frame"}, BadHeader{1, 0, "not a frame"},
                    BadHeader{2, 0, "a frame of another version"},
                    BadHeader{2, 2, "a frame of another version"},
                    BadHeader{3, 0, "a frame of an unknown kind"},
                    BadHeader{3, 5, "a frame of an unknown kind"},
                    BadHeader{3, 0x81, "a frame of an unknown kind"},
                    BadHeader{12, 1, "a frame that claims more than 16 MiB"},
                    BadHeader{12, 0x7F, "a frame that claims more than 16 MiB"},
                    BadHeader{12, 0x80, "a frame that claims more than 16 MiB"},
                    BadHeader{12, 0xFF, "a frame that claims more than 16 MiB"}));

TEST(AFrameHeader, MayClaimExactlyTheLargestPayload)
{
    std::array<unsigned char, frameHeaderSize> bytes{};
    FrameHeader header{};
    EncodeFrameHeader({FrameKind::Reply, 1, 1, 16u * 1024 * 1024}, bytes.data());
    EXPECT_EQ(DecodeFrameHeader(bytes.data(), header), nullptr);
    EncodeFrameHeader({FrameKind::Reply, 1, 1, 16u * 1024 * 1024 + 1}, bytes.data());
    EXPECT_NE(DecodeFrameHeader(bytes.data(), header), nullptr);
}

bool Check(unsigned int messageId, const std::string& payload)
{
    std::string copy = payload;
    return IsWellFormed(messageId, reinterpret_cast<unsigned char*>(copy.data()), copy.size());
}

/// For every inner length and every payload size a counted record is sound only where they agree.
void ExpectCounted(unsigned int messageId, std::size_t prefix)
{
    for (std::size_t size = 0; size <= 300; ++size) {
        for (unsigned int inner = 0; inner <= 300; ++inner) {
            std::string payload = std::string(prefix, '\1') + U32(inner) + std::string(300, '\2');
            payload.resize(size);
            ASSERT_EQ(Check(messageId, payload), size == prefix + 4 + inner)
                << "size " << size << ", inner length " << inner;
        }
    }
    for (const unsigned int lie : {0xFFFFFFFFu, 0xFFFFFFFAu, 0x80000000u, 0x01000000u}) {
        ASSERT_FALSE(Check(messageId, std::string(prefix, '\1') + U32(lie) + "xy"));
    }
}

TEST(ARegionDataRecord, IsSoundOnlyWhenItsLengthIsTrue) { ExpectCounted(0x3B19, 2); }
TEST(APaletteRecord, IsSoundOnlyWhenItsLengthIsTrue) { ExpectCounted(0x3B1D, 3); }

TEST(AVisibilityRecord, IsSoundOnlyWithTwoBytes)
{
    for (std::size_t size = 0; size <= 300; ++size) {
        EXPECT_EQ(Check(0x3B1C, std::string(size, '\1')), size == 2) << size;
    }
}

TEST(ARecordOfAnotherKind, IsRefusedUnderEachItemNumber)
{
    const std::string region = Bytes({1, 2}) + U32(3) + "abc";
    const std::string visibility = Bytes({1, 1});
    const std::string palette = Bytes({1, 2, 1}) + U32(3) + "abc";
    EXPECT_TRUE(Check(0x3B19, region));
    EXPECT_FALSE(Check(0x3B19, visibility));
    EXPECT_FALSE(Check(0x3B19, palette));
    EXPECT_FALSE(Check(0x3B1C, region));
    EXPECT_TRUE(Check(0x3B1C, visibility));
    EXPECT_FALSE(Check(0x3B1C, palette));
    EXPECT_FALSE(Check(0x3B1D, region));
    EXPECT_FALSE(Check(0x3B1D, visibility));
    EXPECT_TRUE(Check(0x3B1D, palette));
}

struct MessageSize {
    unsigned int messageId;
    std::size_t size;
};

/// Requests and replies as docs/wire-format.md lists them, those without a counted record.
constexpr MessageSize messageSizes[] = {
    {0x3B00, 0}, {0x3B01, 0}, {0x3B02, 0}, {0x3C00, 8}, {0x3C01, 4}, {0x3C02, 4},
    {0x3C03, 4}, {0x3C05, 4}, {0x3C06, 2}, {0x3C07, 4}, {0x3C09, 4}, {0x3C0A, 4},
    {0x3C0B, 4}, {0x3C0C, 0}, {0x3C0D, 4}, {0x3C0E, 5}, {0x3C0F, 4}, {0x3C10, 0},
    {0x3C11, 8}, {0x3C12, 4}, {0x3C13, 4}, {0x3CFF, 0}};

TEST(AMessageOfOneSize, IsSoundInThatSizeAlone)
{
    for (const MessageSize& message : messageSizes) {
        for (std::size_t size = 0; size <= 20; ++size) {
            EXPECT_EQ(Check(message.messageId, std::string(size, '\1')), size == message.size)
                << std::hex << message.messageId << std::dec << " with " << size << " bytes";
        }
    }
}

TEST(AMessageThatNobodyKnows, MayCarryAnything)
{
    EXPECT_TRUE(Check(0x1234, ""));
    EXPECT_TRUE(Check(0x1234, "whatever"));
}

TEST(SubscriptionNumberOne, CoversRegionDataInEveryFormatAndNothingElse)
{
    for (unsigned int number = 0; number <= 20; ++number) {
        const bool isRegionData = number >= 1 && (number <= 4 || number == 12);
        EXPECT_EQ(subscriptions::Covers(1, number), isRegionData) << number;
        EXPECT_EQ(subscriptions::Covers(4, number), number == 4) << number;
    }
}

TEST(ABitmap, IsPublishedUnderTheNumberOfItsFormat)
{
    EXPECT_EQ(subscriptions::ForFormat(0), 2u);
    EXPECT_EQ(subscriptions::ForFormat(1), 3u);
    EXPECT_EQ(subscriptions::ForFormat(2), 4u);
    EXPECT_EQ(subscriptions::ForFormat(3), 12u);
    EXPECT_EQ(subscriptions::ForFormat(255), 12u);
}

}  // namespace
