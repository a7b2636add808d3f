#pragma once

#include "simulator/service/notification.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace sim {

/// What one turn may cost, in bytes that are read, copied or queued.
class Budget {
public:
    static constexpr std::uint64_t ofATurn = 1024 * 1024;

    void Spend(std::uint64_t bytes) { left -= std::min(left, bytes); }

    /// A request or control line costs this much besides its bytes, so that a turn has at most 64.
    void SpendStep() { Spend(ofATurn / 64); }

    bool IsSpent() const { return left == 0; }

private:
    std::uint64_t left = ofATurn;
};

/// All peers together, as publishers see them.
class Audience {
public:
    enum class Readiness {
        NoReader,  ///< no subscriber that reads
        Ready,     ///< room for one more notification in every backlog that counts
        Full,      ///< a subscriber that reads has no room at the moment
    };

    virtual ~Audience() = default;

    /// Whether a peer gets what is published under \p subscription.
    virtual bool HasSubscriber(unsigned int subscription) const = 0;

    /// Whether a publication under \p subscription has any effect.
    virtual bool Wants(unsigned int subscription) const { return HasSubscriber(subscription); }

    /// Whether the subscribers that read can take a frame of \p size bytes without loss.
    virtual Readiness ReadinessFor(unsigned int subscription, std::size_t size) = 0;

    /// Queues \p frame for every subscriber. A null frame, for which there was no memory, is lost
    /// for each of them.
    /// \return the number of subscribers
    virtual std::size_t Publish(unsigned int subscription, const SharedFrame& frame) = 0;
};

}  // namespace sim
