#pragma once

#include <string>

namespace sim {

/// The faults that the service causes.
struct Faults {
    bool refuseSubscribe = false;
    bool refuseRefresh = false;
    bool refuseSensor = false;
    bool mute = false;     ///< takes requests in and never answers
    bool hangUp = false;   ///< closes the connection instead of replying
    bool garbage = false;  ///< malformed notifications between the good ones
};

/// The options of the command line.
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
