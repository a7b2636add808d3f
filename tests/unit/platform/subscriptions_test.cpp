// Subscriptions: what they bring, how they end, and their renewal after a loss.

#include "tests/unit/platform/ServedEndpoint.h"

namespace {

const std::string accepted = U32(0);
const std::string refused = U32(1);

/// Subscribes to another service than the subtitle service.
class OtherServicesClient : public SubscribeClient {
public:
    explicit OtherServicesClient(LinxIpc& endpoint) : SubscribeClient(endpoint, "Other", 0) {}
};

using Subscription = ServedEndpoint;

TEST_F(Subscription, IsPossibleAtOneServiceOnly)
{
    ConnectAndSubscribe();
    RegionVisItem unused;
    EXPECT_EQ(OtherServicesClient(*ipc).Subscribe(hd, bitmap, unused, NoteRegion, &regions),
              EINVAL);
}

TEST_F(Subscription, BringsNothingWhenItWasRefused)
{
    Connect();
    auto subscribed = Beside([this] { return Subscribe(); });
    Answer(messages::subscribe, refused);
    EXPECT_EQ(subscribed.get(), EREMOTEIO);
    peer->Send(Bitmap(2));
    ExpectNothingMore();
    EXPECT_TRUE(regions.empty());
}

TEST_F(Subscription, BringsNothingOnceItsEndWasAskedFor)
{
    ConnectAndSubscribe();
    peer->Send(Bitmap(1));
    ExpectPing();  // so that one is queued
    auto unsubscribed = Beside([this] { return Unsubscribe(1); });
    const RawFrame request = peer->ExpectRequest(messages::unsubscribe);
    EXPECT_EQ(request.payload, U32(1));
    peer->Send(Bitmap(2));
    peer->Reply(request, accepted);
    peer->Send(Bitmap(3));
    EXPECT_EQ(unsubscribed.get(), 0);
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
    EndService();
    EXPECT_EQ(Receive(10), ETIMEDOUT);  // notices the loss, and it is too early to try again
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

}  // namespace
