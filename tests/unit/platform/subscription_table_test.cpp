#include "platform/src/subscription_table.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

void First(LinxIpc*, void*) {}
void Second(LinxIpc*, void*) {}

constexpr unsigned int item = 0x3B19;

TEST(ASubscription, TakesNotificationsBeforeItIsAccepted)
{
    SubscriptionTable table;
    table.Add({4, item, First, nullptr, false});
    ASSERT_NE(table.Find(4, item), nullptr);
    EXPECT_FALSE(table.HasAccepted());
}

TEST(ASubscription, IsGoneWhenItWasRefused)
{
    SubscriptionTable table;
    table.Add({4, item, First, nullptr, false});
    table.Settle(4, false);
    EXPECT_EQ(table.Find(4, item), nullptr);
}

TEST(ASubscription, StaysWhenOnlyItsRepetitionWasRefused)
{
    SubscriptionTable table;
    table.Add({4, item, First, nullptr, false});
    table.Settle(4, true);
    table.Add({4, item, Second, nullptr, false});
    table.Settle(4, false);
    ASSERT_NE(table.Find(4, item), nullptr);
    EXPECT_EQ(table.Find(4, item)->callback, &First);
    EXPECT_EQ(table.Accepted().size(), 1u);
}

TEST(ASubscription, MadeTwiceIsOneWithTheNewCallback)
{
    SubscriptionTable table;
    int userData = 0;
    table.Add({4, item, First, nullptr, false});
    table.Settle(4, true);
    table.Add({4, item, Second, &userData, false});
    EXPECT_EQ(table.Find(4, item)->callback, &First);
    table.Settle(4, true);
    ASSERT_EQ(table.Accepted().size(), 1u);
    EXPECT_EQ(table.Find(4, item)->callback, &Second);
    EXPECT_EQ(table.Find(4, item)->userData, &userData);
}

TEST(ASubscription, ThatCoversANumberGoesOnUntilItsRepetitionIsAccepted)
{
    SubscriptionTable table;
    table.Add({1, item, First, nullptr, false});
    table.Settle(1, true);
    table.Add({1, item, Second, nullptr, false});
    ASSERT_NE(table.Find(2, item), nullptr);
    EXPECT_EQ(table.Find(2, item)->callback, &First);
    table.Settle(1, true);
    EXPECT_EQ(table.Find(2, item)->callback, &Second);
}

TEST(ASubscription, TakesOnlyRecordsOfItsOwnKind)
{
    SubscriptionTable table;
    table.Add({4, item, First, nullptr, false});
    EXPECT_EQ(table.Find(4, item + 1), nullptr);
    EXPECT_EQ(table.Find(5, item), nullptr);
}

TEST(TheSubscriptionForEveryFormat, TakesWhatNoOtherTakes)
{
    SubscriptionTable table;
    table.Add({1, item, First, nullptr, false});
    table.Add({2, item, Second, nullptr, false});
    EXPECT_EQ(table.Find(2, item)->callback, &Second);
    EXPECT_EQ(table.Find(12, item)->callback, &First);
    EXPECT_EQ(table.Find(6, item), nullptr);
}

TEST(RemovingNumberOne, RemovesEveryFormatAndLeavesTheOthers)
{
    SubscriptionTable table;
    for (const unsigned int number : {2u, 3u, 4u, 12u, 6u, 10u}) {
        table.Add({number, item, First, nullptr, false});
        table.Settle(number, true);
    }
    table.Remove(1);
    ASSERT_EQ(table.Accepted().size(), 2u);
    EXPECT_EQ(table.Accepted()[0].number, 6u);
    EXPECT_EQ(table.Accepted()[1].number, 10u);
}

TEST(RemovingAnUnknownNumber, ChangesNothing)
{
    SubscriptionTable table;
    table.Add({4, item, First, nullptr, false});
    table.Remove(99);
    table.Settle(99, true);
    EXPECT_NE(table.Find(4, item), nullptr);
}

}  // namespace
