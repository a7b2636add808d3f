#pragma once

#include "platform/src/wire_format.h"

#include <algorithm>
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
    bool ends = false;  ///< a request to end all that \p number covers; uses no other member
};

/// The subscriptions of an endpoint. Each request to change them has an entry of its own, found by
/// its correlation, from before it is sent until its reply is sorted or its call gives up. So the
/// order of the service's answers decides what is in force, also when calls run at the same time.
///
/// Not synchronised: the endpoint's lock guards it.
class SubscriptionTable {
public:
    /// Adds the entry of a request with this correlation; changes nothing that is in force.
    void Add(const Subscription& wanted, unsigned int correlation)
    {
        accepted.reserve(accepted.size() + pending.size() + 1);  // for Accept()
        pending[correlation] = wanted;
    }

    /// Removes the entry of that request, if it is still there.
    void Forget(unsigned int correlation) { pending.erase(correlation); }

    /// The service has accepted that request, if it has an entry: its subscription takes the place
    /// of an earlier one with the same number, or ends those that it covers. Needs no memory.
    void Accept(unsigned int correlation)
    {
        const auto entry = pending.find(correlation);
        if (entry == pending.end()) {
            return;
        }
        const Subscription change = entry->second;
        pending.erase(entry);
        if (change.ends) {
            End(change.number);
        } else {
            Remove([&](const Subscription& s) { return s.number == change.number; });
            accepted.push_back(change);
        }
    }

    /// Removes every accepted subscription that \p number covers.
    void End(unsigned int number)
    {
        Remove([=](const Subscription& s) { return subscriptions::Covers(number, s.number); });
    }

    /// The one whose callback takes a notification of \p number and \p itemId; null when there is
    /// none. A pending one takes the notifications that come before the service's reply.
    const Subscription* Find(unsigned int number, unsigned int itemId) const
    {
        // The exact number precedes one that covers it, an accepted entry precedes a pending one.
        const Subscription* found = nullptr;
        const auto consider = [&](const Subscription& entry) {
            if (!entry.ends && entry.itemId == itemId &&
                subscriptions::Covers(entry.number, number) &&
                (!found || (found->number != number && entry.number == number))) {
                found = &entry;
            }
        };
        std::for_each(accepted.begin(), accepted.end(), consider);
        for (const auto& entry : pending) {
            consider(entry.second);
        }
        return found;
    }

    /// In the order in which they were accepted.
    const std::vector<Subscription>& Accepted() const { return accepted; }
    bool HasAccepted() const { return !accepted.empty(); }

private:
    template <typename Condition>
    void Remove(const Condition& condition)
    {
        accepted.erase(std::remove_if(accepted.begin(), accepted.end(), condition), accepted.end());
    }

    std::vector<Subscription> accepted;
    std::map<unsigned int, Subscription> pending;  ///< by correlation
};

}  // namespace platform
