#pragma once

#include "platform/src/reconnect.h"

#include <string>

class IpcMessage;

namespace platform {

/// The operations of an endpoint on the connection to one service.
///
/// All operations are called with the endpoint's lock held, give it up while they wait, and hold it
/// again when they return. Results are 0 or an errno value.
class Connection {
public:
    Connection(EndpointState& endpointState, const std::string& serviceName)
        : state(endpointState), service(serviceName), reconnect(endpointState, service)
    {
    }

    /// Sends \p request and waits for the reply, see LinxIpc::Request().
    /// \param wanted  the change of the subscriptions if the service accepts; may be null
    int Request(Lock& lock, IpcMessage& request, unsigned int replyId, const Deadline& deadline,
                IpcMessage* reply, const Subscription* wanted);

    /// Sends \p message; EAGAIN when there was no room until \p deadline.
    int Notify(Lock& lock, IpcMessage& message, const Deadline& deadline);

    /// Waits for input; connects again when notifications are subscribed.
    void AwaitArrival(Lock& lock, const Deadline& deadline);

    /// Ends the connection when there is one.
    void Lose() const
    {
        if (const auto link = reconnect.Current()) {
            link->Lose();
        }
    }

private:
    static int Send(Lock& lock, Link& used, IpcMessage& message, FrameKind kind,
                    unsigned int correlation, const Deadline& deadline);
    template <typename Attempt>
    int OnLink(Lock& lock, const Deadline& deadline, const Attempt& attempt);
    int AwaitReply(Lock& lock, Link& used, unsigned int correlation, const Deadline& deadline,
                   IpcMessage* reply);

    EndpointState& state;
    const std::string service;
    Reconnect reconnect;
};

}  // namespace platform
