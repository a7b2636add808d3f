#include "platform/src/link.h"

#include <algorithm>
#include <new>
#include <sys/socket.h>
#include <sys/time.h>

using namespace platform;

void Reader::ReadOrWait(Lock& lock, const Deadline& deadline)
{
    if (reading) {
        link.state.WaitForChange(lock, deadline);
    } else {
        Read(lock, deadline.RemainingMs());
    }
}

void Reader::ReadWhatIsThere(Lock& lock)
{
    if (!reading) {
        Read(lock, 0);
    }
}

/// Sorts what an earlier call left, or else what comes within \p waitMs, -1 without limit.
void Reader::Read(Lock& lock, int waitMs)
{
    const auto role = link.state.Take(reading);
    if (!Sort(lock)) {
        ReadSocket(lock, waitMs);
        Sort(lock);
    }
}

void Reader::ReadSocket(Lock& lock, int waitMs)
{
    std::size_t size = 0;
    unsigned char* const room = input.Room(size);
    if (!room) {
        link.Lose();
        throw std::bad_alloc();
    }
    ssize_t count = 0;
    int error = 0;
    {
        const auto unlocked = Unlocked(lock);
        LimitReading(waitMs);
        count = recv(link.socket.Get(), room, size, waitMs == 0 ? MSG_DONTWAIT : 0);
        error = errno;
    }
    // What was read after the loss of the link is dropped.
    if (count > 0 && link.isOpen) {
        input.Received(static_cast<std::size_t>(count));
    } else if (count == 0 || (error != EINTR && error != EAGAIN)) {
        link.Lose();
    }
}

/// A blocking read with a limit costs one call, poll() before a read two. The limit seldom changes.
void Reader::LimitReading(int waitMs)
{
    if (waitMs == 0 || waitMs == readLimitMs) {
        return;
    }
    const int ms = std::max(waitMs, 0);
    const timeval limit{ms / 1000, ms % 1000 * 1000};
    setsockopt(link.socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    readLimitMs = waitMs;
}

/// Sorts what has come: replies go to the calls that wait for them, notifications into the queue.
/// It stops at a notification that the queue has no room for. The next call queues that one in any
/// case, so that a call gets a reply that comes after it.
/// \return whether there was anything to sort
bool Reader::Sort(Lock& lock)
{
    auto kept = std::exchange(held, std::nullopt);
    bool hasSorted = kept.has_value();
    if (kept && IsWanted(*kept)) {
        link.state.notifications.Push(std::move(*kept));
    }
    ReceivedFrame frame{};
    const char* problem = nullptr;
    while (link.isOpen && !held && input.Next(frame, problem) != InputBlocks::Cut::NeedMore) {
        hasSorted = true;
        if (!problem && frame.header.kind == FrameKind::Reply) {
            TakeReply(lock, frame);
        } else if (!problem && frame.header.kind == FrameKind::Notification) {
            TakeNotification(lock, frame);
        } else {
            link.Lose();
            LogUnlocked(lock,
                        "connection to " + link.service + " closed: received " +
                            (problem ? problem : "a frame that only a client may send"),
                        "connection closed");
        }
    }
    return hasSorted;
}

void Reader::TakeReply(Lock& lock, const ReceivedFrame& frame)
{
    const unsigned int correlation = frame.header.correlation;
    const bool isAcceptance = frame.header.length == 4 && IsAcceptance(frame.payload);
    if (link.replies.Take(frame) && isAcceptance) {
        link.state.subscriptions.Accept(correlation);
    } else if (correlation == ReplyTable::unawaited && !isAcceptance) {
        LogUnlocked(lock, "a subscription was refused by the restarted service " + link.service,
                    "subscription refused");
    }
}

void Reader::TakeNotification(Lock& lock, ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    if (!IsWellFormed(header.messageId, frame.payload, header.length)) {
        LogUnlocked(lock,
                    "dropped a malformed record from " + link.service + ": message " +
                        std::to_string(header.messageId) + " of " + std::to_string(header.length) +
                        " bytes",
                    "malformed record dropped");
    } else if (IsWanted(frame)) {
        // An awaited reply may come after this notification; then the oldest one is dropped.
        if (link.state.notifications.HasRoomFor(frame) || link.replies.AreAwaited()) {
            link.state.notifications.Push(std::move(frame));
        } else {
            held = std::move(frame);
        }
    }
}

bool Reader::IsWanted(const ReceivedFrame& frame) const
{
    return link.service == link.state.publisher &&
           link.state.subscriptions.Find(frame.header.correlation, frame.header.messageId);
}
