#include "simulator/play/player.h"

#include "simulator/play/scenario_source.h"
#include "tests/unit/simulator/recording_audience.h"

#include "words/number_list.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace {

using Numbers = std::vector<unsigned int>;
using Readiness = Audience::Readiness;
using State = sim::Player::State;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr auto atOnce = sim::Player::atOnce;
constexpr auto afterEvent = sim::Player::afterEvent;

/// Three messages, and a tail.
const std::string threeMessages =
    "visibility 1 t\nsleep 1000\nvisibility 2 t\nsleep 1000\nvisibility 3 t\nsleep 500\n";

class Player : public testing::Test {
protected:
    /// Plays a turn's share of a scenario.
    void Play(const std::string& text)
    {
        Scenario scenario;
        std::vector<std::string> mistakes;
        EXPECT_TRUE(ParseScenario(text, "test", scenario, mistakes)) << mistakes.front();
        player.Start(std::make_unique<ScenarioSource>(std::move(scenario)), options);
        player.Advance();
    }

    /// Plays until nothing is to be done at the moment.
    void Settle()
    {
        do {
            player.Advance();
        } while (player.WakeAt() == atOnce || player.WakeAt() <= now);
    }

    /// Moves the clock, and plays what is due on the way.
    void Pass(milliseconds time)
    {
        const auto end = now + time;
        for (Settle(); player.WakeAt() <= end; Settle()) {
            now = player.WakeAt();
        }
        now = end;
    }

    /// Milliseconds after which the player wants to go on.
    long WaitMs() const
    {
        return static_cast<long>(
            std::chrono::duration_cast<milliseconds>(player.WakeAt() - now).count());
    }

    /// Takes the regions of the records published since the last call.
    Numbers Regions()
    {
        Numbers regions;
        for (const std::string& frame : std::exchange(audience.published, {})) {
            regions.push_back(static_cast<unsigned char>(frame.at(frameHeaderSize)));
        }
        return regions;
    }

    sim::Player::Clock::time_point now{std::chrono::hours(1)};
    RecordingAudience audience;
    SubtitleService service;
    RequestHistory history;
    PlayOptions options;
    sim::Player player{service, audience, history, /*isQuiet*/ true, [this] { return now; }};
};

TEST_F(Player, PublishesEachStepAtItsTime)
{
    Play(threeMessages);
    EXPECT_EQ(Regions(), Numbers{1});
    EXPECT_EQ(WaitMs(), 1000);
    Pass(milliseconds(999));
    EXPECT_EQ(Regions(), Numbers{});
    Pass(milliseconds(1));
    Settle();
    EXPECT_EQ(Regions(), Numbers{2});
    EXPECT_EQ(player.PositionUs(), 1000000);
    Pass(milliseconds(1499));
    EXPECT_EQ(Regions(), Numbers{3});
    EXPECT_FALSE(player.HasEnded());
    Pass(milliseconds(1));
    Settle();
    EXPECT_TRUE(player.HasEnded());
    EXPECT_EQ(player.PositionUs(), 2500000);
    EXPECT_EQ(player.WakeAt(), afterEvent);
}

TEST_F(Player, PlaysAtTheRateGiven)
{
    for (const auto& [rate, waitMs] : {std::pair(0.5, 2000L), std::pair(10.0, 100L)}) {
        options.rate = rate;
        Play(threeMessages);
        EXPECT_EQ(WaitMs(), waitMs) << rate;
    }
    options.rate = 0;
    audience.published.clear();
    Play(threeMessages);
    EXPECT_EQ(Regions(), (Numbers{1, 2, 3}));
    EXPECT_TRUE(player.HasEnded());
}

TEST_F(Player, DoesNotDrift)
{
    options.loop = true;
    options.rate = 3;
    const auto start = now;
    Play("visibility 1 t\nsleep 1\n");
    const unsigned int passes = 100000;
    for (unsigned int pass = 1; pass <= passes; ++pass) {
        now = player.WakeAt() + microseconds(70);  // each wake-up is late
        audience.published.clear();
        player.Advance();
        ASSERT_EQ(audience.published.size(), 1u);
    }
    const auto due = start + std::chrono::nanoseconds(milliseconds(passes + 1)) / 3;
    EXPECT_LE(player.WakeAt(), due);
    EXPECT_GT(player.WakeAt(), due - microseconds(1));
}

TEST_F(Player, CatchesUpAfterASlowReader)
{
    audience.readiness = Readiness::Full;
    Play(threeMessages);
    EXPECT_EQ(player.WakeAt(), afterEvent);
    EXPECT_EQ(player.GetState(), State::Waiting);
    EXPECT_STREQ(player.WaitsFor(), "a slow reader");
    EXPECT_EQ(audience.askedSize, 16u + 2u);
    now += milliseconds(1200);
    audience.readiness = Readiness::Ready;
    player.Advance();
    EXPECT_EQ(Regions(), (Numbers{1, 2}));
    EXPECT_EQ(WaitMs(), 800);
    audience.readiness = Readiness::NoReader;
    Pass(milliseconds(800));
    Settle();
    EXPECT_EQ(Regions(), Numbers{3}) << "waits for subscribers that do not read";
}

TEST_F(Player, MovesTheScheduleByACompletedWait)
{
    audience.subscribed = {6};
    Play("sleep 100\nwait-subscribers 10\nvisibility 1 t\nsleep 50\nvisibility 2 t\n");
    Pass(milliseconds(3000));
    EXPECT_STREQ(player.WaitsFor(), "a subscriber");
    EXPECT_EQ(Regions(), Numbers{});
    audience.subscribed = {6, 10};
    player.Advance();
    EXPECT_EQ(Regions(), Numbers{1});
    EXPECT_EQ(WaitMs(), 50);
}

TEST_F(Player, PausesAndResumesWhereItWas)
{
    Play(threeMessages);
    Pass(milliseconds(300));
    EXPECT_TRUE(player.Pause());
    EXPECT_EQ(player.PositionUs(), 300000);
    Regions();
    Pass(milliseconds(5000));
    EXPECT_EQ(player.GetState(), State::Paused);
    EXPECT_EQ(player.WakeAt(), afterEvent);
    EXPECT_TRUE(player.Resume());
    EXPECT_EQ(player.WakeAt(), atOnce);
    Settle();
    EXPECT_EQ(WaitMs(), 700);
}

TEST_F(Player, StepsWithoutAnyWait)
{
    audience.subscribed = {6};
    options.isPaused = true;
    Play("wait-subscribers 10\n" + threeMessages);
    EXPECT_EQ(player.WakeAt(), afterEvent);
    EXPECT_TRUE(player.Step(2));
    EXPECT_TRUE(player.IsBusy());
    Settle();
    EXPECT_FALSE(player.IsBusy());
    EXPECT_EQ(Regions(), (Numbers{1, 2}));
    EXPECT_EQ(player.PositionUs(), 1000000);
    player.Step(5);
    Settle();
    EXPECT_EQ(Regions(), Numbers{3});
    EXPECT_TRUE(player.HasEnded());
    EXPECT_FALSE(player.Step(1));
}

TEST_F(Player, SeeksToTheLastRecordsBeforeAMoment)
{
    Play("visibility 2 t\nregion-data 2 7 01\nvisibility 2 f\nvisibility 1 t\nsleep 1000\n" +
         threeMessages);
    Regions();
    EXPECT_TRUE(player.Seek(1500000));
    EXPECT_EQ(player.GetState(), State::Seeking);
    Settle();
    EXPECT_EQ(audience.published.size(), 3u);
    EXPECT_EQ(audience.published[2], NotificationBytes(6, 15132, VisibilityRecord(2, false)));
    EXPECT_EQ(Regions(), (Numbers{1, 2, 2}));
    EXPECT_EQ(player.PositionUs(), 1500000);
    EXPECT_EQ(WaitMs(), 500);
    EXPECT_TRUE(player.Seek(0));  // backwards too
    Settle();
    EXPECT_EQ(Regions(), (Numbers{2, 2, 2, 1}));
    EXPECT_EQ(WaitMs(), 1000);
    EXPECT_TRUE(player.Seek(9000000));
    Settle();
    EXPECT_TRUE(player.HasEnded());
}

TEST_F(Player, PlaysAPartOfIt)
{
    options.fromUs = 1000000;
    options.untilUs = 2000000;
    Play(threeMessages);
    Settle();
    EXPECT_EQ(Regions(), (Numbers{1, 2}));
    EXPECT_EQ(WaitMs(), 1000);
    Pass(milliseconds(2000));
    EXPECT_EQ(Regions(), Numbers{});
    EXPECT_TRUE(player.HasEnded());
    EXPECT_EQ(player.PositionUs(), 2000000);
}

TEST_F(Player, PublishesOnlyTheRegionsGiven)
{
    ASSERT_TRUE(words::ParseNumbers("1,3-9", options.regions));
    Play(threeMessages);
    Pass(milliseconds(3000));
    EXPECT_EQ(Regions(), (Numbers{1, 3}));
}

TEST_F(Player, PlaysATurnsShareOfManyStepsOrLargeRecords)
{
    std::string text;
    for (unsigned int i = 0; i < 600; ++i) {
        text += "visibility " + std::to_string(i % 256) + " t\n";
    }
    Play(text);
    EXPECT_EQ(player.WakeAt(), atOnce);
    const std::size_t share = Regions().size();
    EXPECT_GE(share, 200u);
    EXPECT_LE(share, 256u);
    player.Advance();
    EXPECT_EQ(Regions().size(), share);
    const std::string line = "region-data 1 0 " + std::string(2 * 300000, '0') + "\n";
    Play(line + line + line + line + line + line);
    EXPECT_EQ(player.WakeAt(), atOnce);
    EXPECT_EQ(Regions().size(), 4u);
}

TEST_F(Player, RestsBetweenPassesWithoutSubscriberAndTime)
{
    audience.subscribed.clear();
    options.loop = true;
    for (const double rate : {0.0, 1.0, 1000000.0}) {
        options.rate = rate;
        Play(std::string("visibility 1 t\nsleep ") + (rate == 1.0 ? "0" : "1"));
        Settle();
        EXPECT_EQ(WaitMs(), 100) << rate;
    }
}

TEST_F(Player, LoopsFromItsEndWithARestAndNeverFromAfterIt)
{
    options.loop = true;
    options.fromUs = 2500000;
    for (const Numbers& expected : {Numbers{1, 2, 3, 1, 2, 3}, Numbers{1, 2, 3}}) {
        Play(threeMessages);
        for (int turn = 0; turn < 10; ++turn) {
            player.Advance();
        }
        EXPECT_EQ(Regions(), expected);
        EXPECT_EQ(WaitMs() == 100, !player.HasEnded());
        ++options.fromUs;
    }
    EXPECT_TRUE(player.HasEnded());
}

TEST_F(Player, LeavesOutPassesAfterALongInterruption)
{
    options.loop = true;
    Play("visibility 1 t\nsleep 100\n");
    now += std::chrono::hours(1);
    Regions();
    Settle();
    EXPECT_EQ(Regions(), Numbers{1});
    EXPECT_EQ(WaitMs(), 100);
}

TEST_F(Player, HasNothingToControlWhenItIsStopped)
{
    EXPECT_FALSE(player.Pause());
    Play(threeMessages);
    EXPECT_TRUE(player.Stop());
    EXPECT_EQ(player.GetState(), State::None);
    for (const bool isPossible :
         {player.Stop(), player.Pause(), player.Resume(), player.Step(1), player.Seek(0)}) {
        EXPECT_FALSE(isPossible);
    }
    player.Advance();
    EXPECT_EQ(player.WakeAt(), afterEvent);
}

}  // namespace
