#include "tests/service/SimulatorSession.h"

#include "tests/harness/wait_limits.h"

#include "platform/src/deadline.h"

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <thread>

unsigned int WireClient::Request(unsigned int messageId, const std::string& payload)
{
    SendFrame(FrameKind::Request, messageId, ++lastCorrelation, payload);
    return lastCorrelation;
}

std::string WireClient::Ask(unsigned int messageId, const std::string& payload)
{
    const unsigned int correlation = Request(messageId, payload);
    const RawFrame reply = ReceiveFrame();
    if (reply.header.kind != FrameKind::Reply || reply.header.messageId != messageId + 1 ||
        reply.header.correlation != correlation) {
        throw std::runtime_error("wire client: expected the reply to " + std::to_string(messageId) +
                                 ", received " + std::to_string(reply.header.messageId));
    }
    return reply.payload;
}

void WireClient::Subscribe(unsigned int subscription)
{
    const unsigned int itemId = subscription == 6 ? 15132 : subscription == 10 ? 15133 : 15129;
    if (Ask(0x3C00, U32(subscription) + U32(itemId)) != accepted) {
        throw std::runtime_error("wire client: the service refused a subscription");
    }
}

void WireClient::Quit() { SendFrame(FrameKind::OneWay, messages::quit, 0); }

std::string WireClient::ReceiveBytes()
{
    const RawFrame frame = ReceiveFrame();
    return FrameBytes(frame.header.kind, frame.header.messageId, frame.header.correlation,
                      frame.payload);
}

std::string ControlClient::Ask(const std::string& line)
{
    Send(line + "\n");
    return ReceiveLine();
}

std::unique_ptr<ChildProcess> SimulatorSession::Launch(const std::vector<std::string>& options,
                                                       ChildProcess::Options settings) const
{
    std::vector<std::string> arguments{ServiceProgram()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    settings.environment["LINX_DIR"] = messaging.Path();
    return std::make_unique<ChildProcess>(arguments, settings);
}

std::unique_ptr<ChildProcess> SimulatorSession::LaunchShell(const std::string& command,
                                                            ChildProcess::Options settings) const
{
    settings.environment["LINX_DIR"] = messaging.Path();
    return std::make_unique<ChildProcess>(
        std::vector<std::string>{"/bin/sh", "-c", command, ServiceProgram()}, settings);
}

WireClient SimulatorSession::Connect(std::initializer_list<unsigned int> subscriptions) const
{
    WireClient client(service.SocketPath());
    for (const unsigned int subscription : subscriptions) {
        client.Subscribe(subscription);
    }
    return client;
}

WireClient SimulatorSession::ConnectOnceItListens() const
{
    for (const Deadline deadline(eventDeadlineMs);;) {
        try {
            return Connect();
        } catch (const std::runtime_error&) {
            if (deadline.HasPassed()) {
                throw;
            }
        }
        std::this_thread::yield();
    }
}

SimulatorSession::Ended SimulatorSession::RunToEnd(const std::vector<std::string>& options) const
{
    const auto program = Launch(options);
    const int status = program->WaitForExit();
    return {status, program->Output(), program->Errors()};
}

std::vector<WireClient> SimulatorSession::ConnectMany(unsigned int count) const
{
    std::vector<WireClient> clients;
    for (unsigned int i = 0; i < count; ++i) {
        clients.push_back(Connect());
    }
    return clients;
}

void SimulatorSession::ExpectCleanEnd(ChildProcess& program) const
{
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

void SimulatorSession::Terminate(ChildProcess& program) const
{
    program.Signal(SIGTERM);
    ExpectCleanEnd(program);
}
