// Options -s and -l: the log level of the service, which is never reached through a prefix.

#include "tests/support/ConsoleSession.h"

namespace {

const std::string question = "New log level (a sum of bits, 2 for errors, 8 for notes): ";

class TheLogLevel : public ConsoleSession {
protected:
    void SetUp() override { KeepJournal(); }

    static std::string Set(const std::string& level)
    {
        return R"({"request":"SetLogLevel","level":)" + level + "}";
    }

    /// Sets \p argument by -s. \return the request that arrived
    std::string RequestFor(const std::string& argument)
    {
        RunClient({"-s", argument});
        EXPECT_TEXT(ConsoleText(), "");
        EXPECT_TEXT(ErrorText(), "");
        EXPECT_EQ(ExitStatus(), 0);
        return Journal().empty() ? "nothing" : Journal().back();
    }
};

}  // namespace

TEST_F(TheLogLevel, IsSetWithoutAWord)
{
    StartService();
    EXPECT_EQ(RequestFor("7"), Set("7"));
    EXPECT_EQ(RequestFor("0"), Set("0"));
    EXPECT_EQ(Journal().size(), 2u);
}

TEST_F(TheLogLevel, IsTheNumberThatItsArgumentBeginsWith)
{
    StartService();
    EXPECT_EQ(RequestFor("12x"), Set("12"));
    EXPECT_EQ(RequestFor("x"), Set("0"));
    EXPECT_EQ(RequestFor("12"), Set("12"));
    EXPECT_EQ(RequestFor("abc"), Set("0"));
    EXPECT_EQ(RequestFor("12"), Set("12"));
    EXPECT_EQ(RequestFor(""), Set("0"));
    EXPECT_EQ(RequestFor("0x10"), Set("0"));
    EXPECT_EQ(RequestFor("  9"), Set("9"));
}

TEST_F(TheLogLevel, TakesANegativeNumberAsItsUnsignedValue)
{
    StartService();
    EXPECT_EQ(RequestFor("-1"), Set("4294967295"));
    EXPECT_EQ(RequestFor("-2"), Set("4294967294"));
}

TEST_F(TheLogLevel, TakesTheLargestNumberAsTheMachinesLongHoldsIt)
{
    StartService();
    EXPECT_EQ(RequestFor("4294967295"), Set(sizeof(long) == 8 ? "4294967295" : "2147483647"));
}

TEST_F(TheLogLevel, IsSetByTheLongName)
{
    StartService();
    RunClient({"--setloglevel=5"});
    EXPECT_TEXT(ErrorText(), "");
    EXPECT_EQ(Journal(), std::vector<std::string>{Set("5")});
}

TEST_F(TheLogLevel, IsShownAndAskedFor)
{
    StartService();
    RequestFor("7");
    StartClient({"-l"});
    ExpectConsole("Log level of SubtitleMgr is 7\n" + question);
    Type("9\n");
    EXPECT_TEXT(ConsoleText(), "Log level of SubtitleMgr is 7\n" + question);
    EXPECT_TEXT(ErrorText(), "");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Journal(),
              (std::vector<std::string>{Set("7"), R"({"request":"GetLogLevel"})", Set("9")}));
}

TEST_F(TheLogLevel, StaysWhenTheAnswerIsNoNumber)
{
    StartService();
    RequestFor("7");
    for (const char* answer : {"x", "7x", "-1", "4294967296"}) {
        StartClient({"--loglevel", "-p"});
        Type(std::string(answer) + "\n");
        EXPECT_TEXT(ConsoleText(), "Log level of SubtitleMgr is 7\n" + question);
        EXPECT_NE(ErrorText().find(answer), std::string::npos) << ErrorText();
        EXPECT_EQ(ExitStatus(), 0);
    }
    EXPECT_EQ(Journal().back(), R"({"request":"GetLogLevel"})");
}

TEST_F(TheLogLevel, StaysAtTheEndOfTheInput)
{
    StartService();
    RequestFor("7");
    RunClient({"-l"});
    EXPECT_TEXT(ConsoleText(), "Log level of SubtitleMgr is 7\n" + question);
    EXPECT_NE(ErrorText(), "");
    EXPECT_EQ(Journal().back(), R"({"request":"GetLogLevel"})");
}

TEST_F(TheLogLevel, IsThatOfThePlainNameBehindAnyPrefix)
{
    StartService();
    SimulatedService other(Directory().Path());
    other.Name("node1/SubtitleMgr").Journal().Start();
    RunClient({"-e", "node1", "-s", "5"});
    EXPECT_EQ(Journal(), std::vector<std::string>{Set("5")});
    StartClient({"-e", "node1", "-l", "-p"});
    Type("6\n");
    EXPECT_TEXT(ConsoleText(),
                "Log level of SubtitleMgr is 5\n" + question + "Let's Ping\nSuccessful Ping\n");
    EXPECT_EQ(Journal().back(), Set("6"));
    EXPECT_EQ(other.JournalLines(), std::vector<std::string>{R"({"request":"Ping"})"});
}

TEST_F(TheLogLevel, TellsWhyItCannotBeSetAndNothingActsAfterwards)
{
    RunClient({"-s", "7", "-p"});
    EXPECT_TEXT(ConsoleText(), "");
    EXPECT_TEXT(ErrorText(),
                "Error setting the log level of SubtitleMgr: no such service is running\n");
    EXPECT_EQ(ExitStatus(), 0);
    RunClient({"-l", "-p"});
    EXPECT_TEXT(ConsoleText(), "");
    EXPECT_TEXT(ErrorText(),
                "Error getting the log level of SubtitleMgr: no such service is running\n");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(TheLogLevel, GivesAMuteServiceUpAfterItsTime)
{
    Service().Fault("mute");
    StartService();
    RunClient({"-s", "7"});
    EXPECT_TEXT(ErrorText(),
                "Error setting the log level of SubtitleMgr: the service did not answer\n");
}
