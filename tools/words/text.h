#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace words {

/// The words of a line, and the column where each of them begins, in bytes from 1.
struct Line {
    std::vector<std::string> words;
    std::vector<std::size_t> columns;
};

/// Splits a line into its words, which blanks and tabs separate; `#` begins a comment.
Line SplitLine(const std::string& line);
std::vector<std::string> Split(const std::string& line);

/// A word in quotes for a message: at most 40 characters, without control characters.
std::string Quoted(std::string_view word);

/// \return whether \p digits are a number of that base and nothing else
bool ParseNumber(std::string_view digits, unsigned int& number, int base = 10);

/// Reads pairs of hexadecimal digits. \return false when \p digits are something else
bool ParseHex(std::string_view digits, std::vector<unsigned char>& bytes);

}  // namespace words
