#pragma once

#include "tests/fuzz/reference_frames.h"

#include <deque>
#include <string>
#include <vector>

/// Computes from a service's bytes which calls of an endpoint succeed and which notifications
/// arrive. Shares no code with the endpoint.
class EndpointModel {
public:
    struct Notification {
        std::string payload;
        void* tag;
    };

    void Connected();
    void Disconnected() { connected = false; }
    bool IsConnected() const { return connected; }

    /// The service has sent \p bytes.
    void Hears(const std::string& bytes);

    /// The next request is \p request with this correlation; Hears() decides about its result.
    void Expect(unsigned int request, unsigned int correlation);
    int Result() const { return result; }
    void EndRequest() { awaits = false; }

    struct Subscription {
        unsigned int number;
        unsigned int item;
    };
    void BeginSubscription(const Subscription& asked) { subscriptions.push_back(asked); }
    /// The service accepts or refuses the last subscription that was begun.
    void SettleSubscription(bool accepted);
    void EndSubscription(unsigned int number);
    std::vector<Subscription> Subscriptions() const { return subscriptions; }

    /// User data of that subscription's callback.
    static void* TagOf(const Subscription& subscription);

    std::size_t Awaited() const { return queue.size(); }
    Notification TakeNotification();

private:
    void Handle(const ReferenceFrame& frame);
    void TakeReply(const ReferenceFrame& frame);
    const Subscription* SubscriptionFor(const ReferenceFrame& frame) const;
    void ForgetUnwanted();
    void Lose();

    bool connected = false;
    std::string stream;
    bool awaits = false;
    unsigned int awaitedRequest = 0;
    unsigned int awaitedCorrelation = 0;
    int result = 0;
    std::vector<Subscription> subscriptions;  ///< a pending one is the last
    std::deque<ReferenceFrame> queue;
};
