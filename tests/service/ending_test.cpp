// The end of a service: it sends its backlog first and removes its files.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include <csignal>
#include <filesystem>
#include <memory>
#include <sys/resource.h>

namespace {

/// A request for a notification that is larger than the buffer of a socket.
const std::string largeRecord = PaletteRecord(2, 31, true, std::string(8 * 1024 * 1024, 'p'));

using ServiceEnd = SimulatorSession;

TEST_F(ServiceEnd, LeavesNeitherSocketNorLockAfterASignal)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        service.Start();
        ASSERT_TRUE(std::filesystem::is_socket(service.SocketPath()));
        ASSERT_TRUE(std::filesystem::exists(LockPath()));
        service.Process().Signal(signal);
        ExpectCleanEnd();
    }
}

TEST_F(ServiceEnd, SendsItsBacklogBeforeItEnds)
{
    service.Start();
    WireClient reader = Connect({10});
    Connect().Send(FrameBytes(FrameKind::Request, messages::setPaletteData, 1, largeRecord) +
                   FrameBytes(FrameKind::OneWay, messages::quit, 0, ""));
    EXPECT_TRUE(reader.ReceiveBytes() == NotificationBytes(10, messages::paletteItem, largeRecord));
    reader.ExpectClosed();
    ExpectCleanEnd();
}

/// Processor time of all ended child processes of this test.
long long ProcessorMillisecondsOfTheEnded()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
}

TEST_F(ServiceEnd, SleepsWhileASubscriberDoesNotRead)
{
    service.Start();
    const WireClient silent = Connect({10});
    std::vector<WireClient> others = ConnectMany(20);
    EXPECT_EQ(others.back().Ask(messages::setPaletteData, largeRecord), accepted);
    const long long before =
        ProcessorMilliseconds(service.Process().Pid()) + ProcessorMillisecondsOfTheEnded();
    // The service is stopped meanwhile, so that it sees the signal before the lost connections.
    service.Process().Stop();
    service.Process().Signal(SIGTERM);
    others.clear();
    service.Process().Continue();
    ExpectCleanEnd();
    EXPECT_LT(ProcessorMillisecondsOfTheEnded() - before, isSanitized || isEmulated ? 500 : 50);
}

/// A terminal for the service alone.
class TerminalOfAService : public SimulatorSession {
protected:
    std::unique_ptr<ChildProcess> Start(int ignoredSignal) const
    {
        ChildProcess::Options settings;
        settings.onTerminal = true;
        settings.ignoredSignal = ignoredSignal;
        auto program = Launch({}, settings);
        program->WaitForOutput("ready\r\n");
        return program;
    }
};

TEST_F(TerminalOfAService, EndsTheServiceOnHangup)
{
    const auto program = Start(0);
    program->HangUp();
    ExpectCleanEnd(*program);
}

TEST_F(TerminalOfAService, KeepsTheServiceWhenSighupIsIgnored)
{
    const auto program = Start(SIGHUP);
    program->HangUp();
    WireClient client = Connect();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(client.Ask(messages::ping), "");  // writes a line to the closed terminal
    }
    Terminate(*program);
}

TEST_F(TerminalOfAService, NeverStopsTheServiceInTheBackground)
{
    ChildProcess::Options settings;
    settings.onTerminal = true;
    const auto shell = LaunchShell("stty tostop; set -m; \"$0\" & wait", settings);
    shell->WaitForOutput("ready\r\n");
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::ping), "");
    client.Quit();
    EXPECT_EQ(shell->WaitForExit(), 0);
}

}  // namespace
