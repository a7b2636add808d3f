#include "simulator/scenario.h"

#include "tests/harness/TempDir.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace platform;
using namespace sim;

namespace {

/// The directives of a text that has to be right.
Scenario Parsed(const std::string& text, const std::string& path = "demo.scenario")
{
    Scenario scenario;
    std::string problem;
    EXPECT_TRUE(ParseScenario(text, path, scenario, problem)) << problem;
    return scenario;
}

/// The one frame that a line publishes.
std::string FrameOf(const std::string& line, const std::string& path = "demo.scenario")
{
    const Scenario scenario = Parsed(line, path);
    if (scenario.size() != 1 || scenario[0].kind != Directive::Kind::Publish) {
        ADD_FAILURE() << line << " is not one publication";
        return "";
    }
    return BytesOf(scenario[0].frame);
}

/// What is said about a text that is wrong.
std::string ProblemOf(const std::string& text, const std::string& path = "demo.scenario")
{
    Scenario scenario;
    std::string problem;
    EXPECT_FALSE(ParseScenario(text, path, scenario, problem)) << text;
    return problem;
}

TEST(AScenario, PublishesRegionDataUnderTheSubscriptionOfItsFormat)
{
    const std::string pixels = Bytes({0x00, 0x01, 0xFE, 0xFF});
    const auto expected = [&](unsigned int subscription, unsigned int format) {
        return NotificationBytes(subscription, 15129, RegionDataRecord(3, format, pixels));
    };
    EXPECT_EQ(FrameOf("region-data 3 0 0001feff"), expected(2, 0));
    EXPECT_EQ(FrameOf("region-data 3 1 0001FEFF"), expected(3, 1));
    EXPECT_EQ(FrameOf("region-data 3 2 0001feFF"), expected(4, 2));
    EXPECT_EQ(FrameOf("region-data 3 3 0001feff"), expected(12, 3));
    EXPECT_EQ(FrameOf("region-data 3 255 0001feff"), expected(12, 255));
    EXPECT_EQ(Parsed("region-data 3 3 00")[0].number, 12u);
}

TEST(AScenario, PublishesAnyRegionNumber)
{
    EXPECT_EQ(FrameOf("region-data 0 0 -"),
              NotificationBytes(2, 15129, RegionDataRecord(0, 0, "")));
    EXPECT_EQ(FrameOf("region-data 255 0 -"),
              NotificationBytes(2, 15129, RegionDataRecord(255, 0, "")));
}

TEST(AScenario, PublishesVisibility)
{
    EXPECT_EQ(FrameOf("visibility 3 t"), NotificationBytes(6, 15132, VisibilityRecord(3, true)));
    EXPECT_EQ(FrameOf("visibility 14 f"), NotificationBytes(6, 15132, VisibilityRecord(14, false)));
}

TEST(AScenario, PublishesPalettes)
{
    EXPECT_EQ(FrameOf("palette 2 31 t 10ff"),
              NotificationBytes(10, 15133, PaletteRecord(2, 31, true, "\x10\xff")));
    EXPECT_EQ(FrameOf("palette 2 255 f -"),
              NotificationBytes(10, 15133, PaletteRecord(2, 255, false, "")));
}

TEST(AScenario, SleepsAndWaits)
{
    const Scenario scenario = Parsed("sleep 500\nwait-subscribers 10\nsleep 4294967295\n");
    ASSERT_EQ(scenario.size(), 3u);
    EXPECT_EQ(scenario[0].kind, Directive::Kind::Sleep);
    EXPECT_EQ(scenario[0].number, 500u);
    EXPECT_EQ(scenario[1].kind, Directive::Kind::WaitSubscribers);
    EXPECT_EQ(scenario[1].number, 10u);
    EXPECT_EQ(scenario[2].number, 4294967295u);
}

TEST(AScenario, IgnoresCommentsBlankLinesAndCarriageReturns)
{
    const Scenario scenario =
        Parsed("# a comment\n\n   \t\r\n  sleep\t1   # until it shows\r\n#\nsleep 2#x\nsleep 3");
    ASSERT_EQ(scenario.size(), 3u);
    EXPECT_EQ(scenario[0].number, 1u);
    EXPECT_EQ(scenario[1].number, 2u);
    EXPECT_EQ(scenario[2].number, 3u);
}

TEST(AScenario, MayBeEmpty) { EXPECT_TRUE(Parsed("").empty()); }

TEST(AScenario, ReadsFilesBesideIt)
{
    const TempDir folder;
    WriteWholeFile(folder / "pixels.bin", std::string("\0\1\2", 3));
    const std::string path = folder / "demo.scenario";
    const std::string pixels("\0\1\2", 3);
    EXPECT_EQ(FrameOf("region-data 1 0 @pixels.bin", path),
              NotificationBytes(2, 15129, RegionDataRecord(1, 0, pixels)));
    EXPECT_EQ(FrameOf("palette 1 0 t @pixels.bin", path),
              NotificationBytes(10, 15133, PaletteRecord(1, 0, true, pixels)));
    EXPECT_EQ(FrameOf("region-data 1 0 @" + folder.Path() + "/pixels.bin"),
              NotificationBytes(2, 15129, RegionDataRecord(1, 0, pixels)));
}

TEST(AScenario, MayNameAFileAgain)
{
    const TempDir folder;
    WriteWholeFile(folder / "pixels.bin", "ab");
    const Scenario scenario = Parsed("region-data 1 0 @pixels.bin\npalette 2 0 f @pixels.bin\n",
                                     folder / "demo.scenario");
    ASSERT_EQ(scenario.size(), 2u);
    EXPECT_EQ(BytesOf(scenario[0].frame),
              NotificationBytes(2, 15129, RegionDataRecord(1, 0, "ab")));
    EXPECT_EQ(BytesOf(scenario[1].frame),
              NotificationBytes(10, 15133, PaletteRecord(2, 0, false, "ab")));
}

TEST(AScenario, KeepsOneFrameForLinesThatSayTheSame)
{
    const Scenario scenario = Parsed("region-data 1 0 aa\nregion-data  1\t0 aa # again\n");
    ASSERT_EQ(scenario.size(), 2u);
    EXPECT_EQ(scenario[0].frame, scenario[1].frame);
}

TEST(AScenario, TakesARecordOf16MiBAndNoLargerOne)
{
    const TempDir folder;
    const std::string path = folder / "demo.scenario";
    WriteWholeFile(folder / "large", std::string(16 * 1024 * 1024 - 6, 'x'));
    EXPECT_EQ(FrameOf("region-data 1 0 @large", path).size(), 16u + 16u * 1024u * 1024u);
    WriteWholeFile(folder / "larger", std::string(16 * 1024 * 1024 - 5, 'x'));
    EXPECT_EQ(ProblemOf("region-data 1 0 @larger", path),
              path + ":1: a record of more than 16 MiB");
    EXPECT_EQ(ProblemOf("palette 1 0 t @larger", path), path + ":1: a record of more than 16 MiB");
    EXPECT_EQ(ProblemOf("region-data 1 0 @/dev/zero", path),
              path + ":1: '@/dev/zero' cannot be read: not a file");
}

TEST(AScenario, ReadsNoFileThatIsLargerThanARecord)
{
    const TempDir folder;
    WriteWholeFile(folder / "large", std::string(16 * 1024 * 1024 + 1, 'x'));
    EXPECT_EQ(ProblemOf("region-data 1 0 @large", folder / "demo.scenario"),
              folder / "demo.scenario:1: '@large' cannot be read: more than 16777216 bytes");
}

TEST(AScenario, NamesFileLineAndReasonOfAMistake)
{
    EXPECT_EQ(ProblemOf("sleep 1\n\nregoin-data 1 2 3\n"),
              "demo.scenario:3: unknown directive 'regoin-data'");
}

TEST(AScenario, RefusesMissingAndSurplusWords)
{
    EXPECT_EQ(ProblemOf("region-data 3 2"),
              "demo.scenario:1: expected: region-data REGION FORMAT DATA");
    EXPECT_EQ(ProblemOf("region-data 3 2 00 01"),
              "demo.scenario:1: expected: region-data REGION FORMAT DATA");
    EXPECT_EQ(ProblemOf("visibility 3"), "demo.scenario:1: expected: visibility REGION t|f");
    EXPECT_EQ(ProblemOf("visibility 3 t t"), "demo.scenario:1: expected: visibility REGION t|f");
    EXPECT_EQ(ProblemOf("palette 2 31 t"),
              "demo.scenario:1: expected: palette REGION BACKGROUND t|f DATA");
    EXPECT_EQ(ProblemOf("palette"),
              "demo.scenario:1: expected: palette REGION BACKGROUND t|f DATA");
    EXPECT_EQ(ProblemOf("sleep"), "demo.scenario:1: expected: sleep MILLISECONDS");
    EXPECT_EQ(ProblemOf("wait-subscribers"),
              "demo.scenario:1: expected: wait-subscribers SUBSCRIPTION");
}

TEST(AScenario, RefusesNumbersOutsideTheirRange)
{
    EXPECT_EQ(ProblemOf("region-data 256 2 00"),
              "demo.scenario:1: region '256' is not a number from 0 to 255");
    EXPECT_EQ(ProblemOf("region-data -1 2 00"),
              "demo.scenario:1: region '-1' is not a number from 0 to 255");
    EXPECT_EQ(ProblemOf("region-data 1 0x2 00"),
              "demo.scenario:1: format '0x2' is not a number from 0 to 255");
    EXPECT_EQ(ProblemOf("region-data 1 99999999999999999999999 00"),
              "demo.scenario:1: format '99999999999999999999999' is not a number from 0 to 255");
    EXPECT_EQ(ProblemOf("visibility 256 t"),
              "demo.scenario:1: region '256' is not a number from 0 to 255");
    EXPECT_EQ(ProblemOf("palette 256 1 t -"),
              "demo.scenario:1: region '256' is not a number from 0 to 255");
    EXPECT_EQ(ProblemOf("palette 1 256 t -"),
              "demo.scenario:1: background code '256' is not a number from 0 to 255");
    EXPECT_EQ(ProblemOf("sleep 4294967296"),
              "demo.scenario:1: '4294967296' is not a number of milliseconds");
    EXPECT_EQ(ProblemOf("sleep 1s"), "demo.scenario:1: '1s' is not a number of milliseconds");
    EXPECT_EQ(
        ProblemOf("wait-subscribers all"),
        "demo.scenario:1: there is no subscription 'all'; there are 1, 2, 3, 4, 6, 10 and 12");
    EXPECT_EQ(ProblemOf("wait-subscribers 5"),
              "demo.scenario:1: there is no subscription '5'; there are 1, 2, 3, 4, 6, 10 and 12");
}

TEST(AScenario, RefusesOtherWordsThanTAndF)
{
    EXPECT_EQ(ProblemOf("visibility 3 true"), "demo.scenario:1: visible 'true' is not t or f");
    EXPECT_EQ(ProblemOf("palette 3 1 T -"), "demo.scenario:1: fill 'T' is not t or f");
}

TEST(AScenario, RefusesWhatIsNotHex)
{
    EXPECT_EQ(ProblemOf("region-data 3 2 0"), "demo.scenario:1: '0' is not hex bytes, @FILE or -");
    EXPECT_EQ(ProblemOf("region-data 3 2 0g"),
              "demo.scenario:1: '0g' is not hex bytes, @FILE or -");
    EXPECT_EQ(ProblemOf("region-data 3 2 g0"),
              "demo.scenario:1: 'g0' is not hex bytes, @FILE or -");
    EXPECT_EQ(ProblemOf("palette 3 2 t --"), "demo.scenario:1: '--' is not hex bytes, @FILE or -");
}

TEST(AScenario, SaysWhyAFileCannotBeRead)
{
    const TempDir folder;
    const std::string path = folder / "demo.scenario";
    EXPECT_EQ(ProblemOf("region-data 1 0 @missing", path),
              path + ":1: '@missing' cannot be read: No such file or directory");
    EXPECT_EQ(ProblemOf("region-data 1 0 @", path),
              path + ":1: '@' cannot be read: Is a directory");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(ProblemOf("region-data 1 0 @fifo", path),
              path + ":1: '@fifo' cannot be read: not a file");
}

TEST(AScenario, ShowsNoControlBytesAndNoEndlessWordInAMessage)
{
    EXPECT_EQ(ProblemOf("\x1b[2J\x9b"), "demo.scenario:1: unknown directive '?[2J?'");
    EXPECT_EQ(ProblemOf(std::string(1000, 'x')),
              "demo.scenario:1: unknown directive '" + std::string(40, 'x') + "...'");
    EXPECT_EQ(ProblemOf(std::string("sle\0ep 1", 8)),
              "demo.scenario:1: unknown directive 'sle?ep'");
}

TEST(AScenarioFile, ThatCannotBeReadIsRefusedWithTheReason)
{
    const TempDir folder;
    Scenario scenario;
    std::string problem;
    EXPECT_FALSE(LoadScenario(folder / "missing", scenario, problem));
    EXPECT_EQ(problem, folder / "missing" + ": cannot be read: No such file or directory");
    EXPECT_FALSE(LoadScenario(folder.Path(), scenario, problem));
    EXPECT_EQ(problem, folder.Path() + ": cannot be read: Is a directory");
}

TEST(AScenarioFile, IsReadAsAWhole)
{
    const TempDir folder;
    std::string text;
    for (unsigned int i = 0; i < 20000; ++i) {
        text += "sleep " + std::to_string(i) + "\n";
    }
    WriteWholeFile(folder / "long", text);
    Scenario scenario;
    std::string problem;
    ASSERT_TRUE(LoadScenario(folder / "long", scenario, problem)) << problem;
    ASSERT_EQ(scenario.size(), 20000u);
    EXPECT_EQ(scenario[19999].number, 19999u);
}

}  // namespace
