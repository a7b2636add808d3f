#pragma once

#include <functional>
#include <getopt.h>
#include <string>
#include <string_view>

/// Command lines that getopt_long() reads.
namespace words {

/// The letters of two options that every program has.
constexpr int helpLetter = 'h';
constexpr int versionLetter = 255;

/// What a command line asks for.
enum class Asked { Work, Help, Version, Nonsense };

/// Sets the option of this letter; 1 is a word that is no option, if \p form lets it through.
/// \return why the value is wrong; empty if it is not
using SetOption = std::function<std::string(int letter, const std::string& value)>;

/// Reads options up to the first mistake.
///
/// \param form     short options, as getopt_long() takes them
/// \param rows     long options
/// \param problem  why it is nonsense
Asked ReadOptions(int argc, char** argv, const char* form, const option* rows, const SetOption& set,
                  std::string& problem);

/// What follows a message about \p word: "; did you mean --json?", or nothing.
std::string SuggestedOption(std::string_view word, const option* rows);

/// Ends a program after it has shown its help or version. \return the exit status
int EndAfterText();

/// Ends a program that was called in a wrong way. \return the exit status
///
/// \param shown  what its help shows
int EndAfterProblem(const std::string& program, const std::string& problem,
                    const std::string& shown = "options");

}  // namespace words
