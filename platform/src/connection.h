#pragma once

#include "platform/src/link.h"

#include <memory>
#include <string>
#include <vector>

class IpcMessage;

namespace platform {

/// The connection of an endpoint to one service: makes a `Link` on demand, and another one after it
/// was lost.
///
/// All operations are called with the endpoint's lock held, give it up while they wait, and hold it
/// again when they return. Results are 0 or an errno value.
class Connection {
public:
    Connection(EndpointState& endpointState, const std::string& serviceName)
        : state(endpointState), service(serviceName)
    {
    }

    /// Sends \p request and waits for the reply, see LinxIpc::Request().
    /// \param wanted  what the service's acceptance does to the subscriptions; may be null
    int Request(Lock& lock, IpcMessage& request, unsigned int replyId, const Deadline& deadline,
                IpcMessage* reply, const Subscription* wanted);

    /// Sends \p message; EAGAIN when there was no room until \p deadline.
    int Notify(Lock& lock, IpcMessage& message, const Deadline& deadline);

    /// Waits for something to come, and connects again when notifications are to come.
    void AwaitArrival(Lock& lock, const Deadline& deadline);

    /// Ends the connection when there is one.
    void Lose() const
    {
        if (link) {
            link->Lose();
        }
    }

private:
    /// The open link, else null.
    std::shared_ptr<Link> Current() const { return link && link->IsOpen() ? link : nullptr; }
    int Open(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened);
    int Connect(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened);
    std::vector<unsigned char> RenewalFrames() const;
    static int Send(Lock& lock, Link& used, IpcMessage& message, FrameKind kind,
                    unsigned int correlation, const Deadline& deadline);
    template <typename Attempt>
    int OnLink(Lock& lock, const Deadline& deadline, const Attempt& attempt);
    int AwaitReply(Lock& lock, Link& used, unsigned int correlation, const Deadline& deadline,
                   IpcMessage* reply);

    EndpointState& state;
    const std::string service;
    std::shared_ptr<Link> link;
    bool connecting = false;
    Deadline nextAttempt{0};  ///< when a call that only receives may try again
};

}  // namespace platform
