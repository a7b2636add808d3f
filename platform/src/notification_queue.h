#pragma once

#include "platform/src/bounded_queue.h"
#include "platform/src/input_blocks.h"

#include <cstddef>

namespace platform {

inline std::size_t SizeOf(const ReceivedFrame& frame)
{
    return frameHeaderSize + frame.header.length;
}

/// Notifications that arrived and wait for Receive(); the dropped ones are counted.
class NotificationQueue {
public:
    void Push(ReceivedFrame&& frame);

    /// Takes out the oldest one with the message number \p messageId, 0 for any.
    bool Pop(unsigned int messageId, ReceivedFrame& frame);

    /// Takes out all that \p covered says yes to.
    template <typename Covered>
    void Remove(const Covered& covered);

    void Clear() { queue.Clear(); }

    /// Number dropped since the last call.
    unsigned int TakeDropped();

    /// Whether Push() would drop nothing for \p frame.
    bool HasRoomFor(const ReceivedFrame& frame) const { return queue.HasRoomFor(1, SizeOf(frame)); }

private:
    BoundedQueue<ReceivedFrame> queue;
    unsigned int dropped = 0;
};

template <typename Covered>
void NotificationQueue::Remove(const Covered& covered)
{
    for (std::size_t index = 0; index < queue.Size();) {
        if (covered(queue.At(index).header)) {
            queue.Take(index);
        } else {
            ++index;
        }
    }
}

}  // namespace platform
