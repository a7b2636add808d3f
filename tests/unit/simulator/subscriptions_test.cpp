#include "simulator/subscriptions.h"

#include <gtest/gtest.h>

#include <set>

using namespace sim;

namespace {

constexpr unsigned int regionData = 15129;
constexpr unsigned int visibility = 15132;
constexpr unsigned int palette = 15133;

/// The numbers under which anything is published.
constexpr unsigned int published[] = {2, 3, 4, 6, 10, 12};

std::set<unsigned int> Covered(const Subscriptions& subscriptions)
{
    std::set<unsigned int> covered;
    for (const unsigned int number : published) {
        if (subscriptions.Include(number)) {
            covered.insert(number);
        }
    }
    return covered;
}

TEST(Subscriptions, AreNoneAtFirst) { EXPECT_TRUE(Covered(Subscriptions()).empty()); }

TEST(Subscriptions, ExistUnderSevenNumbersWithOneItemEach)
{
    for (unsigned int number = 0; number < 300; ++number) {
        for (const unsigned int item : {0u, regionData, visibility, palette, 15130u}) {
            const bool fits =
                (item == regionData &&
                 (number == 1 || number == 2 || number == 3 || number == 4 || number == 12)) ||
                (item == visibility && number == 6) || (item == palette && number == 10);
            Subscriptions subscriptions;
            EXPECT_EQ(subscriptions.Add(number, item), fits) << number << " with " << item;
            EXPECT_EQ(Covered(subscriptions).empty(), !fits) << number << " with " << item;
        }
    }
    EXPECT_FALSE(Subscriptions().Add(4294967295, regionData));
}

TEST(Subscriptions, BringWhatIsPublishedUnderTheirNumber)
{
    Subscriptions subscriptions;
    subscriptions.Add(3, regionData);
    subscriptions.Add(10, palette);
    EXPECT_EQ(Covered(subscriptions), (std::set<unsigned int>{3, 10}));
}

TEST(Subscriptions, UnderNumberOneBringRegionDataInEveryFormat)
{
    Subscriptions subscriptions;
    subscriptions.Add(1, regionData);
    EXPECT_EQ(Covered(subscriptions), (std::set<unsigned int>{2, 3, 4, 12}));
}

TEST(Subscriptions, ToRegionDataAllEndWithNumberOne)
{
    Subscriptions subscriptions;
    for (const unsigned int number : {1u, 2u, 3u, 4u, 12u}) {
        subscriptions.Add(number, regionData);
    }
    subscriptions.Add(6, visibility);
    subscriptions.Add(10, palette);
    EXPECT_TRUE(subscriptions.Remove(1));
    EXPECT_EQ(Covered(subscriptions), (std::set<unsigned int>{6, 10}));
}

TEST(Subscriptions, ToOneFormatEndAlone)
{
    Subscriptions subscriptions;
    subscriptions.Add(2, regionData);
    subscriptions.Add(3, regionData);
    EXPECT_TRUE(subscriptions.Remove(2));
    EXPECT_EQ(Covered(subscriptions), (std::set<unsigned int>{3}));
}

TEST(Subscriptions, ThatAreNotHeldMayBeEnded)
{
    Subscriptions subscriptions;
    EXPECT_TRUE(subscriptions.Remove(12));
    EXPECT_FALSE(subscriptions.Remove(5));
    EXPECT_FALSE(subscriptions.Remove(4294967295));
}

}  // namespace
