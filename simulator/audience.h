#pragma once

#include "simulator/notification.h"

#include <cstddef>

namespace sim {

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

    /// Whether the subscribers that read can take a frame of \p size bytes without loss.
    virtual Readiness ReadinessFor(unsigned int subscription, std::size_t size) = 0;

    /// Queues \p frame for every subscriber; each of them loses a null frame, for which there was
    /// no memory.
    /// \return the number of subscribers
    virtual std::size_t Publish(unsigned int subscription, const SharedFrame& frame) = 0;
};

}  // namespace sim
