#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/stats/sized_record.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace {

/// The report changes the stream's settings, so every test resets them first.
class Report : public testing::Test {
protected:
    Report() { std::cout.copyfmt(std::ios(nullptr)); }
    ~Report() override { std::cout.copyfmt(std::ios(nullptr)); }

    void Count(unsigned int region, unsigned int format, unsigned int messages, unsigned int bytes)
    {
        for (unsigned int i = 0; i < messages; ++i) {
            SizedRecord record(region, format, i == 0 ? bytes : 0);
            stats.AddRegionData(record);
        }
    }

    std::string Text() const
    {
        return OutputOf([this] { stats.Display(); });
    }

    SubtitleStats stats{14};
};

/// The report of traffic in regions 1 and 2.
std::string TwoRows(const std::string& first, const std::string& second,
                    const std::string& otherShare = "  0.0")
{
    return RegionReport({{1, "   1   F   " + first}, {2, "   2   F   " + second}}, otherShare);
}

TEST_F(Report, WithoutRegionsIsItsHeadings)
{
    const std::string blanks(100, ' ');
    const auto dashes = [](unsigned int count) { return std::string(count, '-'); };
    const SubtitleStats none(0);
    EXPECT_TEXT(OutputOf([&] { none.Display(); }),
                "\n\n" + blanks.substr(0, 25) + "Msgs" + blanks.substr(0, 37) + "Bytes    \n" +
                    blanks.substr(0, 11) + dashes(35) + "   " + dashes(39) + "\n" +
                    "  Id (vis)     HD +     SD +    CIF =                HD +       SD +      "
                    "CIF = \n\n\n\n");
}

TEST_F(Report, HasFourteenRowsOfZerosWithoutTraffic)
{
    EXPECT_TEXT(Text(), EmptyRegionReport());
    const std::string row = "14   F        0 +      0 +      0 =      0          0 +        0 +    "
                            "    0 =        0      nan %\n\n\n";
    EXPECT_TEXT(Text().substr(Text().size() - row.size()), row);
}

TEST_F(Report, PadsEveryColumnOfARow)
{
    Count(1, 0, 12, 4096);
    Count(1, 1, 3, 300);
    Count(1, 2, 250, 30720);
    Count(2, 0, 1, 35116);
    EXPECT_TEXT(Text(), TwoRows("    12 +      3 +    250 =    265       4096 +      300 +    "
                                "30720 =    35116     50.0 %",
                                "     1 +      0 +      0 =      1      35116 +        0 +       "
                                " 0 =    35116     50.0 %"));
}

TEST_F(Report, RoundsSharesToOneDigit)
{
    Count(9, 2, 1, 1);
    EXPECT_NE(Text().find("=        1    100.0 %\n"), std::string::npos) << Text();
    Count(2, 0, 1, 2);
    EXPECT_NE(Text().find("=        1     33.3 %\n"), std::string::npos) << Text();
    EXPECT_NE(Text().find("=        2     66.7 %\n"), std::string::npos) << Text();
}

TEST_F(Report, ShowsNothingOfFormatThree)
{
    Count(1, 3, 5, 1000);
    EXPECT_TEXT(Text(), EmptyRegionReport());
    Count(2, 1, 1, 30);
    EXPECT_TEXT(Text(), TwoRows("     0 +      0 +      0 =      0          0 +        0 +       "
                                " 0 =        0      0.0 %",
                                "     0 +      1 +      0 =      1          0 +       30 +       "
                                " 0 =       30    100.0 %"));
}

TEST_F(Report, WrapsSumsAt32BitsBeforeTheyAreShared)
{
    // The region's bytes wrap: 4294967295 + 5 gives 4. All bytes: 4 + 16 = 20.
    Count(1, 0, 1, 4294967295u);
    Count(1, 1, 1, 5);
    Count(2, 0, 1, 16);
    EXPECT_TEXT(Text(), TwoRows("     1 +      1 +      0 =      2   4294967295 +        5 +     "
                                "   0 =        4     20.0 %",
                                "     1 +      0 +      0 =      1         16 +        0 +       "
                                " 0 =       16     80.0 %"));
}

TEST_F(Report, DistinguishesNoTrafficFromAWrapToZero)
{
    // The sum of all bytes wraps: 1 + 4294967295 gives 0. A share of 0 bytes is infinite.
    Count(1, 0, 1, 1);
    Count(2, 0, 1, 4294967295u);
    EXPECT_TEXT(Text(), TwoRows("     1 +      0 +      0 =      1          1 +        0 +       "
                                " 0 =        1      inf %",
                                "     1 +      0 +      0 =      1   4294967295 +        0 +     "
                                "   0 = 4294967295      inf %",
                                "  nan"));
}

TEST_F(Report, PadsWithBlanksAfterAnyFillCharacter)
{
    std::cout.fill('0');
    EXPECT_TEXT(Text(), EmptyRegionReport());
    EXPECT_EQ(std::cout.fill(), ' ');
}

TEST_F(Report, LeavesFixedNotationAndOneDigitSet)
{
    Text();
    EXPECT_EQ(std::cout.flags() & std::ios_base::floatfield, std::ios_base::fixed);
    EXPECT_EQ(std::cout.precision(), 1);
}

TEST_F(Report, KeepsTheCounters)
{
    Count(4, 1, 2, 9);
    const std::string first = Text();
    EXPECT_TEXT(Text(), first);
}

}  // namespace
