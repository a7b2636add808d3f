#pragma once

#include <string>

namespace control {

/// What the command doctor has found out about one thing.
struct Finding {
    std::string check;   ///< the thing: directory, service, ...
    std::string text;    ///< in words
    std::string repair;  ///< a command for a shell; empty if nothing is wrong
};

/// \p word as one word of a shell.
std::string ShellWord(const std::string& word);

/// The command that moves a file away which is in the way.
std::string MoveAway(const std::string& path);

}  // namespace control
