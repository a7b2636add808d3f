// The commands and options of SubtitleMgrView, and their help.

#include "view/options.h"

#include "platform/src/messaging_directory.h"
#include "words/exit_status.h"
#include "words/long_options.h"
#include "words/nearest_word.h"
#include "words/text.h"
#include "words/times.h"

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

enum Letter : int {
    Word = 1,
    Output = 'o',
    FirstLong = 256,  // above all characters
    At,
    RegionOnly,
    Width,
    Scale,
    EveryChange,
    NoColor,
    Port,
    Live,
    Name,
};

constexpr option longOptions[] = {
    {"output", required_argument, nullptr, Output},
    {"at", required_argument, nullptr, At},
    {"region", required_argument, nullptr, RegionOnly},
    {"width", required_argument, nullptr, Width},
    {"scale", required_argument, nullptr, Scale},
    {"every-change", no_argument, nullptr, EveryChange},
    {"no-color", no_argument, nullptr, NoColor},
    {"port", required_argument, nullptr, Port},
    {"live", no_argument, nullptr, Live},
    {"name", required_argument, nullptr, Name},
    {"help", no_argument, nullptr, words::helpLetter},
    {"version", no_argument, nullptr, words::versionLetter},
    {nullptr, 0, nullptr, 0},
};

using words::Quoted;
using Words = std::vector<std::string_view>;

/// By Command.
const Words commandWords{"png", "from-png", "pcapng", "terminal", "page"};

/// The text of a mistake that ends the program; empty for none.
using Problem = std::string;

/// What stands on the command line.
struct Given {
    std::vector<std::string> words;
    std::vector<int> letters;
};

Problem ParseNumber(const std::string& text, unsigned int least, unsigned int most,
                    unsigned int& number)
{
    return words::ParseNumber(text, number) && number >= least && number <= most
               ? ""
               : Quoted(text) + " is not a number from " + std::to_string(least) + " to " +
                     std::to_string(most);
}

Problem ParseTime(const std::string& text, std::int64_t& us)
{
    return words::ParseTime(text, us) ? "" : Quoted(text) + " is not a time like 500ms, 2s or 1.5";
}

Problem SetOption(int letter, const std::string& value, Given& given, Options& options)
{
    if (letter == Word) {
        given.words.push_back(value);
        return "";
    }
    given.letters.push_back(letter);
    switch (letter) {
    case Output: options.output = value; return value.empty() ? "the name is empty" : "";
    case At: return ParseTime(value, options.atUs.emplace());
    case RegionOnly: return ParseNumber(value, 0, largestRegion, options.region.emplace());
    case Width: return ParseNumber(value, 1, largestWidth, options.width);
    case Scale: return ParseNumber(value, 1, largestScale, options.scale);
    case EveryChange: options.everyChange = true; return "";
    case Port: return ParseNumber(value, 0, largestPort, options.port);
    case Live: options.live = true; return "";
    case Name:
        options.service = value;
        return platform::IsEndpointName(value) ? "" : Quoted(value) + " is not an endpoint name";
    default: options.noColor = true; return "";
    }
}

std::string NameOf(int letter)
{
    const option* row = longOptions;
    while (row->val != letter) {
        ++row;
    }
    return row->name;
}

bool IsFor(Command command, int letter)
{
    switch (letter) {
    case Output: return command != Command::Terminal && command != Command::Page;
    case EveryChange:
    case Scale: return command == Command::Png;
    case NoColor: return command == Command::Terminal;
    case Port:
    case Live:
    case Name: return command == Command::Page;
    case Width: return command != Command::FromPng && command != Command::Pcapng;
    case RegionOnly: return command != Command::Page && command != Command::Pcapng;
    default: return command == Command::Png || command == Command::Terminal;
    }
}

Problem CheckOutput(const Options& options)
{
    if (!IsFor(options.command, Output)) {
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

Problem Check(const Given& given, Options& options)
{
    if (given.words.empty()) {
        return "no command";
    }
    const std::string& word = given.words[0];
    std::size_t row = 0;
    while (row < commandWords.size() && commandWords[row] != word) {
        ++row;
    }
    if (row == commandWords.size()) {
        return Quoted(word) + ": unknown command" + words::Suggestion(word, commandWords);
    }
    options.command = static_cast<Command>(row);
    for (const int letter : given.letters) {
        if (!IsFor(options.command, letter)) {
            return "--" + NameOf(letter) + ": not for the command " + word;
        }
        if (letter == Name && !options.live) {
            return "--name: only with --live";
        }
    }
    const std::size_t count = options.live ? 1 : 2;
    if (given.words.size() < count) {
        return options.command == Command::FromPng ? "no picture" : "no recording";
    }
    if (given.words.size() > count) {
        return Quoted(given.words[count]) + ": unexpected word";
    }
    options.input = given.words.back();
    return CheckOutput(options);
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& options, int& status)
{
    Given given;
    Problem problem;
    const auto set = [&](int letter, const std::string& value) {
        return SetOption(letter, value, given, options);
    };
    status = words::exitDone;
    switch (words::ReadOptions(argc, argv, "-:ho:", longOptions, set, problem)) {
    case words::Asked::Help: std::cout << help; break;
    case words::Asked::Version: std::cout << "SubtitleMgrView " SUBTITLE_VERSION "\n"; break;
    case words::Asked::Work:
        given.words.insert(given.words.end(), argv + optind, argv + argc);
        problem = Check(given, options);
        [[fallthrough]];
    case words::Asked::Nonsense:
        if (!problem.empty()) {
            status = words::EndAfterProblem("SubtitleMgrView", problem, "commands and options");
        }
        return problem.empty();
    }
    status = words::EndAfterText();
    return false;
}

}  // namespace view
