#include "simulator/clients/backlog.h"

#include <cstring>

using namespace sim;

unsigned int Backlog::AddNotification(const SharedFrame& frame, Clock::time_point now)
{
    // A partly sent frame must be completed, or the peer cannot find the next frame.
    const std::size_t partlySent = sentOfFirst > 0 && NotificationFollows(0, 0) ? 1 : 0;
    return notifications.Push({nextSequence++, frame, now}, partlySent);
}

unsigned char* Backlog::AddReply(const unsigned char* bytes, std::size_t length)
{
    Reply& reply = replies.emplace_back();
    reply.sequence = nextSequence++;
    reply.length = length;
    std::memcpy(reply.bytes, bytes, length);
    return reply.bytes;
}

bool Backlog::NotificationFollows(std::size_t reply, std::size_t notification) const
{
    return notification < notifications.Size() &&
           (reply == replies.size() ||
            notifications.At(notification).sequence < replies[reply].sequence);
}

unsigned int Backlog::Gather(iovec* pieces, unsigned int most, std::size_t& total) const
{
    total = 0;
    unsigned int used = 0;
    std::size_t reply = 0;
    std::size_t notification = 0;
    std::size_t skip = sentOfFirst;
    for (; used < most && reply + notification < Frames(); ++used) {
        const bool isNotification = NotificationFollows(reply, notification);
        const unsigned char* const bytes =
            isNotification ? notifications.At(notification).frame->data() : replies[reply].bytes;
        const std::size_t length =
            isNotification ? notifications.At(notification).frame->size() : replies[reply].length;
        ++(isNotification ? notification : reply);
        // sendmsg() does not change the bytes, but its pointer is not const.
        pieces[used] = {const_cast<unsigned char*>(bytes + skip), length - skip};
        total += length - skip;
        skip = 0;
    }
    return used;
}

void Backlog::Sent(std::size_t bytes)
{
    for (sentOfFirst += bytes; !IsEmpty();) {
        const bool isNotification = NotificationFollows(0, 0);
        const std::size_t length =
            isNotification ? notifications.At(0).frame->size() : replies.front().length;
        if (sentOfFirst < length) {
            return;
        }
        sentOfFirst -= length;
        if (isNotification) {
            notifications.Take();
        } else {
            replies.erase(replies.begin());
        }
    }
}

void Backlog::Clear()
{
    replies.clear();
    notifications.Clear();
    sentOfFirst = 0;
}
