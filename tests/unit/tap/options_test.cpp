#include "tap/options.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

using namespace tap;

namespace {

struct Parsed {
    bool goesOn = false;
    int status = -1;
    Options options;
    std::string output;
    std::string errors;
};

Parsed Parse(std::vector<std::string> words)
{
    words.insert(words.begin(), "SubtitleMgrTap");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    Parsed parsed;
    parsed.output = OutputOf([&] {
        parsed.errors = ErrorsOf([&] {
            parsed.goesOn = ParseOptions(static_cast<int>(words.size()), argv.data(),
                                         parsed.options, parsed.status);
        });
    });
    return parsed;
}

/// The error message, without the line that points to the help.
std::string MistakeOf(const std::vector<std::string>& words)
{
    const Parsed parsed = Parse(words);
    const std::string begin = "SubtitleMgrTap: ";
    const std::string end = "\nSubtitleMgrTap --help shows the options.\n";
    EXPECT_FALSE(parsed.goesOn);
    EXPECT_EQ(parsed.status, 2);
    EXPECT_EQ(parsed.output, "");
    if (parsed.errors.size() < begin.size() + end.size() ||
        parsed.errors.substr(0, begin.size()) != begin ||
        parsed.errors.substr(parsed.errors.size() - end.size()) != end) {
        return "the message has another form: " + parsed.errors;
    }
    return parsed.errors.substr(begin.size(), parsed.errors.size() - begin.size() - end.size());
}

Options Good(const std::vector<std::string>& words)
{
    const Parsed parsed = Parse(words);
    EXPECT_TRUE(parsed.goesOn) << parsed.errors;
    EXPECT_EQ(parsed.output + parsed.errors, "");
    return parsed.options;
}

TEST(Options, AreAllOffAtFirst)
{
    const Options options = Good({});
    EXPECT_TRUE(options.filter.regions.all());
    EXPECT_EQ(options.filter.kinds, (std::array<bool, 3>{true, true, true}));
    EXPECT_EQ(options.filter.formats, (std::array<bool, 4>{true, true, true, true}));
    EXPECT_EQ(options.count, 0u);
    EXPECT_FALSE(options.runUs);
    EXPECT_EQ(options.waitForServiceUs, 0);
    EXPECT_EQ(options.output, "");
    EXPECT_EQ(options.time, TimeForm::Absolute);
    EXPECT_FALSE(options.json || options.rates || options.refresh);
}

TEST(Options, AreSet)
{
    const Options options =
        Good({"--regions", "1,3-5", "--kinds=data,palette", "--formats", "cif,other", "--count",
              "18446744073709551615", "--seconds", "1.5", "--wait-for-service=500ms", "--output",
              "drive.jsonl", "--json", "--time", "zero", "--rates", "--refresh"});
    EXPECT_EQ(options.filter.regions.count(), 4u);
    EXPECT_TRUE(options.filter.regions[4]);
    EXPECT_EQ(options.filter.kinds, (std::array<bool, 3>{true, false, true}));
    EXPECT_EQ(options.filter.formats, (std::array<bool, 4>{false, false, true, true}));
    EXPECT_EQ(options.count, 18446744073709551615u);
    EXPECT_EQ(options.runUs, 1500000);
    EXPECT_EQ(options.waitForServiceUs, 500000);
    EXPECT_EQ(options.output, "drive.jsonl");
    EXPECT_EQ(options.time, TimeForm::Zero);
    EXPECT_TRUE(options.json && options.rates && options.refresh);
}

TEST(Options, HaveThreeFormsOfTime)
{
    EXPECT_EQ(Good({"--time", "abs"}).time, TimeForm::Absolute);
    EXPECT_EQ(Good({"--time", "delta"}).time, TimeForm::Delta);
    EXPECT_EQ(MistakeOf({"--time", "deta"}),
              "--time: 'deta' is none of abs, delta, zero; did you mean delta?");
}

TEST(Options, RefuseWrongLists)
{
    EXPECT_EQ(MistakeOf({"--regions", "5-3"}),
              "--regions: '5-3' is not a list of regions like 1,3-5");
    EXPECT_EQ(MistakeOf({"--regions", ""}), "--regions: '' is not a list of regions like 1,3-5");
    EXPECT_EQ(MistakeOf({"--kinds", "data,visble"}),
              "--kinds: 'visble' is none of data, visibility, palette");
    EXPECT_EQ(MistakeOf({"--kinds", "pallete"}),
              "--kinds: 'pallete' is none of data, visibility, palette; did you mean palette?");
    EXPECT_EQ(MistakeOf({"--kinds", "data,"}), "--kinds: '' is none of data, visibility, palette");
    EXPECT_EQ(MistakeOf({"--formats", "HD"}),
              "--formats: 'HD' is none of hd, sd, cif, other; did you mean hd?");
}

TEST(Options, RefuseWrongNumbersAndTimes)
{
    for (const char* count : {"0", "-1", "1x", "", "18446744073709551616"}) {
        EXPECT_EQ(MistakeOf({"--count", count}),
                  std::string("--count: '") + count + "' is not a number from 1");
    }
    for (const char* option : {"--seconds", "--wait-for-service"}) {
        EXPECT_EQ(MistakeOf({option, "2m"}),
                  std::string(option) + ": '2m' is not a time like 500ms, 2s or 1.5");
    }
    EXPECT_EQ(MistakeOf({"--output", ""}), "--output: no file name");
}

TEST(Options, RefuseUnknownWordsWithTheNearestOne)
{
    EXPECT_EQ(MistakeOf({"--jsn"}), "'--jsn': unknown option; did you mean --json?");
    EXPECT_EQ(MistakeOf({"--refersh"}), "'--refersh': unknown option; did you mean --refresh?");
    EXPECT_EQ(MistakeOf({"--formats", "hd", "--coumt=3"}),
              "'--coumt=3': unknown option; did you mean --count?");
    EXPECT_EQ(MistakeOf({"--xyzzy"}), "'--xyzzy': unknown option");
    EXPECT_EQ(MistakeOf({"-x"}), "'-x': unknown option");
    EXPECT_EQ(MistakeOf({"--json=yes"}), "'--json=yes': the option takes no value");
    EXPECT_EQ(MistakeOf({"--json", "--count"}), "'--count': a value is missing");
    EXPECT_EQ(MistakeOf({"drive", "--json"}), "'drive': unexpected word");
    EXPECT_EQ(MistakeOf({"--json", "--", "--rates"}), "'--rates': unexpected word");
}

TEST(Options, ShowHelpWithin80Columns)
{
    for (const char* word : {"--help", "-h"}) {
        const Parsed parsed = Parse({word});
        EXPECT_FALSE(parsed.goesOn);
        EXPECT_EQ(parsed.status, 0);
        EXPECT_EQ(parsed.errors, "");
        EXPECT_EQ(parsed.output.substr(0, 33), "Usage: SubtitleMgrTap [OPTION...]");
        std::istringstream lines(parsed.output);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80u) << line;
        }
    }
}

TEST(Options, ShowTheVersion)
{
    const Parsed parsed = Parse({"--version"});
    EXPECT_FALSE(parsed.goesOn);
    EXPECT_EQ(parsed.status, 0);
    EXPECT_EQ(parsed.output, "SubtitleMgrTap " SUBTITLE_VERSION "\n");
}

}  // namespace
