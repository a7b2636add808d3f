#pragma once

#include "simulator/commentary.h"

#include "platform/src/deadline.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace sim {

/// Decides whether a subscriber is stalled: its oldest queued notification is two seconds old.
/// Publishing no longer waits for it. It stays stalled until its backlog is empty. The age alone is
/// not enough: a stalled subscriber loses its oldest notifications, and the others are younger.
class StallRule {
public:
    using Clock = platform::Deadline::Clock;
    static constexpr std::chrono::seconds limit{2};

    /// \param clientNumber  for the lines that report the first loss or the stall, and its end
    explicit StallRule(unsigned int clientNumber) : client(clientNumber) {}

    bool IsStalled() const { return pace == Pace::Stalled; }

    /// \p count notifications were dropped, for the reason \p why.
    void Lose(unsigned int count, const char* why)
    {
        SlowDown(Pace::LosesSome, why);
        lost += count;
        lostAltogether += count;
    }

    /// Notifications lost since it connected.
    std::uint64_t Lost() const { return lostAltogether; }

    /// Notifications are still queued, the oldest one since \p oldest.
    void Judge(Clock::time_point oldest, Clock::time_point now)
    {
        if (now - oldest >= limit) {
            SlowDown(Pace::Stalled,
                     "stalled, has left notifications unread for two seconds; publishing no "
                     "longer waits for it");
        }
    }

    /// No notification is queued any more, or the client has disconnected.
    void CatchUp() { End("has caught up; notifications lost: "); }
    void Leave() { End("has gone; notifications lost: "); }

private:
    enum class Pace { KeepsUp, LosesSome, Stalled };

    void SlowDown(Pace slower, const char* why)
    {
        if (pace == Pace::KeepsUp) {
            Tell(client, why);
        }
        pace = std::max(pace, slower);
    }

    void End(const char* how)
    {
        if (pace != Pace::KeepsUp) {
            Tell(client, how, std::to_string(lost));  // so short that it needs no memory
        }
        pace = Pace::KeepsUp;
        lost = 0;
    }

    const unsigned int client;
    Pace pace = Pace::KeepsUp;
    unsigned int lost = 0;  ///< since its backlog was empty last
    std::uint64_t lostAltogether = 0;
};

}  // namespace sim
