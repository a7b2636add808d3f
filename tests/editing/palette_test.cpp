// Key 5: a region's palette from a file, as it is or converted from RGB.

#include "tests/editing/EditingSession.h"
#include "tests/editing/expected_bytes.h"
#include "tests/support/RawPeer.h"

#include <filesystem>

namespace {

const std::string prompts = "Enter region ID:   Enter filename:    RGB palette (t/f): ";
const std::string convertedAll = "Converting palette of size 1024...Done\n";
const std::string convertedNone = "Converting palette of size 0...Done\n";
const std::string asksForTransparency = "\nTransparent pixel? (t/f): ";
const std::string asksForValue = "Transparent pixel value:   ";
const std::string outOfRange = "\nERROR: pixel value out of range\n\n";
const std::string asksForSettings = "Background code:   Region Fill (t/f): ";

/// A table of \p size bytes in which every byte of an entry differs from its neighbours.
std::string RgbTable(std::size_t size = 1024)
{
    std::string table;
    for (unsigned i = 0; i < size; ++i) {
        table += Bytes({(i * 37 + i / 4 * 11) % 256});
    }
    return table;
}

class APalette : public EditingSession {
protected:
    void SetUp() override
    {
        EditingSession::SetUp();
        StartService();
    }

    /// The keys up to the question whether the table is an RGB table.
    static std::string Load(const std::string& region, const std::string& path)
    {
        return "5\n" + region + "\n" + path + "\n";
    }

    static bool Exists(const std::string& path)
    {
        return std::filesystem::exists(std::filesystem::symlink_status(path));
    }
};

}  // namespace

TEST_F(APalette, OfRgbIsConvertedSavedAndSent)
{
    const std::string path = File("pal.bin", RgbTable());
    EXPECT_TEXT(TextAfter("5\n2\n" + path + "\nt\nf\nx\n"),
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
                "Enter region ID:   Enter filename:    RGB palette (t/f): "
                "Converting palette of size 1024...Done\n"
                "\n"
                "Transparent pixel? (t/f): \n"
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
    const std::string table = ConvertedPalette(RgbTable());
    EXPECT_EQ(Journal(), Lines{PaletteLine(2, table, 1, false)});
    EXPECT_EQ(LogTexts(), (Lines{Opened(path), OutputOpened(path + ".out")}));
    EXPECT_TEXT(ReadWholeFile(path + ".out"), table);
    EXPECT_TEXT(ReadWholeFile(path), RgbTable());
}

TEST_F(APalette, NotOfRgbIsSentAsItIsWithTheSettingsTyped)
{
    const std::string path = File("pal.bin", RgbTable());
    EXPECT_TEXT(TextAfter("5\n2\n" + path + "\nf\n31\nt\nx\n"),
                UnsubscribedMenu() +
                    "Enter region ID:   Enter filename:    RGB palette (t/f): "
                    "Background code:   Region Fill (t/f): " +
                    UnsubscribedMenu());
    EXPECT_EQ(Journal(), Lines{PaletteLine(2, RgbTable(), 31, true)});
    EXPECT_EQ(LogTexts(), Lines{Opened(path)});
    EXPECT_FALSE(Exists(path + ".out"));
}

TEST_F(APalette, HasItsColoursConverted)
{
    // Blue, green, red, kept byte; worked out by hand from the weights. Red: 8432 * 255 / 32768 is
    // 65.6, -4818 * 255 / 32768 is -37.5 and 14345 * 255 / 32768 is 111.6.
    const std::string white = Bytes({255, 255, 255, 9}) + Bytes({0, 0, 0, 255}) +
                              Bytes({0, 0, 255, 0}) + Bytes({0, 255, 0, 1}) +
                              Bytes({255, 0, 0, 128}) + Bytes({1, 2, 3, 4});
    const std::string expected = Bytes({234, 128, 128, 9}) + Bytes({16, 128, 128, 255}) +
                                 Bytes({81, 91, 239, 0}) + Bytes({143, 54, 35, 1}) +
                                 Bytes({40, 239, 111, 128}) + Bytes({17, 128, 128, 4});
    const std::string rest(1024 - white.size(), '\0');
    std::string blackRest;
    while (blackRest.size() < rest.size()) {
        blackRest += Bytes({16, 128, 128, 0});
    }
    const std::string path = File("pal.bin", white + rest);
    TextAfter(Load("2", path) + "t\nf\nx\n");
    EXPECT_TEXT(ReadWholeFile(path + ".out"), expected + blackRest);
    EXPECT_EQ(Journal(), Lines{PaletteLine(2, expected + blackRest, 1, false)});
}

TEST_F(APalette, HasTheFirstByteOfItsTransparentEntryCleared)
{
    for (const unsigned value : {0u, 1u, 100u, 255u}) {
        const std::string path = File("pal" + std::to_string(value), RgbTable());
        ExpectBetweenMenus(Load("2", path) + "t\nt\n" + std::to_string(value) + "\nx\n",
                           prompts + convertedAll + asksForTransparency + asksForValue);
        std::string table = ConvertedPalette(RgbTable());
        table[value * 4] = '\0';
        EXPECT_TEXT(ReadWholeFile(path + ".out"), table);
        EXPECT_EQ(Journal().back(), PaletteLine(2, table, 1, false));
    }
    EXPECT_EQ(Journal().size(), 4u);
}

TEST_F(APalette, HasNoEntryMarkedForATransparentValueOutOfRangeAndIsSavedAndSentAllTheSame)
{
    const std::string table = ConvertedPalette(RgbTable());
    for (const char* value : {"256", "257", "1024", "4294967295", "-1"}) {
        const std::string path = File(std::string("pal") + value, RgbTable());
        ExpectBetweenMenus(
            Load("2", path) + "t\nt\n" + value + "\nx\n",
            prompts + convertedAll + asksForTransparency + asksForValue + outOfRange);
        EXPECT_TEXT(ReadWholeFile(path + ".out"), table);
        EXPECT_EQ(Journal().back(), PaletteLine(2, table, 1, false));
    }
    EXPECT_EQ(Journal().size(), 5u);
}

TEST_F(APalette, GoesToTheLowEightBitsOfTheRegion)
{
    const std::string path = File("pal.bin", RgbTable());
    TextAfter(Load("258", path) + "f\n1\nf\n" + Load("-1", path) + "t\nf\nx\n");
    EXPECT_EQ(Journal(), (Lines{PaletteLine(2, RgbTable(), 1, false),
                                PaletteLine(255, ConvertedPalette(RgbTable()), 1, false)}));
}

TEST_F(APalette, HasTheLowEightBitsOfTheBackgroundCode)
{
    const std::string path = File("pal.bin", RgbTable());
    TextAfter(Load("2", path) + "f\n287\nf\n" + Load("2", path) + "f\n4294967295\nyes\nx\n");
    EXPECT_EQ(Journal(), (Lines{PaletteLine(2, RgbTable(), 31, false),
                                PaletteLine(2, RgbTable(), 255, true)}));
}

TEST_F(APalette, TakesEveryAnswerButTheWordsForYesAsNo)
{
    const std::string path = File("pal.bin", RgbTable());
    TextAfter(Load("2", path) + "TRUE\nNo\n" + Load("3", path) + "rgb\n7\nmaybe\nx\n");
    EXPECT_EQ(Journal(), (Lines{PaletteLine(2, ConvertedPalette(RgbTable()), 1, false),
                                PaletteLine(3, RgbTable(), 7, false)}));
}

TEST_F(APalette, IsTheFirst1024BytesOfALongerFile)
{
    const std::string path = File("pal.bin", RgbTable(1025));
    TextAfter(Load("2", path) + "f\n1\nf\n" + Load("2", path) + "t\nf\nx\n");
    EXPECT_EQ(Journal(), (Lines{PaletteLine(2, RgbTable(), 1, false),
                                PaletteLine(2, ConvertedPalette(RgbTable()), 1, false)}));
    EXPECT_TEXT(ReadWholeFile(path + ".out"), ConvertedPalette(RgbTable()));
}

TEST_F(APalette, IsEmptyForAFileThatIsTooShort)
{
    for (const unsigned size : {0u, 1u, 1023u}) {
        const std::string path = File("pal" + std::to_string(size), RgbTable(size));
        const std::size_t logged = LogTexts().size();
        ExpectBetweenMenus(Load("2", path) + "f\n9\nt\nx\n", prompts + asksForSettings);
        EXPECT_EQ(Journal().back(), PaletteLine(2, "", 9, true));
        const Lines log = LogTexts();
        EXPECT_EQ(Lines(log.begin() + static_cast<std::ptrdiff_t>(logged), log.end()),
                  (Lines{Opened(path), ShortRead(size, 1024)}));
    }
}

TEST_F(APalette, IsEmptyForAMissingFile)
{
    const std::string path = Files() / "none";
    ExpectBetweenMenus(Load("2", path) + "f\n9\nt\nx\n", prompts + asksForSettings);
    EXPECT_EQ(Journal(), Lines{PaletteLine(2, "", 9, true)});
    EXPECT_EQ(LogTexts(), Lines{NotOpened(path)});
}

TEST_F(APalette, ThatCouldNotBeReadIsConvertedAndSentEmptyAndSavedNowhere)
{
    for (const unsigned size : {0u, 1u, 1020u, 1023u}) {
        for (const char* transparency : {"f\n", "t\n0\n", "t\n255\n", "t\n256\n"}) {
            SCOPED_TRACE(std::to_string(size) + " bytes, transparent: " + transparency);
            const std::string path = File("short", RgbTable(size));
            const std::size_t logged = LogTexts().size();
            std::string text = prompts + convertedNone + asksForTransparency;
            text += *transparency == 't' ? asksForValue : "";
            text += std::string(transparency) == "t\n256\n" ? outOfRange : "";
            ExpectBetweenMenus(Load("2", path) + "t\n" + transparency + "x\n", text);
            EXPECT_EQ(Journal().back(), PaletteLine(2, "", 1, false));
            const Lines log = LogTexts();
            EXPECT_EQ(Lines(log.begin() + static_cast<std::ptrdiff_t>(logged), log.end()),
                      (Lines{Opened(path), ShortRead(size, 1024), ShortWrite(0)}));
            EXPECT_FALSE(Exists(path + ".out"));
        }
    }
    EXPECT_EQ(Journal().size(), 16u);
}

TEST_F(APalette, OfAMissingFileIsConvertedAndSentEmptyAndSavedNowhere)
{
    const std::string path = Files() / "none";
    ExpectBetweenMenus(Load("2", path) + "t\nt\n7\nx\n",
                       prompts + convertedNone + asksForTransparency + asksForValue);
    EXPECT_EQ(Journal(), Lines{PaletteLine(2, "", 1, false)});
    EXPECT_EQ(LogTexts(), (Lines{NotOpened(path), ShortWrite(0)}));
    EXPECT_FALSE(Exists(path + ".out"));
}

TEST_F(APalette, ThatCouldNotBeReadLeavesAnEarlierOutputFileAlone)
{
    const std::string path = File("pal.bin", RgbTable());
    TextAfter(Load("2", path) + "t\nf\nx\n");
    const std::string earlier = ReadWholeFile(path + ".out");
    ASSERT_EQ(earlier.size(), 1024u);
    File("pal.bin", RgbTable(1000));
    TextAfter(Load("2", path) + "t\nt\n3\nx\n");
    EXPECT_TEXT(ReadWholeFile(path + ".out"), earlier);
}

TEST_F(APalette, ReplacesALongerOutputFile)
{
    const std::string path = File("pal.bin", RgbTable());
    File("pal.bin.out", std::string(5000, 'z'));
    TextAfter(Load("2", path) + "t\nf\nx\n");
    EXPECT_TEXT(ReadWholeFile(path + ".out"), ConvertedPalette(RgbTable()));
}

TEST_F(APalette, OfASavedTableIsConvertedOnceMore)
{
    const std::string path = File("pal.bin", RgbTable());
    TextAfter(Load("2", path) + "t\nf\n" + Load("3", path + ".out") + "t\nf\nx\n");
    const std::string once = ConvertedPalette(RgbTable());
    const std::string twice = ConvertedPalette(once);
    EXPECT_TEXT(ReadWholeFile(path + ".out.out"), twice);
    EXPECT_TEXT(ReadWholeFile(path + ".out"), once);
    EXPECT_EQ(Journal(), (Lines{PaletteLine(2, once, 1, false), PaletteLine(3, twice, 1, false)}));
}

TEST_F(APalette, DiscardsOneCharacterBehindTheTransparentValue)
{
    const std::string path = File("pal.bin", RgbTable());
    // Were s not discarded, it would show the statistics.
    ExpectBetweenMenus("5 2 " + path + " t t 3sx\n",
                       prompts + convertedAll + asksForTransparency + asksForValue);
}

TEST_F(APalette, DiscardsOneCharacterBehindAValueOutOfRange)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectBetweenMenus("5 2 " + path + " t t 300sx\n",
                       prompts + convertedAll + asksForTransparency + asksForValue + outOfRange);
}

TEST_F(APalette, DiscardsNoMoreThanOneCharacterBehindAWord)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectBetweenMenus("5 2 " + path + " t f s\n5 2 " + path + " f 1 f s\nx\n",
                       prompts + convertedAll + asksForTransparency + UnsubscribedMenu() +
                           EmptyRegionReport() + UnsubscribedMenu() + prompts + asksForSettings +
                           UnsubscribedMenu() + EmptyRegionReport());
}

TEST_F(APalette, TakesLinesThatEndInCarriageReturns)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectBetweenMenus("5\r\n2\r\n" + path + "\r\nt\r\nt\r\n3\r\nx\r\n",
                       prompts + convertedAll + asksForTransparency + asksForValue);
    EXPECT_TRUE(Exists(path + ".out"));
}

TEST_F(APalette, IsEmptyForEverWhenTheInputEndsBehindIt)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectEndless(Load("2", path) + "t\nf\n",
                  UnsubscribedMenu() + prompts + convertedAll + asksForTransparency,
                  UnsubscribedMenu() + prompts + asksForSettings);
    ExpectEndlessLines(Journal(), {PaletteLine(2, ConvertedPalette(RgbTable()), 1, false)},
                       PaletteLine(0, "", 0, false));
    ExpectEndlessLines(LogTexts(), {Opened(path), OutputOpened(path + ".out")}, NotOpened(""));
}

TEST_F(APalette, IsNotTransparentWhenTheInputEndsAtThatQuestion)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectEndless(Load("2", path) + "t\n",
                  UnsubscribedMenu() + prompts + convertedAll + asksForTransparency,
                  UnsubscribedMenu() + prompts + asksForSettings);
    EXPECT_TEXT(ReadWholeFile(path + ".out"), ConvertedPalette(RgbTable()));
}

TEST_F(APalette, HasEntryZeroMarkedForATransparentValueThatIsNoNumber)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectEndless(Load("2", path) + "t\nt\nnone\nx\n",
                  UnsubscribedMenu() + prompts + convertedAll + asksForTransparency + asksForValue,
                  UnsubscribedMenu() + prompts + asksForSettings);
    std::string table = ConvertedPalette(RgbTable());
    table[0] = '\0';
    EXPECT_TEXT(ReadWholeFile(path + ".out"), table);
    ExpectEndlessLines(Journal(), {PaletteLine(2, table, 1, false)}, PaletteLine(0, "", 0, false));
}

TEST_F(APalette, HasEntryZeroMarkedWhenTheInputEndsAtTheTransparentValue)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectEndless(Load("2", path) + "t\nt\n",
                  UnsubscribedMenu() + prompts + convertedAll + asksForTransparency + asksForValue,
                  UnsubscribedMenu() + prompts + asksForSettings);
    std::string table = ConvertedPalette(RgbTable());
    table[0] = '\0';
    EXPECT_TEXT(ReadWholeFile(path + ".out"), table);
}

TEST_F(APalette, IsOutOfRangeForATransparentValueThatIsTooLarge)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectEndless(Load("2", path) + "t\nt\n99999999999\nx\n",
                  UnsubscribedMenu() + prompts + convertedAll + asksForTransparency + asksForValue +
                      outOfRange,
                  UnsubscribedMenu() + prompts + asksForSettings);
}

TEST_F(APalette, HasBackgroundZeroForACodeThatIsNoNumber)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectEndless(Load("2", path) + "f\nx1f\nt\nx\n", "",
                  UnsubscribedMenu() + prompts + asksForSettings);
    ExpectEndlessLines(Journal(), {PaletteLine(2, RgbTable(), 0, false)},
                       PaletteLine(0, "", 0, false));
    ExpectEndlessLines(LogTexts(), {Opened(path)}, NotOpened(""));
}

TEST_F(APalette, IsReadFromNowhereAfterARegionThatIsNoNumber)
{
    ExpectEndless("5\ntwo\n", "", UnsubscribedMenu() + prompts + asksForSettings);
    ExpectEndlessLines(Journal(), {}, PaletteLine(0, "", 0, false));
    ExpectEndlessLines(LogTexts(), {}, NotOpened(""));
}

TEST_F(APalette, LooksTheSameWithoutAService)
{
    Service().Stop();
    const std::string path = File("pal.bin", RgbTable());
    ExpectBetweenMenus(Load("2", path) + "t\nf\nx\n", prompts + convertedAll + asksForTransparency);
    EXPECT_TEXT(ReadWholeFile(path + ".out"), ConvertedPalette(RgbTable()));
}

TEST_F(APalette, OfRgbIsReplacedItselfWhenItsNameEndsAtANulByte)
{
    const std::string path = File("pal.bin", RgbTable());
    ExpectBetweenMenus(Load("2", path + Bytes({0})) + "t\nf\nx\n",
                       prompts + convertedAll + asksForTransparency);
    EXPECT_TEXT(ReadWholeFile(path), ConvertedPalette(RgbTable()));
    EXPECT_FALSE(Exists(path + ".out"));
    EXPECT_EQ(LogTexts(), (Lines{Opened(path + "\\x00"), OutputOpened(path + "\\x00.out")}));
}

TEST_F(APalette, ComesBackToASubscribedConsole)
{
    // The first byte shown is the Y of black, the last is the kept byte of the last entry.
    const std::string path = File("pal.bin", std::string(1023, '\0') + Bytes({0xAB}));
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    Type(Load("2", path) + "t\nf\n");
    // The menu may come between the pieces of the notification.
    ExpectConsole("*** PalettData:  ");
    ExpectConsole(",...,0x");
    ExpectConsole("NoFill, ");
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_EQ(Journal().back(),
              PaletteLine(2, ConvertedPalette(std::string(1023, '\0') + Bytes({0xAB})), 1, false));
}
