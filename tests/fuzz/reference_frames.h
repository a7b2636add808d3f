#pragma once

#include "tests/fuzz/choices.h"

#include <string>

// Frames and records as docs/wire-format.md has them, made and read without the product's code.

/// One frame of any content; `kind` and `magic` may be what no frame has.
struct ReferenceFrame {
    std::string magic;  ///< first three bytes
    unsigned int kind = 0;
    unsigned int messageId = 0;
    unsigned int correlation = 0;
    std::string payload;
};

bool operator==(const ReferenceFrame& one, const ReferenceFrame& other);

std::string BigEndian(unsigned int value);
unsigned int FromBigEndian(const std::string& bytes, std::size_t at);

/// \p claimed is what the header says of the length, whatever the payload is.
std::string FrameOf(unsigned int kind, unsigned int messageId, unsigned int correlation,
                    const std::string& payload, unsigned int claimed);
std::string FrameOf(unsigned int kind, unsigned int messageId, unsigned int correlation,
                    const std::string& payload);

/// Cuts a stream into its frames.
enum class StreamEnd { Complete, Cut, Malformed };

/// Takes the next frame off the front of \p stream.
/// \return Complete with a frame; Cut when there is no complete one; Malformed
StreamEnd TakeFrame(std::string& stream, ReferenceFrame& frame);

/// Whether \p payload is what the message \p messageId carries.
bool ReferenceIsWellFormed(unsigned int messageId, const std::string& payload);

/// Message numbers.
namespace reference {
constexpr unsigned int quit = 15104, ping = 15105, regionData = 15129, visibility = 15132,
                       palette = 15133;
constexpr unsigned int subscribe = 15360, unsubscribe = 15362, setRegionData = 15364,
                       setVisibility = 15366, setPalette = 15368, invert = 15370, refresh = 15372,
                       sensor = 15374, getLogLevel = 15376, setLogLevel = 15378,
                       notUnderstood = 15615;
}  // namespace reference

/// A payload for \p messageId, right in nine of ten, of small records.
std::string ChoosePayload(Choices& choices, unsigned int messageId);

/// The length that a frame of \p payload claims: right in nine of ten.
unsigned int ChooseClaim(Choices& choices, const std::string& payload);
