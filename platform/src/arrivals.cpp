#include "platform/src/arrivals.h"

#include "platform/src/big_endian.h"

#include <new>
#include <utility>

namespace platform {

namespace {

/// Whether \p frame says yes to the renewal of a subscription.
bool IsAcceptance(const ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    return header.messageId == messages::ReplyTo(messages::subscribe) &&
           IsWellFormed(header.messageId, frame.payload, header.length) &&
           GetU32(frame.payload) == static_cast<unsigned int>(Result::Accepted);
}

}  // namespace

Arrivals::Arrivals(EndpointState& endpointState, const std::string& serviceName,
                   ReplyTable& waitingForReplies)
    : state(endpointState), service(serviceName), replies(waitingForReplies)
{
}

/// Without memory for it a complaint is lost, and what it is about goes on all the same.
template <typename MakeText>
void Arrivals::Complain(const MakeText& makeText)
{
    try {
        complaints.push_back(makeText());
    } catch (const std::bad_alloc&) {
    }
}

void Arrivals::BeginAnew()
{
    input = InputBlocks();
    held.reset();
}

bool Arrivals::Sort(std::size_t count)
{
    input.Received(count);
    return SortAll();
}

bool Arrivals::GoOn()
{
    ReceivedFrame frame = std::move(*held);
    held.reset();
    if (IsWanted(frame)) {
        state.notifications.Push(std::move(frame));
    }
    return SortAll();
}

bool Arrivals::SortAll()
{
    ReceivedFrame frame{};
    const char* problem = nullptr;
    for (;;) {
        switch (input.Next(frame, problem)) {
        case InputBlocks::Cut::NeedMore: return true;
        case InputBlocks::Cut::Frame:
            if (frame.header.kind == FrameKind::Reply) {
                TakeReply(frame);
                break;
            }
            if (frame.header.kind == FrameKind::Notification) {
                if (!TakeNotification(frame)) {
                    return true;
                }
                break;
            }
            problem = "a frame that only a client may send";
            [[fallthrough]];
        case InputBlocks::Cut::Malformed: ComplainOf("received ", problem); return false;
        }
    }
}

void Arrivals::TakeReply(const ReceivedFrame& frame)
{
    if (frame.header.correlation != ReplyTable::nobody) {
        replies.Take(frame);
    } else if (!IsAcceptance(frame)) {
        Complain([&] { return "a subscription was refused by the restarted service " + service; });
    }
}

/// \return false when it has no room. Where a call waits for a reply, which may stand behind it,
/// the oldest one is dropped instead.
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

/// Whether \p frame is a whole record that somebody has subscribed to.
bool Arrivals::IsWanted(const ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    if (!IsWellFormed(header.messageId, frame.payload, header.length)) {
        Complain([&] {
            return "dropped a malformed record from " + service + ": message " +
                   std::to_string(header.messageId) + " of " + std::to_string(header.length) +
                   " bytes";
        });
        return false;
    }
    return service == state.publisher &&
           state.subscriptions.Find(header.correlation, header.messageId) != nullptr;
}

void Arrivals::ComplainOf(const char* reason, const char* detail)
{
    Complain([&] { return "connection to " + service + " closed: " + reason + detail; });
}

std::vector<std::string> Arrivals::TakeComplaints() { return std::exchange(complaints, {}); }

}  // namespace platform
