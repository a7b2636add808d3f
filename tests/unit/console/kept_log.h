#pragma once

#include "tests/harness/TempDir.h"

#include <LogClient.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

/// During its lifetime the log entries of this process go to a private file.
class KeptLog {
public:
    KeptLog()
    {
        setenv("SUBTITLE_LOG", (files / "log").c_str(), 1);
        LogClient::Instance().ProcessName("SubtitleMgrCli");
        LogClient::Instance().Level(63);
    }
    ~KeptLog()
    {
        unsetenv("SUBTITLE_LOG");
        LogClient::Instance().Level(0);
    }
    KeptLog(const KeptLog&) = delete;
    KeptLog& operator=(const KeptLog&) = delete;

    /// The entries from "level=" on.
    std::vector<std::string> Entries() const
    {
        std::vector<std::string> entries;
        std::istringstream log(ReadWholeFile(files / "log"));
        for (std::string line; std::getline(log, line);) {
            const auto level = line.find("level=");
            entries.push_back(level == std::string::npos ? line : line.substr(level));
        }
        return entries;
    }

private:
    TempDir files;
};
