#include "tap/options.h"
#include "tests/unit/parsed_options.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace tap;

namespace {

using Words = std::vector<std::string>;

ParsedOptions<Options> Parse(Words words)
{
    words.insert(words.begin(), "SubtitleMgrTap");
    return ParseWords<Options>(words);
}

TEST(Options, AreSet)
{
    const Options options = GoodOptions(
        Parse({"--regions", "1,3-5", "--kinds=data,palette", "--formats", "cif,other", "--count",
               "18446744073709551615", "--seconds", "1.5", "--wait-for-service=500ms", "--output",
               "drive.jsonl", "--json", "--time", "delta", "--rates", "--refresh"}));
    EXPECT_EQ(options.filter.regions.count(), 4u);
    EXPECT_TRUE(options.filter.regions[4]);
    EXPECT_EQ(options.filter.kinds, (std::array<bool, 3>{true, false, true}));
    EXPECT_EQ(options.filter.formats, (std::array<bool, 4>{false, false, true, true}));
    EXPECT_EQ(options.count, 18446744073709551615u);
    EXPECT_EQ(options.runUs, 1500000);
    EXPECT_EQ(options.waitForServiceUs, 500000);
    EXPECT_EQ(options.output, "drive.jsonl");
    EXPECT_EQ(options.time, TimeForm::Delta);
    EXPECT_TRUE(options.json && options.rates && options.refresh);
}

TEST(Options, RefuseMistakes)
{
    const std::pair<Words, const char*> rows[] = {
        {{"--time", "deta"}, "--time: 'deta' is none of abs, delta, zero; did you mean delta?"},
        {{"--regions", "5-3"}, "--regions: '5-3' is not a list of regions like 1,3-5"},
        {{"--kinds", "data,visble"}, "--kinds: 'visble' is none of data, visibility, palette"},
        {{"--formats", "hd,"}, "--formats: '' is none of hd, sd, cif, other"},
        {{"--count", "0"}, "--count: '0' is not a number from 1"},
        {{"--count", "1x"}, "--count: '1x' is not a number from 1"},
        {{"--count", "18446744073709551616"},
         "--count: '18446744073709551616' is not a number from 1"},
        {{"--seconds", "2m"}, "--seconds: '2m' is not a time like 500ms, 2s or 1.5"},
        {{"--wait-for-service", "2m"},
         "--wait-for-service: '2m' is not a time like 500ms, 2s or 1.5"},
        {{"--output", ""}, "--output: no file name"},
        {{"--formats", "hd", "--coumt=3"}, "'--coumt=3': unknown option; did you mean --count?"},
        {{"--xyzzy"}, "'--xyzzy': unknown option"},
        {{"-x"}, "'-x': unknown option"},
        {{"--json=yes"}, "'--json=yes': the option takes no value"},
        {{"--json", "--count"}, "'--count': a value is missing"},
        {{"drive", "--json"}, "'drive': unexpected word"},
        {{"--json", "--", "--rates"}, "'--rates': unexpected word"},
    };
    for (const auto& [words, problem] : rows) {
        ExpectRefusal(Parse(words), "SubtitleMgrTap", problem, "options");
    }
}

TEST(Options, ShowHelp) { ExpectHelp(Parse({"-h"}), "Usage: SubtitleMgrTap [OPTION...]\n"); }

}  // namespace
