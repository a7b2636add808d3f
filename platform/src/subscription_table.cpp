#include "platform/src/subscription_table.h"

#include "platform/src/wire_format.h"

#include <algorithm>

namespace platform {

template <typename Condition>
void SubscriptionTable::Remove(const Condition& condition)
{
    entries.erase(std::remove_if(entries.begin(), entries.end(), condition), entries.end());
}

void SubscriptionTable::Add(const Subscription& wanted, unsigned int correlation)
{
    entries.push_back(wanted);
    entries.back().correlation = correlation;
}

void SubscriptionTable::Accept(unsigned int correlation)
{
    const auto isIt = [=](const Subscription& s) { return s.correlation == correlation; };
    const auto entry = std::find_if(entries.begin(), entries.end(), isIt);
    if (entry == entries.end()) {
        return;
    }
    Subscription accepted = *entry;
    accepted.correlation = 0;
    entries.erase(entry);
    if (accepted.ends) {
        End(accepted.number);
        return;
    }
    Remove([&](const Subscription& s) { return !IsPending(s) && s.number == accepted.number; });
    entries.insert(std::find_if(entries.begin(), entries.end(), IsPending), accepted);
}

void SubscriptionTable::Forget(unsigned int correlation)
{
    Remove([=](const Subscription& s) { return s.correlation == correlation; });
}

void SubscriptionTable::End(unsigned int number)
{
    Remove([=](const Subscription& s) {
        return !IsPending(s) && subscriptions::Covers(number, s.number);
    });
}

const Subscription* SubscriptionTable::Find(unsigned int number, unsigned int itemId) const
{
    const Subscription* found = nullptr;
    for (const Subscription& entry : entries) {
        // The exact number goes before the one that covers it, and an accepted entry before one
        // that is to replace it.
        if (!entry.ends && entry.itemId == itemId && subscriptions::Covers(entry.number, number) &&
            (!found || (found->number != number && entry.number == number))) {
            found = &entry;
        }
    }
    return found;
}

std::vector<Subscription> SubscriptionTable::Accepted() const
{
    return {entries.begin(), std::find_if(entries.begin(), entries.end(), IsPending)};
}

}  // namespace platform
