#pragma once

#include "control/service.h"

namespace control {

/// Runs the command of the command line, or those of standard input.
class Control {
public:
    explicit Control(const Options& optionsToUse) : options(optionsToUse), service(options) {}

    /// \return the exit status of the program
    int Run();

private:
    int RunInput();
    int RunCommand(const std::vector<std::string>& command);
    int Send(const std::vector<std::string>& command);
    int Show(const std::string& word, const std::string& json, const Value& answer) const;

    const Options options;
    Service service;
    std::string place;  ///< of the command, for messages
};

}  // namespace control
