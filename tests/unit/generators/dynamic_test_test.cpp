#include "cli/SubtitleMgrCli.h"
#include "tests/support/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// Settings as the menu shows them, and the heading of the pattern that they make.
struct Shown {
    std::string start = "0";
    std::string increment = "8";
    std::string width = "80";
    std::string height = "12";
    std::string shapes = "off";
};

std::string Menu(const Shown& shown)
{
    std::string menu = "\nChoose an option:\n";
    menu += "1) Set pixel start value (currently " + shown.start + ")\n";
    menu += "2) Set pixel incr value  (currently " + shown.increment + ")\n";
    menu += "3) Set segment width     (currently " + shown.width + ")\n";
    menu += "4) Set segment height    (currently " + shown.height + ")\n";
    menu += "5) Add/remove shapes     (currently " + shown.shapes + ")\n";
    menu += "s) step up initial color value\n";
    menu += "x) Exit\n";
    return menu + "\n";
}

const std::string offsets80 = "  0  80  160  240  320  400  480  560";
const std::string defaultPattern = "Generating test pattern: 4 rows by 8 columns,  32 colors\n\n" +
                                   offsets80 +
                                   "  7680  7760  7840  7920  8000  8080  8160  8240"
                                   "  15360  15440  15520  15600  15680  15760  15840  15920"
                                   "  23040  23120  23200  23280  23360  23440  23520  23600\n\n";
const std::string prompt = "Enter region ID: ";

/// On an endpoint that was never opened, so that every send fails; failed sends are silent.
class TheDynamicTest : public testing::Test {
protected:
    std::string Run(const std::string& typed)
    {
        TypedInput input(typed);
        std::string output;
        EXPECT_TEXT(ErrorsOf([&] { output = OutputOf([&] { result = client.DynamicTest(); }); }),
                    "");
        rest = input.Rest();
        return output;
    }

    SubtitleMgrCli client;
    std::string rest;
    unsigned result = 0;
};

TEST_F(TheDynamicTest, GeneratesThePatternOfTheDefaultsBeforeItsFirstMenu)
{
    EXPECT_TEXT(Run("1\nx\n"), prompt + defaultPattern + Menu({}));
    EXPECT_EQ(result, 3u);
}

TEST_F(TheDynamicTest, IsLeftByQAsWell)
{
    EXPECT_TEXT(Run("1q\n"), prompt + defaultPattern + Menu({}));
    EXPECT_EQ(result, 3u);
    EXPECT_EQ(rest, "\n");
}

TEST_F(TheDynamicTest, KeepsTheLowEightBitsOfTheStartValue)
{
    Shown shown;
    shown.start = "44";
    EXPECT_TEXT(Run("1\n1\n300\nx\n"), prompt + defaultPattern + Menu({}) +
                                           "Enter pixel start value: " + defaultPattern +
                                           Menu(shown));
}

TEST_F(TheDynamicTest, KeepsTheLowEightBitsOfTheIncrement)
{
    Shown shown;
    shown.increment = "255";
    EXPECT_TEXT(Run("1\n2\n511\n2\n264\nx\n"),
                prompt + defaultPattern + Menu({}) +
                    "Enter pixel increment value: " + defaultPattern + Menu(shown) +
                    "Enter pixel increment value: " + defaultPattern + Menu({}));
}

TEST_F(TheDynamicTest, TakesAnySegmentWidth)
{
    Shown shown;
    shown.width = "700";
    EXPECT_TEXT(Run("1\n3\n700\nx\n"),
                prompt + defaultPattern + Menu({}) + "Enter segment width: " +
                    "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n" +
                    Menu(shown));
    shown.width = "0";
    EXPECT_TEXT(Run("1\n3\n0\nx\n"),
                prompt + defaultPattern + Menu({}) + "Enter segment width: " +
                    "Generating test pattern: 4 rows by 0 columns,  0 colors\n\n\n\n" +
                    Menu(shown));
}

TEST_F(TheDynamicTest, TakesAnySegmentHeight)
{
    Shown shown;
    shown.height = "48";
    EXPECT_TEXT(Run("1\n4\n48\nx\n"),
                prompt + defaultPattern + Menu({}) + "Enter segment height: " +
                    "Generating test pattern: 1 rows by 8 columns,  8 colors\n\n" + offsets80 +
                    "\n\n" + Menu(shown));
    shown.height = "4294967295";
    EXPECT_TEXT(Run("1\n4\n4294967295\nx\n"),
                prompt + defaultPattern + Menu({}) + "Enter segment height: " +
                    "Generating test pattern: 0 rows by 8 columns,  0 colors\n\n\n\n" +
                    Menu(shown));
}

TEST_F(TheDynamicTest, TurnsShapesOnAndOffAndGeneratesEachTime)
{
    Shown on;
    on.shapes = "on";
    EXPECT_TEXT(Run("1\n55x\n"), prompt + defaultPattern + Menu({}) + defaultPattern + Menu(on) +
                                     defaultPattern + Menu({}));
}

TEST_F(TheDynamicTest, StepsTheStartValueUpAndWrapsAt256)
{
    Shown last;
    last.start = "255";
    EXPECT_TEXT(Run("1\n1\n255\nsx\n"), prompt + defaultPattern + Menu({}) +
                                            "Enter pixel start value: " + defaultPattern +
                                            Menu(last) + defaultPattern + Menu({}));
}

TEST_F(TheDynamicTest, StepsOnceForEachKeyOfALine)
{
    std::string expected = prompt + defaultPattern + Menu({});
    for (const std::string start : {"1", "2", "3"}) {
        Shown shown;
        shown.start = start;
        expected += defaultPattern + Menu(shown);
    }
    EXPECT_TEXT(Run("1\ns s s\nx\n"), expected);
}

TEST_F(TheDynamicTest, ReplacesASteppedStartValueByATypedOne)
{
    Shown stepped;
    stepped.start = "1";
    Shown typed;
    typed.start = "9";
    EXPECT_TEXT(Run("1\ns1\n9\nx\n"),
                prompt + defaultPattern + Menu({}) + defaultPattern + Menu(stepped) +
                    "Enter pixel start value: " + defaultPattern + Menu(typed));
}

TEST_F(TheDynamicTest, GeneratesAgainForUnknownKeysAndDiscardsOneCharacter)
{
    EXPECT_TEXT(Run("1\nzSx\n"), prompt + defaultPattern + Menu({}) + defaultPattern + Menu({}));
}

TEST_F(TheDynamicTest, DiscardsNothingBehindANumber)
{
    Shown first;
    first.start = "7";
    Shown second;
    second.start = "8";
    EXPECT_TEXT(Run("1\n1 7sx\n"), prompt + defaultPattern + Menu({}) +
                                       "Enter pixel start value: " + defaultPattern + Menu(first) +
                                       defaultPattern + Menu(second));
}

TEST_F(TheDynamicTest, StartsAfreshEachTime)
{
    Run("1\n1\n9\n5x\n");
    EXPECT_TEXT(Run("1\nx\n"), prompt + defaultPattern + Menu({}));
}

}  // namespace
