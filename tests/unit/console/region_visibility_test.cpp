#include "tests/unit/console/console_run.h"

namespace {

using ModifyRegionVisibility = ConsoleRun;

TEST_F(ModifyRegionVisibility, PrintsItsTwoPromptsAndNothingElse)
{
    EXPECT_TEXT(Run("4\n3\nt\nx\n"),
                UnsubscribedMenu() +
                    "Enter region ID: Enter region visibility (t/f): " + UnsubscribedMenu());
    EXPECT_TEXT(errors, "");
}

TEST_F(ModifyRegionVisibility, DiscardsOneCharacterBehindTheAnswer)
{
    // The blank is discarded, so the next key is the s.
    EXPECT_TEXT(Run("4 3 f sx"), UnsubscribedMenu() +
                                     "Enter region ID: Enter region visibility (t/f): " +
                                     UnsubscribedMenu() + EmptyRegionReport() + UnsubscribedMenu());
}

}  // namespace
