#include "cli/process_objects.h"

#include "cli/client_name.h"
#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <type_traits>

TEST(ProcessObjects, AreFourteenRegionsAndNoSubscription)
{
    EXPECT_TEXT(OutputOf([] { subtitleStats.Display(); }), EmptyRegionReport());
    EXPECT_FALSE(subscribed);
    EXPECT_STREQ(clientName, "SubtitleMgrCli");
}

TEST(ProcessObjects, ShareAFlagOfOnePlainByte)
{
    EXPECT_TRUE((std::is_same_v<std::remove_volatile_t<decltype(subscribed)>, bool>));
    EXPECT_EQ(sizeof subscribed, 1u);
}
