#pragma once

#include "control/connection.h"
#include "control/json_value.h"
#include "control/options.h"

namespace control {

/// Writes to standard output. \return exit status 0, or 1 with the reason on standard error
int Print(const std::string& text);

/// \return \p status, with the reason on standard error
int Fail(int status, const std::string& problem);

/// The service that obeys commands. Each call returns an exit status; the reason of a failure is
/// on standard error.
class Service {
public:
    /// \param interrupt  see Connection
    explicit Service(const Options& optionsToUse, int interrupt = -1)
        : options(optionsToUse), connection(interrupt)
    {
    }

    /// Sends \p line, after connecting if necessary.
    /// \param waitUs  how long the service itself may wait before it answers
    /// \param json    receives the answer
    int Ask(const std::string& line, std::int64_t waitUs, std::string& json, Value& answer);

    /// Whether more lines can be sent: no call has failed for lack of a service or of its answer.
    bool IsUsable() const { return isUsable; }
    bool IsInterrupted() const { return isInterrupted; }

private:
    int Lose(Connection::Result result, std::int64_t limitUs);

    const Options& options;
    Connection connection;
    bool isConnected = false;
    bool isUsable = true;
    bool isInterrupted = false;
};

/// The exit status for an answer.
int StatusOf(const Value& answer);

}  // namespace control
