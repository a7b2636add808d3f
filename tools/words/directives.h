#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace words {

/// Where a directive is allowed.
enum class Place : unsigned char { Scenario = 1, Control = 2, Both = 3 };

/// A line of the grammar that scenarios and the control socket share.
struct Directive {
    std::string_view word;  ///< the first one of the line
    Place place;
    std::size_t fewest;  ///< words of a line, the first one counted
    std::size_t most;
    std::string_view usage;
    std::string_view summary;
};

constexpr std::size_t anyNumber = static_cast<std::size_t>(-1);

/// All of them: the parsers, the completion and the manual pages follow this table.
inline constexpr Directive directives[] = {
    {"region-data", Place::Both, 4, 4, "region-data REGION FORMAT DATA", "publish a bitmap"},
    {"visibility", Place::Both, 3, 3, "visibility REGION true|false",
     "publish that a region is shown or hidden"},
    {"palette", Place::Both, 5, 5, "palette REGION BACKGROUND true|false DATA",
     "publish a palette, its background code and whether it fills"},
    {"sleep", Place::Both, 2, 2, "sleep TIME", "wait; milliseconds without a unit"},
    {"wait-subscribers", Place::Both, 2, 2, "wait-subscribers SUBSCRIPTION",
     "wait until a client has the subscription"},
    {"log", Place::Both, 2, anyNumber, "log TEXT", "write a line on standard error"},
    {"repeat", Place::Scenario, 2, 2, "repeat COUNT", "play the lines up to end several times"},
    {"end", Place::Scenario, 1, 1, "end", "end the lines of the last repeat"},
    {"include", Place::Scenario, 2, 2, "include FILE", "insert the lines of another scenario"},
    {"state", Place::Control, 1, 1, "state", "show everything that the service keeps"},
    {"await", Place::Control, 2, anyNumber,
     "await request=NAME [FIELD=VALUE ...] | subscribers=SUBSCRIPTION [within=TIME]",
     "wait for a request or a subscription"},
    {"fault", Place::Control, 2, anyNumber,
     "fault KIND [request=NAME] [client=N] [times=N] [chance=P] [seed=S] [delay=TIME]",
     "cause a fault"},
    {"faults", Place::Control, 1, 1, "faults", "show the faults"},
    {"no-fault", Place::Control, 1, 2, "no-fault [ID]", "end one fault or all"},
    {"play", Place::Control, 2, 7, "play FILE [rate=R] [loop] [from=TIME] [until=TIME] [paused]",
     "play a scenario or a recording"},
    {"pause", Place::Control, 1, 1, "pause", "stop the clock of the play"},
    {"resume", Place::Control, 1, 1, "resume", "let the clock of the play go on"},
    {"step", Place::Control, 1, 2, "step [COUNT]", "play the next messages and pause"},
    {"seek", Place::Control, 2, 2, "seek TIME", "continue at another moment of the play"},
    {"stop", Place::Control, 1, 1, "stop", "end the play"},
    {"save", Place::Control, 2, 2, "save FILE", "write everything that the service keeps"},
    {"restore", Place::Control, 2, 2, "restore FILE", "keep and publish what was saved"},
    {"record", Place::Control, 2, 2, "record FILE|off", "record all messages, or no longer"},
    {"disconnect", Place::Control, 2, 2, "disconnect CLIENT", "close the connection of a client"},
    {"quit", Place::Control, 1, 1, "quit", "end the service"},
};

/// Finds the directive that a line begins with.
///
/// \param line   its words, at least one
/// \param place  of the line: Scenario or Control
/// \return null with the reason in \p problem when there is none, when it is not allowed there, or
///         when the line has too few or too many words
const Directive* FindDirective(const std::vector<std::string>& line, Place place,
                               std::string& problem);

}  // namespace words
