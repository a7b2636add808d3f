// Key 4: a region shown or hidden.

#include "tests/editing/EditingSession.h"
#include "tests/support/RawPeer.h"

namespace {

const std::string prompts = "Enter region ID: Enter region visibility (t/f): ";

class RegionVisibility : public EditingSession {
protected:
    void SetUp() override
    {
        EditingSession::SetUp();
        StartService();
    }
};

}  // namespace

TEST_F(RegionVisibility, IsAskedForInTwoPromptsAndSentWithoutAWord)
{
    EXPECT_TEXT(TextAfter("4\n5\nt\nx\n"),
                "\n"
                "Choose an option:\n"
                "1) Subscribe for subtitles                 (currently unsubscribed)\n"
                "2) Unsubscribe for subtitles\n"
                "3) Modify Region Data\n"
                "4) Modify Region Visibility\n"
                "5) Modify Palette Data\n"
                "6) Invert Region Data\n"
                "7) Run dynamic test\n"
                "8) Send sensor changes\n"
                "r) Refresh all subtitles\n"
                "s) View statistics\n"
                "x) Exit\n"
                "\n"
                "Enter region ID: Enter region visibility (t/f): \n"
                "Choose an option:\n"
                "1) Subscribe for subtitles                 (currently unsubscribed)\n"
                "2) Unsubscribe for subtitles\n"
                "3) Modify Region Data\n"
                "4) Modify Region Visibility\n"
                "5) Modify Palette Data\n"
                "6) Invert Region Data\n"
                "7) Run dynamic test\n"
                "8) Send sensor changes\n"
                "r) Refresh all subtitles\n"
                "s) View statistics\n"
                "x) Exit\n"
                "\n");
    EXPECT_EQ(Journal(), Lines{VisibilityLine(5, true)});
    EXPECT_EQ(LogText(), "");
}

TEST_F(RegionVisibility, IsOnForTheWordsThatMeanYesAndOffForAllOthers)
{
    const Lines yes{"t", "T", "true", "TRUE", "tRuE", "y", "Y", "yes", "Yes", "on", "ON", "1"};
    const Lines no{"f", "F",  "false", "n",     "no",  "off", "0",
                   "2", "11", "tr",    "truee", "oui", "yes!"};
    std::string keys;
    Lines expected;
    for (const auto& [words, on] : {std::pair(yes, true), std::pair(no, false)}) {
        for (const std::string& word : words) {
            keys += "4\n2\n" + word + "\n";
            expected.push_back(VisibilityLine(2, on));
        }
    }
    TextAfter(keys + "x\n");
    EXPECT_EQ(Journal(), expected);
}

TEST_F(RegionVisibility, GoesToTheLowEightBitsOfTheNumber)
{
    TextAfter("4\n261\nt\n4\n256\nt\n4\n4294967295\nf\n4\n-1\nt\nx\n");
    EXPECT_EQ(Journal(), (Lines{VisibilityLine(5, true), VisibilityLine(0, true),
                                VisibilityLine(255, false), VisibilityLine(255, true)}));
}

TEST_F(RegionVisibility, DiscardsNoMoreThanOneCharacterBehindTheAnswer)
{
    // An answer ends at white space alone, which no later read would see; the s must stay.
    ExpectBetweenMenus("4 5 t s\nx\n", prompts + UnsubscribedMenu() + EmptyRegionReport());
    EXPECT_EQ(Journal(), Lines{VisibilityLine(5, true)});
}

TEST_F(RegionVisibility, TakesALongWordAsOneAnswer)
{
    ExpectBetweenMenus("4 5 tsx\nx\n", prompts);
    EXPECT_EQ(Journal(), Lines{VisibilityLine(5, false)});
}

TEST_F(RegionVisibility, TakesLinesThatEndInCarriageReturns)
{
    ExpectBetweenMenus("4\r\n5\r\nt\r\nx\r\n", prompts);
    EXPECT_EQ(Journal(), Lines{VisibilityLine(5, true)});
}

TEST_F(RegionVisibility, TakesAnAnswerOfAnyBytesForNo)
{
    TextAfter("4\n5\n\xff\x1b" + Bytes({0}) + "t\n4\n5\nt" + Bytes({0}) + "\nx\n");
    EXPECT_EQ(Journal(), (Lines{VisibilityLine(5, false), VisibilityLine(5, false)}));
}

TEST_F(RegionVisibility, TakesTheRestOfANumberAsItsAnswer)
{
    ExpectBetweenMenus("4\n5true\nx\n", prompts);
    EXPECT_EQ(Journal(), Lines{VisibilityLine(5, true)});
}

TEST_F(RegionVisibility, IsOffForEverWhenTheInputEndsBehindIt)
{
    ExpectEndless("4\n5\nt\n", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {VisibilityLine(5, true)}, VisibilityLine(0, false));
}

TEST_F(RegionVisibility, IsTrueWithoutALineEndBehindTheAnswer)
{
    ExpectEndless("4\n5\nt", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {VisibilityLine(5, true)}, VisibilityLine(0, false));
}

TEST_F(RegionVisibility, IsOffForEverAfterARegionThatIsNoNumber)
{
    ExpectEndless("4\nfive\nt\nx\n", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {}, VisibilityLine(0, false));
}

TEST_F(RegionVisibility, LooksTheSameWithoutAService)
{
    Service().Stop();
    ExpectBetweenMenus("4\n5\nt\nx\n", prompts);
}

TEST_F(RegionVisibility, ComesBackToASubscribedConsole)
{
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    Type("4\n3\nf\n");
    // The menu may come between the pieces of the notification.
    ExpectConsole("*** RegionVisi:  ");
    ExpectConsole("NOT visible");
    Type("4\n3\nt\n");
    ExpectConsole("*** RegionVisi:  ");
    ExpectConsole("visible");
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
    const Lines journal = Journal();
    ASSERT_EQ(journal.size(), 8u);
    EXPECT_EQ(journal[6], VisibilityLine(3, false));
    EXPECT_EQ(journal[7], VisibilityLine(3, true));
}
