#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace words {

/// The word of \p known that \p word was probably meant to be: the one that fewest typing errors
/// change into it, at most one error for each three characters. An error is a character that is
/// missing, surplus or wrong, or two that are swapped; upper and lower case are the same.
///
/// \return empty when none is near
std::string_view NearestWord(std::string_view word, const std::vector<std::string_view>& known);

/// What follows an error message about \p word: "; did you mean hd?", or nothing.
std::string Suggestion(std::string_view word, const std::vector<std::string_view>& known);

}  // namespace words
