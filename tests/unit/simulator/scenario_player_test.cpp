#include "simulator/scenario_player.h"

#include "tests/harness/wait_limits.h"
#include "tests/unit/simulator/recording_audience.h"

#include "platform/src/deadline.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

namespace {

using Numbers = std::vector<unsigned int>;
using Readiness = Audience::Readiness;
using std::chrono::milliseconds;

constexpr int waitForEvent = sim::ScenarioPlayer::waitForEvent;

class ScenarioPlayer : public testing::Test {
protected:
    /// Plays a turn's share of a scenario. \return the result of Advance()
    int Play(const std::string& text, bool loop = false)
    {
        scenario = {};
        std::vector<std::string> mistakes;
        EXPECT_TRUE(ParseScenario(text, "test", scenario, mistakes)) << mistakes.front();
        player = std::make_unique<sim::ScenarioPlayer>(scenario, loop, service, audience);
        return player->Advance();
    }

    /// Regions of all published records.
    Numbers Regions() const
    {
        Numbers regions;
        for (const std::string& frame : audience.published) {
            regions.push_back(static_cast<unsigned char>(frame.at(frameHeaderSize)));
        }
        return regions;
    }

    RecordingAudience audience;
    SubtitleService service;
    Scenario scenario;
    std::unique_ptr<sim::ScenarioPlayer> player;
};

TEST_F(ScenarioPlayer, PublishesTheLinesInOrderAndOnce)
{
    EXPECT_EQ(Play("visibility 1 t\nregion-data 2 0 00\nvisibility 3 f\n"), waitForEvent);
    EXPECT_EQ(Regions(), (Numbers{1, 2, 3}));
    EXPECT_EQ(player->Advance(), waitForEvent);
    EXPECT_EQ(Regions(), (Numbers{1, 2, 3}));
}

TEST_F(ScenarioPlayer, WaitsForTheSubscription)
{
    audience.subscribed = {6};
    EXPECT_EQ(Play("wait-subscribers 10\nvisibility 1 t\n"), waitForEvent);
    EXPECT_EQ(Regions(), Numbers{});
    audience.subscribed = {6, 10};
    player->Advance();
    EXPECT_EQ(Regions(), Numbers{1});
}

TEST_F(ScenarioPlayer, WaitsForRoomBeforeItPublishes)
{
    audience.readiness = Readiness::Full;
    EXPECT_EQ(Play("visibility 1 t\nvisibility 2 t\n"), waitForEvent);
    EXPECT_EQ(Regions(), Numbers{});
    EXPECT_EQ(audience.askedSize, 16u + 2u);
    audience.readiness = Readiness::Ready;
    player->Advance();
    EXPECT_EQ(Regions(), (Numbers{1, 2}));
}

TEST_F(ScenarioPlayer, PublishesForSubscribersThatDoNotRead)
{
    audience.readiness = Readiness::NoReader;
    Play("visibility 1 t\n");
    EXPECT_EQ(Regions(), Numbers{1});
}

TEST_F(ScenarioPlayer, SleepsForTheTimeGiven)
{
    const auto start = std::chrono::steady_clock::now();
    int waitMs = Play("sleep 50\nvisibility 1 t\n");
    EXPECT_GT(waitMs, 0);
    EXPECT_LE(waitMs, 50);
    for (const Deadline deadline(eventDeadlineMs); Regions().empty();) {
        ASSERT_FALSE(deadline.HasPassed());
        std::this_thread::sleep_for(milliseconds(waitMs));
        waitMs = player->Advance();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(50));
}

TEST_F(ScenarioPlayer, DoesNotOverflowInAVeryLongSleep)
{
    EXPECT_EQ(Play("sleep 4294967295\nvisibility 1 t\n"), 24 * 60 * 60 * 1000);
}

TEST_F(ScenarioPlayer, PlaysATurnsShareOfManyLines)
{
    std::string text;
    for (unsigned int i = 0; i < 200; ++i) {
        text += "visibility " + std::to_string(i) + " t\n";
    }
    EXPECT_EQ(Play(text), 0);
    EXPECT_EQ(Regions().size(), 64u);
    EXPECT_EQ(player->Advance(), 0);
    EXPECT_EQ(Regions().size(), 128u);
}

TEST_F(ScenarioPlayer, PlaysATurnsShareOfLargeRecords)
{
    const std::string line = "region-data 1 0 " + std::string(2 * 300000, '0') + "\n";
    EXPECT_EQ(Play(line + line + line + line + line + line), 0);
    EXPECT_EQ(Regions().size(), 4u);
}

TEST_F(ScenarioPlayer, StartsAgainWhenItLoops)
{
    EXPECT_EQ(Play("visibility 1 t\nvisibility 2 t\n", /*loop*/ true), 0);
    Numbers first = Regions();
    ASSERT_GE(first.size(), 4u);
    first.resize(4);
    EXPECT_EQ(first, (Numbers{1, 2, 1, 2}));
}

TEST_F(ScenarioPlayer, PausesBetweenPassesWithoutSubscriber)
{
    audience.subscribed.clear();
    for (const char* text : {"visibility 1 t\n", "# nothing\n"}) {
        SCOPED_TRACE(text);
        const int waitMs = Play(text, /*loop*/ true);
        EXPECT_GT(waitMs, 0);  // less than the whole pause on a busy machine
        EXPECT_LE(waitMs, 100);
    }
}

}  // namespace
