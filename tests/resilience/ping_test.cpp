// Option -p: signals, and a wait without limit.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"

#include <chrono>
#include <csignal>
#include <thread>

namespace {

const std::string announced = "Let's Ping\n";

using Ping = ConsoleSession;

TEST_F(Ping, WaitsForAMuteServiceUntilCtrlC)
{
    Service().Fault("mute").Journal();
    StartService();
    StartClient({"-p"});
    Service().WaitForJournalLines(1);
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

}  // namespace
