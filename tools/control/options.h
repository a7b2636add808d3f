#pragma once

#include "words/times.h"

#include <cstdint>
#include <string>
#include <vector>

namespace control {

struct Options {
    std::string name = "SubtitleMgr";
    bool json = false;
    bool once = false;                 ///< of the command top
    bool prometheus = false;           ///< of the command top; implies once
    std::int64_t timeoutUs = -1;       ///< -1 until all options are read
    std::vector<std::string> command;  ///< words, at least one
};

/// \return false when the program is to end with \p status: help or version was shown, or a
///         mistake was named on standard error
bool ParseOptions(int argc, char** argv, Options& options, int& status);

}  // namespace control
