#include "simulator/journal.h"

#include "tests/harness/TempDir.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/simulator/decode.h"

#include <gtest/gtest.h>

namespace {

class Journal : public testing::Test {
protected:
    Journal() { Decode(messages::ping, "", ping); }

    sim::Request ping;
    sim::Journal journal;
    std::string problem;
};

TEST_F(Journal, AppendsToAnExistingFile)
{
    const TempDir folder;
    WriteWholeFile(folder / "journal", "earlier\n");
    ASSERT_TRUE(journal.Open(folder / "journal", problem)) << problem;
    journal.Add(ping);
    EXPECT_EQ(ReadWholeFile(folder / "journal"), "earlier\n{\"request\":\"Ping\"}\n");
}

TEST_F(Journal, ReportsItsFirstLossOnly)
{
    ASSERT_TRUE(journal.Open("/dev/full", problem)) << problem;
    EXPECT_EQ(ErrorsOf([&] {
                  journal.Add(ping);
                  journal.Add(ping);
              }),
              "SubtitleMgrSim: the journal is not complete: No space left on device\n");
}

TEST_F(Journal, ReportsWhyItCannotBeOpened)
{
    EXPECT_FALSE(journal.Open("/nowhere/journal", problem));
    EXPECT_EQ(problem, "journal /nowhere/journal: No such file or directory");
}

}  // namespace
