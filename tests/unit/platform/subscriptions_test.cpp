// Subscriptions: notifications, end, renewal after a lost connection, and concurrent calls.

#include "tests/unit/platform/ServedEndpoint.h"

#include <atomic>
#include <sched.h>

namespace {

const std::string accepted = U32(0);
const std::string refused = U32(1);

using Subscription = ServedEndpoint;

TEST_F(Subscription, IsPossibleAtOneServiceOnly)
{
    ConnectAndSubscribe();
    struct OtherServicesClient : SubscribeClient {
        explicit OtherServicesClient(LinxIpc& endpoint) : SubscribeClient(endpoint, "Other", 0) {}
    } client(*ipc);
    RegionVisItem unused;
    EXPECT_EQ(client.Subscribe(hd, bitmap, unused, NoteRegion, &regions), EINVAL);
}

TEST_F(Subscription, DeliversNothingWhenRefused)
{
    Connect();
    auto subscribed = Beside([this] { return Subscribe(); });
    const RawFrame request = peer->ExpectRequest(messages::subscribe);
    peer->Send(Bitmap(1));
    peer->Reply(request, refused);
    EXPECT_EQ(subscribed.get(), EREMOTEIO);
    peer->Send(Bitmap(2));
    ExpectNothingMore();
    EXPECT_TRUE(regions.empty());
}

TEST_F(Subscription, DeliversNothingAfterAnUnsubscribeRequest)
{
    ConnectAndSubscribe();
    peer->Send(Bitmap(1));
    ExpectPing();  // afterwards one notification is queued
    auto unsubscribed =
        Beside([this] { return SubtitleClient(*ipc, eventDeadlineMs).Unsubscribe(1); });
    const RawFrame request = peer->ExpectRequest(messages::unsubscribe);
    EXPECT_EQ(request.payload, U32(1));
    peer->Send(Bitmap(2));
    peer->Reply(request, refused);  // the subscription has ended without the reply
    peer->Send(Bitmap(3));
    EXPECT_EQ(unsubscribed.get(), EREMOTEIO);
    ExpectPing();  // reads the third bitmap
    // Nor does the next subscription under this number.
    auto subscribed = Beside([this] { return Subscribe(); });
    peer->AcceptSubscription();
    EXPECT_EQ(subscribed.get(), 0);
    ExpectNothingMore();
    EXPECT_TRUE(regions.empty());
}

TEST_F(Subscription, IsRenewedWithTheNextRequestAfterARestart)
{
    ConnectAndSubscribe();
    RestartService();
    auto ping = PingBeside();
    AcceptClient();
    EXPECT_EQ(peer->AcceptSubscription(), hd);
    Answer();
    EXPECT_EQ(ping.get(), 0);
    peer->Send(Bitmap(9));
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(regions, Numbers{9});
}

TEST_F(Subscription, IsRenewedByReceiveAtMostTwiceASecond)
{
    const auto start = Clock::now();
    ConnectAndSubscribe();
    peer->Send(Bitmap(1).substr(0, 10));  // the rest never comes
    EndService();
    EXPECT_EQ(Receive(10), ETIMEDOUT);  // finds the lost connection too early for another attempt
    RestartService();
    auto received = ReceiveBeside();
    AcceptClient();
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_EQ(peer->AcceptSubscription(), hd);
    peer->Send(Bitmap(9));
    EXPECT_EQ(received.get(), 0);
    EXPECT_EQ(regions, Numbers{9});
}

TEST_F(Subscription, IsReportedWhenARestartedServiceRefusesIt)
{
    ConnectAndSubscribe();
    RestartService();
    auto ping = PingBeside();
    AcceptClient();
    Answer(messages::subscribe, refused);
    Answer();
    EXPECT_EQ(ping.get(), 0);
    ExpectLogged("a subscription was refused by the restarted service SubtitleMgr\n");
}

/// Limits the process to one processor, which other threads keep busy.
class BusyProcessor {
public:
    BusyProcessor()
    {
        sched_getaffinity(0, sizeof before, &before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof one, &one);
        for (int i = 0; i < 2; ++i) {
            spinners.emplace_back([this] {
                while (!isOver) {
                }
            });
        }
    }
    ~BusyProcessor()
    {
        isOver = true;
        for (std::thread& spinner : spinners) {
            spinner.join();
        }
        sched_setaffinity(0, sizeof before, &before);
    }
    BusyProcessor(const BusyProcessor&) = delete;
    BusyProcessor& operator=(const BusyProcessor&) = delete;

private:
    cpu_set_t before{};
    std::atomic<bool> isOver{false};
    std::vector<std::thread> spinners;
};

using ConcurrentSubscribe = ServedEndpoint;

TEST_F(ConcurrentSubscribe, IsRenewedWhenTheServiceHangsUp)
{
    constexpr int rounds = 40;
    const BusyProcessor busy;
    int silent = 0;
    for (int round = 0; round < rounds; ++round) {
        ipc = std::make_unique<LinxIpc>("TheEndpoint");
        ASSERT_EQ(ipc->Init(), 0);
        Connect();
        // This call reads for the subscribing call and connects again.
        auto other = Beside([this] {
            int error;
            while ((error = Ping()) == ECONNRESET) {
            }
            return error;
        });
        peer->ExpectRequest(messages::ping);
        auto subscribed = Beside([this] { return Subscribe(); });
        peer->AcceptSubscription();
        peer->Close();
        AcceptClient();
        const RawFrame next = peer->ReceiveFrame();
        const bool isRenewal = next.header.messageId == messages::subscribe;
        peer->Reply(next, isRenewal ? accepted : "");
        if (isRenewal) {
            Answer();
        }
        EXPECT_EQ(other.get(), 0);
        silent += subscribed.get() == 0 && !isRenewal ? 1 : 0;
    }
    EXPECT_EQ(silent, 0) << "of " << rounds;
}

}  // namespace
