#include "words/times.h"

#include <gtest/gtest.h>

#include <string>

using namespace words;

namespace {

constexpr std::int64_t refused = -1;

std::int64_t TimeOf(const std::string& text)
{
    std::int64_t us = 0;
    return ParseTime(text, us) ? us : refused;
}

TEST(Time, IsMillisecondsSecondsOrAPlainNumberOfSeconds)
{
    EXPECT_EQ(TimeOf("500ms"), 500000);
    EXPECT_EQ(TimeOf("2s"), 2000000);
    EXPECT_EQ(TimeOf("3"), 3000000);
    EXPECT_EQ(TimeOf("0"), 0);
    EXPECT_EQ(TimeOf("007"), 7000000);
}

TEST(Time, MayHaveAFractionDownToMicroseconds)
{
    EXPECT_EQ(TimeOf("1.5s"), 1500000);
    EXPECT_EQ(TimeOf("1.5"), 1500000);
    EXPECT_EQ(TimeOf("0.25ms"), 250);
    EXPECT_EQ(TimeOf("0.000001"), 1);
    EXPECT_EQ(TimeOf("0.0000010"), 1);
    EXPECT_EQ(TimeOf("0.001ms"), 1);
    EXPECT_EQ(TimeOf("0.0000001"), refused);
    EXPECT_EQ(TimeOf("0.00000001"), refused);
    EXPECT_EQ(TimeOf("0.0001ms"), refused);
}

TEST(Time, CanBePlainMilliseconds)
{
    std::int64_t us = 0;
    ASSERT_TRUE(ParseTime("500", us, 1000));
    EXPECT_EQ(us, 500000);
    ASSERT_TRUE(ParseTime("2s", us, 1000));
    EXPECT_EQ(us, 2000000);
}

TEST(Time, RefusesOtherText)
{
    for (const char* text : {"", "s", "ms", ".5", "2.", "2.s", "1.2.3", "1e3", "-1", "+1", "2 s",
                             " 2", "2m", "0x10", "1,5", "nan", "2ss", "sms"}) {
        EXPECT_EQ(TimeOf(text), refused) << text;
    }
    EXPECT_EQ(TimeOf(std::string("1\0s", 3)), refused);
}

TEST(Time, IsAtMostABillionSeconds)
{
    EXPECT_EQ(TimeOf("1000000000"), longestTimeUs);
    EXPECT_EQ(TimeOf("1000000000.000001"), refused);
    EXPECT_EQ(TimeOf("1000000000001ms"), refused);
    EXPECT_EQ(TimeOf("18446744073709551617"), refused);
    EXPECT_EQ(TimeOf("99999999999999999999999999999999999999999999"), refused);
}

TEST(Time, StaysUnchangedWhenTheTextIsRefused)
{
    std::int64_t us = 7;
    EXPECT_FALSE(ParseTime("5x", us));
    EXPECT_EQ(us, 7);
}

}  // namespace
