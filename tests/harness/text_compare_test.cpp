#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(TextComparison, ShowsTheFirstDifferenceAndControlBytes)
{
    const std::string before(100, 'x');
    const auto result = CompareTexts("a", "b", before + "1 \n\x0F", before + "1 ");
    EXPECT_FALSE(result);
    EXPECT_EQ(result.message(), "a is not b; first difference at byte 102\n"
                                "--- actual (104 bytes)\n"
                                "[...]" +
                                    before.substr(22) + "1·>>>HERE>>>\\n\n\\x0f\n" +
                                    "--- expected (102 bytes)\n"
                                    "[...]" +
                                    before.substr(22) + "1·>>>HERE>>>");
    EXPECT_TRUE(CompareTexts("a", "b", before, before));
}

}  // namespace
