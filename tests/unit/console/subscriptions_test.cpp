#include "tests/unit/console/console_run.h"

namespace {

using Subscriptions = ConsoleRun;

TEST_F(Subscriptions, MarkEveryErrorOnOneLineAndSetTheFlagAllTheSame)
{
    EXPECT_TEXT(Run("1\nx\n"), UnsubscribedMenu() +
                                   "Subscribing...\n"
                                   "Subscribing for RegionData  ERROR  ERROR  ERROR  ERROR"
                                   "Subscribing for RegionVisibility  ERROR"
                                   "Subscribing for PaletteUpdate  ERROR" +
                                   SubscribedMenu());
    EXPECT_TRUE(subscribed);
}

TEST_F(Subscriptions, EndWithoutAWordAboutTheOutcome)
{
    subscribed = true;
    EXPECT_TEXT(Run("2\nx\n"), SubscribedMenu() + "Unsubscribing...\n" + UnsubscribedMenu());
    EXPECT_FALSE(subscribed);
}

using ARefresh = ConsoleRun;

TEST_F(ARefresh, ThatFailsMarksTheErrorAndStaysSubscribed)
{
    subscribed = true;
    EXPECT_TEXT(Run("r\nx\n"),
                SubscribedMenu() + "Sending RefreshRegions\n  ERROR" + SubscribedMenu());
    EXPECT_TRUE(subscribed);
}

TEST_F(ARefresh, ThatFailsMarksTheErrorAndStaysUnsubscribed)
{
    EXPECT_TEXT(Run("r\nx\n"),
                UnsubscribedMenu() + "Sending RefreshRegions\n  ERROR" + UnsubscribedMenu());
    EXPECT_FALSE(subscribed);
}

}  // namespace
