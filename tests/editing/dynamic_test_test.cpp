// Key 7: the dynamic test, a console of its own that sends a test pattern after every key.

#include "tests/editing/EditingSession.h"
#include "tests/editing/expected_bytes.h"

namespace {

const std::string prompt = "Enter region ID: ";
const std::string firstPattern = "Generating test pattern: 4 rows by 8 columns,  32 colors\n"
                                 "\n"
                                 "  0  80  160  240  320  400  480  560"
                                 "  7680  7760  7840  7920  8000  8080  8160  8240"
                                 "  15360  15440  15520  15600  15680  15760  15840  15920"
                                 "  23040  23120  23200  23280  23360  23440  23520  23600\n"
                                 "\n";

/// 32 segments of 80 by 12 in 4 rows, each 8 more than the one before.
std::string FirstBytes(unsigned start = 0, unsigned increment = 8)
{
    return PaintPattern("", start, increment, 80, 12).bytes;
}

class TheDynamicTest : public EditingSession {
protected:
    void SetUp() override
    {
        EditingSession::SetUp();
        StartService();
    }

    /// Runs the test for \p region with \p keys, which must leave it; \p text is what stands
    /// between the first menu and the main menu that follows.
    void ExpectTest(const std::string& region, const std::string& keys, const std::string& text)
    {
        ExpectBetweenMenus("7\n" + region + "\n" + keys + "x\n",
                           prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12) + text);
    }

    /// The same for region 3, and the first pattern is followed by \p bytes.
    void ExpectSent(const std::string& keys, const Lines& bytes)
    {
        TextAfter("7\n3\n" + keys + "x\nx\n");
        Lines expected{RegionDataLine(3, FirstBytes())};
        for (const std::string& sent : bytes) {
            expected.push_back(RegionDataLine(3, sent));
        }
        EXPECT_EQ(Journal(), expected);
    }
};

}  // namespace

TEST_F(TheDynamicTest, SendsOnePatternBeforeItsMenuAndOneAfterEachKey)
{
    EXPECT_TEXT(TextAfter("7\n3\ns\nx\nx\n"),
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
                "Enter region ID: Generating test pattern: 4 rows by 8 columns,  32 colors\n"
                "\n"
                "  0  80  160  240  320  400  480  560"
                "  7680  7760  7840  7920  8000  8080  8160  8240"
                "  15360  15440  15520  15600  15680  15760  15840  15920"
                "  23040  23120  23200  23280  23360  23440  23520  23600\n"
                "\n"
                "\n"
                "Choose an option:\n"
                "1) Set pixel start value (currently 0)\n"
                "2) Set pixel incr value  (currently 8)\n"
                "3) Set segment width     (currently 80)\n"
                "4) Set segment height    (currently 12)\n"
                "5) Add/remove shapes     (currently off)\n"
                "s) step up initial color value\n"
                "x) Exit\n"
                "\n"
                "Generating test pattern: 4 rows by 8 columns,  32 colors\n"
                "\n"
                "  0  80  160  240  320  400  480  560"
                "  7680  7760  7840  7920  8000  8080  8160  8240"
                "  15360  15440  15520  15600  15680  15760  15840  15920"
                "  23040  23120  23200  23280  23360  23440  23520  23600\n"
                "\n"
                "\n"
                "Choose an option:\n"
                "1) Set pixel start value (currently 1)\n"
                "2) Set pixel incr value  (currently 8)\n"
                "3) Set segment width     (currently 80)\n"
                "4) Set segment height    (currently 12)\n"
                "5) Add/remove shapes     (currently off)\n"
                "s) step up initial color value\n"
                "x) Exit\n"
                "\n"
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
                "\n");
    EXPECT_EQ(Journal(),
              (Lines{RegionDataLine(3, FirstBytes()), RegionDataLine(3, FirstBytes(1))}));
    EXPECT_EQ(LogText(), "");
}

TEST_F(TheDynamicTest, SendsThirtyTwoColoursFirst)
{
    std::string bytes;
    for (unsigned row = 0; row < 4; ++row) {
        std::string line;
        for (unsigned column = 0; column < 8; ++column) {
            line += std::string(80, static_cast<char>(64 * row + 8 * column));
        }
        for (unsigned repeat = 0; repeat < 12; ++repeat) {
            bytes += line;
        }
    }
    ExpectTest("3", "x\n", "");
    EXPECT_EQ(Journal(), Lines{RegionDataLine(3, bytes)});
}

TEST_F(TheDynamicTest, GoesToTheLowEightBitsOfTheRegion)
{
    ExpectTest("300", "q\n", "");
    ExpectTest("-1", "q\n", "");
    EXPECT_EQ(Journal(),
              (Lines{RegionDataLine(44, FirstBytes()), RegionDataLine(255, FirstBytes())}));
}

TEST_F(TheDynamicTest, IsLeftByEitherOfTwoKeysWithNothingSent)
{
    ExpectTest("3", "x\n", "");
    ExpectTest("3", "q\n", "");
    EXPECT_EQ(Journal(), Lines(2, RegionDataLine(3, FirstBytes())));
}

TEST_F(TheDynamicTest, SetsTheStartValue)
{
    ExpectTest("3", "1\n250\nx\n",
               "Enter pixel start value: " + firstPattern + DynamicTestMenu(250, 8, 80, 12));
    const Lines journal = Journal();
    ASSERT_EQ(journal.size(), 2u);
    EXPECT_EQ(journal[1], RegionDataLine(3, FirstBytes(250)));
    // Modulo 256 the second segment is 250 + 8 - 256.
    EXPECT_EQ(FirstBytes(250)[80], '\x02');
}

TEST_F(TheDynamicTest, KeepsTheLowEightBitsOfTheStartValue)
{
    ExpectTest("3", "1\n261\nx\n",
               "Enter pixel start value: " + firstPattern + DynamicTestMenu(5, 8, 80, 12));
    EXPECT_EQ(Journal().back(), RegionDataLine(3, FirstBytes(5)));
}

TEST_F(TheDynamicTest, SetsTheIncrement)
{
    ExpectTest("3", "2\n3\nx\n",
               "Enter pixel increment value: " + firstPattern + DynamicTestMenu(0, 3, 80, 12));
    EXPECT_EQ(Journal().back(), RegionDataLine(3, FirstBytes(0, 3)));
}

TEST_F(TheDynamicTest, KeepsTheLowEightBitsOfTheIncrement)
{
    ExpectTest("3", "2\n3\n2\n264\n2\n-1\nx\n",
               "Enter pixel increment value: " + firstPattern + DynamicTestMenu(0, 3, 80, 12) +
                   "Enter pixel increment value: " + firstPattern + DynamicTestMenu(0, 8, 80, 12) +
                   "Enter pixel increment value: " + firstPattern +
                   DynamicTestMenu(0, 255, 80, 12));
    EXPECT_EQ(Journal().back(), RegionDataLine(3, FirstBytes(0, 255)));
}

TEST_F(TheDynamicTest, SetsTheSizeOfTheSegments)
{
    ExpectTest("3", "3\n320\n4\n24\nx\n",
               "Enter segment width: "
               "Generating test pattern: 4 rows by 2 columns,  8 colors\n\n"
               "  0  320  7680  8000  15360  15680  23040  23360\n\n" +
                   DynamicTestMenu(0, 8, 320, 12) +
                   "Enter segment height: "
                   "Generating test pattern: 2 rows by 2 columns,  4 colors\n\n"
                   "  0  320  15360  15680\n\n" +
                   DynamicTestMenu(0, 8, 320, 24));
    std::string bytes;
    for (unsigned y = 0; y < 48; ++y) {
        bytes +=
            std::string(320, y < 24 ? '\0' : '\x10') + std::string(320, y < 24 ? '\x08' : '\x18');
    }
    EXPECT_EQ(Journal().back(), RegionDataLine(3, bytes));
}

TEST_F(TheDynamicTest, PaintsTheWholeRegionWithOneSegment)
{
    ExpectTest("3", "3 640 4 48 1 7 x ",
               "Enter segment width: "
               "Generating test pattern: 4 rows by 1 columns,  4 colors\n\n"
               "  0  7680  15360  23040\n\n" +
                   DynamicTestMenu(0, 8, 640, 12) +
                   "Enter segment height: "
                   "Generating test pattern: 1 rows by 1 columns,  1 colors\n\n"
                   "  0\n\n" +
                   DynamicTestMenu(0, 8, 640, 48) +
                   "Enter pixel start value: "
                   "Generating test pattern: 1 rows by 1 columns,  1 colors\n\n"
                   "  0\n\n" +
                   DynamicTestMenu(7, 8, 640, 48));
    EXPECT_EQ(Journal().back(), RegionDataLine(3, std::string(30720, '\x07')));
}

TEST_F(TheDynamicTest, LeavesWhatNoSegmentCoversAsItWas)
{
    // 9 columns of 70 leave the last 10 pixels of a line, 4 rows of 11 the last 4 lines.
    const std::string wide = PaintPattern(FirstBytes(), 0, 8, 70, 12).bytes;
    const std::string both = PaintPattern(wide, 0, 8, 70, 11).bytes;
    EXPECT_EQ(wide[639], '\x38');       // the first pattern's last column
    EXPECT_EQ(both[47 * 640], '\xd8');  // the first column of the second pattern's last row
    ExpectSent("3\n70\n4\n11\n", {wide, both});
}

TEST_F(TheDynamicTest, ReportsTheGridOfSegmentsThatDoNotDivideTheRegion)
{
    const PatternPass wide = PaintPattern(FirstBytes(), 0, 8, 100, 12);
    const PatternPass both = PaintPattern(wide.bytes, 0, 8, 100, 10);
    EXPECT_EQ(both.text.substr(0, 57),
              "Generating test pattern: 4 rows by 6 columns,  24 colors\n");
    ExpectTest("3", "3\n100\n4\n10\nx\n",
               "Enter segment width: " + wide.text + DynamicTestMenu(0, 8, 100, 12) +
                   "Enter segment height: " + both.text + DynamicTestMenu(0, 8, 100, 10));
    EXPECT_EQ(Journal().back(), RegionDataLine(3, both.bytes));
}

TEST_F(TheDynamicTest, PaintsASegmentForEachPixel)
{
    const PatternPass narrow = PaintPattern(FirstBytes(), 0, 8, 1, 12);
    const PatternPass both = PaintPattern(narrow.bytes, 0, 8, 1, 1);
    EXPECT_EQ(both.text.substr(0, 64),
              "Generating test pattern: 48 rows by 640 columns,  30720 colors\n\n");
    ExpectTest("3", "3\n1\n4\n1\nx\n",
               "Enter segment width: " + narrow.text + DynamicTestMenu(0, 8, 1, 12) +
                   "Enter segment height: " + both.text + DynamicTestMenu(0, 8, 1, 1));
    EXPECT_EQ(Journal().back(), RegionDataLine(3, both.bytes));
}

TEST_F(TheDynamicTest, PaintsNothingForASegmentLargerThanTheRegion)
{
    for (const char* width : {"641", "700", "4294967295"}) {
        ExpectTest("3", std::string("3\n") + width + "\nx\n",
                   "Enter segment width: "
                   "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n" +
                       DynamicTestMenu(0, 8, static_cast<unsigned>(std::stoul(width)), 12));
    }
    for (const char* height : {"49", "100", "4294967295"}) {
        ExpectTest("3", std::string("4\n") + height + "\nx\n",
                   "Enter segment height: "
                   "Generating test pattern: 0 rows by 8 columns,  0 colors\n\n\n\n" +
                       DynamicTestMenu(0, 8, 80, static_cast<unsigned>(std::stoul(height))));
    }
    EXPECT_EQ(Journal(), Lines(12, RegionDataLine(3, FirstBytes())));
}

TEST_F(TheDynamicTest, PaintsNothingForASegmentWithoutWidthOrHeight)
{
    ExpectTest("3", "3\n0\nx\n",
               "Enter segment width: "
               "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n" +
                   DynamicTestMenu(0, 8, 0, 12));
    ExpectTest("3", "4\n0\nx\n",
               "Enter segment height: "
               "Generating test pattern: 0 rows by 8 columns,  0 colors\n\n\n\n" +
                   DynamicTestMenu(0, 8, 80, 0));
    ExpectTest("3", "3\n0\n4\n0\nx\n",
               "Enter segment width: "
               "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n" +
                   DynamicTestMenu(0, 8, 0, 12) +
                   "Enter segment height: "
                   "Generating test pattern: 0 rows by 0 columns,  0 colors\n\n\n\n" +
                   DynamicTestMenu(0, 8, 0, 0));
    EXPECT_EQ(Journal(), Lines(7, RegionDataLine(3, FirstBytes())));
}

TEST_F(TheDynamicTest, PaintsNothingForSegmentsTooLargeOneWayAndEmptyTheOther)
{
    const auto nothing = [](const char* rows, const char* columns) {
        return std::string("Generating test pattern: ") + rows + " rows by " + columns +
               " columns,  0 colors\n\n\n\n";
    };
    ExpectTest("3", "3\n0\n4\n49\nx\n",
               "Enter segment width: " + nothing("4", "0") + DynamicTestMenu(0, 8, 0, 12) +
                   "Enter segment height: " + nothing("0", "0") + DynamicTestMenu(0, 8, 0, 49));
    ExpectTest("3", "3\n4294967295\n4\n4294967295\nx\n",
               "Enter segment width: " + nothing("4", "0") +
                   DynamicTestMenu(0, 8, 4294967295u, 12) + "Enter segment height: " +
                   nothing("0", "0") + DynamicTestMenu(0, 8, 4294967295u, 4294967295u));
    EXPECT_EQ(Journal(), Lines(6, RegionDataLine(3, FirstBytes())));
}

TEST_F(TheDynamicTest, PaintsWhatFitsForEveryPairOfOddSizes)
{
    std::string keys;
    std::string text;
    std::string bytes = FirstBytes();
    unsigned height = 12;
    Lines journal{RegionDataLine(3, bytes)};
    const auto expectPass = [&](unsigned width) {
        const PatternPass pass = PaintPattern(bytes, 0, 8, width, height);
        bytes = pass.bytes;
        text += pass.text + DynamicTestMenu(0, 8, width, height);
        journal.push_back(RegionDataLine(3, bytes));
    };
    for (const unsigned width : {0u, 1u, 640u, 641u, 4294967295u}) {
        keys += "3\n" + std::to_string(width) + "\n";
        text += "Enter segment width: ";
        expectPass(width);
        for (const unsigned newHeight : {0u, 1u, 48u, 49u, 4294967295u}) {
            keys += "4\n" + std::to_string(newHeight) + "\n";
            text += "Enter segment height: ";
            height = newHeight;
            expectPass(width);
        }
    }
    ExpectTest("3", keys + "x\n", text);
    EXPECT_EQ(Journal(), journal);
}

TEST_F(TheDynamicTest, SendsThePreviousPatternAgainWhenItPaintsNothing)
{
    ExpectSent("1\n5\n3\n700\ns\n", {FirstBytes(5), FirstBytes(5), FirstBytes(5)});
}

TEST_F(TheDynamicTest, TurnsShapesOnAndOffAndDrawsNone)
{
    ExpectTest("3", "5\n5\nx\n",
               firstPattern + DynamicTestMenu(0, 8, 80, 12, true) + firstPattern +
                   DynamicTestMenu(0, 8, 80, 12, false));
    EXPECT_EQ(Journal(), Lines(3, RegionDataLine(3, FirstBytes())));
}

TEST_F(TheDynamicTest, DrawsNoShapesInLaterPatternsEither)
{
    ExpectTest("3", "5\ns\nx\n",
               firstPattern + DynamicTestMenu(0, 8, 80, 12, true) + firstPattern +
                   DynamicTestMenu(1, 8, 80, 12, true));
    EXPECT_EQ(Journal(), (Lines{RegionDataLine(3, FirstBytes()), RegionDataLine(3, FirstBytes()),
                                RegionDataLine(3, FirstBytes(1))}));
}

TEST_F(TheDynamicTest, StepsTheStartValueForEachKeyOfALine)
{
    ExpectTest("3", "s s s\nx\n",
               firstPattern + DynamicTestMenu(1, 8, 80, 12) + firstPattern +
                   DynamicTestMenu(2, 8, 80, 12) + firstPattern + DynamicTestMenu(3, 8, 80, 12));
    EXPECT_EQ(Journal(),
              (Lines{RegionDataLine(3, FirstBytes()), RegionDataLine(3, FirstBytes(1)),
                     RegionDataLine(3, FirstBytes(2)), RegionDataLine(3, FirstBytes(3))}));
}

TEST_F(TheDynamicTest, StepsFrom255ToZero)
{
    ExpectTest("3", "1\n255\ns\nx\n",
               "Enter pixel start value: " + firstPattern + DynamicTestMenu(255, 8, 80, 12) +
                   firstPattern + DynamicTestMenu(0, 8, 80, 12));
    EXPECT_EQ(Journal().back(), RegionDataLine(3, FirstBytes(0)));
}

TEST_F(TheDynamicTest, ReplacesASteppedStartValueByTheOneTyped)
{
    ExpectSent("s\ns\n1\n9\n", {FirstBytes(1), FirstBytes(2), FirstBytes(9)});
}

TEST_F(TheDynamicTest, SendsTheSamePatternForAnUnknownKey)
{
    for (const char* key :
         {"z", "6", "9", "0", "S", "X", "Q", "r", "c", "k", ".", "\xff", "\x1b"}) {
        ExpectTest("3", key + std::string("\nx\n"), firstPattern + DynamicTestMenu(0, 8, 80, 12));
    }
    EXPECT_EQ(Journal(), Lines(26, RegionDataLine(3, FirstBytes())));
}

TEST_F(TheDynamicTest, DiscardsOneMoreCharacterForAnUnknownKey)
{
    // Of zsx the s is discarded, of z and a line end the line end.
    ExpectTest("3", "zsz\ns\nx\n",
               firstPattern + DynamicTestMenu(0, 8, 80, 12) + firstPattern +
                   DynamicTestMenu(0, 8, 80, 12) + firstPattern + DynamicTestMenu(1, 8, 80, 12));
}

TEST_F(TheDynamicTest, DiscardsNothingBehindANumber)
{
    EXPECT_TEXT(
        TextAfter("7 3s1 9s2 8s3 80s4 12sxx\n"),
        UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12) + firstPattern +
            DynamicTestMenu(1, 8, 80, 12) + "Enter pixel start value: " + firstPattern +
            DynamicTestMenu(9, 8, 80, 12) + firstPattern + DynamicTestMenu(10, 8, 80, 12) +
            "Enter pixel increment value: " + firstPattern + DynamicTestMenu(10, 8, 80, 12) +
            firstPattern + DynamicTestMenu(11, 8, 80, 12) + "Enter segment width: " + firstPattern +
            DynamicTestMenu(11, 8, 80, 12) + firstPattern + DynamicTestMenu(12, 8, 80, 12) +
            "Enter segment height: " + firstPattern + DynamicTestMenu(12, 8, 80, 12) +
            firstPattern + DynamicTestMenu(13, 8, 80, 12) + UnsubscribedMenu());
}

TEST_F(TheDynamicTest, StartsAfreshEachTime)
{
    const std::string first = prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12);
    ExpectBetweenMenus("7 3 3 0 5 s x 7 4 x x",
                       first + "Enter segment width: " + PaintPattern("", 0, 8, 0, 12).text +
                           DynamicTestMenu(0, 8, 0, 12) + PaintPattern("", 0, 8, 0, 12).text +
                           DynamicTestMenu(0, 8, 0, 12, true) + PaintPattern("", 1, 8, 0, 12).text +
                           DynamicTestMenu(1, 8, 0, 12, true) + UnsubscribedMenu() + first);
    EXPECT_EQ(Journal().back(), RegionDataLine(4, FirstBytes()));
}

TEST_F(TheDynamicTest, TakesLinesThatEndInCarriageReturns)
{
    ExpectTest("3\r", "1\r\n9\r\nz\r\nx\r\n",
               "Enter pixel start value: " + firstPattern + DynamicTestMenu(9, 8, 80, 12) +
                   firstPattern + DynamicTestMenu(9, 8, 80, 12));
}

TEST_F(TheDynamicTest, RepeatsItsLastKeyForEverWhenTheInputEnds)
{
    ExpectEndless(
        "7\n3\n5\nz\n",
        UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12) + firstPattern,
        DynamicTestMenu(0, 8, 80, 12, true) + firstPattern);
    ExpectEndlessLines(Journal(), {}, RegionDataLine(3, FirstBytes()));
}

TEST_F(TheDynamicTest, TurnsShapesOnAndOffForEverWhenTheInputEndsBehindThatKey)
{
    ExpectEndless("7\n3\n5\n", UnsubscribedMenu() + prompt + firstPattern,
                  DynamicTestMenu(0, 8, 80, 12) + firstPattern +
                      DynamicTestMenu(0, 8, 80, 12, true) + firstPattern);
}

TEST_F(TheDynamicTest, ShowsItsMenuForEverWhenTheInputEndsBehindTheRegion)
{
    ExpectEndless("7\n259", UnsubscribedMenu() + prompt,
                  firstPattern + DynamicTestMenu(0, 8, 80, 12));
    ExpectEndlessLines(Journal(), {}, RegionDataLine(3, FirstBytes()));
}

TEST_F(TheDynamicTest, RunsForRegionZeroForEverAfterARegionThatIsNoNumber)
{
    ExpectEndless("7\nabc\nx\nx\n", UnsubscribedMenu() + prompt,
                  firstPattern + DynamicTestMenu(0, 8, 80, 12));
    ExpectEndlessLines(Journal(), {}, RegionDataLine(0, FirstBytes()));
}

TEST_F(TheDynamicTest, KeepsTheStartValueTypedLastWhenTheInputEnds)
{
    // Two steps on, the prompt that gets no answer finds the 5 in its buffer once more.
    const std::string asks = "Enter pixel start value: " + firstPattern;
    ExpectEndless("7\n300\n1\n5\ns\ns\n1\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12) +
                      asks + DynamicTestMenu(5, 8, 80, 12) + firstPattern +
                      DynamicTestMenu(6, 8, 80, 12) + firstPattern + DynamicTestMenu(7, 8, 80, 12),
                  asks + DynamicTestMenu(5, 8, 80, 12));
    ExpectEndlessLines(Journal(),
                       {RegionDataLine(44, FirstBytes()), RegionDataLine(44, FirstBytes(5)),
                        RegionDataLine(44, FirstBytes(6)), RegionDataLine(44, FirstBytes(7))},
                       RegionDataLine(44, FirstBytes(5)));
}

TEST_F(TheDynamicTest, KeepsTheIncrementTypedLastWhenTheInputEnds)
{
    const std::string asks = "Enter pixel increment value: " + firstPattern;
    ExpectEndless("7\n300\n2\n261\n2\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12),
                  asks + DynamicTestMenu(0, 5, 80, 12));
}

TEST_F(TheDynamicTest, HasABufferOfItsOwnForEachNumber)
{
    // Neither prompt finds the region's 300 or the other's number in its buffer.
    ExpectEndless("7\n300\n1\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12),
                  "Enter pixel start value: " + firstPattern + DynamicTestMenu(0, 8, 80, 12));
    StartService();
    ExpectEndless("7\n300\n1\n9\n2\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12) +
                      "Enter pixel start value: " + firstPattern + DynamicTestMenu(9, 8, 80, 12),
                  "Enter pixel increment value: " + firstPattern + DynamicTestMenu(9, 0, 80, 12));
}

TEST_F(TheDynamicTest, SetsZeroForANumberThatIsNone)
{
    ExpectEndless("7\n3\n1\n5\n1\nabc\nx\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12) +
                      "Enter pixel start value: " + firstPattern + DynamicTestMenu(5, 8, 80, 12),
                  "Enter pixel start value: " + firstPattern + DynamicTestMenu(0, 8, 80, 12));
}

TEST_F(TheDynamicTest, SetsAWidthOfZeroForANumberThatIsNone)
{
    ExpectEndless("7\n3\n3\nwide\nx\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12),
                  "Enter segment width: "
                  "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n" +
                      DynamicTestMenu(0, 8, 0, 12));
}

TEST_F(TheDynamicTest, KeepsTheSizeOfTheSegmentsWhenTheInputEndsAtIt)
{
    ExpectEndless("7\n3\n3\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12),
                  "Enter segment width: " + firstPattern + DynamicTestMenu(0, 8, 80, 12));
    StartService();
    ExpectEndless("7\n3\n4\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12),
                  "Enter segment height: " + firstPattern + DynamicTestMenu(0, 8, 80, 12));
}

TEST_F(TheDynamicTest, SetsTheLargestSizeForANumberThatIsTooLarge)
{
    ExpectEndless("7\n3\n4\n99999999999\nx\n",
                  UnsubscribedMenu() + prompt + firstPattern + DynamicTestMenu(0, 8, 80, 12) +
                      "Enter segment height: "
                      "Generating test pattern: 0 rows by 8 columns,  0 colors\n\n\n\n",
                  DynamicTestMenu(0, 8, 80, 4294967295u) +
                      "Enter segment height: "
                      "Generating test pattern: 0 rows by 8 columns,  0 colors\n\n\n\n");
}

TEST_F(TheDynamicTest, LooksTheSameWithoutAService)
{
    Service().Stop();
    ExpectTest("3", "s\nx\n", firstPattern + DynamicTestMenu(1, 8, 80, 12));
}

TEST_F(TheDynamicTest, ComesBackToASubscribedConsole)
{
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    Type("7\n3\ns\nx\n");
    // Two of the test and the one that follows it.
    for (int menus = 0; menus < 3; ++menus) {
        ExpectConsole("x) Exit");
    }
    AwaitNotifications();
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
    // Every colour of the first pattern is a multiple of 8, of the second one more than one.
    const std::string text = ConsoleText();
    const std::size_t first =
        text.find("CLI: Process region  3 (2):  0=30720   1=    0   2=    0   3=    0\n");
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_NE(
        text.find("CLI: Process region  3 (2):  0=    0   1=30720   2=    0   3=    0\n", first),
        std::string::npos)
        << text;
}
