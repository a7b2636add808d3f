// A console whose service hangs up, restarts or stops, or whose output ends.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"

#include <chrono>
#include <csignal>
#include <set>
#include <thread>

namespace {

const std::set<unsigned int> everySubscription{2, 3, 4, 6, 10, 12};

std::string Visibility(unsigned int region)
{
    return FrameBytes(FrameKind::Notification, messages::regionVisItem, 6, Bytes({region, 1}));
}

std::string Shown(unsigned int region)
{
    return "\n\n*** RegionVisi:  " + std::to_string(region) + "  visible\n\n";
}

/// A subscribed console; the test is its service.
class SubscribedConsole : public ConsoleSession {
protected:
    void SetUp() override
    {
        StartClient({"-i"});
        Type("1\n");
        AcceptConnection();
        ExpectConsole(UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu());
    }

    /// Accepts the console and its subscriptions.
    void AcceptConnection()
    {
        connection = service.Accept();
        std::set<unsigned int> numbers;
        for (std::size_t i = 0; i < everySubscription.size(); ++i) {
            numbers.insert(connection->AcceptSubscription());
        }
        EXPECT_EQ(numbers, everySubscription);
    }

    /// The receive thread reads its flag twice a second, so only after that time it is certain that
    /// it receives nothing.
    void ExpectNotShown(unsigned int region)
    {
        connection->Send(Visibility(region));
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        EXPECT_EQ(Client().Output().find(Shown(region)), std::string::npos);
    }

    RawService service{Directory() / "SubtitleMgr"};
    std::unique_ptr<RawConnection> connection;
};

TEST_F(SubscribedConsole, ConnectsAgainAfterACutFrame)
{
    connection->Send(Visibility(1) + Visibility(2).substr(0, 10));
    ExpectConsole(Shown(1));
    connection->Close();
    AcceptConnection();
    connection->Send(Visibility(3));
    ExpectConsole(Shown(3));
    EXPECT_EQ(Client().Output().find(Shown(2)), std::string::npos);
}

TEST_F(SubscribedConsole, RunsNoHandlerWhileItRefreshes)
{
    Type("r\n");
    const RawFrame request = connection->ExpectRequest(messages::refreshRegions);
    ExpectNotShown(5);
    connection->Reply(request, U32(0));
    ExpectConsole("Sending RefreshRegions\n");
    ExpectConsole("*** RegionVisi:  5");
}

TEST_F(SubscribedConsole, RunsNoHandlerAfterItUnsubscribes)
{
    Type("2\n");
    RawFrame request = connection->ExpectRequest(messages::unsubscribe);
    EXPECT_EQ(request.payload, U32(1));
    // The console still holds the subscription 6 to visibility, and ends it next.
    ExpectNotShown(5);
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

class Console : public ConsoleSession {
protected:
    void Start(const std::string& keys, const std::string& shown)
    {
        StartService();
        StartClient({"-i"});
        Type(keys);
        ExpectConsole(shown);
    }

    void RestartService()
    {
        Service().Stop();
        StartService();
    }
};

TEST_F(Console, FindsARestartedServiceWithItsNextRequest)
{
    Start("r\n", "Sending RefreshRegions\n\n" + UnsubscribedMenu());
    RestartService();
    Type("r\n");
    ExpectConsole("Sending RefreshRegions\n\n" + UnsubscribedMenu());
    Service().Kill();
    StartService();
    Type("r\nx\n");
    ExpectConsole("Sending RefreshRegions\n\n" + UnsubscribedMenu());
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(Console, RenewsItsSubscriptionsWithoutAnyKey)
{
    KeepJournal();
    Start("1\n", SubscribedMenu());
    for (unsigned int restart = 1; restart <= 2; ++restart) {
        if (restart == 2) {
            Service().Kill();
            StartService();
        } else {
            RestartService();
        }
        Service().WaitForJournalLines(6 * (restart + 1) + restart - 1);
        RawClient editor(Service().SocketPath());
        editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 1, Bytes({restart, 1}));
        ExpectConsole(Shown(restart));
    }
    EXPECT_EQ(Journal().size(), 3u * 6 + 2) << "a subscription was renewed more than once";
}

TEST_F(Console, RenewsNoEndedSubscription)
{
    KeepJournal();
    Start("12", "Unsubscribing...\n" + UnsubscribedMenu());
    RestartService();
    Type("r\nx\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Journal().size(), 6u + 3 + 1);
    EXPECT_EQ(Journal().back(), R"({"request":"RefreshRegions"})");
}

TEST_F(Console, OutlivesItsService)
{
    const std::string before = UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu();
    Start("1\n", before);
    Service().Kill();
    Type("r\n6\n3\nk\n2\n1\nx\n");
    EXPECT_EQ(ExitStatus(), 0);
    const std::string marks = "Subscribing...\n"
                              "Subscribing for RegionData  ERROR  ERROR  ERROR  ERROR"
                              "Subscribing for RegionVisibility  ERROR"
                              "Subscribing for PaletteUpdate  ERROR";
    EXPECT_TEXT(ConsoleText(), before + "Sending RefreshRegions\n  ERROR" + SubscribedMenu() +
                                   "Enter region ID: " + SubscribedMenu() + SubscribedMenu() +
                                   "Unsubscribing...\n" + UnsubscribedMenu() + marks +
                                   SubscribedMenu());
    EXPECT_TEXT(ErrorText(), "Shut down Requested\nError running quit\n");
}

TEST_F(Console, GoesOnAfterItWasStoppedUnderTraffic)
{
    Service()
        .Play("wait-subscribers 10\nvisibility 3 t\nregion-data 1 0 @bitmap\nsleep 1\n")
        .Accompany("bitmap", std::string(30720, '\1'))
        .Loop();
    Start("1\n", Shown(3));
    Client().Stop();
    // More than the socket and the backlog hold: the service reports lost notifications.
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

class ShellConsole : public ConsoleSession {
protected:
    /// Runs a shell command in which "$1" is the client. \return the ended command; its status is 0
    std::unique_ptr<ChildProcess> Run(const std::string& command) const
    {
        auto shell = std::make_unique<ChildProcess>(
            std::vector<std::string>{"sh", "-c", command, "sh", ClientProgram()}, ClientSettings());
        EXPECT_EQ(shell->WaitForExit(), 0);
        return shell;
    }
};

TEST_F(ShellConsole, EndsByTheBrokenPipeOfItsOutput)
{
    const auto shell = Run("{ \"$1\" -i </dev/null; echo \"status $?\" >&2; } | head -c 100");
    EXPECT_TEXT(shell->Output(), UnsubscribedMenu().substr(0, 100));
    EXPECT_TEXT(shell->Errors(), "status " + std::to_string(128 + SIGPIPE) + "\n");
}

TEST_F(ShellConsole, SurvivesAFullDiskAsItsOutput)
{
    EXPECT_TEXT(Run("printf 's\\nx\\n' | \"$1\" -i >/dev/full")->Errors(), "");
}

TEST_F(ShellConsole, SendsOnlyItsRequestWithClosedStreams)
{
    StartService();
    Run("\"$1\" -p <&- >&- 2>&-");
    // If text for a stream went to the socket, the service would report a bad frame.
    Service().Process().Signal(SIGTERM);
    Service().Process().WaitForExit();
    EXPECT_TEXT(Service().Process().Errors(), "SubtitleMgrSim: serving " + Service().SocketPath() +
                                                  "\nSubtitleMgrSim: client 1: Ping\n");
}

}  // namespace
