#include "subscription_table.h"

#include "wire_format.h"

#include <algorithm>
#include <iterator>

void SubscriptionTable::Add(const Subscription& subscription)
{
    for (Subscription& entry : entries) {
        if (entry.number == subscription.number) {
            const bool accepted = entry.accepted;
            entry = subscription;
            entry.accepted = accepted;
            return;
        }
    }
    entries.push_back(subscription);
}

void SubscriptionTable::Settle(unsigned int number, bool accepted)
{
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [=](const Subscription& s) { return s.number == number; });
    if (entry == entries.end()) {
        return;
    }
    if (accepted) {
        entry->accepted = true;
    } else if (!entry->accepted) {
        entries.erase(entry);
    }
}

void SubscriptionTable::Remove(unsigned int number)
{
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [=](const Subscription& s) {
                                     return subscriptions::Covers(number, s.number);
                                 }),
                  entries.end());
}

const Subscription* SubscriptionTable::Find(unsigned int number, unsigned int itemId) const
{
    const Subscription* found = nullptr;
    for (const Subscription& entry : entries) {
        // The exact number goes before the one that covers it.
        if (entry.itemId == itemId && subscriptions::Covers(entry.number, number) &&
            (!found || entry.number == number)) {
            found = &entry;
        }
    }
    return found;
}

std::vector<Subscription> SubscriptionTable::Accepted() const
{
    std::vector<Subscription> accepted;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(accepted),
                 [](const Subscription& s) { return s.accepted; });
    return accepted;
}

bool SubscriptionTable::HasAccepted() const
{
    return std::any_of(entries.begin(), entries.end(),
                       [](const Subscription& s) { return s.accepted; });
}
