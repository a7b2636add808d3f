#include "simulator/clients/stall_rule.h"

#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using std::chrono::milliseconds;

const std::string stalled = "SubtitleMgrSim: client 7: stalled, has left notifications unread for "
                            "two seconds; publishing no longer waits for it\n";

class StallRule : public testing::Test {
protected:
    /// Applies the rule to a backlog whose oldest notification has this age. \return the line
    std::string Judge(milliseconds age)
    {
        const auto now = sim::StallRule::Clock::now();
        return ErrorsOf([&] { rule.Judge(now - age, now); });
    }

    /// \return the printed line
    std::string Lose(unsigned int count)
    {
        return ErrorsOf([&] { rule.Lose(count, "reads too slowly"); });
    }

    sim::StallRule rule{7};
};

TEST_F(StallRule, WaitsTwoSecondsForTheOldestNotification)
{
    EXPECT_EQ(Judge(milliseconds(1999)), "");
    EXPECT_FALSE(rule.IsStalled());
    EXPECT_EQ(Judge(milliseconds(2000)), stalled);
    EXPECT_TRUE(rule.IsStalled());
}

TEST_F(StallRule, StaysStalledForASubscriberThatReadsALittle)
{
    Judge(milliseconds(2000));
    EXPECT_EQ(Lose(100), "");
    // The oldest notifications are dropped or read, so the rest is new.
    EXPECT_EQ(Judge(milliseconds(10)), "");
    EXPECT_EQ(Judge(milliseconds(3000)), "");
    EXPECT_TRUE(rule.IsStalled());
}

TEST_F(StallRule, EndsWithAnEmptyBacklogAndCountsLosses)
{
    Judge(milliseconds(2000));
    Lose(100);
    Lose(1);
    EXPECT_EQ(ErrorsOf([&] { rule.CatchUp(); }),
              "SubtitleMgrSim: client 7: has caught up; notifications lost: 101\n");
    EXPECT_FALSE(rule.IsStalled());
    EXPECT_EQ(ErrorsOf([&] { rule.CatchUp(); }), "");
    EXPECT_EQ(Judge(milliseconds(2000)), stalled);
    EXPECT_EQ(ErrorsOf([&] { rule.Leave(); }),
              "SubtitleMgrSim: client 7: has gone; notifications lost: 0\n");
}

TEST_F(StallRule, ReportsTheFirstLossAndStillWaits)
{
    EXPECT_EQ(Lose(1), "SubtitleMgrSim: client 7: reads too slowly\n");
    EXPECT_EQ(Lose(1), "");
    EXPECT_FALSE(rule.IsStalled());
    EXPECT_EQ(Judge(milliseconds(2000)), "");
    EXPECT_TRUE(rule.IsStalled());
}

}  // namespace
