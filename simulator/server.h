#pragma once

#include "simulator/alarm.h"
#include "simulator/clients/acceptor.h"
#include "simulator/clients/peer_table.h"
#include "simulator/control/commands.h"
#include "simulator/control/server.h"
#include "simulator/listener.h"
#include "simulator/options.h"
#include "simulator/outage.h"
#include "simulator/play/player.h"
#include "simulator/service/request_handler.h"

#include "platform/src/descriptor.h"

#include <csignal>
#include <string>

namespace sim {

/// The signals that end the service: SIGTERM, SIGINT, and SIGHUP unless it was started ignoring it.
sigset_t StopSignals();

/// The event loop: one thread for all sockets, signals and times. It never waits for one peer, and
/// the turn of a peer costs no more than a Budget.
class Server {
public:
    /// All arguments must outlive this object.
    Server(Listener& listener, const Options& options, Logs& logs);

    /// Prepares the loop. StopSignals() must be blocked: from now on they are read.
    /// \return false with the reason in \p problem
    bool Open(std::string& problem);

    /// Causes a fault: at once, or at the requests that \p spec names. \return its id
    unsigned int Cause(const FaultSpec& spec) { return sim::Cause(spec, faults, outage); }

    /// Keeps what \p source has, a recording. \return its mistake, empty for none
    std::string Restore(std::unique_ptr<Source> source);

    /// Plays \p source, which is no stream or IsPlayable(), as the options say.
    void Play(std::unique_ptr<Source> source);

    /// Serves until a signal, a quit request or an option ends it. \return the exit status
    int Run();

private:
    void Turn(int waitMs);
    void AcceptPeer();
    void OnPeer(Peer& peer, unsigned int events);
    void TakeTurn(Peer& peer, Budget& budget);
    void HandleNextFrame(Peer& peer, Budget& budget);
    void FlushAtTheEnd();
    void SetAlarm();
    void WatchInput();
    int NextWaitMs();

    const Options& options;
    Poller poller;
    Alarm alarm;
    Acceptor acceptor;
    FaultList faults;
    PeerTable peers;
    Logs& logs;
    RecordedAudience audience;
    SubtitleService service;
    Outage outage;
    RequestHandler handler;
    Player player;
    bool watchesInput = false;
    const platform::Deadline::Clock::time_point endAt;
    platform::Descriptor signals;
    bool ending = false;
    ControlCommands commands;
    ControlServer control;
};

}  // namespace sim
