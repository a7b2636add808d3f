// Requests, replies and one-way messages of one thread.

#include "platform/src/confirmed_request.h"
#include "tests/unit/platform/ServedEndpoint.h"

#include <LinxServerNameList.h>
#include <PaletteItem.h>
#include <StringUtilities.h>

namespace {

constexpr std::size_t moreThanASocketHolds = 8 * 1024 * 1024;

using Endpoint = ServedEndpoint;

TEST_F(Endpoint, NeedsASuccessfulInitAndAnAllocatedMessage)
{
    LinxIpc closed("Closed");
    IpcMessage request;
    EXPECT_EQ(ipc->Request("SubtitleMgr", request, messages::ping + 1, -1, nullptr), EINVAL);
    EXPECT_EQ(ipc->Notify("SubtitleMgr", request, true), EINVAL);
    ASSERT_EQ(request.Allocate(messages::ping, 0, nullptr), 0);
    EXPECT_EQ(closed.Request("SubtitleMgr", request, messages::ping + 1, -1, nullptr), ENOTCONN);
    setenv("LINX_DIR", "relative", 1);
    EXPECT_EQ(closed.Init(), EINVAL);
    EXPECT_EQ(closed.Request("SubtitleMgr", request, messages::ping + 1, -1, nullptr), EINVAL);
    ExpectLogged("endpoint Closed: messaging directory relative: not an absolute path\n");
}

using Request = ServedEndpoint;

TEST_F(Request, IsAFrameWithItsNumberAndACorrelation)
{
    auto ping = PingBeside();
    AcceptClient();
    const RawFrame request = peer->ExpectRequest(messages::ping);
    EXPECT_EQ(request.header.length, 0u);
    EXPECT_NE(request.header.correlation, 0u);
    peer->Reply(request);
    EXPECT_EQ(ping.get(), 0);
}

TEST_F(Request, HasTheNumberAndBytesOfItsOperation)
{
    Connect();
    auto served = Beside([this] {
        const auto expect = [this](unsigned int messageId, const std::string& payload) {
            const RawFrame request = peer->ExpectRequest(messageId);
            EXPECT_EQ(request.payload, payload) << messageId;
            peer->Reply(request, U32(0));
        };
        expect(0x3C06, Bytes({3, 1}));
        expect(0x3C08, Bytes({4, 5, 1, 0, 0, 0, 1, 7}));
        expect(0x3C0A, Bytes({0x01, 0x02, 0x03, 0x04}));
        expect(0x3C0C, "");
        expect(0x3C0E, Bytes({0, 0, 0, 5, 1}));
        Answer(0x3C0E, U32(1));  // refuses it
    });
    SubtitleClient client(*ipc, eventDeadlineMs);
    RegionVisItem shown;
    shown.regionId = 3;
    shown.visible = true;
    EXPECT_EQ(client.SetRegionVisibility(shown), 0);
    PaletteItem palette;
    palette.regionId = 4;
    palette.backgroundCode = 5;
    palette.fill = true;
    palette.paletteData = {7};
    EXPECT_EQ(client.SetPaletteData(palette), 0);
    EXPECT_EQ(client.InvertRegionData(0x01020304), 0);
    EXPECT_EQ(client.RefreshRegions(), 0);
    EXPECT_TRUE(client.SendSensorUpdate(static_cast<e_Sensors>(5), true));
    EXPECT_FALSE(client.SendSensorUpdate(static_cast<e_Sensors>(0), false));
    served.get();
}

TEST_F(Request, FailsAtOnceWithoutAService)
{
    EndService();
    EXPECT_EQ(Ping(-1), ENOENT);
}

TEST_F(Request, CopiesItsReplyIntoItself)
{
    Connect();
    IpcMessage request;
    IpcMessage other;
    for (IpcMessage* const reply : {&other, &request}) {
        for (const std::string answer : {"an answer that is longer", "no"}) {
            char question[] = "question";
            ASSERT_EQ(request.Allocate(0x4000, 8, question), 0);
            auto asked = Beside([&] {
                return ipc->Request("SubtitleMgr", request, 0x4001, eventDeadlineMs, reply);
            });
            const RawFrame received = peer->ExpectRequest(0x4000);
            EXPECT_EQ(received.payload, "question");
            peer->Reply(received, answer);
            ASSERT_EQ(asked.get(), 0);
            EXPECT_EQ(std::string(reply->Payload(), reply->Payload() + answer.size()), answer);
        }
    }
}

TEST_F(Request, FailsWhenTheServiceGoesAwayWhileItWaits)
{
    const std::string reply = FrameBytes(FrameKind::Reply, messages::ping + 1, 1, "");
    for (const std::string& partOfReply : {std::string(), reply.substr(0, 15)}) {
        Connect();
        auto ping = PingBeside(-1);
        peer->ExpectRequest(messages::ping);
        peer->Send(partOfReply);
        peer->Close();
        EXPECT_EQ(ping.get(), ECONNRESET);
    }
}

/// Then the connection ends with an error instead of the end of the input.
TEST_F(Request, FailsWhenTheServiceGoesAwayBeforeItReads)
{
    Connect();
    auto ping = PingBeside(-1);
    Await([this] { return peer->HasInput(); });
    peer->Close();
    EXPECT_EQ(ping.get(), ECONNRESET);
}

TEST_F(Request, ClosesTheConnectionWhenItTimesOutHalfSent)
{
    Connect();
    // The service does not read, so the record fills the socket and stays half sent.
    EXPECT_EQ(Send(moreThanASocketHolds, /*limitMs*/ 50), ETIMEDOUT);
    Connect();
}

/// Otherwise the request would never end if the service closes each connection before it reads.
TEST_F(Request, FailsAfterTwoLostConnections)
{
    for (const bool isOneWay : {false, true}) {
        auto served = Beside([this] {
            service->Accept();  // the connection closes at once
            service->Accept();
        });
        const int error = isOneWay ? Notify(moreThanASocketHolds) : Send(moreThanASocketHolds);
        EXPECT_TRUE(error == EPIPE || error == ECONNRESET) << error;
        served.get();
        EXPECT_FALSE(service->HasClient());
    }
}

/// Two sides that only write would wait for each other, so the endpoint reads while it writes.
TEST_F(Request, IsSentDuringAFloodOfNotifications)
{
    ConnectAndSubscribe();
    auto result = Beside([this] { return Send(2 * 1024 * 1024); });
    const std::string flood = FrameBytes(FrameKind::Notification, bitmap, hd,
                                         Bytes({9, 0}) + U32(30720) + std::string(30720, '\1'));
    for (int i = 0; i < 100; ++i) {
        peer->Send(flood);
    }
    Answer(messages::setRegionData, U32(0));
    EXPECT_EQ(result.get(), 0);
}

/// The endpoint reads while it cannot send, so the reply may come before the request is complete.
TEST_F(Request, KeepsItsBytesWhenItsReplyComesEarly)
{
    Connect();
    IpcMessage message;
    ASSERT_EQ(message.Allocate(0x4000, moreThanASocketHolds, nullptr), 0);
    std::fill_n(message.Payload(), moreThanASocketHolds, static_cast<unsigned char>('q'));
    auto result = Beside(
        [&] { return ipc->Request("SubtitleMgr", message, 0x4001, eventDeadlineMs, &message); });
    const std::string answer(1024 * 1024, 'a');
    peer->SendFrame(FrameKind::Reply, 0x4001, peer->ReceiveHeader().correlation, answer);
    EXPECT_TRUE(peer->ReceiveFrame().payload == std::string(moreThanASocketHolds, 'q'));
    ASSERT_EQ(result.get(), 0);
    EXPECT_TRUE(std::string(message.Payload(), message.Payload() + answer.size()) == answer);
}

using OneWayMessage = ServedEndpoint;

TEST_F(OneWayMessage, IsSentOnceAfterARestart)
{
    for (int round = 0; round < 3; ++round) {
        auto notified = Beside([this] { return Notify(); });
        AcceptClient();
        const RawFrame message = peer->ReceiveFrame();
        EXPECT_EQ(message.header.kind, FrameKind::OneWay);
        EXPECT_EQ(message.header.messageId, messages::quit);
        EXPECT_EQ(notified.get(), 0);
        ExpectPing();
        RestartService();
    }
}

TEST_F(OneWayMessage, KeepsTheConnectionWhenTheSocketIsFull)
{
    Connect();
    unsigned int taken = 0;
    int error = 0;
    while ((error = Notify(0, /*mayWait*/ false)) == 0) {
        ++taken;
    }
    EXPECT_EQ(error, EAGAIN);
    EXPECT_GT(taken, 0u);
    for (unsigned int i = 0; i < taken; ++i) {
        ASSERT_EQ(peer->ReceiveFrame().header.messageId, messages::quit);
    }
    ExpectPing();
}

TEST(FailedRequest, HasAReasonInWords)
{
    EXPECT_STREQ(WhyRequestFailed(ENOENT), "no such service is running");
    EXPECT_STREQ(WhyRequestFailed(ECONNREFUSED), "no such service is running");
    EXPECT_STREQ(WhyRequestFailed(ECONNRESET), "the service closed the connection");
    EXPECT_STREQ(WhyRequestFailed(EPIPE), "the service closed the connection");
    EXPECT_STREQ(WhyRequestFailed(EREMOTEIO), "the service refused it");
    EXPECT_STREQ(WhyRequestFailed(ETIMEDOUT), "the service did not answer");
    EXPECT_STREQ(WhyRequestFailed(EPROTO), "the service did not understand it");
    EXPECT_STREQ(WhyRequestFailed(EACCES), "Permission denied");
}

TEST(ServerNameList, KnowsTheSubtitleServiceOnly)
{
    const LinxServerNameList& list = LinxServerNameList::Instance();
    EXPECT_EQ(list.Name(static_cast<e_Process>(5)), "SubtitleMgr");
    EXPECT_EQ(list.Name(static_cast<e_Process>(4)), "");
}

TEST(StringToBool, IsTrueForTheseWordsInAnyCaseOnly)
{
    for (const char* word : {"t", "T", "true", "TRUE", "y", "yes", "yEs", "on", "ON", "1"}) {
        EXPECT_TRUE(StringUtilities::StringToBool(word)) << word;
    }
    for (const char* word : {"", "f", "no", "0", "11", "tt", "true ", " t", "yess", "\xD4"}) {
        EXPECT_FALSE(StringUtilities::StringToBool(word)) << word;
    }
}

}  // namespace
