#include "tap/filter.h"

#include <gtest/gtest.h>

using namespace tap;
using recording::Notification;
using recording::NotificationKind;

namespace {

Notification Bitmap(unsigned int region, unsigned int format)
{
    Notification bitmap;
    bitmap.regionId = region;
    bitmap.subtitleFormat = format;
    return bitmap;
}

Notification Visibility(unsigned int region)
{
    Notification visibility;
    visibility.kind = NotificationKind::RegionVisibility;
    visibility.regionId = region;
    return visibility;
}

TEST(Filter, PassesEverythingAtFirst)
{
    const Filter filter;
    for (const unsigned int number : {0u, 1u, 3u, 255u}) {
        EXPECT_TRUE(filter.Passes(Bitmap(number, number)));
        EXPECT_TRUE(filter.Passes(Visibility(number)));
    }
}

TEST(Filter, PassesChosenRegionsOnly)
{
    Filter filter;
    filter.regions.reset();
    filter.regions.set(3);
    EXPECT_TRUE(filter.Passes(Visibility(3)));
    EXPECT_FALSE(filter.Passes(Visibility(4)));
    EXPECT_FALSE(filter.Passes(Bitmap(4, 0)));
}

TEST(Filter, PassesChosenKindsOnly)
{
    Filter filter;
    filter.kinds = {true, false, false};
    EXPECT_TRUE(filter.Passes(Bitmap(1, 0)));
    EXPECT_FALSE(filter.Passes(Visibility(1)));
}

TEST(Filter, PassesChosenFormatsOfBitmapsOnly)
{
    Filter filter;
    filter.formats = {false, true, false, false};
    EXPECT_FALSE(filter.Passes(Bitmap(1, 0)));
    EXPECT_TRUE(filter.Passes(Bitmap(1, 1)));
    EXPECT_FALSE(filter.Passes(Bitmap(1, 255)));
    EXPECT_TRUE(filter.Passes(Visibility(1)));
    filter.formats = {false, false, false, true};
    EXPECT_FALSE(filter.Passes(Bitmap(1, 2)));
    EXPECT_TRUE(filter.Passes(Bitmap(1, 3)));
    EXPECT_TRUE(filter.Passes(Bitmap(1, 255)));
}

}  // namespace
