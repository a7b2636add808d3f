#pragma once

#include <string>

namespace sim {

/// What the service does wrong on purpose.
struct Faults {
    bool refuseSubscribe = false;
    bool refuseRefresh = false;
    bool refuseSensor = false;
    bool mute = false;     ///< takes requests in and never answers
    bool hangUp = false;   ///< closes the connection instead of answering
    bool garbage = false;  ///< malformed notifications between the good ones
};

/// What the command line asks for.
struct Options {
    std::string name = "SubtitleMgr";
    std::string journal;   ///< empty for none
    std::string scenario;  ///< empty for none
    bool loop = false;
    bool quiet = false;
    Faults faults;
};

/// Reads the command line; prints help, version or what is wrong.
/// \return true to go on; false to end with \p status
bool ParseOptions(int argc, char** argv, Options& options, int& status);

}  // namespace sim
