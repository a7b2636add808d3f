#pragma once

#include <string>

class LogClient {
public:
    static LogClient* Instance();
    unsigned Level() const;
    void Level(unsigned newLevel);
    const std::string& ProcessName() const;
    void ProcessName(const std::string& newName);

private:
    unsigned mask = 0;
    std::string process;
};
