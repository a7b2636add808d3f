#include "platform/src/deadline.h"

#include <gtest/gtest.h>

#include <thread>

using namespace platform;

namespace {

using Clock = Deadline::Clock;
using std::chrono::milliseconds;

TEST(ADeadline, WithoutLimitNeverPasses)
{
    const Deadline never(-1);
    EXPECT_FALSE(never.IsLimited());
    EXPECT_FALSE(never.HasPassed());
    EXPECT_EQ(never.RemainingMs(), -1);
}

TEST(ADeadline, OfNoTimeHasPassedAtOnce)
{
    const Deadline now(0);
    EXPECT_TRUE(now.IsLimited());
    EXPECT_TRUE(now.HasPassed());
    EXPECT_EQ(now.RemainingMs(), 0);
}

TEST(ADeadline, HasTimeLeftUntilItPasses)
{
    const Deadline later(20);
    EXPECT_GE(later.RemainingMs(), 0);
    EXPECT_LE(later.RemainingMs(), 20);
    std::this_thread::sleep_until(later.At());
    EXPECT_TRUE(later.HasPassed());
    EXPECT_EQ(later.RemainingMs(), 0);
}

/// A wait of that length must not end before the time has come.
TEST(ADeadline, RoundsWhatIsLeftUp)
{
    for (int i = 0; i < 10; ++i) {
        const Deadline soon(3600000);
        const int left = soon.RemainingMs();
        EXPECT_GE(Clock::now() + milliseconds(left), soon.At());
        EXPECT_LE(left, 3600000);
    }
}

TEST(ADeadline, IsCutToTheSoonerOfTwoTimes)
{
    const Deadline hour(3600000);
    const Deadline second(1000);
    const Deadline never(-1);
    EXPECT_EQ(hour.Sooner(second).At(), second.At());
    EXPECT_EQ(second.Sooner(hour).At(), second.At());
    EXPECT_EQ(never.Sooner(second).At(), second.At());
    EXPECT_EQ(second.Sooner(never).At(), second.At());
    EXPECT_TRUE(never.Sooner(second).IsLimited());
    EXPECT_FALSE(never.Sooner(never).IsLimited());
}

}  // namespace
