#include "tests/resilience/soak/Ledger.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

bool Covers(unsigned held, unsigned number)
{
    return held == number || (held == 1 && number >= 2 && number <= 4);
}

}  // namespace

void Ledger::Subscribed(unsigned number, Token token, unsigned long long begin)
{
    const std::lock_guard<std::mutex> lock(mutex);
    subscriptions.push_back({number, token, begin, Now(), true});
}

void Ledger::Unsubscribed(unsigned number, bool confirmed, unsigned long long begin)
{
    const std::lock_guard<std::mutex> lock(mutex);
    ends.push_back({number, confirmed, begin, Now()});
}

/// A call that began after this subscription's call replaced or ended it.
bool Ledger::IsGone(const Subscription& subscription) const
{
    return std::any_of(subscriptions.begin(), subscriptions.end(),
                       [&](const Subscription& other) {
                           return other.number == subscription.number &&
                                  other.begin > subscription.end;
                       }) ||
           std::any_of(ends.begin(), ends.end(), [&](const End& end) {
               return end.confirmed && Covers(end.number, subscription.number) &&
                      end.begin > subscription.end;
           });
}

bool Ledger::IsCertain(const Subscription& subscription) const
{
    return subscription.isCertain && std::none_of(ends.begin(), ends.end(), [&](const End& end) {
               return Covers(end.number, subscription.number) && end.end > subscription.begin;
           });
}

std::map<unsigned, std::set<Ledger::Token>> Ledger::InForce()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<Subscription> kept;
    std::map<unsigned, std::set<Token>> certain;
    std::map<unsigned, std::set<Token>> possible;
    for (Subscription& subscription : subscriptions) {
        if (!IsGone(subscription)) {
            kept.push_back(subscription);
            kept.back().isCertain = IsCertain(subscription);
            possible[subscription.number].insert(subscription.token);
            if (kept.back().isCertain) {
                certain[subscription.number].insert(subscription.token);
            }
        }
    }
    subscriptions = kept;
    ends.clear();
    // The service may answer concurrent calls in any order.
    std::map<unsigned, std::set<Token>> inForce;
    for (const unsigned number : {2u, 3u, 4u, 6u, 10u}) {
        const bool isCovered = certain.count(1) > 0 && number <= 4;
        if (certain.count(number) > 0 || isCovered) {
            inForce[number] = possible[number];
            if (certain.count(number) == 0) {
                inForce[number].insert(possible[1].begin(), possible[1].end());
            }
        }
    }
    return inForce;
}

void Violation(const std::string& what)
{
    std::printf("VIOLATION: %s\n", what.c_str());
    std::fflush(stdout);
    std::_Exit(1);
}
