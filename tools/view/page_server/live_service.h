#pragma once

#include "tap/subscriber.h"
#include "view/page_server/live_state.h"

#include <LinxIpc.h>
#include <SubscribeClient.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>

namespace view {

/// Follows what a service publishes, on a thread of its own. Asks it for subscriptions, to publish
/// what it keeps, and for an answer to a ping while nothing comes; nothing that changes it.
class LiveService {
public:
    LiveService(const std::string& name, LiveState& stateToFill);
    ~LiveService();
    LiveService(const LiveService&) = delete;
    LiveService& operator=(const LiveService&) = delete;

    /// \return why the service cannot be followed; empty if it is
    std::string Start();

private:
    /// A SubtitleClient knows the service of one name alone.
    class Client : public SubscribeClient {
    public:
        Client(LinxIpc& endpoint, const std::string& service);
        bool Refresh();
        bool Ping();
    };

    void Follow(LinxIpc& endpoint);

    /// \return whether a notification came
    bool Receive(LinxIpc& endpoint);

    LiveState& state;
    const std::string service;
    tap::Subscriber subscriber;
    std::optional<LinxIpc> ipc;
    Client client;
    std::atomic<bool> isOver{false};
    std::thread thread;
};

}  // namespace view
