// Option -q, and the hidden key k that sends the same message.

#include "tests/support/ConsoleSession.h"
#include "tests/support/RawPeer.h"

#include <filesystem>

namespace {

class Quit : public ConsoleSession {};

}  // namespace

TEST_F(Quit, EndsTheServiceAndSaysSo)
{
    StartService();
    RunClient({"-q"});
    EXPECT_TEXT(ConsoleText(), "Quit issued\n");
    EXPECT_TEXT(ErrorText(), "Shut down Requested\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Service().Process().WaitForExit(), 0);
    EXPECT_FALSE(std::filesystem::exists(Service().SocketPath()));
}

TEST_F(Quit, SendsAnEmptyMessageThatWantsNoReply)
{
    RawService service(Directory() / "SubtitleMgr");
    StartClient({"--quit"});
    const auto client = service.Accept();
    const RawFrame message = client->ReceiveFrame();
    EXPECT_EQ(message.header.kind, FrameKind::OneWay);
    EXPECT_EQ(message.header.messageId, 0x3B00u);
    EXPECT_EQ(message.payload, "");
    EXPECT_TEXT(ConsoleText(), "Quit issued\n");
}

TEST_F(Quit, FailsWithoutAService)
{
    RunClient({"-q"});
    EXPECT_TEXT(ConsoleText(), "");
    EXPECT_TEXT(ErrorText(), "Shut down Requested\nError running quit\n");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(Quit, GoesToTheServiceBehindThePrefix)
{
    StartService();
    SimulatedService other(Directory().Path());
    other.Name("node1/SubtitleMgr").Start();
    RunClient({"-e", "node1", "-q"});
    EXPECT_TEXT(ConsoleText(), "Quit issued\n");
    EXPECT_EQ(other.Process().WaitForExit(), 0);
    RunClient({"-p"});
    EXPECT_TEXT(ConsoleText(), "Let's Ping\nSuccessful Ping\n");
    RunClient({"-e", "..", "-q"});
    EXPECT_TEXT(ErrorText(), "Shut down Requested\nError running quit\n");
}

TEST_F(Quit, IsAlsoAKeyThatTheMenuDoesNotListAndLeavesTheConsoleOpen)
{
    StartService();
    StartClient({"-i"});
    Type("k\n");
    EXPECT_EQ(Service().Process().WaitForExit(), 0);
    Type("k\nx\n");
    EXPECT_TEXT(ConsoleText(),
                UnsubscribedMenu() + "Quit issued\n" + UnsubscribedMenu() + UnsubscribedMenu());
    EXPECT_TEXT(ErrorText(), "Shut down Requested\nShut down Requested\nError running quit\n");
    EXPECT_EQ(ExitStatus(), 0);
}
