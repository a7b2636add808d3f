#pragma once

#include "simulator/poller.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

namespace sim {

/// Lets clients in at the listening socket, as long as there is room for them.
class Acceptor {
public:
    /// \param listeningSocket  does not block; stays the caller's
    Acceptor(int listeningSocket, Poller& poller);

    /// Starts to watch the socket; the acceptor is its tag.
    void Open();

    /// Takes the next client that waits. Those of another user are turned away.
    /// \return the connection, or none when nobody waits any more
    platform::Descriptor Next();

    /// Accepts nobody until Resume(): there are as many clients as can be served.
    void PauseUntilResumed();

    /// A client has gone.
    void Resume();

    /// Tries again when a pause is over.
    void ResumeAfterPause();

    /// Accepts nobody any more.
    void Close();

    /// Milliseconds to the end of a pause, -1 when there is none to wait for.
    int PauseMs() const { return accepts ? -1 : pause.RemainingMs(); }

private:
    void Pause(int pauseMs);
    void StartWatching();
    void OnFailure(int error);
    void RefuseThoseWaiting();

    const int listeningSocket;
    Poller& poller;
    platform::Descriptor
        spare;  ///< given up for a moment to refuse clients when no descriptor is left
    bool accepts = false;
    platform::Deadline pause{-1};
    bool toldRefusal = false;
};

}  // namespace sim
