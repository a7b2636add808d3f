#pragma once

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

#include <string>

namespace control {

/// A deadline in \p us microseconds, or as far away as there is one.
platform::Deadline DeadlineIn(std::int64_t us);

/// A connection to the control socket of a service.
class Connection {
public:
    enum class Result { Done, Closed, TimedOut, Interrupted };

    /// \param interrupt  a descriptor that ends each wait when it becomes readable; -1 for none
    explicit Connection(int interrupt = -1) : interruptFd(interrupt) {}

    /// Connects to `NAME.control` beside the socket of the service \p name.
    /// \return 0, else an errno value with the reason in \p problem
    int Open(const std::string& name, const platform::Deadline& deadline, std::string& problem);

    /// Sends \p line, without its newline, and waits for one line.
    /// \param answer  receives it, without its newline
    Result Ask(const std::string& line, const platform::Deadline& deadline, std::string& answer);

private:
    Result WaitFor(short events, const platform::Deadline& deadline) const;
    Result Send(const std::string& line, const platform::Deadline& deadline) const;
    Result Receive(const platform::Deadline& deadline, std::string& answer);

    int interruptFd;
    platform::Descriptor fd;
    std::string received;
};

}  // namespace control
