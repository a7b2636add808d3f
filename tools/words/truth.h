#pragma once

#include <string>
#include <string_view>

namespace words {

/// Reads t, true, y, yes, on, 1 or f, false, n, no, off, 0; upper and lower case are the same.
/// \return false when \p word is none of them
bool ParseTruth(std::string_view word, bool& truth);

/// The message about \p word, which is none of them.
std::string NotATruth(std::string_view word);

}  // namespace words
