#include "words/long_options.h"

#include "words/exit_status.h"
#include "words/nearest_word.h"
#include "words/text.h"

#include <algorithm>
#include <iostream>
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
    return Quoted(word) + (letter != 0 && NameOf(letter, rows)
                               ? ": the option takes no value"
                               : ": unknown option" + SuggestedOption(word, rows));
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

std::string SuggestedOption(std::string_view word, const option* rows)
{
    std::vector<std::string_view> known;
    for (const option* row = rows; row->name; ++row) {
        known.emplace_back(row->name);
    }
    const std::string_view name = word.substr(0, word.find('='));
    const std::size_t begin = std::min(name.find_first_not_of('-'), name.size());
    const std::string_view nearest = NearestWord(name.substr(begin), known);
    return nearest.empty() ? "" : "; did you mean --" + std::string(nearest) + "?";
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
