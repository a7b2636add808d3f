// Numbers, times and truths of command lines and scenarios.

#include "words/number_list.h"
#include "words/times.h"
#include "words/truth.h"

#include <gtest/gtest.h>

#include <string>

using namespace words;

namespace {

std::string NumbersOf(const std::string& text)
{
    NumberSet numbers;
    if (!ParseNumbers(text, numbers)) {
        return "refused";
    }
    std::string found;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        found += numbers[i] ? " " + std::to_string(i) : "";
    }
    return found;
}

TEST(NumberList, HasNumbersAndRanges)
{
    EXPECT_EQ(NumbersOf("5,3-4,4-4,0"), " 0 3 4 5");
    EXPECT_EQ(NumbersOf("254-255"), " 254 255");
    for (const char* text : {"", "1,", ",1", "5-3", "256", "1 2", "-1", "1-", "1--2", "1x"}) {
        EXPECT_EQ(NumbersOf(text), "refused") << text;
    }
}

/// The time that \p text is; -1 when it is refused.
std::int64_t TimeOf(const std::string& text, std::int64_t plainUs = 1000000)
{
    std::int64_t us = -1;
    const bool isTime = ParseTime(text, us, plainUs);
    EXPECT_EQ(isTime, us >= 0) << text;
    return us;
}

TEST(Time, IsMillisecondsSecondsOrAPlainNumber)
{
    EXPECT_EQ(TimeOf("500ms"), 500000);
    EXPECT_EQ(TimeOf("2s"), 2000000);
    EXPECT_EQ(TimeOf("003"), 3000000);
    EXPECT_EQ(TimeOf("500", 1000), 500000);
    EXPECT_EQ(TimeOf("2s", 1000), 2000000);
}

TEST(Time, MayHaveAFractionDownToMicroseconds)
{
    EXPECT_EQ(TimeOf("1.5s"), 1500000);
    EXPECT_EQ(TimeOf("0.25ms"), 250);
    EXPECT_EQ(TimeOf("0.0000010"), 1);
    EXPECT_EQ(TimeOf("0.001ms"), 1);
    EXPECT_EQ(TimeOf("0.0000001"), -1);
    EXPECT_EQ(TimeOf("0.0001ms"), -1);
}

TEST(Time, IsAtMostABillionSeconds)
{
    EXPECT_EQ(TimeOf("1000000000"), longestTimeUs);
    EXPECT_EQ(TimeOf("1000000000.000001"), -1);
    EXPECT_EQ(TimeOf("99999999999999999999999999999999999999999999"), -1);
}

TEST(Time, StaysUnchangedWhenTheTextIsRefused)
{
    for (const char* text : {"", "s", "ms", ".5", "2.", "2.s", "1.2.3", "1e3", "-1", "2 s", " 2",
                             "2m", "0x10", "1,5", "2ss"}) {
        EXPECT_EQ(TimeOf(text), -1) << text;
    }
    EXPECT_EQ(TimeOf(std::string("1\0s", 3)), -1);
}

TEST(Truth, IsAWordOrItsOpposite)
{
    bool truth = false;
    for (const char* const word : {"t", "true", "y", "yes", "on", "1", "True"}) {
        EXPECT_TRUE(ParseTruth(word, truth) && truth) << word;
    }
    for (const char* const word : {"f", "false", "n", "no", "off", "0", "Off"}) {
        EXPECT_TRUE(ParseTruth(word, truth) && !truth) << word;
    }
    for (const char* const word : {"", "tr", "trues", "2", "yes "}) {
        EXPECT_FALSE(ParseTruth(word, truth)) << word;
    }
}

}  // namespace
