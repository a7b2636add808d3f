#include "platform/src/notification_queue.h"

#include <utility>

namespace platform {

void NotificationQueue::Push(ReceivedFrame&& frame) { dropped += queue.Push(std::move(frame)); }

bool NotificationQueue::Pop(unsigned int messageId, ReceivedFrame& frame)
{
    for (std::size_t index = 0; index < queue.Size(); ++index) {
        if (messageId == 0 || queue.At(index).header.messageId == messageId) {
            frame = queue.Take(index);
            return true;
        }
    }
    return false;
}

unsigned int NotificationQueue::TakeDropped() { return std::exchange(dropped, 0u); }

}  // namespace platform
