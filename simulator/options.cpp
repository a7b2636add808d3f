#include "simulator/options.h"

#include "platform/src/messaging_directory.h"
#include "words/exit_status.h"
#include "words/text.h"

#include <CLI/CLI.hpp>

#include <vector>

using namespace platform;
using namespace sim;

namespace {

std::string CheckFault(std::string& text)
{
    FaultSpec spec;
    std::string problem;
    ParseFault(words::Split(text), spec, problem);
    return problem;
}

std::string CheckName(std::string& text)
{
    return IsEndpointName(text) ? "" : "not an endpoint name";
}

std::string CheckFileName(std::string& text) { return text.empty() ? "no file name" : ""; }

}  // namespace

bool sim::ParseOptions(int argc, char** argv, Options& options, int& status)
{
    CLI::App app("A simulated subtitle service, reached through the messaging directory.",
                 "SubtitleMgrSim");
    app.set_version_flag("--version", std::string("SubtitleMgrSim ") + SUBTITLE_VERSION);
    app.add_option("--name", options.name, "endpoint name, like SubtitleMgr or node1/SubtitleMgr")
        ->type_name("NAME")
        ->check(CLI::Validator(CheckName, ""));
    app.add_option("--journal", options.journal, "append a JSON object a line for each request")
        ->type_name("FILE")
        ->check(CLI::Validator(CheckFileName, ""));
    CLI::Option* play = app.add_option("--play", options.scenario, "play a scenario")
                            ->type_name("FILE")
                            ->check(CLI::Validator(CheckFileName, ""));
    app.add_flag("--loop", options.loop, "repeat the scenario for ever")->needs(play);
    app.add_flag("--quiet", options.quiet,
                 "no line on standard error for a request that is served; lines about refusals, "
                 "losses and dropped clients remain");
    std::vector<std::string> faults;
    app.add_option("--fault", faults,
                   "cause a fault: a kind (" + ListedFaults() +
                       "), followed by request=NAME, client=N, times=N, chance=P, seed=S or "
                       "delay=T; may be given several times")
        ->type_name("SPEC")
        ->allow_extra_args(false)
        ->check(CLI::Validator(CheckFault, ""));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? words::exitDone : words::exitUnusable;
        return false;
    }
    for (const std::string& text : faults) {
        std::string problem;
        ParseFault(words::Split(text), options.faults.emplace_back(), problem);
    }
    return true;
}
