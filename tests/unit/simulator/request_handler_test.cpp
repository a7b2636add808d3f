#include "simulator/request_handler.h"

#include "tests/harness/TempDir.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace sim;

namespace {

using Verdict = RequestHandler::Verdict;

/// All peers there are: one.
class OnePeer : public Audience {
public:
    bool HasSubscriber(unsigned int subscription) const override
    {
        return peer.subscriptions.Include(subscription);
    }
    Readiness ReadinessFor(unsigned int /*subscription*/, std::size_t /*size*/) override
    {
        return Readiness::Ready;
    }
    std::size_t Publish(unsigned int subscription, const SharedFrame& frame) override
    {
        if (!HasSubscriber(subscription)) {
            return 0;
        }
        peer.backlog.AddNotification(frame);
        return 1;
    }

    Peer peer{Descriptor(), 1};
};

class ARequestHandler : public testing::Test {
protected:
    ARequestHandler()
    {
        std::string problem;
        EXPECT_TRUE(journal.Open(folder / "journal", problem)) << problem;
        options.quiet = true;
        handler = std::make_unique<RequestHandler>(options, journal, everybody);
    }

    Verdict Handle(FrameKind kind, unsigned int messageId, unsigned int correlation,
                   std::string payload = "")
    {
        const FrameHeader header{kind, messageId, correlation,
                                 static_cast<unsigned int>(payload.size())};
        Budget budget;
        const Verdict verdict = handler->Handle(
            everybody.peer, {header, reinterpret_cast<unsigned char*>(payload.data()), nullptr},
            budget);
        handler->Publish(everybody.peer.outcome, budget);
        return verdict;
    }

    Verdict Ask(unsigned int messageId, unsigned int correlation, const std::string& payload = "")
    {
        return Handle(FrameKind::Request, messageId, correlation, payload);
    }

    /// Everything queued for the peer since it was last asked.
    std::string Sent()
    {
        std::string sent;
        while (!everybody.peer.backlog.IsEmpty()) {
            iovec pieces[8];
            std::size_t total = 0;
            const unsigned int count = everybody.peer.backlog.Gather(pieces, 8, total);
            for (unsigned int i = 0; i < count; ++i) {
                sent.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
            }
            everybody.peer.backlog.Sent(total);
        }
        return sent;
    }

    static std::string Reply(unsigned int messageId, unsigned int correlation,
                             const std::string& payload)
    {
        return FrameBytes(FrameKind::Reply, messageId, correlation, payload);
    }

    std::string JournalText() const { return ReadWholeFile(folder / "journal"); }

    const TempDir folder;
    Options options;
    Journal journal;
    OnePeer everybody;
    std::unique_ptr<RequestHandler> handler;
};

TEST_F(ARequestHandler, AnswersAPingWithItsCorrelationAndNoPayload)
{
    EXPECT_EQ(Ask(0x3B01, 0xFFFFFFFF), Verdict::GoOn);
    EXPECT_EQ(Sent(), Reply(0x3B02, 0xFFFFFFFF, ""));
}

TEST_F(ARequestHandler, AnswersRequestsWithTheResult)
{
    Ask(messages::subscribe, 7, U32(2) + U32(15129));
    EXPECT_EQ(Sent(), Reply(messages::subscribe + 1, 7, U32(0)));
    Ask(messages::subscribe, 8, U32(2) + U32(15130));
    EXPECT_EQ(Sent(), Reply(messages::subscribe + 1, 8, U32(1)));
}

TEST_F(ARequestHandler, AddsTheLevelToTheAnswerOfGetLogLevel)
{
    Ask(messages::getLogLevel, 1);
    EXPECT_EQ(Sent(), Reply(messages::getLogLevel + 1, 1, U32(0) + U32(63)));
    Ask(messages::setLogLevel, 2, U32(7));
    EXPECT_EQ(Sent(), Reply(messages::setLogLevel + 1, 2, U32(0)));
    Ask(messages::getLogLevel, 3);
    EXPECT_EQ(Sent(), Reply(messages::getLogLevel + 1, 3, U32(0) + U32(7)));
}

TEST_F(ARequestHandler, QueuesTheReplyBeforeWhatTheRequestPublishes)
{
    Ask(messages::subscribe, 1, U32(6) + U32(15132));
    Sent();
    Ask(messages::setRegionVisibility, 2, VisibilityRecord(3, true));
    EXPECT_EQ(Sent(), Reply(messages::setRegionVisibility + 1, 2, U32(0)) +
                          NotificationBytes(6, 15132, VisibilityRecord(3, true)));
    Ask(messages::refreshRegions, 3);
    EXPECT_EQ(Sent(), Reply(messages::refreshRegions + 1, 3, U32(0)) +
                          NotificationBytes(6, 15132, VisibilityRecord(3, true)));
}

TEST_F(ARequestHandler, PublishesInSeveralTurnsWhatCostsMoreThanOne)
{
    everybody.peer.subscriptions.Add(4, 15129);
    everybody.peer.subscriptions.Add(6, 15132);
    const std::string pixels(400000, '\1');
    for (unsigned int region = 1; region <= 14; ++region) {
        Ask(messages::setRegionData, region, RegionDataRecord(region, 0, pixels));
        Ask(messages::setRegionVisibility, region, VisibilityRecord(region, true));
        Sent();
    }
    std::string expected = Reply(messages::refreshRegions + 1, 99, U32(0));
    for (unsigned int region = 1; region <= 14; ++region) {
        expected += NotificationBytes(4, 15129, RegionDataRecord(region, 2, pixels)) +
                    NotificationBytes(6, 15132, VisibilityRecord(region, true));
    }
    Ask(messages::refreshRegions, 99);
    unsigned int turns = 1;
    std::string sent = Sent();
    for (; !everybody.peer.outcome.IsPublished(); ++turns) {
        Budget budget;
        handler->Publish(everybody.peer.outcome, budget);
        EXPECT_TRUE(budget.IsSpent() || everybody.peer.outcome.IsPublished());
        sent += Sent();
    }
    EXPECT_TRUE(sent == expected);
    // A bitmap is encoded and queued for one subscriber: 800,000 bytes of a budget of 1 MiB, so two
    // of them in each turn. The last visibility follows in a turn of its own.
    EXPECT_EQ(turns, 8u);
}

TEST_F(ARequestHandler, PublishesInOneTurnWhatHasNoSubscriber)
{
    const std::string pixels(400000, '\1');
    for (unsigned int region = 1; region <= 14; ++region) {
        Ask(messages::setRegionData, region, RegionDataRecord(region, 0, pixels));
    }
    Ask(messages::refreshRegions, 99);
    EXPECT_TRUE(everybody.peer.outcome.IsPublished());
}

TEST_F(ARequestHandler, PaysForTheBytesThatAnInversionTouches)
{
    Ask(messages::setRegionData, 1, RegionDataRecord(3, 0, std::string(2 * 1024 * 1024, 'x')));
    std::string payload = U32(3);
    Budget budget;
    handler->Handle(everybody.peer,
                    {{FrameKind::Request, messages::invertRegionData, 2, 4},
                     reinterpret_cast<unsigned char*>(payload.data()),
                     nullptr},
                    budget);
    EXPECT_TRUE(budget.IsSpent());
}

TEST_F(ARequestHandler, JournalsInOrderOfArrivalAndRefusedRequestsToo)
{
    Ask(messages::ping, 1);
    Ask(messages::setRegionVisibility, 2, VisibilityRecord(99, true));
    Handle(FrameKind::OneWay, messages::quit, 0);
    EXPECT_EQ(JournalText(),
              "{\"request\":\"Ping\"}\n"
              "{\"request\":\"SetRegionVisibility\",\"regionId\":99,\"visible\":true}\n"
              "{\"request\":\"Quit\"}\n");
}

TEST_F(ARequestHandler, EndsTheServiceAtAQuit)
{
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::quit, 0), Verdict::Quit);
    EXPECT_EQ(Sent(), "");
}

TEST_F(ARequestHandler, AnswersAnUnknownRequestAsNotUnderstood)
{
    EXPECT_EQ(Ask(0x3C99, 5, "any payload"), Verdict::GoOn);
    EXPECT_EQ(Sent(), Reply(0x3CFF, 5, ""));
    EXPECT_EQ(JournalText(), "");
}

TEST_F(ARequestHandler, IgnoresAnUnknownOneWayMessage)
{
    EXPECT_EQ(Handle(FrameKind::OneWay, 0x3C99, 0), Verdict::GoOn);
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::ping, 0), Verdict::GoOn);
    EXPECT_EQ(Sent(), "");
    EXPECT_EQ(JournalText(), "");
}

TEST_F(ARequestHandler, DoesNotEndAtAQuitThatIsMalformedOrARequest)
{
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::quit, 0, "x"), Verdict::GoOn);
    EXPECT_EQ(Sent(), "");
    EXPECT_EQ(Ask(messages::quit, 1), Verdict::GoOn);
    EXPECT_EQ(Sent(), Reply(0x3CFF, 1, ""));
}

TEST_F(ARequestHandler, AnswersAMalformedPayloadAsNotUnderstoodAndLeavesItOutOfTheJournal)
{
    const std::string record = RegionDataRecord(3, 0, "abc");
    for (const std::string& payload :
         {std::string(), record.substr(0, 5), record.substr(0, 8), record + "x"}) {
        EXPECT_EQ(Ask(messages::setRegionData, 1, payload), Verdict::GoOn);
        EXPECT_EQ(Sent(), Reply(0x3CFF, 1, ""));
    }
    Ask(messages::ping, 2, "x");
    EXPECT_EQ(Sent(), Reply(0x3CFF, 2, ""));
    EXPECT_EQ(JournalText(), "");
}

TEST_F(ARequestHandler, DropsAPeerThatSendsWhatOnlyAServiceMay)
{
    EXPECT_EQ(Handle(FrameKind::Reply, 0x3B02, 1), Verdict::DropPeer);
    EXPECT_EQ(Handle(FrameKind::Notification, 15132, 6, VisibilityRecord(1, true)),
              Verdict::DropPeer);
    EXPECT_EQ(Sent(), "");
}

TEST_F(ARequestHandler, ThatIsMuteJournalsAndDoesNothingElse)
{
    options.faults.mute = true;
    EXPECT_EQ(Ask(messages::ping, 1), Verdict::GoOn);
    EXPECT_EQ(Ask(messages::subscribe, 2, U32(2) + U32(15129)), Verdict::GoOn);
    EXPECT_EQ(Ask(0x3C99, 3), Verdict::GoOn);
    EXPECT_EQ(Sent(), "");
    EXPECT_FALSE(everybody.peer.subscriptions.Include(2));
    EXPECT_EQ(JournalText(), "{\"request\":\"Ping\"}\n"
                             "{\"request\":\"Subscribe\",\"subscription\":2,\"itemId\":15129}\n");
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::quit, 0), Verdict::Quit);
}

TEST_F(ARequestHandler, ThatHangsUpJournalsAndDropsThePeer)
{
    options.faults.hangUp = true;
    EXPECT_EQ(Ask(messages::ping, 1), Verdict::DropPeer);
    EXPECT_EQ(Ask(0x3C99, 3), Verdict::DropPeer);
    EXPECT_EQ(Sent(), "");
    EXPECT_EQ(JournalText(), "{\"request\":\"Ping\"}\n");
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::quit, 0), Verdict::Quit);
}

}  // namespace
