#pragma once

#include "simulator/poller.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

namespace sim {

/// Accepts clients at the listening socket, as long as there is room for them. Begins paused.
class Acceptor {
public:
    /// \param listeningSocket  non-blocking; the caller closes it. The acceptor is its tag.
    Acceptor(int listeningSocket, Poller& poller);

    /// Accepts the next client that waits. Clients of another user are turned away.
    /// \return the connection, or none when no client waits any more
    platform::Descriptor Next();

    /// Accepts no client for \p pauseMs milliseconds; with -1 until a client has disconnected.
    void Pause(int pauseMs = -1);
    void Resume(bool clientHasGone);  ///< accepts again when the pause is over

    /// Accepts at \p socket from now on. To be called while it is paused.
    void Use(int socket) { listeningSocket = socket; }

    /// Milliseconds to the end of a pause, -1 when there is none to wait for.
    int PauseMs() const { return accepts ? -1 : pause.RemainingMs(); }

private:
    void OnFailure(int error);
    void RefuseWaitingClients();

    int listeningSocket;
    Poller& poller;
    platform::Descriptor spare;  ///< closed to refuse clients when no other descriptor is left
    bool accepts = false;
    platform::Deadline pause{0};
    bool toldFailure = false;
};

}  // namespace sim
