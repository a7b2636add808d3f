#pragma once

#include "tap/filter.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tap {

/// What the time of a text line is.
enum class TimeForm { Absolute, Delta, Zero };

struct Options {
    Filter filter;
    std::uint64_t count = 0;  ///< 0: no limit
    std::optional<std::int64_t> runUs;
    std::int64_t waitForServiceUs = 0;
    std::string output;  ///< empty: standard output
    TimeForm time = TimeForm::Absolute;
    bool json = false;
    bool rates = false;
    bool refresh = false;
};

/// \return false when the program is to end with \p status: help or version was shown, or a
///         mistake was named on standard error
bool ParseOptions(int argc, char** argv, Options& options, int& status);

}  // namespace tap
