#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// A client that knows the bytes and nothing of the client libraries.
class WireClient : public RawClient {
public:
    explicit WireClient(const std::string& path) : RawClient(path) {}

    /// Sends a request. \return its correlation
    unsigned int Request(unsigned int messageId, const std::string& payload = "");

    /// Sends a request and receives its reply, which must be the next frame.
    /// \return the payload of the reply
    std::string Ask(unsigned int messageId, const std::string& payload = "");

    /// Subscribes, which must be accepted.
    void Subscribe(unsigned int subscription);

    /// Sends a quit message, which has no reply.
    void Quit();

    /// The next frame as the bytes it came in as.
    std::string ReceiveBytes();

private:
    unsigned int lastCorrelation = 0;
};

inline const std::string accepted = U32(0);

/// The real program, and nothing of the client: a messaging directory of its own for each test.
class SimulatorSession : public testing::Test {
protected:
    SimulatorSession() : service(messaging.Path()) {}

    struct Ended {
        int status;
        std::string output;
        std::string errors;
    };

    /// Starts a service with these options and waits for nothing.
    std::unique_ptr<ChildProcess> Launch(
        const std::vector<std::string>& options,
        ChildProcess::Options settings = ChildProcess::Options()) const;

    /// Starts a service with these options that is to end by itself.
    Ended RunToEnd(const std::vector<std::string>& options) const;

    WireClient Connect() const { return WireClient(service.SocketPath()); }

    /// Connects to a service whose `ready` is not awaited.
    WireClient ConnectOnceItListens() const;

    std::vector<WireClient> ConnectMany(unsigned int count) const;

    /// Waits for the end, which must be a good one and leave nothing in the messaging directory.
    void ExpectCleanEnd(ChildProcess& program) const;

    std::string LockPath() const { return service.SocketPath() + ".lock"; }

    TempDir messaging;
    TempDir files;
    SimulatedService service;
};
