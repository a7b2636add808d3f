#include "simulator/backlog.h"

#include <cstring>

namespace sim {

unsigned int Backlog::AddNotification(SharedFrame frame)
{
    // A frame that is partly sent has to be finished, or the peer could read nothing any more.
    const std::size_t partlySent = sentOfFirst > 0 && NotificationIsFirst() ? 1 : 0;
    return notifications.Push({nextSequence++, std::move(frame)}, partlySent);
}

void Backlog::AddReply(const unsigned char* bytes, std::size_t length)
{
    Reply reply;
    reply.sequence = nextSequence++;
    reply.length = length;
    std::memcpy(reply.bytes, bytes, length);
    replies.push_back(reply);
}

unsigned int Backlog::Gather(iovec* pieces, unsigned int most, std::size_t& total) const
{
    total = 0;
    unsigned int used = 0;
    std::size_t reply = 0;
    std::size_t notification = 0;
    std::size_t skip = sentOfFirst;
    while (used < most && (reply < replies.size() || notification < notifications.Size())) {
        const unsigned char* bytes;
        std::size_t length;
        if (reply == replies.size() ||
            (notification < notifications.Size() &&
             notifications.At(notification).sequence < replies[reply].sequence)) {
            bytes = notifications.At(notification).frame->data();
            length = notifications.At(notification).frame->size();
            ++notification;
        } else {
            bytes = replies[reply].bytes;
            length = replies[reply].length;
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
            const std::size_t length = notifications.At(0).frame->size();
            if (sentOfFirst < length) {
                return;
            }
            sentOfFirst -= length;
            notifications.Take();
        } else {
            const std::size_t length = replies.front().length;
            if (sentOfFirst < length) {
                return;
            }
            sentOfFirst -= length;
            replies.pop_front();
        }
    }
}

void Backlog::Clear()
{
    replies.clear();
    notifications.Clear();
    sentOfFirst = 0;
}

bool Backlog::NotificationIsFirst() const
{
    return !notifications.IsEmpty() &&
           (replies.empty() || notifications.At(0).sequence < replies.front().sequence);
}

}  // namespace sim
