#include "words/long_options.h"

#include "words/exit_status.h"
#include "words/nearest_word.h"
#include "words/text.h"
#include "words/times.h"

#include <algorithm>
#include <getopt.h>
#include <iostream>

namespace words {

namespace {

constexpr int wordLetter = 1;
constexpr int helpLetter = 'h';
constexpr int versionLetter = 255;
constexpr int firstLong = 256;  // above all characters

/// The tables of getopt_long() for a program.
struct Tables {
    explicit Tables(const std::vector<Option>& options)
    {
        for (const Option& each : options) {
            const int position = static_cast<int>(rows.size());
            rows.push_back({each.name, each.takesValue ? required_argument : no_argument, nullptr,
                            each.letter != '\0' ? each.letter : firstLong + position});
            if (each.letter != '\0') {
                letters += each.letter + std::string(each.takesValue ? ":" : "");
            }
        }
        rows.push_back({"help", no_argument, nullptr, helpLetter});
        rows.push_back({"version", no_argument, nullptr, versionLetter});
        rows.push_back({});
    }

    /// \return the position of a letter, that of the empty last row for an unknown one
    std::size_t Find(int letter) const
    {
        std::size_t at = 0;
        while (rows[at].name && rows[at].val != letter) {
            ++at;
        }
        return at;
    }

    std::vector<option> rows;
    std::string letters = "-:h";  // gives words in their place, and shows no message of its own
};

/// What is wrong with \p word, which getopt_long() did not understand.
/// \param row  of its optopt
Problem UnknownOption(const char* word, const option& row, const std::vector<Option>& options)
{
    return Quoted(word) + (row.name ? ": the option takes no value"
                                    : ": unknown option" + SuggestedOption(word, options));
}

/// Reads options and words up to the first mistake. \return the letter of help or version, or -1
int ReadWords(int argc, char** argv, const CommandLine& line, Problem& problem)
{
    const Tables tables(line.options);
    opterr = 0;
    optind = 0;  // forgets where an earlier call has stopped
    while (problem.empty()) {
        const char* const word = argv[std::max(optind, 1)];
        const int letter =
            getopt_long(argc, argv, tables.letters.c_str(), tables.rows.data(), nullptr);
        switch (letter) {
        case -1:
        case helpLetter:
        case versionLetter: return letter;
        case wordLetter: problem = line.takeWord(optarg); break;
        case ':': problem = Quoted(word) + ": a value is missing"; break;
        case '?':
            problem = UnknownOption(word, tables.rows[tables.Find(optopt)], line.options);
            break;
        default:
            const Option& found = line.options[tables.Find(letter)];
            problem = found.set(optarg ? optarg : "");
            problem.insert(0, problem.empty() ? "" : "--" + std::string(found.name) + ": ");
        }
    }
    return -1;
}

/// Takes the words after `--`, and ends the command line.
void Finish(int argc, char** argv, const CommandLine& line, Problem& problem)
{
    while (problem.empty() && optind < argc) {
        problem = line.takeWord(argv[optind++]);
    }
    if (problem.empty() && line.finish) {
        problem = line.finish();
    }
}

}  // namespace

Option Flag(const char* name, bool& flag)
{
    return {name, false, [&flag](const std::string&) {
                flag = true;
                return "";
            }};
}

Problem ReadTime(const std::string& text, std::int64_t& us)
{
    return ParseTime(text, us) ? "" : Quoted(text) + " is not a time like 500ms, 2s or 1.5";
}

bool ReadCommandLine(int argc, char** argv, const CommandLine& line, int& status)
{
    Problem problem;
    const int asked = ReadWords(argc, argv, line, problem);
    if (asked == helpLetter) {
        line.showHelp();
    } else if (asked == versionLetter) {
        std::cout << line.program << " " SUBTITLE_VERSION "\n";
    } else {
        Finish(argc, argv, line, problem);
        if (!problem.empty()) {
            std::cerr << line.program << ": " << problem << "\n"
                      << line.program << " --help shows the " << line.helpShows << "." << std::endl;
        }
        status = problem.empty() ? exitDone : exitUnusable;
        return problem.empty();
    }
    std::cout.flush();
    status = std::cout.good() ? exitDone : exitFailed;
    return false;
}

std::string SuggestedOption(const std::string& word, const std::vector<Option>& options)
{
    std::vector<std::string_view> known = {"help", "version"};
    for (const Option& each : options) {
        known.emplace_back(each.name);
    }
    const std::string name = word.substr(0, word.find('='));
    const std::size_t begin = std::min(name.find_first_not_of('-'), name.size());
    const std::string_view nearest = NearestWord(name.substr(begin), known);
    return nearest.empty() ? "" : "; did you mean --" + std::string(nearest) + "?";
}

}  // namespace words
