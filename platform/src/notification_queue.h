#pragma once

#include "platform/src/input_blocks.h"

#include <array>
#include <cstddef>

namespace platform {

/// Notifications that arrived and wait for Receive(), oldest first: at most 256 of them and 1 MiB,
/// the newest kept whatever its size. Beyond that the oldest are dropped and counted: while nobody
/// receives, what is new is worth more than what is old. Not synchronised.
class NotificationQueue {
public:
    void Push(ReceivedFrame&& frame);

    /// Takes out the oldest one with the message number \p messageId, 0 for any.
    bool Pop(unsigned int messageId, ReceivedFrame& frame);

    /// Takes out all that \p covered says yes to.
    template <typename Covered>
    void Remove(const Covered& covered);

    void Clear();

    /// Number dropped since the last call.
    unsigned int TakeDropped();

    /// Whether Push() would drop nothing for \p frame.
    bool HasRoomFor(const ReceivedFrame& frame) const
    {
        return count == 0 || (count < mostFrames && bytes + SizeOf(frame) <= mostBytes);
    }

private:
    static constexpr std::size_t mostFrames = 256;
    static constexpr std::size_t mostBytes = 1024 * 1024;

    ReceivedFrame& At(std::size_t index) { return ring[(first + index) % mostFrames]; }
    ReceivedFrame PopAt(std::size_t index);
    static std::size_t SizeOf(const ReceivedFrame& frame)
    {
        return frameHeaderSize + frame.header.length;
    }

    std::array<ReceivedFrame, mostFrames> ring{};
    std::size_t first = 0;
    std::size_t count = 0;
    std::size_t bytes = 0;
    unsigned int dropped = 0;
};

template <typename Covered>
void NotificationQueue::Remove(const Covered& covered)
{
    for (std::size_t index = 0; index < count;) {
        if (covered(At(index).header)) {
            PopAt(index);
        } else {
            ++index;
        }
    }
}

}  // namespace platform
