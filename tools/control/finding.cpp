#include "control/finding.h"

namespace control {

std::string ShellWord(const std::string& word)
{
    constexpr char plain[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./-+:,@";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (const char c : word) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

std::string MoveAway(const std::string& path)
{
    return "mv " + ShellWord(path) + " " + ShellWord(path + ".old");
}

}  // namespace control
