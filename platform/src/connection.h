#pragma once

#include "platform/src/reconnect.h"

#include <string>

class IpcMessage;

namespace platform {

/// The connection of an endpoint to one service, made on demand and again after it was lost: a
/// `Reconnect` makes it, a `Reader` and a `Sender` use it.
///
/// All operations are called with the endpoint's lock held, give it up while they wait, and hold it
/// again when they return. Results are 0 or an errno value.
class Connection {
public:
    Connection(EndpointState& endpointState, const std::string& service)
        : state(endpointState), reconnect(endpointState, service, replies)
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

    /// The connection when there is one, else null.
    std::shared_ptr<Link> Current() const { return reconnect.Current(); }

private:
    static int Send(Lock& lock, Link& link, IpcMessage& message, FrameKind kind,
                    unsigned int correlation, const Deadline& deadline);
    int AwaitReply(Lock& lock, Link& link, unsigned int correlation, const Deadline& deadline,
                   IpcMessage* reply);

    EndpointState& state;
    ReplyTable replies;
    Reconnect reconnect;
};

}  // namespace platform
