#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string DifferenceOf(const std::string& actual, const std::string& expected)
{
    const testing::AssertionResult result = CompareTexts("a", "b", actual, expected);
    EXPECT_FALSE(result);
    return result.message();
}

TEST(TextComparison, MarksTheFirstDifferenceAndShowsBlanks)
{
    EXPECT_EQ(DifferenceOf("one two\n", "one  two"), "a is not b; first difference at byte 4\n"
                                                     "--- actual (8 bytes)\n"
                                                     "one·>>>HERE>>>two\\n\n\n"
                                                     "--- expected (8 bytes)\n"
                                                     "one·>>>HERE>>>·two");
}

TEST(TextComparison, FindsAMissingEnd)
{
    EXPECT_NE(DifferenceOf("one\n", "one").find("one>>>HERE>>>\\n"), std::string::npos);
    EXPECT_TRUE(CompareTexts("a", "b", "one ", "one "));
}

TEST(TextComparison, ShowsFiveLines)
{
    const std::string shown = DifferenceOf("1\n2\n3\n4\nX\n6\n7\n8\n", "1\n2\n3\n4\nY\n6\n7\n8\n");
    EXPECT_NE(shown.find("\n[...]\n3\\n\n4\\n\n>>>HERE>>>X\\n\n6\\n\n7\\n\n[...]\n"),
              std::string::npos)
        << shown;
}

TEST(VisibleText, ShowsControlBytes) { EXPECT_EQ(VisibleText("a\x0f\xff\n"), "a\\x0f\\xff\\n\n"); }

}  // namespace
