#pragma once

#include "platform/src/arrivals.h"
#include "platform/src/endpoint_state.h"
#include "platform/src/reply_table.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

class IpcMessage;

namespace platform {

/// The connection of an endpoint to one service, made on demand and again after it was lost.
///
/// There is no thread behind it. One call at a time reads the socket, whichever waits for
/// something, and sorts what comes to those who wait for it; likewise one call at a time writes.
/// All operations are called with the endpoint's lock held, give it up while they wait, and hold it
/// again when they return. Results are 0 or an errno value.
class Connection {
public:
    using Lock = EndpointState::Lock;

    Connection(EndpointState& endpointState, const std::string& serviceName);

    /// Makes the connection when there is none and renews the subscriptions with it.
    int Open(Lock& lock, const Deadline& deadline);

    bool IsOpen() const { return socket != nullptr; }

    /// When Open() was tried last; long ago when never.
    Deadline::Clock::time_point LastAttempt() const { return lastAttempt; }

    /// Sends \p request and waits for the reply numbered \p replyId, see LinxIpc::Request().
    int Request(Lock& lock, IpcMessage& request, unsigned int replyId, const Deadline& deadline,
                IpcMessage* reply);

    /// Sends \p message; EAGAIN when there was no room until \p deadline.
    int Notify(Lock& lock, IpcMessage& message, const Deadline& deadline);

    bool IsBeingRead() const { return reading; }

    /// Reads once, waiting up to \p waitMs milliseconds, -1 without limit, and sorts what came; or
    /// goes on to sort what had no room. Only when open and not being read.
    /// \return whether there was something to sort
    bool Read(Lock& lock, int waitMs);

    /// Ends the connection for good: whoever waits on it is woken.
    void Shutdown();

private:
    int Connect(const Deadline& deadline, Descriptor& connected) const;
    int RenewSubscriptions(Lock& lock, const Deadline& deadline);
    std::vector<unsigned char> RenewalFrames() const;
    int Send(Lock& lock, const unsigned char* bytes, std::size_t size, const Deadline& deadline);
    int SendMessage(Lock& lock, IpcMessage& message, FrameKind kind, unsigned int correlation,
                    const Deadline& deadline);
    void ReadTheRest(Lock& lock, const Descriptor& target);
    int WaitForRoom(Lock& lock, const Descriptor& target, const Deadline& deadline);
    int AwaitReply(Lock& lock, unsigned int correlation, const Deadline& deadline);
    void LimitReading(int fd, int waitMs);
    bool ReadSocket(Lock& lock, int waitMs);
    bool GoOnSorting();
    void LogComplaints(Lock& lock);
    void Drop();

    EndpointState& state;
    const std::string service;
    std::shared_ptr<Descriptor> socket;  ///< a call that uses it unlocked holds it too
    bool reading = false;
    bool sending = false;
    int readLimitMs = -1;  ///< SO_RCVTIMEO as it is set now; whoever reads may change it
    ReplyTable replies;
    Arrivals arrivals;
    Deadline::Clock::time_point lastAttempt{};
};

}  // namespace platform
