#pragma once

#include "simulator/audience.h"
#include "simulator/commentary.h"
#include "simulator/faults.h"
#include "simulator/journal.h"
#include "simulator/peer.h"
#include "simulator/request.h"
#include "simulator/subtitle_service.h"

namespace sim {

/// Takes the frames of all peers: journal, service, reply, publications, in this order.
class RequestHandler {
public:
    enum class Verdict {
        GoOn,
        DropPeer,
        Quit,  ///< the service was asked to end
    };

    RequestHandler(const Faults& faultsToMake, Journal& journalToKeep,
                   const Commentary& commentaryToGive, Audience& everybody);

    Verdict Handle(Peer& peer, const platform::ReceivedFrame& frame);

private:
    Verdict Serve(Peer& peer, const platform::FrameHeader& header);
    void TellServed(const Peer& peer, const char* remark) const;
    Verdict NotUnderstood(Peer& peer, const platform::FrameHeader& header);
    void Reply(Peer& peer, const platform::FrameHeader& asked, platform::Result result);

    const Faults& faults;
    Journal& journal;
    const Commentary& commentary;
    Audience& audience;
    SubtitleService service;
    Request request;
};

}  // namespace sim
