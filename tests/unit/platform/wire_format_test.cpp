#include "platform/src/wire_format.h"

#include "tests/harness/RawPeer.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using Header = std::array<unsigned char, frameHeaderSize>;

constexpr Header ping = {'S',  'T',  1,    1,    0x00, 0x00, 0x3B, 0x01,
                         0xA1, 0xB2, 0xC3, 0xD4, 0x00, 0x01, 0x02, 0x03};

TEST(FrameHeader, IsEncodedAndReadByteForByte)
{
    Header bytes{};
    EncodeFrameHeader({FrameKind::Request, 0x3B01, 0xA1B2C3D4, 0x010203}, bytes.data());
    EXPECT_EQ(bytes, ping);
    FrameHeader header{};
    ASSERT_EQ(DecodeFrameHeader(ping.data(), header), nullptr);
    EXPECT_EQ(header.kind, FrameKind::Request);
    EXPECT_EQ(header.messageId, 0x3B01u);
    EXPECT_EQ(header.correlation, 0xA1B2C3D4u);
    EXPECT_EQ(header.length, 0x010203u);
}

TEST(FrameHeader, IsRefusedWithTheReason)
{
    const struct {
        std::size_t offset;
        unsigned char value;
        const char* reason;
    } rows[] = {
        {0, 's', "not a frame"},
        {2, 2, "a frame of another version"},
        {3, 5, "a frame of an unknown kind"},
        {12, 0x80, "a frame that claims more than 16 MiB"},
    };
    for (const auto& row : rows) {
        Header bytes = ping;
        bytes[row.offset] = row.value;
        FrameHeader header{};
        EXPECT_STREQ(DecodeFrameHeader(bytes.data(), header), row.reason);
    }
}

bool IsAccepted(const Header& bytes)
{
    FrameHeader header{};
    return DecodeFrameHeader(bytes.data(), header) == nullptr;
}

TEST(FrameHeader, MayClaimTheLargestPayloadAndNoMore)
{
    for (const unsigned int length :
         {0x01000000u, 0x01000001u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        Header bytes{};
        EncodeFrameHeader({FrameKind::Reply, 1, 1, length}, bytes.data());
        EXPECT_EQ(IsAccepted(bytes), length == 0x01000000u) << length;
    }
}

/// Checks a header by the published layout only.
bool IsGood(const Header& bytes)
{
    const bool isSmall =
        bytes[12] == 0 || (bytes[12] == 1 && bytes[13] == 0 && bytes[14] == 0 && bytes[15] == 0);
    return bytes[0] == 'S' && bytes[1] == 'T' && bytes[2] == 1 && bytes[3] >= 1 && bytes[3] <= 4 &&
           isSmall;
}

TEST(FrameHeader, IsCheckedInEachByte)
{
    for (std::size_t at = 0; at < frameHeaderSize; ++at) {
        for (unsigned int value = 0; value < 256; ++value) {
            Header bytes = ping;
            bytes[at] = static_cast<unsigned char>(value);
            ASSERT_EQ(IsAccepted(bytes), IsGood(bytes)) << "byte " << at << " is " << value;
        }
    }
}

bool Check(unsigned int messageId, const std::string& payload)
{
    return IsWellFormed(messageId, reinterpret_cast<const unsigned char*>(payload.data()),
                        payload.size());
}

/// Tries every inner length with every payload size: a record is sound only if both agree.
void ExpectSoundOnlyWhereCountAgrees(unsigned int messageId, std::size_t prefix)
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

TEST(Record, IsSoundOnlyWhenItsLengthIsTrue)
{
    ExpectSoundOnlyWhereCountAgrees(0x3B19, 2);
    ExpectSoundOnlyWhereCountAgrees(0x3C04, 2);
    ExpectSoundOnlyWhereCountAgrees(0x3B1D, 3);
    ExpectSoundOnlyWhereCountAgrees(0x3C08, 3);
}

/// The messages of docs/wire-format.md that have no inner length. An unknown one may have any size.
TEST(Message, IsSoundInItsOwnSizeOnly)
{
    const struct {
        unsigned int messageId;
        std::size_t size;
    } messages[] = {{0x3B00, 0}, {0x3B01, 0}, {0x3B02, 0}, {0x3B1C, 2}, {0x3C00, 8}, {0x3C01, 4},
                    {0x3C02, 4}, {0x3C03, 4}, {0x3C05, 4}, {0x3C06, 2}, {0x3C07, 4}, {0x3C09, 4},
                    {0x3C0A, 4}, {0x3C0B, 4}, {0x3C0C, 0}, {0x3C0D, 4}, {0x3C0E, 5}, {0x3C0F, 4},
                    {0x3C10, 0}, {0x3C11, 8}, {0x3C12, 4}, {0x3C13, 4}, {0x3CFF, 0}};
    for (const auto& message : messages) {
        for (std::size_t size = 0; size <= 300; ++size) {
            EXPECT_EQ(Check(message.messageId, std::string(size, '\1')), size == message.size)
                << std::hex << message.messageId << std::dec << " with " << size << " bytes";
        }
    }
    EXPECT_TRUE(Check(0x1234, ""));
    EXPECT_TRUE(Check(0x1234, "whatever"));
}

TEST(SubscriptionNumberOne, CoversRegionDataInEveryFormat)
{
    for (unsigned int number = 0; number <= 20; ++number) {
        const bool isRegionData = number >= 1 && (number <= 4 || number == 12);
        EXPECT_EQ(subscriptions::Covers(1, number), isRegionData) << number;
        EXPECT_EQ(subscriptions::Covers(4, number), number == 4) << number;
    }
}

TEST(Bitmap, IsPublishedUnderTheNumberOfItsFormat)
{
    EXPECT_EQ(subscriptions::ForFormat(0), 2u);
    EXPECT_EQ(subscriptions::ForFormat(1), 3u);
    EXPECT_EQ(subscriptions::ForFormat(2), 4u);
    EXPECT_EQ(subscriptions::ForFormat(3), 12u);
    EXPECT_EQ(subscriptions::ForFormat(255), 12u);
}

}  // namespace
