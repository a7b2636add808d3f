// More clients than the service has places for: they are turned away at once, and a quit is obeyed.

#include "tests/harness/build_kind.h"
#include "tests/service/SimulatorSession.h"

#include "platform/src/deadline.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <sys/resource.h>

namespace {

constexpr unsigned int places = 1024;

class SurplusClients : public SimulatorSession {
protected:
    SurplusClients()
    {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
        setrlimit(RLIMIT_NOFILE, &limit);
        service.Quiet().Start();
        for (unsigned int i = 0; i < places; ++i) {
            idle.push_back(Connect());
        }
        EXPECT_EQ(idle.back().Ask(messages::ping), "");
    }

    struct Run {
        int status;
        std::string output;
        std::string errors;
        std::chrono::milliseconds time;
    };

    Run RunClient(const std::string& option) const
    {
        ChildProcess::Options settings;
        settings.environment["LINX_DIR"] = messaging.Path();
        const auto start = std::chrono::steady_clock::now();
        ChildProcess client({ClientProgram(), option}, settings);
        const int status = client.WaitForExit();
        return {status, client.Output(), client.Errors(),
                std::chrono::duration_cast<std::chrono::milliseconds>(
                    std::chrono::steady_clock::now() - start)};
    }

    std::vector<WireClient> idle;
};

TEST_F(SurplusClients, AreObeyedWhenTheyQuit)
{
    const auto start = std::chrono::steady_clock::now();
    const Run quit = RunClient("-q");
    EXPECT_EQ(quit.output, "Quit issued\n");
    EXPECT_EQ(service.Process().WaitForExit(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST_F(SurplusClients, AreToldAtOnceThatTheirPingFails)
{
    const Run ping = RunClient("-p");
    EXPECT_EQ(ping.output, "Let's Ping\n");
    EXPECT_EQ(ping.errors, "Error running ping\n");
    EXPECT_LT(ping.time, std::chrono::milliseconds(isSanitized || isEmulated ? 5000 : 1000));
    service.Process().WaitForErrors("turned away: there are as many clients as can be served\n");
    EXPECT_EQ(idle.front().Ask(messages::ping), "");
}

TEST_F(SurplusClients, AreClosedWhenTheySayNothing)
{
    // More than are let in at once: the later ones get their turn when the earlier ones are closed.
    std::vector<WireClient> silent;
    for (int i = 0; i < 40; ++i) {
        silent.push_back(Connect());
    }
    for (WireClient& client : silent) {
        client.ExpectClosed();
    }
    EXPECT_EQ(idle.front().Ask(messages::ping), "");
}

TEST_F(SurplusClients, AreServedOnceThereIsAPlace)
{
    WireClient late = Connect();
    idle.pop_back();
    EXPECT_EQ(idle.front().Ask(messages::ping), "");
    EXPECT_EQ(late.Ask(messages::ping), "");
    late.Subscribe(6);
}

}  // namespace
