#pragma once

#include "words/number_list.h"

#include <cstdint>
#include <limits>
#include <string_view>

namespace sim {

/// How something is played. Moments are microseconds of the play, at any rate.
struct PlayOptions {
    double rate = 1;  ///< 2 is twice as fast; 0 is as fast as the readers take it
    std::int64_t fromUs = 0;
    std::int64_t untilUs = std::numeric_limits<std::int64_t>::max();  ///< and no longer
    words::NumberSet regions = words::NumberSet().set();              ///< others are left out
    bool loop = false;
    bool isPaused = false;        ///< from the beginning
    bool awaitsRequests = false;  ///< of a recording, which are skipped otherwise
};

/// Reads a rate.
///
///     0, 1, 0.25, 1000 -> that rate     refused: "", "-1", "1e3", "2x", more than a million
bool ParseRate(std::string_view text, double& rate);

}  // namespace sim
