#pragma once

#include <vector>

class LinxIpc;

namespace platform {

/// One subscription of this endpoint.
struct Subscription {
    unsigned int number;
    unsigned int itemId;
    void (*callback)(LinxIpc*, void*);
    void* userData;
    bool accepted;  ///< the service has confirmed it, so it is renewed with a lost connection
};

/// The subscriptions of an endpoint. Not synchronised: the endpoint's lock guards it.
class SubscriptionTable {
public:
    /// Adds a subscription that the service has not confirmed yet. One with the same number that it
    /// has stays in force beside it.
    void Add(const Subscription& subscription);

    /// Settles what Add() began: true keeps the new subscription in place of an earlier one, false
    /// takes it out and leaves an earlier one as it was.
    void Settle(unsigned int number, bool accepted);

    /// Removes every subscription that \p number covers.
    void Remove(unsigned int number);

    /// The one whose callback takes a notification of \p number and \p itemId; null when there is none.
    const Subscription* Find(unsigned int number, unsigned int itemId) const;

    /// Accepted ones, in the order in which they were made.
    std::vector<Subscription> Accepted() const;

    bool HasAccepted() const;

private:
    void Erase(unsigned int number, bool accepted);

    std::vector<Subscription> entries;
};

}  // namespace platform
