#include "words/number_list.h"

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
    EXPECT_EQ(NumbersOf("1"), " 1");
    EXPECT_EQ(NumbersOf("1,3-5"), " 1 3 4 5");
    EXPECT_EQ(NumbersOf("5,3-4,4-4,0"), " 0 3 4 5");
    EXPECT_EQ(NumbersOf("254-255"), " 254 255");
}

TEST(NumberList, RefusesOtherText)
{
    for (const char* text : {"", ",", "1,", ",1", "5-3", "256", "1-256", "1 2", "-1", "+1", "1-",
                             "1--2", "a", "1x", "0x1", "99999999999999999999"}) {
        EXPECT_EQ(NumbersOf(text), "refused") << text;
    }
}

}  // namespace
