#pragma once

#include "tests/fuzz/reference_frames.h"

#include <deque>
#include <string>
#include <vector>

/// What an endpoint makes of a service's bytes: which calls succeed and which notifications arrive.
/// It shares no code with the endpoint.
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
    int TakeResult();

    void BeginSubscription(unsigned int number, unsigned int item);
    void SettleSubscription(bool accepted);
    void EndSubscription(unsigned int number);
    std::vector<unsigned int> Subscribed() const;

    /// User data of that subscription's callback.
    static void* TagOf(unsigned int number, unsigned int item);

    std::size_t Awaited() const { return queue.size(); }
    Notification TakeNotification();

private:
    struct Subscription {
        unsigned int number;
        unsigned int item;
        bool accepted;
    };

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
    std::vector<Subscription> subscriptions;
    std::deque<ReferenceFrame> queue;
};
