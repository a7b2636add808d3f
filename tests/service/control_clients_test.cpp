// Control clients that misbehave, and many of them.

#include "tests/service/ControlClient.h"
#include "tests/service/SimulatorSession.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

const std::string done = R"({"ok":true})";
const std::string tooLong = R"({"ok":false,"error":"the line is longer than 65536 bytes"})";

class ControlClients : public SimulatorSession {
protected:
    ControlClients() { service.Quiet().Start(); }

    ControlClient Operate() const { return ControlClient(service.SocketPath()); }
};

TEST_F(ControlClients, MaySendALineInPieces)
{
    ControlClient control = Operate();
    const std::string line = "log a b c";
    for (const char byte : line) {
        control.Send(std::string(1, byte));
    }
    EXPECT_EQ(control.Ask(""), done);
}

TEST_F(ControlClients, MaySendLinesOf64KiBAndNotMore)
{
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
    EXPECT_EQ(control.ReceiveLine(), R"({"ok":false,"error":"the line has no end"})");
    control.ExpectClosed();
}

TEST_F(ControlClients, MayLeaveWhileTheyWait)
{
    Operate().Send("await subscribers=10 within=1000s\n");
    EXPECT_EQ(Operate().Ask("log x"), done);
}

TEST_F(ControlClients, AreDisconnectedAtTheEndWhileTheyWait)
{
    ControlClient waiting = Operate();
    waiting.Send("await subscribers=10 within=30s\nlog never\n");
    EXPECT_EQ(Operate().Ask("quit"), R"({"ok":true})");
    waiting.ExpectClosed();
    ExpectCleanEnd(service.Process());
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
    WireClient client = Connect();
    client.Subscribe(4);
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

/// Milliseconds of each of \p count pings.
std::vector<double> PingTimes(WireClient& client, int count)
{
    using Clock = std::chrono::steady_clock;
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        EXPECT_EQ(client.Ask(messages::ping), "");
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    return times;
}

TEST_F(ControlClients, NeverDelayAClientOfTheService)
{
    std::vector<ControlClient> crowd;
    for (int i = 0; i < 1000; ++i) {
        crowd.push_back(Operate());
    }
    std::string nonsense;
    for (int i = 0; i < 64; ++i) {
        nonsense += std::string(500, static_cast<char>(i + 128)) + "\nstate\n";
    }
    for (std::size_t i = 0; i < crowd.size(); ++i) {
        crowd[i].Send(i % 4 == 0   ? nonsense
                      : i % 4 == 1 ? std::string(60000, 'x')
                      : i % 4 == 2 ? "await subscribers=10 within=1000s\n"
                                   : "sta");
    }
    WireClient client = Connect();
    std::vector<double> times = PingTimes(client, 200);
    std::sort(times.begin(), times.end());
    EXPECT_LT(times[times.size() / 2], 50);
    EXPECT_LT(times.back(), 2000);
    EXPECT_EQ(crowd[3].Ask("te").substr(0, 10), R"({"ok":true)");
}

}  // namespace
