// The options of SubtitleMgrTap: help, names and what each one sets.

#include "tap/options.h"

#include "words/long_options.h"
#include "words/nearest_word.h"
#include "words/text.h"

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

using words::Problem;
using words::Quoted;
using Words = std::vector<std::string_view>;

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

Problem ParseTimeForm(std::string_view text, TimeForm& form)
{
    std::size_t index = 0;
    Problem problem = ParseWord(text, {"abs", "delta", "zero"}, index);
    form = static_cast<TimeForm>(index);
    return problem;
}

Problem ParseRegions(std::string_view text, words::NumberSet& regions)
{
    return words::ParseNumbers(text, regions)
               ? ""
               : Quoted(text) + " is not a list of regions like 1,3-5";
}

Problem UnexpectedWord(const std::string& word, const std::vector<words::Option>& known)
{
    const bool isAfterDashes = word[0] == '-';
    return Quoted(word) + ": unexpected word" +
           (isAfterDashes ? "" : words::SuggestedOption(word, known));
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& options, int& status)
{
    using Text = const std::string&;
    Filter& filter = options.filter;
    const std::vector<words::Option> known = {
        {"regions", true, [&](Text text) { return ParseRegions(text, filter.regions); }},
        {"kinds", true, [&](Text text) { return ParseWords(text, kindWords, filter.kinds); }},
        {"formats", true, [&](Text text) { return ParseWords(text, formatWords, filter.formats); }},
        words::Flag("refresh", options.refresh),
        {"wait-for-service", true,
         [&](Text text) { return words::ReadTime(text, options.waitForServiceUs); }},
        {"count", true, [&](Text text) { return ParseCount(text, options.count); }},
        {"seconds", true,
         [&](Text text) { return words::ReadTime(text, options.runUs.emplace()); }},
        {"output", true,
         [&](Text text) {
             options.output = text;
             return text.empty() ? "no file name" : "";
         }},
        words::Flag("json", options.json),
        {"time", true, [&](Text text) { return ParseTimeForm(text, options.time); }},
        words::Flag("rates", options.rates),
    };
    const auto takeWord = [&](Text word) { return UnexpectedWord(word, known); };
    return words::ReadCommandLine(
        argc, argv,
        {"SubtitleMgrTap", "options", [] { std::cout << help; }, known, takeWord, nullptr}, status);
}

}  // namespace tap
