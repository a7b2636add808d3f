#pragma once

#include "simulator/fault_spec.h"

#include <string>
#include <vector>

namespace sim {

/// The options of the command line.
struct Options {
    std::string name = "SubtitleMgr";
    std::string journal;   ///< empty for none
    std::string scenario;  ///< empty for none
    std::string check;     ///< the scenario that is only checked; empty for none
    bool loop = false;
    bool quiet = false;
    std::vector<FaultSpec> faults;
};

/// Reads the command line; prints help, version or what is wrong.
/// \return true to go on; false to end with \p status
bool ParseOptions(int argc, char** argv, Options& options, int& status);

}  // namespace sim
