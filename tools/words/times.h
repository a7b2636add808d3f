#pragma once

#include <cstdint>
#include <string_view>

namespace words {

constexpr std::int64_t usPerSecond = 1000000;

/// The longest time: small enough to be added to any clock.
constexpr std::int64_t longestTimeUs = 1000000000 * usPerSecond;

/// Reads a time as people write it.
///
///     500ms -> 500000 us     2s -> 2000000 us     1.5 -> 1500000 us
///     refused: "", "s", ".5", "2.", "1e3", "-1", "2 s", "2m", parts of a microsecond
///
/// \param plainUs  unit of a number without one, in microseconds
/// \return false when \p text is no time or a longer one than longestTimeUs
bool ParseTime(std::string_view text, std::int64_t& microseconds,
               std::int64_t plainUs = usPerSecond);

}  // namespace words
