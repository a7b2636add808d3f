#include "control/control.h"

#include "control/cheat.h"
#include "control/command_line.h"
#include "control/doctor.h"
#include "control/ping.h"
#include "control/report.h"
#include "control/top.h"
#include "words/exit_status.h"
#include "words/text.h"

#include <cstdio>
#include <iostream>

namespace control {

namespace {

/// Reads a line, of which it keeps one byte more than may be sent. \return false at the end
bool ReadLine(std::istream& input, std::string& line)
{
    line.clear();
    int c;
    while ((c = input.get()) != std::istream::traits_type::eof() && c != '\n') {
        if (line.size() <= longestLine) {
            line += static_cast<char>(c);
        }
    }
    return c == '\n' || !line.empty();
}

}  // namespace

int Control::Run()
{
    const std::vector<std::string>& command = options.command;
    if (command[0] == "-") {
        return RunInput();
    }
    // A whole line in quotes is one word of the command line.
    return RunCommand(command.size() == 1 ? words::Split(command[0]) : command);
}

int Control::RunInput()
{
    int firstFailure = words::exitDone;
    std::string line;
    for (unsigned long number = 1; ReadLine(std::cin, line); ++number) {
        place = "line " + std::to_string(number) + ": ";
        const int status = line.size() > longestLine
                               ? Fail(words::exitUnusable, place + "longer than 64 KiB")
                               : RunCommand(words::Split(line));
        if (!service.IsUsable() || std::ferror(stdout) != 0) {
            return status;
        }
        firstFailure = firstFailure == words::exitDone ? status : firstFailure;
    }
    return firstFailure;
}

int Control::RunCommand(const std::vector<std::string>& command)
{
    const std::string word = command.empty() ? "" : command[0];
    return word == "ping"     ? Ping(options)
           : word == "top"    ? Top(options)
           : word == "doctor" ? Doctor(options)
           : word == "cheat"  ? Print(cheatSheet)
                              : Send(command);
}

int Control::Send(const std::vector<std::string>& command)
{
    std::string line;
    std::string text;
    if (!MakeLine(command, line, text)) {
        return Fail(words::exitUnusable, place + text);
    }
    Value answer;
    const int status = service.Ask(line, WaitOf(command), text, answer);
    return status == words::exitDone ? Show(command.empty() ? "" : command[0], text, answer)
                                     : status;
}

int Control::Show(const std::string& word, const std::string& json, const Value& answer) const
{
    const int status = StatusOf(answer);
    if (options.json) {
        const int printed = Print(json + "\n");
        return status == words::exitDone ? printed : status;
    }
    if (status != words::exitDone) {
        return Fail(status, place + ErrorOf(answer));
    }
    return Print(word == "state" ? StateReport(answer) : FieldLines(answer));
}

}  // namespace control
