#include "simulator/request_handler.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <cstdio>

namespace sim {

using namespace platform;

namespace {

std::string MessageNumber(unsigned int messageId)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", messageId);
    return text;
}

void QueueReply(Peer& peer, unsigned int messageId, unsigned int correlation,
                const unsigned char* payload, unsigned int length)
{
    unsigned char bytes[Backlog::maxReplySize];
    EncodeFrameHeader({FrameKind::Reply, messageId, correlation, length}, bytes);
    for (unsigned int i = 0; i < length; ++i) {
        bytes[frameHeaderSize + i] = payload[i];
    }
    peer.backlog.AddReply(bytes, frameHeaderSize + length);
}

}  // namespace

RequestHandler::RequestHandler(const Faults& faultsToMake, Journal& journalToKeep,
                               const Commentary& commentaryToGive, Audience& everybody)
    : faults(faultsToMake), journal(journalToKeep), commentary(commentaryToGive),
      audience(everybody), service(faultsToMake)
{
}

RequestHandler::Verdict RequestHandler::Handle(Peer& peer, const ReceivedFrame& frame)
{
    const FrameHeader& header = frame.header;
    if (header.kind == FrameKind::Reply || header.kind == FrameKind::Notification) {
        Commentary::Tell(peer.number, "dropped: it sent what only a service may send");
        return Verdict::DropPeer;
    }
    if (!IsKnownRequest(header.kind, header.messageId) ||
        !IsWellFormed(header.messageId, frame.payload, header.length)) {
        return NotUnderstood(peer, header);
    }
    DecodeRequest(header.messageId, frame.payload, request);
    journal.Add(request);
    return Serve(peer, header);
}

RequestHandler::Verdict RequestHandler::Serve(Peer& peer, const FrameHeader& header)
{
    if (header.messageId == messages::quit) {
        TellServed(peer, "");
        return Verdict::Quit;
    }
    if (faults.hangUp) {
        Commentary::Tell(peer.number, "hung up on: ", Describe(request));
        return Verdict::DropPeer;
    }
    if (faults.mute) {
        TellServed(peer, "not answered: ");
        return Verdict::GoOn;
    }
    const Result result = service.Serve(request, peer.subscriptions);
    Reply(peer, header, result);
    if (result == Result::Refused) {
        Commentary::Tell(peer.number, "refused: ", Describe(request));
        return Verdict::GoOn;
    }
    TellServed(peer, "");
    service.PublishOutcome(request, audience);
    return Verdict::GoOn;
}

void RequestHandler::TellServed(const Peer& peer, const char* remark) const
{
    if (commentary.TellsServed()) {
        Commentary::Tell(peer.number, remark, Describe(request));
    }
}

RequestHandler::Verdict RequestHandler::NotUnderstood(Peer& peer, const FrameHeader& header)
{
    const bool isRequest = header.kind == FrameKind::Request;
    Commentary::Tell(
        peer.number, isRequest ? "not understood: request " : "not understood: one-way message ",
        MessageNumber(header.messageId) + ", " + std::to_string(header.length) + " bytes");
    if (isRequest && !faults.mute && !faults.hangUp) {
        QueueReply(peer, messages::notUnderstood, header.correlation, nullptr, 0);
    }
    return isRequest && faults.hangUp ? Verdict::DropPeer : Verdict::GoOn;
}

void RequestHandler::Reply(Peer& peer, const FrameHeader& asked, Result result)
{
    unsigned char payload[8];
    PutU32(payload, static_cast<unsigned int>(result));
    PutU32(payload + 4, service.LogLevel());
    unsigned int length = 4;
    if (asked.messageId == messages::ping) {
        length = 0;
    } else if (asked.messageId == messages::getLogLevel) {
        length = 8;
    }
    QueueReply(peer, messages::ReplyTo(asked.messageId), asked.correlation, payload, length);
}

}  // namespace sim
