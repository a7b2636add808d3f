#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace view {

enum class Command { Png, FromPng, Pcapng, Terminal, Page };

struct Options {
    Command command = Command::Png;
    std::string input;
    std::string service = "SubtitleMgr";
    std::string output;  ///< a folder, with Pcapng a file, or `-`
    std::optional<std::int64_t> atUs;
    std::optional<unsigned int> region;
    unsigned int width = 640;
    unsigned int scale = 1;
    bool everyChange = false;
    unsigned int port = 0;
    bool noColor = false;
    bool live = false;
};

/// \return false when the program is to end with \p status: help or version was shown, or a
///         mistake was named on standard error
bool ParseOptions(int argc, char** argv, Options& options, int& status);

}  // namespace view
