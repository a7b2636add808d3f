#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/stats/sized_record.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace {

/// The report's stream settings outlive it, so every test starts from fresh ones.
class TheReport : public testing::Test {
protected:
    TheReport() { std::cout.copyfmt(std::ios(nullptr)); }
    ~TheReport() override { std::cout.copyfmt(std::ios(nullptr)); }

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

const std::string blanks(100, ' ');

std::string Blanks(unsigned int count) { return blanks.substr(0, count); }

std::string Dashes(unsigned int count) { return std::string(count, '-'); }

std::string Headings()
{
    return "\n\n" + Blanks(25) + "Msgs" + Blanks(37) + "Bytes" + Blanks(4) + "\n" + Blanks(11) +
           Dashes(35) + Blanks(3) + Dashes(39) + "\n" +
           "  Id (vis)     HD +     SD +    CIF =                HD +       SD +      CIF = \n\n";
}

TEST_F(TheReport, OfNoRegionsIsItsHeadings)
{
    const SubtitleStats none(0);
    EXPECT_TEXT(OutputOf([&] { none.Display(); }), Headings() + "\n\n");
}

TEST_F(TheReport, WithoutTrafficHasFourteenRowsOfZerosAndNoSignInTheShare)
{
    std::string rows;
    for (int region = 1; region <= 14; ++region) {
        rows += (region < 10 ? "   " : "  ") + std::to_string(region) +
                "   F        0 +      0 +      0 =      0          0 +        0 +        0 = "
                "       0      nan %\n";
    }
    EXPECT_TEXT(Text(), Headings() + rows + "\n\n");
}

TEST_F(TheReport, PadsEveryColumnOfARow)
{
    Count(1, 0, 12, 4096);
    Count(1, 1, 3, 300);
    Count(1, 2, 250, 30720);
    Count(2, 0, 1, 35116);
    const std::string row =
        "   1   F       12 +      3 +    250 =    265       4096 +      300 +    "
        "30720 =    35116     50.0 %";
    EXPECT_EQ(row.size(), 99u);
    EXPECT_TEXT(Text(), RegionReport(
                            {{1, row},
                             {2, "   2   F        1 +      0 +      0 =      1      35116 +        "
                                 "0 +        0 =    35116     50.0 %"}},
                            "  0.0"));
}

TEST_F(TheReport, GivesTheOnlyRegionWithTrafficTheWholeShare)
{
    Count(9, 2, 1, 1);
    EXPECT_TEXT(Text(), RegionReport(
                            {{9, "   9   F        0 +      0 +      1 =      1          0 +        "
                                 "0 +        1 =        1    100.0 %"}},
                            "  0.0"));
}

TEST_F(TheReport, ShowsNothingOfFormatThree)
{
    Count(3, 3, 5, 1000);
    EXPECT_TEXT(Text(), EmptyRegionReport());
    Count(1, 0, 1, 10);
    Count(3, 1, 1, 30);
    EXPECT_TEXT(Text(), RegionReport(
                            {{1, "   1   F        1 +      0 +      0 =      1         10 +        "
                                 "0 +        0 =       10     25.0 %"},
                             {3, "   3   F        0 +      1 +      0 =      1          0 +       "
                                 "30 +        0 =       30     75.0 %"}},
                            "  0.0"));
}

TEST_F(TheReport, WrapsSumsAt32BitsBeforeTheyAreShared)
{
    // A region's bytes: 4294967295 + 5 wraps to 4; all bytes: 4 + 16 = 20.
    Count(1, 0, 1, 4294967295u);
    Count(1, 1, 1, 5);
    Count(2, 0, 1, 16);
    EXPECT_TEXT(Text(), RegionReport(
                            {{1, "   1   F        1 +      1 +      0 =      2   4294967295 +     "
                                 "   5 +        0 =        4     20.0 %"},
                             {2, "   2   F        1 +      0 +      0 =      1         16 +        "
                                 "0 +        0 =       16     80.0 %"}},
                            "  0.0"));
}

TEST_F(TheReport, TellsNoTrafficFromTrafficThatWrapsToZero)
{
    // 1 + 4294967295 = 0 bytes in all: a region has a part of nothing, which is infinite.
    Count(1, 0, 1, 1);
    Count(2, 0, 1, 4294967295u);
    EXPECT_TEXT(Text(), RegionReport(
                            {{1, "   1   F        1 +      0 +      0 =      1          1 +        "
                                 "0 +        0 =        1      inf %"},
                             {2, "   2   F        1 +      0 +      0 =      1   4294967295 +     "
                                 "   0 +        0 = 4294967295      inf %"}},
                            "  nan"));
}

TEST_F(TheReport, RoundsSharesToOneDigit)
{
    Count(1, 0, 1, 1);
    Count(2, 0, 1, 2);
    const std::string text = Text();
    EXPECT_NE(text.find("=        1     33.3 %\n"), std::string::npos) << text;
    EXPECT_NE(text.find("=        2     66.7 %\n"), std::string::npos) << text;
}

TEST_F(TheReport, PadsWithBlanksWhateverFillWasLeftBehind)
{
    std::cout.fill('0');
    EXPECT_TEXT(Text(), EmptyRegionReport());
    EXPECT_EQ(std::cout.fill(), ' ');
}

TEST_F(TheReport, LeavesFixedNotationAndOneDigitBehind)
{
    Text();
    EXPECT_EQ(std::cout.flags() & std::ios_base::floatfield, std::ios_base::fixed);
    EXPECT_EQ(std::cout.precision(), 1);
}

TEST_F(TheReport, LeavesTheCountersAlone)
{
    Count(4, 1, 2, 9);
    const std::string first = Text();
    EXPECT_TEXT(Text(), first);
}

}  // namespace
