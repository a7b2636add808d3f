// Services that break off, lie, come back or stand still, and what a console makes of it.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <set>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

const std::set<unsigned int> everySubscription{2, 3, 4, 6, 10, 12};

std::string Visibility(unsigned int region)
{
    return FrameBytes(FrameKind::Notification, messages::regionVisItem, 6, Bytes({region, 1}));
}

std::string HdData(unsigned int region, const std::string& counted)
{
    return FrameBytes(FrameKind::Notification, messages::regionDataItem, 2,
                      Bytes({region, 0}) + counted);
}

std::string Shown(unsigned int region)
{
    return "\n\n*** RegionVisi:  " + std::to_string(region) + "  visible\n\n";
}

/// A console that has subscribed to a service played by the test.
class AConsoleOfAHostileService : public ConsoleSession {
protected:
    void SetUp() override
    {
        StartClient({"-i"});
        Type("1\n");
        connection = hostile.Accept();
        EXPECT_EQ(AcceptSubscriptions(), everySubscription);
        ExpectConsole(UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu());
    }

    /// Accepts six subscriptions. \return their numbers
    std::set<unsigned int> AcceptSubscriptions()
    {
        std::set<unsigned int> numbers;
        for (std::size_t i = 0; i < everySubscription.size(); ++i) {
            numbers.insert(connection->AcceptSubscription());
        }
        return numbers;
    }

    /// What the console does once it has lost its connection.
    void ExpectRenewal()
    {
        connection->ExpectClosed();
        connection = hostile.Accept();
        EXPECT_EQ(AcceptSubscriptions(), everySubscription);
        connection->Send(Visibility(3));
        ExpectConsole(Shown(3));
    }

    void ExpectRefusalOf(const std::string& stream, const std::string& logged)
    {
        connection->Send(Visibility(1) + stream);
        ExpectConsole(Shown(1));
        ExpectRenewal();
        EXPECT_NE(LogText().find(logged), std::string::npos) << LogText();
        Type("x\n");
        EXPECT_EQ(ExitStatus(), 0);
    }

    /// The report of a region 1 that one good record of 7 bytes reached.
    void ExpectOneGoodRecord()
    {
        Type("s\nx\n");
        EXPECT_EQ(ExitStatus(), 0);
        const std::string report = RegionReport(
            {{1, "   1   F        1 +      0 +      0 =      1          7 +        0 +  "
                 "      0 =        7    100.0 %"}},
            "  0.0");
        EXPECT_NE(ConsoleText().find(report), std::string::npos) << ConsoleText();
    }

    /// The receive thread looks at its flag twice a second, so that nothing is received shows after
    /// that time only.
    void ExpectNotShown(const std::string& stream, const std::string& shown)
    {
        connection->Send(stream);
        std::this_thread::sleep_for(Milliseconds(700));
        EXPECT_EQ(Client().Output().find(shown), std::string::npos);
    }

    RawService hostile{Directory() / "SubtitleMgr"};
    std::unique_ptr<RawConnection> connection;
};

using AConsole = ConsoleSession;

}  // namespace

TEST_F(AConsoleOfAHostileService, ClosesAConnectionOnWhatIsNoFrameAndMakesItAgain)
{
    ExpectRefusalOf("GET / HTTP/1.1\r\n\r\n", "closed: received not a frame");
}

TEST_F(AConsoleOfAHostileService, ClosesAConnectionOnAnotherVersion)
{
    ExpectRefusalOf(Bytes({'S', 'T', 2, 3}) + U32(messages::regionVisItem) + U32(6) + U32(0),
                    "closed: received a frame of another version");
}

TEST_F(AConsoleOfAHostileService, ClosesAConnectionOnAnUnknownKind)
{
    ExpectRefusalOf(Bytes({'S', 'T', 1, 5}) + U32(messages::regionVisItem) + U32(6) + U32(0),
                    "closed: received a frame of an unknown kind");
}

TEST_F(AConsoleOfAHostileService, ClosesAConnectionOnAFrameThatClaimsMoreThanTheLimit)
{
    ExpectRefusalOf(Bytes({'S', 'T', 1, 3}) + U32(messages::regionDataItem) + U32(2) +
                        U32(16 * 1024 * 1024 + 1),
                    "closed: received a frame that claims more than 16 MiB");
}

TEST_F(AConsoleOfAHostileService, ClosesAConnectionOnAFrameThatOnlyAClientSends)
{
    ExpectRefusalOf(FrameBytes(FrameKind::Request, messages::ping, 1, ""), "closed: received");
}

TEST_F(AConsoleOfAHostileService, RenewsItsSubscriptionsWhenTheConnectionEndsInsideAFrame)
{
    connection->Send(Visibility(1) + Visibility(2).substr(0, 10));
    ExpectConsole(Shown(1));
    connection->Close();
    connection = hostile.Accept();
    EXPECT_EQ(AcceptSubscriptions(), everySubscription);
    connection->Send(Visibility(3));
    ExpectConsole(Shown(3));
    EXPECT_EQ(Client().Output().find(Shown(2)), std::string::npos);
}

TEST_F(AConsoleOfAHostileService, TakesNotificationsCutAtEveryByte)
{
    const std::string stream =
        Visibility(7) + HdData(1, U32(1) + Bytes({0})) + Visibility(8) + Visibility(9);
    for (const char byte : stream) {
        connection->Send(std::string(1, byte));
    }
    ExpectConsole(Shown(7) + Shown(8) + Shown(9));
    ExpectOneGoodRecord();
}

TEST_F(AConsoleOfAHostileService, DropsRecordsWhoseLengthsAreNotTrue)
{
    const auto notification = [](unsigned int item, unsigned int number, const std::string& bytes) {
        return FrameBytes(FrameKind::Notification, item, number, bytes);
    };
    connection->Send(HdData(1, U32(2) + Bytes({0})) + HdData(1, U32(0) + Bytes({0})) +
                     HdData(1, U32(0xFFFFFFFFu) + Bytes({0})) + HdData(1, U32(0xFFFFFFFAu)) +
                     HdData(1, "") + HdData(1, Bytes({0, 0, 0})) +
                     notification(messages::regionVisItem, 6, "") +
                     notification(messages::regionVisItem, 6, Bytes({1})) +
                     notification(messages::regionVisItem, 6, Bytes({1, 1, 1})) +
                     notification(messages::paletteItem, 10, "") +
                     notification(messages::paletteItem, 10, Bytes({1, 1, 1}) + U32(1)) +
                     HdData(1, U32(1) + Bytes({0})) + Visibility(5));
    ExpectConsole(Shown(5));
    const std::string log = LogText();
    EXPECT_NE(log.find("dropped a malformed record from SubtitleMgr"), std::string::npos) << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 11) << log;
    ExpectOneGoodRecord();
}

TEST_F(AConsoleOfAHostileService, IgnoresWhatItDidNotSubscribeTo)
{
    connection->Send(
        FrameBytes(FrameKind::Notification, messages::regionVisItem, 7, Bytes({4, 1})) +
        FrameBytes(FrameKind::Notification, messages::regionVisItem, 2, Bytes({4, 1})) +
        FrameBytes(FrameKind::Notification, 0x1234, 6, Bytes({4, 1})) +
        FrameBytes(FrameKind::Reply, messages::ReplyTo(messages::ping), 77, "") + Visibility(5));
    ExpectConsole(Shown(5));
    EXPECT_EQ(Client().Output().find(Shown(4)), std::string::npos);
}

TEST_F(AConsoleOfAHostileService, TakesTheReplyFromTheMiddleOfNotifications)
{
    Type("r\n");
    const RawFrame request = connection->ExpectRequest(messages::refreshRegions);
    const std::string reply =
        FrameBytes(FrameKind::Reply, messages::ReplyTo(messages::refreshRegions),
                   request.header.correlation, U32(0));
    // Counted without a word, so that nothing is printed beside the menu.
    const std::string data = HdData(1, U32(0));
    connection->Send(data + data + reply + data);
    ExpectConsole("Sending RefreshRegions\n\n" + SubscribedMenu());
    connection->Send(Visibility(1));
    ExpectConsole(Shown(1));
    Type("s\nx\n");
    EXPECT_EQ(ExitStatus(), 0);
    const std::string report = RegionReport({{1, "   1   F        3 +      0 +      0 =      3     "
                                                 "    18 +        0 +        0 =       18 "
                                                 "   100.0 %"}},
                                            "  0.0");
    EXPECT_NE(ConsoleText().find(report), std::string::npos) << ConsoleText();
}

TEST_F(AConsoleOfAHostileService, MarksARefreshWhoseReplyHasAnotherLength)
{
    Type("r\n");
    const RawFrame request = connection->ExpectRequest(messages::refreshRegions);
    connection->Reply(request, U32(0) + U32(0));
    ExpectConsole("Sending RefreshRegions\n  ERROR" + SubscribedMenu());
}

TEST_F(AConsoleOfAHostileService, MarksARefreshWhenTheConnectionIsLost)
{
    Type("r\n");
    connection->ExpectRequest(messages::refreshRegions);
    connection->Close();
    ExpectConsole("Sending RefreshRegions\n  ERROR" + SubscribedMenu());
}

TEST_F(AConsoleOfAHostileService, TriesAtMostTwiceASecondToConnectAgain)
{
    const Clock::time_point start = Clock::now();
    int attempts = 0;
    while (Clock::now() - start < Milliseconds(3000)) {
        connection->Close();
        connection = hostile.Accept();
        ++attempts;
    }
    // The accept that ends the loop may lie up to one pause behind the three seconds.
    EXPECT_GE(attempts, 3);
    EXPECT_LE(attempts, 8);
}

TEST_F(AConsoleOfAHostileService, RunsNoHandlerWhileItRefreshes)
{
    Type("r\n");
    const RawFrame request = connection->ExpectRequest(messages::refreshRegions);
    ExpectNotShown(Visibility(5), Shown(5));
    connection->Reply(request, U32(0));
    ExpectConsole("Sending RefreshRegions\n");
    ExpectConsole("*** RegionVisi:  5");
}

TEST_F(AConsoleOfAHostileService, RunsNoHandlerFromTheMomentItUnsubscribes)
{
    Type("2\n");
    RawFrame request = connection->ExpectRequest(messages::unsubscribe);
    EXPECT_EQ(request.payload, U32(1));
    // Visibility is still subscribed: that is number 6, which comes next.
    ExpectNotShown(Visibility(5), Shown(5));
    for (const unsigned int next : {6u, 10u}) {
        connection->Reply(request, U32(0));
        request = connection->ExpectRequest(messages::unsubscribe);
        EXPECT_EQ(request.payload, U32(next));
    }
    connection->Reply(request, U32(0));
    ExpectConsole("Unsubscribing...\n" + UnsubscribedMenu());
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(ConsoleText().find("***"), std::string::npos);
}

TEST_F(AConsole, FindsARestartedServiceWithItsNextRequest)
{
    KeepJournal();
    StartService();
    StartClient({"-i"});
    Type("r\n");
    ExpectConsole("Sending RefreshRegions\n\n" + UnsubscribedMenu());
    Service().Stop();
    StartService();
    Type("r\n");
    ExpectConsole("Sending RefreshRegions\n\n" + UnsubscribedMenu());
    Service().Kill();
    StartService();
    Type("r\nx\n");
    ExpectConsole("Sending RefreshRegions\n\n" + UnsubscribedMenu());
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(AConsole, RenewsItsSubscriptionsAtARestartedServiceWithoutAnyKey)
{
    KeepJournal();
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    for (std::size_t restart = 1; restart <= 3; ++restart) {
        if (restart == 2) {
            Service().Kill();
        } else {
            Service().Stop();
        }
        StartService();
        Service().WaitForJournalLines(6 * (restart + 1));
        RawClient editor(Service().SocketPath());
        editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 1,
                         Bytes({static_cast<unsigned int>(restart), 1}));
        ExpectConsole(Shown(static_cast<unsigned int>(restart)));
        Service().WaitForJournalLines(6 * (restart + 1) + restart);
    }
}

TEST_F(AConsole, RenewsItsSubscriptionsTogetherWithARequest)
{
    KeepJournal();
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    Service().Stop();
    StartService();
    Type("r\n");
    ExpectConsole("Sending RefreshRegions\n\n" + SubscribedMenu());
    EXPECT_EQ(Service().WaitForJournalLines(13).size(), 13u);
}

TEST_F(AConsole, DoesNotRenewWhatItUnsubscribed)
{
    KeepJournal();
    StartService();
    StartClient({"-i"});
    Type("12");
    ExpectConsole("Unsubscribing...\n" + UnsubscribedMenu());
    Service().Stop();
    StartService();
    Type("r\nx\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Journal().size(), 6u + 3 + 1);
    EXPECT_EQ(Journal().back(), R"({"request":"RefreshRegions"})");
}

TEST_F(AConsole, OutlivesItsService)
{
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu());
    Service().Kill();
    Type("r\n6\n3\nk\n2\n1\nx\n");
    EXPECT_EQ(ExitStatus(), 0);
    const std::string marks = "Subscribing...\n"
                              "Subscribing for RegionData  ERROR  ERROR  ERROR  ERROR"
                              "Subscribing for RegionVisibility  ERROR"
                              "Subscribing for PaletteUpdate  ERROR";
    EXPECT_TEXT(ConsoleText(), UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu() +
                                   "Sending RefreshRegions\n  ERROR" + SubscribedMenu() +
                                   "Enter region ID: " + SubscribedMenu() + SubscribedMenu() +
                                   "Unsubscribing...\n" + UnsubscribedMenu() + marks +
                                   SubscribedMenu());
    EXPECT_TEXT(ErrorText(), "Shut down Requested\nError running quit\n");
}

TEST_F(AConsole, EndsByTheBrokenPipeWhenNobodyReadsItAnyMore)
{
    ChildProcess shell(
        {"sh", "-c", "{ \"$1\" -i </dev/null; echo \"status $?\" >&2; } | head -c 100", "sh",
         ClientProgram()},
        ClientSettings());
    EXPECT_EQ(shell.WaitForExit(), 0);
    EXPECT_TEXT(shell.Output(), UnsubscribedMenu().substr(0, 100));
    EXPECT_TEXT(shell.Errors(), "status " + std::to_string(128 + SIGPIPE) + "\n");
}

TEST_F(AConsole, GoesOnAfterItWasStoppedUnderTraffic)
{
    Service()
        .Play("wait-subscribers 10\nvisibility 3 t\nregion-data 1 0 @bitmap\nsleep 1\n")
        .Loop();
    Service().Accompany("bitmap", std::string(30720, '\1'));
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(Shown(3));
    Client().Stop();
    // More than the socket and the backlog hold: the service says when it gives this reader up.
    Service().Process().WaitForErrors("client 1: stalled");
    Client().Continue();
    Type("r\n");
    ExpectConsole("Sending RefreshRegions");
    ExpectConsole(Shown(3));
    Service().Process().WaitForErrors("notifications lost");
    Type("s\nx\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ErrorText(), "");
    EXPECT_EQ(ConsoleText().find("ERROR"), std::string::npos);
}

TEST_F(AConsole, LetsOthersWorkWhileItIsStopped)
{
    Service().Quiet().Play("wait-subscribers 10\nregion-data 1 0 @bitmap\n").Loop();
    Service().Accompany("bitmap", std::string(30720, '\1'));
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    Client().Stop();
    Service().Process().WaitForErrors("client 1: stalled");
    ChildProcess other({ClientProgram(), "-p", "-s", "3", "-p"}, ClientSettings());
    EXPECT_EQ(other.WaitForExit(), 0);
    EXPECT_TEXT(other.Output(), "Let's Ping\nSuccessful Ping\nLet's Ping\nSuccessful Ping\n");
    Client().Continue();
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(AConsole, SurvivesAFullDiskBehindItsOutput)
{
    ChildProcess shell(
        {"sh", "-c", "printf 's\\nx\\n' | \"$1\" -i >/dev/full", "sh", ClientProgram()},
        ClientSettings());
    EXPECT_EQ(shell.WaitForExit(), 0);
    EXPECT_TEXT(shell.Errors(), "");
}

TEST_F(AConsole, SaysNothingToTheServiceWhenItsStandardStreamsAreClosed)
{
    KeepJournal();
    StartService();
    ChildProcess shell({"sh", "-c", "\"$1\" -p <&- >&- 2>&-", "sh", ClientProgram()},
                       ClientSettings());
    EXPECT_EQ(shell.WaitForExit(), 0);
    EXPECT_EQ(Journal(), std::vector<std::string>{R"({"request":"Ping"})"});
    // What belongs on a stream and went to the socket instead would be told here.
    Service().Process().Signal(SIGTERM);
    Service().Process().WaitForExit();
    EXPECT_TEXT(Service().Process().Errors(), "SubtitleMgrSim: client 1: Ping\n");
}
