#include "simulator/backlog.h"

#include <cstring>

namespace sim {

unsigned int Backlog::AddNotification(SharedFrame frame, Clock::time_point now)
{
    // A frame that is partly sent has to be finished, or the peer could read nothing any more.
    const std::size_t partlySent = sentOfFirst > 0 && At({}).isNotification ? 1 : 0;
    return notifications.Push({nextSequence++, std::move(frame), now}, partlySent);
}

unsigned char* Backlog::AddReply(const unsigned char* bytes, std::size_t length)
{
    Reply& reply = replies.emplace_back();
    reply.sequence = nextSequence++;
    reply.length = length;
    std::memcpy(reply.bytes, bytes, length);
    return reply.bytes;
}

Backlog::Piece Backlog::At(Place place) const
{
    const bool isNotification =
        place.notification < notifications.Size() &&
        (place.reply == replies.size() ||
         notifications.At(place.notification).sequence < replies[place.reply].sequence);
    if (isNotification) {
        const SharedFrame& frame = notifications.At(place.notification).frame;
        return {frame->data(), frame->size(), true};
    }
    return {replies[place.reply].bytes, replies[place.reply].length, false};
}

unsigned int Backlog::Gather(iovec* pieces, unsigned int most, std::size_t& total) const
{
    total = 0;
    unsigned int used = 0;
    std::size_t skip = sentOfFirst;
    for (Place place; used < most && place.reply + place.notification < Frames(); ++used) {
        const Piece piece = At(place);
        ++(piece.isNotification ? place.notification : place.reply);
        // sendmsg() takes what it only reads as a pointer to something it could change.
        pieces[used].iov_base = const_cast<unsigned char*>(piece.bytes + skip);
        pieces[used].iov_len = piece.length - skip;
        total += piece.length - skip;
        skip = 0;
    }
    return used;
}

void Backlog::Sent(std::size_t bytes)
{
    sentOfFirst += bytes;
    while (!IsEmpty() && sentOfFirst >= At({}).length) {
        const Piece sent = At({});
        sentOfFirst -= sent.length;
        if (sent.isNotification) {
            notifications.Take();
        } else {
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

}  // namespace sim
