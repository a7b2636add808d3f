// Key 3: a region's bitmap from a file.

#include "tests/editing/EditingSession.h"
#include "tests/support/RawPeer.h"
#include "tests/support/build_kind.h"

namespace {

const std::string prompts = "Enter region ID: Enter filename:  Enter file size: ";

class RegionDataFromAFile : public EditingSession {
protected:
    void SetUp() override
    {
        EditingSession::SetUp();
        StartService();
        bitmap = File("bitmap", Bytes({0, 1, 2, 3, 0xFF}));
    }

    /// The keys that load \p size bytes of the bitmap into \p region.
    std::string Load(const std::string& region, const std::string& size) const
    {
        return "3\n" + region + "\n" + bitmap + "\n" + size + "\n";
    }

    std::string bitmap;  ///< a file of 5 bytes
};

}  // namespace

TEST_F(RegionDataFromAFile, IsAskedForInThreePromptsAndSentWithoutAWord)
{
    EXPECT_TEXT(TextAfter("3\n3\n" + bitmap + "\n5\nx\n"),
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
                "Enter region ID: Enter filename:  Enter file size: \n"
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
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, Bytes({0, 1, 2, 3, 0xFF}))});
    EXPECT_EQ(LogTexts(), Lines{Opened(bitmap)});
}

TEST_F(RegionDataFromAFile, IsTheFirstBytesOfALongerFile)
{
    ExpectBetweenMenus(Load("14", "3") + "x\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(14, Bytes({0, 1, 2}))});
    EXPECT_EQ(LogTexts(), Lines{Opened(bitmap)});
}

TEST_F(RegionDataFromAFile, IsEmptyForSizeZero)
{
    ExpectBetweenMenus(Load("3", "0") + "x\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, "")});
    EXPECT_EQ(LogTexts(), Lines{Opened(bitmap)});
}

TEST_F(RegionDataFromAFile, IsEmptyForAFileShorterThanTheSize)
{
    ExpectBetweenMenus(Load("3", "6") + "x\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, "")});
    EXPECT_EQ(LogTexts(), (Lines{Opened(bitmap), ShortRead(5, 6)}));
}

TEST_F(RegionDataFromAFile, IsEmptyForAMissingFile)
{
    ExpectBetweenMenus("3\n3\n" + Files() / "none" + "\n5\nx\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, "")});
    EXPECT_EQ(LogTexts(), Lines{NotOpened(Files() / "none")});
}

TEST_F(RegionDataFromAFile, GoesToTheLowEightBitsOfTheNumber)
{
    TextAfter(Load("259", "1") + Load("256", "1") + Load("4294967295", "1") + Load("-250", "1") +
              Load("+7", "1") + Load("007", "1") + "x\n");
    const std::string byte = Bytes({0});
    EXPECT_EQ(Journal(),
              (Lines{RegionDataLine(3, byte), RegionDataLine(0, byte), RegionDataLine(255, byte),
                     RegionDataLine(6, byte), RegionDataLine(7, byte), RegionDataLine(7, byte)}));
}

TEST_F(RegionDataFromAFile, StartsAfreshEachTime)
{
    ExpectBetweenMenus(Load("3", "5") + "3\n4\n" + Files() / "none" + "\n5\nx\n",
                       prompts + UnsubscribedMenu() + prompts);
    EXPECT_EQ(Journal(),
              (Lines{RegionDataLine(3, Bytes({0, 1, 2, 3, 0xFF})), RegionDataLine(4, "")}));
}

TEST_F(RegionDataFromAFile, DiscardsOneCharacterBehindTheSize)
{
    // Were s not discarded, it would show the statistics.
    ExpectBetweenMenus("3 3 " + bitmap + " 2sx\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, Bytes({0, 1}))});
}

TEST_F(RegionDataFromAFile, LeavesWhatFollowsTheDiscardedCharacter)
{
    ExpectBetweenMenus("3 3 " + bitmap + " 2.sx\n",
                       prompts + UnsubscribedMenu() + EmptyRegionReport());
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, Bytes({0, 1}))});
}

TEST_F(RegionDataFromAFile, TakesAnswersThatWereTypedAhead)
{
    ExpectBetweenMenus("3 3\t" + bitmap + " 2\n\n \nx", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, Bytes({0, 1}))});
}

TEST_F(RegionDataFromAFile, TakesLinesThatEndInCarriageReturns)
{
    ExpectBetweenMenus("3\r\n3\r\n" + bitmap + "\r\n2\r\nx\r\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, Bytes({0, 1}))});
    EXPECT_EQ(LogTexts(), Lines{Opened(bitmap)});
}

TEST_F(RegionDataFromAFile, CannotHaveABlankInItsName)
{
    const std::string name = File("of mine", "12345");
    // The rest of the name is no number, so nothing is ever read again.
    ExpectEndless("3\n3\n" + name + "\n5\nx\n", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {RegionDataLine(3, "")}, RegionDataLine(0, ""));
    ExpectEndlessLines(LogTexts(), {NotOpened(Files() / "of")}, NotOpened(""));
}

TEST_F(RegionDataFromAFile, IsSentToRegionZeroForEverAfterARegionThatIsNoNumber)
{
    ExpectEndless("3\nabc\n" + bitmap + "\n5\nx\n", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {}, RegionDataLine(0, ""));
    ExpectEndlessLines(LogTexts(), {}, NotOpened(""));
}

TEST_F(RegionDataFromAFile, KeepsTheLargestNumberWhenARegionIsTooLarge)
{
    ExpectEndless("3\n4294967296\n" + bitmap + "\n5\nx\n", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {RegionDataLine(255, "")}, RegionDataLine(0, ""));
    ExpectEndlessLines(LogTexts(), {}, NotOpened(""));
}

TEST_F(RegionDataFromAFile, IsEmptyWhenItsSizeIsNoNumber)
{
    ExpectEndless("3\n3\n" + bitmap + "\nfive\nx\n", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {RegionDataLine(3, "")}, RegionDataLine(0, ""));
    ExpectEndlessLines(LogTexts(), {Opened(bitmap)}, NotOpened(""));
}

TEST_F(RegionDataFromAFile, TakesTheDigitsInFrontAndLeavesTheRest)
{
    // Of 0x3 the region takes the 0, the name the rest; of 5e1 the size takes the 5, the discarded
    // character is the e, and key 1 subscribes.
    EXPECT_TEXT(TextAfter("3\n0x3\n5e1x\n"), UnsubscribedMenu() + prompts + UnsubscribedMenu() +
                                                 AcceptedSubscriptions() + SubscribedMenu());
    const Lines journal = Journal();
    ASSERT_EQ(journal.size(), 7u);
    EXPECT_EQ(journal.front(), RegionDataLine(0, ""));
    EXPECT_EQ(LogTexts(), Lines{NotOpened("x3")});
}

TEST_F(RegionDataFromAFile, IsSentWithWhatWasTypedBeforeTheInputEnded)
{
    ExpectEndless("3\n3\n" + bitmap + "\n", "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {RegionDataLine(3, "")}, RegionDataLine(0, ""));
    ExpectEndlessLines(LogTexts(), {Opened(bitmap)}, NotOpened(""));
}

TEST_F(RegionDataFromAFile, IsSentOnceMoreWhenTheInputEndsBehindIt)
{
    ExpectEndless(Load("3", "5"), "", UnsubscribedMenu() + prompts);
    ExpectEndlessLines(Journal(), {RegionDataLine(3, Bytes({0, 1, 2, 3, 0xFF}))},
                       RegionDataLine(0, ""));
}

TEST_F(RegionDataFromAFile, HasANameOfAnyBytes)
{
    const std::string name = File("\xff\xfe\x1b[31m\x80", "12345");
    ExpectBetweenMenus("3\n3\n" + name + "\n5\nx\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, "12345")});
    // The log keeps bytes that could steer a terminal out of its lines.
    EXPECT_EQ(LogTexts(), Lines{Opened(Files() / "\\xff\\xfe\\x1b[31m\\x80")});
}

TEST_F(RegionDataFromAFile, HasANameThatEndsAtANulByte)
{
    ExpectBetweenMenus("3\n3\n" + bitmap + Bytes({0}) + "more\n5\nx\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, Bytes({0, 1, 2, 3, 0xFF}))});
    EXPECT_EQ(LogTexts(), Lines{Opened(bitmap + "\\x00more")});
}

TEST_F(RegionDataFromAFile, CanHaveANameOfManyMegabytes)
{
    const std::size_t length = (isSanitized || isEmulated ? 4u : 64u) * 1024 * 1024;
    const std::string keys =
        File("keys", "3\n3\n" + std::string(length, 'a') + "\n5\n4\n4\nt\nx\n");
    ChildProcess client({"/bin/sh", "-c", R"(exec "$0" -i <"$1")", ClientProgram(), keys},
                        ClientSettings());
    EXPECT_EQ(WaitPatiently(client), 0);
    EXPECT_TEXT(client.Output(),
                UnsubscribedMenu() + prompts + UnsubscribedMenu() +
                    "Enter region ID: Enter region visibility (t/f): " + UnsubscribedMenu());
    EXPECT_TEXT(client.Errors(), "");
    EXPECT_EQ(Journal(), (Lines{RegionDataLine(3, ""), VisibilityLine(4, true)}));
    const Lines log = LogTexts();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_TEXT(log[0].substr(0, NotOpened("").size() + 8), NotOpened("aaaaaaaa"));
}

TEST_F(RegionDataFromAFile, LooksTheSameWithoutAService)
{
    Service().Stop();
    ExpectBetweenMenus(Load("3", "5") + "3\n4\n" + Files() / "none" + "\n5\nx\n",
                       prompts + UnsubscribedMenu() + prompts);
}

TEST_F(RegionDataFromAFile, LooksTheSameWhenTheServiceRefusesTheRegion)
{
    ExpectBetweenMenus(Load("15", "5") + "x\n", prompts);
    EXPECT_EQ(Journal(), Lines{RegionDataLine(15, Bytes({0, 1, 2, 3, 0xFF}))});
}

TEST_F(RegionDataFromAFile, ComesBackToASubscribedConsoleWithItsPixelsCounted)
{
    const std::string name = File("pixels", Bytes({0, 1, 2, 3, 4, 7, 0xFF}));
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    Type("3\n3\n" + name + "\n7\n");
    // Notifications may come between any two pieces of the menu, so each wait is for one piece.
    ExpectConsole("x) Exit");
    AwaitNotifications();
    // By now the console's own thread waits for a key, and nothing comes between.
    AwaitNotifications();
    ExpectConsole("visible\n\n");
    Type("s\nx\n");
    EXPECT_EQ(ExitStatus(), 0);
    const std::string text = ConsoleText();
    // The service keeps the low two bits of each pixel of 0, 1, 2, 3, 4, 7 and 255.
    const std::string shown =
        "CLI: Process region  3 (2):  0=    2   1=    1   2=    1   3=    3\n";
    EXPECT_NE(text.find(shown), std::string::npos) << text;
    // 7 pixels and 6 bytes of the record around them, once in each format.
    EXPECT_NE(text.find(RegionReport({{3, "   3   F        1 +      1 +      1 =      3         13 "
                                          "+       13 +       13 =       39    100.0 %"}},
                                     "  0.0")),
              std::string::npos)
        << text;
}
