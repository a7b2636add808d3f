#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

/// What calls on many threads did to the subscriptions, and what must be in force by it.
///
/// Subscription numbers: 1 covers 2, 3 and 4.
class Ledger {
public:
    using Token = unsigned long;

    /// A moment, to order calls by.
    unsigned long long Now() { return ++clock; }

    /// The service has accepted.
    void Subscribed(unsigned number, Token token, unsigned long long begin);
    /// Whether or not it was \p confirmed: the service may have done it all the same.
    void Unsubscribed(unsigned number, bool confirmed, unsigned long long begin);

    /// Which callbacks may get what is published under a number; a number that nothing is certain
    /// about is left out. Forgets what can no longer matter. Only while no call is under way.
    std::map<unsigned, std::set<Token>> InForce();

private:
    struct Subscription {
        unsigned number;
        Token token;
        unsigned long long begin;
        unsigned long long end;
        bool isCertain;  ///< no call to end it ran beside or after it
    };
    struct End {
        unsigned number;
        bool confirmed;
        unsigned long long begin;
        unsigned long long end;
    };

    bool IsGone(const Subscription& subscription) const;
    bool IsCertain(const Subscription& subscription) const;

    std::atomic<unsigned long long> clock{0};
    std::mutex mutex;
    std::vector<Subscription> subscriptions;
    std::vector<End> ends;
};

/// Ends the run: something must not have happened.
[[noreturn]] void Violation(const std::string& what);
