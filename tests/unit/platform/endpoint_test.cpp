// One endpoint against a service that says exactly what the test wants.

#include <IpcMessage.h>
#include <LinxIpc.h>
#include <LogClient.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned int quit = 0x3B00;
constexpr unsigned int ping = 0x3B01;
constexpr unsigned int pong = 0x3B02;
constexpr unsigned int regionData = 0x3B19;
constexpr unsigned int hd = 2;

using Clock = std::chrono::steady_clock;

long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/// A bitmap record of region \p region with one pixel.
std::string Record(unsigned int region) { return Bytes({region, 0, 0, 0, 0, 1, 0}); }

class AnEndpoint : public testing::Test {
public:
    AnEndpoint() : path(folder / "SubtitleMgr")
    {
        setenv("LINX_DIR", folder.Path().c_str(), 1);
        setenv("SUBTITLE_LOG", (folder / "log").c_str(), 1);
        LogClient::Instance().Level(63);
        Restart();
        EXPECT_EQ(ipc->Init(), 0);
    }
    ~AnEndpoint() override
    {
        ipc.reset();
        unsetenv("LINX_DIR");
        unsetenv("SUBTITLE_LOG");
    }

    void Restart() { service = std::make_unique<RawService>(path); }

    /// Runs the service's side of the talk beside the test; get() throws what went wrong there.
    std::future<void> Serve(const std::function<void(RawConnection&)>& talk)
    {
        return std::async(std::launch::async, [this, talk] {
            connection = service->Accept();
            talk(*connection);
        });
    }

    int Ping(int waitMs = 10000)
    {
        IpcMessage request;
        EXPECT_EQ(request.Allocate(ping, 0, nullptr), 0);
        return ipc->Request("SubtitleMgr", request, pong, waitMs, nullptr);
    }

    int Notify(unsigned int size = 0, bool mayWait = true)
    {
        IpcMessage message;
        EXPECT_EQ(message.Allocate(quit, size, nullptr), 0);
        return ipc->Notify("SubtitleMgr", message, mayWait);
    }

    static void NoteRegion(LinxIpc* from, void* seen)
    {
        RegionDataItem item;
        item.Decode(from->ReceivedMessage().Payload());
        static_cast<std::vector<unsigned int>*>(seen)->push_back(item.regionId);
    }

    int SubscribeHd()
    {
        RegionDataItem unused;
        return client->Subscribe(hd, regionData, unused, NoteRegion, &regions);
    }

    /// Receives until a notification was taken or \p limitMs have passed.
    int ReceiveOne(int limitMs = 10000)
    {
        return ipc->Receive(limitMs, 0, LinxIpc::emptyString, nullptr);
    }

    std::string Log() { return ReadWholeFile(folder / "log"); }

    TempDir folder;
    std::string path;
    std::unique_ptr<RawService> service;
    std::unique_ptr<RawConnection> connection;
    std::unique_ptr<LinxIpc> ipc = std::make_unique<LinxIpc>("TheEndpoint");
    std::unique_ptr<SubtitleClient> client = std::make_unique<SubtitleClient>(*ipc, 10000);
    std::vector<unsigned int> regions;
};

TEST_F(AnEndpoint, PingsWithTheseSixteenBytes)
{
    auto served = Serve([](RawConnection& peer) {
        const RawFrame request = peer.ExpectRequest(ping);
        EXPECT_EQ(request.header.kind, FrameKind::Request);
        EXPECT_EQ(request.header.length, 0u);
        EXPECT_NE(request.header.correlation, 0u);
        peer.Reply(request);
    });
    EXPECT_EQ(Ping(), 0);
    served.get();
}

TEST_F(AnEndpoint, FailsAtOnceWithoutAService)
{
    service.reset();
    EXPECT_EQ(Ping(-1), ENOENT);
}

/// Subscribes to another service than the subtitle service.
class OtherServicesClient : public SubscribeClient {
public:
    explicit OtherServicesClient(LinxIpc& endpoint) : SubscribeClient(endpoint, "Other", 0) {}
};

TEST_F(AnEndpoint, TakesNotificationsFromOneServiceAlone)
{
    auto served = Serve([](RawConnection& peer) { EXPECT_EQ(peer.AcceptSubscription(), hd); });
    EXPECT_EQ(SubscribeHd(), 0);
    served.get();
    OtherServicesClient other(*ipc);
    RegionDataItem unused;
    EXPECT_EQ(other.Subscribe(hd, regionData, unused, NoteRegion, &regions), EINVAL);
}

TEST_F(AnEndpoint, FailsBeforeInitAndAfterAFailedOne)
{
    LinxIpc closed("Closed");
    IpcMessage request;
    ASSERT_EQ(request.Allocate(ping, 0, nullptr), 0);
    EXPECT_EQ(closed.Request("SubtitleMgr", request, pong, -1, nullptr), ENOTCONN);
    setenv("LINX_DIR", "relative", 1);
    EXPECT_EQ(closed.Init(), EINVAL);
    EXPECT_EQ(closed.Request("SubtitleMgr", request, pong, -1, nullptr), EINVAL);
    EXPECT_NE(Log().find("endpoint Closed: messaging directory relative: not an absolute path\n"),
              std::string::npos);
}

TEST_F(AnEndpoint, RefusesAMessageThatWasNeverAllocated)
{
    IpcMessage empty;
    EXPECT_EQ(ipc->Request("SubtitleMgr", empty, pong, -1, nullptr), EINVAL);
    EXPECT_EQ(ipc->Notify("SubtitleMgr", empty, true), EINVAL);
}

TEST_F(AnEndpoint, CopiesTheReplyForItsCaller)
{
    auto served = Serve([](RawConnection& peer) {
        const RawFrame request = peer.ReceiveFrame();
        EXPECT_EQ(request.payload, "question");
        peer.Reply(request, "the answer");
    });
    char question[] = "question";
    IpcMessage request;
    IpcMessage reply;
    ASSERT_EQ(request.Allocate(0x4000, 8, question), 0);
    ASSERT_EQ(ipc->Request("SubtitleMgr", request, 0x4001, 10000, &reply), 0);
    EXPECT_EQ(std::string(reply.Payload(), reply.Payload() + 10), "the answer");
    served.get();
}

TEST_F(AnEndpoint, TakesAReplyWithAnotherNumberAsAFailure)
{
    auto served = Serve([](RawConnection& peer) {
        const RawFrame request = peer.ExpectRequest(ping);
        peer.SendFrame(FrameKind::Reply, 0x3CFF, request.header.correlation);
    });
    EXPECT_EQ(Ping(), EPROTO);
    served.get();
}

TEST_F(AnEndpoint, TakesAReplyOfTheWrongSizeAsAFailure)
{
    auto served = Serve([](RawConnection& peer) {
        peer.Reply(peer.ExpectRequest(messages::refreshRegions), "abc");
    });
    EXPECT_EQ(client->RefreshRegions(), EPROTO);
    served.get();
}

TEST_F(AnEndpoint, IgnoresRepliesThatNobodyWaitsFor)
{
    auto served = Serve([](RawConnection& peer) {
        RawFrame request = peer.ExpectRequest(ping);
        // Of another number: the ping that took it would fail.
        peer.SendFrame(FrameKind::Reply, pong + 1, request.header.correlation + 1);
        peer.Reply(request);
        peer.Reply(request);
        request = peer.ExpectRequest(ping);
        peer.Reply(request);
    });
    EXPECT_EQ(Ping(), 0);
    EXPECT_EQ(Ping(), 0);
    served.get();
}

TEST_F(AnEndpoint, GivesUpAfterItsTimeAndIgnoresTheLateReply)
{
    auto served = Serve([](RawConnection& peer) {
        const RawFrame late = peer.ExpectRequest(ping);
        const RawFrame second = peer.ExpectRequest(ping);
        // Of another number: the ping that took it would fail.
        peer.SendFrame(FrameKind::Reply, pong + 1, late.header.correlation);
        peer.Reply(second);
    });
    const auto start = Clock::now();
    EXPECT_EQ(Ping(50), ETIMEDOUT);
    EXPECT_GE(MillisecondsSince(start), 50);
    EXPECT_EQ(Ping(), 0);
    served.get();
}

TEST_F(AnEndpoint, FailsWhenTheServiceGoesAwayWhileItWaits)
{
    auto served = Serve([](RawConnection& peer) {
        peer.ExpectRequest(ping);
        peer.Close();
    });
    EXPECT_EQ(Ping(-1), ECONNRESET);
    served.get();
}

TEST_F(AnEndpoint, ConnectsAgainForTheNextRequestAfterARestart)
{
    const auto answerOne = [](RawConnection& peer) { peer.Reply(peer.ExpectRequest(ping)); };
    for (int round = 0; round < 3; ++round) {
        auto served = Serve(answerOne);
        EXPECT_EQ(Ping(), 0) << round;
        served.get();
        service.reset();
        connection.reset();
        Restart();
    }
}

TEST_F(AnEndpoint, NotifiesOnceAlsoAfterARestart)
{
    const auto takeOne = [](RawConnection& peer) {
        const RawFrame message = peer.ReceiveFrame();
        EXPECT_EQ(message.header.kind, FrameKind::OneWay);
        EXPECT_EQ(message.header.messageId, quit);
        peer.Reply(peer.ExpectRequest(ping));
    };
    for (int round = 0; round < 3; ++round) {
        auto served = Serve(takeOne);
        EXPECT_EQ(Notify(), 0) << round;
        EXPECT_EQ(Ping(), 0) << round;
        served.get();
        service.reset();
        connection.reset();
        Restart();
    }
}

/// A service that takes each connection and ends it could keep its client busy for ever.
TEST_F(AnEndpoint, GivesAMessageUpThatTwoConnectionsDidNotTake)
{
    constexpr unsigned int moreThanASocketHolds = 8 * 1024 * 1024;
    auto served = std::async(std::launch::async, [this] {
        for (int i = 0; i < 2; ++i) {
            service->Accept();  // and let go of at once
        }
    });
    const int error = Notify(moreThanASocketHolds);
    EXPECT_TRUE(error == EPIPE || error == ECONNRESET) << error;
    served.get();
    EXPECT_FALSE(service->HasClient());
}

TEST_F(AnEndpoint, KeepsAConnectionThatHadNoRoomForAMessage)
{
    auto first = Serve([](RawConnection& peer) { peer.Reply(peer.ExpectRequest(ping)); });
    ASSERT_EQ(Ping(), 0);
    first.get();
    unsigned int taken = 0;
    int error = 0;
    while ((error = Notify(0, /*mayWait*/ false)) == 0) {
        ++taken;
    }
    EXPECT_EQ(error, EAGAIN);
    EXPECT_GT(taken, 0u);
    auto second = std::async(std::launch::async, [&] {
        for (unsigned int i = 0; i < taken; ++i) {
            ASSERT_EQ(connection->ReceiveFrame().header.messageId, quit);
        }
        connection->Reply(connection->ExpectRequest(ping));
    });
    EXPECT_EQ(Ping(), 0);
    second.get();
}

TEST_F(AnEndpoint, DeliversAReplyBehindNotificationsAndKeepsThose)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        const RawFrame request = peer.ExpectRequest(ping);
        for (unsigned int region = 1; region <= 14; ++region) {
            peer.SendFrame(FrameKind::Notification, regionData, hd, Record(region));
        }
        peer.Reply(request);
    });
    ASSERT_EQ(SubscribeHd(), 0);
    EXPECT_EQ(Ping(), 0);
    EXPECT_TRUE(regions.empty()) << "callbacks run inside Receive only";
    for (unsigned int region = 1; region <= 14; ++region) {
        EXPECT_EQ(ReceiveOne(), 0);
        EXPECT_EQ(regions.back(), region);
    }
    EXPECT_EQ(regions.size(), 14u);
    EXPECT_EQ(ReceiveOne(0), ETIMEDOUT);
    served.get();
}

TEST_F(AnEndpoint, UnderstandsFramesCutAnywhere)
{
    const std::string stream = FrameBytes(FrameKind::Notification, regionData, hd, Record(5)) +
                               FrameBytes(FrameKind::Notification, regionData, hd, Record(6));
    auto served = Serve([&](RawConnection& peer) {
        peer.AcceptSubscription();
        for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
            peer.Send(stream.substr(0, cut));
            peer.Send(stream.substr(cut));
        }
    });
    ASSERT_EQ(SubscribeHd(), 0);
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        ASSERT_EQ(ReceiveOne(), 0);
        ASSERT_EQ(regions.back(), 5u);
        ASSERT_EQ(ReceiveOne(), 0);
        ASSERT_EQ(regions.back(), 6u);
    }
    served.get();
}

TEST_F(AnEndpoint, DropsMalformedRecordsWithAnEntryAndHandlesTheNextGoodOne)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.SendFrame(FrameKind::Notification, regionData, hd, Bytes({1, 0, 0, 0, 0, 9, 1}));
        peer.SendFrame(FrameKind::Notification, regionData, hd, "");
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(7));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    ASSERT_EQ(ReceiveOne(), 0);
    EXPECT_EQ(regions, (std::vector<unsigned int>{7}));
    EXPECT_NE(
        Log().find(
            "level=2 dropped a malformed record from SubtitleMgr: message 15129 of 7 bytes\n"),
        std::string::npos)
        << Log();
    EXPECT_NE(Log().find("message 15129 of 0 bytes\n"), std::string::npos);
    served.get();
}

TEST_F(AnEndpoint, IgnoresNotificationsThatNobodySubscribed)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.SendFrame(FrameKind::Notification, regionData, 4, Record(1));
        peer.SendFrame(FrameKind::Notification, 0x3B1C, hd, Bytes({1, 1}));
        peer.SendFrame(FrameKind::Notification, 0x7777, hd, "?");
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(7));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    ASSERT_EQ(ReceiveOne(), 0);
    EXPECT_EQ(regions, (std::vector<unsigned int>{7}));
    served.get();
}

TEST_F(AnEndpoint, UnderstandsAFrameThatComesByteByByte)
{
    auto served = Serve([](RawConnection& peer) { peer.AcceptSubscription(); });
    ASSERT_EQ(SubscribeHd(), 0);
    served.get();
    const std::string frame = FrameBytes(FrameKind::Notification, regionData, hd, Record(5));
    for (const char byte : frame) {
        ASSERT_TRUE(regions.empty());
        connection->Send(std::string(1, byte));
        ReceiveOne(0);
    }
    EXPECT_EQ(regions, (std::vector<unsigned int>{5}));
}

TEST_F(AnEndpoint, ReceivesWhatIsThereEvenWithoutTimeToWait)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(7));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    served.get();
    EXPECT_EQ(ReceiveOne(0), 0);
    EXPECT_EQ(regions, (std::vector<unsigned int>{7}));
}

struct BadStream {
    const char* name;
    std::string bytes;
    const char* reason;
};

class AnEndpointThatGetsABadStream : public AnEndpoint,
                                     public testing::WithParamInterface<BadStream> {};

TEST_P(AnEndpointThatGetsABadStream, ClosesTheConnectionWithAnEntryAndMakesItAgain)
{
    auto served = Serve([](RawConnection& peer) {
        peer.ExpectRequest(ping);
        peer.Send(GetParam().bytes);
        peer.ExpectClosed();
    });
    EXPECT_EQ(Ping(), ECONNRESET);
    served.get();
    EXPECT_NE(Log().find(std::string("level=2 connection to SubtitleMgr closed: received ") +
                         GetParam().reason + "\n"),
              std::string::npos)
        << Log();
    auto again = Serve([](RawConnection& peer) { peer.Reply(peer.ExpectRequest(ping)); });
    EXPECT_EQ(Ping(), 0);
    again.get();
}

INSTANTIATE_TEST_SUITE_P(
    Streams, AnEndpointThatGetsABadStream,
    testing::Values(
        BadStream{"Noise", "HTTP/1.1 200 OK\r\n", "not a frame"},
        BadStream{"AnotherVersion", std::string("ST\x02\x02", 4) + std::string(12, '\0'),
                  "a frame of another version"},
        BadStream{"AnUnknownKind", std::string("ST\x01\x09", 4) + std::string(12, '\0'),
                  "a frame of an unknown kind"},
        BadStream{"TooLong",
                  std::string("ST\x01\x02", 4) + std::string(8, '\0') + "\xFF\xFF\xFF\xFF",
                  "a frame that claims more than 16 MiB"},
        BadStream{"ARequest", FrameBytes(FrameKind::Request, ping, 1, ""),
                  "a frame that only a client may send"},
        BadStream{"AOneWayMessage", FrameBytes(FrameKind::OneWay, 0x3B00, 0, ""),
                  "a frame that only a client may send"}),
    [](const testing::TestParamInfo<BadStream>& stream) { return std::string(stream.param.name); });

TEST_F(AnEndpoint, RenewsItsSubscriptionsWithTheNextRequestAfterARestart)
{
    auto first = Serve([](RawConnection& peer) { peer.AcceptSubscription(); });
    ASSERT_EQ(SubscribeHd(), 0);
    first.get();
    service.reset();
    connection.reset();
    Restart();
    auto second = Serve([](RawConnection& peer) {
        EXPECT_EQ(peer.AcceptSubscription(), hd);
        peer.Reply(peer.ExpectRequest(ping));
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(9));
    });
    EXPECT_EQ(Ping(), 0);
    EXPECT_EQ(ReceiveOne(), 0);
    EXPECT_EQ(regions, (std::vector<unsigned int>{9}));
    second.get();
}

TEST_F(AnEndpoint, RenewsItsSubscriptionsFromReceiveAloneAtMostTwiceASecond)
{
    auto first = Serve([](RawConnection& peer) { peer.AcceptSubscription(); });
    const auto start = Clock::now();
    ASSERT_EQ(SubscribeHd(), 0);
    first.get();
    service.reset();
    connection.reset();
    EXPECT_EQ(ReceiveOne(10), ETIMEDOUT);  // notices the loss, and it is too early to try again
    Restart();
    auto second = Serve([](RawConnection& peer) {
        EXPECT_EQ(peer.AcceptSubscription(), hd);
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(9));
    });
    EXPECT_EQ(ReceiveOne(), 0);
    EXPECT_GE(MillisecondsSince(start), 500);
    EXPECT_EQ(regions, (std::vector<unsigned int>{9}));
    second.get();
}

TEST_F(AnEndpoint, SaysWhenARestartedServiceRefusesARenewal)
{
    auto first = Serve([](RawConnection& peer) { peer.AcceptSubscription(); });
    ASSERT_EQ(SubscribeHd(), 0);
    first.get();
    service.reset();
    connection.reset();
    Restart();
    auto second = Serve([](RawConnection& peer) {
        peer.Reply(peer.ExpectRequest(messages::subscribe), U32(1));
        peer.Reply(peer.ExpectRequest(ping));
    });
    EXPECT_EQ(Ping(), 0);
    second.get();
    EXPECT_NE(Log().find("a subscription was refused by the restarted service SubtitleMgr\n"),
              std::string::npos)
        << Log();
}

TEST_F(AnEndpoint, CallsNobodyAfterUnsubscribeNotEvenForWhatIsQueued)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        const RawFrame request = peer.ExpectRequest(messages::unsubscribe);
        EXPECT_EQ(request.payload, U32(1));
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(1));
        peer.Reply(request, U32(0));
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(2));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    EXPECT_EQ(client->Unsubscribe(1), 0);
    EXPECT_EQ(ReceiveOne(50), ETIMEDOUT);
    EXPECT_TRUE(regions.empty());
    served.get();
}

TEST_F(AnEndpoint, ForgetsWhatWasQueuedBeforeItUnsubscribed)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        const RawFrame request = peer.ExpectRequest(ping);
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(1));
        peer.Reply(request);
        peer.Reply(peer.ExpectRequest(messages::unsubscribe), U32(0));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    ASSERT_EQ(Ping(), 0);  // reads the notification that stands before its reply
    EXPECT_EQ(client->Unsubscribe(hd), 0);
    EXPECT_EQ(ReceiveOne(50), ETIMEDOUT);
    EXPECT_TRUE(regions.empty());
    served.get();
}

TEST_F(AnEndpoint, KeepsNoSubscriptionThatWasRefused)
{
    auto served = Serve([](RawConnection& peer) {
        peer.Reply(peer.ExpectRequest(messages::subscribe), U32(1));
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(2));
    });
    EXPECT_EQ(SubscribeHd(), EREMOTEIO);
    EXPECT_EQ(ReceiveOne(50), ETIMEDOUT);
    EXPECT_TRUE(regions.empty());
    served.get();
}

TEST_F(AnEndpoint, ShowsNoMessageAfterAReceiveThatTookNone)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(2));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    ASSERT_EQ(ReceiveOne(), 0);
    EXPECT_NE(ipc->ReceivedMessage().Payload(), nullptr);
    ASSERT_EQ(ReceiveOne(1), ETIMEDOUT);
    EXPECT_EQ(ipc->ReceivedMessage().Payload(), nullptr);
    served.get();
}

/// A request that waits for its turn to be sent while the connection is lost is made again.
TEST_F(AnEndpoint, MakesRequestsOfTwoThreadsAgainAfterALoss)
{
    auto first = Serve([](RawConnection& peer) { peer.Reply(peer.ExpectRequest(ping)); });
    ASSERT_EQ(Ping(), 0);
    first.get();
    RegionDataItem large;
    large.data.assign(1024 * 1024, 3);
    std::thread other([&] { EXPECT_EQ(client->SetRegionData(large), 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    auto second = std::async(std::launch::async, [this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        connection->Close();
        const auto peer = service->Accept();
        for (int i = 0; i < 2; ++i) {
            const RawFrame request = peer->ReceiveFrame();
            peer->Reply(request, request.header.messageId == ping ? "" : U32(0));
        }
    });
    EXPECT_EQ(Ping(), 0);
    other.join();
    second.get();
}

TEST_F(AnEndpoint, LosesNothingOfWhatComesAtOnceWhileItReceives)
{
    // More than one read takes, and that many more than may wait for Receive().
    std::string burst;
    unsigned int count = 0;
    for (; burst.size() < 2u * 64u * 1024u; ++count) {
        burst += FrameBytes(FrameKind::Notification, regionData, hd, Record(count % 251));
    }
    auto served = Serve([&burst](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.Send(burst);
        peer.Close();
    });
    ASSERT_EQ(SubscribeHd(), 0);
    for (unsigned int i = 0; i < count; ++i) {
        ASSERT_EQ(ReceiveOne(), 0);
        ASSERT_EQ(regions.back(), i % 251);
    }
    served.get();
}

TEST_F(AnEndpoint, EndsTheConnectionForABadFrameOnceWhatStoodBeforeItIsReceived)
{
    constexpr unsigned int sent = 600;  // more than may wait for Receive()
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        std::string burst;
        for (unsigned int i = 0; i < sent; ++i) {
            burst += FrameBytes(FrameKind::Notification, regionData, hd, Record(i % 251));
        }
        peer.Send(burst + std::string(16, 'x'));
        peer.ExpectClosed();
    });
    ASSERT_EQ(SubscribeHd(), 0);
    for (unsigned int i = 0; i < sent; ++i) {
        ASSERT_EQ(ReceiveOne(), 0);
        ASSERT_EQ(regions.back(), i % 251);
    }
    ReceiveOne(0);
    served.get();
    EXPECT_NE(Log().find("connection to SubtitleMgr closed: received not a frame"),
              std::string::npos);
}

/// As no call receives, the newest are kept, also of a connection that has ended.
TEST_F(AnEndpoint, KeepsTheNewestOfWhatCameBeforeALoss)
{
    constexpr unsigned int sent = 300;
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        std::string burst;
        for (unsigned int i = 0; i < sent; ++i) {
            burst += FrameBytes(FrameKind::Notification, regionData, hd, Record(i % 256));
        }
        peer.Send(burst);
        peer.Close();
    });
    ASSERT_EQ(SubscribeHd(), 0);
    served.get();
    EXPECT_EQ(Notify(), 0);  // the loss is noticed here, and a new connection made
    for (unsigned int i = sent - 256; i < sent; ++i) {
        ASSERT_EQ(ReceiveOne(), 0);
        ASSERT_EQ(regions.back(), i % 256);
    }
    EXPECT_EQ(ReceiveOne(0), ETIMEDOUT);
}

TEST_F(AnEndpoint, ReceivesANumberThatStandsBehindManyOthers)
{
    constexpr unsigned int regionVisibility = 0x3B23;
    constexpr unsigned int other = 6;
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.AcceptSubscription();
        for (unsigned int i = 0; i < 300; ++i) {
            peer.SendFrame(FrameKind::Notification, regionData, hd, Record(i % 256));
        }
        peer.SendFrame(FrameKind::Notification, regionVisibility, other, Bytes({2, 1}));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    RegionVisItem unused;
    ASSERT_EQ(client->Subscribe(
                  other, regionVisibility, unused, [](LinxIpc*, void*) {}, nullptr),
              0);
    EXPECT_EQ(ipc->Receive(10000, regionVisibility, LinxIpc::emptyString, nullptr), 0);
    served.get();
    EXPECT_TRUE(regions.empty());
    // The oldest had to give way, as they do when no call receives.
    ASSERT_EQ(ReceiveOne(), 0);
    EXPECT_EQ(regions.back(), 300u - 255u);
}

TEST_F(AnEndpoint, DropsTheOldestNotificationsWhenNobodyReceivesAndSaysHowMany)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        const RawFrame request = peer.ExpectRequest(ping);
        for (unsigned int i = 0; i < 300; ++i) {
            peer.SendFrame(FrameKind::Notification, regionData, hd, Record(i % 256));
        }
        peer.Reply(request);
    });
    ASSERT_EQ(SubscribeHd(), 0);
    EXPECT_EQ(Ping(), 0);
    for (unsigned int i = 44; i < 300; ++i) {
        ASSERT_EQ(ReceiveOne(), 0);
        ASSERT_EQ(regions.back(), i % 256);
    }
    EXPECT_EQ(ReceiveOne(0), ETIMEDOUT);
    EXPECT_NE(
        Log().find(
            "endpoint TheEndpoint: dropped 44 notifications that were not received in time\n"),
        std::string::npos)
        << Log();
    served.get();
}

TEST_F(AnEndpoint, ReceivesOnlyTheMessageNumberAndSenderAskedFor)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(3));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    EXPECT_EQ(ipc->Receive(20, 0x3B1C, LinxIpc::emptyString, nullptr), ETIMEDOUT);
    EXPECT_EQ(ipc->Receive(20, 0, "Another", nullptr), ETIMEDOUT);
    IpcMessage copy;
    EXPECT_EQ(ipc->Receive(10000, regionData, "SubtitleMgr", &copy), 0);
    EXPECT_EQ(copy.Payload()[0], 3);
    served.get();
}

TEST_F(AnEndpoint, WaitsItsTimeWithNothingSubscribed)
{
    const auto start = Clock::now();
    EXPECT_EQ(ReceiveOne(30), ETIMEDOUT);
    EXPECT_GE(MillisecondsSince(start), 30);
}

TEST_F(AnEndpoint, WaitsEachTimeAsLongAsItIsTold)
{
    auto served = Serve([](RawConnection& peer) { peer.AcceptSubscription(); });
    ASSERT_EQ(SubscribeHd(), 0);
    served.get();
    for (const int limitMs : {1, 30, 2, 1, 0, 1}) {
        const auto start = Clock::now();
        EXPECT_EQ(ReceiveOne(limitMs), ETIMEDOUT);
        EXPECT_GE(MillisecondsSince(start), limitMs);
        EXPECT_LT(MillisecondsSince(start), 5000) << limitMs;
    }
}

/// A handler may use the endpoint it is called for.
TEST_F(AnEndpoint, AnswersRequestsOutOfACallback)
{
    struct Handler {
        static void Run(LinxIpc* from, void* results)
        {
            auto& list = *static_cast<std::vector<int>*>(results);
            IpcMessage request;
            list.push_back(request.Allocate(ping, 0, nullptr));
            list.push_back(from->Request("SubtitleMgr", request, pong, 10000, nullptr));
            list.push_back(from->Notify("SubtitleMgr", request, true));
            list.push_back(from->Receive(10, 0, LinxIpc::emptyString, nullptr));
        }
    };
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(3));
        peer.Reply(peer.ExpectRequest(ping));
        EXPECT_EQ(peer.ReceiveFrame().header.kind, FrameKind::OneWay);
    });
    RegionDataItem unused;
    std::vector<int> results;
    ASSERT_EQ(client->Subscribe(hd, regionData, unused, Handler::Run, &results), 0);
    ASSERT_EQ(ReceiveOne(), 0);
    EXPECT_EQ(results, (std::vector<int>{0, 0, 0, EBUSY}));
    served.get();
}

TEST_F(AnEndpoint, LeavesTheReceivedMessageAloneDuringARequestOnAnotherThread)
{
    struct Handler {
        static void Run(LinxIpc* from, void* test)
        {
            unsigned char* const before = from->ReceivedMessage().Payload();
            std::thread other([test] { EXPECT_EQ(static_cast<AnEndpoint*>(test)->Ping(), 0); });
            other.join();
            EXPECT_EQ(from->ReceivedMessage().Payload(), before);
            EXPECT_EQ(before[0], 3);
        }
    };
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        peer.SendFrame(FrameKind::Notification, regionData, hd, Record(3));
        const RawFrame request = peer.ExpectRequest(ping);
        for (unsigned int i = 0; i < 200; ++i) {
            peer.SendFrame(FrameKind::Notification, regionData, hd,
                           Bytes({9, 0}) + U32(2000) + std::string(2000, '\1'));
        }
        peer.Reply(request);
    });
    RegionDataItem unused;
    ASSERT_EQ(client->Subscribe(hd, regionData, unused, Handler::Run, this), 0);
    ASSERT_EQ(ReceiveOne(), 0);
    served.get();
}

/// Both sides only writing must not wait for each other: the endpoint reads while it writes.
TEST_F(AnEndpoint, SendsALargeRecordIntoAFloodOfNotifications)
{
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        const std::string flood = FrameBytes(FrameKind::Notification, regionData, hd,
                                             Bytes({9, 0}) + U32(30720) + std::string(30720, '\1'));
        for (int i = 0; i < 100; ++i) {
            peer.Send(flood);
        }
        const RawFrame request = peer.ExpectRequest(messages::setRegionData);
        EXPECT_EQ(request.payload.size(), 6u + 2 * 1024 * 1024);
        peer.Reply(request, U32(0));
    });
    ASSERT_EQ(SubscribeHd(), 0);
    RegionDataItem item;
    item.regionId = 1;
    item.data.assign(2 * 1024 * 1024, 3);
    EXPECT_EQ(client->SetRegionData(item), 0);
    served.get();
}

TEST_F(AnEndpoint, ClosesAConnectionWhoseRequestWasCutOffByItsTime)
{
    auto served = Serve([](RawConnection& peer) {
        // Nothing is read: the record fills the socket and stays there half sent.
        EXPECT_EQ(peer.ReceiveFrame().header.messageId, ping);
    });
    Ping(50);
    served.get();
    RegionDataItem item;
    item.data.assign(8 * 1024 * 1024, 3);
    SubtitleClient hasty(*ipc, 100);
    EXPECT_EQ(hasty.SetRegionData(item), ETIMEDOUT);
    connection.reset();
    auto again = Serve([](RawConnection& peer) { peer.Reply(peer.ExpectRequest(ping)); });
    EXPECT_EQ(Ping(), 0);
    again.get();
}

TEST_F(AnEndpoint, SendsNothingOfARecordThatNoMessageHolds)
{
    RegionDataItem item;
    item.data.assign(16 * 1024 * 1024 - 5, 0);
    EXPECT_EQ(client->SetRegionData(item), EMSGSIZE);
    auto served = Serve([](RawConnection& peer) {
        const RawFrame request = peer.ReceiveFrame();
        EXPECT_EQ(request.header.length, 16u * 1024 * 1024);
        peer.Reply(request, U32(0));
    });
    item.data.resize(16 * 1024 * 1024 - 6);
    EXPECT_EQ(client->SetRegionData(item), 0);
    served.get();
}

/// Every request of the client has its number and its bytes.
TEST_F(AnEndpoint, SendsEachRequestOfTheSubtitleClient)
{
    auto served = Serve([](RawConnection& peer) {
        const auto expect = [&peer](unsigned int messageId, const std::string& payload) {
            const RawFrame request = peer.ExpectRequest(messageId);
            EXPECT_EQ(request.payload, payload) << messageId;
            peer.Reply(request, U32(0));
        };
        expect(0x3C06, Bytes({3, 1}));
        expect(0x3C08, Bytes({4, 5, 1, 0, 0, 0, 1, 7}));
        expect(0x3C0A, Bytes({0x01, 0x02, 0x03, 0x04}));
        expect(0x3C0C, "");
        expect(0x3C0E, Bytes({0, 0, 0, 5, 1}));
        peer.Reply(peer.ExpectRequest(0x3C0E), U32(1));
    });
    RegionVisItem visibility;
    visibility.regionId = 3;
    visibility.visible = true;
    EXPECT_EQ(client->SetRegionVisibility(visibility), 0);
    PaletteItem palette;
    palette.regionId = 4;
    palette.backgroundCode = 5;
    palette.fill = true;
    palette.paletteData = {7};
    EXPECT_EQ(client->SetPaletteData(palette), 0);
    EXPECT_EQ(client->InvertRegionData(0x01020304), 0);
    EXPECT_EQ(client->RefreshRegions(), 0);
    EXPECT_TRUE(client->SendSensorUpdate(static_cast<e_Sensors>(5), true));
    EXPECT_FALSE(client->SendSensorUpdate(static_cast<e_Sensors>(0), false));
    served.get();
}

/// The destructor waits for a running callback, and no callback runs after it.
TEST_F(AnEndpoint, IsABarrierAtItsEnd)
{
    struct Handler {
        std::atomic<bool> isRunning{false};
        std::atomic<bool> mayEnd{false};
        std::atomic<int> ended{0};
        static void Run(LinxIpc*, void* data)
        {
            Handler& self = *static_cast<Handler*>(data);
            self.isRunning = true;
            while (!self.mayEnd) {
                std::this_thread::yield();
            }
            ++self.ended;
        }
    } handler;
    // A thread that does not know of the end goes on to call it, as the console's does: the memory
    // of the object stays, what is in it does not.
    alignas(LinxIpc) unsigned char place[sizeof(LinxIpc)];
    LinxIpc& dying = *new (place) LinxIpc("Dying");
    ASSERT_EQ(dying.Init(), 0);
    SubtitleClient dyingClient(dying, 10000);
    auto served = Serve([](RawConnection& peer) {
        peer.AcceptSubscription();
        for (int i = 0; i < 10; ++i) {
            peer.SendFrame(FrameKind::Notification, regionData, hd, Record(3));
        }
    });
    RegionDataItem unused;
    ASSERT_EQ(dyingClient.Subscribe(hd, regionData, unused, Handler::Run, &handler), 0);
    served.get();
    std::thread receiver([&] {
        int result = 0;
        while (result == 0) {
            result = dying.Receive(100, 0, LinxIpc::emptyString, nullptr);
        }
        EXPECT_EQ(result, ESHUTDOWN);
    });
    while (!handler.isRunning) {
        std::this_thread::yield();
    }
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        handler.mayEnd = true;
    });
    dying.~LinxIpc();
    EXPECT_EQ(handler.ended, 1);
    receiver.join();
    releaser.join();
    EXPECT_EQ(handler.ended, 1);
}

TEST_F(AnEndpoint, WakesAReceiveWithoutLimitAtItsEnd)
{
    auto served = Serve([](RawConnection& peer) { peer.AcceptSubscription(); });
    ASSERT_EQ(SubscribeHd(), 0);
    served.get();
    LinxIpc& dying = *ipc;
    std::thread receiver([&] {
        int result;
        do {  // only one of the two may be inside
            result = dying.Receive(-1, 0, LinxIpc::emptyString, nullptr);
        } while (result == EBUSY);
        EXPECT_EQ(result, ESHUTDOWN);
    });
    while (dying.Receive(0, 0, LinxIpc::emptyString, nullptr) != EBUSY) {
        std::this_thread::yield();
    }
    ipc.reset();
    receiver.join();
}

TEST(AnEndpointThatIsGone, LetsALateReceiveSleepItsWait)
{
    alignas(LinxIpc) static unsigned char memory[sizeof(LinxIpc)];
    LinxIpc* const ipc = new (memory) LinxIpc("Gone");
    ipc->~LinxIpc();
    const auto start = Clock::now();
    EXPECT_EQ(ipc->Receive(30, 0, LinxIpc::emptyString, nullptr), ESHUTDOWN);
    EXPECT_GE(MillisecondsSince(start), 30);
}

}  // namespace
