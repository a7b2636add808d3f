#pragma once

#include "simulator/commentary.h"
#include "simulator/request.h"

#include "platform/src/descriptor.h"
#include "platform/src/sink.h"

#include <fcntl.h>
#include <string>

namespace sim {

/// The file that lists the requests in order of arrival.
class Journal {
public:
    /// Opens \p path to append to it. \return false with the reason in \p problem
    bool Open(const std::string& path, std::string& problem)
    {
        constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
        file = platform::Descriptor(open(path.c_str(), flags, 0666));
        if (!file) {
            problem = "journal " + path + ": " + std::strerror(errno);
        }
        sink.Use(file.Get());
        return static_cast<bool>(file);
    }

    /// Adds a line; does nothing without an open journal.
    void Add(const Request& request)
    {
        if (file) {
            sink.Write([&] { return JournalLine(request) + "\n"; });
            Settle();
        }
    }

    /// Writes the lines that had no room before, and reports the first loss on standard error.
    /// \return milliseconds until the next call, -1 for none
    int Settle()
    {
        const bool isDone = sink.Flush();
        if (sink.Lost() > 0 && !complained) {
            complained = true;
            Say("the journal is not complete: ", sink.Reason());
        }
        return isDone ? -1 : platform::Sink::retryMs;
    }

private:
    platform::Descriptor file;
    platform::Sink sink;
    bool complained = false;
};

}  // namespace sim
