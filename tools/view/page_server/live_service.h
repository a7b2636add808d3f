#pragma once

#include "platform/src/messaging_directory.h"
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

    /// When the service made its socket, in nanoseconds; 0 while there is none. The endpoint
    /// connects again without a word, and then the state that it missed has to be asked for.
    std::int64_t SocketTime() const;

    /// \return whether a notification came
    bool Receive(LinxIpc& endpoint);

    LiveState& state;
    const std::string service;
    platform::MessagingDirectory directory;
    std::int64_t refreshedSocket = 0;
    tap::Subscriber subscriber;
    std::optional<LinxIpc> ipc;
    Client client;
    std::atomic<bool> isOver{false};
    std::thread thread;
};

}  // namespace view
