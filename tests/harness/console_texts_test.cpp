#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

// The literals of the tests, held against the widths that were published with them, so that a
// miscounted blank is not first found as a fault of the client.

namespace {

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

TEST(TheReportText, HasThePublishedWidths)
{
    const std::vector<std::string> lines = Lines(EmptyRegionReport());
    ASSERT_EQ(lines.size(), 2u + 3 + 1 + 14 + 2);
    EXPECT_EQ(lines[2].size(), 75u);
    EXPECT_EQ(lines[3].size(), 88u);
    EXPECT_EQ(lines[4].size(), 80u);
    EXPECT_EQ(lines[5], "");
    for (std::size_t row = 6; row < 20; ++row) {
        EXPECT_EQ(lines[row].size(), 99u) << lines[row];
    }
}

TEST(TheMenuText, HasSeventeenBlanksBeforeTheState)
{
    const std::string blanks(17, ' ');
    EXPECT_EQ(Lines(SubscribedMenu())[2],
              "1) Subscribe for subtitles" + blanks + "(currently subscribed)");
    EXPECT_EQ(Lines(UnsubscribedMenu())[2],
              "1) Subscribe for subtitles" + blanks + "(currently unsubscribed)");
}

TEST(AComparisonOfTexts, MarksTheFirstDifferenceAndShowsBlanks)
{
    const testing::AssertionResult result = CompareTexts("a", "b", "one two\n", "one  two\n");
    EXPECT_FALSE(result);
    const std::string message = result.message();
    EXPECT_NE(message.find("first difference at byte 4"), std::string::npos) << message;
    EXPECT_NE(message.find("one·>>>HERE>>>two\\n"), std::string::npos) << message;
    EXPECT_NE(message.find("one·>>>HERE>>>·two\\n"), std::string::npos) << message;
}

TEST(AComparisonOfTexts, SeesWhatIsMissingAtTheEnd)
{
    EXPECT_FALSE(CompareTexts("a", "b", "one", "one "));
    EXPECT_FALSE(CompareTexts("a", "b", "one\n", "one"));
    EXPECT_TRUE(CompareTexts("a", "b", "one ", "one "));
}

TEST(VisibleText, ShowsControlBytes) { EXPECT_EQ(VisibleText("a\x0f\xff\n"), "a\\x0f\\xff\\n\n"); }
