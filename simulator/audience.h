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
        Full,      ///< one that reads has no room at the moment
    };

    virtual ~Audience() = default;

    /// Whether some peer gets what is published under \p subscription.
    virtual bool HasSubscriber(unsigned int subscription) const = 0;

    /// Whether a frame of \p size bytes can be published without loss for the subscribers that
    /// read.
    virtual Readiness ReadinessFor(unsigned int subscription, std::size_t size) = 0;

    /// Queues \p frame for every subscriber. A null frame, for which there was no memory, counts as
    /// lost for each of them.
    /// \return how many they are
    virtual std::size_t Publish(unsigned int subscription, const SharedFrame& frame) = 0;
};

}  // namespace sim
