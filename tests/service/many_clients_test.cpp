// Many clients that subscribe, come back, send slowly, or exceed the limit of clients.

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/harness/wait_limits.h"
#include "tests/service/SimulatorSession.h"

#include <LinxIpc.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include "platform/src/deadline.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

namespace {

using Clock = std::chrono::steady_clock;

class Crowd : public SimulatorSession {
protected:
    Crowd()
    {
        AllowManyDescriptors();
        service.Quiet().Start();
    }

    static std::string Shown(unsigned int region)
    {
        return NotificationBytes(6, messages::regionVisItem, VisibilityRecord(region, true));
    }

    /// Makes the service publish a visibility to every subscriber.
    void Publish(unsigned int region) const
    {
        EXPECT_EQ(Connect().Ask(messages::setRegionVisibility, VisibilityRecord(region, true)),
                  accepted);
    }
};

using ThousandSubscribers = Crowd;

TEST_F(ThousandSubscribers, GetEveryNotification)
{
    std::vector<WireClient> clients = ConnectMany(isEmulated ? 200 : 1000);
    for (WireClient& client : clients) {
        client.Subscribe(6);
    }
    for (unsigned int region = 1; region <= 10; ++region) {
        Publish(region);
    }
    for (WireClient& client : clients) {
        for (unsigned int region = 1; region <= 10; ++region) {
            ASSERT_EQ(client.ReceiveBytes(), Shown(region));
        }
    }
    if (!isSanitized && !isEmulated) {
        EXPECT_LT(ResidentKilobytes(service.Process().Pid()), 64 * 1024);
    }
    Connect().Quit();
    for (WireClient& client : clients) {
        client.ExpectClosed();
    }
    ExpectCleanEnd(service.Process());
}

using SlowSenders = Crowd;

TEST_F(SlowSenders, AreAnsweredAndDelayNoOtherClient)
{
    std::vector<WireClient> crowd = ConnectMany(200);
    WireClient good = Connect();
    for (const char byte : FrameBytes(FrameKind::Request, messages::ping, 1, "")) {
        for (WireClient& slow : crowd) {
            slow.Send(std::string(1, byte));
        }
        ASSERT_EQ(good.Ask(messages::ping), "");
    }
    for (WireClient& slow : crowd) {
        ASSERT_EQ(slow.ReceiveFrame().header.messageId, messages::ReplyTo(messages::ping));
    }
}

/// A subscriber that uses the client library.
struct Subscriber {
    static void Count(LinxIpc*, void* self) { ++static_cast<Subscriber*>(self)->received; }

    Subscriber()
    {
        RegionVisItem unused;
        EXPECT_EQ(ipc.Init(), 0);
        EXPECT_EQ(client.Subscribe(6, messages::regionVisItem, unused, Count, this), 0);
    }

    LinxIpc ipc{"Subscriber"};
    SubtitleClient client{ipc, eventDeadlineMs};
    unsigned received = 0;
};

using ReturningSubscribers = Crowd;

TEST_F(ReturningSubscribers, AreAllServedByARestartedService)
{
    setenv("LINX_DIR", messaging.Path().c_str(), 1);
    std::vector<std::unique_ptr<Subscriber>> crowd;
    for (unsigned i = 0; i < (isEmulated ? 50 : 300); ++i) {
        crowd.push_back(std::make_unique<Subscriber>());
    }
    service.Kill();
    service.Start();
    const auto isStillAway = [](const auto& one) { return one->received == 0; };
    const Deadline deadline(eventDeadlineMs);
    while (std::any_of(crowd.begin(), crowd.end(), isStillAway) && !deadline.HasPassed()) {
        // A subscriber gets only publications after its renewed subscription.
        Publish(1);
        for (const auto& one : crowd) {
            one->ipc.Receive(0, 0, LinxIpc::emptyString, nullptr);
        }
    }
    EXPECT_EQ(std::count_if(crowd.begin(), crowd.end(), isStillAway), 0);
    unsetenv("LINX_DIR");
}

/// Idle clients hold all 1,024 places.
class SurplusClient : public Crowd {
protected:
    SurplusClient() : idle(ConnectMany(1024)) { EXPECT_EQ(idle.back().Ask(messages::ping), ""); }

    std::unique_ptr<ChildProcess> RunClient(const std::string& option) const
    {
        ChildProcess::Options settings;
        settings.environment["LINX_DIR"] = messaging.Path();
        auto client = std::make_unique<ChildProcess>(
            std::vector<std::string>{ClientProgram(), option}, settings);
        EXPECT_EQ(client->WaitForExit(), 0);
        return client;
    }

    std::vector<WireClient> idle;
};

TEST_F(SurplusClient, IsObeyedWhenItQuits)
{
    const auto start = Clock::now();
    EXPECT_EQ(RunClient("-q")->Output(), "Quit issued\n");
    EXPECT_EQ(service.Process().WaitForExit(), 0);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
}

TEST_F(SurplusClient, FailsToPingWithoutDelay)
{
    const auto start = Clock::now();
    const auto client = RunClient("-p");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(client->Output(), "Let's Ping\n");
    EXPECT_EQ(client->Errors(), "Error running ping\n");
    service.Process().WaitForErrors("turned away: there are as many clients as can be served\n");
    EXPECT_EQ(idle.front().Ask(messages::ping), "");
}

TEST_F(SurplusClient, IsClosedWhenItSendsNothing)
{
    // More clients than the service accepts at once: it accepts the rest when it closes the first.
    for (WireClient& client : ConnectMany(20)) {
        client.ExpectClosed();
    }
    EXPECT_EQ(idle.front().Ask(messages::ping), "");
}

TEST_F(SurplusClient, IsServedWhenAPlaceBecomesFree)
{
    WireClient late = Connect();
    idle.pop_back();
    EXPECT_EQ(idle.front().Ask(messages::ping), "");
    EXPECT_EQ(late.Ask(messages::ping), "");
    late.Subscribe(6);
}

}  // namespace
