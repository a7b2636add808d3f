#include "tests/unit/console/console_run.h"

#include <RegionDataItem.h>

#include <string>

namespace {

using TheMenu = ConsoleRun;

TEST_F(TheMenu, IsLeftByXAndByQWithTheSameResult)
{
    EXPECT_TEXT(Run("x\n"), UnsubscribedMenu());
    EXPECT_EQ(result, 3u);
    result = 0;
    EXPECT_TEXT(Run("q\n"), UnsubscribedMenu());
    EXPECT_EQ(result, 3u);
    EXPECT_TEXT(errors, "");
}

TEST_F(TheMenu, SaysWhetherTheReceiveThreadMayRead)
{
    subscribed = true;
    EXPECT_TEXT(Run("x\n"), SubscribedMenu());
    EXPECT_TRUE(subscribed) << "leaving must not clear the flag";
}

TEST_F(TheMenu, PrintsNothingForUnknownKeysAndIsShownAgain)
{
    for (const std::string key : {"9", "0", "w", "X", "z", "R", "S", "C", "K", "Q", "?"}) {
        EXPECT_TEXT(Run(key + "\nx\n"), UnsubscribedMenu() + UnsubscribedMenu());
    }
    EXPECT_TEXT(errors, "");
}

TEST_F(TheMenu, DiscardsOneCharacterBehindAnUnknownKey)
{
    // The s is discarded: no report.
    EXPECT_TEXT(Run("9sx"), UnsubscribedMenu() + UnsubscribedMenu());
    EXPECT_TEXT(Run("9\nsx"),
                UnsubscribedMenu() + UnsubscribedMenu() + EmptyRegionReport() + UnsubscribedMenu());
}

TEST_F(TheMenu, RunsACommandForEachCharacterOfALine)
{
    EXPECT_TEXT(Run("ssx\n"), UnsubscribedMenu() + EmptyRegionReport() + UnsubscribedMenu() +
                                  EmptyRegionReport() + UnsubscribedMenu());
    EXPECT_EQ(rest, "\n");
}

TEST_F(TheMenu, ClearsTheStatisticsByC)
{
    RegionDataItem item;
    item.regionId = 1;
    item.data = {1, 2};
    subtitleStats.AddRegionData(item);
    EXPECT_TEXT(Run("csx\n"),
                UnsubscribedMenu() + UnsubscribedMenu() + EmptyRegionReport() + UnsubscribedMenu());
}

TEST_F(TheMenu, AsksTheServiceToQuitByKAndStaysOpen)
{
    EXPECT_TEXT(Run("kx\n"), UnsubscribedMenu() + UnsubscribedMenu());
    EXPECT_TEXT(errors, "Shut down Requested\nError running quit\n");
}

TEST_F(TheMenu, ReachesTheDynamicTest)
{
    const std::string output = Run("7\n1\nxx\n");
    EXPECT_TEXT(output.substr(0, UnsubscribedMenu().size() + 17),
                UnsubscribedMenu() + "Enter region ID: ");
    EXPECT_TEXT(output.substr(output.size() - UnsubscribedMenu().size()), UnsubscribedMenu());
}

TEST_F(TheMenu, ReachesTheSensorTest)
{
    const std::string output = Run("8xx\n");
    EXPECT_TEXT(output.substr(0, UnsubscribedMenu().size() + 26),
                UnsubscribedMenu() + "\nChoose an sensor option:\n");
    EXPECT_TEXT(errors, "Error Sending sensor\n");
}

TEST_F(TheMenu, AsksForTheRegionToInvertAndPrintsNothingElse)
{
    EXPECT_TEXT(Run("6\n300\nx\n"), UnsubscribedMenu() + "Enter region ID: " + UnsubscribedMenu());
    EXPECT_TEXT(errors, "");
}

TEST_F(TheMenu, DiscardsOneCharacterBehindTheRegionToInvert)
{
    EXPECT_TEXT(Run("6 3sx\n"), UnsubscribedMenu() + "Enter region ID: " + UnsubscribedMenu());
}

}  // namespace
