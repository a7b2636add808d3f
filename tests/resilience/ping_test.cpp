// Option -p: services that hang up, signals, and a wait without limit.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"

#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

namespace {

const std::string announced = "Let's Ping\n";

class Ping : public ConsoleSession {
protected:
    /// The service closes the connection without reading the request, or after this many bytes of
    /// the reply.
    void ExpectFailureAfter(bool isRead, std::size_t bytesOfReply)
    {
        auto service = std::make_unique<RawService>(Directory() / "SubtitleMgr");
        StartClient({"-p"});
        {
            const auto connection = service->Accept();
            service.reset();  // a second connection fails
            if (isRead) {
                const RawFrame request = connection->ExpectRequest(messages::ping);
                connection->Send(FrameBytes(FrameKind::Reply, messages::ReplyTo(messages::ping),
                                            request.header.correlation, "")
                                     .substr(0, bytesOfReply));
            }
        }
        EXPECT_TEXT(ConsoleText(), announced);
        EXPECT_TEXT(ErrorText(), "Error running ping\n");
        EXPECT_EQ(ExitStatus(), 0);
    }
};

TEST_F(Ping, FailsWhenTheServiceHangsUpBeforeReading) { ExpectFailureAfter(false, 0); }
TEST_F(Ping, FailsWhenTheServiceHangsUpAfterReading) { ExpectFailureAfter(true, 0); }
TEST_F(Ping, FailsWhenTheServiceHangsUpInsideTheReply) { ExpectFailureAfter(true, 15); }

TEST_F(Ping, WaitsForAMuteServiceUntilCtrlC)
{
    Service().Fault("mute").Journal();
    StartService();
    StartClient({"-p"});
    Service().WaitForJournalLine(R"({"request":"Ping","result":"unanswered"})");
    const long before = ProcessorMilliseconds(Client().Pid());
    // Every other request times out after two seconds, so the test waits longer.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_TRUE(Client().IsRunning());
    EXPECT_TEXT(Client().Output(), announced);
    EXPECT_LT(ProcessorMilliseconds(Client().Pid()) - before, isEmulated ? 1000 : 250);
    Client().Signal(SIGINT);
    EXPECT_EQ(ExitStatus(), -SIGINT);
    EXPECT_TEXT(ErrorText(), "");
}

TEST_F(Ping, GoesOnAfterTheClientWasStopped)
{
    RawService service(Directory() / "SubtitleMgr");
    StartClient({"-p"});
    const auto client = service.Accept();
    const RawFrame request = client->ExpectRequest(messages::ping);
    Client().Stop();
    Client().Continue();
    client->Reply(request);
    EXPECT_TEXT(ConsoleText(), announced + "Successful Ping\n");
}

TEST_F(Ping, SucceedsWhenAStoppedServiceGoesOn)
{
    StartService();
    Service().Process().Stop();
    StartClient({"-p"});
    ExpectConsole(announced);
    Service().Process().Continue();
    EXPECT_TEXT(ConsoleText(), announced + "Successful Ping\n");
}

}  // namespace
