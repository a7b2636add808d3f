#include "simulator/service/request_handler.h"

#include "tests/harness/SimulatedService.h"
#include "tests/harness/frames.h"
#include "tests/unit/simulator/backlog_bytes.h"
#include "words/text.h"

#include <gtest/gtest.h>

namespace {

using Verdict = sim::RequestHandler::Verdict;

/// An audience of one peer.
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

constexpr unsigned int correlation = 0xFFFFFFFE;

std::string Reply(unsigned int messageId, const std::string& payload = "")
{
    return FrameBytes(FrameKind::Reply, messageId + 1, correlation, payload);
}

const std::string accepted = U32(0);
const std::string refused = U32(1);
const std::string notUnderstood = FrameBytes(FrameKind::Reply, 0x3CFF, correlation, "");

class RequestHandler : public testing::Test {
protected:
    RequestHandler()
    {
        std::string problem;
        EXPECT_TRUE(logs.journal.Open(folder / "journal", problem)) << problem;
        options.quiet = true;
    }

    Verdict Handle(FrameKind kind, unsigned int messageId, std::string payload = "")
    {
        const FrameHeader header{kind, messageId, correlation,
                                 static_cast<unsigned int>(payload.size())};
        turn = Budget();
        const Verdict verdict = handler.Handle(
            audience.peer, {header, reinterpret_cast<unsigned char*>(payload.data()), nullptr},
            turn);
        handler.Publish(audience.peer.outcome, turn);
        return verdict;
    }

    /// \return the backlog of the client that makes this request
    std::string Ask(unsigned int messageId, const std::string& payload = "")
    {
        EXPECT_EQ(Handle(FrameKind::Request, messageId, payload), Verdict::GoOn);
        return TakeQueued();
    }

    std::string TakeQueued() { return TakeBytes(audience.peer.backlog); }

    void Cause(const std::string& words)
    {
        FaultSpec spec;
        std::string problem;
        EXPECT_TRUE(ParseFault(words::Split(words), spec, problem)) << problem;
        faults.Add(spec);
    }

    bool IsPublished() const { return audience.peer.outcome.IsPublished(); }

    std::string JournalText() const { return PlainJournal(ReadWholeFile(folder / "journal")); }

    const TempDir folder;
    Options options;
    Logs logs{"SubtitleMgr"};
    OnePeer audience;
    SubtitleService service;
    FaultList faults;
    sim::RequestHandler handler{options, faults, logs, service, audience};
    Budget turn;
};

TEST_F(RequestHandler, AnswersWithTheResultAndTheLogLevel)
{
    EXPECT_EQ(Ask(messages::ping), Reply(messages::ping));
    EXPECT_EQ(Ask(messages::subscribe, U32(2) + U32(15129)), Reply(messages::subscribe, accepted));
    EXPECT_EQ(Ask(messages::subscribe, U32(2) + U32(15130)), Reply(messages::subscribe, refused));
    EXPECT_EQ(Ask(messages::getLogLevel), Reply(messages::getLogLevel, accepted + U32(63)));
    EXPECT_EQ(Ask(messages::setLogLevel, U32(7)), Reply(messages::setLogLevel, accepted));
    EXPECT_EQ(Ask(messages::getLogLevel), Reply(messages::getLogLevel, accepted + U32(7)));
}

TEST_F(RequestHandler, QueuesTheReplyBeforePublications)
{
    audience.peer.subscriptions.Add(6, 15132);
    const std::string published = NotificationBytes(6, 15132, VisibilityRecord(3, true));
    EXPECT_EQ(Ask(messages::setRegionVisibility, VisibilityRecord(3, true)),
              Reply(messages::setRegionVisibility, accepted) + published);
    EXPECT_EQ(Ask(messages::refreshRegions), Reply(messages::refreshRegions, accepted) + published);
}

TEST_F(RequestHandler, PublishesLargeRecordsInSeveralTurns)
{
    audience.peer.subscriptions.Add(4, 15129);
    audience.peer.subscriptions.Add(6, 15132);
    const std::string pixels(400000, '\1');
    std::string expected = Reply(messages::refreshRegions, accepted);
    for (unsigned int region = 1; region <= 14; ++region) {
        Ask(messages::setRegionData, RegionDataRecord(region, 0, pixels));
        Ask(messages::setRegionVisibility, VisibilityRecord(region, true));
        expected += NotificationBytes(4, 15129, RegionDataRecord(region, 2, pixels)) +
                    NotificationBytes(6, 15132, VisibilityRecord(region, true));
    }
    std::string queued = Ask(messages::refreshRegions);
    unsigned int turns = 1;
    for (; !IsPublished(); ++turns) {
        turn = Budget();
        handler.Publish(audience.peer.outcome, turn);
        EXPECT_TRUE(turn.IsSpent() || IsPublished());
        queued += TakeQueued();
    }
    EXPECT_TRUE(queued == expected);
    // Encoding and queueing a bitmap for one subscriber costs 800,000 bytes of a budget of 1 MiB,
    // so each turn publishes two of them. The last visibility follows in another turn.
    EXPECT_EQ(turns, 8u);
}

TEST_F(RequestHandler, PublishesInOneTurnWithoutSubscriber)
{
    for (unsigned int region = 1; region <= 14; ++region) {
        Ask(messages::setRegionData, RegionDataRecord(region, 0, std::string(400000, '\1')));
    }
    Ask(messages::refreshRegions);
    EXPECT_TRUE(IsPublished());
    Ask(messages::invertRegionData, U32(3));
    EXPECT_TRUE(IsPublished());
}

TEST_F(RequestHandler, JournalsRefusedRequestsInOrder)
{
    Ask(messages::ping);
    Ask(messages::setRegionVisibility, VisibilityRecord(99, true));
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::quit), Verdict::Quit);
    EXPECT_EQ(TakeQueued(), "");
    EXPECT_EQ(JournalText(),
              "{\"request\":\"Ping\"}\n"
              "{\"request\":\"SetRegionVisibility\",\"regionId\":99,\"visible\":true,"
              "\"result\":\"refused\"}\n"
              "{\"request\":\"Quit\"}\n");
}

TEST_F(RequestHandler, AnswersRequestsThatItDoesNotUnderstand)
{
    EXPECT_EQ(Ask(0x3C99, "any payload"), notUnderstood);
    EXPECT_EQ(Ask(messages::ping, "x"), notUnderstood);
    EXPECT_EQ(Ask(messages::quit), notUnderstood);
    const std::string record = RegionDataRecord(3, 0, "abc");
    for (const std::string& payload :
         {std::string(), record.substr(0, 5), record.substr(0, 8), record + "x"}) {
        EXPECT_EQ(Ask(messages::setRegionData, payload), notUnderstood);
    }
    EXPECT_EQ(JournalText(), "");
}

TEST_F(RequestHandler, IgnoresAnUnknownOneWayMessage)
{
    EXPECT_EQ(Handle(FrameKind::OneWay, 0x3C99), Verdict::GoOn);
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::ping), Verdict::GoOn);
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::quit, "x"), Verdict::GoOn);
    EXPECT_EQ(TakeQueued(), "");
    EXPECT_EQ(JournalText(), "");
}

TEST_F(RequestHandler, DropsAPeerThatSendsAServiceMessage)
{
    EXPECT_EQ(Handle(FrameKind::Reply, 0x3B02), Verdict::DropPeer);
    EXPECT_EQ(Handle(FrameKind::Notification, 15132, VisibilityRecord(1, true)), Verdict::DropPeer);
    EXPECT_EQ(TakeQueued(), "");
}

TEST_F(RequestHandler, CausesFaults)
{
    const std::string reply = Reply(messages::setLogLevel, accepted);
    constexpr char isRefused[] = R"(,"result":"refused")";
    constexpr char isUnanswered[] = R"(,"result":"unanswered")";
    const struct {
        const char* fault;
        Verdict verdict;
        std::string queued;
        unsigned int level;
        const char* result;
    } rows[] = {
        {"refuse times=1", Verdict::GoOn, Reply(messages::setLogLevel, refused), 63, isRefused},
        {"mute times=1", Verdict::GoOn, "", 63, isUnanswered},
        {"hang-up times=1", Verdict::DropPeer, "", 63, isUnanswered},
        {"wrong-reply times=1", Verdict::GoOn, Reply(messages::setLogLevel + 2, accepted), 7, ""},
        {"restart request=SetLogLevel times=1 delay=1.5", Verdict::Restart, "", 63, isUnanswered},
        {"truncate times=1", Verdict::GoOn, reply.substr(0, 10), 7, ""},
        {"refuse", Verdict::GoOn, "", 63, isUnanswered},  // the peer is silenced after half a reply
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        service.SetLogLevel(63);
        const std::size_t before = JournalText().size();
        Cause(row.fault);
        EXPECT_EQ(Handle(FrameKind::Request, messages::setLogLevel, U32(7)), row.verdict);
        EXPECT_TRUE(row.verdict != Verdict::Restart || handler.RestartMs() == 1500);
        EXPECT_EQ(TakeQueued(), row.queued);
        EXPECT_EQ(service.LogLevel(), row.level);
        EXPECT_EQ(JournalText().substr(before),
                  R"({"request":"SetLogLevel","level":7)" + std::string(row.result) + "}\n");
    }
    EXPECT_EQ(Handle(FrameKind::OneWay, messages::quit), Verdict::Quit);
}

TEST_F(RequestHandler, RefusesOnlyWhatHasAResult)
{
    Cause("refuse");
    EXPECT_EQ(Ask(messages::ping), Reply(messages::ping));
    EXPECT_EQ(Ask(messages::subscribe, U32(2) + U32(15129)), Reply(messages::subscribe, refused));
    EXPECT_FALSE(audience.peer.subscriptions.Include(2));
    EXPECT_EQ(Ask(messages::getLogLevel), Reply(messages::getLogLevel, refused + U32(63)));
    EXPECT_EQ(Ask(0x3C99), notUnderstood);
}

TEST_F(RequestHandler, CausesFaultsOfUnknownRequests)
{
    Cause("hang-up times=1");
    Cause("mute");
    EXPECT_EQ(Handle(FrameKind::Request, 0x3C99), Verdict::DropPeer);
    EXPECT_EQ(Handle(FrameKind::Request, 0x3C99), Verdict::GoOn);
    EXPECT_EQ(TakeQueued(), "");
    EXPECT_EQ(JournalText(), "");
}

TEST_F(RequestHandler, HoldsALateReplyAndPublishesAtOnce)
{
    Cause("late times=1 delay=0");
    audience.peer.subscriptions.Add(6, 15132);
    EXPECT_EQ(Ask(messages::setRegionVisibility, VisibilityRecord(3, true)),
              NotificationBytes(6, 15132, VisibilityRecord(3, true)));
    EXPECT_EQ(Ask(messages::ping), Reply(messages::ping));
    audience.peer.delays.Release(audience.peer.backlog);
    EXPECT_EQ(TakeQueued(), Reply(messages::setRegionVisibility, accepted));
}

TEST_F(RequestHandler, AnswersBeforeItStopsReading)
{
    Cause("stall");
    EXPECT_EQ(Ask(messages::ping), Reply(messages::ping));
    EXPECT_TRUE(audience.peer.IsPaused());
}

}  // namespace
