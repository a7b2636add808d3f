#include "tests/unit/handlers/notified_console.h"

#include <string>

namespace {

class VisibilityNotification : public NotifiedConsole {
protected:
    std::string Receive(unsigned int region, bool visible)
    {
        return Notify(handleRegionVis, Byte(region) + Byte(visible ? 1 : 0));
    }
};

TEST_F(VisibilityNotification, ShowsWhetherARegionIsVisible)
{
    EXPECT_TEXT(Receive(3, true), "\n\n*** RegionVisi:  3  visible\n\n");
    EXPECT_TEXT(Receive(14, false), "\n\n*** RegionVisi:  14  NOT visible\n\n");
    EXPECT_TEXT(Receive(65, true), "AddRegionVis: regionId out of range: A\n"
                                   "\n\n*** RegionVisi:  65  visible\n\n");
}

TEST_F(VisibilityNotification, NeverChangesTheReport)
{
    for (unsigned int region = 0; region < 256; ++region) {
        Receive(region, true);
    }
    EXPECT_TEXT(Report(), EmptyRegionReport());
}

}  // namespace
