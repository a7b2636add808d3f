// The console never looks at the state of its input: what that means at its end and after an
// answer that is no number. Each of these sessions prints for ever and is ended by its limit.

#include "tests/support/ConsoleSession.h"

#include <csignal>

namespace {

using Lines = std::vector<std::string>;

class TheConsolesInput : public ConsoleSession {
protected:
    static constexpr std::size_t enough = 64 * 1024;

    /// Types \p keys and what ends the input, and checks that the text begins with \p beginning and
    /// then repeats \p repeated without end.
    void ExpectEndless(const std::string& keys, const std::string& beginning,
                       const std::string& repeated)
    {
        ChildProcess::Options settings = ClientSettings();
        settings.outputLimit = enough;
        ChildProcess client({ClientProgram(), "-i"}, settings);
        client.Write(keys);
        client.CloseInput();
        EXPECT_EQ(client.WaitForExit(), -SIGKILL) << "it ended by itself";
        std::string expected = beginning;
        while (expected.size() < enough) {
            expected += repeated;
        }
        EXPECT_TEXT(client.Output(), expected.substr(0, enough));
        EXPECT_TEXT(client.Errors(), "");
    }

    static std::string Invert(const std::string& region)
    {
        return R"({"request":"InvertRegionData","regionId":)" + region + "}";
    }
};

}  // namespace

TEST_F(TheConsolesInput, LeavesTheMenuForEverWhenItEndsBeforeAnyKey)
{
    ExpectEndless("", "", UnsubscribedMenu());
    ExpectEndless("\n \n", "", UnsubscribedMenu());
}

TEST_F(TheConsolesInput, RepeatsTheLastCommandForEverWhenItEnds)
{
    ExpectEndless("9\ns\n", UnsubscribedMenu(), UnsubscribedMenu() + EmptyRegionReport());
    ExpectEndless("s\n9\n", UnsubscribedMenu() + EmptyRegionReport(), UnsubscribedMenu());
}

TEST_F(TheConsolesInput, RepeatsACommandThatAsksForEverWhenItEnds)
{
    KeepJournal();
    Service().Quiet();
    StartService();
    ExpectEndless("6\n3\n", "", UnsubscribedMenu() + "Enter region ID: ");
    Service().Stop();
    const Lines journal = Journal();
    ASSERT_GE(journal.size(), 3u);
    EXPECT_EQ(journal[0], Invert("3"));
    EXPECT_EQ(journal[1], Invert("0"));
    EXPECT_EQ(journal[2], Invert("0"));
}

TEST_F(TheConsolesInput, StaysPoisonedByAnAnswerThatIsNoNumber)
{
    KeepJournal();
    Service().Quiet();
    StartService();
    // The x would leave the console, were it ever read.
    ExpectEndless("6\nabc\nx\nx\nx\n", "", UnsubscribedMenu() + "Enter region ID: ");
    Service().Stop();
    for (const std::string& line : Journal()) {
        ASSERT_EQ(line, Invert("0"));
    }
    EXPECT_GE(Journal().size(), 3u);
}

TEST_F(TheConsolesInput, StaysPoisonedByANumberThatIsTooLarge)
{
    KeepJournal();
    Service().Quiet();
    StartService();
    ExpectEndless("6\n4294967296\nx\n", "", UnsubscribedMenu() + "Enter region ID: ");
    Service().Stop();
    const Lines journal = Journal();
    ASSERT_GE(journal.size(), 3u);
    EXPECT_EQ(journal[0], Invert("4294967295"));
    EXPECT_EQ(journal[1], Invert("0"));
    EXPECT_EQ(journal[2], Invert("0"));
}
