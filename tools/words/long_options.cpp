#include "words/long_options.h"

#include "words/exit_status.h"
#include "words/nearest_word.h"
#include "words/text.h"

#include <algorithm>
#include <iostream>
#include <string_view>
#include <vector>

namespace words {

namespace {

/// Null when there is no option of this letter.
const char* NameOf(int letter, const option* rows)
{
    while (rows->val != letter && rows->name) {
        ++rows;
    }
    return rows->name;
}

/// What is wrong with \p word, which getopt_long() did not understand.
/// \param letter  its optopt: of a known option, or one character
std::string UnknownOption(std::string_view word, int letter, const option* rows)
{
    if (letter != 0) {
        return NameOf(letter, rows) ? Quoted(word) + ": the option takes no value"
                                    : Quoted(word) + ": unknown option";
    }
    std::vector<std::string_view> known;
    for (const option* row = rows; row->name; ++row) {
        known.emplace_back(row->name);
    }
    const std::string_view name = word.substr(0, word.find('='));
    const std::string_view nearest = NearestWord(name.substr(2), known);
    return Quoted(word) + ": unknown option" +
           (nearest.empty() ? "" : "; did you mean --" + std::string(nearest) + "?");
}

}  // namespace

Asked ReadOptions(int argc, char** argv, const char* form, const option* rows, const SetOption& set,
                  std::string& problem)
{
    opterr = 0;
    optind = 0;  // forgets where an earlier call has stopped
    for (;;) {
        const int next = std::max(optind, 1);
        const int letter = getopt_long(argc, argv, form, rows, nullptr);
        const char* const word = argv[next];
        switch (letter) {
        case -1: return Asked::Work;
        case helpLetter: return Asked::Help;
        case versionLetter: return Asked::Version;
        case ':': problem = Quoted(word) + ": a value is missing"; return Asked::Nonsense;
        case '?': problem = UnknownOption(word, optopt, rows); return Asked::Nonsense;
        default: problem = set(letter, optarg ? optarg : "");
        }
        if (!problem.empty()) {
            problem.insert(0, std::string("--").append(NameOf(letter, rows)).append(": "));
            return Asked::Nonsense;
        }
    }
}

int EndAfterText()
{
    std::cout.flush();
    return std::cout.good() ? exitDone : exitFailed;
}

int EndAfterProblem(const std::string& program, const std::string& problem,
                    const std::string& shown)
{
    std::cerr << program << ": " << problem << "\n"
              << program << " --help shows the " << shown << "." << std::endl;
    return exitUnusable;
}

}  // namespace words
