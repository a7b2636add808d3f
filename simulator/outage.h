#pragma once

#include "simulator/clients/acceptor.h"
#include "simulator/clients/peer_table.h"
#include "simulator/listener.h"
#include "simulator/service/fault_list.h"
#include "simulator/service/subtitle_service.h"

#include "platform/src/deadline.h"

namespace sim {

/// Restarts the service for its clients: they lose their connections, are refused for a time, and
/// then meet a service that keeps nothing. Control clients, faults, play and journal go on.
class Outage {
public:
    /// All arguments must outlive this object.
    Outage(Listener& listener, Acceptor& acceptor, PeerTable& peers, SubtitleService& service);

    void Begin(int delayMs);
    bool IsOn() const { return end.IsLimited(); }

    /// Lets clients connect again when the time has come.
    void EndInTime();

private:
    Listener& listener;
    Acceptor& acceptor;
    PeerTable& peers;
    SubtitleService& service;
    platform::Deadline end{-1};
};

/// Causes what \p spec says: at once, or at the requests that it names. \return its id
unsigned int Cause(const FaultSpec& spec, FaultList& faults, Outage& outage);

}  // namespace sim
