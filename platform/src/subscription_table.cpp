#include "platform/src/subscription_table.h"

#include "platform/src/wire_format.h"

#include <algorithm>
#include <iterator>

namespace platform {

void SubscriptionTable::Add(const Subscription& subscription)
{
    Erase(subscription.number, /*accepted*/ false);
    entries.push_back(subscription);
    entries.back().accepted = false;
}

void SubscriptionTable::Settle(unsigned int number, bool accepted)
{
    if (!accepted) {
        Erase(number, false);
        return;
    }
    Erase(number, true);
    for (Subscription& entry : entries) {
        entry.accepted = entry.accepted || entry.number == number;
    }
}

void SubscriptionTable::Erase(unsigned int number, bool accepted)
{
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [=](const Subscription& s) {
                                     return s.number == number && s.accepted == accepted;
                                 }),
                  entries.end());
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
        // The exact number goes before the one that covers it, and what was accepted, which stands
        // in front, before what is to replace it.
        if (entry.itemId == itemId && subscriptions::Covers(entry.number, number) &&
            (!found || (found->number != number && entry.number == number))) {
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

}  // namespace platform
