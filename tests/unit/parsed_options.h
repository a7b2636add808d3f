#pragma once

#include "tests/harness/arguments.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

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
