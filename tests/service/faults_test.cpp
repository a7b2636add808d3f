// Faults that concern one client, and those that end or restart the service.

#include "tests/harness/process_facts.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <filesystem>

namespace {

class Fault : public SimulatorSession {
protected:
    int Descriptors() { return CountDescriptors(service.Process().Pid()); }
};

TEST_F(Fault, DelaysOneReplyAndNoOther)
{
    service.Fault("late request=Ping client=1 times=1").Start();
    WireClient client = Connect();
    const Deadline atLeast(1000);
    const unsigned int late = client.Request(messages::ping);
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), accepted);
    EXPECT_EQ(Connect().Ask(messages::ping), "");
    client.EndSending();
    EXPECT_EQ(client.ReceiveFrame().header.correlation, late);
    EXPECT_TRUE(atLeast.HasPassed());
    client.ExpectClosed();
}

TEST_F(Fault, StopsReadingOfOneClientAndNoOther)
{
    service.Fault("stall client=1 times=1").Start();
    WireClient client = Connect();
    const Deadline atLeast(1000);
    client.Subscribe(10);
    const unsigned int waiting = client.Request(messages::ping);
    EXPECT_EQ(Connect().Ask(messages::setPaletteData, PaletteRecord(2, 31, true, "p")), accepted);
    EXPECT_EQ(client.ReceiveFrame().header.messageId, messages::paletteItem)
        << "notifications go on";
    EXPECT_EQ(client.ReceiveFrame().header.correlation, waiting);
    EXPECT_TRUE(atLeast.HasPassed());
}

TEST_F(Fault, ForgetsAClientThatDisconnectsDuringADelay)
{
    service.Fault("stall request=SetLogLevel delay=3600").Fault("late request=Ping delay=3600");
    service.Start();
    WireClient staying = Connect();
    staying.Ask(messages::getLogLevel);
    const int before = Descriptors();
    {
        WireClient stalled = Connect();
        stalled.Ask(messages::setLogLevel, U32(7));
        WireClient waiting = Connect();
        waiting.Request(messages::ping);
        waiting.Ask(messages::getLogLevel);
        EXPECT_EQ(Descriptors(), before + 2);
    }
    WaitUntil([&] { return Descriptors() == before; }, [] { return "two closed connections"; });
}

TEST_F(Fault, SpoilsTheNotificationsOfOneClient)
{
    service.Fault("garbage client=2 times=1").Start();
    WireClient one = Connect({10});
    WireClient other = Connect({10});
    const std::string record = PaletteRecord(2, 31, true, "pal");
    const std::string good = NotificationBytes(10, messages::paletteItem, record);
    EXPECT_EQ(one.Ask(messages::setPaletteData, record), accepted);
    EXPECT_EQ(one.ReceiveBytes(), good);
    EXPECT_EQ(one.Ask(messages::ping), "");
    EXPECT_NE(other.ReceiveBytes(), good);
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
    WireClient subscriber = Connect({10});
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), accepted);
    EXPECT_EQ(client.Ask(messages::setPaletteData, PaletteRecord(2, 31, true, "p")), accepted);
    const Deadline atLeast(500);
    client.Quit();
    client.ExpectClosed();
    subscriber.ExpectClosed();
    EXPECT_FALSE(std::filesystem::exists(service.SocketPath()));
    EXPECT_TRUE(std::filesystem::exists(LockPath()));
    EXPECT_EQ(control.Ask("faults"), R"({"ok":true,"faults":[]})");
    WireClient again = ConnectOnceItListens();
    EXPECT_TRUE(atLeast.HasPassed());
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
    EXPECT_EQ(control.Ask("fault refuse request=SetLogLevel"), R"({"ok":true,"id":1})");
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), U32(1));
    EXPECT_EQ(control.Ask("faults"),
              R"({"ok":true,"faults":[{"id":1,"fault":"refuse request=SetLogLevel","used":1}]})");
    EXPECT_EQ(control.Ask("no-fault 2"), Failed("there is no fault '2'"));
    EXPECT_EQ(control.Ask("no-fault one"), Failed("there is no fault 'one'"));
    EXPECT_EQ(control.Ask("no-fault 1"), done);
    EXPECT_EQ(client.Ask(messages::setLogLevel, U32(7)), accepted);
    EXPECT_EQ(control.Ask("fault mute request=Pong"),
              Failed("'Pong' is not a request; did you mean Ping?"));
    control.Ask("fault mute");
    EXPECT_EQ(control.Ask("no-fault"), done);
    EXPECT_EQ(control.Ask("faults"), R"({"ok":true,"faults":[]})");
}

TEST_F(Fault, RestartsAtOnceByControlAndCanBeEndedMeanwhile)
{
    service.Start();
    ControlClient control = Operate();
    WireClient client = Connect();
    EXPECT_EQ(client.Ask(messages::ping), "");
    EXPECT_EQ(control.Ask("fault restart delay=0"), R"({"ok":true,"id":1})");
    client.ExpectClosed();
    EXPECT_EQ(ConnectOnceItListens().Ask(messages::ping), "");
    EXPECT_EQ(control.Ask("no-fault 1"), Failed("there is no fault '1'"));
    control.Ask("fault restart delay=3600");
    EXPECT_EQ(control.Ask("quit"), done);
    ExpectCleanEnd();
}

}  // namespace
