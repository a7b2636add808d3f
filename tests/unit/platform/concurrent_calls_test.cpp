// Calls on several threads that share one connection of their endpoint.

#include "tests/unit/platform/ServedEndpoint.h"

#include <functional>

namespace {

constexpr std::size_t moreThanASocketHolds = 8 * 1024 * 1024;

using ConcurrentRequests = ServedEndpoint;

TEST_F(ConcurrentRequests, MakeOneConnection)
{
    std::vector<std::future<int>> pings;
    for (int i = 0; i < 40; ++i) {
        pings.push_back(PingBeside());
    }
    AcceptClient();
    for (std::size_t i = 0; i < pings.size(); ++i) {
        Answer();
    }
    for (auto& ping : pings) {
        EXPECT_EQ(ping.get(), 0);
    }
    EXPECT_FALSE(service->HasClient());
}

/// Otherwise its bytes would be in the middle of the frame that is half sent.
TEST_F(ConcurrentRequests, SendNothingWhileAnotherIsSending)
{
    Connect();
    auto large = Beside([this] { return Notify(IpcMessage::maxLength); });
    EXPECT_EQ(peer->ReceiveHeader().messageId, messages::quit);
    EXPECT_EQ(Ping(50), ETIMEDOUT);
    peer->ReceiveFrame();
    EXPECT_EQ(large.get(), 0);
    ExpectPing();  // the next ping; the one that timed out sent nothing
}

TEST_F(ConcurrentRequests, AreSentAgainAfterALostConnection)
{
    Connect();
    auto large = Beside([this] { return Send(moreThanASocketHolds); });
    EXPECT_EQ(peer->ReceiveHeader().messageId, messages::setRegionData);
    std::vector<std::future<int>> pings;
    for (int i = 0; i < 8; ++i) {
        pings.push_back(PingBeside());  // waits until it may send
    }
    peer->Close();
    AcceptClient();
    for (int i = 0; i < 9; ++i) {
        const RawFrame request = peer->ReceiveFrame();
        peer->Reply(request, request.header.messageId == messages::ping ? "" : U32(0));
    }
    EXPECT_EQ(large.get(), 0);
    for (auto& ping : pings) {
        EXPECT_EQ(ping.get(), 0);
    }
}

TEST_F(ConcurrentRequests, AreAnsweredWhileAnotherCallReads)
{
    ConnectAndSubscribe();
    auto received = ReceiveBeside(-1);
    auto large = Beside([this] { return Send(moreThanASocketHolds); });
    Answer(messages::setRegionData, U32(0));
    EXPECT_EQ(large.get(), 0);
    for (int i = 0; i < 20; ++i) {
        auto ping = PingBeside(-1);
        Answer();
        EXPECT_EQ(ping.get(), 0);
    }
    peer->Send(Bitmap(1));
    EXPECT_EQ(received.get(), 0);
}

TEST_F(ConcurrentRequests, HandTheReaderRoleToALaterCall)
{
    ConnectAndSubscribe();
    auto ping = PingBeside();
    const RawFrame request = peer->ExpectRequest(messages::ping);
    auto received = ReceiveBeside();
    peer->Reply(request);
    EXPECT_EQ(ping.get(), 0);
    peer->Send(Bitmap(1));
    EXPECT_EQ(received.get(), 0);
}

TEST_F(ConcurrentRequests, KeepTheReceivedMessage)
{
    using PingOnAnotherThread = std::function<int()>;
    PingOnAnotherThread ping = [this] { return PingBeside().get(); };
    const auto handler = [](LinxIpc* from, void* other) {
        unsigned char* const before = from->ReceivedMessage().Payload();
        EXPECT_EQ((*static_cast<PingOnAnotherThread*>(other))(), 0);
        EXPECT_EQ(from->ReceivedMessage().Payload(), before);
        EXPECT_EQ(before[0], 3);
    };
    ConnectAndSubscribe(handler, &ping);
    peer->Send(Bitmap(3));
    auto received = Beside([this] { return Receive(); });
    const RawFrame request = peer->ExpectRequest(messages::ping);
    for (unsigned int i = 0; i < 200; ++i) {
        peer->SendFrame(FrameKind::Notification, bitmap, hd,
                        Bytes({9, 0}) + U32(2000) + std::string(2000, '\1'));
    }
    peer->Reply(request);
    EXPECT_EQ(received.get(), 0);
}

/// A single waiting client fills the listen backlog of this service.
class BusyService : public ServedEndpoint {
protected:
    BusyService()
    {
        EndService();
        service = std::make_unique<RawService>(folder / "SubtitleMgr", /*waiting*/ 0);
        EXPECT_EQ(other.Init(), 0);
        IpcMessage request;
        EXPECT_EQ(request.Allocate(messages::ping, 0, nullptr), 0);
        EXPECT_EQ(other.Request("SubtitleMgr", request, messages::ping + 1, 0, nullptr), ETIMEDOUT);
    }

    LinxIpc other{"Other"};
};

/// Without the limit a ping would wait until a stopped service continues.
TEST_F(BusyService, DelaysAConnectByASecondAtMost)
{
    const auto start = Clock::now();
    auto patient = PingBeside(-1);
    EXPECT_EQ(Ping(50), ETIMEDOUT) << "this call has a shorter limit than the other";
    EXPECT_EQ(patient.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_EQ(patient.get(), ETIMEDOUT);
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
}

using ConcurrentNotify = ServedEndpoint;

/// The socket always has room, since few messages are unread at a time.
TEST_F(ConcurrentNotify, SendsWithoutWaitingDuringAnotherSend)
{
    Connect();
    PingDuring([this] {
        for (int call = 1; call <= 20000; ++call) {
            ASSERT_EQ(Notify(0, /*mayWait*/ false), 0);
            if (call % 100 == 0) {
                ASSERT_EQ(Ping(), 0);  // afterwards the service has read all messages
            }
        }
    });
}

/// Otherwise it would wait for room in the socket, like the other call.
TEST_F(ConcurrentNotify, FailsAtOnceWhileAnotherWaitsForRoom)
{
    Connect();
    auto large = Beside([this] { return Notify(IpcMessage::maxLength); });
    Await([this] { return Notify(0, /*mayWait*/ false) == EAGAIN; });
    while (large.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        EXPECT_EQ(peer->ReceiveFrame().header.messageId, messages::quit);
    }
    EXPECT_EQ(large.get(), 0);
}

}  // namespace
