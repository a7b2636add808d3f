// Streams of frames, cut at any byte: the frames found are the beginning of the stream and do not
// depend on the cuts.
//
// Input: for each frame choices and its payload; the last quarter of the bytes determines the cuts.

#include "tests/fuzz/frames.h"
#include "tests/fuzz/fuzz_target.h"

#include "platform/src/input_blocks.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

struct Reading {
    std::string frames;
    bool isMalformed = false;
};

/// How many bytes arrive at once: usually less than a frame; all if no choices are left.
std::size_t ChooseCut(Choices& cuts)
{
    const std::size_t choice = cuts.Byte();
    if (choice == 0) {
        return 64 * 1024;
    }
    return choice % 4 == 0 ? 1 + choice * 32 : 1 + choice / 4;
}

void TakeFrames(std::vector<ReceivedFrame>& held, Reading& reading)
{
    for (const ReceivedFrame& frame : held) {
        reading.frames +=
            FrameBytes(frame.header.kind, frame.header.messageId, frame.header.correlation,
                       std::string(frame.payload, frame.payload + frame.header.length));
    }
    held.clear();
}

/// \param trims  whether memory is freed after each read, like in the service
Reading ReadInPieces(const std::string& stream, Choices cuts, bool trims)
{
    InputBlocks input;
    Reading reading;
    std::vector<ReceivedFrame> held;
    for (std::size_t at = 0; at < stream.size() && !reading.isMalformed;) {
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
        reading.isMalformed = cut == InputBlocks::Cut::Malformed;
        // Checks most frames late, since bytes after a frame must not change it.
        if (cuts.OnceIn(16)) {
            TakeFrames(held, reading);
        }
        if (trims) {
            input.Trim();
        }
    }
    TakeFrames(held, reading);
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
        // Sometimes longer than a block of the client.
        const std::size_t repeat = choices.OnceIn(64) ? 1 + choices.Byte() * 2u : 1;
        const std::string piece = choices.Bytes(choices.Byte() % 64);
        std::string payload;
        for (std::size_t i = 0; i < repeat; ++i) {
            payload += piece;
        }
        const unsigned int correlation = choices.Byte();
        stream += AnyFrame(kind, messageId, correlation, payload, ChooseClaim(choices, payload));
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
    const Reading expected = ReadInPieces(stream, Choices(bytes, 0), /*trims*/ false);
    Require(stream.compare(0, expected.frames.size(), expected.frames) == 0,
            "the frames are not the beginning of the stream");
    for (const bool trims : {true, false}) {
        const Reading reading = ReadInPieces(stream, cuts, trims);
        Require(reading.frames == expected.frames && reading.isMalformed == expected.isMalformed,
                trims ? "the service finds other frames" : "the client finds other frames");
    }
    return 0;
}
