#include "platform/src/subscription_table.h"

#include "platform/src/wire_format.h"

#include <algorithm>

namespace platform {

template <typename Condition>
void SubscriptionTable::Remove(const Condition& condition)
{
    accepted.erase(std::remove_if(accepted.begin(), accepted.end(), condition), accepted.end());
}

void SubscriptionTable::Add(const Subscription& wanted, unsigned int correlation)
{
    accepted.reserve(accepted.size() + pending.size() + 1);  // for Accept()
    pending[correlation] = wanted;
}

void SubscriptionTable::Accept(unsigned int correlation)
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

void SubscriptionTable::End(unsigned int number)
{
    Remove([=](const Subscription& s) { return subscriptions::Covers(number, s.number); });
}

const Subscription* SubscriptionTable::Find(unsigned int number, unsigned int itemId) const
{
    // The exact number goes before the one that covers it, and an accepted entry before one that is
    // to replace it.
    const Subscription* found = nullptr;
    const auto consider = [&](const Subscription& entry) {
        if (!entry.ends && entry.itemId == itemId && subscriptions::Covers(entry.number, number) &&
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

}  // namespace platform
