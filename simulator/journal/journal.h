#pragma once

#include "simulator/commentary.h"
#include "simulator/journal/file_claim.h"

#include "platform/src/descriptor.h"
#include "platform/src/sink.h"
#include "recording/writer.h"

#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace sim {

/// The file that lists the requests in order of arrival.
class Journal {
public:
    /// Opens \p path to append to it; `-` is standard output.
    /// \return false with the reason in \p problem
    bool Open(const std::string& path, std::string& problem)
    {
        if (path == "-") {
            sink.Use(STDOUT_FILENO);
            isOpen = true;
            return true;
        }
        constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
        file = platform::Descriptor(open(path.c_str(), flags, 0666));
        if (!file) {
            problem = "journal " + path + ": " + std::strerror(errno);
        } else if (!Claim(file.Get(), Use::Reads)) {
            problem = "journal " + path + ": is being recorded";
            file = platform::Descriptor();
        }
        sink.Use(file.Get());
        isOpen = static_cast<bool>(file);
        return isOpen;
    }

    bool IsOpen() const { return isOpen; }

    /// Adds a line; does nothing without an open journal.
    void Add(const recording::Request& request)
    {
        if (isOpen) {
            sink.Write([&] {
                std::string line;
                AppendLine(line, request, recording::Bytes::LeftOut);
                return line;
            });
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
    platform::Descriptor file;  ///< none for standard output
    bool isOpen = false;
    platform::Sink sink;
    bool complained = false;
};

}  // namespace sim
