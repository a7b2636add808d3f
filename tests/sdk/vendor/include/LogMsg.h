#pragma once

#include <ostream>
#include <sstream>
#include <string>

class LogMsg {
public:
    virtual ~LogMsg();
    std::ostream& Log(unsigned level, const std::string& processName);

protected:
    std::ostringstream entry;
};
