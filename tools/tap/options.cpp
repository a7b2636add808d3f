// The options of SubtitleMgrTap: names, help and what each one sets.

#include "tap/options.h"

#include "words/exit_status.h"
#include "words/long_options.h"
#include "words/nearest_word.h"
#include "words/text.h"
#include "words/times.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <vector>

namespace tap {

namespace {

constexpr char help[] =
    "Usage: SubtitleMgrTap [OPTION...]\n"
    "Shows and records what the subtitle service publishes.\n"
    "\n"
    "What:\n"
    "  --regions LIST         only these regions, like 1,3-5\n"
    "  --kinds LIST           only these of data,visibility,palette\n"
    "  --formats LIST         only bitmaps of these of hd,sd,cif,other\n"
    "  --refresh              ask the service once to publish everything it keeps\n"
    "When:\n"
    "  --wait-for-service T   try to subscribe for this time, instead of once\n"
    "  --count N              end after N messages\n"
    "  --seconds T            end after this time; status 4 if --count is not reached\n"
    "How:\n"
    "  --output FILE          write there instead of to standard output\n"
    "  --json                 write a recording, see subtitle-recording(5)\n"
    "  --time abs|delta|zero  time of a text line: of day (UTC), since the last\n"
    "                         line, or since the first one\n"
    "  --rates                a line a second with messages and bytes of each region\n"
    "\n"
    "  -h, --help             show this text\n"
    "  --version              show the version\n"
    "\n"
    "A time T is 500ms, 2s or a number of seconds. Ends on SIGINT and SIGTERM.\n"
    "Status: 0 done, 1 failed, 2 wrong usage, 3 no service, 4 the time ran out.\n";

enum Letter : int {
    FirstLong = 256,  // above all characters
    Regions,
    Kinds,
    Formats,
    Refresh,
    WaitForService,
    Count,
    Seconds,
    OutputFile,
    Json,
    Time,
    RatesOnly,
};

constexpr option longOptions[] = {
    {"regions", required_argument, nullptr, Regions},
    {"kinds", required_argument, nullptr, Kinds},
    {"formats", required_argument, nullptr, Formats},
    {"refresh", no_argument, nullptr, Refresh},
    {"wait-for-service", required_argument, nullptr, WaitForService},
    {"count", required_argument, nullptr, Count},
    {"seconds", required_argument, nullptr, Seconds},
    {"output", required_argument, nullptr, OutputFile},
    {"json", no_argument, nullptr, Json},
    {"time", required_argument, nullptr, Time},
    {"rates", no_argument, nullptr, RatesOnly},
    {"help", no_argument, nullptr, words::helpLetter},
    {"version", no_argument, nullptr, words::versionLetter},
    {nullptr, 0, nullptr, 0},
};

using words::Quoted;
using Words = std::vector<std::string_view>;

/// The text of a mistake that ends the program; empty for none.
using Problem = std::string;

/// Reads one of \p known. \param index  its position
Problem ParseWord(std::string_view text, const Words& known, std::size_t& index)
{
    std::string all;
    for (index = 0; index < known.size(); ++index) {
        if (text == known[index]) {
            return "";
        }
        all += (index == 0 ? "" : ", ") + std::string(known[index]);
    }
    return Quoted(text) + " is none of " + all + words::Suggestion(text, known);
}

/// Reads a list of words; \p chosen has a place for each of \p known.
template <std::size_t count>
Problem ParseWords(std::string_view text, const std::array<std::string_view, count>& known,
                   std::array<bool, count>& chosen)
{
    chosen.fill(false);
    for (std::size_t comma = 0; comma != std::string_view::npos;) {
        comma = text.find(',');
        std::size_t index = 0;
        Problem problem =
            ParseWord(text.substr(0, comma), Words(known.begin(), known.end()), index);
        if (!problem.empty()) {
            return problem;
        }
        chosen[index] = true;
        text.remove_prefix(comma == std::string_view::npos ? 0 : comma + 1);
    }
    return "";
}

Problem ParseCount(std::string_view text, std::uint64_t& count)
{
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, count);
    return error == std::errc() && stopped == end && count > 0
               ? ""
               : Quoted(text) + " is not a number from 1";
}

Problem ParseTime(std::string_view text, std::int64_t& us)
{
    return words::ParseTime(text, us) ? "" : Quoted(text) + " is not a time like 500ms, 2s or 1.5";
}

Problem ParseTimeForm(std::string_view text, TimeForm& form)
{
    std::size_t index = 0;
    Problem problem = ParseWord(text, {"abs", "delta", "zero"}, index);
    form = static_cast<TimeForm>(index);
    return problem;
}

Problem SetOption(int letter, std::string_view value, Options& options)
{
    switch (letter) {
    case Regions:
        return words::ParseNumbers(value, options.filter.regions)
                   ? ""
                   : Quoted(value) + " is not a list of regions like 1,3-5";
    case Kinds: return ParseWords(value, kindWords, options.filter.kinds);
    case Formats: return ParseWords(value, formatWords, options.filter.formats);
    case Refresh: options.refresh = true; return "";
    case WaitForService: return ParseTime(value, options.waitForServiceUs);
    case Count: return ParseCount(value, options.count);
    case Seconds: return ParseTime(value, options.runUs.emplace());
    case OutputFile: options.output = value; return value.empty() ? "no file name" : "";
    case Json: options.json = true; return "";
    case Time: return ParseTimeForm(value, options.time);
    default: options.rates = true; return "";
    }
}

Problem UnexpectedWord(const std::string& word)
{
    const bool isAfterDashes = word[0] == '-';
    return Quoted(word) + ": unexpected word" +
           (isAfterDashes ? "" : words::SuggestedOption(word, longOptions));
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& options, int& status)
{
    Problem problem;
    const auto set = [&](int letter, const std::string& value) {
        return SetOption(letter, value, options);
    };
    status = words::exitDone;
    switch (words::ReadOptions(argc, argv, "+:h", longOptions, set, problem)) {
    case words::Asked::Help: std::cout << help; break;
    case words::Asked::Version: std::cout << "SubtitleMgrTap " SUBTITLE_VERSION "\n"; break;
    case words::Asked::Work:
        problem = optind < argc ? UnexpectedWord(argv[optind]) : "";
        [[fallthrough]];
    case words::Asked::Nonsense:
        if (!problem.empty()) {
            status = words::EndAfterProblem("SubtitleMgrTap", problem);
        }
        return problem.empty();
    }
    status = words::EndAfterText();
    return false;
}

}  // namespace tap
