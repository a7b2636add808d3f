#include "simulator/frame_splitter.h"

#include "tests/support/RawPeer.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace platform;
using namespace sim;

namespace {

/// Reads pieces as a server does, each from memory that is someone else's afterwards.
class Reader {
public:
    /// Hands over one piece. \return the frames that were complete, as text
    void Read(const std::string& piece)
    {
        std::vector<unsigned char> memory(piece.begin(), piece.end());
        splitter.Offer(memory.data(), memory.size());
        FrameSplitter::Frame frame;
        FrameSplitter::Found found;
        while ((found = splitter.Next(frame, problem)) == FrameSplitter::Found::Frame) {
            frames.push_back(FrameBytes(frame.header.kind, frame.header.messageId,
                                        frame.header.correlation,
                                        {frame.payload, frame.payload + frame.header.length}));
        }
        malformed = found == FrameSplitter::Found::Malformed;
        splitter.Settle();
        memory.assign(memory.size(), 0xEE);
    }

    std::vector<std::string> frames;
    bool malformed = false;
    const char* problem = nullptr;

private:
    FrameSplitter splitter;
};

std::vector<std::string> FourFrames()
{
    return {FrameBytes(FrameKind::Request, messages::ping, 1, ""),
            FrameBytes(FrameKind::Request, messages::subscribe, 2, U32(2) + U32(15129)),
            FrameBytes(FrameKind::Request, messages::setRegionVisibility, 3, Bytes({3, 1})),
            FrameBytes(FrameKind::OneWay, messages::quit, 0, "")};
}

std::string Joined(const std::vector<std::string>& parts)
{
    std::string whole;
    for (const std::string& part : parts) {
        whole += part;
    }
    return whole;
}

TEST(FrameSplitter, FindsTheSameFramesWhereverTheStreamIsCutTwice)
{
    const std::string stream = Joined(FourFrames());
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (std::size_t second = first; second <= stream.size(); ++second) {
            Reader reader;
            for (const std::string& piece :
                 {stream.substr(0, first), stream.substr(first, second - first),
                  stream.substr(second)}) {
                if (!piece.empty()) {
                    reader.Read(piece);
                }
            }
            ASSERT_EQ(reader.frames, FourFrames()) << "cut at " << first << " and " << second;
        }
    }
}

TEST(FrameSplitter, FindsEachFrameByteByByte)
{
    Reader reader;
    for (const char byte : Joined(FourFrames())) {
        reader.Read(std::string(1, byte));
    }
    EXPECT_EQ(reader.frames, FourFrames());
}

TEST(FrameSplitter, LosesAndDoublesNothingInALongStreamOfRandomPieces)
{
    std::mt19937 random(7);
    std::vector<std::string> sent;
    for (unsigned int i = 0; i < 5000; ++i) {
        sent.push_back(FrameBytes(FrameKind::Request, messages::setRegionData, i,
                                  std::string(random() % 300, static_cast<char>(i % 128))));
    }
    const std::string stream = Joined(sent);
    Reader reader;
    for (std::size_t at = 0; at < stream.size();) {
        const std::size_t size = 1 + random() % 1000;
        reader.Read(stream.substr(at, size));
        at += size;
    }
    EXPECT_EQ(reader.frames, sent);
}

TEST(FrameSplitter, DispatchesNothingOfACutFrame)
{
    const std::string stream = Joined(FourFrames());
    std::size_t ends = 0;
    std::size_t complete = 0;
    for (std::size_t length = 1; length <= stream.size(); ++length) {
        if (length == ends + FourFrames()[complete].size()) {
            ends += FourFrames()[complete].size();
            ++complete;
        }
        Reader reader;
        reader.Read(stream.substr(0, length));
        ASSERT_EQ(reader.frames.size(), complete) << "after " << length << " bytes";
    }
}

TEST(FrameSplitter, TakesALengthOf16MiB)
{
    Reader reader;
    const std::string frame =
        FrameBytes(FrameKind::Request, messages::setRegionData, 1, std::string(maxPayload, 'p'));
    reader.Read(frame.substr(0, 100));
    reader.Read(frame.substr(100));
    ASSERT_EQ(reader.frames.size(), 1u);
    EXPECT_EQ(reader.frames[0], frame);
}

TEST(FrameSplitter, RefusesAnyLengthAboveTheLimitAsSoonAsTheHeaderIsThere)
{
    for (const unsigned int length :
         {maxPayload + 1, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFF00u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        Reader reader;
        reader.Read("ST" + Bytes({1, 1}) + U32(messages::ping) + U32(1) + U32(length));
        EXPECT_TRUE(reader.malformed) << length;
        EXPECT_STREQ(reader.problem, "a frame that claims more than 16 MiB");
    }
}

TEST(FrameSplitter, RefusesWrongMagicVersionAndKind)
{
    const std::string good = FrameBytes(FrameKind::Request, messages::ping, 1, "");
    for (std::size_t at = 0; at < 4; ++at) {
        for (unsigned int value = 0; value < 256; ++value) {
            std::string bytes = good;
            bytes[at] = static_cast<char>(static_cast<unsigned char>(value));
            const bool isGood = bytes[at] == good[at] || (at == 3 && value >= 1 && value <= 4);
            Reader reader;
            reader.Read(bytes);
            ASSERT_EQ(reader.malformed, !isGood) << "byte " << at << " is " << value;
        }
    }
}

}  // namespace
