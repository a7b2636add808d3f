#include "control/options.h"
#include "tests/unit/parsed_options.h"
#include "words/directives.h"

#include <gtest/gtest.h>

using namespace control;

namespace {

using Words = std::vector<std::string>;

ParsedOptions<Options> Parse(Words words)
{
    words.insert(words.begin(), "SubtitleMgrCtl");
    return ParseWords<Options>(words);
}

Options Good(const Words& words) { return GoodOptions(Parse(words)); }

TEST(Options, HaveDefaults)
{
    const Options options = Good({"state"});
    EXPECT_EQ(options.name, "SubtitleMgr");
    EXPECT_EQ(options.timeoutUs, 10000000);
    EXPECT_EQ(Good({"doctor"}).timeoutUs, 2000000);
    EXPECT_EQ(Good({"doctor", "--timeout", "3s"}).timeoutUs, 3000000);
    EXPECT_FALSE(options.json || options.once);
    EXPECT_EQ(options.command, (Words{"state"}));
}

TEST(Options, MayStandBetweenTheWordsOfACommand)
{
    const Options options =
        Good({"--name=node1/SubtitleMgr", "top", "--json", "--timeout", "500ms", "--once"});
    EXPECT_EQ(options.name, "node1/SubtitleMgr");
    EXPECT_EQ(options.timeoutUs, 500000);
    EXPECT_TRUE(options.json && options.once);
    EXPECT_EQ(options.command, (Words{"top"}));
    EXPECT_EQ(Good({"region-data", "3", "cif", "-"}).command,
              (Words{"region-data", "3", "cif", "-"}));
    EXPECT_EQ(Good({"log", "--", "--json", "x"}).command, (Words{"log", "--json", "x"}));
}

TEST(Options, RefuseMistakes)
{
    const std::pair<Words, const char*> rows[] = {
        {{}, "no command"},
        {{"--jsn", "state"}, "'--jsn': unknown option; did you mean --json?"},
        {{"--timeout", "1m", "state"}, "--timeout: '1m' is not a time like 500ms, 2s or 1.5"},
        {{"--name", "/x", "state"}, "--name: '/x' is not an endpoint name"},
        {{"--once", "state"}, "--once: only for the command top"},
        {{"--prometheus", "state"}, "--prometheus: only for the command top"},
        {{"--prometheus", "top", "--json"}, "--prometheus: not with --json"},
        {{"ping", "me"}, "'me': unexpected word"},
        {{"-", "state"}, "'state': unexpected word"},
    };
    for (const auto& [words, problem] : rows) {
        ExpectRefusal(Parse(words), "SubtitleMgrCtl", problem, "options and commands");
    }
}

TEST(Options, ShowEveryCommandInTheHelp)
{
    const auto parsed = Parse({"state", "--help"});
    ExpectHelp(parsed, "Usage: SubtitleMgrCtl [OPTION...] COMMAND...\n");
    for (const words::Directive& directive : words::directives) {
        const std::string row = "\n  " + std::string(directive.word);
        EXPECT_EQ(parsed.output.find(row) != std::string::npos,
                  directive.place != words::Place::Scenario)
            << row;
    }
}

}  // namespace
