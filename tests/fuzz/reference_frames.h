#pragma once

#include "tests/fuzz/choices.h"

#include <string>

// Encodes and decodes the frames and records of docs/wire-format.md without the product's code.

struct ReferenceFrame {
    unsigned int kind = 0;
    unsigned int messageId = 0;
    unsigned int correlation = 0;
    std::string payload;
};

bool operator==(const ReferenceFrame& one, const ReferenceFrame& other);

std::string BigEndian(unsigned int value);
unsigned int FromBigEndian(const std::string& bytes, std::size_t at);

/// \param claimed  the length in the header, right or wrong
std::string FrameOf(unsigned int kind, unsigned int messageId, unsigned int correlation,
                    const std::string& payload, std::size_t claimed);
inline std::string FrameOf(unsigned int kind, unsigned int messageId, unsigned int correlation,
                           const std::string& payload)
{
    return FrameOf(kind, messageId, correlation, payload, payload.size());
}

/// Cut: the next frame is incomplete.
enum class StreamEnd { Complete, Cut, Malformed };

/// Removes the next frame from the front of \p stream.
StreamEnd TakeFrame(std::string& stream, ReferenceFrame& frame);

/// Whether \p payload is well-formed for the message \p messageId.
bool ReferenceIsWellFormed(unsigned int messageId, const std::string& payload);

namespace reference {
constexpr unsigned int quit = 15104, ping = 15105, regionData = 15129, visibility = 15132,
                       palette = 15133;
constexpr unsigned int subscribe = 15360, unsubscribe = 15362, setRegionData = 15364,
                       setVisibility = 15366, setPalette = 15368, invert = 15370, refresh = 15372,
                       sensor = 15374, getLogLevel = 15376, setLogLevel = 15378,
                       notUnderstood = 15615;
}  // namespace reference

/// A payload for \p messageId: well-formed nine times in ten.
std::string ChoosePayload(Choices& choices, unsigned int messageId);

/// The length that the frame of \p payload claims: the true one nine times in ten.
unsigned int ChooseClaim(Choices& choices, const std::string& payload);
