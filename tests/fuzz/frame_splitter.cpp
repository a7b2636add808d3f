// Streams of frames, cut anywhere: both sides hand out what a plain reading of the whole finds.
//
// Input: a frame each of a head of choices and its payload; the cuts come from the last bytes.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/reference_frames.h"

#include "platform/src/input_blocks.h"

#include <algorithm>
#include <cstring>
#include <vector>

using namespace platform;

namespace {

struct Reading {
    std::vector<ReferenceFrame> frames;
    StreamEnd end = StreamEnd::Cut;
};

Reading ReadPlainly(std::string stream)
{
    Reading reading;
    ReferenceFrame frame;
    while ((reading.end = TakeFrame(stream, frame)) == StreamEnd::Complete) {
        reading.frames.push_back(frame);
    }
    return reading;
}

ReferenceFrame Copied(const FrameHeader& header, const unsigned char* payload)
{
    return {"ST\x01", static_cast<unsigned int>(header.kind), header.messageId, header.correlation,
            std::string(payload, payload + header.length)};
}

void RequireSame(const Reading& actual, const Reading& expected, const char* text)
{
    Require(actual.frames == expected.frames && actual.end == expected.end, text);
}

/// How many bytes come at once: mostly less than a frame, and all when nothing is left to choose
/// by.
std::size_t ChooseCut(Choices& cuts)
{
    const std::size_t choice = cuts.Byte();
    if (choice == 0) {
        return 64 * 1024;
    }
    return choice % 4 == 0 ? 1 + choice * 32 : 1 + choice / 4;
}

/// \param trims  memory is freed after each read, as the service does it
Reading ReadInPieces(const std::string& stream, Choices cuts, bool trims)
{
    InputBlocks input;
    Reading reading;
    std::vector<ReceivedFrame> held;
    for (std::size_t at = 0; at < stream.size() && reading.end != StreamEnd::Malformed;) {
        std::size_t room = 0;
        unsigned char* const bytes = input.Room(room);
        Require(bytes != nullptr && room > 0, "no room to receive into");
        const std::size_t count = std::min({stream.size() - at, room, ChooseCut(cuts)});
        std::memcpy(bytes, stream.data() + at, count);
        at += count;
        input.Received(count);
        ReceivedFrame frame{};
        const char* problem = nullptr;
        InputBlocks::Cut cut;
        while ((cut = input.Next(frame, problem)) == InputBlocks::Cut::Frame) {
            held.push_back(frame);
        }
        if (cut == InputBlocks::Cut::Malformed) {
            Require(problem != nullptr && *problem != '\0', "malformed without a reason");
            reading.end = StreamEnd::Malformed;
        }
        if (cuts.OnceIn(16)) {
            for (const ReceivedFrame& one : held) {
                reading.frames.push_back(Copied(one.header, one.payload));
            }
            held.clear();
        }
        if (trims) {
            input.Trim();
        }
    }
    // Looked at late: what came behind a frame must not have changed it.
    for (const ReceivedFrame& one : held) {
        reading.frames.push_back(Copied(one.header, one.payload));
    }
    return reading;
}

std::string ChooseStream(Choices& choices)
{
    std::string stream;
    while (!choices.IsAtEnd()) {
        if (choices.OnceIn(16)) {
            stream += choices.Bytes(choices.Byte());
            continue;
        }
        const unsigned int kind = choices.OnceIn(16) ? choices.Byte() : 1 + choices.Below(4);
        const unsigned int messageId = 15104 + choices.Byte();
        // Now and then longer than a block of the client's.
        const std::size_t repeat = choices.OnceIn(64) ? 1 + choices.Byte() * 2u : 1;
        const std::string piece = choices.Bytes(choices.Byte() % 64);
        std::string payload;
        for (std::size_t i = 0; i < repeat && !piece.empty(); ++i) {
            payload += piece;
        }
        const unsigned int correlation = choices.Byte();
        stream += FrameOf(kind, messageId, correlation, payload, ChooseClaim(choices, payload));
    }
    return stream;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::size_t forCuts = size / 4;
    Choices choices(bytes, size - forCuts);
    const Choices cuts(bytes + (size - forCuts), forCuts);
    const std::string stream = ChooseStream(choices);
    const Reading expected = ReadPlainly(stream);
    RequireSame(ReadInPieces(stream, cuts, true), expected, "the service cuts other frames");
    RequireSame(ReadInPieces(stream, cuts, false), expected, "the client cuts other frames");
    return 0;
}
