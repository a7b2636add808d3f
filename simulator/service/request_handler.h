#pragma once

#include "simulator/clients/audience.h"
#include "simulator/clients/peer.h"
#include "simulator/journal/logs.h"
#include "simulator/options.h"
#include "simulator/service/fault_list.h"
#include "simulator/service/request_table.h"

#include <cstdint>
#include <string>

namespace sim {

/// Requests that were understood.
struct RequestCounts {
    std::uint64_t all = 0;
    std::uint64_t refused = 0;
};

/// Handles the frames of all peers: service, journal, reply, publications, in this order.
class RequestHandler {
public:
    enum class Verdict {
        GoOn,
        DropPeer,
        Quit,     ///< the service was asked to end
        Restart,  ///< by a fault, for RestartMs() milliseconds
    };

    /// All arguments must outlive this object.
    RequestHandler(const Options& options, FaultList& faults, Logs& logs, SubtitleService& service,
                   Audience& audience);

    static bool IsQuit(const platform::FrameHeader& header);

    const RequestCounts& Counts() const { return counts; }

    /// Leaves what is to be published in the outcome of \p peer.
    Verdict Handle(Peer& peer, const platform::ReceivedFrame& frame, Budget& budget);

    /// Publishes what \p budget allows of \p outcome.
    void Publish(Outcome& outcome, Budget& budget);

    int RestartMs() const { return fault.delayMs; }

private:
    Verdict Serve(Peer& peer, const platform::FrameHeader& header);
    Verdict NotUnderstood(Peer& peer, const platform::FrameHeader& header);
    void DrawFault(const Peer& peer, const platform::FrameHeader& header, const Request* asked);
    bool IsUnserved() const { return fault.kind <= FaultKind::Mute; }
    Verdict LeaveUnserved(const Peer& peer, const std::string& what) const;
    void HoldUp(Peer& peer) const;
    void TellServed(const Peer& peer, const char* remark, const std::string& what) const;
    void Log(recording::Result result);
    unsigned char* QueueReply(Peer& peer, unsigned int messageId,
                              const platform::FrameHeader& asked, unsigned int length);

    const Options& options;
    FaultList& faults;
    Logs& logs;
    SubtitleService& service;
    Audience& audience;
    Request request;
    RequestCounts counts;
    Fault fault;  ///< of the last request
};

}  // namespace sim
