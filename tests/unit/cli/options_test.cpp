#include "cli/options.h"

#include "cli/SubtitleMgrCli.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

// The console's sessions play the options. The frame of another SDK may read more of the table.
TEST(OptionTable, HasEightLongNamesAndATerminator)
{
    struct Row {
        const char* name;
        int hasArgument;
        int value;
    };
    const std::vector<Row> rows{
        {"ping", 0, 'p'},     {"quit", 0, 'q'},        {"help", 0, 'h'},
        {"usage", 0, 'h'},    {"interactive", 0, 'i'}, {"connection", 1, 'e'},
        {"loglevel", 0, 'l'}, {"setloglevel", 1, 's'}, {nullptr, 0, 0}};
    ASSERT_EQ(rows.size(), longOptionCount);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_STREQ(longOptions[i].name, rows[i].name);
        EXPECT_EQ(longOptions[i].has_arg, rows[i].hasArgument);
        EXPECT_EQ(longOptions[i].flag, nullptr);
        EXPECT_EQ(longOptions[i].val, rows[i].value);
    }
    EXPECT_STREQ(shortOptions, "pqhice:ls:");
}

TEST(Option, CatchesNoExceptionButRefusedMemory)
{
    EXPECT_THROW(SubtitleMgrCli().ProcessOption('e', nullptr), std::logic_error);
}

TEST(Option, PrintsTheUsageThroughTheVirtualTable)
{
    class QuietClient : public SubtitleMgrCli {
        void Usage() override {}
    };
    for (const char option : {'h', '?'}) {
        EXPECT_EQ(OutputOf([&] { QuietClient().ProcessOption(option, nullptr); }), "");
    }
}

}  // namespace
