#pragma once

#include "platform/src/wire_format.h"

#include <cstddef>
#include <vector>

namespace sim {

/// Cuts the bytes that one peer sends into frames.
///
/// Bytes are looked at where they were received, and only what is left over is copied: a peer that
/// sends whole frames, or nothing, costs no memory. What is kept grows with the bytes that arrived
/// and never with a length that a header claims.
class FrameSplitter {
public:
    struct Frame {
        platform::FrameHeader header;
        unsigned char* payload;  ///< valid until the next call of Offer() or Settle()
    };

    enum class Found { Frame, Nothing, Malformed };

    /// Adds bytes that arrived; they must stay where they are until Settle(), after which the
    /// memory is the caller's again.
    void Offer(unsigned char* bytes, std::size_t length);

    /// Finds the next complete frame. After Malformed the rest of the stream has no meaning.
    /// \param problem  says what is malformed, as a phrase
    Found Next(Frame& frame, const char*& problem);

    /// Keeps the bytes that Next() has not handed out yet.
    void Settle();

private:
    std::vector<unsigned char> kept;
    unsigned char* current = nullptr;
    std::size_t left = 0;
};

}  // namespace sim
