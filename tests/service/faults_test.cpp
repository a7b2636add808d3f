// Faults that concern one client, and those that end or restart the service.

#include "tests/harness/process_facts.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/ControlClient.h"
#include "tests/service/SimulatorSession.h"

#include <chrono>
#include <filesystem>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

const std::string done = R"({"ok":true})";

class Fault : public SimulatorSession {
protected:
    ControlClient Operate() const { return ControlClient(service.SocketPath()); }

    int Descriptors() { return CountDescriptors(service.Process().Pid()); }
};

TEST_F(Fault, DelaysOneReplyAndNoOther)
{
    service.Fault("late request=Ping client=1 times=1").Start();
    WireClient client = Connect();
    const auto start = Clock::now();
    const unsigned int late = client.Request(messages::ping);
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), accepted);
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    EXPECT_FALSE(client.HasInput());
    EXPECT_EQ(client.ReceiveFrame().header.correlation, late);
    EXPECT_GE(Clock::now() - start, seconds(1));
    EXPECT_EQ(client.Ask(messages::ping), "");
}

TEST_F(Fault, StopsReadingOfOneClientAndNoOther)
{
    service.Fault("stall client=1 times=1").Start();
    WireClient client = Connect();
    const auto start = Clock::now();
    client.Subscribe(10);
    const unsigned int waiting = client.Request(messages::ping);
    WireClient other = Connect();
    EXPECT_EQ(other.Ask(messages::setPaletteData, PaletteRecord(2, 31, true, "p")), accepted);
    EXPECT_EQ(client.ReceiveFrame().header.messageId, messages::paletteItem)
        << "notifications go on";
    EXPECT_FALSE(client.HasInput());
    EXPECT_EQ(client.ReceiveFrame().header.correlation, waiting);
    EXPECT_GE(Clock::now() - start, seconds(1));
}

TEST_F(Fault, ForgetsAClientThatDisconnectsDuringADelay)
{
    service.Fault("stall request=SetLogLevel delay=3600").Fault("late request=Ping delay=3600");
    service.Start();
    WireClient staying = Connect();
    staying.Ask(messages::getLogLevel);
    const int before = Descriptors();
    WireClient stalled = Connect();
    stalled.Ask(messages::setLogLevel, U32(7));
    WireClient waiting = Connect();
    waiting.Request(messages::ping);
    waiting.Ask(messages::getLogLevel);
    EXPECT_EQ(Descriptors(), before + 2);
    stalled.Close();
    waiting.Close();
    WaitUntil([&] { return Descriptors() == before; }, [] { return "two closed connections"; });
}

TEST_F(Fault, StillRepliesToAClientThatEndsItsSending)
{
    service.Fault("late delay=100ms").Start();
    WireClient client = Connect();
    const unsigned int late = client.Request(messages::ping);
    client.EndSending();
    EXPECT_EQ(client.ReceiveFrame().header.correlation, late);
    client.ExpectClosed();
}

TEST_F(Fault, SendsHalfAReplyAndReadsOn)
{
    service.Fault("truncate client=1 times=1").Journal().Start();
    WireClient client = Connect();
    client.Request(messages::ping);
    client.TakeBytes(frameHeaderSize / 2);
    client.Request(messages::getLogLevel);
    service.WaitForJournalLines(2);
    WireClient other = Connect();
    EXPECT_EQ(other.Ask(messages::ping), "");
    EXPECT_FALSE(client.HasInput());
    client.Quit();
    client.ExpectClosed();
    ExpectCleanEnd(service.Process());
}

TEST_F(Fault, SpoilsTheNotificationsOfOneClient)
{
    service.Fault("garbage client=2 times=1").Start();
    WireClient one = Connect();
    one.Subscribe(10);
    WireClient other = Connect();
    other.Subscribe(10);
    const std::string record = PaletteRecord(2, 31, true, "pal");
    const std::string good = NotificationBytes(10, messages::paletteItem, record);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(one.Ask(messages::setPaletteData, record), accepted);
        EXPECT_EQ(one.ReceiveBytes(), good);
    }
    EXPECT_NE(other.ReceiveBytes(), good);
    EXPECT_EQ(other.ReceiveBytes(), good);
    EXPECT_EQ(other.ReceiveBytes(), good);
}

TEST_F(Fault, LeavesSocketsAndLockAfterACrash)
{
    const auto program = Launch({"--fault", "crash request=Ping"});
    program->WaitForOutput("ready\n");
    WireClient client = Connect();
    EXPECT_NE(client.Ask(messages::getLogLevel), "");
    client.Request(messages::ping);
    client.ExpectClosed();
    EXPECT_EQ(program->WaitForExit(), 1);
    EXPECT_TRUE(std::filesystem::is_socket(service.SocketPath()));
    EXPECT_TRUE(std::filesystem::is_socket(service.SocketPath() + ".control"));
    EXPECT_TRUE(std::filesystem::exists(LockPath()));
    service.Start();
    EXPECT_EQ(Connect().Ask(messages::ping), "");
}

TEST_F(Fault, RestartsWithoutWhatTheServiceKept)
{
    service.Fault("restart request=Quit times=1 delay=500ms").Start();
    ControlClient control = Operate();
    WireClient subscriber = Connect();
    subscriber.Subscribe(10);
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), accepted);
    EXPECT_EQ(client.Ask(messages::setPaletteData, PaletteRecord(2, 31, true, "p")), accepted);
    const auto start = Clock::now();
    client.Quit();
    client.ExpectClosed();
    subscriber.ExpectClosed();
    EXPECT_FALSE(std::filesystem::exists(service.SocketPath()));
    EXPECT_TRUE(std::filesystem::exists(LockPath()));
    EXPECT_EQ(control.Ask("faults"), R"({"ok":true,"faults":[]})");
    WireClient again = ConnectOnceItListens();
    EXPECT_GE(Clock::now() - start, milliseconds(500));
    again.Subscribe(10);
    EXPECT_EQ(again.Ask(messages::refreshRegions), accepted);
    EXPECT_EQ(again.Ask(messages::getLogLevel), accepted + U32(63)) << "nothing comes before it";
    service.Process().WaitForErrors("SubtitleMgrSim: serves again\n");
}

TEST_F(Fault, IsCausedAndEndedByControl)
{
    service.Start();
    ControlClient control = Operate();
    WireClient client = Connect();
    EXPECT_EQ(control.Ask("fault refuse request=SetLogLevel times=2"), R"({"ok":true,"id":1})");
    EXPECT_EQ(control.Ask("fault mute client=7"), R"({"ok":true,"id":2})");
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), U32(1));
    EXPECT_EQ(control.Ask("faults"),
              R"({"ok":true,"faults":[{"id":2,"fault":"mute client=7","used":0},)"
              R"({"id":1,"fault":"refuse request=SetLogLevel times=2","used":1}]})");
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), U32(1));
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), accepted);
    const auto refused = [](const char* why) {
        return std::string(R"({"ok":false,"error":")") + why + R"("})";
    };
    EXPECT_EQ(control.Ask("no-fault 1"), refused("there is no fault '1'"));
    EXPECT_EQ(control.Ask("no-fault two"), refused("there is no fault 'two'"));
    EXPECT_EQ(control.Ask("no-fault 2"), done);
    EXPECT_EQ(control.Ask("fault mute request=Pong"),
              refused("'Pong' is not a request; did you mean Ping?"));
    control.Ask("fault mute");
    EXPECT_EQ(control.Ask("no-fault"), done);
    EXPECT_EQ(control.Ask("faults"), R"({"ok":true,"faults":[]})");
    EXPECT_EQ(client.Ask(messages::ping), "");
}

TEST_F(Fault, RestartsAtOnceByControl)
{
    service.Start();
    ControlClient control = Operate();
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(control.Ask("fault restart delay=0"), R"({"ok":true,"id":1})");
    client.ExpectClosed();
    EXPECT_EQ(ConnectOnceItListens().Ask(messages::ping), "");
    EXPECT_EQ(control.Ask("no-fault 1"), R"({"ok":false,"error":"there is no fault '1'"})");
}

TEST_F(Fault, EndsTheServiceDuringARestart)
{
    service.Start();
    ControlClient control = Operate();
    control.Ask("fault restart delay=3600");
    EXPECT_EQ(control.Ask("quit"), done);
    ExpectCleanEnd(service.Process());
}

}  // namespace
