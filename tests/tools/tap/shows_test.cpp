// What the tap shows of a service's publications.

#include "tests/harness/text_compare.h"
#include "tests/tools/tap/TapSession.h"

namespace {

using Tap = TapSession;

const std::string everything = R"(wait-subscribers 10
region-data 1 0 0001
region-data 2 1 0203
region-data 3 2 00010203ff
region-data 4 7 -
visibility 3 t
palette 2 31 t 10ff
)";

TEST_F(Tap, ShowsEveryKindOfNotification)
{
    service.Play(everything).Start();
    const Ended tap = Run({"--count", "6"});
    EXPECT_EQ(tap.status, 0);
    EXPECT_EQ(tap.errors, "");
    EXPECT_TEXT(Shown(tap.output), R"(T data region 1 hd size 2: 0001
T data region 2 sd size 2: 0203
T data region 3 cif size 5: 00010203ff
T data region 4 format 7 size 0
T visibility region 3 visible
T palette region 2 fill background 31 size 2: 10ff
)");
}

TEST_F(Tap, ShowsChosenRegions)
{
    service.Play(everything).Start();
    EXPECT_TEXT(Shown(Run({"--regions", "1,3-4", "--count", "4"}).output),
                "T data region 1 hd size 2: 0001\n"
                "T data region 3 cif size 5: 00010203ff\n"
                "T data region 4 format 7 size 0\n"
                "T visibility region 3 visible\n");
}

TEST_F(Tap, SubscribesToChosenKindsInTheOrderOfTheConsole)
{
    service.Journal().Start();
    EXPECT_EQ(Run({"--seconds", "0"}).status, 0);
    EXPECT_EQ(Run({"--kinds", "palette,data", "--formats", "other,hd", "--seconds", "0"}).status,
              0);
    std::string subscriptions;
    for (const std::string& line : service.WaitForJournalLines(9)) {
        const std::size_t at = line.find("\"subscription\":");
        ASSERT_NE(at, std::string::npos) << line;
        subscriptions += " " + std::to_string(std::stoi(line.substr(at + 15)));
    }
    EXPECT_EQ(subscriptions, " 2 3 4 12 6 10 2 12 10");
}

TEST_F(Tap, RefreshesOnce)
{
    service.Play("visibility 3 t\n").Journal().Start();
    const Ended tap = Run({"--refresh", "--json", "--seconds", "0"});
    EXPECT_EQ(tap.status, 0);
    const std::vector<std::string> lines = service.WaitForJournalLines(7);
    EXPECT_NE(lines[6].find("RefreshRegions"), std::string::npos) << lines[6];
}

TEST_F(Tap, FailsWhenTheServiceRefusesToRefresh)
{
    service.Fault("refuse-refresh").Start();
    const Ended tap = Run({"--refresh"});
    EXPECT_EQ(tap.status, 1);
    EXPECT_EQ(tap.errors, "SubtitleMgrTap: SubtitleMgr does not refresh\n");
}

TEST_F(Tap, ShowsTimesSinceTheFirstOrTheLastLine)
{
    service.Play("wait-subscribers 10\nvisibility 1 t\nsleep 30\nvisibility 2 t\n").Start();
    const Ended tap = Run({"--count", "2", "--time", "delta"});
    const std::size_t line = tap.output.find('\n') + 1;
    EXPECT_TEXT(tap.output.substr(0, line), "0.000000 visibility region 1 visible\n");
    EXPECT_GE(std::stod(tap.output.substr(line)), 0.02);
    EXPECT_LT(std::stod(tap.output.substr(line)), 10);
}

TEST_F(Tap, ShowsRates)
{
    service.Play(everything + "visibility 3 f\n").Start();
    const Ended tap = Run({"--rates", "--count", "7"});
    EXPECT_EQ(tap.status, 0);
    EXPECT_TEXT(Shown(tap.output),
                "T region 1: messages 1, bytes 8; region 2: messages 2, bytes 17; "
                "region 3: messages 3, bytes 15; region 4: messages 1, bytes 6\n");
}

TEST_F(Tap, ShowsALineOfRatesEachSecond)
{
    service.Start();
    const auto tap = Launch({"--rates"});
    for (int line = 0; line < 2; ++line) {
        tap->WaitForOutput("Z nothing\n");
    }
    EXPECT_EQ(Shown(tap->Output()), "T nothing\nT nothing\n");
    tap->Signal(SIGTERM);
    EXPECT_EQ(tap->WaitForExit(), 0);
}

}  // namespace
