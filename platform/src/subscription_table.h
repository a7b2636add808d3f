#pragma once

#include <vector>

class LinxIpc;

namespace platform {

/// One subscription of this endpoint, or a request to end some.
struct Subscription {
    unsigned int number;
    unsigned int itemId;
    void (*callback)(LinxIpc*, void*);
    void* userData;
    bool ends = false;             ///< all that \p number covers; the rest is not used then
    unsigned int correlation = 0;  ///< of the request that is not answered yet; 0 once accepted
};

inline bool IsPending(const Subscription& entry) { return entry.correlation != 0; }

/// The subscriptions of an endpoint. Each request to change them has an entry of its own, found by
/// its correlation, from before it is sent until its reply is sorted or its call gives up. So what
/// is in force follows the order in which the service answered, whichever calls meet.
///
/// Not synchronised: the endpoint's lock guards it.
class SubscriptionTable {
public:
    /// Adds the entry of a request with this correlation. What is in force stays so beside it.
    void Add(const Subscription& wanted, unsigned int correlation);

    /// The service has accepted that request, if it has an entry: its subscription takes the place
    /// of an earlier one with the same number, or ends those that it covers. Needs no memory.
    void Accept(unsigned int correlation);

    /// Removes the entry of that request, if it is still there.
    void Forget(unsigned int correlation);

    /// Removes every accepted subscription that \p number covers.
    void End(unsigned int number);

    /// The one whose callback takes a notification of \p number and \p itemId; null when there is
    /// none. One that is not accepted yet takes what comes before the service's reply.
    const Subscription* Find(unsigned int number, unsigned int itemId) const;

    /// The accepted ones, in the order in which they were accepted.
    std::vector<Subscription> Accepted() const;
    bool HasAccepted() const { return !entries.empty() && !IsPending(entries.front()); }

private:
    template <typename Condition>
    void Remove(const Condition& condition);

    std::vector<Subscription> entries;  ///< the accepted ones first
};

}  // namespace platform
