#include "simulator/request_handler.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <cstdio>
#include <new>

namespace sim {

using namespace platform;

namespace {

std::string MessageNumber(unsigned int messageId)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", messageId);
    return text;
}

/// \return the payload of the reply, which may be changed until anything is sent
unsigned char* QueueReply(Peer& peer, unsigned int messageId, unsigned int correlation,
                          unsigned int length)
{
    unsigned char bytes[Backlog::maxReplySize] = {};
    EncodeFrameHeader({FrameKind::Reply, messageId, correlation, length}, bytes);
    return peer.backlog.AddReply(bytes, frameHeaderSize + length) + frameHeaderSize;
}

}  // namespace

RequestHandler::RequestHandler(const Faults& faultsToMake, Journal& journalToKeep,
                               const Commentary& commentaryToGive, Audience& audienceToReach)
    : faults(faultsToMake), journal(journalToKeep), commentary(commentaryToGive),
      audience(audienceToReach), service(faultsToMake)
{
}

bool RequestHandler::IsQuit(const FrameHeader& header)
{
    return header.messageId == messages::quit && IsKnownRequest(header.kind, header.messageId);
}

RequestHandler::Verdict RequestHandler::Handle(Peer& peer, const ReceivedFrame& frame,
                                               Budget& budget)
{
    const FrameHeader& header = frame.header;
    budget.SpendStep();
    budget.Spend(header.length);
    if (header.kind == FrameKind::Reply || header.kind == FrameKind::Notification) {
        Commentary::Tell(peer.number, "dropped: it sent what only a service may send");
        return Verdict::DropPeer;
    }
    if (!IsKnownRequest(header.kind, header.messageId) ||
        !IsWellFormed(header.messageId, frame.payload, header.length)) {
        return NotUnderstood(peer, header);
    }
    try {
        DecodeRequest(header.messageId, frame.payload, request);
    } catch (const std::bad_alloc&) {
        // Nothing of it is kept, journalled or published.
        Commentary::Tell(peer.number, "refused: there is no memory for it");
        Reply(peer, header);
        return Verdict::GoOn;
    }
    journal.Add(request);
    const Verdict verdict = Serve(peer, header);
    budget.Spend(peer.outcome.bytesTouched);
    return verdict;
}

RequestHandler::Verdict RequestHandler::Serve(Peer& peer, const FrameHeader& header)
{
    // Before the service takes over what the request carries.
    const std::string served = commentary.TellsServed() ? Describe(request) : "";
    const auto tellServed = [&](const char* remark) {
        if (commentary.TellsServed()) {
            Commentary::TellServed(peer.number, remark, served);
        }
    };
    if (IsQuit(header)) {
        tellServed("");
        return Verdict::Quit;
    }
    if (faults.hangUp) {
        Commentary::Tell(peer.number, "hung up on: ", Describe(request));
        return Verdict::DropPeer;
    }
    if (faults.mute) {
        tellServed("not answered: ");
        return Verdict::GoOn;
    }
    // The room for the reply first: what needs memory comes before anything changes.
    unsigned char* const reply = Reply(peer, header);
    peer.outcome = sim::Serve(request, service, peer.subscriptions);
    if (ReplySize(header.messageId) > 0) {
        PutU32(reply, static_cast<unsigned int>(peer.outcome.result));
    }
    if (peer.outcome.result == Result::Refused) {
        Commentary::Tell(peer.number, "refused: ", Describe(request));
    } else {
        tellServed("");
    }
    return Verdict::GoOn;
}

void RequestHandler::Publish(Outcome& outcome, Budget& budget)
{
    while (!outcome.IsPublished() && !budget.IsSpent()) {
        service.Publish(outcome.next++, audience, budget);
    }
}

RequestHandler::Verdict RequestHandler::NotUnderstood(Peer& peer, const FrameHeader& header)
{
    const bool isRequest = header.kind == FrameKind::Request;
    Commentary::Tell(
        peer.number, isRequest ? "not understood: request " : "not understood: one-way message ",
        MessageNumber(header.messageId) + ", " + std::to_string(header.length) + " bytes");
    if (isRequest && !faults.mute && !faults.hangUp) {
        QueueReply(peer, messages::notUnderstood, header.correlation, 0);
    }
    return isRequest && faults.hangUp ? Verdict::DropPeer : Verdict::GoOn;
}

/// Queues the reply to a request that is refused. \return its payload, for one that is not
unsigned char* RequestHandler::Reply(Peer& peer, const FrameHeader& asked)
{
    const unsigned int size = ReplySize(asked.messageId);
    unsigned char* const payload =
        QueueReply(peer, messages::ReplyTo(asked.messageId), asked.correlation, size);
    if (size > 0) {
        PutU32(payload, static_cast<unsigned int>(Result::Refused));
    }
    if (size > 4) {
        PutU32(payload + 4, service.LogLevel());
    }
    return payload;
}

}  // namespace sim
