#include "platform/src/subscription_table.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

void First(LinxIpc*, void*) {}
void Second(LinxIpc*, void*) {}

constexpr unsigned int item = 0x3B19;
constexpr unsigned int otherItem = 0x3B1C;

/// Requests are numbered in the order in which they are added.
class SubscriptionTableOfCalls : public testing::Test {
protected:
    unsigned int Begin(unsigned int number, void (*callback)(LinxIpc*, void*) = First,
                       unsigned int itemId = item)
    {
        table.Add({number, itemId, callback, nullptr}, ++lastRequest);
        return lastRequest;
    }

    unsigned int BeginToEnd(unsigned int number)
    {
        table.Add({number, 0, nullptr, nullptr, /*ends*/ true}, ++lastRequest);
        return lastRequest;
    }

    void Accept(unsigned int request)
    {
        table.Accept(request);
        table.Forget(request);  // as its call does when it wakes
    }

    auto CallbackFor(unsigned int number, unsigned int itemId = item) const
    {
        const Subscription* const found = table.Find(number, itemId);
        return found ? found->callback : nullptr;
    }

    SubscriptionTable table;
    unsigned int lastRequest = 0;
};

using ASubscription = SubscriptionTableOfCalls;

TEST_F(ASubscription, TakesNotificationsBeforeItIsAccepted)
{
    Begin(4);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_FALSE(table.HasAccepted());
}

TEST_F(ASubscription, IsGoneWhenItsCallGaveUp)
{
    table.Forget(Begin(4));
    EXPECT_EQ(CallbackFor(4), nullptr);
}

TEST_F(ASubscription, StaysWhenOnlyItsRepetitionFailed)
{
    Accept(Begin(4));
    table.Forget(Begin(4, Second));
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(table.Accepted().size(), 1u);
}

TEST_F(ASubscription, MadeTwiceIsOneWithTheNewCallback)
{
    int userData = 0;
    Accept(Begin(4));
    table.Add({4, item, Second, &userData}, ++lastRequest);
    EXPECT_EQ(CallbackFor(4), &First);
    Accept(lastRequest);
    ASSERT_EQ(table.Accepted().size(), 1u);
    EXPECT_EQ(CallbackFor(4), &Second);
    EXPECT_EQ(table.Find(4, item)->userData, &userData);
}

TEST_F(ASubscription, ThatCoversANumberGoesOnUntilItsRepetitionIsAccepted)
{
    Accept(Begin(1));
    const unsigned int repetition = Begin(1, Second);
    EXPECT_EQ(CallbackFor(2), &First);
    Accept(repetition);
    EXPECT_EQ(CallbackFor(2), &Second);
}

TEST_F(ASubscription, TakesOnlyRecordsOfItsOwnKind)
{
    Begin(4);
    EXPECT_EQ(CallbackFor(4, otherItem), nullptr);
    EXPECT_EQ(CallbackFor(5), nullptr);
}

using ConcurrentSubscriptions = SubscriptionTableOfCalls;

TEST_F(ConcurrentSubscriptions, OfOneNumberEachHaveTheirOwnEntry)
{
    const unsigned int first = Begin(4, First);
    const unsigned int second = Begin(4, Second, otherItem);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(CallbackFor(4, otherItem), &Second);
    table.Forget(second);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(CallbackFor(4, otherItem), nullptr);
    Accept(first);
    EXPECT_EQ(table.Accepted().size(), 1u);
}

TEST_F(ConcurrentSubscriptions, AreInForceInTheOrderOfTheAcceptances)
{
    const unsigned int first = Begin(4, First);
    const unsigned int second = Begin(4, Second);
    Accept(second);
    EXPECT_EQ(CallbackFor(4), &Second);
    Accept(first);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(table.Accepted().size(), 1u);
}

TEST_F(ConcurrentSubscriptions, EndOnlyWhenTheyWereAcceptedBefore)
{
    const unsigned int end = BeginToEnd(4);
    const unsigned int later = Begin(4);
    const unsigned int earlier = Begin(4, Second);
    Accept(earlier);
    Accept(end);
    EXPECT_EQ(CallbackFor(4), &First) << "still on its way";
    EXPECT_FALSE(table.HasAccepted());
    Accept(later);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_TRUE(table.HasAccepted());
}

using TheSubscriptionForEveryFormat = SubscriptionTableOfCalls;

TEST_F(TheSubscriptionForEveryFormat, TakesWhatNoOtherTakes)
{
    Begin(1);
    Begin(2, Second);
    EXPECT_EQ(CallbackFor(2), &Second);
    EXPECT_EQ(CallbackFor(12), &First);
    EXPECT_EQ(CallbackFor(6), nullptr);
}

using RemovingNumberOne = SubscriptionTableOfCalls;

TEST_F(RemovingNumberOne, RemovesEveryFormatAndLeavesTheOthers)
{
    for (const unsigned int number : {2u, 3u, 4u, 12u, 6u, 10u}) {
        Accept(Begin(number));
    }
    Accept(BeginToEnd(1));
    ASSERT_EQ(table.Accepted().size(), 2u);
    EXPECT_EQ(table.Accepted()[0].number, 6u);
    EXPECT_EQ(table.Accepted()[1].number, 10u);
}

using RemovingAnUnknownNumber = SubscriptionTableOfCalls;

TEST_F(RemovingAnUnknownNumber, ChangesNothing)
{
    Accept(Begin(4));
    table.End(99);
    table.Accept(99);
    table.Forget(99);
    EXPECT_EQ(CallbackFor(4), &First);
}

}  // namespace
