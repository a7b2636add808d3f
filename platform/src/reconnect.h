#pragma once

#include "platform/src/link.h"

#include <memory>
#include <string>
#include <vector>

namespace platform {

/// Makes the link to one service on demand, and another one after it was lost, with the accepted
/// subscriptions renewed. All operations are called with the endpoint's lock held.
class Reconnect {
public:
    /// Connecting to a stopped service would wait without end, also for requests without limit.
    static constexpr int connectLimitMs = 1000;

    Reconnect(EndpointState& endpointState, const std::string& serviceName)
        : state(endpointState), service(serviceName)
    {
    }

    /// The open link, else null.
    std::shared_ptr<Link> Current() const { return link && link->isOpen ? link : nullptr; }

    /// The link, made when there is none. One call at a time tries; others wait for its result.
    /// \return 0 or an errno value
    int Open(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened);

    /// For a call that only receives: makes the link at most twice a second, or waits.
    void OpenNowAndThen(Lock& lock, const Deadline& deadline);

private:
    int Connect(Lock& lock, const Deadline& deadline, std::shared_ptr<Link>& opened);
    std::vector<unsigned char> RenewalFrames() const;

    EndpointState& state;
    const std::string& service;
    std::shared_ptr<Link> link;
    bool connecting = false;
    Deadline nextAttempt{0};
};

}  // namespace platform
