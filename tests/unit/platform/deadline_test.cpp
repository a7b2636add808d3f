#include "platform/src/deadline.h"

#include <gtest/gtest.h>

#include <thread>

using platform::Deadline;

namespace {

TEST(Deadline, HasTimeLeftUntilItPasses)
{
    EXPECT_TRUE(Deadline(0).HasPassed());
    EXPECT_EQ(Deadline(0).RemainingMs(), 0);
    const Deadline later(20);
    EXPECT_TRUE(later.IsLimited());
    EXPECT_GE(later.RemainingMs(), 0);
    EXPECT_LE(later.RemainingMs(), 20);
    std::this_thread::sleep_until(later.At());
    EXPECT_TRUE(later.HasPassed());
    EXPECT_EQ(later.RemainingMs(), 0);
}

/// A wait of that length must not end before the deadline.
TEST(Deadline, RoundsTheRemainingTimeUp)
{
    for (int i = 0; i < 10; ++i) {
        const Deadline hour(3600000);
        const int left = hour.RemainingMs();
        EXPECT_GE(Deadline::Clock::now() + std::chrono::milliseconds(left), hour.At());
        EXPECT_LE(left, 3600000);
    }
}

TEST(Deadline, GivesTheSoonerOfTwo)
{
    const Deadline never(-1);
    const Deadline hour(3600000);
    const Deadline second(1000);
    EXPECT_EQ(hour.Sooner(second).At(), second.At());
    EXPECT_EQ(second.Sooner(hour).At(), second.At());
    EXPECT_EQ(never.Sooner(second).At(), second.At());
    EXPECT_EQ(second.Sooner(never).At(), second.At());
    EXPECT_TRUE(never.Sooner(second).IsLimited());
    EXPECT_FALSE(never.Sooner(never).IsLimited());
    EXPECT_FALSE(never.HasPassed());
    EXPECT_EQ(never.RemainingMs(), -1);
}

}  // namespace
