#pragma once

#include "platform/src/wire_format.h"

#include <cstddef>

namespace sim {

/// What a request leads to.
struct Outcome {
    platform::Result result = platform::Result::Accepted;

    /// The records that are still to be published, by their numbers; see
    /// SubtitleService::Publish().
    unsigned int next = 0;
    unsigned int end = 0;

    std::size_t bytesTouched = 0;  ///< of what the service keeps

    bool IsPublished() const { return next == end; }
};

}  // namespace sim
