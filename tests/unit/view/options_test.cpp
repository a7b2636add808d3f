#include "view/options.h"
#include "tests/unit/parsed_options.h"

#include <gtest/gtest.h>

using namespace view;

namespace {

using Parsed = ParsedOptions<Options>;

Parsed Parse(std::vector<std::string> words)
{
    words.insert(words.begin(), "SubtitleMgrView");
    return ParseWords<Options>(words);
}

Options Good(const std::vector<std::string>& words) { return GoodOptions(Parse(words)); }

TEST(Options, HaveDefaults)
{
    const Options options = Good({"terminal", "drive.jsonl"});
    EXPECT_EQ(options.command, Command::Terminal);
    EXPECT_EQ(options.input, "drive.jsonl");
    EXPECT_FALSE(options.atUs || options.region);
    EXPECT_EQ(options.width, 640u);
    EXPECT_EQ(options.scale, 1u);
    EXPECT_FALSE(options.everyChange || options.noColor || options.live);
    EXPECT_EQ(options.port, 0u);
    EXPECT_EQ(options.service, "SubtitleMgr");
}

TEST(Options, AreSet)
{
    const Options options = Good({"png", "--at", "1.5", "--region=255", "-", "--width", "1",
                                  "--scale", "16", "--every-change", "-o", "pictures"});
    EXPECT_EQ(options.command, Command::Png);
    EXPECT_EQ(options.input, "-");
    EXPECT_EQ(options.atUs, 1500000);
    EXPECT_EQ(options.region, 255u);
    EXPECT_EQ(options.width, 1u);
    EXPECT_EQ(options.scale, 16u);
    EXPECT_TRUE(options.everyChange);
    EXPECT_EQ(options.output, "pictures");
    EXPECT_TRUE(Good({"--no-color", "terminal", "-"}).noColor);
    const Options page = Good({"page", "--port", "8080", "--live", "--name", "node1/SubtitleMgr"});
    EXPECT_EQ(page.port, 8080u);
    EXPECT_TRUE(page.live);
    EXPECT_EQ(page.service, "node1/SubtitleMgr");
    EXPECT_EQ(Good({"from-png", "--output", "x", "--", "-a.png"}).input, "-a.png");
    EXPECT_EQ(Good({"pcapng", "-o", "-", "-"}).output, "-");
}

TEST(Options, AreRefused)
{
    const struct {
        std::vector<std::string> words;
        std::string mistake;
    } rows[] = {
        {{}, "no command"},
        {{"pgn", "a"}, "'pgn': unknown command; did you mean png?"},
        {{"frobnicate"}, "'frobnicate': unknown command"},
        {{"png", "-o", "d"}, "no recording"},
        {{"from-png", "-o", "d"}, "no picture"},
        {{"png", "a", "b"}, "'b': unexpected word"},
        {{"png", "a"}, "-o is missing: the folder of the files"},
        {{"pcapng", "a"}, "-o is missing: the file of the capture"},
        {{"png", "a", "-o", ""}, "--output: the name is empty"},
        {{"from-png", "a", "-o", "-"}, "-o -: not for the command from-png"},
        {{"png", "a", "-o", "-", "--every-change"}, "-o -: not with --every-change"},
        {{"terminal", "a", "-o", "d"}, "--output: not for the command terminal"},
        {{"terminal", "a", "--scale", "2"}, "--scale: not for the command terminal"},
        {{"terminal", "a", "--every-change"}, "--every-change: not for the command terminal"},
        {{"png", "a", "--no-color"}, "--no-color: not for the command png"},
        {{"from-png", "a", "--at", "1"}, "--at: not for the command from-png"},
        {{"from-png", "a", "--width", "1"}, "--width: not for the command from-png"},
        {{"pcapng", "a", "--region", "1"}, "--region: not for the command pcapng"},
        {{"page", "--live", "a"}, "'a': unexpected word"},
        {{"page", "a", "-o", "d"}, "--output: not for the command page"},
        {{"page", "a", "--region", "1"}, "--region: not for the command page"},
        {{"png", "a", "--live"}, "--live: not for the command png"},
        {{"terminal", "a", "--port", "1"}, "--port: not for the command terminal"},
        {{"page", "a", "--name", "x"}, "--name: only with --live"},
        {{"page", "--port", "65536"}, "--port: '65536' is not a number from 0 to 65535"},
        {{"page", "--name", "../x"}, "--name: '../x' is not an endpoint name"},
        {{"png", "--at", "1m"}, "--at: '1m' is not a time like 500ms, 2s or 1.5"},
        {{"png", "--region", "256"}, "--region: '256' is not a number from 0 to 255"},
        {{"png", "--width", "0"}, "--width: '0' is not a number from 1 to 16384"},
        {{"png", "--width", "16385"}, "--width: '16385' is not a number from 1 to 16384"},
        {{"png", "--scale", "17"}, "--scale: '17' is not a number from 1 to 16"},
        {{"png", "--scales"}, "'--scales': unknown option; did you mean --scale?"},
    };
    for (const auto& row : rows) {
        const Parsed parsed = Parse(row.words);
        EXPECT_FALSE(parsed.goesOn) << row.mistake;
        EXPECT_EQ(parsed.status, 2);
        EXPECT_EQ(parsed.output, "");
        EXPECT_EQ(parsed.errors, "SubtitleMgrView: " + row.mistake +
                                     "\nSubtitleMgrView --help shows the commands and options.\n");
    }
}

}  // namespace
