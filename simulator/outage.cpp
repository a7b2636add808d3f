#include "simulator/outage.h"

#include "simulator/commentary.h"

#include <string>

using namespace platform;
using namespace sim;

Outage::Outage(Listener& listenerToClose, Acceptor& acceptorToPause, PeerTable& peersToDrop,
               SubtitleService& serviceToEmpty)
    : listener(listenerToClose), acceptor(acceptorToPause), peers(peersToDrop),
      service(serviceToEmpty)
{
}

void Outage::Begin(int delayMs)
{
    // First, so that a client that loses its connection cannot connect to the old socket.
    acceptor.Pause(delayMs);
    listener.CloseForClients();
    peers.DropAll();
    service = SubtitleService();
    end = Deadline(delayMs);
}

void Outage::EndInTime()
{
    constexpr int tryAgainMs = 1000;
    if (!end.HasPassed()) {
        return;
    }
    std::string problem;
    if (listener.Reopen(problem)) {
        end = Deadline(-1);
        acceptor.Use(listener.Fd());
        Tell(0, "serves again");
    } else {
        Tell(0, "cannot serve again: ", problem);
        end = Deadline(tryAgainMs);
        acceptor.Pause(tryAgainMs);
    }
}

unsigned int sim::Cause(const FaultSpec& spec, FaultList& faults, Outage& outage)
{
    const unsigned int id = faults.Add(spec);
    if (!spec.IsImmediate()) {
        return id;
    }
    faults.Remove(id);
    if (spec.kind == FaultKind::Crash) {
        Tell(0, "crashed");
        Crash();
    }
    Tell(0, "restarts");
    outage.Begin(spec.delayMs);
    return id;
}
