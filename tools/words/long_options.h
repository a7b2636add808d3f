#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Command lines that getopt_long() reads.
namespace words {

/// The text of a mistake that ends the program; empty for none.
using Problem = std::string;

/// An option of a program.
struct Option {
    const char* name;
    bool takesValue;
    std::function<Problem(const std::string& value)> set;
    char letter = '\0';  ///< its short form
};

/// An option without a value, which sets \p flag. The flag must live as long as the option.
Option Flag(const char* name, bool& flag);

/// \return an empty text after reading \p text as a time, see ParseTime()
Problem ReadTime(const std::string& text, std::int64_t& us);

/// What a program takes, besides --help, -h and --version.
struct CommandLine {
    std::string program;
    std::string helpShows;  ///< for example "options and commands"
    std::function<void()> showHelp;
    std::vector<Option> options;
    std::function<Problem(const std::string& word)> takeWord;  ///< of words that are no option
    std::function<Problem()> finish;                           ///< when all is read
};

/// Reads a command line up to the first mistake. Shows what is wrong, help or the version.
///
/// \return false when the program is to end with \p status
bool ReadCommandLine(int argc, char** argv, const CommandLine& line, int& status);

/// What follows a message about \p word: "; did you mean --json?", or nothing.
std::string SuggestedOption(const std::string& word, const std::vector<Option>& options);

}  // namespace words
