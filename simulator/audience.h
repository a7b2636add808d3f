#pragma once

#include "simulator/notification.h"

#include <cstddef>

namespace sim {

/// All peers together, as those see them who publish.
class Audience {
public:
    enum class Readiness {
        Nobody,  ///< no subscriber that reads
        Ready,   ///< room for one more notification in every backlog that counts
        Full,    ///< one that reads has no room at the moment
    };

    virtual ~Audience() = default;

    /// Whether some peer gets what is published under \p subscription.
    virtual bool HasSubscriber(unsigned int subscription) const = 0;

    /// Whether a frame of \p size bytes can be published without loss for those who read.
    virtual Readiness ReadinessFor(unsigned int subscription, std::size_t size) = 0;

    /// Queues \p frame for every subscriber. \return how many they are
    virtual std::size_t Publish(unsigned int subscription, const SharedFrame& frame) = 0;
};

}  // namespace sim
