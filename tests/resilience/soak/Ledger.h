#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

/// Records the subscription calls of many threads, and computes the subscriptions that must exist.
///
/// Subscription numbers: 1 covers 2, 3 and 4.
class Ledger {
public:
    using Token = unsigned long;

    /// A time stamp that orders calls.
    unsigned long long Now() { return ++clock; }

    /// The service has accepted the subscription.
    void Subscribed(unsigned number, Token token, unsigned long long begin);
    /// Also counts without \p confirmed, since the service may have ended the subscription.
    void Unsubscribed(unsigned number, bool confirmed, unsigned long long begin);

    /// The callbacks that may get a publication under each number, without uncertain numbers.
    /// Forgets calls that no longer matter. Only while no call is running.
    std::map<unsigned, std::set<Token>> InForce();

private:
    struct Subscription {
        unsigned number;
        Token token;
        unsigned long long begin;
        unsigned long long end;
        bool isCertain;  ///< no call to end it ran at the same time or later
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

/// Reports forbidden behaviour and ends the run.
[[noreturn]] void Violation(const std::string& what);
