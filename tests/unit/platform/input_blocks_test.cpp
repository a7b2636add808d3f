#include "platform/src/input_blocks.h"

#include "tests/harness/RawPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace platform;

namespace {

using Cut = InputBlocks::Cut;

/// Gives the input \p bytes, at most \p most at a time as the room allows.
void Feed(InputBlocks& input, const std::string& bytes, std::size_t most)
{
    for (std::size_t fed = 0; fed < bytes.size();) {
        std::size_t size = 0;
        unsigned char* const room = input.Room(size);
        ASSERT_NE(room, nullptr);
        ASSERT_GT(size, 0u);
        const std::size_t count = std::min({size, most, bytes.size() - fed});
        std::memcpy(room, bytes.data() + fed, count);
        input.Received(count);
        fed += count;
    }
}

std::string PayloadOf(const ReceivedFrame& frame)
{
    return {reinterpret_cast<const char*>(frame.payload), frame.header.length};
}

std::vector<std::string> TakeAll(InputBlocks& input)
{
    std::vector<std::string> payloads;
    ReceivedFrame frame{};
    const char* problem = nullptr;
    while (input.Next(frame, problem) == Cut::Frame) {
        payloads.push_back(PayloadOf(frame));
    }
    return payloads;
}

std::string Frame(const std::string& payload)
{
    return FrameBytes(FrameKind::Notification, 0x1234, 4, payload);
}

const std::vector<std::string> fourPayloads = {"", "a", "second payload", ""};

std::string FourFrames()
{
    std::string stream;
    for (const std::string& payload : fourPayloads) {
        stream += Frame(payload);
    }
    return stream;
}

TEST(AStreamOfFrames, IsCutTheSameHoweverItArrives)
{
    const std::string stream = FourFrames();
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (std::size_t second = first; second <= stream.size(); ++second) {
            InputBlocks input;
            std::vector<std::string> payloads;
            for (const std::string& piece :
                 {stream.substr(0, first), stream.substr(first, second - first),
                  stream.substr(second)}) {
                Feed(input, piece, piece.size());
                const auto more = TakeAll(input);
                payloads.insert(payloads.end(), more.begin(), more.end());
            }
            ASSERT_EQ(payloads, fourPayloads) << "cut at " << first << " and " << second;
        }
    }
}

TEST(AStreamOfFrames, IsCutTheSameByteByByte)
{
    InputBlocks input;
    Feed(input, FourFrames(), 1);
    EXPECT_EQ(TakeAll(input), fourPayloads);
}

TEST(ACutFrame, IsNotHandedOut)
{
    const std::string frame = Frame("payload");
    for (std::size_t size = 0; size < frame.size(); ++size) {
        InputBlocks input;
        Feed(input, frame.substr(0, size), size);
        EXPECT_TRUE(TakeAll(input).empty()) << size;
    }
}

TEST(ABadHeader, IsFoundBehindGoodFrames)
{
    InputBlocks input;
    Feed(input, Frame("good") + std::string(16, 'x'), 1000);
    ReceivedFrame frame{};
    const char* problem = nullptr;
    EXPECT_EQ(input.Next(frame, problem), Cut::Frame);
    EXPECT_EQ(input.Next(frame, problem), Cut::Malformed);
    EXPECT_STREQ(problem, "not a frame");
}

TEST(ABadHeader, IsStillFoundWhenMoreHasCome)
{
    InputBlocks input;
    Feed(input, std::string(3000, 'x'), 10);
    ReceivedFrame frame{};
    const char* problem = nullptr;
    EXPECT_EQ(input.Next(frame, problem), Cut::Malformed);
    EXPECT_STREQ(problem, "not a frame");
}

TEST(FramesThatAreHeld, KeepTheirBytesWhileMoreComes)
{
    std::mt19937 random(1);
    InputBlocks input;
    std::vector<ReceivedFrame> held;
    std::vector<std::string> sent;
    std::string stream;
    for (unsigned int number = 0; number < 400; ++number) {
        sent.push_back(std::string(random() % 3000, static_cast<char>('a' + number % 26)));
        stream += Frame(sent.back());
    }
    ReceivedFrame frame{};
    const char* problem = nullptr;
    for (std::size_t fed = 0; fed < stream.size();) {
        const std::size_t count = std::min<std::size_t>(stream.size() - fed, 1 + random() % 40000);
        Feed(input, stream.substr(fed, count), count);
        fed += count;
        while (input.Next(frame, problem) == Cut::Frame) {
            held.push_back(frame);
        }
    }
    ASSERT_EQ(held.size(), sent.size());
    for (std::size_t i = 0; i < held.size(); ++i) {
        ASSERT_EQ(PayloadOf(held[i]), sent[i]) << i;
    }
}

TEST(AReaderInStep, UsesOneBlockForEver)
{
    InputBlocks input;
    const std::string frame = Frame(std::string(30720, 'p'));
    std::vector<const InputBlock*> blocks;
    for (int round = 0; round < 1000; ++round) {
        Feed(input, frame, 65536);
        ReceivedFrame received{};
        const char* problem = nullptr;
        ASSERT_EQ(input.Next(received, problem), Cut::Frame);
        if (std::find(blocks.begin(), blocks.end(), received.block.get()) == blocks.end()) {
            blocks.push_back(received.block.get());
        }
    }
    EXPECT_EQ(blocks.size(), 1u);
}

TEST(MemoryForAFrame, FollowsTheBytesThatCameNotTheLengthThatIsClaimed)
{
    InputBlocks input;
    Feed(input,
         FrameBytes(FrameKind::Reply, 1, 1, std::string(16 * 1024 * 1024, 'x')).substr(0, 100),
         100);
    std::size_t room = 0;
    ASSERT_NE(input.Room(room), nullptr);
    EXPECT_LE(room, 64u * 1024);
}

TEST(AVeryLargeFrame, ArrivesWhole)
{
    InputBlocks input;
    std::string payload(16 * 1024 * 1024, '\0');
    for (std::size_t i = 0; i < payload.size(); ++i) {
        payload[i] = static_cast<char>(i * 31 >> 3);
    }
    Feed(input, Frame(payload) + Frame("after"), 50000);
    const auto payloads = TakeAll(input);
    ASSERT_EQ(payloads.size(), 2u);
    EXPECT_TRUE(payloads[0] == payload);
    EXPECT_EQ(payloads[1], "after");
}

TEST(AVeryLargeFrame, LeavesNoLargeBlockBehind)
{
    InputBlocks input;
    Feed(input, Frame(std::string(4 * 1024 * 1024, 'x')), 65536);
    ASSERT_EQ(TakeAll(input).size(), 1u);
    std::size_t room = 0;
    ASSERT_NE(input.Room(room), nullptr);
    EXPECT_LE(room, 64u * 1024);
}

TEST(ALargeFrame, LeavesItsMemoryForTheNextOne)
{
    InputBlocks input;
    Feed(input, Frame(std::string(1024 * 1024, 'x')), 65536);
    ASSERT_EQ(TakeAll(input).size(), 1u);
    std::size_t room = 0;
    ASSERT_NE(input.Room(room), nullptr);
    EXPECT_GE(room, 1024u * 1024);
}

TEST(AConnectionsMemory, GrowsOnlyOnceAReadHasFilledIt)
{
    InputBlocks input;
    std::size_t room = 0;
    ASSERT_NE(input.Room(room), nullptr);
    EXPECT_EQ(room, 1024u);
    for (int i = 0; i < 1000; ++i) {
        Feed(input, Frame(""), 65536);
        ASSERT_EQ(TakeAll(input).size(), 1u);
    }
    ASSERT_NE(input.Room(room), nullptr);
    EXPECT_EQ(room, 1024u);
    Feed(input, Frame(std::string(1024 - 16, 'x')), 65536);
    ASSERT_EQ(TakeAll(input).size(), 1u);
    ASSERT_NE(input.Room(room), nullptr);
    EXPECT_EQ(room, 64u * 1024);
}

std::size_t RoomOf(InputBlocks& input)
{
    std::size_t room = 0;
    EXPECT_NE(input.Room(room), nullptr);
    return room;
}

TEST(ATrimmedInput, KeepsOneSmallBlockAfterALargeFrame)
{
    InputBlocks input;
    Feed(input, Frame(std::string(1024 * 1024, 'x')), 65536);
    ASSERT_EQ(TakeAll(input).size(), 1u);
    input.Trim();
    EXPECT_EQ(RoomOf(input), 1024u);
}

TEST(ATrimmedInput, KeepsTheFirstByteOfTheNextFrameInASmallBlock)
{
    InputBlocks input;
    const std::string next = Frame("next");
    Feed(input, Frame(std::string(16 * 1024 * 1024, 'x')) + next[0], 1u << 30);
    ASSERT_EQ(TakeAll(input).size(), 1u);
    input.Trim();
    EXPECT_EQ(input.Unread(), 1u);
    EXPECT_LE(RoomOf(input), 1024u);
    Feed(input, next.substr(1), 65536);
    EXPECT_EQ(TakeAll(input), std::vector<std::string>{"next"});
}

TEST(ATrimmedInput, LeavesTheFramesThatAreStillHeldAsTheyAre)
{
    InputBlocks input;
    Feed(input, Frame(std::string(70000, 'h')) + "ST", 65536);
    ReceivedFrame held{};
    const char* problem = nullptr;
    ASSERT_EQ(input.Next(held, problem), Cut::Frame);
    input.Trim();
    Feed(input, Frame(std::string(70000, 'x')).substr(2), 65536);
    EXPECT_EQ(TakeAll(input).size(), 1u);
    EXPECT_EQ(PayloadOf(held), std::string(70000, 'h'));
}

}  // namespace
