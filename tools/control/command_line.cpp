#include "control/command_line.h"

#include "control/options.h"

#include "words/directives.h"
#include "words/nearest_word.h"
#include "words/text.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

namespace control {

namespace {

constexpr std::string_view ownCommands[] = {"ping", "top", "doctor", "cheat"};

constexpr std::int64_t usualWaitUs = 10 * words::usPerSecond;

bool BeginsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

/// Where a file name begins in the word number \p index; npos when it holds none.
std::size_t FileNameIn(const std::string& command, std::size_t index, const std::string& word)
{
    const bool isFile =
        index == 1 && (command == "play" || command == "save" || command == "restore" ||
                       (command == "record" && word != "off"));
    const bool isData =
        index > 0 && (command == "region-data" || command == "palette") && BeginsWith(word, "@");
    return isFile ? 0 : isData ? 1 : std::string::npos;
}

/// Makes the file name in \p word, from the position \p begin on, an absolute path.
bool MakeAbsolute(std::string& word, std::size_t begin, std::string& problem)
{
    std::error_code error;
    const std::string path = std::filesystem::absolute(word.substr(begin), error).string();
    if (error || path.find_first_of(" \t\r#") != std::string::npos) {
        problem = words::Quoted(path) + ": a path with a blank or # cannot be sent";
        return false;
    }
    word.replace(begin, std::string::npos, path);
    return true;
}

/// Empty when \p word begins a line of a scenario or the control socket.
std::string UnknownWord(const std::string& word)
{
    std::vector<std::string_view> known(std::begin(ownCommands), std::end(ownCommands));
    for (const words::Directive& directive : words::directives) {
        if (word == directive.word) {
            return "";
        }
        if (directive.place != words::Place::Scenario) {
            known.push_back(directive.word);
        }
    }
    return "unknown command " + words::Quoted(word) + words::Suggestion(word, known);
}

}  // namespace

bool IsOwnCommand(const std::string& word)
{
    return std::find(std::begin(ownCommands), std::end(ownCommands), word) != std::end(ownCommands);
}

bool MakeLine(std::vector<std::string> words, std::string& line, std::string& problem)
{
    line.clear();
    problem = words.empty() ? "" : UnknownWord(words[0]);
    if (!problem.empty() ||
        (!words.empty() && !words::FindDirective(words, words::Place::Control, problem))) {
        return false;
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::size_t begin = FileNameIn(words[0], i, words[i]);
        if (begin < words[i].size() && !MakeAbsolute(words[i], begin, problem)) {
            return false;
        }
        line += (i == 0 ? "" : " ") + words[i];
    }
    if (line.size() > longestLine) {
        problem = "the line is longer than 64 KiB";
    } else if (line.find('\n') != std::string::npos) {
        problem = "a newline cannot be sent";
    }
    return problem.empty();
}

std::int64_t WaitOf(const std::vector<std::string>& words)
{
    constexpr std::string_view within = "within=";
    const std::string command = words.empty() ? "" : words[0];
    if (command == "sleep" && words.size() > 1) {
        std::int64_t us = 0;
        words::ParseTime(words[1], us, 1000);
        return us;
    }
    if (command != "await") {
        return 0;
    }
    std::int64_t us = usualWaitUs;
    for (const std::string& word : words) {
        if (BeginsWith(word, within)) {
            words::ParseTime(std::string_view(word).substr(within.size()), us);
        }
    }
    return us;
}

}  // namespace control
