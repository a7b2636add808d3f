// The options of SubtitleMgrCtl, and its help.

#include "control/options.h"

#include "control/command_line.h"
#include "platform/src/messaging_directory.h"
#include "words/directives.h"
#include "words/long_options.h"
#include "words/text.h"

#include <iostream>

namespace control {

namespace {

constexpr char helpBegin[] =
    "Usage: SubtitleMgrCtl [OPTION...] COMMAND...\n"
    "Drives a simulated subtitle service and shows what it answers.\n"
    "\n"
    "Options:\n"
    "  --name NAME    the service; default SubtitleMgr\n"
    "  --json         show each answer as it came, a JSON object a line\n"
    "  --timeout T    longest wait for an answer, like 500ms or 2s, beyond what the\n"
    "                 command itself waits; default 10s, with doctor 2s\n"
    "  --once         with top: one table\n"
    "  --prometheus   with top: metrics for Prometheus, once\n"
    "  -h, --help     show this text\n"
    "  --version      show the version\n"
    "\n"
    "Commands of the service:\n";

constexpr char helpEnd[] =
    "\n"
    "Other commands:\n"
    "  ping                    measure a round trip of the service\n"
    "  top                     show regions and clients each second\n"
    "  doctor                  find what is wrong here, and how to repair it\n"
    "  cheat                   show examples for all programs\n"
    "  -                       read commands from standard input, a line each\n"
    "\n"
    "Status: 0 done, 1 refused or failed, 2 wrong usage, 3 no service, 4 the time\n"
    "ran out. SubtitleMgrCtl(1) has examples.\n";

using words::Problem;
using words::Quoted;

/// Breaks a line longer than 80 columns at blanks.
std::string Wrapped(std::string line, std::size_t indent)
{
    std::string text;
    for (std::size_t at; line.size() > 80; line = std::string(indent, ' ') + line.substr(at + 1)) {
        at = line.rfind(' ', 80);
        text += line.substr(0, at) + "\n";
    }
    return text + line + "\n";
}

void ShowHelp()
{
    constexpr std::size_t column = 26;
    std::cout << helpBegin;
    for (const words::Directive& directive : words::directives) {
        if (directive.place != words::Place::Scenario) {
            std::string line = "  " + std::string(directive.usage);
            if (line.size() + 2 > column) {
                std::cout << Wrapped(line, 6);
                line.clear();
            }
            line.resize(column, ' ');
            std::cout << Wrapped(line + std::string(directive.summary), column);
        }
    }
    std::cout << helpEnd;
}

/// doctor waits as long as a client waits for most answers.
std::int64_t UsualTimeout(const std::string& command)
{
    return (command == "doctor" ? 2 : 10) * words::usPerSecond;
}

Problem CheckCommand(const Options& options)
{
    if (options.command.empty()) {
        return "no command";
    }
    const std::string& first = options.command[0];
    const bool isAlone = options.command.size() == 1;
    if (options.once && first != "top") {
        return options.prometheus ? "--prometheus: only for the command top"
                                  : "--once: only for the command top";
    }
    if (options.prometheus && options.json) {
        return "--prometheus: not with --json";
    }
    return !isAlone && (first == "-" || IsOwnCommand(first))
               ? Quoted(options.command[1]) + ": unexpected word"
               : "";
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& options, int& status)
{
    using Text = const std::string&;
    const std::vector<words::Option> known = {
        {"name", true,
         [&](Text text) {
             options.name = text;
             return platform::IsEndpointName(text) ? "" : Quoted(text) + " is not an endpoint name";
         }},
        words::Flag("json", options.json),
        {"timeout", true, [&](Text text) { return words::ReadTime(text, options.timeoutUs); }},
        words::Flag("once", options.once),
        {"prometheus", false,
         [&](Text) {
             options.once = options.prometheus = true;
             return "";
         }},
    };
    const auto takeWord = [&](Text word) {
        options.command.push_back(word);
        return "";
    };
    const auto finish = [&] {
        Problem problem = CheckCommand(options);
        if (problem.empty() && options.timeoutUs < 0) {
            options.timeoutUs = UsualTimeout(options.command[0]);
        }
        return problem;
    };
    return words::ReadCommandLine(
        argc, argv, {"SubtitleMgrCtl", "options and commands", ShowHelp, known, takeWord, finish},
        status);
}

}  // namespace control
