#pragma once

#include "platform/src/link.h"

#include <memory>
#include <string>
#include <vector>

namespace platform {

/// Connecting waits for a service that is stopped, so also a request without limit ends then.
constexpr int connectLimitMs = 1000;

/// Makes the connection to one service when there is none, and renews the subscriptions with it
/// before any other call can send.
class Reconnect {
public:
    Reconnect(EndpointState& endpointState, const std::string& serviceName,
              ReplyTable& awaitedReplies)
        : state(endpointState), service(serviceName), replies(awaitedReplies)
    {
    }

    /// The connection when there is one, else null.
    std::shared_ptr<Link> Current() const { return link && link->isOpen ? link : nullptr; }

    /// Makes a connection when there is none. One call at a time tries; others wait for its result.
    int Open(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened);

    /// When a call that only receives may try again.
    const Deadline& NextAttempt() const { return nextAttempt; }

private:
    int Connect(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened);
    std::vector<unsigned char> RenewalFrames() const;

    EndpointState& state;
    const std::string service;
    ReplyTable& replies;
    std::shared_ptr<Link> link;
    bool connecting = false;
    Deadline nextAttempt{0};
};

}  // namespace platform
