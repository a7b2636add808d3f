// What the tap shows of a service's publications.

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
visibility 3 f
)";

TEST_F(Tap, ShowsEveryKindOfNotificationUpToItsCount)
{
    service.Play(everything).Start();
    EXPECT_TEXT(Run({"--count", "6"}), R"(T data region 1 hd size 2: 0001
T data region 2 sd size 2: 0203
T data region 3 cif size 5: 00010203ff
T data region 4 format 7 size 0
T visibility region 3 visible
T palette region 2 fill background 31 size 2: 10ff
)");
}

TEST_F(Tap, ShowsChosenRegionsAndTimes)
{
    service.Play(everything).Start();
    EXPECT_TEXT(Run({"--regions", "3-4", "--time", "zero", "--count", "1"}),
                "0.000000 data region 3 cif size 5: 00010203ff\n");
}

TEST_F(Tap, SubscribesToChosenKindsInTheOrderOfTheConsole)
{
    service.Journal().Start();
    Run({"--seconds", "0"});
    Run({"--kinds", "palette,data", "--formats", "other,hd", "--seconds", "0"});
    std::string subscriptions;
    for (const std::string& line : service.WaitForJournalLines(9)) {
        static const std::regex others(".*\"subscription\":|,.*");
        subscriptions += " " + std::regex_replace(line, others, "");
    }
    EXPECT_EQ(subscriptions, " 2 3 4 12 6 10 2 12 10");
}

TEST_F(Tap, RefreshesOnceOrFails)
{
    service.Journal().Fault("refuse-refresh").Start();
    ExpectEnd(*Launch({"--refresh"}), 1, "SubtitleMgr does not refresh");
    const std::string last = service.WaitForJournalLines(7)[6];
    EXPECT_NE(last.find("RefreshRegions"), std::string::npos) << last;
}

TEST_F(Tap, ShowsALineOfRatesEachSecondAndAtTheEnd)
{
    service.Play(everything).Start();
    EXPECT_TEXT(Run({"--rates", "--seconds", "1.05"}),
                "T region 1: messages 1, bytes 8; region 2: messages 2, bytes 17; "
                "region 3: messages 3, bytes 15; region 4: messages 1, bytes 6\nT nothing\n");
}

}  // namespace
