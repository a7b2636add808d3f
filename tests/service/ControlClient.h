#pragma once

#include "tests/harness/RawPeer.h"

#include <string>

/// A client of the control socket.
class ControlClient : public RawClient {
public:
    /// \param servicePath  the socket of the service
    explicit ControlClient(const std::string& servicePath) : RawClient(servicePath + ".control") {}

    /// Sends \p line. \return the answer
    std::string Ask(const std::string& line)
    {
        Send(line + "\n");
        return ReceiveLine();
    }
};
