#include "tap/filter.h"

#include <gtest/gtest.h>

#include <string>

using namespace tap;
using recording::Notification;
using recording::NotificationKind;

namespace {

/// What a filter passes of bitmaps of the formats 0 to 4 and a visibility, each of two regions.
std::string PassedBy(const Filter& filter)
{
    std::string passed;
    for (const unsigned int region : {3u, 255u}) {
        Notification notification;
        notification.regionId = region;
        for (unsigned int& format = notification.subtitleFormat; format < 5; ++format) {
            passed += filter.Passes(notification) ? std::to_string(format) : "-";
        }
        notification.kind = NotificationKind::RegionVisibility;
        passed += filter.Passes(notification) ? "v " : "- ";
    }
    return passed;
}

TEST(Filter, PassesEverythingUnlessSomethingIsLeftOut)
{
    Filter filter;
    EXPECT_EQ(PassedBy(filter), "01234v 01234v ");
    filter.formats = {false, true, false, true};
    EXPECT_EQ(PassedBy(filter), "-1-34v -1-34v ");
    filter.regions.reset(255);
    EXPECT_EQ(PassedBy(filter), "-1-34v ------ ");
    filter.kinds = {false, true, false};
    EXPECT_EQ(PassedBy(filter), "-----v ------ ");
}

}  // namespace
