#include "simulator/backlog.h"

#include <cstring>

namespace sim {

bool Backlog::HasRoomFor(std::size_t frames, std::size_t bytes) const
{
    return notifications.IsEmpty() || (notifications.Size() + frames <= maxNotifications &&
                                       notificationBytes + bytes <= maxNotificationBytes);
}

unsigned int Backlog::AddNotification(SharedFrame frame)
{
    unsigned int dropped = 0;
    // A frame that is partly sent has to be finished, or the peer could read nothing any more.
    while (!HasRoomFor(1, frame->size()) &&
           notifications.Size() > (NotificationIsPartlySent() ? 1u : 0u)) {
        DropOldestNotification();
        ++dropped;
    }
    const std::size_t size = frame->size();
    notifications.PushBack({nextSequence++, std::move(frame)});
    notificationBytes += size;
    return dropped;
}

void Backlog::AddReply(const unsigned char* bytes, std::size_t length)
{
    Reply reply;
    reply.sequence = nextSequence++;
    reply.length = length;
    std::memcpy(reply.bytes, bytes, length);
    replies.PushBack(reply);
}

unsigned int Backlog::Gather(iovec* pieces, unsigned int most, std::size_t& total) const
{
    total = 0;
    unsigned int used = 0;
    std::size_t reply = 0;
    std::size_t notification = 0;
    std::size_t skip = sentOfFirst;
    while (used < most && (reply < replies.Size() || notification < notifications.Size())) {
        const unsigned char* bytes;
        std::size_t length;
        if (reply == replies.Size() ||
            (notification < notifications.Size() &&
             notifications.At(notification).sequence < replies.At(reply).sequence)) {
            bytes = notifications.At(notification).frame->data();
            length = notifications.At(notification).frame->size();
            ++notification;
        } else {
            bytes = replies.At(reply).bytes;
            length = replies.At(reply).length;
            ++reply;
        }
        // sendmsg() takes what it only reads as a pointer to something it could change.
        pieces[used].iov_base = const_cast<unsigned char*>(bytes + skip);
        pieces[used].iov_len = length - skip;
        total += length - skip;
        skip = 0;
        ++used;
    }
    return used;
}

void Backlog::Sent(std::size_t bytes)
{
    sentOfFirst += bytes;
    while (!IsEmpty()) {
        if (NotificationIsFirst()) {
            const std::size_t length = notifications.Front().frame->size();
            if (sentOfFirst < length) {
                return;
            }
            sentOfFirst -= length;
            notificationBytes -= length;
            notifications.PopFront();
        } else {
            const std::size_t length = replies.Front().length;
            if (sentOfFirst < length) {
                return;
            }
            sentOfFirst -= length;
            replies.PopFront();
        }
    }
}

void Backlog::Clear() { *this = Backlog(); }

bool Backlog::NotificationIsFirst() const
{
    return !notifications.IsEmpty() &&
           (replies.IsEmpty() || notifications.Front().sequence < replies.Front().sequence);
}

void Backlog::DropOldestNotification()
{
    if (NotificationIsPartlySent()) {
        std::swap(notifications.At(0), notifications.At(1));
    }
    notificationBytes -= notifications.Front().frame->size();
    notifications.PopFront();
}

}  // namespace sim
