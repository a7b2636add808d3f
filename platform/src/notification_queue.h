#pragma once

#include "platform/src/bounded_queue.h"
#include "platform/src/input_blocks.h"

#include <cstddef>
#include <utility>

namespace platform {

inline std::size_t SizeOf(const ReceivedFrame& frame)
{
    return frameHeaderSize + frame.header.length;
}

/// Notifications that arrived and wait for Receive(); the dropped ones are counted.
class NotificationQueue {
public:
    /// Whether Push() would drop nothing for \p frame.
    bool HasRoomFor(const ReceivedFrame& frame) const { return queue.HasRoomFor(1, SizeOf(frame)); }
    void Push(ReceivedFrame&& frame) { dropped += queue.Push(std::move(frame)); }
    void Clear() { queue.Clear(); }

    /// Number dropped since the last call.
    unsigned int TakeDropped() { return std::exchange(dropped, 0u); }

    /// Takes out the oldest one with the message number \p messageId, 0 for any.
    bool Pop(unsigned int messageId, ReceivedFrame& frame)
    {
        for (std::size_t index = 0; index < queue.Size(); ++index) {
            if (messageId == 0 || queue.At(index).header.messageId == messageId) {
                frame = queue.Take(index);
                return true;
            }
        }
        return false;
    }

    /// Removes all for whose header \p covered returns true.
    template <typename Covered>
    void Remove(const Covered& covered)
    {
        for (std::size_t index = 0; index < queue.Size();) {
            if (covered(queue.At(index).header)) {
                queue.Take(index);
            } else {
                ++index;
            }
        }
    }

private:
    BoundedQueue<ReceivedFrame> queue;
    unsigned int dropped = 0;
};

}  // namespace platform
