#include "simulator/stall_rule.h"

#include <gtest/gtest.h>

#include <string>

using namespace sim;

namespace {

using std::chrono::milliseconds;

class AStallRule : public testing::Test {
protected:
    /// Judges a backlog whose oldest notification is as old as that.
    void Judge(milliseconds age)
    {
        const auto now = StallRule::Clock::now();
        rule.Judge(now - age, now);
    }

    /// What \p action writes on standard error.
    template <typename Action>
    static std::string Said(Action action)
    {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    const std::string stalled =
        "SubtitleMgrSim: client 7: stalled, has left notifications unread for "
        "two seconds; publishing no longer waits for it\n";
    StallRule rule{7};
};

TEST_F(AStallRule, WaitsTwoSecondsForTheOldestNotification)
{
    EXPECT_EQ(Said([&] { Judge(milliseconds(1999)); }), "");
    EXPECT_FALSE(rule.IsStalled());
    EXPECT_EQ(Said([&] { Judge(milliseconds(2000)); }), stalled);
    EXPECT_TRUE(rule.IsStalled());
}

TEST_F(AStallRule, KeepsASubscriberStalledThatTakesALittleNowAndThen)
{
    Said([&] { Judge(milliseconds(2000)); });
    // Its oldest ones are dropped or taken, so what is left is young.
    EXPECT_EQ(Said([&] {
                  rule.Lose(100, "reads too slowly");
                  Judge(milliseconds(10));
                  Judge(milliseconds(3000));
              }),
              "");
    EXPECT_TRUE(rule.IsStalled());
}

TEST_F(AStallRule, EndsWithAnEmptyBacklogAndSaysWhatWasLost)
{
    Said([&] { Judge(milliseconds(2000)); });
    rule.Lose(100, "reads too slowly");
    rule.Lose(1, "reads too slowly");
    EXPECT_EQ(Said([&] { rule.CatchUp(); }),
              "SubtitleMgrSim: client 7: has caught up; notifications lost: 101\n");
    EXPECT_FALSE(rule.IsStalled());
    EXPECT_EQ(Said([&] { rule.CatchUp(); }), "");
    EXPECT_EQ(Said([&] { Judge(milliseconds(2000)); }), stalled);
    EXPECT_EQ(Said([&] { rule.Leave(); }),
              "SubtitleMgrSim: client 7: has gone; notifications lost: 0\n");
}

TEST_F(AStallRule, SaysOnceThatNotificationsAreLostAndStillWaits)
{
    EXPECT_EQ(Said([&] {
                  rule.Lose(1, "reads too slowly");
                  rule.Lose(1, "reads too slowly");
              }),
              "SubtitleMgrSim: client 7: reads too slowly\n");
    EXPECT_FALSE(rule.IsStalled());
    EXPECT_EQ(Said([&] { Judge(milliseconds(2000)); }), "");
    EXPECT_TRUE(rule.IsStalled());
}

}  // namespace
