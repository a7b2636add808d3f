#pragma once

#include <atomic>
#include <string>

/// The settings of this process's log entries: which levels are logged, and the process's name.
class LogClient {
public:
    /// The one log client; never destroyed.
    static LogClient& Instance();

    /// Mask of the levels for which entries are made: 2 errors, 8 notes of success.
    unsigned Level() const;
    void Level(unsigned newLevel);

    /// Set before the first thread is started.
    const std::string& ProcessName() const;
    void ProcessName(const std::string& newName);

private:
    LogClient() = default;

    std::atomic<unsigned> level{0};
    std::string processName;
};
