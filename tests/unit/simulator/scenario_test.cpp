#include "simulator/scenario.h"

#include "tests/harness/TempDir.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

class Scenario : public testing::Test {
protected:
    /// The directives of a valid text.
    sim::Scenario Parsed(const std::string& text) const
    {
        sim::Scenario scenario;
        std::string problem;
        EXPECT_TRUE(ParseScenario(text, path, scenario, problem)) << problem;
        return scenario;
    }

    /// The frame that a line publishes.
    std::string FrameOf(const std::string& line) const
    {
        const sim::Scenario scenario = Parsed(line);
        if (scenario.size() != 1 || scenario[0].kind != Directive::Kind::Publish) {
            ADD_FAILURE() << line << " is not one publication";
            return "";
        }
        return BytesOf(scenario[0].frame);
    }

    /// The error message for an invalid text, without the path.
    std::string ProblemOf(const std::string& text) const
    {
        sim::Scenario scenario;
        std::string problem;
        EXPECT_FALSE(ParseScenario(text, path, scenario, problem)) << text;
        EXPECT_EQ(problem.substr(0, path.size() + 1), path + ":");
        return problem.substr(path.size() + 1);
    }

    const TempDir folder;
    const std::string path = folder / "demo.scenario";
};

TEST_F(Scenario, PublishesRegionDataByItsFormat)
{
    const std::string pixels = Bytes({0x00, 0x01, 0xFE, 0xFF});
    const auto expected = [&](unsigned int subscription, unsigned int region, unsigned int format) {
        return NotificationBytes(subscription, 15129, RegionDataRecord(region, format, pixels));
    };
    EXPECT_EQ(FrameOf("region-data 0 0 0001feff"), expected(2, 0, 0));
    EXPECT_EQ(FrameOf("region-data 3 1 0001FEFF"), expected(3, 3, 1));
    EXPECT_EQ(FrameOf("region-data 3 2 0001feFF"), expected(4, 3, 2));
    EXPECT_EQ(FrameOf("region-data 3 3 0001feff"), expected(12, 3, 3));
    EXPECT_EQ(FrameOf("region-data 255 255 0001feff"), expected(12, 255, 255));
    EXPECT_EQ(Parsed("region-data 3 3 00")[0].number, 12u);
}

TEST_F(Scenario, PublishesVisibility)
{
    EXPECT_EQ(FrameOf("visibility 3 t"), NotificationBytes(6, 15132, VisibilityRecord(3, true)));
    EXPECT_EQ(FrameOf("visibility 14 f"), NotificationBytes(6, 15132, VisibilityRecord(14, false)));
}

TEST_F(Scenario, PublishesPalettes)
{
    EXPECT_EQ(FrameOf("palette 2 31 t 10ff"),
              NotificationBytes(10, 15133, PaletteRecord(2, 31, true, "\x10\xff")));
    EXPECT_EQ(FrameOf("palette 2 255 f -"),
              NotificationBytes(10, 15133, PaletteRecord(2, 255, false, "")));
}

TEST_F(Scenario, SleepsAndWaits)
{
    const sim::Scenario scenario = Parsed("sleep 500\nwait-subscribers 10\nsleep 4294967295\n");
    ASSERT_EQ(scenario.size(), 3u);
    EXPECT_EQ(scenario[0].kind, Directive::Kind::Sleep);
    EXPECT_EQ(scenario[0].number, 500u);
    EXPECT_EQ(scenario[1].kind, Directive::Kind::WaitSubscribers);
    EXPECT_EQ(scenario[1].number, 10u);
    EXPECT_EQ(scenario[2].number, 4294967295u);
}

TEST_F(Scenario, IgnoresCommentsBlankLinesAndCarriageReturns)
{
    EXPECT_TRUE(Parsed("").empty());
    const sim::Scenario scenario =
        Parsed("# a comment\n\n   \t\r\n  sleep\t1   # until it shows\r\n#\nsleep 2#x\nsleep 3");
    ASSERT_EQ(scenario.size(), 3u);
    EXPECT_EQ(scenario[0].number, 1u);
    EXPECT_EQ(scenario[1].number, 2u);
    EXPECT_EQ(scenario[2].number, 3u);
}

TEST_F(Scenario, ReadsFilesInItsFolder)
{
    const std::string pixels("\0\1\2", 3);
    const std::string bitmap = NotificationBytes(2, 15129, RegionDataRecord(1, 0, pixels));
    WriteWholeFile(folder / "pixels.bin", pixels);
    EXPECT_EQ(FrameOf("region-data 1 0 @pixels.bin"), bitmap);
    EXPECT_EQ(FrameOf("region-data 1 0 @" + folder.Path() + "/pixels.bin"), bitmap);
    const sim::Scenario again = Parsed("region-data 1 0 @pixels.bin\npalette 1 0 t @pixels.bin\n");
    ASSERT_EQ(again.size(), 2u);
    EXPECT_EQ(BytesOf(again[1].frame),
              NotificationBytes(10, 15133, PaletteRecord(1, 0, true, pixels)));
}

TEST_F(Scenario, KeepsOneFrameForEqualLines)
{
    const sim::Scenario scenario = Parsed("region-data 1 0 aa\nregion-data  1\t0 aa # again\n");
    ASSERT_EQ(scenario.size(), 2u);
    EXPECT_EQ(scenario[0].frame, scenario[1].frame);
}

TEST_F(Scenario, TakesARecordOf16MiBAndNoLargerOne)
{
    constexpr std::size_t most = 16 * 1024 * 1024;
    WriteWholeFile(folder / "file", std::string(most - 6, 'x'));
    EXPECT_EQ(FrameOf("region-data 1 0 @file").size(), 16u + most);
    EXPECT_EQ(ProblemOf("palette 1 0 t @file"), "1: a record of more than 16 MiB");
    WriteWholeFile(folder / "file", std::string(most - 5, 'x'));
    EXPECT_EQ(ProblemOf("region-data 1 0 @file"), "1: a record of more than 16 MiB");
    WriteWholeFile(folder / "file", std::string(most + 1, 'x'));
    EXPECT_EQ(ProblemOf("region-data 1 0 @file"),
              "1: '@file' cannot be read: more than 16777216 bytes");
}

TEST_F(Scenario, RefusesALineWithItsNumberAndReason)
{
    const struct {
        const char* line;
        const char* reason;
    } rows[] = {
        {"regoin-data 1 2 3", "unknown directive 'regoin-data'"},
        {"\x1b[2J\x9b", "unknown directive '?[2J?'"},
        {"region-data 3 2", "expected: region-data REGION FORMAT DATA"},
        {"region-data 3 2 00 01", "expected: region-data REGION FORMAT DATA"},
        {"visibility 3", "expected: visibility REGION t|f"},
        {"visibility 3 t t", "expected: visibility REGION t|f"},
        {"palette 2 31 t", "expected: palette REGION BACKGROUND t|f DATA"},
        {"palette", "expected: palette REGION BACKGROUND t|f DATA"},
        {"sleep", "expected: sleep MILLISECONDS"},
        {"wait-subscribers", "expected: wait-subscribers SUBSCRIPTION"},
        {"region-data 256 2 00", "region '256' is not a number from 0 to 255"},
        {"region-data -1 2 00", "region '-1' is not a number from 0 to 255"},
        {"region-data 1 0x2 00", "format '0x2' is not a number from 0 to 255"},
        {"region-data 1 99999999999999999999999 00",
         "format '99999999999999999999999' is not a number from 0 to 255"},
        {"visibility 256 t", "region '256' is not a number from 0 to 255"},
        {"palette 256 1 t -", "region '256' is not a number from 0 to 255"},
        {"palette 1 256 t -", "background code '256' is not a number from 0 to 255"},
        {"sleep 4294967296", "'4294967296' is not a number of milliseconds"},
        {"sleep 1s", "'1s' is not a number of milliseconds"},
        {"wait-subscribers all",
         "there is no subscription 'all'; there are 1, 2, 3, 4, 6, 10 and 12"},
        {"wait-subscribers 5", "there is no subscription '5'; there are 1, 2, 3, 4, 6, 10 and 12"},
        {"visibility 3 true", "visible 'true' is not t or f"},
        {"palette 3 1 T -", "fill 'T' is not t or f"},
        {"region-data 3 2 0", "'0' is not hex bytes, @FILE or -"},
        {"region-data 3 2 0g", "'0g' is not hex bytes, @FILE or -"},
        {"region-data 3 2 g0", "'g0' is not hex bytes, @FILE or -"},
        {"palette 3 2 t --", "'--' is not hex bytes, @FILE or -"},
        {"region-data 1 0 @missing", "'@missing' cannot be read: No such file or directory"},
        {"region-data 1 0 @", "'@' cannot be read: Is a directory"},
        {"region-data 1 0 @fifo", "'@fifo' cannot be read: not a file"},
        {"region-data 1 0 @/dev/zero", "'@/dev/zero' cannot be read: not a file"},
    };
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const auto& row : rows) {
        EXPECT_EQ(ProblemOf(std::string("sleep 1\n\n") + row.line + "\nsleep 1\n"),
                  std::string("3: ") + row.reason);
    }
}

TEST_F(Scenario, ShowsNoZeroByteAndNoEndlessWordInAMessage)
{
    EXPECT_EQ(ProblemOf(std::string(1000, 'x')),
              "1: unknown directive '" + std::string(40, 'x') + "...'");
    EXPECT_EQ(ProblemOf(std::string("sle\0ep 1", 8)), "1: unknown directive 'sle?ep'");
}

class ScenarioFile : public Scenario {
protected:
    sim::Scenario loaded;
    std::string problem;
};

TEST_F(ScenarioFile, IsRefusedWithTheReasonWhenItCannotBeRead)
{
    EXPECT_FALSE(LoadScenario(path, loaded, problem));
    EXPECT_EQ(problem, path + ": cannot be read: No such file or directory");
    EXPECT_FALSE(LoadScenario(folder.Path(), loaded, problem));
    EXPECT_EQ(problem, folder.Path() + ": cannot be read: Is a directory");
}

TEST_F(ScenarioFile, IsReadAsAWhole)
{
    std::string text;
    for (unsigned int i = 0; i < 20000; ++i) {
        text += "sleep " + std::to_string(i) + "\n";
    }
    WriteWholeFile(path, text);
    ASSERT_TRUE(LoadScenario(path, loaded, problem)) << problem;
    ASSERT_EQ(loaded.size(), 20000u);
    EXPECT_EQ(loaded[19999].number, 19999u);
}

}  // namespace
