// Control clients that misbehave, and many of them.

#include "tests/service/SimulatorSession.h"

#include <algorithm>
#include <thread>

namespace {

class ControlClients : public SimulatorSession {
protected:
    ControlClients() { service.Quiet().Start(); }
};

TEST_F(ControlClients, MaySendLinesOf64KiBAndNotMore)
{
    const std::string tooLong = Failed("the line is longer than 65536 bytes");
    ControlClient control = Operate();
    EXPECT_EQ(control.Ask('#' + std::string(65535, 'x')), done);
    EXPECT_EQ(control.Ask('#' + std::string(65536, 'x')), tooLong);
    EXPECT_EQ(control.Ask('#' + std::string(1000000, 'x')), tooLong);
    EXPECT_EQ(control.Ask("log after"), done);
}

TEST_F(ControlClients, GetTheirAnswersAfterTheyEndedSending)
{
    ControlClient control = Operate();
    control.Send("sleep 10ms\nlog x\nquit");
    control.EndSending();
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.ReceiveLine(), done);
    EXPECT_EQ(control.ReceiveLine(), Failed("the line has no end"));
    control.ExpectClosed();
}

TEST_F(ControlClients, AreDisconnectedAtTheEndWhileTheyWait)
{
    Operate().Send("await subscribers=10 within=1000s\n");  // and leaves
    ControlClient waiting = Operate();
    waiting.Send("await subscribers=10 within=30s\nlog never\n");
    EXPECT_EQ(Operate().Ask("quit"), done);
    waiting.ExpectClosed();
    ExpectCleanEnd();
    EXPECT_EQ(service.Process().Errors().find("never"), std::string::npos);
}

TEST_F(ControlClients, AreDroppedWhenTheyDoNotRead)
{
    ControlClient deaf = Operate();
    std::string lines;
    for (int i = 0; i < 3000; ++i) {
        lines += "state\n";
    }
    deaf.Send(lines);
    deaf.ExpectHangUp();
    EXPECT_EQ(Operate().Ask("log x"), done);
}

TEST_F(ControlClients, PublishNoFasterThanSubscribersRead)
{
    constexpr int count = 1500;
    WireClient client = Connect({4});
    ControlClient control = Operate();
    std::thread sender([&] {
        for (int i = 0; i < count; ++i) {
            control.Send("region-data 3 cif " + std::string(4096, '0') + "\n");
        }
    });
    int answers = 0;
    for (int i = 0; i < count; ++i) {
        for (; answers < std::min(300 + i, count); ++answers) {
            EXPECT_EQ(control.ReceiveLine(), R"({"ok":true,"receivers":1})");
        }
        client.ReceiveFrame();
    }
    sender.join();
}

TEST_F(ControlClients, NeverKeepAClientOfTheServiceWaiting)
{
    std::vector<ControlClient> crowd;
    for (int i = 0; i < 200; ++i) {
        crowd.push_back(Operate());
        crowd.back().Send(i % 4 == 0   ? std::string(500, static_cast<char>(i)) + "\nstate\n"
                          : i % 4 == 1 ? std::string(60000, 'x')
                          : i % 4 == 2 ? "await subscribers=10 within=1000s\n"
                                       : "sta");
    }
    WireClient client = Connect();
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(client.Ask(messages::ping), "");
    }
    EXPECT_EQ(crowd[3].Ask("te").substr(0, 10), R"({"ok":true)");
}

}  // namespace
