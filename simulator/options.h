#pragma once

#include "simulator/play/options.h"
#include "simulator/service/fault_spec.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// The options of the command line.
struct Options {
    std::string name = "SubtitleMgr";
    std::string journal;  ///< empty for none, - for standard output
    std::string record;   ///< empty for none
    std::string check;    ///< what is only checked; empty for none
    std::string state;    ///< to begin with; empty for none
    std::string play;     ///< empty for none
    PlayOptions playing;
    bool exitAtEnd = false;  ///< of the play
    std::optional<std::int64_t> forUs;
    bool quiet = false;
    std::vector<FaultSpec> faults;
};

/// Reads the command line; prints help, version or what is wrong.
/// \return true to go on; false to end with \p status
bool ParseOptions(int argc, char** argv, Options& options, int& status);

}  // namespace sim
