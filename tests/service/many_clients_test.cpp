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
#include <cstdlib>
#include <memory>

namespace {

class Crowd : public SimulatorSession {
protected:
    Crowd()
    {
        AllowManyDescriptors();
        service.Quiet().Start();
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
            ASSERT_EQ(client.ReceiveBytes(), NotificationBytes(6, messages::regionVisItem,
                                                               VisibilityRecord(region, true)));
        }
    }
    if (!isSanitized && !isEmulated) {
        EXPECT_LT(ResidentKilobytes(service.Process().Pid()), 64 * 1024);
    }
    Connect().Quit();
    for (WireClient& client : clients) {
        client.ExpectClosed();
    }
    ExpectCleanEnd();
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

    /// What the client prints, which must end within three seconds.
    std::string Run(const std::string& option) const
    {
        const Deadline limit(3000);
        const auto client = LaunchShell(ClientProgram() + (" " + option));
        EXPECT_EQ(client->WaitForExit(), 0);
        EXPECT_FALSE(limit.HasPassed());
        return client->Output() + client->Errors();
    }

    std::vector<WireClient> idle;
};

TEST_F(SurplusClient, IsObeyedWhenItQuits)
{
    EXPECT_EQ(Run("-q"), "Quit issued\nShut down Requested\n");
    EXPECT_EQ(service.Process().WaitForExit(), 0);
}

TEST_F(SurplusClient, IsServedWhenAPlaceBecomesFree)
{
    EXPECT_EQ(Run("-p"), "Let's Ping\nError running ping\n");
    service.Process().WaitForErrors("turned away: there are as many clients as can be served\n");
    // The service accepts 32 clients without a place. It accepts one more when it closes them, two
    // seconds later, and does not look for a place all the time.
    const long before = ProcessorMilliseconds(service.Process().Pid());
    std::vector<WireClient> silent = ConnectMany(32);
    WireClient late = Connect();
    for (WireClient& client : silent) {
        client.ExpectClosed();
    }
    EXPECT_LT(ProcessorMilliseconds(service.Process().Pid()) - before, 300);
    idle.pop_back();
    EXPECT_EQ(idle.front().Ask(messages::ping), "");
    EXPECT_EQ(late.Ask(messages::ping), "");
}

}  // namespace
