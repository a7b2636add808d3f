#pragma once

#include <string>
#include <vector>

namespace sim {

/// What a fault causes; the strongest first.
enum class FaultKind {
    Crash,       ///< the process ends at once; socket and lock stay
    Restart,     ///< closes all connections for a time, comes back without what it kept
    HangUp,      ///< closes the connection instead of replying
    Mute,        ///< neither carries the request out nor replies
    Truncate,    ///< sends half of the reply, then nothing more on that connection
    Late,        ///< sends the reply after a time
    WrongReply,  ///< replies under another number
    Refuse,
    Stall,    ///< replies, then reads nothing from that client for a time
    Garbage,  ///< no request: a malformed notification before a good one
    None,
};

/// A fault as a person defines it.
struct FaultSpec {
    static constexpr unsigned int always = 1000000;  ///< the chance 1

    FaultKind kind = FaultKind::None;
    std::string words;        ///< that define it
    std::string request;      ///< its name; empty for every request
    unsigned int client = 0;  ///< 0 for every client
    unsigned int times = 0;   ///< 0 for no limit
    unsigned int chance = always;
    unsigned int seed = 1;
    int delayMs = 1000;

    /// A crash or restart that awaits no request.
    bool IsImmediate() const
    {
        return (kind == FaultKind::Crash || kind == FaultKind::Restart) && request.empty() &&
               client == 0 && chance == always;
    }
};

/// Reads the words that follow `fault`:
///
///     refuse request=Subscribe client=2 times=3
///     late delay=500ms chance=0.1 seed=7
///     refused: nothing, "refuse request=Ping", "mute delay=2s", "crash times=2"
///
/// \return false with the reason in \p problem
bool ParseFault(const std::vector<std::string>& words, FaultSpec& spec, std::string& problem);

/// The names of the faults, like `refuse, mute`.
std::string ListedFaults();

}  // namespace sim
