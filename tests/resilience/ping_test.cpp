// Option -p: replies that no simulated service sends, signals, and sockets in other places.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"

#include <chrono>
#include <filesystem>
#include <sys/stat.h>
#include <thread>

namespace {

const std::string announced = "Let's Ping\n";
const std::string failed = "Error running ping\n";

class Ping : public ConsoleSession {
protected:
    void ExpectFailure(const std::vector<std::string>& options)
    {
        RunClient(options);
        EXPECT_TEXT(ConsoleText(), announced);
        EXPECT_TEXT(ErrorText(), failed);
        EXPECT_EQ(ExitStatus(), 0);
    }

    void StartMuteService()
    {
        KeepJournal();
        Service().Fault("mute");
        StartService();
    }

    std::string SocketPath() const { return Directory() / "SubtitleMgr"; }
};

}  // namespace

TEST_F(Ping, FailsOnAReplyOfAnotherNumber)
{
    RawService service(SocketPath());
    StartClient({"-p"});
    const auto client = service.Accept();
    const RawFrame request = client->ExpectRequest(messages::ping);
    client->SendFrame(FrameKind::Reply, 0x3B03, request.header.correlation);
    EXPECT_TEXT(ErrorText(), failed);
}

TEST_F(Ping, FailsWhenTheServiceDiesInsideTheReply)
{
    RawService service(SocketPath());
    StartClient({"-p"});
    const auto client = service.Accept();
    const RawFrame request = client->ExpectRequest(messages::ping);
    client->Send(
        FrameBytes(FrameKind::Reply, 0x3B02, request.header.correlation, "").substr(0, 15));
    client->Close();
    EXPECT_TEXT(ErrorText(), failed);
}

TEST_F(Ping, WaitsForAMuteServiceLongerThanAnyOtherRequest)
{
    StartMuteService();
    StartClient({"-p"});
    Service().WaitForJournalLine(R"({"request":"Ping"})");
    // Every other request gives up after two seconds. That this one does not can only be shown by
    // waiting longer.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_TRUE(Client().IsRunning());
    EXPECT_TEXT(Client().Output(), announced);
    EXPECT_TEXT(Client().Errors(), "");
}

TEST_F(Ping, GoesOnAfterTheClientWasStopped)
{
    RawService service(SocketPath());
    StartClient({"-p"});
    const auto client = service.Accept();
    const RawFrame request = client->ExpectRequest(messages::ping);
    Client().Stop();
    Client().Continue();
    client->Reply(request);
    EXPECT_TEXT(ConsoleText(), announced + "Successful Ping\n");
}

TEST_F(Ping, IsAnsweredOnceAStoppedServiceGoesOn)
{
    StartService();
    Service().Process().Stop();
    StartClient({"-p"});
    ExpectConsole(announced);
    Service().Process().Continue();
    EXPECT_TEXT(ConsoleText(), announced + "Successful Ping\n");
}

TEST_F(Ping, NeverReachesASocketOutsideTheMessagingDirectory)
{
    RawService outside(Files() / "SubtitleMgr");
    const std::string inside = Files() / "linx";
    ASSERT_EQ(mkdir(inside.c_str(), 0700), 0);
    std::filesystem::create_directory_symlink(Files().Path(), inside + "/node1");
    ChildProcess::Options settings = ClientSettings();
    settings.environment["LINX_DIR"] = inside;
    for (const std::string& prefix : {std::string(".."), Files().Path(), std::string("node1")}) {
        ChildProcess client({ClientProgram(), "-e", prefix, "-p"}, settings);
        EXPECT_EQ(client.WaitForExit(), 0);
        EXPECT_TEXT(client.Errors(), failed);
    }
    EXPECT_FALSE(outside.HasClient());
}

TEST_F(Ping, FollowsNoSymbolicLinkToASocket)
{
    RawService outside(Files() / "service");
    std::filesystem::create_symlink(Files() / "service", SocketPath());
    ExpectFailure({"-p"});
    EXPECT_FALSE(outside.HasClient());
}

TEST_F(Ping, ReachesAServiceInADirectoryWithAVeryLongName)
{
    const std::string deep = Directory() / std::string(200, 'd');
    ASSERT_EQ(mkdir(deep.c_str(), 0700), 0);
    SimulatedService service(deep);
    service.Start();
    ChildProcess::Options settings = ClientSettings();
    settings.environment["LINX_DIR"] = deep;
    ChildProcess client({ClientProgram(), "-p"}, settings);
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Output(), announced + "Successful Ping\n");
}
