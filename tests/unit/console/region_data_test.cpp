#include "tests/support/TempDir.h"
#include "tests/unit/console/console_run.h"
#include "tests/unit/console/kept_log.h"

namespace {

class ModifyRegionData : public ConsoleRun {
protected:
    TempDir files;
    KeptLog log;
};

TEST_F(ModifyRegionData, PrintsItsThreePromptsAndNothingElse)
{
    WriteWholeFile(files / "bitmap", "abc");
    EXPECT_TEXT(Run("3\n3\n" + (files / "bitmap") + "\n3\nx\n"),
                UnsubscribedMenu() +
                    "Enter region ID: Enter filename:  Enter file size: " + UnsubscribedMenu());
    EXPECT_TEXT(errors, "");
}

TEST_F(ModifyRegionData, ShowsNothingOfFileTroubleOnTheConsole)
{
    EXPECT_TEXT(Run("3 3 " + (files / "none") + " 3\nx\n"),
                UnsubscribedMenu() +
                    "Enter region ID: Enter filename:  Enter file size: " + UnsubscribedMenu());
    EXPECT_TEXT(errors, "");
    ASSERT_EQ(log.Entries().size(), 1u);
    const std::string entry = log.Entries()[0];
    const std::string text =
        "SubtitleRegion::UpdateRegionFile() - Error opening file " + (files / "none");
    EXPECT_TEXT(entry.substr(entry.size() - text.size()), text);
}

TEST_F(ModifyRegionData, DiscardsOneCharacterBehindTheSize)
{
    EXPECT_TEXT(Run("3 3 " + (files / "none") + " 3sx\n"),
                UnsubscribedMenu() +
                    "Enter region ID: Enter filename:  Enter file size: " + UnsubscribedMenu());
}

}  // namespace
