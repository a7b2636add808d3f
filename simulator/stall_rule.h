#pragma once

#include "platform/src/deadline.h"

#include <chrono>

namespace sim {

/// Tells a subscriber that keeps up from a stalled one, for which publishing no longer waits: its
/// oldest queued notification is two seconds old. It stays stalled until its backlog is empty. The
/// age alone would not do: a stalled subscriber loses its oldest notifications, so the others are
/// young.
class StallRule {
public:
    using Clock = platform::Deadline::Clock;
    static constexpr std::chrono::seconds limit{2};

    /// \param clientNumber  for the lines that tell of the first loss or stall, and of its end
    explicit StallRule(unsigned int clientNumber) : client(clientNumber) {}

    bool IsStalled() const { return pace == Pace::Stalled; }

    /// \p count notifications were dropped, for the reason \p why.
    void Lose(unsigned int count, const char* why);

    /// Notifications are still queued, the oldest one since \p oldest.
    void Judge(Clock::time_point oldest, Clock::time_point now);

    /// No notification is queued any more.
    void CatchUp() { End("has caught up; notifications lost: "); }

    /// The client has gone.
    void Leave() { End("has gone; notifications lost: "); }

private:
    enum class Pace { KeepsUp, LosesSome, Stalled };

    void SlowDown(Pace slower, const char* why);
    void End(const char* how);

    const unsigned int client;
    Pace pace = Pace::KeepsUp;
    unsigned int lost = 0;  ///< since it kept up
};

}  // namespace sim
