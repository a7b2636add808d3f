#pragma once

#include <bitset>
#include <string_view>

namespace words {

/// Numbers of regions: each byte is one.
using NumberSet = std::bitset<256>;

/// Reads a list of numbers and ranges.
///
///     1,3-5 -> 1, 3, 4, 5     refused: "", "1,", "5-3", "256", "1 2", "-1"
///
/// \return false when \p text is no such list
bool ParseNumbers(std::string_view text, NumberSet& numbers);

}  // namespace words
