#include "simulator/options.h"

#include "platform/src/messaging_directory.h"
#include "words/exit_status.h"
#include "words/nearest_word.h"
#include "words/text.h"
#include "words/times.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <sstream>
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

/// Breaks the descriptions into lines, so that the help has at most 80 columns.
class NarrowHelp : public CLI::Formatter {
public:
    std::string make_option_desc(const CLI::Option* option) const override
    {
        std::istringstream words(CLI::Formatter::make_option_desc(option));
        std::string text;
        std::size_t column = 0;
        for (std::string word; words >> word; column += word.size() + 1) {
            const bool fits = get_column_width() + column + word.size() <= 80;
            text += column == 0 ? "" : fits ? " " : "\n";
            column = fits ? column : 0;
            text += word;
        }
        return text;
    }
};

/// The message about the first of \p surplus words.
std::string NotAnOption(const CLI::App& app, const std::vector<std::string>& surplus)
{
    const std::string word = surplus.front().substr(0, surplus.front().find('='));
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        names.push_back(option->get_name());
    }
    return word + ": not an option" + words::Suggestion(word, {names.begin(), names.end()});
}

std::string CheckName(std::string& text)
{
    return IsEndpointName(text) ? "" : "not an endpoint name";
}

std::string CheckFileName(std::string& text) { return text.empty() ? "no file name" : ""; }

std::string CheckFile(std::string& text)
{
    return text == "-" ? "- is not a file" : CheckFileName(text);
}

/// Adds an option whose argument \p read takes, or refuses for the reason \p problem.
template <typename Read>
CLI::Option* AddOption(CLI::App& app, const char* name, const char* type, const char* problem,
                       Read read, const std::string& help)
{
    const auto check = [=](const std::string& text) { return read(text) ? "" : problem; };
    return app.add_option(name, help)->type_name(type)->check(CLI::Validator(check, ""));
}

constexpr const char* noTime = "not a time like 500ms, 2s or 1.5";

/// Adds the options that say what is played, and how.
void AddPlayOptions(CLI::App& app, Options& options)
{
    PlayOptions& how = options.playing;
    CLI::Option* const play =
        app.add_option("--play", options.play,
                       "play a scenario or a recording; - is a recording from standard input")
            ->type_name("FILE")
            ->check(CLI::Validator(CheckFileName, ""));
    app.add_flag("--loop", how.loop, "repeat it for ever")->needs(play);
    AddOption(
        app, "--rate", "R", "not a number from 0 to 1000000",
        [&](const std::string& text) { return ParseRate(text, how.rate); },
        "play R times as fast; 0 is as fast as the readers take it")
        ->needs(play);
    AddOption(
        app, "--from", "TIME", noTime,
        [&](const std::string& text) { return words::ParseTime(text, how.fromUs); },
        "begin at this moment of it, like 500ms, 2s or 1.5")
        ->needs(play);
    AddOption(
        app, "--until", "TIME", noTime,
        [&](const std::string& text) { return words::ParseTime(text, how.untilUs); },
        "end at this moment of it")
        ->needs(play);
    AddOption(
        app, "--regions", "LIST", "not a list of numbers and ranges like 1,3-5",
        [&](const std::string& text) { return words::ParseNumbers(text, how.regions); },
        "publish only these regions, like 1,3-5")
        ->needs(play);
    app.add_flag("--paused", how.isPaused, "begin paused")->needs(play);
    app.add_flag("--await-requests", how.awaitsRequests,
                 "at a recorded request wait until a client makes one like it")
        ->needs(play);
    app.add_flag("--exit-at-end", options.exitAtEnd, "end the service after the play")->needs(play);
}

}  // namespace

bool sim::ParseOptions(int argc, char** argv, Options& options, int& status)
{
    CLI::App app("A simulated subtitle service, reached through the messaging directory.",
                 "SubtitleMgrSim");
    app.formatter(std::make_shared<NarrowHelp>());
    app.footer("Status: 0 done, 1 failed, 2 wrong usage or unusable input.");
    app.set_version_flag("--version", std::string("SubtitleMgrSim ") + SUBTITLE_VERSION);
    app.add_option("--name", options.name, "endpoint name, like SubtitleMgr or node1/SubtitleMgr")
        ->type_name("NAME")
        ->check(CLI::Validator(CheckName, ""));
    app.add_option("--journal", options.journal,
                   "append a JSON object a line for each request; - is standard output")
        ->type_name("FILE")
        ->check(CLI::Validator(CheckFileName, ""));
    app.add_option("--record", options.record, "record all requests and publications")
        ->type_name("FILE")
        ->check(CLI::Validator(CheckFile, ""));
    app.add_option("--state", options.state, "begin with the state of this saved file or recording")
        ->type_name("FILE")
        ->check(CLI::Validator(CheckFile, ""));
    AddPlayOptions(app, options);
    app.add_option("--check", options.check,
                   "check a scenario or a recording, write all mistakes on standard error and end")
        ->type_name("FILE")
        ->check(CLI::Validator(CheckFile, ""));
    AddOption(
        app, "--for", "TIME", noTime,
        [&](const std::string& text) { return words::ParseTime(text, options.forUs.emplace()); },
        "end the service after this time");
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
        if (options.playing.loop && options.play == "-") {
            throw CLI::ValidationError("--loop", "standard input cannot be repeated");
        }
        if (options.playing.untilUs <= options.playing.fromUs) {
            throw CLI::ValidationError("--until", "not after --from");
        }
    } catch (const CLI::ExtrasError&) {
        app.exit(CLI::ParseError(NotAnOption(app, app.remaining()), status = words::exitUnusable));
        return false;
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) != 0       ? words::exitUnusable
                 : std::cout.flush().good() ? words::exitDone
                                            : words::exitFailed;
        return false;
    }
    for (const std::string& text : faults) {
        std::string problem;
        ParseFault(words::Split(text), options.faults.emplace_back(), problem);
    }
    return true;
}
