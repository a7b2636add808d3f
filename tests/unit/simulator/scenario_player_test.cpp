#include "simulator/scenario_player.h"

#include "tests/unit/simulator/recording_audience.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using namespace platform;
using namespace sim;

namespace {

class AScenarioPlayer : public testing::Test {
protected:
    Scenario Lines(const std::string& text)
    {
        Scenario parsed;
        std::string problem;
        EXPECT_TRUE(ParseScenario(text, "test", parsed, problem)) << problem;
        return parsed;
    }

    /// Frames of visibility, by their region numbers, as they were published.
    std::vector<unsigned int> Regions() const
    {
        std::vector<unsigned int> regions;
        for (const std::string& frame : audience.published) {
            regions.push_back(static_cast<unsigned char>(frame.at(frameHeaderSize)));
        }
        return regions;
    }

    using Numbers = std::vector<unsigned int>;

    RecordingAudience audience;
};

TEST_F(AScenarioPlayer, PublishesTheLinesInOrderAndIsDone)
{
    const Scenario scenario = Lines("visibility 1 t\nregion-data 2 0 00\nvisibility 3 f\n");
    ScenarioPlayer player(scenario, false, audience);
    EXPECT_EQ(player.Advance(), ScenarioPlayer::waitForEvent);
    EXPECT_EQ(Regions(), (Numbers{1, 2, 3}));
    EXPECT_EQ(player.Advance(), ScenarioPlayer::waitForEvent);
    EXPECT_EQ(Regions(), (Numbers{1, 2, 3}));
}

TEST_F(AScenarioPlayer, WaitsUntilSomebodyHoldsTheSubscription)
{
    const Scenario scenario = Lines("wait-subscribers 10\nvisibility 1 t\n");
    audience.subscribed = {6};
    ScenarioPlayer player(scenario, false, audience);
    EXPECT_EQ(player.Advance(), ScenarioPlayer::waitForEvent);
    EXPECT_EQ(Regions(), (Numbers{}));
    audience.subscribed = {6, 10};
    player.Advance();
    EXPECT_EQ(Regions(), (Numbers{1}));
}

TEST_F(AScenarioPlayer, WaitsForRoomBeforeItPublishes)
{
    const Scenario scenario = Lines("visibility 1 t\nvisibility 2 t\n");
    ScenarioPlayer player(scenario, false, audience);
    audience.readiness = Audience::Readiness::Full;
    EXPECT_EQ(player.Advance(), ScenarioPlayer::waitForEvent);
    EXPECT_EQ(Regions(), (Numbers{}));
    EXPECT_EQ(audience.askedSize, 16u + 2u);
    audience.readiness = Audience::Readiness::Ready;
    player.Advance();
    EXPECT_EQ(Regions(), (Numbers{1, 2}));
}

TEST_F(AScenarioPlayer, PublishesToThoseForWhomNobodyWaits)
{
    const Scenario scenario = Lines("visibility 1 t\n");
    audience.readiness = Audience::Readiness::NoReader;
    ScenarioPlayer player(scenario, false, audience);
    player.Advance();
    EXPECT_EQ(Regions(), (Numbers{1}));
}

TEST_F(AScenarioPlayer, SleepsAsLongAsItIsTold)
{
    const Scenario scenario = Lines("sleep 50\nvisibility 1 t\n");
    ScenarioPlayer player(scenario, false, audience);
    const auto start = std::chrono::steady_clock::now();
    int waitMs = player.Advance();
    EXPECT_GT(waitMs, 40);
    EXPECT_LE(waitMs, 50);
    EXPECT_GT(player.Advance(), 0);
    EXPECT_EQ(Regions(), (Numbers{}));
    while (Regions().empty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
        waitMs = player.Advance();
        ASSERT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

TEST_F(AScenarioPlayer, DoesNotOverflowInAVeryLongSleep)
{
    const Scenario scenario = Lines("sleep 4294967295\n");
    ScenarioPlayer player(scenario, false, audience);
    EXPECT_EQ(player.Advance(), 24 * 60 * 60 * 1000);
}

TEST_F(AScenarioPlayer, TakesATurnsShareOfManyLines)
{
    std::string text;
    for (unsigned int i = 0; i < 200; ++i) {
        text += "visibility " + std::to_string(i) + " t\n";
    }
    const Scenario scenario = Lines(text);
    ScenarioPlayer player(scenario, false, audience);
    EXPECT_EQ(player.Advance(), 0);
    EXPECT_EQ(Regions().size(), 64u);
    EXPECT_EQ(player.Advance(), 0);
    EXPECT_EQ(Regions().size(), 128u);
}

TEST_F(AScenarioPlayer, TakesATurnsShareOfLargeRecords)
{
    std::string line = "region-data 1 0 " + std::string(2 * 300000, '0') + "\n";
    const Scenario scenario = Lines(line + line + line + line + line + line);
    ScenarioPlayer player(scenario, false, audience);
    EXPECT_EQ(player.Advance(), 0);
    EXPECT_EQ(audience.published.size(), 4u);
}

TEST_F(AScenarioPlayer, StartsAgainWhenItIsToLoop)
{
    const Scenario scenario = Lines("visibility 1 t\nvisibility 2 t\n");
    ScenarioPlayer player(scenario, true, audience);
    EXPECT_EQ(player.Advance(), 0);
    ASSERT_GE(Regions().size(), 4u);
    EXPECT_EQ(Regions()[2], 1u);
    EXPECT_EQ(Regions()[3], 2u);
}

TEST_F(AScenarioPlayer, RestsBetweenPassesThatNobodyReads)
{
    const Scenario scenario = Lines("visibility 1 t\n");
    audience.subscribed.clear();
    ScenarioPlayer player(scenario, true, audience);
    const int waitMs = player.Advance();
    EXPECT_GT(waitMs, 0);  // less than all of it by what a busy machine has taken
    EXPECT_LE(waitMs, 100);
}

TEST_F(AScenarioPlayer, RestsWhenThereIsNothingToLoop)
{
    const Scenario scenario = Lines("# nothing\n");
    ScenarioPlayer player(scenario, true, audience);
    EXPECT_GT(player.Advance(), 90);
}

}  // namespace
