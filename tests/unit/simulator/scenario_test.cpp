#include "simulator/play/scenario.h"

#include "tests/harness/TempDir.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace {

using sim::Step;

std::string Joined(const std::vector<std::string>& lines)
{
    std::string all;
    for (const std::string& line : lines) {
        all += line + "\n";
    }
    return all;
}

std::string Repeated(std::size_t count, const std::string& text)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

class Scenario : public testing::Test {
protected:
    /// A valid text.
    sim::Scenario Parsed(const std::string& text) const
    {
        sim::Scenario scenario;
        std::vector<std::string> mistakes;
        EXPECT_TRUE(ParseScenario(text, path, scenario, mistakes)) << Joined(mistakes);
        return scenario;
    }

    /// Time and contents of each step, and the length: "0 region 1; 500 log x; = 500".
    std::string StepsOf(const std::string& text) const
    {
        const sim::Scenario scenario = Parsed(text);
        std::string all;
        for (const Step& step : scenario.steps) {
            all += std::to_string(step.atUs) + " " + Summary(step) + "; ";
        }
        return all + "= " + std::to_string(scenario.lengthUs);
    }

    /// The mistakes of an invalid text; the folder of the scenario is left out.
    std::string MistakesOf(const std::string& text) const
    {
        sim::Scenario scenario;
        std::vector<std::string> mistakes;
        EXPECT_FALSE(ParseScenario(text, path, scenario, mistakes)) << text;
        for (std::string& mistake : mistakes) {
            EXPECT_EQ(mistake.substr(0, folder.Path().size() + 1), folder.Path() + "/");
            mistake.erase(0, folder.Path().size() + 1);
        }
        return Joined(mistakes);
    }

    void Write(const std::string& name, const std::string& text) const
    {
        WriteWholeFile(folder / name, text);
    }

    const TempDir folder;
    const std::string path = folder / "main";

private:
    static std::string Summary(const Step& step)
    {
        switch (step.kind) {
        case Step::Kind::Publish:
            return "region " + std::to_string(step.frame->at(frameHeaderSize));
        case Step::Kind::WaitSubscribers: return "wait " + std::to_string(step.subscription);
        case Step::Kind::Log: return "log " + *step.text;
        case Step::Kind::AwaitRequest: break;
        }
        return "?";
    }
};

TEST_F(Scenario, PublishesRecordsWithWordsForNumbers)
{
    const auto published = [this](const std::string& line) {
        return BytesOf(Parsed(line).steps.at(0).frame);
    };
    const auto bitmap = [](unsigned int subscription, unsigned int format) {
        return NotificationBytes(subscription, 15129, RegionDataRecord(3, format, "\x10\xff"));
    };
    EXPECT_EQ(published("region-data 3 hd 10ff"), bitmap(2, 0));
    EXPECT_EQ(published("region-data 3 sd 10ff"), bitmap(3, 1));
    EXPECT_EQ(published("region-data 3 cif 10FF"), bitmap(4, 2));
    EXPECT_EQ(published("region-data 3 255 10ff"), bitmap(12, 255));
    EXPECT_EQ(published("visibility 3 yes"),
              NotificationBytes(6, 15132, VisibilityRecord(3, true)));
    EXPECT_EQ(published("palette 2 31 off 10ff"),
              NotificationBytes(10, 15133, PaletteRecord(2, 31, false, "\x10\xff")));
}

TEST_F(Scenario, TurnsSleepsIntoTimes)
{
    EXPECT_EQ(StepsOf(""), "= 0");
    EXPECT_EQ(
        StepsOf("# a comment\n\n   \t\r\n  visibility\t1 t   # shown\r\n#\nsleep 2#x\nlog end"),
        "0 region 1; 2000 log end; = 2000");
    EXPECT_EQ(StepsOf("sleep 1ms\nwait-subscribers 10\nsleep 2s\nsleep 0.5\n"),
              "1000 wait 10; = 2001500");
    EXPECT_EQ(StepsOf("log  bright \t \x1b[2J \xc3\xbc # not this"),
              "0 log bright ?[2J \xc3\xbc; = 0");
}

TEST_F(Scenario, RepeatsLines)
{
    EXPECT_EQ(StepsOf("repeat 2\nvisibility 1 t\nsleep 1\nrepeat 3\nlog x\nsleep 2\nend\nend"),
              "0 region 1; 1000 log x; 3000 log x; 5000 log x; "
              "7000 region 1; 8000 log x; 10000 log x; 12000 log x; = 14000");
    EXPECT_EQ(StepsOf("repeat 1000000\nend\nrepeat 1\nlog x\nend"), "0 log x; = 0");
    EXPECT_EQ(StepsOf("repeat 1000000\nrepeat 1000\nsleep 1\nend\nend"), "= 1000000000000");
}

TEST_F(Scenario, IncludesFilesBesideTheIncludingOne)
{
    std::filesystem::create_directory(folder / "sub");
    Write("sub/one", "visibility 1 t\nsleep 1\ninclude two\nregion-data 3 hd @pixels");
    Write("sub/two", "log two");
    Write("sub/pixels", "\x10");
    Write("pixels", "\x20");
    EXPECT_EQ(StepsOf("repeat 2\ninclude sub/one\nend\ninclude " + folder.Path() + "/sub/two"),
              "0 region 1; 1000 log two; 1000 region 3; "
              "1000 region 1; 2000 log two; 2000 region 3; 2000 log two; = 2000");
    const sim::Scenario both = Parsed("region-data 3 hd @pixels\ninclude sub/one");
    EXPECT_EQ(BytesOf(both.steps.front().frame).back(), '\x20');
    EXPECT_EQ(BytesOf(both.steps.back().frame).back(), '\x10');
}

TEST_F(Scenario, KeepsOneFrameForEqualLines)
{
    const sim::Scenario scenario = Parsed("region-data 1 0 aa\nregion-data  1\t0 aa # again\n");
    ASSERT_EQ(scenario.steps.size(), 2u);
    EXPECT_EQ(scenario.steps[0].frame, scenario.steps[1].frame);
}

TEST_F(Scenario, TakesARecordOf16MiBAndNoLargerOne)
{
    constexpr std::size_t most = 16 * 1024 * 1024;
    Write("file", std::string(most - 6, 'x'));
    EXPECT_EQ(BytesOf(Parsed("region-data 1 0 @file").steps.at(0).frame).size(), 16u + most);
    EXPECT_EQ(MistakesOf("palette 1 0 t @file"), "main:1:15: a record of more than 16 MiB\n");
    Write("file", std::string(most - 5, 'x'));
    EXPECT_EQ(MistakesOf("region-data 1 0 @file"), "main:1:17: a record of more than 16 MiB\n");
    Write("file", std::string(most + 1, 'x'));
    EXPECT_EQ(MistakesOf("region-data 1 0 @file"),
              "main:1:17: '@file' cannot be read: more than 16777216 bytes\n");
}

TEST_F(Scenario, IsRefusedWithEveryMistake)
{
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    Write("included", "\nvisibility 3\nrepeat 2\n");
    Write("again", "include main\n");
    Write("main", "");
    const struct {
        const char* text;
        const char* mistakes;
    } rows[] = {
        {"sleep 1\n\n  regoin-data 1 2 3\n\nvisibility 300 maybe\n",
         "main:3:3: unknown directive 'regoin-data'; did you mean region-data?\n"
         "main:5:12: region '300' is not a number from 0 to 255\n"
         "main:5:16: visible 'maybe' is not true or false\n"},
        {"\tregion-data 1 CIF g0",
         "main:1:16: format 'CIF' is not hd, sd, cif or a number from 0 to 255; did you mean cif?\n"
         "main:1:20: 'g0' is not hex bytes, @FILE or -\n"},
        {"palette 1 256 2 0", "main:1:11: background code '256' is not a number from 0 to 255\n"
                              "main:1:15: fill '2' is not true or false\n"
                              "main:1:17: '0' is not hex bytes, @FILE or -\n"},
        {"visibility 3 ture",
         "main:1:14: visible 'ture' is not true or false; did you mean true?\n"},
        {"region-data 1 0 @missing",
         "main:1:17: '@missing' cannot be read: No such file or directory\n"},
        {"region-data 1 0 @", "main:1:17: '@' cannot be read: Is a directory\n"},
        {"region-data 1 0 @fifo", "main:1:17: '@fifo' cannot be read: not a file\n"},
        {"sleep 1m", "main:1:7: '1m' is not a time like 500 (milliseconds), 500ms or 2s\n"},
        {"wait-subscribers 5",
         "main:1:18: there is no subscription '5'; there are 1, 2, 3, 4, 6, 10 and 12\n"},
        {"faults", "main:1:1: faults is allowed only on the control socket\n"},
        {"end\n", "main:1:1: end without repeat\n"},
        {"repeat 2\n  repeat 3\nend\n", "main:1:1: repeat without end\n"},
        {"repeat 0\nvisibilty 1 t\nend",
         "main:1:8: '0' is not a number from 1 to 1000000\n"
         "main:2:1: unknown directive 'visibilty'; did you mean visibility?\n"},
        {"include missing", "main:1:9: 'missing' cannot be read: No such file or directory\n"},
        {"include included\nend", "included:2:1: expected: visibility REGION true|false\n"
                                  "included:3:1: repeat without end\n"
                                  "main:2:1: end without repeat\n"},
        {"include main", "main:1:9: 'main' includes itself\n"},
        {"include ./main", "main:1:9: './main' includes itself\n"},
        {"include again", "again:1:9: 'main' includes itself\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(MistakesOf(row.text), row.mistakes) << row.text;
    }
    const std::string nul(1, '\0');
    EXPECT_EQ(MistakesOf("include included" + nul + "\n"), "main:1:9: a NUL character\n");
}

TEST_F(Scenario, ShowsTwentyMistakes)
{
    const std::string twenty = Repeated(20, "x\n");
    std::string expected;
    for (int line = 1; line <= 20; ++line) {
        expected += "main:" + std::to_string(line) + ":1: unknown directive 'x'\n";
    }
    EXPECT_EQ(MistakesOf(twenty), expected);
    EXPECT_EQ(MistakesOf(twenty + "x\nx\n"),
              expected + "main: more than 20 mistakes; the rest is not shown\n");
}

TEST_F(Scenario, KeepsItsLimits)
{
    Write("empty", "");
    Write("large", std::string(16 * 1024 * 1024 - 6, 'x'));
    Write("text", "#" + std::string(32 * 1024 * 1024, 'x'));
    Write("deep16", "");
    for (int i = 0; i < 16; ++i) {
        Write("deep" + std::to_string(i), "include deep" + std::to_string(i + 1));
    }
    std::string records;
    for (int i = 0; i < 8; ++i) {
        records += "region-data " + std::to_string(i) + " 0 @large\n";
    }
    const struct {
        std::string text;
        const char* mistakes;
    } rows[] = {
        {"repeat 1000000\nlog x\nend\nlog x\nx",
         "main:4:1: the scenario has more than 1000000 steps\n"},
        {"repeat 1001\nrepeat 1000\nlog x\nend\n end",
         "main:5:2: the scenario has more than 1000000 steps\n"},
        {"sleep 1000000000s\nsleep 1",
         "main:2:1: the scenario is longer than 1000000000 seconds\n"},
        {"repeat 1000000\nrepeat 1000000\nsleep 1.1\nend\nend",
         "main:5:1: the scenario is longer than 1000000000 seconds\n"},
        {records, "main:8:1: the records of the scenario have more than 128 MiB\n"},
        {"include text\ninclude text\n",
         "main:2:1: the scenario and the files that it includes have more than 64 MiB\n"},
        {Repeated(1001, "include empty\n"),
         "main:1001:1: the scenario includes files more than 1000 times\n"},
        {"include deep0", "deep15:1:9: includes are nested more than 16 deep\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(MistakesOf(row.text), row.mistakes);
    }
    EXPECT_EQ(Parsed("repeat 1000000\nlog x\nend").steps.size(), 1000000u);
    EXPECT_EQ(Parsed(Repeated(1000, "include empty\n")).steps.size(), 0u);
    EXPECT_EQ(Parsed("include deep1\n#").steps.size(), 0u);
}

TEST_F(Scenario, IsReadAsAWholeOrRefusedWithTheReason)
{
    sim::Scenario loaded;
    std::vector<std::string> mistakes;
    EXPECT_FALSE(LoadScenario(path, loaded, mistakes));
    EXPECT_FALSE(LoadScenario(folder.Path(), loaded, mistakes));
    EXPECT_EQ(Joined(mistakes), path + ": cannot be read: No such file or directory\n" +
                                    folder.Path() + ": cannot be read: Is a directory\n");
    mistakes.clear();
    Write("main", Repeated(20000, "sleep 1\nvisibility 1 t\n"));
    ASSERT_TRUE(LoadScenario(path, loaded, mistakes));
    ASSERT_EQ(loaded.steps.size(), 20000u);
    EXPECT_EQ(loaded.steps.back().atUs, 20000000);
}

}  // namespace
