#include "simulator/request_handler.h"

#include "simulator/commentary.h"

#include "platform/src/big_endian.h"

#include <cstdio>
#include <new>

using namespace platform;
using namespace sim;

RequestHandler::RequestHandler(const Options& optionsToUse, Journal& journalToKeep,
                               SubtitleService& serviceToAsk, Audience& audienceToReach)
    : options(optionsToUse), journal(journalToKeep), service(serviceToAsk),
      audience(audienceToReach)
{
}

bool RequestHandler::IsQuit(const FrameHeader& header)
{
    return header.messageId == messages::quit && header.kind == FrameKind::OneWay;
}

RequestHandler::Verdict RequestHandler::Handle(Peer& peer, const ReceivedFrame& frame,
                                               Budget& budget)
{
    const FrameHeader& header = frame.header;
    budget.SpendStep();
    budget.Spend(header.length);
    if (header.kind == FrameKind::Reply || header.kind == FrameKind::Notification) {
        Tell(peer.number, "dropped: it sent what only a service may send");
        return Verdict::DropPeer;
    }
    bool isUnderstood = false;
    try {
        isUnderstood = DecodeRequest(header, frame.payload, request);
    } catch (const std::bad_alloc&) {
        // The request is not kept, journalled or published.
        Tell(peer.number, "refused: there is no memory for it");
        QueueReply(peer, messages::ReplyTo(header.messageId), header, ReplySize(request));
        return Verdict::GoOn;
    }
    if (!isUnderstood) {
        return NotUnderstood(peer, header);
    }
    journal.Add(request);
    ++counts.all;
    return Serve(peer, header);
}

RequestHandler::Verdict RequestHandler::Serve(Peer& peer, const FrameHeader& header)
{
    // Described before the service takes over the request's record.
    const std::string served = options.quiet ? "" : Describe(request);
    const auto tellServed = [&](const char* remark) {
        if (!options.quiet) {
            TellServed(peer.number, remark, served);
        }
    };
    if (IsQuit(header)) {
        tellServed("");
        return Verdict::Quit;
    }
    if (options.faults.hangUp) {
        Tell(peer.number, "hung up on: ", Describe(request));
        return Verdict::DropPeer;
    }
    if (options.faults.mute) {
        tellServed("not answered: ");
        return Verdict::GoOn;
    }
    // The reply gets its room first: what needs memory comes before anything changes.
    unsigned char* const reply =
        QueueReply(peer, messages::ReplyTo(header.messageId), header, ReplySize(request));
    peer.outcome = sim::Serve(request, options.faults, service, peer.subscriptions);
    PutU32(reply, static_cast<unsigned int>(peer.outcome.result));
    if (peer.outcome.result == Result::Refused) {
        ++counts.refused;
        Tell(peer.number, "refused: ", Describe(request));
    } else {
        tellServed("");
    }
    return Verdict::GoOn;
}

void RequestHandler::Publish(Outcome& outcome, Budget& budget)
{
    while (!outcome.IsPublished() && !budget.IsSpent()) {
        outcome.next = service.Publish(outcome.next, audience, budget);
    }
}

RequestHandler::Verdict RequestHandler::NotUnderstood(Peer& peer, const FrameHeader& header)
{
    const bool isRequest = header.kind == FrameKind::Request;
    char details[48];
    std::snprintf(details, sizeof details, "0x%04X, %u bytes", header.messageId, header.length);
    Tell(peer.number, isRequest ? "not understood: request " : "not understood: one-way message ",
         details);
    if (isRequest && !options.faults.mute && !options.faults.hangUp) {
        QueueReply(peer, messages::notUnderstood, header, 0);
    }
    return isRequest && options.faults.hangUp ? Verdict::DropPeer : Verdict::GoOn;
}

/// Queues a reply of \p length bytes, filled as a refusal.
/// \return its payload, which may be changed until anything is sent
unsigned char* RequestHandler::QueueReply(Peer& peer, unsigned int messageId,
                                          const FrameHeader& asked, unsigned int length)
{
    unsigned char bytes[Backlog::maxReplySize] = {};
    EncodeFrameHeader({FrameKind::Reply, messageId, asked.correlation, length}, bytes);
    PutU32(bytes + frameHeaderSize, static_cast<unsigned int>(Result::Refused));
    PutU32(bytes + frameHeaderSize + 4, service.LogLevel());
    return peer.backlog.AddReply(bytes, frameHeaderSize + length) + frameHeaderSize;
}
