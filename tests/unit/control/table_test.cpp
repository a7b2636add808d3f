#include "control/table.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

using namespace control;

namespace {

TEST(TextTable, PutsNumbersAtTheRight)
{
    TextTable table({"N", "WORD", "LAST"});
    table.Add({"1", "one", "1"});
    table.Add({"100", "hundred", ""});
    EXPECT_TEXT(table.Text(2), "  N  WORD     LAST\n"
                               "  1  one      1\n"
                               "100  hundred\n");
}

TEST(TextTable, CountsTheRowsThatAreLeftOut)
{
    TextTable table({"N", "LAST"});
    table.Add({"1", "a"});
    table.Add({"2", "b"});
    table.Add({"3", "c"});
    EXPECT_TEXT(table.Text(1), "N  LAST\n1  a\nand 2 more\n");
    EXPECT_TEXT(TextTable({"N", "LAST"}).Text(0), "N  LAST\n");
}

}  // namespace
