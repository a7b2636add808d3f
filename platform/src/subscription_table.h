#pragma once

#include <map>
#include <vector>

class LinxIpc;

namespace platform {

/// One subscription of this endpoint, or a request to end some.
struct Subscription {
    unsigned int number;
    unsigned int itemId;
    void (*callback)(LinxIpc*, void*);
    void* userData;
    bool ends = false;  ///< all that \p number covers; the rest is not used then
};

/// The subscriptions of an endpoint. Each request to change them has an entry of its own, found by
/// its correlation, from before it is sent until its reply is sorted or its call gives up. So what
/// is in force follows the order in which the service answered, whichever calls meet.
///
/// Not synchronised: the endpoint's lock guards it.
class SubscriptionTable {
public:
    /// Adds the entry of a request with this correlation; changes nothing that is in force.
    void Add(const Subscription& wanted, unsigned int correlation);

    /// The service has accepted that request, if it has an entry: its subscription takes the place
    /// of an earlier one with the same number, or ends those that it covers. Needs no memory.
    void Accept(unsigned int correlation);

    /// Removes the entry of that request, if it is still there.
    void Forget(unsigned int correlation) { pending.erase(correlation); }

    /// Removes every accepted subscription that \p number covers.
    void End(unsigned int number);

    /// The one whose callback takes a notification of \p number and \p itemId; null when there is
    /// none. One that is not accepted yet takes what comes before the service's reply.
    const Subscription* Find(unsigned int number, unsigned int itemId) const;

    /// In the order in which they were accepted.
    const std::vector<Subscription>& Accepted() const { return accepted; }
    bool HasAccepted() const { return !accepted.empty(); }

private:
    template <typename Condition>
    void Remove(const Condition& condition);

    std::vector<Subscription> accepted;
    std::map<unsigned int, Subscription> pending;  ///< by correlation
};

}  // namespace platform
