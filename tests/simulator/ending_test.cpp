// How a service ends: never with anything left behind.

#include "tests/simulator/SimulatorSession.h"

#include <csignal>
#include <filesystem>

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

TEST_F(AnEndingService, IsReplacedByOneThatServesAtOnce)
{
    for (int round = 0; round < 5; ++round) {
        service.Start();
        EXPECT_EQ(Connect().Ask(messages::ping), "");
        service.Stop();
        EXPECT_TRUE(std::filesystem::is_empty(messaging.Path()));
    }
}

}  // namespace
