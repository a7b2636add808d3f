// How a service ends: never with anything left behind.

#include "tests/harness/build_kind.h"
#include "tests/resilience/faults/process_facts.h"
#include "tests/service/SimulatorSession.h"

#include <csignal>
#include <filesystem>
#include <memory>
#include <sys/resource.h>

namespace {

class AnEndingService : public SimulatorSession {
protected:
    void ExpectNothingLeft()
    {
        EXPECT_EQ(service.Process().WaitForExit(), 0);
        EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
    }
};

TEST_F(AnEndingService, LeavesNoSocketAndNoLockAfterSigterm)
{
    service.Start();
    ASSERT_TRUE(std::filesystem::is_socket(service.SocketPath()));
    ASSERT_TRUE(std::filesystem::exists(LockPath()));
    service.Process().Signal(SIGTERM);
    ExpectNothingLeft();
}

TEST_F(AnEndingService, LeavesNoSocketAndNoLockAfterSigint)
{
    service.Start();
    service.Process().Signal(SIGINT);
    ExpectNothingLeft();
}

TEST_F(AnEndingService, ObeysAQuitMessageWhateverItsFaultsAre)
{
    service.Fault("mute").Fault("hang-up").Journal().Start();
    WireClient client = Connect();
    client.SendFrame(FrameKind::OneWay, messages::quit, 0);
    client.ExpectClosed();
    ExpectNothingLeft();
    EXPECT_EQ(service.JournalLines(), std::vector<std::string>{"{\"request\":\"Quit\"}"});
}

TEST_F(AnEndingService, StillSendsWhatWasQueuedBeforeTheQuit)
{
    service.Start();
    WireClient reader = Connect();
    reader.Subscribe(10);
    WireClient other = Connect();
    // More than a socket takes at once: most of it is still queued when the quit comes.
    const std::string record = PaletteRecord(2, 31, true, std::string(8 * 1024 * 1024, 'p'));
    other.Send(FrameBytes(FrameKind::Request, messages::setPaletteData, 1, record) +
               FrameBytes(FrameKind::OneWay, messages::quit, 0, ""));
    EXPECT_TRUE(reader.ReceiveBytes() == NotificationBytes(10, 15133, record));
    reader.ExpectClosed();
    ExpectNothingLeft();
}

TEST_F(AnEndingService, WaitsForNobodyWhoDoesNotRead)
{
    service.Start();
    WireClient silent = Connect();
    silent.Subscribe(10);
    WireClient other = Connect();
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(other.Ask(messages::setPaletteData,
                            PaletteRecord(2, 31, true, std::string(1024 * 1024, 'p'))),
                  accepted);
    }
    other.SendFrame(FrameKind::OneWay, messages::quit, 0);
    ExpectNothingLeft();
}

/// Processor time of all programs that this test has started and that have ended.
long long ProcessorMillisecondsOfTheEnded()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
}

TEST_F(AnEndingService, SleepsWhileItFlushesAfterPeersHungUp)
{
    service.Start();
    WireClient silent = Connect();
    silent.Subscribe(10);
    std::vector<WireClient> others;
    for (int i = 0; i < 20; ++i) {
        others.push_back(Connect());
        EXPECT_EQ(others.back().Ask(messages::ping), "");
    }
    // More than a socket takes: the flush at the end waits for the subscriber that takes nothing.
    EXPECT_EQ(others.back().Ask(messages::setPaletteData,
                                PaletteRecord(2, 31, true, std::string(8 * 1024 * 1024, 'p'))),
              accepted);
    const pid_t pid = service.Process().Pid();
    const long long before = ProcessorMilliseconds(pid) + ProcessorMillisecondsOfTheEnded();
    // While it is stopped, so that it meets the signal before the lost connections.
    service.Process().Stop();
    service.Process().Signal(SIGTERM);
    others.clear();
    service.Process().Continue();
    ExpectNothingLeft();
    EXPECT_LT(ProcessorMillisecondsOfTheEnded() - before, isSanitized || isEmulated ? 500 : 50);
}

TEST_F(AnEndingService, IsReplacedByOneThatServesAtOnce)
{
    for (int round = 0; round < 5; ++round) {
        service.Start();
        EXPECT_EQ(Connect().Ask(messages::ping), "");
        service.Stop();
        EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
    }
}

/// On a terminal that it does not share with the test.
class ATerminalOfAService : public SimulatorSession {
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

TEST_F(ATerminalOfAService, EndsItByHangingUpAndLeavesNothing)
{
    const auto program = Start(0);
    program->HangUp();
    EXPECT_EQ(program->WaitForExit(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

TEST_F(ATerminalOfAService, DoesNotStopItInTheBackground)
{
    ChildProcess::Options settings;
    settings.onTerminal = true;
    settings.environment["LINX_DIR"] = messaging.Path();
    ChildProcess shell({"sh", "-c", "stty tostop; set -m; \"$0\" & wait", ServiceProgram()},
                       settings);
    shell.WaitForOutput("ready\r\n");
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::ping), "");
    client.SendFrame(FrameKind::OneWay, messages::quit, 0);
    EXPECT_EQ(shell.WaitForExit(), 0);
}

TEST_F(ATerminalOfAService, MayHangUpWhenTheServiceIgnoresIt)
{
    const auto program = Start(SIGHUP);
    program->HangUp();
    WireClient client = Connect();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(client.Ask(messages::ping), "");  // told on the terminal that is gone
    }
    program->Signal(SIGTERM);
    EXPECT_EQ(program->WaitForExit(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
}

}  // namespace
