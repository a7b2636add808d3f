#include "platform/src/subscription_table.h"

#include <gtest/gtest.h>

namespace {

using Callback = void (*)(LinxIpc*, void*);

void First(LinxIpc*, void*) {}
void Second(LinxIpc*, void*) {}

constexpr unsigned int bitmap = 0x3B19;
constexpr unsigned int visibility = 0x3B1C;

/// Requests have numbers in the order in which they are added.
class SubscriptionTable : public testing::Test {
protected:
    unsigned int Begin(unsigned int number, Callback callback = First, unsigned int item = bitmap)
    {
        table.Add({number, item, callback, nullptr}, ++lastRequest);
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
        table.Forget(request);  // like the subscribing call when it wakes up
    }

    Callback CallbackFor(unsigned int number, unsigned int item = bitmap) const
    {
        const platform::Subscription* const found = table.Find(number, item);
        return found ? found->callback : nullptr;
    }

    std::size_t Accepted() const { return table.Accepted().size(); }

    platform::SubscriptionTable table;
    unsigned int lastRequest = 0;
};

TEST_F(SubscriptionTable, FindsASubscriptionBeforeItIsAccepted)
{
    const unsigned int request = Begin(4);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(CallbackFor(4, visibility), nullptr);
    EXPECT_EQ(CallbackFor(5), nullptr);
    EXPECT_FALSE(table.HasAccepted());
    table.Forget(request);
    EXPECT_EQ(CallbackFor(4), nullptr);
}

TEST_F(SubscriptionTable, ReplacesWhenARepetitionIsAccepted)
{
    int userData = 0;
    Accept(Begin(4));
    table.Forget(Begin(4, Second));  // this repetition failed
    table.Add({4, bitmap, Second, &userData}, ++lastRequest);
    EXPECT_EQ(CallbackFor(4), &First);
    Accept(lastRequest);
    EXPECT_EQ(CallbackFor(4), &Second);
    EXPECT_EQ(table.Find(4, bitmap)->userData, &userData);
    EXPECT_EQ(Accepted(), 1u);
}

TEST_F(SubscriptionTable, FindsACoveringSubscriptionLast)
{
    Begin(1);
    Begin(2, Second);
    EXPECT_EQ(CallbackFor(2), &Second);
    EXPECT_EQ(CallbackFor(12), &First);
    EXPECT_EQ(CallbackFor(6), nullptr);
}

TEST_F(SubscriptionTable, HasAnEntryForEachRequestOfOneNumber)
{
    const unsigned int first = Begin(4, First);
    const unsigned int second = Begin(4, Second, visibility);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(CallbackFor(4, visibility), &Second);
    table.Forget(second);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(CallbackFor(4, visibility), nullptr);
    Accept(first);
    EXPECT_EQ(Accepted(), 1u);
}

TEST_F(SubscriptionTable, FollowsTheOrderOfAcceptances)
{
    const unsigned int first = Begin(4, First);
    const unsigned int second = Begin(4, Second);
    Accept(second);
    EXPECT_EQ(CallbackFor(4), &Second);
    Accept(first);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_EQ(Accepted(), 1u);
}

TEST_F(SubscriptionTable, EndsOnlyEntriesAcceptedBefore)
{
    const unsigned int end = BeginToEnd(4);
    const unsigned int later = Begin(4);
    Accept(Begin(4, Second));
    Accept(end);
    EXPECT_EQ(CallbackFor(4), &First) << "this subscription is still pending";
    EXPECT_FALSE(table.HasAccepted());
    Accept(later);
    EXPECT_EQ(CallbackFor(4), &First);
    EXPECT_TRUE(table.HasAccepted());
}

TEST_F(SubscriptionTable, EndsEveryFormatWithNumberOne)
{
    for (const unsigned int number : {2u, 3u, 4u, 12u, 6u, 10u}) {
        Accept(Begin(number));
    }
    Accept(BeginToEnd(1));
    ASSERT_EQ(Accepted(), 2u);
    EXPECT_EQ(table.Accepted()[0].number, 6u);
    EXPECT_EQ(table.Accepted()[1].number, 10u);
}

TEST_F(SubscriptionTable, IgnoresUnknownNumbersAndRequests)
{
    Accept(Begin(4));
    table.End(99);
    table.Accept(99);
    table.Forget(99);
    EXPECT_EQ(CallbackFor(4), &First);
}

}  // namespace
