#include "platform/src/link.h"

using namespace platform;

/// Sorts what has come: replies to the calls that wait for them, notifications into the queue. It
/// stops at a notification that the queue has no room for. The next call takes that one in any
/// case, so that a call which waits for something after it gets on.
/// \return whether there was anything to sort
bool Reader::Sort(Lock& lock)
{
    bool hasSorted = held.has_value();
    if (held && IsWanted(*held)) {
        link.state.notifications.Push(std::move(*held));
    }
    held.reset();
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
        // A reply that a call waits for may come after it, so then the oldest one is dropped.
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
