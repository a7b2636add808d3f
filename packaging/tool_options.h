#pragma once

#include <cstdio>
#include <cstring>

/// Answers --help and --version of a program that helps with building, testing or measuring.
///
/// \param usage  what --help prints, its last newline included
/// \return true when one of the two was the first argument; the program then ends
inline bool AnswersHelpOrVersion(int argc, char** argv, const char* name, const char* usage)
{
    if (argc < 2) {
        return false;
    }
    if (std::strcmp(argv[1], "--help") == 0) {
        std::fputs(usage, stdout);
        return true;
    }
    if (std::strcmp(argv[1], "--version") == 0) {
        std::printf("%s %s\n", name, SUBTITLE_VERSION);
        return true;
    }
    return false;
}
