// Notifications that an endpoint receives, and its reaction to malformed frames and records.

#include "tests/unit/platform/ServedEndpoint.h"

namespace {

using Notifications = ServedEndpoint;

TEST_F(Notifications, AreKeptWhileAReplyIsAwaited)
{
    ConnectAndSubscribe();
    auto ping = PingBeside();
    const RawFrame request = peer->ExpectRequest(messages::ping);
    peer->Send(Bitmaps(14));
    peer->Reply(request);
    EXPECT_EQ(ping.get(), 0);
    EXPECT_TRUE(regions.empty()) << "a callback ran outside Receive()";
    ExpectBitmaps(0, 14);
    EXPECT_EQ(Receive(0), ETIMEDOUT);
}

TEST_F(Notifications, AreTakenByNumberAndSender)
{
    ConnectAndSubscribe();
    peer->Send(Bitmap(3));
    ExpectPing();
    IpcMessage copy;
    EXPECT_EQ(Receive(0, visibility), ETIMEDOUT);
    EXPECT_EQ(ipc->Receive(0, 0, "Another", nullptr), ETIMEDOUT);
    EXPECT_EQ(ipc->Receive(0, bitmap, "SubtitleMgr", &copy), 0);
    EXPECT_EQ(copy.Payload()[0], 3);
}

TEST_F(Notifications, AreShownUntilTheNextReceive)
{
    ConnectAndSubscribe();
    peer->Send(Bitmap(2));
    ASSERT_EQ(Receive(), 0);
    EXPECT_NE(ipc->ReceivedMessage().Payload(), nullptr);
    ASSERT_EQ(Receive(1), ETIMEDOUT);
    EXPECT_EQ(ipc->ReceivedMessage().Payload(), nullptr);
}

/// Checks this with and without a subscription.
TEST_F(Notifications, AreAwaitedForTheTimeOfTheCall)
{
    for (int round = 0; round < 2; ++round) {
        for (const int limitMs : {1, 30, 2, 0, 1}) {
            const auto start = Clock::now();
            EXPECT_EQ(Receive(limitMs), ETIMEDOUT);
            EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(limitMs));
        }
        if (round == 0) {
            ConnectAndSubscribe();
        }
    }
}

TEST_F(Notifications, AreIgnoredWithoutTheirSubscription)
{
    ConnectAndSubscribe();
    peer->SendFrame(FrameKind::Notification, bitmap, 4, Bytes({1, 0, 0, 0, 0, 0}));
    peer->Send(Visibility(hd));
    peer->SendFrame(FrameKind::Notification, 0x7777, hd, "?");
    peer->Send(Bitmap(7));
    ASSERT_EQ(Receive(), 0);
    EXPECT_EQ(regions, Numbers{7});
}

TEST_F(Notifications, AreDroppedWithAnEntryWhenMalformed)
{
    ConnectAndSubscribe();
    peer->SendFrame(FrameKind::Notification, bitmap, hd, Bytes({1, 0, 0, 0, 0, 9, 1}));
    peer->SendFrame(FrameKind::Notification, bitmap, hd, "");
    peer->Send(Bitmap(7));
    ASSERT_EQ(Receive(), 0);
    EXPECT_EQ(regions, Numbers{7});
    const std::string entry = "level=2 dropped a malformed record from SubtitleMgr: message 15129";
    ExpectLogged(entry + " of 7 bytes\n");
    ExpectLogged(entry + " of 0 bytes\n");
}

TEST_F(Notifications, AreAllReceivedBeyondTheQueueLimit)
{
    constexpr unsigned int count = 6000;  // more than one read returns or the queue holds
    ConnectAndSubscribe();
    auto served = Beside([this] {
        peer->Send(Bitmaps(count));
        peer->Close();
    });
    ExpectBitmaps(0, count);
    served.get();
}

TEST_F(Notifications, AreFoundByNumberAfterManyOthers)
{
    ConnectAndSubscribe();
    unsigned int count = 0;
    auto subscribed = Beside([&] {
        RegionVisItem unused;
        SubtitleClient client(*ipc, eventDeadlineMs);
        return client.Subscribe(6, visibility, unused, Count, &count);
    });
    peer->AcceptSubscription();
    ASSERT_EQ(subscribed.get(), 0);
    auto served = Beside([this] { peer->Send(Bitmaps(300) + Visibility(6)); });
    EXPECT_EQ(Receive(eventDeadlineMs, visibility), 0);
    served.get();
    EXPECT_EQ(count, 1u);
    EXPECT_TRUE(regions.empty());
    // The queue dropped the oldest ones, since no call received them.
    ExpectBitmaps(300 - 255, 300);
}

TEST_F(Notifications, AreDroppedAndCountedWhenReceivedTooLate)
{
    ConnectAndSubscribe();
    peer->Send(Bitmaps(300));
    ExpectPing();
    ExpectBitmaps(300 - 256, 300);
    EXPECT_EQ(Receive(0), ETIMEDOUT);
    ExpectLogged("endpoint TheEndpoint: dropped 44 notifications that were not received in time\n");
}

using BadFrame = ServedEndpoint;

TEST_F(BadFrame, ClosesTheConnectionWithAnEntry)
{
    const std::string clients = "a frame that only a client may send";
    const std::pair<std::string, std::string> rows[] = {
        {"HTTP/1.1 200 OK\r\n", "not a frame"},
        {FrameBytes(FrameKind::Request, messages::ping, 1, ""), clients},
        {FrameBytes(FrameKind::OneWay, messages::quit, 0, ""), clients},
    };
    for (const auto& [bytes, reason] : rows) {
        Connect();
        auto ping = PingBeside();
        peer->ExpectRequest(messages::ping);
        peer->Send(bytes);
        peer->ExpectClosed();
        EXPECT_EQ(ping.get(), ECONNRESET);
        ExpectLogged("level=2 connection to SubtitleMgr closed: received " + reason + "\n");
    }
}

}  // namespace
