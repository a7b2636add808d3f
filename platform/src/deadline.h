#pragma once

#include <chrono>

namespace platform {

/// A point in time to wait for, or none; on the monotonic clock.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    /// \p waitMs milliseconds from now; negative for no limit.
    explicit Deadline(int waitMs)
        : limited(waitMs >= 0),
          at(limited ? Clock::now() + std::chrono::milliseconds(waitMs) : Clock::time_point())
    {
    }

    bool IsLimited() const { return limited; }
    Clock::time_point At() const { return at; }
    bool HasPassed() const { return limited && Clock::now() >= at; }

    /// This point in time or \p other, whichever comes first.
    Deadline Sooner(const Deadline& other) const
    {
        return !limited || (other.limited && other.at < at) ? other : *this;
    }

    /// Milliseconds left, rounded up so that no wait ends early; -1 for no limit, as in poll().
    int RemainingMs() const
    {
        if (!limited) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(at - Clock::now()).count();
        return left > 0 ? static_cast<int>(left) : 0;
    }

private:
    bool limited;
    Clock::time_point at;
};

}  // namespace platform
