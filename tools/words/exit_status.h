#pragma once

/// Exit statuses of all tools.
namespace words {
constexpr int exitDone = 0;
constexpr int exitFailed = 1;      ///< refused or failed
constexpr int exitUnusable = 2;    ///< wrong usage or unusable input
constexpr int exitNoService = 3;   ///< no service, or it accepts no subscription
constexpr int exitTimeRanOut = 4;  ///< the awaited event did not happen in time
}  // namespace words
