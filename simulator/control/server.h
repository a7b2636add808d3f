#pragma once

#include "simulator/clients/acceptor.h"
#include "simulator/clients/audience.h"
#include "simulator/control/connection.h"
#include "simulator/journal/request_history.h"
#include "simulator/poller.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sim {

/// Carries out one line. \return the answer, or none when `job` of the connection is to be polled
using RunControlLine =
    std::function<Answer(const std::string& line, ControlConnection& connection, Budget& budget)>;

/// The control socket: all connections of control clients.
///
/// It has a poller of its own, so its clients get one turn in a pass of the service's loop, however
/// many they are: they never delay a client of the service.
class ControlServer {
public:
    static constexpr std::size_t most = 1024;

    /// \param listeningSocket  non-blocking. All arguments must outlive this object
    /// \param history  is on while there are control clients: they may await requests
    ControlServer(int listeningSocket, RequestHistory& history, RunControlLine runLine);

    /// \return false with errno set
    bool Open() { return poller.Open(); }

    /// Readable when a client has sent something, or reads again.
    int Fd() const { return poller.Fd(); }

    /// Accepts clients and reads what they sent.
    void OnEvents();

    /// Carries lines out and polls the jobs, a turn's share.
    void Advance();

    /// Sends the answers. To be called when the effects of the lines are on their way.
    void Flush();

    /// Milliseconds after which there is more to do; -1 when an event will tell.
    int WaitMs() const;

private:
    void Accept();
    void TakeTurn(ControlConnection& connection, Budget& budget);
    static void PollJob(ControlConnection& connection, Budget& budget);
    void Finish(ControlConnection& connection);

    Poller poller;
    Acceptor acceptor;
    RequestHistory& history;
    const RunControlLine runLine;
    std::vector<std::unique_ptr<ControlConnection>> connections;
    std::size_t nextTurn = 0;  ///< of the connection that begins
};

}  // namespace sim
