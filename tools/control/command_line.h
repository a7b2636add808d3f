#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace control {

constexpr std::size_t longestLine = 65536;

/// Whether \p word is a command of this program and not of the service.
bool IsOwnCommand(const std::string& word);

/// Makes the line that is sent for the words of a command: file names become absolute paths.
///
/// \return false with the reason in \p problem: not a command, or one that cannot be sent
bool MakeLine(std::vector<std::string> words, std::string& line, std::string& problem);

/// How long the service itself waits before it answers the command.
std::int64_t WaitOf(const std::vector<std::string>& words);

}  // namespace control
