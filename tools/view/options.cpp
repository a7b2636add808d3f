// The commands and options of SubtitleMgrView, and their help.

#include "view/options.h"

#include "platform/src/messaging_directory.h"
#include "words/long_options.h"
#include "words/nearest_word.h"
#include "words/text.h"

#include <algorithm>
#include <iostream>
#include <vector>

namespace view {

namespace {

constexpr char help[] =
    "Usage: SubtitleMgrView png [OPTION...] -o DIR RECORDING\n"
    "       SubtitleMgrView terminal [OPTION...] RECORDING\n"
    "       SubtitleMgrView page [OPTION...] RECORDING\n"
    "       SubtitleMgrView page [OPTION...] --live\n"
    "       SubtitleMgrView pcapng -o FILE RECORDING\n"
    "       SubtitleMgrView from-png -o DIR PICTURE\n"
    "Shows the regions of a recording, and turns pictures into regions.\n"
    "\n"
    "Commands:\n"
    "  png               make a picture of each region, and screen.png of the\n"
    "                    visible ones, one below the other\n"
    "  terminal          draw each region with half blocks, in 80 columns\n"
    "  page              show the regions in a browser: print the address of a page\n"
    "                    on this machine, and serve it until SIGINT\n"
    "  pcapng            make a capture for Wireshark, with all messages\n"
    "  from-png          make the files of a bitmap and a palette from a picture,\n"
    "                    and show the keys of the console that load them\n"
    "\n"
    "Options:\n"
    "  -o, --output DIR  the folder of the files, with pcapng the file; - is standard\n"
    "                    output, with png for one picture, not with from-png\n"
    "  --at T            the moment to show, from the first message; default the end\n"
    "  --region N        only this region, hidden or not; with from-png the one in\n"
    "                    the keys, default 1\n"
    "  --width N         pixels of a row; default 640\n"
    "  --scale N         draw a pixel as N x N pixels, 1 to 16\n"
    "  --every-change    a picture for each change, named after its line\n"
    "  --port N          the port of the page; default a free one\n"
    "  --live            what a service publishes, instead of a recording\n"
    "  --name NAME       the service; default SubtitleMgr\n"
    "  --no-color        draw in black and white, as with NO_COLOR\n"
    "  -h, --help        show this text\n"
    "  --version         show the version\n"
    "\n"
    "RECORDING is a file, see subtitle-recording(5), or - for standard input.\n"
    "A time T is 500ms, 2s or a number of seconds.\n"
    "Status: 0 done, 1 failed, 2 wrong usage or unusable input, 3 no service.\n";

constexpr unsigned int largestWidth = 16384;
constexpr unsigned int largestScale = 16;
constexpr unsigned int largestRegion = 255;
constexpr unsigned int largestPort = 65535;

using words::Problem;
using words::Quoted;
using Words = std::vector<std::string_view>;

/// By Command.
const Words commandWords{"png", "from-png", "pcapng", "terminal", "page"};

/// What the command line has.
struct Given {
    struct Option {
        std::string name;
        std::vector<Command> commands;  ///< that take it
    };

    std::vector<std::string> words;
    std::vector<Option> options;
};

Problem ParseNumber(const std::string& text, unsigned int least, unsigned int most,
                    unsigned int& number)
{
    return words::ParseNumber(text, number) && number >= least && number <= most
               ? ""
               : Quoted(text) + " is not a number from " + std::to_string(least) + " to " +
                     std::to_string(most);
}

Problem SetRegion(const std::string& text, unsigned int& region)
{
    return ParseNumber(text, 0, largestRegion, region);
}

Problem SetOutput(const std::string& text, std::string& output)
{
    output = text;
    return text.empty() ? "the name is empty" : "";
}

Problem SetService(const std::string& text, std::string& service)
{
    service = text;
    return platform::IsEndpointName(text) ? "" : Quoted(text) + " is not an endpoint name";
}

Problem CheckOutput(const Options& options)
{
    if (options.command == Command::Terminal || options.command == Command::Page) {
        return "";
    }
    if (options.output.empty()) {
        return options.command == Command::Pcapng ? "-o is missing: the file of the capture"
                                                  : "-o is missing: the folder of the files";
    }
    const bool isStandardOutput = options.output == "-";
    if (isStandardOutput && options.command == Command::FromPng) {
        return "-o -: not for the command from-png";
    }
    return isStandardOutput && options.everyChange ? "-o -: not with --every-change" : "";
}

Problem CheckCommand(const std::string& word, Command& command)
{
    const auto found = std::find(commandWords.begin(), commandWords.end(), word);
    command = static_cast<Command>(found - commandWords.begin());
    return found == commandWords.end()
               ? Quoted(word) + ": unknown command" + words::Suggestion(word, commandWords)
               : "";
}

Problem CheckOption(const Given::Option& given, const Options& options)
{
    const auto& commands = given.commands;
    if (std::find(commands.begin(), commands.end(), options.command) == commands.end()) {
        const std::string word(commandWords[static_cast<std::size_t>(options.command)]);
        return "--" + given.name + ": not for the command " + word;
    }
    return given.name == "name" && !options.live ? "--name: only with --live" : "";
}

Problem CheckInput(const Given& given, Options& options)
{
    const std::size_t count = options.live ? 1 : 2;
    if (given.words.size() < count) {
        return options.command == Command::FromPng ? "no picture" : "no recording";
    }
    if (given.words.size() > count) {
        return Quoted(given.words[count]) + ": unexpected word";
    }
    options.input = given.words.back();
    return "";
}

Problem Check(const Given& given, Options& options)
{
    if (given.words.empty()) {
        return "no command";
    }
    Problem problem = CheckCommand(given.words[0], options.command);
    for (std::size_t at = 0; problem.empty() && at < given.options.size(); ++at) {
        problem = CheckOption(given.options[at], options);
    }
    if (problem.empty()) {
        problem = CheckInput(given, options);
    }
    return problem.empty() ? CheckOutput(options) : problem;
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& options, int& status)
{
    using Text = const std::string&;
    constexpr Command png = Command::Png;
    constexpr Command fromPng = Command::FromPng;
    constexpr Command pcapng = Command::Pcapng;
    constexpr Command terminal = Command::Terminal;
    constexpr Command page = Command::Page;
    Given given;
    const auto of = [&](const std::vector<Command>& commands, words::Option option) {
        option.set = [&given, commands, name = option.name, set = option.set](Text text) {
            given.options.push_back({name, commands});
            return set(text);
        };
        return option;
    };
    const auto number = [](unsigned int least, unsigned int most, unsigned int& to) {
        return [=, &to](Text text) { return ParseNumber(text, least, most, to); };
    };
    const std::vector<words::Option> known = {
        of({png, pcapng, fromPng},
           {"output", true, [&](Text text) { return SetOutput(text, options.output); }, 'o'}),
        of({png, terminal},
           {"at", true, [&](Text text) { return words::ReadTime(text, options.atUs.emplace()); }}),
        of({png, terminal, fromPng},
           {"region", true, [&](Text text) { return SetRegion(text, options.region.emplace()); }}),
        of({png, terminal, page}, {"width", true, number(1, largestWidth, options.width)}),
        of({png}, {"scale", true, number(1, largestScale, options.scale)}),
        of({png}, words::Flag("every-change", options.everyChange)),
        of({terminal}, words::Flag("no-color", options.noColor)),
        of({page}, {"port", true, number(0, largestPort, options.port)}),
        of({page}, words::Flag("live", options.live)),
        of({page}, {"name", true, [&](Text text) { return SetService(text, options.service); }}),
    };
    const auto takeWord = [&](Text word) {
        given.words.push_back(word);
        return "";
    };
    const auto finish = [&] { return Check(given, options); };
    const auto showHelp = [] { std::cout << help; };
    return words::ReadCommandLine(
        argc, argv, {"SubtitleMgrView", "commands and options", showHelp, known, takeWord, finish},
        status);
}

}  // namespace view
