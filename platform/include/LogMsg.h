#pragma once

#include <ostream>
#include <sstream>
#include <string>

/// The text of one log entry while it is being made.
class LogMsg {
public:
    virtual ~LogMsg();

    /// Starts the entry. \return the stream that takes its text
    std::ostream& Log(unsigned level, const std::string& processName);

protected:
    LogMsg() = default;
    LogMsg(const LogMsg&) = delete;
    LogMsg& operator=(const LogMsg&) = delete;

    unsigned entryLevel = 0;
    std::string entryProcess;
    std::ostringstream text;
};
