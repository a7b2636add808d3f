#include "platform/src/arrivals.h"

#include <utility>

namespace platform {

Arrivals::Sorted Arrivals::Sort()
{
    Sorted sorted = Sorted::Nothing;
    if (held) {
        if (IsWanted(*held)) {
            state.notifications.Push(std::move(*held));
        }
        held.reset();
        sorted = Sorted::Something;
    }
    ReceivedFrame frame{};
    const char* problem = nullptr;
    for (; input.Next(frame, problem) != InputBlocks::Cut::NeedMore; sorted = Sorted::Something) {
        if (!problem && frame.header.kind == FrameKind::Reply) {
            TakeReply(frame);
        } else if (!problem && frame.header.kind == FrameKind::Notification) {
            if (!TakeNotification(frame)) {
                return Sorted::Something;
            }
        } else {
            complaints.push_back({"connection closed",
                                  "connection to " + service + " closed: received " +
                                      (problem ? problem : "a frame that only a client may send")});
            return Sorted::NotUnderstood;
        }
    }
    return sorted;
}

void Arrivals::TakeReply(const ReceivedFrame& frame)
{
    const unsigned int correlation = frame.header.correlation;
    const bool isAcceptance = frame.header.length == 4 && IsAcceptance(frame.payload);
    if (replies.Take(frame) && isAcceptance) {
        state.subscriptions.Accept(correlation);
    } else if (correlation == ReplyTable::unawaited && !isAcceptance) {
        complaints.push_back({"subscription refused",
                              "a subscription was refused by the restarted service " + service});
    }
}

/// \return false when it has no room. Where a call waits for a reply, which may come after it, the
///         oldest one is dropped instead.
bool Arrivals::TakeNotification(ReceivedFrame& frame)
{
    if (!IsWanted(frame)) {
        return true;
    }
    if (!state.notifications.HasRoomFor(frame) && !replies.AreAwaited()) {
        held = std::move(frame);
        return false;
    }
    state.notifications.Push(std::move(frame));
    return true;
}

/// Whether \p frame is a whole record and subscribed to.
bool Arrivals::IsWanted(const ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    if (!IsWellFormed(header.messageId, frame.payload, header.length)) {
        complaints.push_back(
            {"malformed record dropped", "dropped a malformed record from " + service +
                                             ": message " + std::to_string(header.messageId) +
                                             " of " + std::to_string(header.length) + " bytes"});
        return false;
    }
    return service == state.publisher &&
           state.subscriptions.Find(header.correlation, header.messageId);
}

std::vector<Arrivals::Complaint> Arrivals::TakeComplaints()
{
    return std::exchange(complaints, {});
}

}  // namespace platform
