#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

/// A client that uses the wire format and no client library.
class WireClient : public RawClient {
public:
    using RawClient::RawClient;

    /// Sends a request. \return its correlation
    unsigned int Request(unsigned int messageId, const std::string& payload = "");

    /// Sends a request and receives its reply, which must be the next frame.
    /// \return the payload of the reply
    std::string Ask(unsigned int messageId, const std::string& payload = "");

    /// Subscribes; the service must accept.
    void Subscribe(unsigned int subscription);

    /// Sends a quit message, which has no reply.
    void Quit();

    /// The bytes of the next frame.
    std::string ReceiveBytes();

private:
    unsigned int lastCorrelation = 0;
};

inline const std::string accepted = U32(0);

/// A client of the control socket.
class ControlClient : public RawClient {
public:
    using RawClient::RawClient;

    /// Sends \p line. \return the answer
    std::string Ask(const std::string& line);
};

inline const std::string done = R"({"ok":true})";

/// The answer of the control socket to a line that fails with \p error.
inline std::string Failed(const std::string& error)
{
    return R"({"ok":false,"error":")" + error + R"("})";
}

/// The real program without the client. Each test has its own messaging directory.
class SimulatorSession : public testing::Test {
protected:
    SimulatorSession() : service(messaging.Path()) {}

    struct Ended {
        int status;
        std::string output;
        std::string errors;
    };

    /// Starts a service with these options and does not wait.
    std::unique_ptr<ChildProcess> Launch(const std::vector<std::string>& options,
                                         ChildProcess::Options settings = {}) const;

    /// Starts a shell command in which "$0" is the service.
    std::unique_ptr<ChildProcess> LaunchShell(const std::string& command,
                                              ChildProcess::Options settings = {}) const;

    /// Starts a service with these options, which must end by itself.
    Ended RunToEnd(const std::vector<std::string>& options) const;

    WireClient Connect(std::initializer_list<unsigned int> subscriptions = {}) const;

    /// Connects to a service that may not be ready yet.
    WireClient ConnectOnceItListens() const;

    std::vector<WireClient> ConnectMany(unsigned int count) const;

    ControlClient Operate() const { return ControlClient(service.SocketPath() + ".control"); }

    /// Waits for the end of the service. The status must be 0 and the messaging directory empty.
    void ExpectCleanEnd(ChildProcess& program) const;
    void ExpectCleanEnd() { ExpectCleanEnd(service.Process()); }

    /// The same after a SIGTERM.
    void Terminate(ChildProcess& program) const;

    std::string LockPath() const { return service.SocketPath() + ".lock"; }

    TempDir messaging;
    TempDir files;
    SimulatedService service;
};
