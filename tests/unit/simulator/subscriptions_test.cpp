#include "simulator/clients/subscriptions.h"

#include <gtest/gtest.h>

#include <set>

namespace {

constexpr unsigned int regionData = 15129;
constexpr unsigned int visibility = 15132;
constexpr unsigned int palette = 15133;

using Numbers = std::set<unsigned int>;

class Subscriptions : public testing::Test {
protected:
    /// The held subscription numbers among all valid ones.
    Numbers Held() const
    {
        Numbers held;
        for (const unsigned int number : {2u, 3u, 4u, 6u, 10u, 12u}) {
            if (subscriptions.Include(number)) {
                held.insert(number);
            }
        }
        return held;
    }

    sim::Subscriptions subscriptions;
};

TEST_F(Subscriptions, HaveOneItemForEachNumber)
{
    for (const unsigned int item : {0u, regionData, visibility, palette, 15130u}) {
        const Numbers fitting = item == regionData   ? Numbers{1, 2, 3, 4, 12}
                                : item == visibility ? Numbers{6}
                                : item == palette    ? Numbers{10}
                                                     : Numbers{};
        for (unsigned int number = 0; number < 20; ++number) {
            subscriptions.Clear();
            const bool fits = fitting.count(number) != 0;
            EXPECT_EQ(subscriptions.Add(number, item), fits) << number << " with " << item;
            EXPECT_EQ(Held(), !fits         ? Numbers{}
                              : number == 1 ? Numbers({2, 3, 4, 12})
                                            : Numbers{number})
                << number << " with " << item;
        }
    }
    EXPECT_FALSE(subscriptions.Add(4294967295, regionData));
}

TEST_F(Subscriptions, ToRegionDataAllEndWithNumberOne)
{
    for (const unsigned int number : {1u, 2u, 3u, 4u, 12u}) {
        subscriptions.Add(number, regionData);
    }
    subscriptions.Add(6, visibility);
    subscriptions.Add(10, palette);
    EXPECT_TRUE(subscriptions.Remove(1));
    EXPECT_EQ(Held(), (Numbers{6, 10}));
}

TEST_F(Subscriptions, EndSeparatelyAndWithSuccessWhenNotHeld)
{
    subscriptions.Add(2, regionData);
    subscriptions.Add(3, regionData);
    EXPECT_TRUE(subscriptions.Remove(2));
    EXPECT_EQ(Held(), Numbers{3});
    EXPECT_TRUE(subscriptions.Remove(12));
    EXPECT_FALSE(subscriptions.Remove(5));
}

}  // namespace
