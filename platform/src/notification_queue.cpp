#include "platform/src/notification_queue.h"

#include <utility>

namespace platform {

ReceivedFrame NotificationQueue::PopAt(std::size_t index)
{
    ReceivedFrame taken = std::move(At(index));
    // Those before it close up: it is nearly always the first.
    for (; index > 0; --index) {
        At(index) = std::move(At(index - 1));
    }
    At(0) = ReceivedFrame{};
    first = (first + 1) % mostFrames;
    --count;
    bytes -= SizeOf(taken);
    return taken;
}

void NotificationQueue::Push(ReceivedFrame&& frame)
{
    while (!HasRoomFor(frame)) {
        PopAt(0);
        ++dropped;
    }
    bytes += SizeOf(frame);
    At(count) = std::move(frame);
    ++count;
}

bool NotificationQueue::Pop(unsigned int messageId, ReceivedFrame& frame)
{
    for (std::size_t index = 0; index < count; ++index) {
        if (messageId == 0 || At(index).header.messageId == messageId) {
            frame = PopAt(index);
            return true;
        }
    }
    return false;
}

void NotificationQueue::Clear()
{
    while (count > 0) {
        PopAt(0);
    }
}

unsigned int NotificationQueue::TakeDropped() { return std::exchange(dropped, 0u); }

}  // namespace platform
