// The options of the command line: which exist, in which order they act, and what stops them.

#include "tests/support/ConsoleSession.h"

namespace {

const std::string pinged = "Let's Ping\nSuccessful Ping\n";

class TheCommandLine : public ConsoleSession {
protected:
    /// What getopt_long() says, under the name the program was started with.
    static std::string Complaint(const std::string& text)
    {
        return std::string(ClientProgram()) + ": " + text + "\n";
    }

    void StartServiceWithJournal()
    {
        KeepJournal();
        StartService();
    }

    std::vector<std::string> Requests() const { return Journal(); }
};

using Lines = std::vector<std::string>;
const Lines onePing{R"({"request":"Ping"})"};

}  // namespace

TEST_F(TheCommandLine, ShowsTheUsageForEachOfItsThreeNames)
{
    for (const char* option : {"-h", "--help", "--usage"}) {
        RunClient({option});
        EXPECT_TEXT(ConsoleText(), UsageText());
        EXPECT_TEXT(ErrorText(), "");
        EXPECT_EQ(ExitStatus(), 0);
    }
}

TEST_F(TheCommandLine, ShowsTheUsageWithoutAnyOption)
{
    RunClient({});
    EXPECT_TEXT(ConsoleText(), UsageText());
    EXPECT_TEXT(ErrorText(), "");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(TheCommandLine, TakesTheLetterForTheConfigFileAndDoesNothing)
{
    RunClient({"-c"});
    EXPECT_TEXT(ConsoleText(), "");
    EXPECT_TEXT(ErrorText(), "");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(TheCommandLine, KnowsNoWordForTheConfigFileAlthoughTheUsageOffersIt)
{
    RunClient({"--config"});
    EXPECT_TEXT(ConsoleText(), UsageText());
    EXPECT_TEXT(ErrorText(), Complaint("unrecognized option '--config'"));
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(TheCommandLine, ShowsTheUsageForAnUnknownLetter)
{
    // f lies between letters that have a meaning; the colon is what getopt might return itself.
    for (const char* letter : {"z", "f", "P", ":"}) {
        RunClient({std::string("-") + letter});
        EXPECT_TEXT(ConsoleText(), UsageText());
        EXPECT_TEXT(ErrorText(), Complaint("invalid option -- '" + std::string(letter) + "'"));
        EXPECT_EQ(ExitStatus(), 0);
    }
}

TEST_F(TheCommandLine, ShowsTheUsageWhenAnArgumentIsMissing)
{
    const std::vector<std::pair<const char*, const char*>> cases{
        {"-e", "option requires an argument -- 'e'"},
        {"-s", "option requires an argument -- 's'"},
        {"--connection", "option '--connection' requires an argument"},
        {"--setloglevel", "option '--setloglevel' requires an argument"}};
    for (const auto& [option, complaint] : cases) {
        RunClient({option});
        EXPECT_TEXT(ConsoleText(), UsageText());
        EXPECT_TEXT(ErrorText(), Complaint(complaint));
        EXPECT_EQ(ExitStatus(), 0);
    }
}

TEST_F(TheCommandLine, ShowsTheUsageWhenAnArgumentIsTooMany)
{
    RunClient({"--ping=now"});
    EXPECT_TEXT(ConsoleText(), UsageText());
    EXPECT_TEXT(ErrorText(), Complaint("option '--ping' doesn't allow an argument"));
}

TEST_F(TheCommandLine, ActsOnNothingAfterTheUsage)
{
    StartServiceWithJournal();
    for (const char* first : {"-h", "--usage", "-z", "--config"}) {
        RunClient({first, "-p", "-q", "-s", "7"});
        EXPECT_TEXT(ConsoleText(), UsageText()) << first;
    }
    EXPECT_EQ(Requests(), Lines{});
}

TEST_F(TheCommandLine, ActsOnWhatStandsBeforeTheMistake)
{
    StartServiceWithJournal();
    RunClient({"-p", "-z", "-q"});
    EXPECT_TEXT(ConsoleText(), pinged + UsageText());
    EXPECT_EQ(Requests(), onePing);
}

TEST_F(TheCommandLine, ActsInTheOrderGiven)
{
    StartServiceWithJournal();
    RunClient({"-p", "-q"});
    EXPECT_TEXT(ConsoleText(), pinged + "Quit issued\n");
    EXPECT_TEXT(ErrorText(), "Shut down Requested\n");
    EXPECT_EQ(Service().Process().WaitForExit(), 0);
    EXPECT_EQ(Requests(), (Lines{R"({"request":"Ping"})", R"({"request":"Quit"})"}));
}

TEST_F(TheCommandLine, TakesSeveralLettersInOneWord)
{
    StartServiceWithJournal();
    RunClient({"-cpq"});
    EXPECT_TEXT(ConsoleText(), pinged + "Quit issued\n");
    EXPECT_EQ(Service().Process().WaitForExit(), 0);
}

TEST_F(TheCommandLine, RunsTheWholeConsoleBeforeTheNextOption)
{
    StartServiceWithJournal();
    StartClient({"-i", "-p"});
    Type("x\n");
    EXPECT_TEXT(ConsoleText(), UnsubscribedMenu() + pinged);
    EXPECT_TEXT(ErrorText(), "");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(TheCommandLine, TakesShortenedWords)
{
    StartServiceWithJournal();
    RunClient({"--conn", "node1", "--pi"});
    EXPECT_TEXT(ErrorText(), "Error running ping\n");
    RunClient({"--p"});
    EXPECT_TEXT(ConsoleText(), pinged);
    RunClient({"--u"});
    EXPECT_TEXT(ConsoleText(), UsageText());
}

TEST_F(TheCommandLine, ActsOnItsOptionsAndShowsTheUsageForAStrayWord)
{
    StartServiceWithJournal();
    RunClient({"-p", "word"});
    EXPECT_TEXT(ConsoleText(), pinged + UsageText());
    EXPECT_TEXT(ErrorText(), "");
    RunClient({"word", "-p"});
    EXPECT_TEXT(ConsoleText(), pinged + UsageText());
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(TheCommandLine, TakesNothingForAnOptionBehindTwoDashes)
{
    StartServiceWithJournal();
    RunClient({"--", "-p"});
    EXPECT_TEXT(ConsoleText(), UsageText());
    EXPECT_TEXT(ErrorText(), "");
    EXPECT_EQ(Requests(), Lines{});
}

TEST_F(TheCommandLine, PingsTheServiceBehindThePrefix)
{
    Service().Name("node1/SubtitleMgr");
    StartServiceWithJournal();
    RunClient({"-e", "node1", "-p"});
    EXPECT_TEXT(ConsoleText(), pinged);
    RunClient({"--connection=node1", "--ping"});
    EXPECT_TEXT(ConsoleText(), pinged);
    EXPECT_EQ(Requests().size(), 2u);
    RunClient({"-p", "-e", "node1"});
    EXPECT_TEXT(ErrorText(), "Error running ping\n");
}

TEST_F(TheCommandLine, PutsALaterPrefixInFrontOfAnEarlierOne)
{
    Service().Name("b/a/SubtitleMgr");
    StartServiceWithJournal();
    RunClient({"-e", "a", "-e", "b", "-p"});
    EXPECT_TEXT(ConsoleText(), pinged);
    EXPECT_EQ(Requests(), onePing);
    RunClient({"-e", "b", "-e", "a", "-p"});
    EXPECT_TEXT(ErrorText(), "Error running ping\n");
}

TEST_F(TheCommandLine, TakesASlashInsideAPrefix)
{
    Service().Name("b/a/SubtitleMgr");
    StartServiceWithJournal();
    RunClient({"-eb/a", "-p"});
    EXPECT_TEXT(ConsoleText(), pinged);
}
