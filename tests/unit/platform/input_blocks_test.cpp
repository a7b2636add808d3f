#include "platform/src/input_blocks.h"

#include "tests/harness/RawPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

using Cut = InputBlocks::Cut;
using Texts = std::vector<std::string>;

constexpr std::size_t mebibyte = 1024 * 1024;
constexpr std::size_t blockSize = 64 * 1024;

std::string Frame(const std::string& payload)
{
    return FrameBytes(FrameKind::Notification, 0x1234, 4, payload);
}
std::string FrameOf(std::size_t size) { return Frame(std::string(size, 'x')); }

std::string PayloadOf(const ReceivedFrame& frame)
{
    return {reinterpret_cast<const char*>(frame.payload), frame.header.length};
}

class Input : public testing::Test {
protected:
    /// Puts \p bytes into the input, at most \p most bytes at a time and no more than its room.
    void Feed(const std::string& bytes, std::size_t most = blockSize)
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

    Cut Next() { return input.Next(frame, problem); }

    Texts TakeAll()
    {
        Texts payloads;
        while (Next() == Cut::Frame) {
            payloads.push_back(PayloadOf(frame));
        }
        frame = {};
        return payloads;
    }

    /// Number of bytes that the next read may have.
    std::size_t Room()
    {
        std::size_t room = 0;
        EXPECT_NE(input.Room(room), nullptr);
        return room;
    }

    InputBlocks input;
    ReceivedFrame frame{};
    const char* problem = nullptr;
};

TEST_F(Input, FindsTheSameFramesForEveryCut)
{
    const Texts payloads = {"", "a", "second payload", ""};
    std::string stream;
    for (const std::string& payload : payloads) {
        stream += Frame(payload);
    }
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (std::size_t second = first; second <= stream.size(); ++second) {
            input = InputBlocks();
            Texts taken;
            for (const std::string& piece :
                 {stream.substr(0, first), stream.substr(first, second - first),
                  stream.substr(second)}) {
                Feed(piece);
                for (const std::string& payload : TakeAll()) {
                    taken.push_back(payload);
                }
            }
            ASSERT_EQ(taken, payloads) << "cut at " << first << " and " << second;
        }
    }
    Feed(stream, 1);
    EXPECT_EQ(TakeAll(), payloads);
}

TEST_F(Input, FindsABadHeaderAfterGoodFrames)
{
    Feed(Frame("good") + std::string(3000, 'x'), 10);
    EXPECT_EQ(Next(), Cut::Frame);
    EXPECT_EQ(Next(), Cut::Malformed);
    EXPECT_STREQ(problem, "not a frame");
}

TEST_F(Input, KeepsTheBytesOfFramesThatAreHeldWhileMoreComes)
{
    std::vector<ReceivedFrame> held;
    for (char byte = 'a'; byte <= 'z'; ++byte) {
        Feed(Frame(std::string(30000, byte)));
        ASSERT_EQ(Next(), Cut::Frame);
        held.push_back(frame);
    }
    for (const ReceivedFrame& one : held) {
        EXPECT_EQ(PayloadOf(one),
                  std::string(30000, static_cast<char>('a' + (&one - held.data()))));
    }
}

TEST_F(Input, UsesOneBlockForAReaderInStep)
{
    std::set<const InputBlock*> blocks;
    for (int round = 0; round < 1000; ++round) {
        Feed(FrameOf(30720));
        ASSERT_EQ(Next(), Cut::Frame);
        blocks.insert(frame.block.get());
        frame = {};
    }
    EXPECT_EQ(blocks.size(), 1u);
}

TEST_F(Input, GrowsWithTheBytesReceivedNotTheLengthClaimed)
{
    Feed(FrameOf(16 * mebibyte).substr(0, 100));
    EXPECT_LE(Room(), blockSize);
}

TEST_F(Input, TakesTheLargestFrameWholeAndFreesItsMemory)
{
    std::string payload(16 * mebibyte, 'x');
    payload.front() = 'f';
    payload.back() = 'b';
    Feed(Frame(payload) + Frame("after"));
    const Texts payloads = TakeAll();
    ASSERT_EQ(payloads.size(), 2u);
    EXPECT_TRUE(payloads[0] == payload);
    EXPECT_EQ(payloads[1], "after");
    EXPECT_LE(Room(), blockSize);
    Feed(FrameOf(mebibyte));
    ASSERT_EQ(TakeAll().size(), 1u);
    EXPECT_GE(Room(), mebibyte) << "a smaller one keeps its memory for the next";
}

TEST_F(Input, GrowsOnlyAfterAReadHasFilledIt)
{
    EXPECT_EQ(Room(), 1024u);
    for (int i = 0; i < 1000; ++i) {
        Feed(Frame(""));
        ASSERT_EQ(TakeAll().size(), 1u);
    }
    EXPECT_EQ(Room(), 1024u);
    Feed(FrameOf(1024 - 16));
    ASSERT_EQ(TakeAll().size(), 1u);
    EXPECT_EQ(Room(), blockSize);
}

using TrimmedInput = Input;

TEST_F(TrimmedInput, KeepsOneSmallBlockAfterALargeFrame)
{
    Feed(FrameOf(mebibyte));
    ASSERT_EQ(TakeAll().size(), 1u);
    input.Trim();
    EXPECT_EQ(Room(), 1024u);
}

TEST_F(TrimmedInput, KeepsTheNextFramesByteInASmallBlock)
{
    const std::string next = Frame("next");
    Feed(FrameOf(16 * mebibyte) + next[0], 1u << 30);
    ASSERT_EQ(TakeAll().size(), 1u);
    input.Trim();
    EXPECT_EQ(input.Unread(), 1u);
    EXPECT_LE(Room(), 1024u);
    Feed(next.substr(1));
    EXPECT_EQ(TakeAll(), Texts{"next"});
}

TEST_F(TrimmedInput, LeavesTheFramesThatAreStillHeldAsTheyAre)
{
    Feed(Frame(std::string(70000, 'h')) + "ST");
    ASSERT_EQ(Next(), Cut::Frame);
    const ReceivedFrame held = frame;
    input.Trim();
    Feed(FrameOf(70000).substr(2));
    EXPECT_EQ(TakeAll().size(), 1u);
    EXPECT_EQ(PayloadOf(held), std::string(70000, 'h'));
}

}  // namespace
