// Whole sessions at the console's menu, both streams word for word.

#include "tests/support/ConsoleSession.h"

namespace {

using Lines = std::vector<std::string>;

const std::string refusedSubscriptions =
    "Subscribing...\n"
    "Subscribing for RegionData  ERROR  ERROR  ERROR  ERRORSubscribing for RegionVisibility  ERROR"
    "Subscribing for PaletteUpdate  ERROR";

const Lines sixSubscriptions{R"({"request":"Subscribe","subscription":2,"itemId":15129})",
                             R"({"request":"Subscribe","subscription":3,"itemId":15129})",
                             R"({"request":"Subscribe","subscription":4,"itemId":15129})",
                             R"({"request":"Subscribe","subscription":12,"itemId":15129})",
                             R"({"request":"Subscribe","subscription":6,"itemId":15132})",
                             R"({"request":"Subscribe","subscription":10,"itemId":15133})"};

const Lines threeUnsubscriptions{R"({"request":"Unsubscribe","subscription":1})",
                                 R"({"request":"Unsubscribe","subscription":6})",
                                 R"({"request":"Unsubscribe","subscription":10})"};

Lines operator+(Lines left, const Lines& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::string Invert(const std::string& region)
{
    return R"({"request":"InvertRegionData","regionId":)" + region + "}";
}

class TheConsole : public ConsoleSession {
protected:
    void SetUp() override { KeepJournal(); }

    /// Types \p keys, which must leave the console, and checks what is said of the end.
    std::string TextAfter(const std::string& keys)
    {
        StartClient({"-i"});
        Type(keys);
        EXPECT_EQ(ExitStatus(), 0);
        EXPECT_TEXT(ErrorText(), "");
        return ConsoleText();
    }
};

}  // namespace

TEST_F(TheConsole, ShowsItsMenuAndIsLeftByEitherOfTwoKeys)
{
    EXPECT_TEXT(TextAfter("x\n"), UnsubscribedMenu());
    EXPECT_TEXT(TextAfter("q\n"), UnsubscribedMenu());
}

TEST_F(TheConsole, IsEnteredByTheLongName)
{
    StartClient({"--interactive"});
    Type("x\n");
    EXPECT_TEXT(ConsoleText(), UnsubscribedMenu());
}

TEST_F(TheConsole, PrintsNothingForAnUnknownKeyAndShowsTheMenuAgain)
{
    for (const char* key :
         {"9", "0", "w", "z", "X", "Q", "R", "S", "C", "K", ".", "\x7f", "\xff"}) {
        EXPECT_TEXT(TextAfter(key + std::string("\nx\n")), UnsubscribedMenu() + UnsubscribedMenu())
            << key;
    }
}

TEST_F(TheConsole, DiscardsTheCharacterBehindAnUnknownKey)
{
    StartService();
    // Were k not discarded, it would end the service.
    EXPECT_TEXT(TextAfter("9kx\n"), UnsubscribedMenu() + UnsubscribedMenu());
    EXPECT_EQ(Journal(), Lines{});
}

TEST_F(TheConsole, SkipsBlanksAndEmptyLinesBeforeAKey)
{
    EXPECT_TEXT(TextAfter("\n\n  \t\n x\n"), UnsubscribedMenu());
}

TEST_F(TheConsole, RunsEveryKeyOfALine)
{
    StartService();
    EXPECT_TEXT(TextAfter("12x\n"), UnsubscribedMenu() + AcceptedSubscriptions() +
                                        SubscribedMenu() + "Unsubscribing...\n" +
                                        UnsubscribedMenu());
    EXPECT_EQ(Journal(), sixSubscriptions + threeUnsubscriptions);
}

TEST_F(TheConsole, SubscribesWithSixRequests)
{
    StartService();
    EXPECT_TEXT(TextAfter("1\nx\n"),
                UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu());
    EXPECT_EQ(Journal(), sixSubscriptions);
}

TEST_F(TheConsole, RepeatsAllSixRequestsWhenItSubscribesAgain)
{
    StartService();
    EXPECT_TEXT(TextAfter("1\n1\nx\n"), UnsubscribedMenu() + AcceptedSubscriptions() +
                                            SubscribedMenu() + AcceptedSubscriptions() +
                                            SubscribedMenu());
    EXPECT_EQ(Journal(), sixSubscriptions + sixSubscriptions);
}

TEST_F(TheConsole, SaysSubscribedAlthoughEverySubscriptionWasRefused)
{
    Service().Fault("refuse-subscribe");
    StartService();
    EXPECT_TEXT(TextAfter("1\nx\n"), UnsubscribedMenu() + refusedSubscriptions + SubscribedMenu());
    EXPECT_EQ(Journal(), sixSubscriptions);
}

TEST_F(TheConsole, MarksEverySubscriptionWithoutAService)
{
    EXPECT_TEXT(TextAfter("1\nx\n"), UnsubscribedMenu() + refusedSubscriptions + SubscribedMenu());
}

TEST_F(TheConsole, MarksEverySubscriptionWhenTheServiceHangsUp)
{
    Service().Fault("hang-up");
    StartService();
    EXPECT_TEXT(TextAfter("1\nx\n"), UnsubscribedMenu() + refusedSubscriptions + SubscribedMenu());
}

TEST_F(TheConsole, UnsubscribesRegionDataUnderNumberOneOnly)
{
    StartService();
    EXPECT_TEXT(TextAfter("2\nx\n"),
                UnsubscribedMenu() + "Unsubscribing...\n" + UnsubscribedMenu());
    EXPECT_EQ(Journal(), threeUnsubscriptions);
}

TEST_F(TheConsole, ShowsNothingOfAFailedUnsubscription)
{
    EXPECT_TEXT(TextAfter("2\nx\n"),
                UnsubscribedMenu() + "Unsubscribing...\n" + UnsubscribedMenu());
}

TEST_F(TheConsole, InvertsTheRegionTypedWithoutAWord)
{
    StartService();
    EXPECT_TEXT(TextAfter("6\n3\nx\n"),
                UnsubscribedMenu() + "Enter region ID: " + UnsubscribedMenu());
    EXPECT_EQ(Journal(), Lines{Invert("3")});
}

TEST_F(TheConsole, SendsTheWholeNumberOfARegion)
{
    StartService();
    TextAfter("6\n4294967295\n6\n256\n6\n0\n6\n-1\n6\n+7\n6\n007\nx\n");
    EXPECT_EQ(Journal(), (Lines{Invert("4294967295"), Invert("256"), Invert("0"),
                                Invert("4294967295"), Invert("7"), Invert("7")}));
}

TEST_F(TheConsole, DiscardsOneCharacterBehindARegion)
{
    StartService();
    EXPECT_TEXT(TextAfter("6 3kx\n"),
                UnsubscribedMenu() + "Enter region ID: " + UnsubscribedMenu());
    EXPECT_EQ(Journal(), Lines{Invert("3")});
}

TEST_F(TheConsole, ShowsNothingOfAFailedInversion)
{
    EXPECT_TEXT(TextAfter("6\n3\nx\n"),
                UnsubscribedMenu() + "Enter region ID: " + UnsubscribedMenu());
}

TEST_F(TheConsole, RefreshesAllSubtitles)
{
    StartService();
    EXPECT_TEXT(TextAfter("r\nx\n"),
                UnsubscribedMenu() + "Sending RefreshRegions\n\n" + UnsubscribedMenu());
    EXPECT_EQ(Journal(), Lines{R"({"request":"RefreshRegions"})"});
}

TEST_F(TheConsole, MarksAFailedRefresh)
{
    const std::string expected =
        UnsubscribedMenu() + "Sending RefreshRegions\n  ERROR" + UnsubscribedMenu();
    EXPECT_TEXT(TextAfter("r\nx\n"), expected);
    Service().Fault("refuse-refresh");
    StartService();
    EXPECT_TEXT(TextAfter("r\nx\n"), expected);
}

TEST_F(TheConsole, StaysSubscribedAroundARefreshThatFails)
{
    Service().Fault("refuse-refresh");
    StartService();
    EXPECT_TEXT(TextAfter("1\nr\nx\n"), UnsubscribedMenu() + AcceptedSubscriptions() +
                                            SubscribedMenu() + "Sending RefreshRegions\n  ERROR" +
                                            SubscribedMenu());
}

TEST_F(TheConsole, StaysSubscribedAroundARefresh)
{
    StartService();
    EXPECT_TEXT(TextAfter("1\nr\nx\n"), UnsubscribedMenu() + AcceptedSubscriptions() +
                                            SubscribedMenu() + "Sending RefreshRegions\n\n" +
                                            SubscribedMenu());
}

TEST_F(TheConsole, GivesAMuteServiceUpAfterTwoSeconds)
{
    Service().Fault("mute");
    StartService();
    EXPECT_TEXT(TextAfter("r\nx\n"),
                UnsubscribedMenu() + "Sending RefreshRegions\n  ERROR" + UnsubscribedMenu());
}

TEST_F(TheConsole, ShowsAndClearsTheStatistics)
{
    EXPECT_TEXT(TextAfter("s\nc\ns\nx\n"), UnsubscribedMenu() + EmptyRegionReport() +
                                               UnsubscribedMenu() + UnsubscribedMenu() +
                                               EmptyRegionReport() + UnsubscribedMenu());
}

TEST_F(TheConsole, RunsTheSameOnATerminal)
{
    const auto onTerminal = [](std::string text) {
        for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
            text.insert(at, "\r");
        }
        return text;
    };
    StartService();
    StartClientOnTerminal({"-i"});
    const std::vector<std::pair<std::string, std::string>> turns{
        {"9\n", ""},
        {"6\n", "Enter region ID: "},
        {"3\n", ""},
        {"1\n", AcceptedSubscriptions()},
        {"s\n", EmptyRegionReport()},
        {"r\n", "Sending RefreshRegions\n\n"},
        {"2\n", "Unsubscribing...\n"}};
    std::string expected = onTerminal(UnsubscribedMenu());
    ExpectConsole(expected);
    bool isSubscribed = false;
    for (const auto& [typed, answer] : turns) {
        isSubscribed = typed == "1\n" || (isSubscribed && typed != "2\n");
        const std::string menu = isSubscribed ? SubscribedMenu() : UnsubscribedMenu();
        // After a prompt the answer stands on the same line.
        const bool isPrompt = answer == "Enter region ID: ";
        const std::string turn = onTerminal(typed + answer + (isPrompt ? "" : menu));
        Type(typed);
        ExpectConsole(turn);
        expected += turn;
    }
    Type("x\n");
    EXPECT_TEXT(ConsoleText(), expected + "x\r\n");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(TheConsole, WorksOnAfterItIsLeftSubscribed)
{
    StartService();
    StartClient({"-i", "-p", "-q"});
    Type("1 x");
    EXPECT_TEXT(ConsoleText(), UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu() +
                                   "Let's Ping\nSuccessful Ping\nQuit issued\n");
    EXPECT_TEXT(ErrorText(), "Shut down Requested\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Service().Process().WaitForExit(), 0);
}

TEST_F(TheConsole, RunsInTwoThreads)
{
    StartService();
    StartClient({"-i"});
    ExpectConsole(UnsubscribedMenu());
    EXPECT_EQ(Client().CountThreads(), 2);
    Type("1\nr\n");
    ExpectConsole("Sending RefreshRegions\n\n" + SubscribedMenu());
    EXPECT_EQ(Client().CountThreads(), 2);
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
}
