#pragma once

#include "platform/src/wire_format.h"

#include <cstddef>
#include <memory>

namespace platform {

/// A piece of memory that received frames stay in while they are used.
struct InputBlock {
    explicit InputBlock(std::size_t size) : capacity(size), bytes(new unsigned char[size]) {}

    const std::size_t capacity;
    const std::unique_ptr<unsigned char[]> bytes;
};

/// One complete frame; \p payload stays valid as long as \p block is held.
struct ReceivedFrame {
    FrameHeader header;
    unsigned char* payload;
    std::shared_ptr<InputBlock> block;
};

/// The input side of one connection, on the client and on the service: hands out room to receive
/// into and cuts the received bytes into frames.
///
/// Frames are not copied out: a copy of each would cost a sixth of the throughput of bitmaps. They
/// keep their block alive. New bytes follow them in the block or, when it is full, go into another
/// block. While the frames are used as fast as they come, a connection uses one block: of 1 KiB at
/// first, of 64 KiB once a read has filled it. Only the beginning of a cut frame is ever moved.
/// Blocks grow with the bytes that arrived, never with the length that a header claims.
///
/// Not synchronised; the room may be written without the lock that guards the rest.
class InputBlocks {
public:
    /// Room for at least one byte. \return null when there is no memory
    unsigned char* Room(std::size_t& size);

    /// \p count bytes were written to the room.
    void Received(std::size_t count);

    enum class Cut { Frame, NeedMore, Malformed };

    /// Takes out the next complete frame.
    /// \param problem  the reason when the result is Malformed; no frame can be found after that
    Cut Next(ReceivedFrame& frame, const char*& problem);

    /// Bytes that arrived and are not cut into frames yet.
    std::size_t Unread() const { return end - begin; }

    /// Frees the memory that the unread bytes do not need. For a service with many clients, most of
    /// which are silent; a busy connection would only allocate it again.
    void Trim();

private:
    /// The first block of a connection. Most connections get a few replies only, and fresh memory
    /// is a large part of the cost of a short connection.
    static constexpr std::size_t firstBlockSize = 1024;

    std::size_t Missing() const;
    bool MoveUnreadToNewBlock(std::size_t capacity);
    void MoveUnreadToStart(unsigned char* bytes);

    std::shared_ptr<InputBlock> current;
    std::size_t usualSize = firstBlockSize;  ///< of the blocks, unless a frame needs a larger one
    std::size_t begin = 0;                   ///< of the bytes not cut yet, within `current`
    std::size_t end = 0;
};

}  // namespace platform
