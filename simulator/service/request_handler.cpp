#include "simulator/service/request_handler.h"

#include "simulator/commentary.h"

#include "platform/src/big_endian.h"

#include <cstdio>
#include <new>

using namespace platform;
using namespace sim;

namespace {

/// How the line of a served request begins.
const char* Remark(FaultKind kind)
{
    switch (kind) {
    case FaultKind::Truncate: return "half answered: ";
    case FaultKind::Late: return "answered late: ";
    case FaultKind::WrongReply: return "answered under a wrong number: ";
    case FaultKind::Stall: return "answered, then not read: ";
    default: return "";
    }
}

}  // namespace

RequestHandler::RequestHandler(const Options& optionsToUse, FaultList& faultsToCause,
                               Logs& logsToKeep, SubtitleService& serviceToAsk,
                               Audience& audienceToReach)
    : options(optionsToUse), faults(faultsToCause), logs(logsToKeep), service(serviceToAsk),
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
    fault = {};
    bool isUnderstood = false;
    try {
        isUnderstood = DecodeRequest(header, frame.payload, request);
    } catch (const std::bad_alloc&) {
        // The request is not kept, journalled or published.
        Tell(peer.number, "refused: there is no memory for it");
        if (!peer.IsSilent()) {
            QueueReply(peer, messages::ReplyTo(header.messageId), header, ReplySize(request));
        }
        return Verdict::GoOn;
    }
    if (!isUnderstood) {
        return NotUnderstood(peer, header);
    }
    request.contents.client = peer.number;
    ++counts.all;
    return Serve(peer, header);
}

RequestHandler::Verdict RequestHandler::Serve(Peer& peer, const FrameHeader& header)
{
    DrawFault(peer, header, &request);
    std::string what;
    if (!options.quiet || fault.kind != FaultKind::None) {
        what = Describe(request.contents);
    }
    if (IsUnserved()) {
        Log(recording::Result::Unanswered);
        return LeaveUnserved(peer, what);
    }
    if (IsQuit(header)) {
        Log(recording::Result::Ok);
        TellServed(peer, "", what);
        return Verdict::Quit;
    }
    // The reply gets its room first: what needs memory comes before anything changes.
    unsigned char* const reply =
        QueueReply(peer, messages::ReplyTo(header.messageId), header, ReplySize(request));
    peer.outcome = fault.kind == FaultKind::Refuse
                       ? Outcome{Result::Refused}
                       : sim::Serve(request, service, peer.subscriptions);
    PutU32(reply, static_cast<unsigned int>(peer.outcome.result));
    const bool isRefused = peer.outcome.result == Result::Refused;
    Log(isRefused ? recording::Result::Refused : recording::Result::Ok);
    if (isRefused) {
        ++counts.refused;
        Tell(peer.number, "refused: ", Describe(request.contents));
    } else {
        TellServed(peer, Remark(fault.kind), what);
    }
    HoldUp(peer);
    return Verdict::GoOn;
}

/// Before anything is sent, so that a client with a reply finds its request in the journal.
void RequestHandler::Log(recording::Result result)
{
    request.contents.result = result;
    logs.Add(request.contents);
}

void RequestHandler::DrawFault(const Peer& peer, const FrameHeader& header, const Request* asked)
{
    fault = peer.IsSilent() && !IsQuit(header) ? Fault{FaultKind::Mute}
                                               : faults.Draw(asked, peer.number);
}

RequestHandler::Verdict RequestHandler::LeaveUnserved(const Peer& peer,
                                                      const std::string& what) const
{
    switch (fault.kind) {
    case FaultKind::Crash: Tell(peer.number, "crashed at: ", what); Crash();
    case FaultKind::Restart: Tell(peer.number, "restarts at: ", what); return Verdict::Restart;
    case FaultKind::HangUp: Tell(peer.number, "hung up on: ", what); return Verdict::DropPeer;
    default: TellServed(peer, "not answered: ", what); return Verdict::GoOn;
    }
}

/// After the reply.
void RequestHandler::HoldUp(Peer& peer) const
{
    if (fault.kind == FaultKind::Truncate) {
        peer.Silence();
    } else if (fault.kind == FaultKind::Stall) {
        peer.delays.StopReading(fault.delayMs);
    }
}

void RequestHandler::TellServed(const Peer& peer, const char* remark, const std::string& what) const
{
    if (!options.quiet) {
        sim::TellServed(peer.number, remark, what);
    }
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
    if (!isRequest) {
        return Verdict::GoOn;
    }
    DrawFault(peer, header, nullptr);
    if (IsUnserved()) {
        return LeaveUnserved(peer, details);
    }
    QueueReply(peer, messages::notUnderstood, header, 0);
    HoldUp(peer);
    return Verdict::GoOn;
}

/// Queues a reply of \p length bytes, filled as a refusal.
/// \return its payload, which may be changed until anything is sent
unsigned char* RequestHandler::QueueReply(Peer& peer, unsigned int messageId,
                                          const FrameHeader& asked, unsigned int length)
{
    unsigned char bytes[Backlog::maxReplySize] = {};
    // A wrong number is that of the reply to another request.
    const unsigned int number = messageId + (fault.kind == FaultKind::WrongReply ? 2 : 0);
    EncodeFrameHeader({FrameKind::Reply, number, asked.correlation, length}, bytes);
    PutU32(bytes + frameHeaderSize, static_cast<unsigned int>(Result::Refused));
    PutU32(bytes + frameHeaderSize + 4, service.LogLevel());
    const std::size_t size = frameHeaderSize + length;
    unsigned char* const reply =
        fault.kind == FaultKind::Late
            ? peer.delays.Add(bytes, size, fault.delayMs)
            : peer.backlog.AddReply(bytes, fault.kind == FaultKind::Truncate ? size / 2 : size);
    return reply + frameHeaderSize;
}
