#pragma once

#include "tests/harness/arguments.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

/// What a program makes of a command line.
template <typename Options>
struct ParsedOptions {
    bool goesOn = false;
    int status = -1;
    Options options;
    std::string output;
    std::string errors;
};

/// Calls the ParseOptions() of the room of \p Options.
/// \param words  the name of the program first
template <typename Options>
ParsedOptions<Options> ParseWords(const std::vector<std::string>& words)
{
    Arguments arguments(words);
    ParsedOptions<Options> parsed;
    parsed.output = OutputOf([&] {
        parsed.errors = ErrorsOf([&] {
            parsed.goesOn =
                ParseOptions(arguments.Count(), arguments.Words(), parsed.options, parsed.status);
        });
    });
    return parsed;
}

/// The options of a command line that is right and prints nothing.
template <typename Options>
Options GoodOptions(const ParsedOptions<Options>& parsed)
{
    EXPECT_TRUE(parsed.goesOn) << parsed.errors;
    EXPECT_EQ(parsed.output + parsed.errors, "");
    return parsed.options;
}

/// Expects help on standard output, within 80 columns, and the end of the program.
template <typename Options>
void ExpectHelp(const ParsedOptions<Options>& parsed, const std::string& usage)
{
    EXPECT_FALSE(parsed.goesOn);
    EXPECT_EQ(parsed.status, 0);
    EXPECT_EQ(parsed.errors, "");
    EXPECT_EQ(parsed.output.substr(0, usage.size()), usage);
    std::istringstream lines(parsed.output);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80u) << line;
    }
}

/// Expects that a command line is refused with \p problem and nothing else is printed.
/// \param helpShows  what the help of the program shows
template <typename Options>
void ExpectRefusal(const ParsedOptions<Options>& parsed, const std::string& program,
                   const std::string& problem, const std::string& helpShows)
{
    EXPECT_FALSE(parsed.goesOn) << problem;
    EXPECT_EQ(parsed.status, 2);
    EXPECT_EQ(parsed.output, "");
    EXPECT_EQ(parsed.errors,
              program + ": " + problem + "\n" + program + " --help shows the " + helpShows + ".\n");
}
