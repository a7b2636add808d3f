#include "simulator/journal/journal.h"

#include "tests/harness/TempDir.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

namespace {

class Journal : public testing::Test {
protected:
    Journal()
    {
        request.at = {5300000, 1763730000300000};
        request.kind = recording::RequestKind::SetRegionVisibility;
        request.client = 1;
        request.regionId = 3;
    }

    recording::Request request;
    sim::Journal journal;
    std::string problem;
};

TEST_F(Journal, AppendsToAnExistingFile)
{
    const TempDir folder;
    WriteWholeFile(folder / "journal", "earlier\n");
    ASSERT_TRUE(journal.Open(folder / "journal", problem)) << problem;
    journal.Add(request);
    EXPECT_EQ(ReadWholeFile(folder / "journal"),
              "earlier\n"
              R"({"monoUs":5300000,"wallUs":1763730000300000,"request":"SetRegionVisibility",)"
              R"("client":1,"regionId":3,"visible":false,"result":"ok"})"
              "\n");
}

TEST_F(Journal, ReportsItsFirstLossOnly)
{
    ASSERT_TRUE(journal.Open("/dev/full", problem)) << problem;
    EXPECT_EQ(ErrorsOf([&] {
                  journal.Add(request);
                  journal.Add(request);
              }),
              "SubtitleMgrSim: the journal is not complete: No space left on device\n");
}

TEST_F(Journal, ReportsWhyItCannotBeOpened)
{
    EXPECT_FALSE(journal.Open("/nowhere/journal", problem));
    EXPECT_EQ(problem, "journal /nowhere/journal: No such file or directory");
}

}  // namespace
